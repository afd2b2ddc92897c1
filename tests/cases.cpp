// The runner of tests/cases/, whose README explains the notation: each heading is a test, each case gets a private host
// of its own, and what it answers is compared. Also the main function of all tests.
#include "support.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <gnu/libc-version.h>
#include <iomanip>
#include <iostream>
#include <regex>
#include <sstream>
#include <unistd.h>

using std::vector;
namespace fs = std::filesystem;

// --- Reading ---

// A line of a file with those that continue it.
struct caseLine {
    string written; // as it stands
    string text;    // joined
    int number;
};

struct oneCase {
    string file, call, setUp, expected;
    size_t line; // its index in the file
};

static const string directory = KVX_SOURCE_DIR "/tests/cases/", sign = " => ";
// The whole usage text, by the names of its messages.
static const string usage = replaced("FIRST ARGUMENTS SELECTION CLUSTERED FILES_GIVEN OUTPUT INSTANCE INSTANCE_USER "
                                     "INSTANCE_PORTS GENERAL FILES ENVIRONMENT EXIT_STATUS LAST ",
                                     {{"(\\w+) ", "USAGE_$1 *\n"}});
static const char *const trace = " \\d+ : Cateory .*\n"; // of every message
static const char *const date = "[A-Z][a-z]{2} [A-Z][a-z]{2} [ 1-3]\\d \\d\\d:\\d\\d:\\d\\d \\d{4}";
static std::map<string, vector<caseLine>> files;
static string wantedCase; // only cases that hold this text, or whose place it is
static bool bUpdate;

static vector<caseLine> readLines(const string &file) {
    vector<caseLine> lines;
    std::istringstream in(readFile(directory + file));
    int number = 0;
    for (string line; std::getline(in, line);) {
        number++;
        if (line[0] == ' ' && !lines.empty()) {
            lines.back().written += "\n" + line;
            lines.back().text += " " + line.substr(line.find_first_not_of(' '));
        } else
            lines.push_back({line, line, number});
    }
    return lines;
}

// Replaces x*300.
static string expanded(const string &text) {
    static const std::regex run("(\\S)\\*(\\d{2,})");
    string all;
    auto rest = text.cbegin();
    for (std::sregex_iterator it(text.begin(), text.end(), run), end; it != end; rest = (*it++)[0].second)
        all += it->prefix().str() + string(std::stoul((*it)[2]), *(*it)[1].first);
    return all.append(rest, text.cend());
}

static string shortened(const string &text) {
    string all;
    for (size_t at = 0, end; at < text.size(); at = end) {
        end = std::min(text.find_first_not_of(text[at], at), text.size());
        all += end - at < 12 ? text.substr(at, end - at) : text[at] + string("*") + std::to_string(end - at);
    }
    return all;
}

// --- Answers ---

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

