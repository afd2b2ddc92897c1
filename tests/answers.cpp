// Performs the call of a case and composes its answer, as cases/README explains it.
#include "support.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <gnu/libc-version.h>
#include <regex>
#include <sstream>
#include <unistd.h>

using std::vector;
namespace fs = std::filesystem;

struct outcome {
    int status;
    vector<string> report; // lines
    vector<string> errors; // from the oldest
    vector<string> gui;
};

// --- Texts ---

static const char *const dateLine = "[A-Z][a-z]{2} [A-Z][a-z]{2} [ 1-3]\\d \\d\\d:\\d\\d:\\d\\d \\d{4}";
static const char *const traceOfEveryMessage = " \\d+ : Cateory .*\n";

// The lines that are not blank, without the blanks around them.
static vector<string> linesOf(const string &text) {
    vector<string> lines;
    std::istringstream in(text);
    for (string line; std::getline(in, line);) {
        line.erase(line.find_last_not_of(" \t\r") + 1);
        line.erase(0, line.find_first_not_of(" \t"));
        if (!line.empty())
            lines.push_back(line);
    }
    return lines;
}

static bool beginsWith(const string &text, const char *pBeginning) {
    return text.rfind(pBeginning, 0) == 0;
}

static string secondWord(const string &line) {
    string word;
    std::istringstream(line) >> word >> word;
    return word;
}

// Replaces the whole usage by one word.
static string withoutUsage(string text) {
    const string usage = capture(displayHelp).out;
    for (size_t at = 0; (at = text.find(usage)) != string::npos;)
        text.replace(at, usage.size(), "usage\n");
    return text;
}

// Names everything that differs between runs or between machines.
static string masked(const string &text) {
    utsname own = {};
    uname(&own);
    const string level = replaced(own.release, {{"-.*", ""}, {"\\.", " "}});
    const string shown = replaced(text, {{"LOCATED /(usr/)?lib[^ ,\n]*", "LOCATED OWN"}});
    const bool bOwnLibrary = shown.find("GLIBC_LOCATED OWN") != string::npos;
    return replaced(shown, {{"([./])" + std::to_string(getpid()) + "\\b", "$1PID"},
                            {"(kvxprereqcheck\\.PID)\\.\\w{6}\\b", "$1.RANDOM"},
                            {"/tmp/kvxprereqcheck\\.\\d+", "/tmp/kvxprereqcheck.PID"},
                            {"KERNEL_FOUND " + level, "KERNEL_FOUND OWN"},
                            {dateLine, "DATE"},
                            {namedTextsDirectory(), "RUNTIME"},
                            {"\\d+ : Cateory", "LINE : Cateory"},
                            {bOwnLibrary ? string("GLIBC_FOUND ") + gnu_get_libc_version() : "$.", "GLIBC_FOUND OWN"}});
}

// Writes 12 and more of one letter as x*12.
static string withCountedLetters(const string &text) {
    string all;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find_first_not_of(text[at], at), text.size());
        const size_t count = end - at;
        all += count < 12 ? text.substr(at, count) : text[at] + string("*") + std::to_string(count);
        at = end;
    }
    return all;
}

// Writes "" for an empty token of a message, which leaves two blanks. Missing tokens at the end of a message leave
// more, in front of other text.
static string withEmptyTokens(const string &line) {
    static const std::regex namedMessage("[A-Z][A-Z0-9_]+ .*");
    if (!std::regex_match(line, namedMessage))
        return line;
    return replaced(line, {{"([^ ])  (?=[^ ])", "$1 \"\" "}, {" {3,}", " "}});
}

static string asShown(const string &line) {
    return withCountedLetters(withEmptyTokens(line));
}

// --- One check ---

// Returns the word for a closing line, and an empty text for any other line.
static string verdictOf(const string &line) {
    static const std::map<string, string> verdicts = {{"CHECK_PASSED", "passes"},
                                                      {"CHECK_FAILED SEVERITY_ERROR", "fails"},
                                                      {"CHECK_FAILED SEVERITY_WARNING", "warns"},
                                                      {"CHECK_FAILED", "fails without severity"}};
    const auto found = verdicts.find(line.substr(0, line.find("  "))); // two blanks may precede a reason
    return found == verdicts.end() ? "" : found->second;
}

