// Runs the cases of cases/, whose README explains the notation: each heading is a test, each case gets a private host,
// and its answer is compared. Has the main function of all tests.
#include "support.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <regex>
#include <sstream>

using std::vector;
namespace fs = std::filesystem;

struct oneCase {
    string file;
    int line;
    string call;  // with what every case of its group is given
    string setUp; // shell lines
    size_t paragraph;
    string expected; // in one line
};

static const string directory = KVX_SOURCE_DIR "/tests/cases/";
static const string arrow = " =>";
static const string setUpMark = " setup: ";
static const size_t WIDTH = 120;
static std::map<string, vector<string>> files; // paragraphs: a line with the indented ones below it
static string wantedCase;                      // FILE:LINE; empty: all
static bool bUpdate;

// --- Paragraphs ---

static vector<string> linesOf(const string &text) {
    vector<string> lines;
    std::istringstream in(text);
    for (string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

static vector<string> readParagraphs(const string &file) {
    vector<string> paragraphs;
    for (const string &line : linesOf(readFile(directory + file)))
        if (line[0] == ' ')
            paragraphs.back() += "\n" + line;
        else
            paragraphs.push_back(line);
    return paragraphs;
}

// Joins the lines of a paragraph by blanks, or by newlines and without their first four columns.
static string joined(const string &paragraph, bool bNewlines) {
    string all;
    for (const string &line : linesOf(paragraph)) {
        const size_t indent = std::min(line.find_first_not_of(' '), line.size());
        const string text = line.substr(bNewlines ? std::min<size_t>(indent, 4) : indent);
        if (!all.empty() && !text.empty())
            all += bNewlines ? "\n" : " ";
        all += text;
    }
    return all;
}

// --- Answers ---

// Splits the lines of answerHere into parts.
static answer partsOf(const string &text) {
    answer parts;
    for (const string &line : linesOf(text))
        if (line[0] == '\t')
            parts.back().items.push_back(line.substr(1));
        else
            parts.push_back({line, {}});
    return parts;
}

static string inOneLine(const answerPart &part) {
    string all = part.head;
    for (size_t i = 0; i < part.items.size(); i++)
        all += (i == 0 ? ": " : ", ") + part.items[i];
    return all;
}

static string inOneLine(const answer &parts) {
    string all;
    for (const answerPart &part : parts)
        all += (all.empty() ? "" : "; ") + inOneLine(part);
    return all;
}

// Adds words to the last line if they fit; otherwise they begin a new line, which is broken at single blanks.
static void addWords(vector<string> *pLines, const string &words, size_t indent) {
    string &last = pLines->back();
    const string between = last.find_first_not_of(' ') == string::npos ? "" : " ";
    if (last.size() + between.size() + words.size() <= WIDTH) {
        last += between + words;
        return;
    }
    string line = string(indent, ' ') + words;
    while (line.size() > WIDTH) {
        size_t at = WIDTH;
        while (at > WIDTH / 2 && (line[at] != ' ' || line[at - 1] == ' ' || line[at + 1] == ' '))
            at--;
        if (at == WIDTH / 2)
            break;
        pLines->push_back(line.substr(0, at));
        line = string(indent + 4, ' ') + line.substr(at + 1);
    }
    pLines->push_back(line);
}

// Fills lines with the parts. A part that does not fit into a line begins one, and its items fill the lines below.
static string inLines(const answer &parts) {
    vector<string> lines = {string(4, ' ')};
    for (size_t i = 0; i < parts.size(); i++) {
        const string end = i + 1 < parts.size() ? ";" : "";
        const string whole = inOneLine(parts[i]) + end;
        if (whole.size() + 4 <= WIDTH || parts[i].items.empty()) {
            addWords(&lines, whole, 4);
            continue;
        }
        lines.push_back("    " + parts[i].head + ":");
        lines.push_back(string(8, ' '));
        for (size_t k = 0; k < parts[i].items.size(); k++)
            addWords(&lines, parts[i].items[k] + (k + 1 < parts[i].items.size() ? "," : end), 8);
        lines.push_back(string(4, ' '));
    }
    string all;
    for (const string &line : lines)
        if (line.find_first_not_of(' ') != string::npos)
            all += "\n" + line;
    return all;
}

static string withAnswer(const string &paragraph, const answer &parts) {
    const string call = paragraph.substr(0, paragraph.find(arrow)) + arrow;
    const string line = call + " " + inOneLine(parts);
    return line.size() - line.rfind('\n') - 1 <= WIDTH ? line : call + inLines(parts);
}

// --- Running and comparing ---

// Replaces x*300.
static string expanded(const string &text) {
    static const std::regex run("(\\S)\\*(\\d{2,})");
    string all;
    auto rest = text.cbegin();
    for (std::sregex_iterator it(text.begin(), text.end(), run), end; it != end; ++it) {
        all += it->prefix().str() + string(std::stoul((*it)[2]), *(*it)[1].first);
        rest = (*it)[0].second;
    }
    return all.append(rest, text.cend());
}

static string answerOf(const oneCase &given, bool bWholeText) {
    privateHost host;
    host.hostName = "here.dom";
    host.binds = {szRuntimePath, KVX_SOURCE_DIR "/samples"};
    host.removed = {"/usr/sbin/getenforce", "/usr/bin/ofed_info", "/etc/modprobe.d", "/etc/os-release",
                    "/etc/dat.conf",        "/etc/ofed",          "/etc/rdma",       "/var/kvx"};
    host.ownNetwork = given.setUp.find("own_network") != string::npos;
    if (given.setUp.find("rpm_database") != string::npos)
        host.layers = {KVX_PROGRAM_DIR "/tests/rpm-host"};
    const string setUp = "runtime=" + namedTextsDirectory() + "\n" + prelude + given.setUp + "\n:";
    const auto body = [&] {
        showOwnFiles();
        EXPECT_EQ(system(expanded(setUp).c_str()), 0);
        setenv("PATH", (string("/fakes:") + getenv("PATH")).c_str(), 1);
        std::cout << answerHere(expanded(given.call), bWholeText) << std::flush;
    };
    return capture([&] { onHost(host, body); }).out;
}

static string differences(const string &expected, const string &got) {
    const scratchDirectory scratch;
    writeFile(scratch.path + "/expected", expected);
    writeFile(scratch.path + "/got", got);
    return capture([&] { system(("cd " + scratch.path + "; diff -U1 expected got | tail -n +3").c_str()); }).out;
}

static void report(const oneCase &given, const string &expected, const string &got) {
    const string setUp = given.setUp.empty() ? "" : "\nset-up:   " + given.setUp;
    ADD_FAILURE_AT((directory + given.file).c_str(), given.line)
        << "call:     " << given.call << setUp << "\nexpected: " << expected << "\ngot:      " << got;
}

static void compareWholeText(const oneCase &given, const string &path) {
    const string expected = readFile(path);
    const string got = answerOf(given, true);
    if (got == expected)
        return;
    if (bUpdate)
        writeFile(path, got);
    report(given, given.expected, differences(expected, got));
}

static void compare(const oneCase &given) {
    if (given.expected.rfind("as ", 0) == 0)
        return compareWholeText(given, directory + given.expected.substr(3));
    const answer parts = partsOf(answerOf(given, false));
    string &paragraph = files[given.file][given.paragraph];
    if (!wantedCase.empty())
        std::cout << paragraph << "\n\nGot:" << inLines(parts) << "\n";
    if (bUpdate)
        paragraph = withAnswer(paragraph, parts);
    if (inOneLine(parts) == given.expected)
        return;
    report(given, given.expected, inOneLine(parts));
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

// A heading with its cases and their common words and shell lines; the group above the first heading serves all groups.
struct group {
    string heading;
    int line;
    string words;
    string setUp;
    vector<oneCase> cases;
};

static void addTest(const string &file, const group &given) {
    const string name = replaced(given.heading, {{"\\W+", "_"}});
    const string suite = file.substr(0, file.find('.'));
    const vector<oneCase> &cases = given.cases;
    if (cases.empty())
        return;
    if (!wantedCase.empty())
        testing::GTEST_FLAG(filter) += (":" + suite).append("." + name);
    testing::RegisterTest(suite.c_str(), name.c_str(), nullptr, nullptr, file.c_str(), given.line,
                          [cases]() -> Cases * { return new Cases(cases); });
}

static void addCase(const string &file, int line, size_t paragraph, group *pGroup) {
    const string &text = files[file][paragraph];
    const size_t end = text.find(arrow);
    if (end == string::npos)
        throw std::runtime_error(file + ":" + std::to_string(line) + ": no =>");
    const string given = joined(text.substr(0, end), false);
    const size_t shell = std::min(given.find(setUpMark), given.size());
    const string setUp = shell == given.size() ? "" : given.substr(shell + setUpMark.size());
    pGroup->cases.push_back({file, line, pGroup->words + given.substr(0, shell), pGroup->setUp + setUp, paragraph,
                             joined(text.substr(end + arrow.size()), false)});
}

static void addTests(const string &file) {
    const vector<string> &paragraphs = files[file] = readParagraphs(file);
    group ofFile;
    group now;
    int line = 1;
    for (size_t i = 0; i < paragraphs.size(); i++) {
        const string &text = paragraphs[i];
        const string mark = text.substr(0, text.find_first_of(" \n"));
        if (mark == "##") {
            addTest(file, now);
            if (ofFile.heading.empty())
                ofFile = now;
            ofFile.heading = file;
            now = {text.substr(3), line, ofFile.words, ofFile.setUp, {}};
        } else if (mark == "setup:")
            now.setUp += joined(text.substr(mark.size()), true) + "\n";
        else if (mark == "given:")
            now.words += joined(text.substr(mark.size()), false) + " ";
        else if (!text.empty() && text[0] != '#' && isWanted(file, line))
            addCase(file, line, i, &now);
        line += 1 + static_cast<int>(std::count(text.begin(), text.end(), '\n'));
    }
    addTest(file, now);
}

static void writeUpdates() {
    for (const auto &[file, paragraphs] : files) {
        string all;
        for (const string &paragraph : paragraphs)
            all += paragraph + "\n";
        if (all != readFile(directory + file))
            writeFile(directory + file, all);
    }
}

// Makes tests independent of inherited signals and variables.
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
        if (argument.rfind("--case=", 0) != 0)
            continue;
        wantedCase = replaced(argument.substr(7), {{"(\\.txt)?:", ".txt:"}});
        testing::GTEST_FLAG(filter) = "";
    }
    for (const fs::directory_entry &entry : fs::directory_iterator(directory))
        if (entry.path().extension() == ".txt")
            addTests(entry.path().filename());
    if (testing::GTEST_FLAG(filter).empty()) {
        std::cerr << "no case begins at " << wantedCase << "\n";
        return 1;
    }
    const int status = RUN_ALL_TESTS();
    if (bUpdate)
        writeUpdates();
    return status;
}
