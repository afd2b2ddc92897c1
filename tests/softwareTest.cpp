// Shared libraries and system settings.
#include "checkSupport.h"

#include <csignal>
#include <dlfcn.h>
#include <filesystem>
#include <gnu/libc-version.h>
#include <link.h>
#include <regex>
#include <sstream>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using std::string;
using std::vector;

namespace fs = std::filesystem;

// A check on a host with these files, in little memory.
static void expectJudged(const fileList &files, const checkCall &check, const string &expected) {
    onSoftwareHost(files, [&] {
        rusage before, after;
        getrusage(RUSAGE_SELF, &before);
        EXPECT_EQ(judged(check), expected);
        getrusage(RUSAGE_SELF, &after);
        EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 20000) << "KB";
    });
}

static string script(const string &lines) {
    return "#!/bin/sh\n" + lines + "\n";
}

TEST(Software, CannotTellWithoutChildren) {
    expectJudged(
        {}, [] { return signal(SIGCHLD, SIG_IGN), sqloCheckTools(); },
        "-1 {ERROR: |   Unable to determine if the 'strings' utility exists: No child processes|}");
}

// --- Libraries ---

// The file that the loader takes for a library, empty when there is none.
static string libraryFile(const string &name) {
    void *pLibrary = dlopen(name.c_str(), RTLD_NOW);
    link_map *pMap = nullptr;
    if (pLibrary == nullptr || dlinfo(pLibrary, RTLD_DI_LINKMAP, &pMap) != 0)
        return "";
    const string path = fs::canonical(pMap->l_name);
    dlclose(pLibrary);
    return path;
}

// Covers this process's memory map, in a private host only; without libraries by what cannot be opened.
static void showAsMapped(const vector<string> &libraries) {
    string maps = "00400000-00452000 r-xp 00000000 08:02 173521 /opt/program\n7ff000-7ff100 rw-p 00000000 00:00 0 \n";
    for (const string &library : libraries)
        maps += "7f0000000000-7f0000001000 r--p 00000000 08:02 135522 " + library + "\n";
    if (libraries.empty())
        mknod("/maps", S_IFSOCK | 0600, 0);
    else
        writeFile("/maps", maps);
    const string covered = "/proc/" + std::to_string(getpid()) + "/maps";
    ASSERT_EQ(mount("/maps", covered.c_str(), nullptr, MS_BIND, nullptr), 0);
}

static checkCall cpp(const char *pLibrary, const char *pRequired, const vector<string> &mapped = {"own"}) {
    return [=] {
        if (mapped != vector<string>{"own"})
            showAsMapped(mapped);
        ppszPREREQ[CPPLibName] = const_cast<char *>(pLibrary);
        ppszPREREQ[CPPVersionString] = const_cast<char *>(pRequired);
        return sqloCheckLibStdCPlusPlus();
    };
}

static checkCall libc(const vector<string> &required, const vector<string> &mapped) {
    return [=] {
        showAsMapped(mapped);
        for (size_t i = 0; i < required.size(); i++)
            setValue(static_cast<Tag>(LibCVersion + i), required[i]);
        return sqloCheckGlibC();
    };
}

