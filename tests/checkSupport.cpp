// The shared parts of the drivers of faults and hostile words.
#include "checkSupport.h"

#include <cstring>
#include <linux/capability.h>
#include <regex>
#include <sstream>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

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

void expectReport(const string &name, string report) {
    static const std::pair<const char *, const char *> masks[] = {
        {"[A-Z][a-z]{2} [A-Z][a-z]{2} [ 1-3]\\d \\d\\d:\\d\\d:\\d\\d \\d{4}", "DATE"},
        {"(kvxprereqcheck[ab]?\\.|/proc/|Cannot create \\S*\\.)\\d+", "$1PID"},
        {"(Found (?:kernel|C library) level: )\\S+", "$1LEVEL"},
        {"(library in use: )\\S+", "$1PATH"},
        {"(^|\n|so\\. )( ?)\\d+( ?): ", "$1$2LINE$3: "},
    };
    for (size_t at; (at = report.find(KVX_PROGRAM_DIR)) != string::npos;)
        report.replace(at, strlen(KVX_PROGRAM_DIR), "PROGRAM");
    for (const auto &[pPattern, pMask] : masks)
        report = std::regex_replace(report, std::regex(pPattern), pMask);
    const string path = KVX_SOURCE_DIR "/tests/reports/" + name + ".txt";
    if (getenv("KVX_UPDATE_REPORTS") != nullptr) {
        writeFile(path, report);
        GTEST_SKIP() << "written anew: " << path;
    }
    EXPECT_EQ(report, readFile(path)) << path;
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