// Removes the heading, and returns its title.
static string takeTitle(vector<string> *pLines) {
    if (pLines->empty() || !beginsWith(pLines->front(), "CHECK_HEADING "))
        return "";
    const string title = pLines->front().substr(strlen("CHECK_HEADING "));
    pLines->erase(pLines->begin());
    return title;
}

// Removes the closing line, and returns its word.
static string takeVerdict(vector<string> *pLines) {
    const string verdict = pLines->empty() ? "" : verdictOf(pLines->back());
    if (verdict.empty())
        return "stays open";
    pLines->pop_back();
    return verdict;
}

// Adds a list to the answer if it is not the expected one.
static void addUnlessUsual(answer *pAll, const char *pHead, const vector<string> &lines, const vector<string> &usual) {
    if (lines != usual)
        pAll->push_back({pHead, lines.empty() ? vector<string>{"none"} : lines});
}

static vector<string> usualGuiReport(const namedOperation &what, bool bFailed, const vector<string> &errors) {
    const bool bEndsUnmarked = what.pMarker[0] == '?' && bFailed;
    const string marker = what.pMarker + (what.pMarker[0] == '?' ? 1 : 0);
    vector<string> lines = errors;
    if (marker.empty())
        return lines;
    lines.insert(lines.begin(), marker);
    if (!bEndsUnmarked)
        lines.push_back(marker);
    return lines;
}

static vector<string> beginningOf(const vector<string> &lines, size_t count) {
    return {lines.begin(), lines.begin() + static_cast<long>(count)};
}

static vector<string> endOf(const vector<string> &lines, size_t count) {
    return {lines.end() - static_cast<long>(count), lines.end()};
}

// Returns the errors; if the first ones are also the first or last lines of the block, as "the first line" and so on.
static vector<string> errorsByPlace(const vector<string> &errors, const vector<string> &block) {
    if (errors.empty())
        return {"none"};
    for (size_t count = std::min(errors.size(), block.size()); count > 0; count--) {
        const vector<string> beginning = beginningOf(errors, count);
        const bool bLast = beginning == endOf(block, count);
        if (!bLast && beginning != beginningOf(block, count))
            continue;
        vector<string> words = endOf(errors, errors.size() - count);
        const string lines = count == 1 ? " line" : " " + std::to_string(count) + " lines";
        words.insert(words.begin(), (bLast ? "the last" : "the first") + lines);
        return words;
    }
    return errors;
}

static answer checkAnswer(const namedOperation &what, const string &usualTitle, outcome got) {
    const string title = takeTitle(&got.report);
    const string verdict = title.empty() ? "no block" : takeVerdict(&got.report);
    const bool bFailed = verdict != "passes" && verdict != "no block";
    const bool bErrorsListed = bFailed && verdict != "stays open";
    answer all = {{verdict + (title == usualTitle || title.empty() ? "" : ", titled " + title), got.report}};
    if (got.status != NO_STATUS && got.status != (bFailed ? -1 : 0))
        all.push_back({"status " + std::to_string(got.status), {}});
    const vector<string> usualErrors = bErrorsListed ? got.report : vector<string>();
    if (got.errors != usualErrors)
        all.push_back({"errors", errorsByPlace(got.errors, got.report)});
    if (what.pMarker != nullptr)
        addUnlessUsual(&all, "GUI report", got.gui, usualGuiReport(what, bFailed, got.errors));
    return all;
}

// --- Other operations ---

static answer linesAnswer(const outcome &got) {
    answer all;
    if (got.report.size() == 1)
        all.push_back({got.report[0], {}});
    else
        addUnlessUsual(&all, "prints", got.report, {});
    if (got.status != NO_STATUS)
        all.push_back({"status " + std::to_string(got.status), {}});
    addUnlessUsual(&all, "errors", got.errors, {});
    addUnlessUsual(&all, "GUI report", got.gui, {});
    return all;
}