// What the program says in texts of its own, shorter; of a user's checks a sign for each that passed.
static const fileList texts = {
    {"\\s*[\\w. ]+ Check - Passed\\.", "+"},
    {"Total number of required user checks: (.)\\.", "$1:"},
    {"\n *(sqllib Check - Skipped|Details of the failed|SUCCESS: All).*", ""},
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

struct outcome {
    int status;
    vector<string> report, errors; // errors from the oldest
    string gui;
};

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

// The lines, those of the error list marked, and what is only there.
static string marked(const vector<string> &lines, const vector<string> &errors, bool bUsual) {
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
    string all = joined(shown, ", ");
    if (bUsual && others.empty() && std::count(all.begin(), all.end(), '!') >= static_cast<long>(lines.size()))
        all = replaced(all, {{"(^|, )!", "$1"}});
    return (all.empty() ? "" : ": " + all) + joined(others, "") + (bUsual && errors.empty() ? " unlisted" : "");
}

static string blockAnswer(const namedOperation &what, const vector<string> &words, outcome got) {
    string usualTitle = what.pTitle, title;
    if (const size_t at = usualTitle.find('%'); at != string::npos) {
        const auto first = std::find_if(words.begin() + 1, words.end(), [](const string &w) { return w != "NULL"; });
        usualTitle.replace(at, 1, first == words.end() ? "" : *first);
    }
    if (!got.report.empty() && got.report[0].rfind("CHECK_HEADING ", 0) == 0) {
        title = got.report[0].substr(14);
        got.report.erase(got.report.begin());
    }
    const string closing = title.empty() ? "no block" : takeClosing(&got.report);
    const bool bFailed = closing != "passes" && !title.empty();
    const int usual = bFailed ? -1 : 0;
    const string all = (got.status == usual || got.status == NO_STATUS ? "" : std::to_string(got.status) + " ") +
                       closing + (title == usualTitle || title.empty() ? "" : " (" + title + ")") +
                       marked(got.report, got.errors, bFailed && closing != "stays open");
    if (what.pMarker == nullptr)
        return all;
    const string marker = replaced(what.pMarker, {{"\\?", ""}});
    vector<string> gui = got.errors;
    gui.insert(gui.begin(), marker);
    if (!bFailed || what.pMarker[0] != '?')
        gui.push_back(marker);
    return all + (linesOf(got.gui) == linesOf(joined(gui, "\n")) ? "" : " gui: " + joined(linesOf(got.gui), "|"));
}

// A check by its title and the package or directory that a tool was asked about, as far as that is another word.
static string checkName(const string &title) {
    static const fileList names = {{"^TITLE_|^/.*/", ""}, {"^(User|Service) .*", "$1"}, {"^\\S+so\\S*: ", ""}};
    return replaced(title, names);
}

// Every check with its sign; of a level's summary whether it is good, or how many lines follow a bad one; and the lines
// outside of blocks. A "?" begins what a tool was asked about.
static string manyAnswer(const outcome &got) {
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
            all += " " + replaced(rest, {{" Linux", ""}}) + (name == "LEVEL_BANNER" ? ":" : "+:");
        else if (name == "CHECK_HEADING")
            all += " " + checkName(rest), bOpen = true;
        else if (name == "CHECK_PASSED")
            all += "+", bOpen = false;
        else if (name == "CHECK_FAILED")
            all += rest.empty() ? "-" : "-" + rest.substr(9, 1), bOpen = false;
        else if (name == "LEVEL_PASSED")
            all += " met";
        else if (name == "LEVEL_FAILED")
            all += " failed for " + rest.substr(0, rest.find(' ')), failures = 0;
        else if (line[0] == '?' || !bOpen)
            all += " " + line;
    }
    endLevel();
    static const fileList shorter = {{" free space \\?", " "},
                                     {"([ :])(\\S+) \\?\\2([-+])", "$1$2$3"},
                                     {" /tmp\\+ /var\\+ /usr\\+|( free space\\+){3}", " space+"},
                                     {" OS_LEVEL\\+ LIBSTDCXX\\+ LIBAIO\\+", " host+"}};
    all = replaced(all, shorter);
    return all.substr(all[0] == ' ') + (got.status == 0 ? "" : "; exit " + std::to_string(got.status & 255));
}

static string plainAnswer(const outcome &got) {
    const string gui = joined(linesOf(got.gui), "|"),
                 lines = marked(got.report, got.errors, false) + (gui.empty() ? "" : " gui: " + gui);
    if (got.status == NO_STATUS)
        return lines.empty() ? "" : lines.substr(2);
    return std::to_string(got.status) + lines;
}

