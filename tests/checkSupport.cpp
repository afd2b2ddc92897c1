// The shared parts of the tests of single checks.
#include "checkSupport.h"

#include <linux/capability.h>
#include <regex>
#include <sstream>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

using std::string;
using std::vector;

// Texts that leave the order of lines and tokens to look at; those without a token show one that slipped into them.
static void useShortTexts() {
    std::istringstream in("30017 W;30018 E;30019 enabled;30020 disabled;30023 c++;30025 libc;30026 aio;30040 selinux;"
                          "30052 need %1 %2 %3;30053 check %1;30054 ok%1;30055 bad %1;30056 have %1 %2;30057 have %1;"
                          "30058 c++ at %1;30059 need c++ %1;30060 abi %1;30064 at %1;30065 need %1.%2.%3;"
                          "30066 have %1.%2.%3;30085 found %1;30095 unmet %1;30098 state %1;30160 need %1 %2;"
                          "30184 kernel %1 for %2;30186 numa;33506 killed%1;33507 no package %1;33508 unreadable%1;"
                          "33509 of %1;33510 not loaded %1;33511 no maps %1;33512 no strings%1;33514 no 32-bit %1;"
                          "33515 no maps%1;33516 killed %1;33520 no aio%1;33535 no ib %1;33536 no hpn %1;"
                          "33537 no rdma %1;33546 no capture %1;33547 no answer %1;33548 no strings%1;"
                          "33552 loader: %1;33553 aio loaded%1;33562 selinux unknown%1;33563 selinux on%1;"
                          "33608 no kernel %1;33609 no numa%1;33610 numa loaded%1;33612 vex failed%1;33613 no vex%1");
    std::map<int, string> texts;
    for (string text; getline(in, text, ';');)
        texts[std::stoi(text)] = text.substr(6);
    useTexts(texts);
}

void useNamedTexts() {
    std::map<int, string> texts;
    const string header = readFile(KVX_SOURCE_DIR "/engn/include/sqloPrereqCheck.h");
    const std::regex member("MSG_(\\w+) = (\\d+),"), local("KERNEL_FOUND|\\w+_LOCATED|LOADER_ERROR|LEVEL_BANNER.*");
    for (std::sregex_iterator it(header.begin(), header.end(), member), end; it != end; ++it) {
        const string name = (*it)[1];
        texts[std::stoi((*it)[2])] = std::regex_match(name, local) ? "=" : name + " %1 %2 %3 %4";
    }
    useTexts(texts);
}

void overrideModes(bool bAllowed) {
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct sets[2] = {};
    if (!bAllowed)
        prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE), prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH);
    ASSERT_EQ(syscall(SYS_capget, &header, sets), 0);
    sets[0].effective = sets[0].permitted & ~(bAllowed ? 0U : 1U << CAP_DAC_OVERRIDE | 1U << CAP_DAC_READ_SEARCH);
    ASSERT_EQ(syscall(SYS_capset, &header, sets), 0);
}

string endedBy(const string &signal) {
    const string shells = "while [ $(cat /proc/$p/comm) = sh ]; do a=\"$p $a\"; p=$(cut -d' ' -f4 /proc/$p/stat); done";
    return "p=$PPID; a=; " + shells + "; kill -" + signal + " $a $$";
}

void onSoftwareHost(const fileList &files, const std::function<void()> &body, const vector<string> &layers) {
    privateHost host;
    if (szRuntimePath[0] == '\0')
        useShortTexts();
    host.layers = layers;
    host.files = files;
    host.binds = {szRuntimePath};
    host.removed = {"/usr/sbin/getenforce", "/usr/bin/ofed_info"};
    onHost(host, [&] {
        setenv("PATH", (string("/fakes:") + getenv("PATH")).c_str(), 1);
        body();
    });
}

string judged(const checkCall &check) {
    int status = 1;
    pErrorList = nullptr;
    const string pid = std::to_string(getpid());
    const printed shown = capture([&] { status = check(); });
    string all = std::to_string(status) + " " + shown.out;
    for (const string &entry : errorEntries())
        all += "[" + entry + "]";
    all += shown.err.empty() ? "" : "{" + shown.err + "}";
    all += bGUIReportFile ? "(" + readFile(szGUIReportFile) + ")" : "";
    all += sqloFileExists(("/tmp/kvxprereqcheck." + pid).c_str()) ? "<left>" : "";
    all = std::regex_replace(all, std::regex(" [0-9]+ : Cateory file path [^\n]*\n"), ""); // a trace of every message
    all = std::regex_replace(all, std::regex("(/proc/|kvxprereqcheck\\.)" + pid), "$1PID");
    return std::regex_replace(all, std::regex("\n"), "|");
}

string outcome(const string &title, const string &lines) {
    const string all = (lines.find("bad ") == lines.npos ? "0    |check #|" : "-1    |check #|") + lines;
    return std::regex_replace(all, std::regex("#"), title);
}

string recorded(const string &lines) {
    return lines + "bad E|[" + lines + "]";
}

string replaced(string text, const fileList &rules) {
    for (const auto &[pattern, replacement] : rules)
        text = std::regex_replace(text, std::regex(pattern), replacement);
    return text;
}

void expectCases(const string &name, const std::function<string(const string &)> &answer) {
    std::istringstream lines(readFile(KVX_SOURCE_DIR "/tests/reports/" + name + ".txt"));
    const fileList machines = {{"(   \\.\\w*profile Check - Passed.)(\\||\n)(   .bashrc Check - Passed.)", "$3$2$1"},
                               {"\\{sh: [^|]*", "{sh: "}}; // in the directory's order; in the shell's words
    string all;
    for (string line; std::getline(lines, line);)
        if (line.rfind("$ ", 0) == 0) {
            const string answered = replaced(answer(line.substr(2)), machines);
            all += line + "\n" + answered.substr(0, answered.find_last_not_of(" \n") + 1) + "\n";
        } else if (line[0] == '#')
            all += line + "\n";
    EXPECT_NE(all, "") << name;
    expectReport(name, all);
}

string runInShell(const string &line) {
    const string commands = "run() { ./kvxprereqcheck -v 11.5 \"$@\" 2>&1; status=$?; }\n"
                            "after() { run > /a; eval \"$1\"; shift; run \"$@\" > /b\n"
                            "diff -U0 -I '^[A-Z][a-z]* [A-Z].*:' /a /b | sed '1,2d;/^@@/d'; }\n" +
                            line.substr(4) + "\necho exit status $status";
    privateHost host;
    host.layers = {KVX_SOURCE_DIR "/samples/hosts/" + line.substr(0, 4), KVX_PROGRAM_DIR "/tests/rpm-host"};
    host.hostName = "dbhost";
    host.binds = {KVX_PROGRAM_DIR};
    host.files = {{KVX_PROGRAM_DIR "/KVXprereqs.xml", readFile(KVX_SOURCE_DIR "/tests/reports/clustered-input.xml")},
                  {"/usr/sbin/getenforce", "#!/bin/sh\necho Disabled\n"},
                  fakeTool("ldd", ""),
                  fakeTool("file", "echo ELF 32-bit")};
    return runProgram(host, {"/bin/sh", "-c", commands}, {}, KVX_PROGRAM_DIR).out;
}
