// The shared parts of the tests of single checks.
#include "checkSupport.h"

#include <filesystem>
#include <iomanip>
#include <iostream>
#include <linux/capability.h>
#include <regex>
#include <sstream>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

using std::vector;

void useNamedTexts(bool bMachine) {
    std::map<int, string> texts;
    const string header = readFile(KVX_SOURCE_DIR "/engn/include/sqloPrereqCheck.h");
    const std::regex member("MSG_(\\w+) = (\\d+),"), local("KERNEL_FOUND|\\w+_LOCATED|LOADER_ERROR|LEVEL_BANNER.*");
    for (std::sregex_iterator it(header.begin(), header.end(), member), end; it != end; ++it) {
        const string name = (*it)[1];
        texts[std::stoi((*it)[2])] = bMachine && std::regex_match(name, local) ? "=" : name + " %1 %2 %3 %4";
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

// For the shell: "put FILE TEXT" and "script FILE LINES" lay files, "fake NAME LINES" a tool that adds its calls to a
// log, "quiet" one that does not, "many N TEXT" repeats; "$killed" in lines ends them, and the shell that waits, by a
// signal.
const string prelude = R"sh(mkdir -p /fakes
put() { mkdir -p "${1%/*}"; printf "$2" >"$1"; }
script() { put "$1" ''; printf '%s\n' '#!/bin/sh' "$2" >"$1"; chmod +x "$1"; }
fake() { case $1 in /*) file=$1 ;; *) file=/fakes/$1 ;; esac; script $file "echo $1 \"\$*\" >>/fakes/log; $2"; }
quiet() { script /fakes/$1 "$2"; }
many() { printf "%$1s" | sed "s/ /$2/g"; }
killed='[ "$(cat /proc/$PPID/comm)" = sh ] && kill -9 $PPID; kill -9 $$'
)sh";

static vector<string> wordsOf(const string &line) {
    vector<string> all;
    std::istringstream in(line);
    for (string word; in >> std::quoted(word);)
        all.push_back(word);
    return all;
}

// What the host has got since it was remembered, with the texts.
static string changesOfHost() {
    string all;
    for (const string &path : filesChangedOnHost())
        all += path.find("/rpm/") != string::npos
                   ? "" // of the real one
                   : "<" + path + (std::filesystem::is_regular_file(path) ? ": " + readFile(path).substr(0, 600) : "") +
                         ">";
    return all;
}

// The status, the lines of the report and the trace; then the entries of the error list in brackets, what went to
// standard error in braces, the settings that changed, and the files. '|' ends a line where there is no trace.
static string judgedHere(vector<string> words) {
    int status = 1;
    for (; words.at(0).find('=') != string::npos; words.erase(words.begin()))
        applySetting(words[0]);
    const auto before = settings();
    rusage used, usedThen;
    rememberHost();
    getrusage(RUSAGE_SELF, &used);
    const printed shown = capture([&] { status = perform(words); });
    getrusage(RUSAGE_SELF, &usedThen);
    string all = std::to_string(status) + " " + shown.out;
    for (const string &entry : errorEntries())
        all += "[" + entry + "]";
    all += shown.err.empty() ? "" : "{" + shown.err + "}";
    for (const auto &[name, text] : settings())
        all += text == before.at(name) ? "" : " " + name + "=" + text;
    all += usedThen.ru_maxrss - used.ru_maxrss < 20000 ? "" : " takes much memory";
    return replaced(all + changesOfHost(), {{" [0-9]+ : Cateory file path [^\n]*\n", ""}, // a trace of every message
                                            {"([./])" + std::to_string(getpid()) + "\\b", "$1PID"},
                                            {szRuntimePath, "RUNTIME"},
                                            {"LOCATED /(usr/)?lib[^ \n]*", "LOCATED OWN"},
                                            {" +(?=[\\]\n}])", ""},
                                            {"\n", debug ? "\n" : "|"}});
}

answerer checked(const string &common) {
    return [=](const string &line) {
        const size_t end = line.find(" :: ");
        const string setUp = "runtime=" + string(szRuntimePath) + "\n" + prelude + common + "\n" +
                             (end == string::npos ? "" : line.substr(end + 4)) + "\n:";
        privateHost host;
        host.layers = {KVX_PROGRAM_DIR "/tests/rpm-host"};
        host.hostName = "dbhost";
        host.binds = {szRuntimePath};
        host.removed = {"/usr/sbin/getenforce", "/usr/bin/ofed_info", "/etc/modprobe.d", "/etc/os-release",
                        "/etc/dat.conf",        "/etc/ofed",          "/etc/rdma"};
        const auto body = [&] {
            EXPECT_EQ(system(setUp.c_str()), 0);
            setenv("PATH", (string("/fakes:") + getenv("PATH")).c_str(), 1);
            setText(IIHName, "dbhost");
            std::cout << judgedHere(wordsOf(line.substr(0, end))) << std::flush;
        };
        return capture([&] { onHost(host, body); }).out;
    };
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