// What the host has got since it was remembered, with the texts.
static string changesOfHost(bool bWhole) {
    const string usual = bWhole ? "/tmp/kvxprereqcheck." + std::to_string(getpid()) : "";
    string all;
    for (const string &path : filesChangedOnHost()) {
        const string text = fs::is_regular_file(path) ? joined(linesOf(readFile(path)), "|") : "";
        if (path == "/fakes/log")
            all = " ran: " + text + all;
        else if (path.find("/rpm/") == path.npos && path.rfind("/run/", 0) != 0 && path != "/gui" && path != "/log" &&
                 path != "/report" && path != usual)
            all += (fs::exists(fs::symlink_status(path)) ? " left " : " removed ") + path +
                   (text.empty()       ? ""
                    : text.size() > 60 ? ": ..."
                                       : ": " + text);
    }
    return all;
}

// Settings, the operation and its words, done in this process, as an answer.
static string answerHere(const string &call, bool bRaw) {
    vector<string> words, given;
    std::istringstream in(call);
    for (string word; in >> std::quoted(word);)
        (isSetting(word) ? given : words).push_back(word);
    const auto row = namedOperations.find(words.empty() ? "" : words[0]);
    if (row == namedOperations.end())
        return "no such operation";
    const namedOperation &what = row->second;
    setText(IIHName, "here"), setText(szGUIReportFile, "/gui");
    bGUIReportFile = what.pMarker != nullptr;
    for (const string &setting : given)
        applySetting(setting);
    const bool bWhole = std::regex_match(words[0], std::regex("run|options|everywhere|network-type"));
    const bool bMany = what.pTitle != nullptr && what.pTitle == string(MANY_CHECKS);
    const auto before = settings();
    rememberHost();
    outcome got = {};
    const printed shown = capture([&] { got.status = perform(words); });
    const printed after = capture([] { system("[ ! -x /after ] || /after"); });
    if (bRaw)
        return replaced(shown.out, {{trace, ""},
                                    {"([^ \n]) +\n", "$1\n"},
                                    {"([^ \n]) +\n", "$1\n"},
                                    {"(.*profile Check.*\n)(.*bashrc Check.*\n)", "$2$1"}}) +
               after.out + (shown.err.empty() ? "" : "standard error:\n" + shown.err) +
               (readFile("/gui").empty() ? "" : "GUI report:\n" + readFile("/gui")) + "status " +
               std::to_string(got.status) + "\n";
    const string out = replaced(
        shown.out, {{bWhole ? trace : "$.", ""}, {"\\d+ : Cateory", "LINE : Cateory"}, {usage, "usage\n"}, {date, ""}});
    got.report = linesOf(replaced(out, texts)), got.gui = replaced(readFile("/gui"), texts);
    for (const string &entry : errorEntries())
        for (vector<string> lines = linesOf(replaced(entry, texts)); !lines.empty(); lines.pop_back())
            got.errors.insert(got.errors.begin(), lines.back());
    string all = what.pTitle == nullptr ? plainAnswer(got) : bMany ? manyAnswer(got) : blockAnswer(what, words, got);
    if (!shown.err.empty())
        all += " {" + joined(linesOf(shown.err), ", ") + "}";
    for (const auto &[name, text] : settings())
        all += text == before.at(name) || (bWhole && words[0] != "options") ? "" : " " + name + "=" + text;
    for (const hostInfo *pHost = preqHostInfo; pHost != nullptr; pHost = pHost->next)
        all += pHost->isSSH ? "" : string(" without ") + string(pHost->hostName, strnlen(pHost->hostName, 9));
    all += (after.out.empty() ? "" : " after: " + joined(linesOf(after.out), "|")) + changesOfHost(bWhole);
    return all.size() < 2500 ? all : all.substr(0, 200) + " of " + std::to_string(all.size());
}