TEST(Software, JudgesCppRuntime) {
    const char *const pLibrary = "libstdc++.so.6", *const pAbi = "CXXABI_1.3.8";
    const string found = "c++ at " + libraryFile(pLibrary) + "|", need = "need c++ libstdc++.so.6|",
                 plain = "/x/libstdc++.so.6.0", bad = "bad E|[need c++ |unmet ]";
    for (const char *pWrong : {"CXXABI_1.3.999", "CXXABI_1.3.8 ", "XABI_1.3.8", "cxxabi_1.3.8", (const char *)nullptr})
        expectJudged({}, cpp(pLibrary, pWrong), outcome("c++", need + found + "bad E|[" + need + "unmet ]"));
    // clang-format off
    const std::tuple<string, checkCall, string> rows[] = {
        {"", cpp(pLibrary, pAbi), need + found + "abi CXXABI_1.3.8|ok|"},
        {"", cpp(nullptr, pAbi), "need c++ |" + found + "abi CXXABI_1.3.8|ok|"}, // what loads is the program itself
        {"", cpp("so", pAbi), "need c++ so|not loaded so|bad E|[need c++ so|unmet ]"},
        {"", cpp(nullptr, pAbi, {}), "need c++ |no maps /proc/PID/maps|" + bad},
        {"", cpp(nullptr, pAbi, {"/x/libstdc++.so.5", "/x/libc++.so.6"}), "need c++ |ok|"},
        {"CXXABI_1\na CXXABI_2\nGLIBCXX_3\nCXXABI_3\n", cpp(nullptr, "GLIBCXX_3", {plain}), "abi a CXXABI_2|ok|"},
        {"GLIBCXX_3\nCXXABI_1\n", cpp(nullptr, "GLIBCXX_3", {"/x/libc++.so.6", plain, "/x/libstdc++.so.6.1"}), "abi |ok|"},
        {"GLIBCXX_3.4\nXGLIBCXX_3\n", cpp(nullptr, "GLIBCXX_3", {plain}), bad},
        {string(3000, 'x') + "\nGLIBCXX_3\n", cpp(nullptr, "GLIBCXX_3", {plain}), "abi |ok|"},
        {"xCXXABI" + string(3000, 'x') + "\n", cpp(nullptr, "GLIBCXX_3", {plain}), bad}};
    // clang-format on
    for (const auto &[content, check, lines] : rows)
        expectJudged({{plain, content}}, check,
                     outcome("c++", (content.empty() ? "" : "need c++ |c++ at " + plain + "|") + lines));
}

TEST(Software, JudgesCLibrary) {
    const string used = libraryFile("libc.so.6"), level = string(gnu_get_libc_version()) + ".0",
                 unmet = "bad E|[#|unmet ]", release = level.substr(2, level.size() - 4),
                 next = std::to_string(std::stoi(release) + 1), two = "C Library stable release version 2.17, by x.y\n",
                 debian = "x release version 2.36.\n", three = "C Library stable release version 2.12.2, by x et al.\n";
    const auto low = [](const string &found) { return "have " + found + "|bad E|[#|have " + found + "|]"; };
    // What the library holds, "" for the one in use; the required level; the lines behind it.
    // clang-format off
    const std::tuple<string, vector<string>, string> rows[] = {
        {"", {"2", release, "0"}, "have " + level + "|ok|"}, {"", {"2", next, "0"}, low(level)},
        {two, {"2", "17", "0"}, "have 2.17.0|ok|"}, {two, {"2", "18", "0"}, low("2.17.0")},
        {two, {"2", "9", "9"}, "have 2.17.0|ok|"}, {three, {"2", "12", "10"}, low("2.12.2")}, {three, {"3", "0", "0"}, low("2.12.2")},
        {debian, {"2", "36", "0"}, "have 2.36.0|ok|"}, {debian, {"2", "36", "1"}, low("2.36.0")},
        {"release version 3.0.\n", {"2", "99", "9"}, "have 3.0.0|ok|"}, {two + three, {"2", "13", "0"}, "have 2.17.0|ok|"},
        {three, {}, "have 2.12.2|ok|"}, {"version 2.36.\n", {"2", "1", "0"}, "ok|"},
        {"release version 2.36\n", {"2", "1", "0"}, unmet}, {"release version 2\n", {"2", "1", "0"}, unmet},
        {"release version 2.17, by x\n", {"2", "1", "0"}, unmet}, {"release version\n" + three, {"2", "1", "0"}, "ok|"},
        // A long line comes in pieces of 255 characters; a number is cut to 9 digits.
        {string(3000, 'x') + three, {"2", "12", "2"}, "have 2.12.2|ok|"}, {string(235, 'x') + three, {"3", "0", "0"}, "ok|"},
        {"release version 2.99999999999.3,\n", {"2", "99", "2"}, "have 2.214748364.3|ok|"}};
    // clang-format on
    for (const auto &[content, required, end] : rows) {
        const string need =
                         "need " + (required.empty() ? "0.0.0" : required[0] + "." + required[1] + "." + required[2]),
                     path = content.empty() ? used : "/x/libc.so.6", lines = "at " + path + "|#|" + end;
        expectJudged({{"/x/libc.so.6", content}}, libc(required, {"/x/libm.so", path}),
                     outcome("libc", std::regex_replace(lines, std::regex("#"), need)));
    }
    expectJudged({}, libc({}, {}), outcome("libc", "no maps|bad E|[unmet ]"));
    expectJudged({{"/x/libc.so.6", two}, {"/x/libc-2.so", three}},
                 libc({"2", "1", "0"}, {"/x/libc++.so.1", "/x/libc.so.6", "/x/libc-2.so"}),
                 outcome("libc", "at /x/libc++.so.1|need 2.1.0|at /x/libc.so.6|need 2.1.0|have 2.17.0|ok|"));
}

