// Prints an explanation, as text for people and as JSON for programs.
#include "explain.h"

#include "../common/json.h"
#include "output.h"
#include "sqloPrereqDefs.h"
#include "tags.h"

namespace lint {

namespace {

using std::string;

constexpr int explanationSchema = 1;

/* --- For people --- */

void printValue(const shownValue &value, std::ostream &out) {
    out << "  line " << value.counted.line << ": " << ppszTagName[value.tag] << " = " << printable(value.counted.text);
    const char *pBetween = ", instead of ";
    for (const givenValue &earlier : value.replaced) {
        out << pBetween << printable(earlier.text) << " in line " << earlier.line;
        pBetween = ", ";
    }
    out << '\n';
}

void printHost(const explanation &explained, std::ostream &out) {
    const describedHost &host = explained.host;
    out << "Level " << printable(explained.level) << " on " << host.distribution << ' ' << printable(host.release)
        << (host.servicePack.empty() ? "" : " service pack " + printable(host.servicePack))
        << (host.kernel.empty() ? ", kernel not given" : ", kernel " + printable(host.kernel))
        << (host.bClient ? ", client" : "") << (host.bClustered ? ", clustered pass" : "") << '\n';
    for (const string &note : explained.notes)
        out << "Note: " << note << '\n';
}

void printCheck(const shownCheck &check, std::ostream &out) {
    out << "\nCheck: " << check.name << (check.note.empty() ? "" : ", not made: " + check.note) << '\n';
    for (const shownValue &value : check.values)
        printValue(value, out);
    for (const string &lacking : check.lacking)
        out << "  " << lacking << '\n';
    if (!check.level.empty())
        out << "  level: " << check.level << '\n';
}

void printSkipped(const skippedSection &section, std::ostream &out) {
    out << "  lines " << section.begin << " to "
        << (section.end == 0 ? "the platform's end" : std::to_string(section.end)) << ": " << printable(section.opening)
        << "\n    " << printable(section.reason) << '\n';
}

void printNames(const char *pTitle, const std::vector<string> &names, std::ostream &out) {
    const char *pBetween = pTitle;
    for (const string &name : names) {
        out << pBetween << printable(name);
        pBetween = ", ";
    }
    out << (names.empty() ? "" : "\n");
}

/* --- For programs --- */

void appendGiven(string &json, const givenValue &given) {
    json += '{';
    json::member(json, "line", given.line);
    json::member(json, "text", printable(given.text));
    json += '}';
}

void appendValue(string &json, const shownValue &value) {
    json += '{';
    json::member(json, "tag", ppszTagName[value.tag]);
    json::member(json, "line", value.counted.line);
    json::member(json, "text", printable(value.counted.text));
    json::list(json, "replaced", value.replaced, appendGiven);
    json += '}';
}

void appendName(string &json, const string &name) {
    json::append(json, printable(name));
}

void appendCheck(string &json, const shownCheck &check) {
    json += '{';
    json::member(json, "check", check.name);
    json::member(json, "made", check.note.empty());
    json::member(json, "level", check.level.empty() ? std::nullopt : std::optional<string>(check.level));
    json::list(json, "values", check.values, appendValue);
    json::list(json, "lacking", check.lacking, appendName);
    json += '}';
}

void appendUnread(string &json, const unreadValues &unread) {
    json += '{';
    json::member(json, "reason", unread.pReason);
    json::list(json, "values", unread.values, appendValue);
    json += '}';
}

void appendSkipped(string &json, const skippedSection &section) {
    json += '{';
    json::member(json, "begin", section.begin);
    json::member(json, "end", section.end == 0 ? std::nullopt : std::optional(section.end));
    json::member(json, "opening", printable(section.opening));
    json::member(json, "reason", printable(section.reason));
    json += '}';
}

void appendHost(string &json, const describedHost &host) {
    json::name(json, "host");
    json += '{';
    json::member(json, "distribution", host.distribution);
    json::member(json, "release", printable(host.release));
    json::member(json, "servicePack", host.servicePack);
    json::member(json, "kernel", printable(host.kernel));
    json::member(json, "clustered", host.bClustered);
    json::member(json, "client", host.bClient);
    json += '}';
}

} // namespace

void printText(const explanation &explained, std::ostream &out) {
    printHost(explained, out);
    for (const shownCheck &check : explained.checks)
        printCheck(check, out);
    printNames("\nChecks of every level: ", explained.everyLevel, out);
    for (const unreadValues &unread : explained.unread) {
        out << '\n' << unread.pReason << '\n';
        for (const shownValue &value : unread.values)
            printValue(value, out);
    }
    if (!explained.skipped.empty())
        out << "\nSkipped\n";
    for (const skippedSection &section : explained.skipped)
        printSkipped(section, out);
    printNames("\nThe kernel meets the levels ", explained.kernelMeets, out);
    printNames("\nThe kernel does not meet the levels ", explained.kernelFails, out);
}

void printJson(const explanation &explained, std::ostream &out) {
    string json = "{";
    json::member(json, "schema", explanationSchema);
    json::member(json, "level", printable(explained.level));
    appendHost(json, explained.host);
    json::list(json, "notes", explained.notes, appendName);
    json::list(json, "checks", explained.checks, appendCheck);
    json::list(json, "everyLevel", explained.everyLevel, appendName);
    json::list(json, "unread", explained.unread, appendUnread);
    json::list(json, "skipped", explained.skipped, appendSkipped);
    json::list(json, "kernelMeets", explained.kernelMeets, appendName);
    json::list(json, "kernelFails", explained.kernelFails, appendName);
    out << json << "}\n";
}

} // namespace lint
