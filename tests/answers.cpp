// What a case comes to, told by the names of messages and without what is usual; README in cases/ explains it.
#include "support.h"

#include <algorithm>
#include <filesystem>
#include <gnu/libc-version.h>
#include <iomanip>
#include <regex>
#include <sstream>
#include <unistd.h>

using std::vector;
namespace fs = std::filesystem;

// What the program says in texts of its own, shorter; of a user's checks a sign for each that passed.
static const fileList abbreviations = {
    {"\\s*[\\w. ]+ Check - Passed\\.", "+"},
    {"Total number of required user checks: (.)\\.", "$1:"},
    {"\\n *(sqllib Check - Skipped|Details of the failed|SUCCESS: All).*", ""},
    {"(ERROR: )?The (Service|FCM) Port Number - ", "$2 "},
    {" is available for (\\S+) to use\\.", " free for $1"},
    {" is assigned to (\\S+) KVX service", " is $1"},
    {" is in use and assigned to (\\S+) service", " used by $1"},
    {"ERROR: There already exists a service - (\\S+) assigned to", "$1 has"},
    {"(^|\n)( *ERROR: .{45}).*", "$1$2..."},
    {"RDMA Infiniband Package: ", "rdma:"},
    {"Infiniband Support Package: ", "ib:"},
    {"High Performance Networking Package: ", "hpn:"},
    {"=+(?=\n)", "="},
};
static const char *const trace = " \\d+ : Cateory .*\n"; // of every message
static const char *const date = "[A-Z][a-z]{2} [A-Z][a-z]{2} [ 1-3]\\d \\d\\d:\\d\\d:\\d\\d \\d{4}";

struct outcome {
    int status;
    vector<string> report, errors; // errors from the oldest
    string gui;
};

static vector<string> linesOf(const string &text) {
    vector<string> lines;
    std::istringstream in(text);
    for (string line; std::getline(in, line);) {
        line.erase(line.find_last_not_of(" \r") + 1).erase(0, line.find_first_not_of(' '));
        if (!line.empty())
            lines.push_back(line);
    }
    return lines;
}

static string joined(const vector<string> &lines, const string &between) {
    string all;
    for (const string &line : lines)
        all += (all.empty() ? "" : between) + line;
    return all;
}

static string onOneLine(const string &text) {
    return joined(linesOf(text), "|");
}

// Takes off the closing line, and names it.
static string takeClosing(vector<string> *pLines) {
    static const std::map<string, string> closings = {{"CHECK_PASSED", "passes"},
                                                      {"CHECK_FAILED SEVERITY_ERROR", "fails"},
                                                      {"CHECK_FAILED SEVERITY_WARNING", "warns"},
                                                      {"CHECK_FAILED", "fails as nothing"}};
    const auto found = pLines->empty() ? closings.end() : closings.find(pLines->back());
    if (found == closings.end())
        return "stays open";
    pLines->pop_back();
    return found->second;
}

// The lines, those of the error list marked, and what is only there. In a failed block all are usually in it.
static string marked(const vector<string> &lines, const vector<string> &errors, bool bFailed) {
    vector<string> shown = lines, others;
    size_t found = 0;
    for (const string &error : errors) {
        const auto at = std::find(lines.begin() + static_cast<long>(found), lines.end(), error);
        if (at == lines.end())
            others.push_back(" +" + error);
        else {
            found = static_cast<size_t>(at - lines.begin()) + 1;
            shown[found - 1].insert(0, "!");
        }
    }
    const bool bAll = others.empty() && errors.size() == lines.size();
    const string all = joined(bFailed && bAll ? lines : shown, ", ");
    return (all.empty() ? "" : ": " + all) + joined(others, "") + (bFailed && errors.empty() ? " unlisted" : "");
}