static string masked(const string &answer, const string &runtime) {
    struct utsname own = {};
    uname(&own);
    fileList masks = {{"([./])" + std::to_string(getpid()) + "\\b", "$1PID"},
                      {"/tmp/kvxprereqcheck\\.(PID|\\d+)", "capture"},
                      {"KERNEL_FOUND " + replaced(own.release, {{"-.*", ""}, {"\\.", " "}}), "KERNEL_FOUND OWN"},
                      {date, "DATE"},
                      {runtime, "RUNTIME"},
                      {usage, "usage\n"},
                      {"sh: [^,}]*", "sh: ..."},
                      {"LOCATED /(usr/)?lib[^ ,\n]*", "LOCATED OWN"},
                      {string("(LOCATED OWN[^/]*GLIBC_FOUND )") + gnu_get_libc_version(), "$1OWN"}};
    return replaced(answer, masks);
}

static string answerOf(const oneCase &given, bool bRaw) {
    const string runtime = szRuntimePath;
    privateHost host;
    host.hostName = "here.dom";
    host.binds = {runtime, KVX_SOURCE_DIR "/samples"};
    host.removed = {"/usr/sbin/getenforce", "/usr/bin/ofed_info", "/etc/modprobe.d", "/etc/os-release",
                    "/etc/dat.conf",        "/etc/ofed",          "/etc/rdma",       "/var/kvx"};
    host.ownNetwork = given.setUp.find("# own network") != string::npos;
    if (given.setUp.find("# rpm database") != string::npos)
        host.layers = {KVX_PROGRAM_DIR "/tests/rpm-host"};
    const string setUp = "runtime=" + runtime + "\n" + prelude + given.setUp + "\n:";
    return capture([&] {
               onHost(host, [&] {
                   EXPECT_EQ(system(expanded(setUp).c_str()), 0);
                   setenv("PATH", (string("/fakes:") + getenv("PATH")).c_str(), 1);
                   const string answer = masked(answerHere(expanded(given.call), bRaw), runtime);
                   std::cout << (bRaw ? answer : shortened(joined(linesOf(answer), "|"))) << std::flush;
               });
           })
        .out;
}

// --- Comparing ---

static string differences(const string &expected, const string &got) {
    const scratchDirectory scratch;
    writeFile(scratch.path + "/expected", expected), writeFile(scratch.path + "/got", got);
    return capture([&] { system(("cd " + scratch.path + "; diff -U1 expected got | tail -n +3").c_str()); }).out;
}

// Breaks a line at single blanks, so that it can be joined again.
static string wrapped(string text) {
    string all;
    while (text.size() > 120) {
        size_t at = 120;
        while (at > 60 && (text[at] != ' ' || text[at - 1] == ' ' || text[at + 1] == ' '))
            at--;
        if (at == 60)
            break;
        all += text.substr(0, at) + "\n";
        text = "    " + text.substr(at + 1);
    }
    return all + text;
}

static void compare(const oneCase &given) {
    const bool bRaw = given.expected.rfind("as ", 0) == 0;
    const string path = directory + given.expected.substr(bRaw ? 3 : 0), got = answerOf(given, bRaw);
    const string expected = bRaw ? readFile(path) : given.expected;
    caseLine &line = files[given.file][given.line];
    if (!wantedCase.empty())
        std::cout << given.file << ":" << line.number << ": " << line.text << "\n  " << got << "\n";
    const size_t compared = !bRaw && expected.size() > 3 && expected.substr(expected.size() - 3) == "..."
                                ? expected.size() - 3
                                : string::npos;
    if (got.substr(0, compared) == expected.substr(0, compared))
        return;
    if (bUpdate && bRaw)
        writeFile(path, got);
    else if (bUpdate)
        line.text = line.text.substr(0, line.text.find(sign)) + sign + got;
    const size_t end = line.text.find(sign), shell = std::min(line.text.find(":: "), end);
    ADD_FAILURE_AT((directory + given.file).c_str(), line.number)
        << given.call << line.text.substr(shell, end - shell) << "\nexpected: " << (bRaw ? given.expected : expected)
        << "\ngot:      " << (bRaw ? "\n" + differences(expected, got) : got);
}