// The smallest library there is, with a build ID of twenty equal bytes.
static string smallLibrary(const string &byte) {
    const scratchDirectory scratch;
    string command = "c++ -shared -nostdlib -x c /dev/null -o " + scratch.path + "/lib.so -Wl,--build-id=0x";
    for (int i = 0; i < 20; i++)
        command += byte;
    EXPECT_EQ(system(command.c_str()), 0);
    return readFile(scratch.path + "/lib.so");
}

TEST(Software, LoadsLibraries) {
    const std::tuple<string, string, checkCall> rows[] = {{"libaio.so.1", "aio", sqloCheckLibAio},
                                                          {"libnuma.so.1", "numa", sqloCheckLibNuma}};
    const string library = smallLibrary("11"), none = ": cannot open shared object file: No such file or directory|";
    for (const auto &[file, name, check] : rows) {
        const string path = "/usr/lib/" + file;
        const auto withoutOthers = [&, &wanted = file, &call = check] {
            for (string other; !(other = libraryFile(wanted)).empty() && other != path;)
                fs::remove(other);
            return call();
        };
        const string bad = "no #|bad E|[no #|]";
        expectJudged({{path, library}}, withoutOthers, outcome(name, "# loaded|ok|"));
        expectJudged({{path, "text"}}, withoutOthers,
                     outcome(name, "loader: /lib/" + file + ": file too short|" + bad));
        expectJudged({}, withoutOthers, outcome(name, "loader: " + file + none + bad));
    }
}

TEST(Software, LooksFor32BitPam) {
    const string file = "/lib/libpam.so.0", other = "/lib/i386-linux-gnu/libpam.so.0",
                 elf32 = string("\177ELF\1\1\1\0\0\0\0\0\0\0\0\0\3\0\3\0\1\0\0\0", 24) + string(28, '\0');
    const auto ldd = fakeTool("ldd", "exit 0"), failing = fakeTool("ldd", "exit 1");
    // clang-format off
    const std::tuple<fileList, int, int> rows[] = { // whether it is Ubuntu 14, whether one is found
        {{}, 0, 0}, {{ldd, {file, elf32}}, 0, 1}, {{ldd, {file, elf32}}, 1, 0}, {{failing, {file, elf32}}, 0, 0},
        {{ldd, {other, elf32}}, 1, 1}, {{ldd, {other, elf32}}, 0, 0}, {{{file, smallLibrary("11")}}, 0, 0},
        {{{file, smallLibrary("32")}}, 0, 1}}; // "32" counts in a build ID too
    // clang-format on
    for (const auto &[files, bUbuntu, bFound] : rows) {
        const string pattern = bUbuntu ? "/lib/i386-linux-gnu/libpam.so*" : "/lib/libpam.so*",
                     missing = "   no 32-bit " + pattern + "|",
                     end = bFound ? "ok|" : missing + "bad W|[" + missing + "]";
        const auto check = [is14 = bUbuntu] { return isUbuntu14 = is14, sqloCheckLibPAM(); };
        expectJudged(files, check, "0    |check " + pattern + "|" + end + "<left>");
    }
    const auto withDebug = [] { return debug = isUbuntu14 = 1, sqloCheckLibPAM(); };
    const string pattern = "/lib/i386-linux-gnu/libpam.so*", missing = "   no 32-bit " + pattern + "|";
    expectJudged({failing}, withDebug,
                 "0    |check " + pattern + "|   Failed to locate library /lib/libpam.so* on the system.|" + missing +
                     "bad W|[" + missing +
                     "]{WARNING: |   The 32-bit library file libpam.so is not found on the system.|}<left>");
}

// --- Settings of the system ---