// Answers for many blocks: joins the titles of neighbours with the same verdict, and keeps the lines between blocks.
static answer checksAnswer(const outcome &got) {
    answer all;
    string title;
    bool bFailures = false; // of a level: the lines up to the next level
    const auto closeBlock = [&](const string &verdict) {
        if (all.empty() || all.back().head != verdict)
            all.push_back({verdict, {}});
        all.back().items.push_back(title);
        title = "";
    };
    for (const string &line : got.report) {
        const string heading = "CHECK_HEADING ";
        if (beginsWith(line, heading.c_str())) {
            if (!title.empty())
                closeBlock("stays open");
            title = line.substr(heading.size());
        } else if (!title.empty()) {
            if (beginsWith(line, "FREE_SPACE_")) // the blocks of all directories have the same title
                title = "space " + secondWord(line);
            if (!verdictOf(line).empty())
                closeBlock(verdictOf(line));
        } else if (beginsWith(line, "=====")) {
            bFailures = false;
        } else if (bFailures) {
            all.back().items.push_back(line);
        } else if (masked(line) != "DATE") {
            all.push_back({line, {}});
            bFailures = beginsWith(line, "LEVEL_FAILED ");
        }
    }
    if (!title.empty())
        closeBlock("stays open");
    return all;
}

static answer runAnswer(const namedOperation &what, const outcome &got) {
    answer all = checksAnswer(got);
    if (what.kind == CHECKS)
        addUnlessUsual(&all, "errors", got.errors, {});
    if (got.status != 0 && got.status != NO_STATUS)
        all.push_back({"status " + std::to_string(got.status & 255), {}});
    return all;
}

// --- Changes by any operation ---

static void addChangedSettings(answer *pAll, const std::map<string, string> &before) {
    vector<string> changed;
    for (const auto &[name, text] : settings())
        if (text != before.at(name))
            changed.push_back(name + "=" + replaced(text, {{"\n", "\\n"}}));
    addUnlessUsual(pAll, "sets", changed, {});
}

static void addHostsGivenUp(answer *pAll) {
    vector<string> hosts;
    for (const hostInfo *pHost = preqHostInfo; pHost != nullptr; pHost = pHost->next)
        if (!pHost->isSSH)
            hosts.emplace_back(pHost->hostName, strnlen(pHost->hostName, sizeof pHost->hostName));
    addUnlessUsual(pAll, "gives up", hosts, {});
}

// Reports, rpm's files and, of a run, the file with ldd's output are left out of answers.
static bool isUsualFile(const string &path, bool bRun) {
    static const std::regex usual("/(gui|log|report)|/run/.*|.*/rpm/.*");
    return std::regex_match(path, usual) || (bRun && path == "/tmp/kvxprereqcheck." + std::to_string(getpid()));
}

static void addChangedFiles(answer *pAll, bool bRun) {
    const std::set<string> paths = filesChangedOnHost();
    if (paths.count("/fakes/log") > 0)
        pAll->push_back({"ran", linesOf(readFile("/fakes/log"))});
    for (const string &path : paths) {
        if (path == "/fakes/log" || isUsualFile(path, bRun))
            continue;
        if (fs::is_regular_file(path))
            pAll->push_back({"leaves " + path, linesOf(readFile(path))});
        else
            pAll->push_back({(fs::exists(fs::symlink_status(path)) ? "leaves " : "removes ") + path, {}});
    }
}

// --- Calls ---

// Splits a call into words. Double quotes enclose a word with blanks or an empty one; \" is a quotation mark in it.
static vector<string> wordsOf(const string &call) {
    vector<string> words;
    bool bInWord = false;
    bool bQuoted = false;
    for (size_t i = 0; i < call.size(); i++) {
        if (call[i] == ' ' && !bQuoted) {
            bInWord = false;
            continue;
        }
        if (!bInWord)
            words.emplace_back();
        bInWord = true;
        const bool bEscaped = bQuoted && call[i] == '\\' && i + 1 < call.size() && call[i + 1] == '"';
        if (call[i] == '"')
            bQuoted = !bQuoted;
        else
            words.back() += bEscaped ? call[++i] : call[i];
    }
    return words;
}