struct Cases : testing::Test {
    const vector<oneCase> all;
    explicit Cases(const vector<oneCase> &given) : all(given) {
    }
    void TestBody() override {
        onHost({}, [] {});
        if (IsSkipped() || HasFailure())
            return;
        useNamedTexts(false);
        for (const oneCase &given : all)
            compare(given);
    }
};

// --- Making tests ---

static bool isWanted(const string &file, const caseLine &line) {
    return line.text.find(wantedCase) != string::npos ||
           (file + ":" + std::to_string(line.number)).find(wantedCase) != string::npos;
}

static void addTest(const string &file, const string &heading, int line, const vector<oneCase> &cases) {
    const string name = replaced(heading, {{"\\W+", "_"}}), suite = file.substr(0, file.find('.'));
    if (!cases.empty() && !wantedCase.empty())
        testing::GTEST_FLAG(filter) += (":" + suite).append("." + name);
    if (!cases.empty())
        testing::RegisterTest(suite.c_str(), name.c_str(), nullptr, nullptr, file.c_str(), line,
                              [cases]() -> Cases * { return new Cases(cases); });
}

// What a line gives that stands in front of the cases of a file or, behind a heading, of a test.
struct common {
    string words, setUp;
};

static void addTests(const string &file) {
    const vector<caseLine> &lines = files[file] = readLines(file);
    common ofFile, ofTest;
    string heading = file;
    vector<oneCase> cases;
    for (size_t i = 0; i < lines.size(); i++) {
        const string &text = lines[i].text;
        if (text.rfind("## ", 0) == 0) {
            addTest(file, heading, lines[i].number, cases);
            (heading == file ? ofFile : ofTest) = ofTest;
            heading = text.substr(3), ofTest = ofFile, cases.clear();
        } else if (text.rfind("! ", 0) == 0)
            ofTest.setUp += text.substr(2) + "\n";
        else if (text.rfind("* ", 0) == 0)
            ofTest.words += text.substr(2) + " ";
        else if (!text.empty() && text[0] != '#' && isWanted(file, lines[i])) {
            const string all = ofTest.words + text;
            const size_t answer = all.find(sign), shell = std::min(all.find(":: "), answer);
            const string setUp = shell == answer ? "" : all.substr(shell + 3, answer - shell - 3);
            const string expected = answer == string::npos ? "" : all.substr(answer + sign.size());
            cases.push_back({file, all.substr(0, shell), ofTest.setUp + setUp, expected, i});
        }
    }
    addTest(file, heading, 0, cases);
}

static void writeUpdates() {
    for (const auto &[file, lines] : files) {
        string all;
        for (const caseLine &line : lines)
            all += (line.written.find_first_of("#!*") == 0 ? line.written : wrapped(line.text)) + "\n";
        if (all != readFile(directory + file))
            writeFile(directory + file, all);
    }
}

// What a test finds must not depend on how the tests were started.
static void settle() {
    for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM, SIGCHLD})
        signal(number, SIG_DFL);
    for (const char *pName : {"KVXTMPDIR", "KVXINSTANCE", "KVXMLNXOFED", "KVXLANG", "LANG", "LANGUAGE"})
        unsetenv(pName);
    setenv("LC_ALL", "C", 1);
    setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
}

extern "C" const char *__asan_default_options();
extern "C" const char *__asan_default_options() {
    return "detect_leaks=0";
}

int main(int argc, char **argv) {
    settle();
    testing::InitGoogleTest(&argc, argv);
    for (int i = 1; i < argc; i++) {
        const string argument = argv[i];
        bUpdate = bUpdate || argument == "--update";
        if (argument.rfind("--case=", 0) == 0)
            wantedCase = argument.substr(7), testing::GTEST_FLAG(filter) = "";
    }
    for (const fs::directory_entry &entry : fs::directory_iterator(directory))
        if (entry.path().extension() == ".txt")
            addTests(entry.path().filename());
    const int status = RUN_ALL_TESTS();
    if (bUpdate)
        writeUpdates();
    return status;
}
