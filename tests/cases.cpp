// The runner of cases/, whose README explains the notation: each heading is a test, each case gets a private host of
// its own, and what it answers is compared. Also the main function of all tests.
#include "support.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <regex>
#include <sstream>

using std::vector;
namespace fs = std::filesystem;

// --- Reading ---

// A line of a file, with those that continue it.
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
static std::map<string, vector<caseLine>> files;
static string wantedCase; // FILE:LINE; empty: all
static bool bUpdate;

static vector<caseLine> readLines(const string &file) {
    vector<caseLine> lines;
    std::istringstream in(readFile(directory + file));
    int number = 1;
    for (string line; std::getline(in, line); number++)
        if (line[0] == ' ') {
            lines.back().written += "\n" + line;
            lines.back().text += " " + line.substr(line.find_first_not_of(' '));
        } else
            lines.push_back({line, line, number});
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

// --- Running and comparing ---

static string answerOf(const oneCase &given, bool bWholeText) {
    privateHost host;
    host.hostName = "here.dom";
    host.binds = {szRuntimePath, KVX_SOURCE_DIR "/samples"};
    host.removed = {"/usr/sbin/getenforce", "/usr/bin/ofed_info", "/etc/modprobe.d", "/etc/os-release",
                    "/etc/dat.conf",        "/etc/ofed",          "/etc/rdma",       "/var/kvx"};
    host.ownNetwork = given.setUp.find("# own network") != string::npos;
    if (given.setUp.find("# rpm database") != string::npos)
        host.layers = {KVX_PROGRAM_DIR "/tests/rpm-host"};
    const string setUp = "runtime=" + namedTextsDirectory() + "\n" + prelude + given.setUp + "\n:";
    const auto body = [&] {
        EXPECT_EQ(system(expanded(setUp).c_str()), 0);
        setenv("PATH", (string("/fakes:") + getenv("PATH")).c_str(), 1);
        std::cout << answerHere(expanded(given.call), bWholeText) << std::flush;
    };
    return capture([&] { onHost(host, body); }).out;
}

static string differences(const string &expected, const string &got) {
    const scratchDirectory scratch;
    writeFile(scratch.path + "/expected", expected), writeFile(scratch.path + "/got", got);
    return capture([&] { system(("cd " + scratch.path + "; diff -U1 expected got | tail -n +3").c_str()); }).out;
}

static void compare(const oneCase &given) {
    const bool bWholeText = given.expected.rfind("as ", 0) == 0;
    const string path = directory + given.expected.substr(bWholeText ? 3 : 0), got = answerOf(given, bWholeText);
    const string expected = bWholeText ? readFile(path) : given.expected;
    caseLine &line = files[given.file][given.line];
    if (!wantedCase.empty())
        std::cout << given.file << ":" << line.number << ": " << line.text << "\n  " << got << "\n";
    const bool bBeginning = !bWholeText && std::regex_search(expected, std::regex("\\.\\.\\.$"));
    if (got == expected || (bBeginning && got.rfind(expected.substr(0, expected.size() - 3), 0) == 0))
        return;
    if (bUpdate && bWholeText)
        writeFile(path, got);
    else if (bUpdate)
        line.text = line.text.substr(0, line.text.find(sign)) + sign + got;
    const size_t end = line.text.find(sign), shell = std::min(line.text.find(":: "), end);
    ADD_FAILURE_AT((directory + given.file).c_str(), line.number)
        << given.call << line.text.substr(shell, end - shell) << "\nexpected: " << given.expected
        << "\ngot:      " << (bWholeText ? "\n" + differences(expected, got) : got);
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
        std::for_each(all.begin(), all.end(), compare);
    }
};

// --- Making tests ---

static bool isWanted(const string &file, int line) {
    return wantedCase.empty() || wantedCase == file + ":" + std::to_string(line);
}

static void addTest(const string &file, const string &heading, int line, const vector<oneCase> &cases) {
    const string name = replaced(heading, {{"\\W+", "_"}}), suite = file.substr(0, file.find('.'));
    if (cases.empty())
        return;
    if (!wantedCase.empty())
        testing::GTEST_FLAG(filter) += (":" + suite).append("." + name);
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
    int headingLine = 1;
    vector<oneCase> cases;
    for (size_t i = 0; i < lines.size(); i++) {
        const string text = lines[i].text, mark = text.substr(0, text.find(' ') + 1);
        if (mark == "## ") {
            addTest(file, heading, headingLine, cases);
            (heading == file ? ofFile : ofTest) = ofTest;
            heading = text.substr(3), headingLine = lines[i].number, ofTest = ofFile, cases.clear();
        } else if (mark == "! ")
            ofTest.setUp += text.substr(2) + "\n";
        else if (mark == "* ")
            ofTest.words += text.substr(2) + " ";
        else if (!text.empty() && text[0] != '#' && isWanted(file, lines[i].number)) {
            const string all = ofTest.words + text;
            const size_t answer = all.find(sign), shell = std::min(all.find(":: "), answer);
            const string setUp = shell == answer ? "" : all.substr(shell + 3, answer - shell - 3);
            cases.push_back({file, all.substr(0, shell), ofTest.setUp + setUp, all.substr(answer + sign.size()), i});
        }
    }
    addTest(file, heading, headingLine, cases);
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
            wantedCase = replaced(argument.substr(7), {{"(\\.txt)?:", ".txt:"}}), testing::GTEST_FLAG(filter) = "";
    }
    for (const fs::directory_entry &entry : fs::directory_iterator(directory))
        if (entry.path().extension() == ".txt")
            addTests(entry.path().filename());
    if (testing::GTEST_FLAG(filter).empty()) // nothing was found for --case
        return std::cerr << "no case begins at " << wantedCase << "\n", 1;
    const int status = RUN_ALL_TESTS();
    if (bUpdate)
        writeUpdates();
    return status;
}
