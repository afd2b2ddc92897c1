// The machine's form. kvxprereqreport(1) describes it; a member is added only with a new schema number.
#include "advice.h"
#include "compareJson.h"
#include "outline.h"
#include "writers.h"

#include <string_view>

#include "../common/json.h"

namespace report {

namespace {

using json::append;
using json::appendText;
using json::list;
using json::member;
using json::name;

constexpr int schema = 2;

void appendLine(std::string &json, const line &one) {
    json += '{';
    member(json, "message", one.message == 0 ? std::nullopt : std::optional(one.message));
    list(json, "tokens", one.tokens, appendText);
    member(json, "text", std::string_view(one.text));
    json += '}';
}

void appendAdvice(std::string &json, const advice &one) {
    json += '{';
    member(json, "kind", english().text(one.kind));
    member(json, "text", english().text(one.text));
    name(json, "commands");
    json += '{';
    for (size_t i = 0; i < adviceDistributions.size(); i++)
        member(json, adviceDistributions[i], one.commands[i]);
    json += "}}";
}

void appendWaived(std::string &json, const std::optional<waiverNote> &note) {
    name(json, "waived");
    if (!note) {
        json += "null";
        return;
    }
    json += '{';
    member(json, "reason", std::string_view(note->reason));
    member(json, "until", note->until);
    json += '}';
}

void appendCheck(std::string &json, const check &one) {
    json += '{';
    if (one.titleMessage != 0)
        member(json, "id", one.titleMessage);
    else
        member(json, "id", std::string_view(one.title));
    member(json, "title", std::string_view(one.title));
    member(json, "result", nameOf(one.result));
    appendWaived(json, one.waived);
    list(json, "lines", one.lines, appendLine);
    name(json, "advice");
    if (const advice *const pFound = adviceOn(one))
        appendAdvice(json, *pFound);
    else
        json += "null";
    json += '}';
}

void appendEntry(std::string &json, const entry &one) {
    json += '{';
    member(json, "text", std::string_view(one.text));
    name(json, "severity");
    if (one.severity)
        append(json, std::string_view(nameOf(*one.severity)));
    else
        json += "null";
    json += '}';
}

void appendPass(std::string &json, const pass &one) {
    json += '{';
    member(json, "level", one.level);
    member(json, "clustered", one.clustered);
    member(json, "client", one.client);
    member(json, "time", one.time);
    member(json, "result", nameOf(one.result));
    list(json, "checks", one.checks, appendCheck);
    list(json, "entries", one.entries, appendEntry);
    json += '}';
}

class jsonOutput : public writer {
public:
    explicit jsonOutput(std::ostream &stream) : out(stream) {
        out << "{\"schema\": " << schema << ", \"hosts\": [";
    }

    void add(host one) override {
        std::string json = "{";
        member(json, "host", std::string_view(one.name));
        member(json, "status", one.status);
        member(json, "result", nameOf(one.result));
        member(json, "reason", reasonOf(one));
        list(json, "errors", one.errors, appendText);
        list(json, "passes", one.passes, appendPass);
        json += '}';
        out << (bFirst ? "\n" : ",\n") << json;
        bFirst = false;
    }

    void finish() override {
        std::string json = "\n]";
        name(json, "changes");
        appendChanges(json, changes());
        out << json << "}\n";
    }

private:
    std::ostream &out;
    bool bFirst = true;
};

} // namespace

std::unique_ptr<writer> jsonWriter(std::ostream &out) {
    return std::make_unique<jsonOutput>(out);
}

} // namespace report