TEST(Software, WantsSELinuxDisabled) {
    const string tool = "/usr/sbin/getenforce", off = "state disabled|ok|",
                 on = "state enabled|selinux on|bad E|[selinux on|]<left>";
    const auto withDebug = [] { return debug = 1, sqloCheckSELinuxEnabled(); };
    // clang-format off
    const std::pair<string, string> rows[] = {
        {"echo Disabled", off}, {"echo Enforcing", on}, {"echo Permissive", on}, {"", on}, {"echo Disable", on},
        {"echo 'Disabled now'; exit 1", off}, {"echo; echo Disabled", on}, {"echo Disabled >&2", "Disabled|" + on}};
    // clang-format on
    for (const auto &[body, end] : rows)
        expectJudged({{tool, script(body)}}, sqloCheckSELinuxEnabled, outcome("selinux", end));
    for (const fileList &files : {fileList{}, {{tool, "echo Enforcing\n"}}}) { // none, or not executable
        expectJudged(files, sqloCheckSELinuxEnabled, "0 ");
        expectJudged(files, withDebug, "0    /usr/sbin/getenforce not available, exit.");
    }
}

TEST(Software, AsksAdapterProbeAndMachine) {
    // clang-format off
    const std::tuple<string, string, string> probes[] = {
        {"exit 0", "0", "Undefined"}, {"exit 1", "0", "InfiniBand"}, {"exit 2", "0", "Undefined"},
        {"exit 3", "0", "10GE"}, {"exit 5", "-1", "Undefined"}, {"exit 7", "0", "Undefined"}};
    const std::pair<string, string> machines[] = {
        {"echo; echo ' Manufacturer: VMware, Inc.'", "-1  It is a VMware setup"}, {"echo Manufacturer: QEMU", "-1 "},
        {endedBy("1"), "1  It is not a VMware setup"}}; // the raw status 1
    // clang-format on
    setText(szNetname, "ib0");
    const auto ask = [] { return fs::current_path("/x"), debug = 1, sqloCheckMHCA(); };
    const auto askMachine = [] { return debug = 1, verifyVMware(); };
    const string probe = "/x/kvxprereqcheckoss", denied = "{sh: 1: ./kvxprereqcheckoss: Permission denied|}";
    for (const auto &[body, status, kind] : probes)
        expectJudged({{probe, script("echo \"$*\"\n" + body)}}, ask,
                     status + " " + szNetname + "|HCANetwork : " + kind + "|");
    expectJudged({{probe, ""}}, ask, "0 HCANetwork : Undefined|" + denied);
    for (const auto &[body, expected] : machines)
        expectJudged({fakeTool("dmidecode", body)}, askMachine, expected);
}

TEST(Software, RunsClusterAutomationScript) {
    const string base = "/opt/a b/bin", own = base + "/vexha/prereqVEX", tmp = "/tmp/vexha/prereqVEX",
                 above = base + "/../vexha/prereqVEX", good = script("echo out; echo err >&2"), bad = script("exit 3"),
                 failed = "vex failed|bad E|[vex failed|](@vex failed|@)", none = "[check prereqVEX|](@@)";
    // clang-format off
    const std::tuple<fileList, int, int, int, string, string> rows[] = { // msgLevel, emitErrors, bShareGrid
        {{{own, good}, {above, bad}, {tmp, bad}}, 1, 1, 1, "0", "ok|(@@)"}, {{{above, good}, {tmp, bad}}, 1, 1, 1, "0", "ok|(@@)"},
        {{{tmp, good}}, 2, 0, 1, "0", "ok|(@@)"}, {{}, 2, 1, 1, "0", "no vex|bad W|[no vex|](@no vex|@)"},
        {{{own, bad}, {tmp, good}}, 1, 1, 1, "-1", failed}, {{{own, ""}}, 1, 1, 1, "-1", failed},
        {{{tmp, bad}}, 2, 0, 1, "-1", "bad W|" + none}, {{{own, good}}, 1, 1, 0, "-1", "bad E|" + none},
        {{{own, good}}, 3, 1, 1, "-1", "bad |" + none}};
    // clang-format on
    for (const auto &row : rows) {
        const auto check = [&] {
            fs::create_directories(base);
            fs::copy(string(szRuntimePath) + "/locale", base + "/locale", fs::copy_options::recursive);
            setText(szRuntimePath, base);
            setText(szGUIReportFile, "/gui");
            bGUIReportFile = 1;
            bShareGrid = std::get<3>(row);
            return checkprereqVEX(std::get<1>(row), std::get<2>(row));
        };
        const string lines = std::get<4>(row) + "    |check prereqVEX|" + std::get<5>(row);
        expectJudged(std::get<0>(row), check, std::regex_replace(lines, std::regex("@"), "prereqVEX|"));
    }
}