// One check's block: verdict, title, lines, GUI report, as far as they are not what they always are.
static string blockAnswer(const namedOperation &what, const vector<string> &words, outcome got) {
    const auto first = std::find_if(words.begin() + 1, words.end(), [](const string &word) { return word != "NULL"; });
    const string usualTitle = replaced(what.pTitle, {{"%", first == words.end() ? "" : *first}});
    string title;
    if (!got.report.empty() && got.report[0].rfind("CHECK_HEADING ", 0) == 0) {
        title = got.report[0].substr(14);
        got.report.erase(got.report.begin());
    }
    const string closing = title.empty() ? "no block" : takeClosing(&got.report);
    const bool bFailed = closing != "passes" && !title.empty();
    const bool bUsual = got.status == (bFailed ? -1 : 0) || got.status == NO_STATUS;
    const string all = (bUsual ? "" : std::to_string(got.status) + " ") + closing +
                       (title == usualTitle || title.empty() ? "" : " (" + title + ")") +
                       marked(got.report, got.errors, bFailed && closing != "stays open");
    if (what.pMarker == nullptr)
        return all;
    const string marker = replaced(what.pMarker, {{"\\?", ""}});
    const string end = bFailed && what.pMarker[0] == '?' ? "" : "\n" + marker;
    const string usualGui = onOneLine(marker + "\n" + joined(got.errors, "\n") + end);
    return all + (onOneLine(got.gui) == usualGui ? "" : " gui: " + onOneLine(got.gui));
}

// Every check with its sign; of a level's summary whether it is good, or how many lines follow a bad one; and the lines
// outside of blocks. A "?" begins what a tool was asked about.
static string manyAnswer(const outcome &got) {
    static const fileList names = {{"^TITLE_|^/.*/", ""}, {"^(User|Service) .*", "$1"}, {"^\\S+so\\S*: ", ""}},
                          shorter = {{" free space \\?", " "},
                                     {"([ :])(\\S+) \\?\\2([-+])", "$1$2$3"},
                                     {" /tmp\\+ /var\\+ /usr\\+|( free space\\+){3}", " space+"},
                                     {" OS_LEVEL\\+( [A-Z_]+\\+)* LIBAIO\\+", " host+"}};
    string all;
    int failures = -1;
    bool bOpen = false;
    const auto endLevel = [&] { all += failures < 0 ? "" : " " + std::to_string(failures) + " lines", failures = -1; };
    for (const string &line : got.report) {
        const string name = line.substr(0, line.find(' ')), rest = name == line ? "" : line.substr(name.size() + 1);
        if (name[0] == '=')
            endLevel();
        else if (failures >= 0)
            failures++;
        else if (name == "LEVEL_BANNER" || name == "LEVEL_BANNER_CLUSTERED")
            all += " " + replaced(rest, {{" Linux", name == "LEVEL_BANNER" ? ":" : "+:"}});
        else if (name == "CHECK_HEADING")
            all += " " + replaced(rest, names), bOpen = true;
        else if (name == "CHECK_PASSED")
            all += "+", bOpen = false;
        else if (name == "CHECK_FAILED")
            all += "-" + (rest.empty() ? "" : rest.substr(9, 1)), bOpen = false;
        else if (name == "LEVEL_PASSED")
            all += " met";
        else if (name == "LEVEL_FAILED")
            all += " failed for " + rest.substr(0, rest.find(' ')), failures = 0;
        else if (line[0] == '?' || !bOpen)
            all += " " + line;
    }
    endLevel();
    all = replaced(all, shorter);
    return all.substr(all[0] == ' ') + (got.status == 0 ? "" : "; exit " + std::to_string(got.status & 255));
}

static string plainAnswer(const outcome &got) {
    const string gui = got.gui.empty() ? "" : " gui: " + onOneLine(got.gui),
                 lines = marked(got.report, got.errors, false) + gui;
    if (got.status != NO_STATUS)
        return std::to_string(got.status) + lines;
    return lines.substr(std::min<size_t>(lines.size(), 2));
}

// What the host has got since it was remembered, with short texts.
static string changesOfHost(bool bWhole) {
    const string usual =
        "/(gui|log|report)|/run/.*|.*/rpm/.*" + (bWhole ? "|/tmp/kvxprereqcheck\\." + std::to_string(getpid()) : "");
    string all;
    for (const string &path : filesChangedOnHost()) {
        const string text = fs::is_regular_file(path) ? onOneLine(readFile(path)) : "";
        if (path == "/fakes/log")
            all = " ran: " + text + all;
        else if (!std::regex_match(path, std::regex(usual)))
            all += (fs::exists(fs::symlink_status(path)) ? " left " : " removed ") + path +
                   (text.empty() ? text : ": " + (text.size() > 60 ? "..." : text));
    }
    return all;
}