struct performed {
    outcome got;
    printed shown;
    printed after;
    std::map<string, string> settingsBefore;
};

static performed performHere(const vector<string> &words, const vector<string> &given) {
    std::for_each(given.begin(), given.end(), applySetting);
    performed all;
    all.settingsBefore = settings();
    rememberHost();
    all.shown = capture([&] { all.got.status = perform(words); });
    all.after = capture([] { (void)!system("[ ! -x /after ] || /after"); });
    return all;
}

static string wholeText(const performed &all) {
    const string gui = readFile("/gui");
    string text = replaced(all.shown.out, {{traceOfEveryMessage, ""},
                                           {"([^ \n]) +\n", "$1\n"},
                                           // files of a home directory come in any order
                                           {"(.*profile Check.*\n)(.*bashrc Check.*\n)", "$2$1"}});
    text += all.after.out;
    if (!all.shown.err.empty())
        text += "standard error:\n" + all.shown.err;
    if (!gui.empty())
        text += "GUI report:\n" + gui;
    return masked(text + "status " + std::to_string(all.got.status) + "\n");
}

// Returns the report's lines, and marks a heading that has no blank line above it.
static vector<string> reportLines(const string &report, bool bRun) {
    string text = withoutUsage(report);
    if (bRun)
        text = replaced(text, {{traceOfEveryMessage, ""}});
    return linesOf(replaced(text, {{"(^|[^ ]\n)CHECK_HEADING ", "$1CHECK_HEADING no blank line, "}}));
}

static answer answerOf(const namedOperation &what, const vector<string> &words, performed *pAll) {
    const bool bRun = what.kind == RUN || what.kind == OPTIONS;
    outcome &got = pAll->got;
    got.report = reportLines(pAll->shown.out, bRun);
    got.gui = linesOf(readFile("/gui"));
    const vector<string> entries = errorEntries();
    for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry)
        for (const string &line : linesOf(*entry))
            got.errors.push_back(line);
    answer all;
    if (what.kind == LINES)
        all = linesAnswer(got);
    else if (what.kind == ONE_CHECK)
        all = checkAnswer(what, usualTitle(words), got);
    else
        all = runAnswer(what, got);
    addUnlessUsual(&all, "standard error", linesOf(withoutUsage(pAll->shown.err)), {});
    if (what.kind != RUN && what.kind != CHECKS)
        addChangedSettings(&all, pAll->settingsBefore);
    else if (bnoStdRtk != 0)
        all.push_back({"sets", {"bnoStdRtk=1"}});
    addHostsGivenUp(&all);
    addUnlessUsual(&all, "afterwards", linesOf(pAll->after.out), {});
    addChangedFiles(&all, bRun || what.kind == CHECKS);
    if (all.empty())
        all.push_back({"nothing", {}});
    return all;
}

string answerHere(const string &call, bool bWholeText) {
    vector<string> words;
    vector<string> given;
    for (const string &word : wordsOf(call))
        (isSetting(word) ? given : words).push_back(replaced(word, {{"\\\\n", "\n"}}));
    if (words.empty() || namedOperations.count(words[0]) == 0)
        return "no such operation";
    const namedOperation &what = namedOperations.at(words[0]);
    setText(IIHName, "here");
    setText(szGUIReportFile, "/gui");
    bGUIReportFile = what.pMarker != nullptr;
    performed all = performHere(words, given);
    if (bWholeText)
        return wholeText(all);
    string text;
    for (const answerPart &part : answerOf(what, words, &all)) {
        text += asShown(part.head) + "\n";
        for (const string &item : part.items)
            text += "\t" + asShown(item) + "\n";
    }
    return masked(text);
}
