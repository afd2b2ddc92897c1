// Shared libraries, system settings, and the command lines of all software checks.
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

// A check on a host with these files, in little memory and without running what the tests plant.
static void expectJudged(const fileList &files, const checkCall &check, const string &expected) {
    onSoftwareHost(files, [&] {
        rusage before, after;
        getrusage(RUSAGE_SELF, &before);
        EXPECT_EQ(judged(check), expected);
        getrusage(RUSAGE_SELF, &after);
        EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 20000) << "KB";
        EXPECT_FALSE(fs::exists("/ran") || fs::exists("ran"));
    });
}

static string script(const string &lines) {
    return "#!/bin/sh\n" + lines + "\n";
}

TEST(Software, LooksForStrings) {
    const string missing = "-1 {ERROR: |   The 'strings' utility that is used to detect prerequisite libraries|"
                           "   is not present on this system.  Please use your package or software|"
                           "   manager to install the GNU Binary Utilities.|}",
                 unknown = "-1 {ERROR: |   Unable to determine if the 'strings' utility exists: No child processes|}";
    const auto withoutChildren = [] { return signal(SIGCHLD, SIG_IGN), sqloCheckTools(); };
    expectJudged({}, sqloCheckTools, "0 ");
    expectJudged({fakeTool("strings", "exit 1")}, sqloCheckTools, missing);
    expectJudged({}, withoutChildren, unknown);
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
                 plain = "/x/libstdc++.so.6.0", bad = "bad E|[need c++ |unmet ]",
                 inert = "/x/$(touch${IFS}/ran)`touch${IFS}/ran`;'\">ran/libstdc++.so.6";
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
    expectJudged({{inert, "GLIBCXX_3\n"}}, cpp(nullptr, "GLIBCXX_3", {inert}),
                 outcome("c++", "need c++ |c++ at " + inert + "|abi |ok|"));
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

TEST(Software, LivesWithFailingStrings) {
    const string answer = "echo GLIBCXX_3; echo release version 2.9.9,; ", at = "need c++ |c++ at /x/libstdc++.so.6|";
    const std::tuple<string, string, string> rows[] = {
        {answer + "exit 1", "no strings|ok|", "need 2.1.0|have 2.9.9|ok|"},
        {answer + endedBy("9"), "no strings|ok|", "need 2.1.0|have 2.9.9|ok|"},
        {answer + "rm /tmp/kvxprereqcheck.*", "no strings|ok|", "no strings|bad E|[unmet ]"},
        {"head -c 64000000 /dev/zero | tr '\\0' x", "bad E|[need c++ |unmet ]", "need 2.1.0|ok|"}};
    for (const auto &[body, cppEnd, libcEnd] : rows) {
        const fileList files = {fakeTool("strings", body)};
        expectJudged(files, cpp(nullptr, "GLIBCXX_3", {"/x/libstdc++.so.6"}), outcome("c++", at + cppEnd));
        expectJudged(files, libc({"2", "1", "0"}, {"/x/libc.so"}), outcome("libc", "at /x/libc.so|" + libcEnd));
    }
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
                 on = "state enabled|selinux on|bad E|[selinux on|]<left>",
                 killed = "killed " + tool +
                          " 2>&1 > /tmp/kvxprereqcheck.PID|selinux unknown|bad E|[selinux unknown|]<left>";
    const auto withDebug = [] { return debug = 1, sqloCheckSELinuxEnabled(); };
    // clang-format off
    const std::pair<string, string> rows[] = {
        {"echo Disabled", off}, {"echo Enforcing", on}, {"echo Permissive", on}, {"", on}, {"echo Disable", on},
        {"echo 'Disabled now'; exit 1", off}, {"echo; echo Disabled", on}, {"echo Disabled >&2", "Disabled|" + on},
        {endedBy("9"), killed}, {"rm /tmp/kvxprereqcheck.*", "no capture |bad E|[no capture |]"}};
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
        {"exit 3", "0", "10GE"}, {"exit 5", "-1", "Undefined"}, {"exit 7", "0", "Undefined"},
        {endedBy("9"), "0", "Undefined"}};
    const std::pair<string, string> machines[] = {
        {"echo; echo ' Manufacturer: VMware, Inc.'", "-1  It is a VMware setup"}, {"echo Manufacturer: QEMU", "-1 "},
        {endedBy("1"), "1  It is not a VMware setup"}}; // the raw status 1
    // clang-format on
    setText(szNetname, "ib0;touch /ran $(touch /ran)");
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
    const string base = "/opt/a b;$(touch /ran)/bin", own = base + "/vexha/prereqVEX", tmp = "/tmp/vexha/prereqVEX",
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

// The commands of every check with their arguments, and the standard errors that reach the report or standard error.
TEST(Software, RunsTheseCommands) {
    const string query = "rpm -q --qf %{NAME}\\n%{VERSION}\\n%{RELEASE}\\n ", persist = "/usr/bin/sg_persist",
                 arch = "rpm -q --qf %{NAME}\\n%{VERSION}\\n%{ARCH}\\n -l p.",
                 kernel = "rpm -q --qf %{VERSION}-%{RELEASE}.%{ARCH}\\n ";
    const auto package =
        std::bind(sqloCheckPackageLINUX, std::placeholders::_1, std::placeholders::_2, nullptr, nullptr, 1, 1);
    // clang-format off
    const std::tuple<checkCall, string, string> rows[] = {
        {sqloCheckTools, "strings |", "||"},
        {cpp(nullptr, "x", {"/x/libstdc++.so.6"}), "/usr/bin/file -L /x/libstdc++.so.6|strings /x/libstdc++.so.6|", "||</usr/bin/file>"},
        {libc({}, {"/x/libc.so.6"}), "strings /x/libc.so.6|", "||"},
        {sqloCheckLibPAM, "ldd /lib/libpam.so*|file -L /lib/libpam.so*|", "||<file>"},
        {sqloCheckSELinuxEnabled, "/usr/sbin/getenforce |", "</usr/sbin/getenforce>||"},
        {sqloCheckMHCA, "kvxprereqcheckoss k*|", "||<kvxprereqcheckoss>"}, {verifyVMware, "dmidecode |", "||<dmidecode>"},
        {std::bind(package, "tool", nullptr), query + "-l tool|", "<rpm>||"},
        {std::bind(package, "tool", "/x/tool"), query + "-f /x/tool|", "||"},
        {std::bind(package, "kernel-devel", nullptr), query + "-l kernel-devel|uname -r|" + kernel + "kernel-devel|", "<rpm>||<uname>"},
        {std::bind(sqlocheckNtpChronyKsh, "ntpd", "1", nullptr), "which ntpd|" + query + "-f /out/which|", "||"},
        {std::bind(sqloCheckHCAPackageLINUX, "G", "p", 0, 1, 1), arch + "x86_64|", "<rpm>||"},
        {std::bind(sqloCheckMellanoxPackageLINUX, "L", "p", 1, 1, 1), "dmidecode |" + arch + "i386|", "<rpm>||<dmidecode>"},
        {std::bind(sqloCheckPackagePresenceLinux, "G", "p", 2), arch + "noarch|", "<rpm>||"},
        {sqloCheckMellanoxLINUX, "/usr/bin/ofed_info |", "||"},
        {std::bind(sqloCheckSGPackageLINUX, "sg", nullptr, 1, 1), query + "-l sg|", "<rpm>||"},
        {std::bind(sqloCheckSGPackageLINUX, "sg", "/bin/sg", 1, 1), query + "-f /bin/sg|", "||"},
        {std::bind(sqloCheckSGPackageLINUX, "sg", persist.c_str(), 1, 1), query + "-f " + persist + " -V|", "||"}};
    // clang-format on
    fileList fakes;
    for (const string tool : {"strings", "/usr/bin/file", "ldd", "file", "/usr/sbin/getenforce", "kvxprereqcheckoss",
                              "dmidecode", "rpm", "uname", "which", "/usr/bin/ofed_info"})
        fakes.push_back({tool[0] == '/' ? tool : "/fakes/" + tool,
                         fakeTool(tool, "echo /out/" + tool + "; echo '<" + tool + ">' >&2").second});
    setenv("KVXMLNXOFED", "TRUE", 1);
    setText(szNetname, "k*");
    for (const auto &row : rows)
        onSoftwareHost(fakes, [&row] {
            fs::current_path("/fakes");
            const printed shown = capture(std::get<0>(row));
            const auto marks = [](const string &text) {
                return std::regex_replace(text, std::regex("[^<]*(<[^>]*>)?"), "$1");
            };
            EXPECT_EQ(std::regex_replace(readFile("log"), std::regex("\n"), "|"), std::get<1>(row));
            EXPECT_EQ(marks(shown.out) + "||" + marks(shown.err), std::get<2>(row)) << std::get<1>(row);
        });
}