// Long runs of one letter by their lengths.
static string shortened(const string &text) {
    string all;
    for (size_t at = 0, end; at < text.size(); at = end) {
        end = std::min(text.find_first_not_of(text[at], at), text.size());
        all += end - at < 12 ? text.substr(at, end - at) : text[at] + string("*") + std::to_string(end - at);
    }
    return all;
}

// What differs from run to run and from machine to machine.
static string masked(const string &answer) {
    utsname own = {};
    uname(&own);
    return replaced(answer, {{"([./])" + std::to_string(getpid()) + "\\b", "$1PID"},
                             {"/tmp/kvxprereqcheck\\.(PID|\\d+)", "capture"},
                             {"KERNEL_FOUND " + replaced(own.release, {{"-.*", ""}, {"\\.", " "}}), "KERNEL_FOUND OWN"},
                             {date, "DATE"},
                             {namedTextsDirectory(), "RUNTIME"},
                             {"\\d+ : Cateory", "LINE : Cateory"},
                             {"sh: [^,}]*", "sh: ..."},
                             {"LOCATED /(usr/)?lib[^ ,\n]*", "LOCATED OWN"},
                             {string("(LOCATED OWN[^/]*GLIBC_FOUND )") + gnu_get_libc_version(), "$1OWN"}});
}

static string wholeText(const printed &shown, const printed &after, int status) {
    const string gui = readFile("/gui");
    return replaced(shown.out,
                    {{trace, ""}, {"([^ \n]) +\n", "$1\n"}, {"(.*profile Check.*\n)(.*bashrc Check.*\n)", "$2$1"}}) +
           after.out + (shown.err.empty() ? "" : "standard error:\n" + shown.err) +
           (gui.empty() ? "" : "GUI report:\n" + gui) + "status " + std::to_string(status) + "\n";
}

string answerHere(const string &call, bool bWholeText) {
    vector<string> words, given;
    std::istringstream in(call);
    for (string word; in >> std::quoted(word);)
        (isSetting(word) ? given : words).push_back(word);
    if (words.empty() || namedOperations.count(words[0]) == 0)
        return "no such operation";
    const namedOperation &what = namedOperations.at(words[0]);
    const bool bMany = what.pTitle == MANY_CHECKS, bOptions = words[0] == "options",
               bWhole = bMany || bOptions || words[0] == "everywhere" || words[0] == "network-type";
    setText(IIHName, "here"), setText(szGUIReportFile, "/gui");
    bGUIReportFile = what.pMarker != nullptr;
    std::for_each(given.begin(), given.end(), applySetting);
    const auto before = settings();
    rememberHost();
    int status = 0;
    const printed shown = capture([&] { status = perform(words); });
    const printed after = capture([] { (void)!system("[ ! -x /after ] || /after"); });
    if (bWholeText)
        return masked(wholeText(shown, after, status));
    const auto shorter = [](const string &text) { return linesOf(replaced(text, abbreviations)); };
    outcome got = {status,
                   shorter(replaced(shown.out, {{bWhole ? trace : "$.", ""},
                                                {"(^|[^ ]\n)CHECK_HEADING ", "$1CHECK_HEADING no blank line, "},
                                                {usageNames, "usage\n"},
                                                {date, ""}})),
                   {},
                   joined(shorter(readFile("/gui")), "\n")};
    const vector<string> entries = errorEntries();
    for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry)
        for (const string &line : shorter(*entry))
            got.errors.push_back(line);
    string all = what.pTitle == nullptr ? plainAnswer(got) : bMany ? manyAnswer(got) : blockAnswer(what, words, got);
    all += shown.err.empty() ? "" : " {" + joined(linesOf(replaced(shown.err, {{usageNames, "usage\n"}})), ", ") + "}";
    for (const auto &[name, text] : settings())
        all += text == before.at(name) || (bWhole && !bOptions) ? "" : " " + name + "=" + text;
    for (const hostInfo *pHost = preqHostInfo; pHost != nullptr; pHost = pHost->next)
        all += pHost->isSSH ? "" : string(" without ") + string(pHost->hostName, strnlen(pHost->hostName, 9));
    all += (after.out.empty() ? "" : " after: " + onOneLine(after.out)) + changesOfHost(bWhole);
    return shortened(onOneLine(masked(all)));
}
