// Faults of commands, files and memory. A line of the tables in tests/reports is a good run, or faults of one thing
// that come to the same: the status, the files left where they differ, and what is told otherwise than in the good run.
#include "allocations.h"
#include "checkSupport.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <regex>
#include <sstream>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

using std::string;
using std::vector;
namespace fs = std::filesystem;

int kvxMain(int argc, char **argv);

// clang-format off
// The commands, as they answer on a host that meets all; an empty answer is the real command's.
static const std::map<string, string> tools = {
    {"which", "[ $1 = kvx ] || echo /usr/bin/$1"}, {"strings", "echo CXXABI_1.3; echo 'release version 2.17, by x.y'"},
    {"/usr/bin/file", "echo ELF 64-bit"}, {"file", "echo ELF 32-bit"}, {"ldd", ":"}, {"uname", "echo 4.18.0-305"},
    {"rpm", "case $* in *ARCH*kernel-devel) echo 4.18.0-305.x86_64;; *) printf 'name\\n9.9\\n1\\n'; esac"},
    {"/usr/sbin/getenforce", "echo Disabled"}, {"/usr/bin/ofed_info", "echo MLNX_OFED_LINUX-5.8"}, {"ping", ":"},
    {"df", "echo a b c Available; echo 1 2 3 9999999"}, {"dmidecode", "echo ' Manufacturer: QEMU'"}, {"head", ""},
    {"chkconfig", "echo rdma-core 3:on; echo openibd 3:on"}, {"lsattr", "echo reserve_policy no_reserve no_reserve"},
    {"./kvxprereqcheckoss", "[ \"$1\" = -tbcheck ] || exit 3"}, {"./kvxrocmc", ":"}, {"/vexha/prereqVEX", ":"},
    {"ssh", "PATH=/fakes; case $* in *scsi_id*|*by-id*|*lsattr*) shift; eval \"$*\" 2>/dev/null; esac"},
    {"scp", "case $1 in *crpt*) echo remote report >/tmp/crptrmt.txt;; *gui*) echo remote GUI >/tmp/guirmt.txt; esac"},
    {"/var/kvx/kvxssh/kvxlocssh", ":"}, {"/var/kvx/kvxssh/kvxscp", ":"}, {"/lib/udev/scsi_id", "echo 3600"},
    {"getent", "case $1 in passwd) echo served:x:7:8:c:/home/kvxinst:/bin/sh;; *) echo kvxgrp:x:8:; esac"}, {"rm", ""},
    {"ls", "case $* in *by-id*) echo 'l 1 r r 9 Jan 1 0:0 scsi-one -> ../../sdb';; *) exec ls \"$@\"; esac"},
    {"tar", "[ -d $2 ] || echo packed >$2"}, {"awk", ""}, {"cat", ""}, {"cp", ""}, {"cut", ""}, {"grep", ""},
    {"mkdir", ""}, {"rev", ""}, {"sh", "exec /shell \"$@\""}};
// clang-format on

static string bodyOf(const string &tool) {
    return tools.at(tool).empty() ? "exec " + tool + " \"$@\"" : tools.at(tool);
}

static void layTool(const string &tool, const string &body) {
    const string path = tool == "sh"     ? "/bin/sh"
                        : tool[0] == '/' ? tool
                                         : (tool[0] == '.' ? "/where/" : "/fakes/") + tool;
    fs::remove(path);
    if (body.empty())
        return;
    writeFile(path, (tool == "sh" ? "#!/shell\n" : "#!/shell\nPATH=/usr/sbin:/usr/bin:/sbin:/bin\n") + body);
    chmod(path.c_str(), 0755);
}

// --- What the faults meet ---

static int run(const string &options) {
    string line = "/program/kvxprereqcheck -v 11.5 -gui /gui " + options;
    char *argv[20] = {};
    int argc = 0;
    for (char *pWord = strtok(line.data(), " "); pWord != nullptr; pWord = strtok(nullptr, " "))
        argv[argc++] = pWord;
    return kvxMain(argc, argv);
}

static int runRemotely() {
    updateHostList("beta");
    const int placed = placePrereqBinaries(), ran = runPrereqBinaries(), removed = removePrereqBinaries();
    return printf("placed %d, ran %d, removed %d\n", placed, ran, removed), ran;
}

static int askDevice(int bId, int bRemote) {
    char szName[255] = "/dev/sdb", szId[255] = "scsi-one";
    const int rc = sqloGetDevNameOrID("beta", szName, szId, bId, bRemote);
    return printf("%s %s\n", szName, szId), rc;
}

static int detect() {
    const int rc = sqloGetLinuxDistributions();
    for (int tag = RHELVersion; tag <= CNTSP; tag++)
        printf("%s ", ppszPREREQ[tag] == nullptr ? "-" : ppszPREREQ[tag]);
    return printf("%s\n", ppszDistroName[linuxDistro]), rc;
}

// With the commands that it runs; a star marks what writes a capture file.
struct operation {
    string name, commands;
    checkCall call;
};

// clang-format off
static const vector<operation> operations = {
    {"run -i", "strings* /usr/bin/file file ldd* getent* sh", [] { return run("-i -vastdw -usrname served"); }},
    {"run", "which* strings* rpm* /usr/sbin/getenforce* df awk*", [] { return run(""); }},
    {"remote run", "cat grep ssh scp tar rm", runRemotely},
    {"connectivity", "./kvxrocmc* mkdir cp ls tar rm", [] { return sqloValidateAdapterUsingRocmc("list"), 0; }},
    {"mellanox", "/usr/bin/ofed_info head*", [] { return setenv("KVXMLNXOFED", "", 1), sqloCheckMellanoxLINUX(); }},
    {"kernel-devel", "rpm* uname", [] { return sqloCheckPackageLINUX("kernel-devel", NULL, NULL, NULL, 1, 1); }},
    {"package", "rpm", [] { return sqloCheckPackageLINUX("tool", "/usr/bin/tool", "4.1", "1", 1, 1); }},
    {"HCA package", "rpm", [] { return sqloCheckHCAPackageLINUX("Infiniband Support Package", "p", 0, 1, 1); }},
    {"Mellanox package", "rpm dmidecode grep", [] { return sqloCheckMellanoxPackageLINUX("L", "p", 0, 1, 1); }},
    {"presence", "rpm", [] { return sqloCheckPackagePresenceLinux("", "p", 0); }},
    {"SG package", "rpm", [] { return sqloCheckSGPackageLINUX("sg", "/usr/bin/sg_persist", 1, 1); }},
    {"MHCA", "./kvxprereqcheckoss", [] { const int rc = sqloCheckMHCA(); return puts(ppszPREREQ[HCANetwork]), rc; }},
    {"rdma", "rpm chkconfig grep*", sqloCheckForRDMAStatus},
    {"openibd", "rpm chkconfig grep", sqloCheckForOpenibdStatus},
    {"adapter", "./kvxprereqcheckoss", [] { return updateNetNames("net"), sqloValidateAdapter(), 0; }},
    {"VEX", "/vexha/prereqVEX", [] { return bShareGrid = 1, checkprereqVEX(1, 1); }}, {"SUSE", "sh", detect},
    {"ping", "ping", [] { return updateNetNames("net"), checkPingTest(); }},
    {"own shell", "/var/kvx/kvxssh/kvxlocssh", [] { return updateHostList("beta"), checkkvxSSHToAll(); }},
    {"shell", "ssh", [] { return updateHostList("beta"), checkSSHToAll(); }},
    {"disk's id", "/lib/udev/scsi_id*", [] { return askDevice(1, 0); }},
    {"disk's name", "ls grep rev cut", [] { return askDevice(0, 0); }},
    {"remote id", "ssh*", [] { return askDevice(1, 1); }}, {"remote name", "ssh", [] { return askDevice(0, 1); }},
    {"policy", "lsattr grep awk*", [] { return sqloGetSCSIType("here", "/dev/sdb", 0); }},
    {"remote policy", "ssh", [] { return sqloGetSCSIType("beta", "/dev/sdb", 1); }},
    {"disk", "ls grep rev* awk", [] { return updateDiskList("/dev/sdb", "", 0), bDiskList = 1, sqloValidateDisk(); }},
    {"tiebreaker", "./kvxprereqcheckoss /lib/udev/scsi_id", [] {
        setText(tbDiskName, "/dev/sdb");
        return updateHostList("beta"), updateHostList("here"), sqloValidateTbDisk(); }},
    {"by own shell", "/var/kvx/kvxssh/kvxlocssh /var/kvx/kvxssh/kvxscp", runRemotely}};

// The file that names the distribution.
static std::pair<string, string> release = {"/etc/redhat-release", "Red Hat Enterprise Linux release 7.9 (Maipo)\n"};

static privateHost hostFor(const operation &what) {
    privateHost host;
    host.hostName = "here";
    host.binds = {szRuntimePath};
    host.files = {
        {"/etc/os-release", "PRETTY_NAME='SUSE Linux 15'\nVERSION_ID=15.3\n"}, release, {"/usr/bin/sg_persist", ""},
        {"/etc/nsswitch.conf", "passwd: files\ngroup: files\nservices: files\n"}, {"/etc/group", "kvxgrp:x:8:\n"},
        {"/etc/passwd", "kvxinst:x:7:8::/home/kvxinst:/bin/sh\n"}, {"/etc/services", "kvxc_inst 50000/tcp\n"},
        {"/etc/hosts", "10.0.0.1 beta\n"}, {"/etc/modprobe.d/modprobe.conf", "options x log_mtts_per_seg=7\n"},
        {"/etc/modprobe.conf.local", "options x log_mtts_per_seg=7\n"}, {"/home/kvxinst/.bashrc", ""},
        {"/home/kvxinst/.bash_profile", ""}, {"/d/x", ""}, {"/vexha/x", ""}, {"/victim", "theirs"},
        {"/var/kvx/kvxssh/" + string(what.name == "by own shell" ? ".remote_shell_cmd" : "x"), "kvxlocssh\n"},
        {"/where/KVXprereqs.xml", "<KVXLevel value=\"11.5\">\n<platform value=\"Linux\">\n<LibCVersion>2</LibCVersion>\n"
         "<CPPLibName>libstdc++.so.6</CPPLibName>\n<CPPVersionString>CXXABI_1.3</CPPVersionString>\n"
         "<UMASK>0022</UMASK>\n<RHEL value=\"LinuxDistro = SUSE\">\n<LibCVersion>9</LibCVersion>\n</RHEL>\n"
         "<shareGrid>\n"
         "<ntpPackage>ntpd</ntpPackage>\n<ntpVersion>4.2</ntpVersion>\n<kshPackage>ksh</kshPackage>\n</shareGrid>\n"
         "</platform>\n</KVXLevel>\n"}};
    return host;
}
// clang-format on

// What happens to a subject, before the operation.
struct fault {
    string subject, name;
    std::function<void()> plant;
};

// Makes a process that is on its own there an administrator. The host gets devices of its own: what a fault does to
// those that every host shares, it would do to the machine's.
static void settle(const operation &what, const fault &given) {
    ASSERT_EQ(mount("tmpfs", "/dev", "tmpfs", 0, "size=64k"), 0);
    for (const auto &[path, number] : {std::pair("/dev/null", 3U), {"/dev/zero", 5U}})
        ASSERT_EQ(mknod(path, S_IFCHR | 0600, makedev(1, number)), 0);
    fs::copy_file("/bin/sh", "/shell");
    for (const auto &[tool, body] : tools)
        if (tool != "sh")
            layTool(tool, bodyOf(tool));
    if (what.name == "SUSE")
        fs::remove(release.first);
    fs::copy(szRuntimePath, "/program", fs::copy_options::recursive);
    setText(szRuntimePath, "/program"), setText(szGUIReportFile, "/gui"), setText(IIHName, "here");
    setenv("PATH", "/fakes", 1), setenv("KVXLANG", "en_US", 1);
    for (const char *pName : {"KVXTMPDIR", "KVXINSTANCE", "KVXMLNXOFED"})
        unsetenv(pName);
    linuxDistro = DISTRO_RHEL, bGUIReportFile = 1;
    fs::current_path("/where");
    if (given.plant)
        given.plant();
    rememberHost();
}

// A text's lines behind a prefix, without blank ones: long lines are cut, repeated ones stand once.
static string calmed(const string &prefix, string text) {
    string lines, last;
    std::replace(text.begin(), text.end(), '\0', '@');
    std::istringstream in(text);
    for (string line; std::getline(in, line);) {
        line.erase(line.find_last_not_of(" \r") + 1).erase(0, line.find_first_not_of(' '));
        if (line.size() > 120)
            line.replace(80, line.size() - 110, "...");
        if (line.find_first_not_of("=") != string::npos && line != last)
            lines += prefix + (last = line) + "\n";
    }
    return lines;
}

// The status, what was left, and all that was told, a line each.
static string outcomeHere(const operation &what, const fault &given) {
    int status = 99;
    string left;
    overrideModes(given.name != "closed" && given.name.find("unreadable") == string::npos);
    const printed shown = capture([&] { status = what.call() & 255; });
    overrideModes(true);
    if (given.name == "full") // a file system of its own
        for (const fs::directory_entry &entry : fs::recursive_directory_iterator(given.subject))
            left += entry.path().filename() == "all" ? "" : " " + entry.path().string();
    for (const string &file : filesChangedOnHost()) {
        const fs::file_status now = fs::symlink_status(file);
        left += (fs::exists(now) ? " " : " no:") + file + (fs::is_directory(now) ? "/" : "");
    }
    string text = std::to_string(status) + "\n" + left + "\n" + calmed("", shown.out) + calmed("2> ", shown.err) +
                  calmed("gui> ", readFile("/gui"));
    for (const string &entry : errorEntries())
        text += calmed("error> ", entry);
    const string pid = std::to_string(getpid()), pid2 = std::to_string(getpid() + 100);
    const string speakers = "sh|rm|ls|cp|mkdir|tar|rpm|scsi_id|getent|getenforce|awk"; // in words of their own
    return replaced(text, {{"\n[A-Z][a-z]{2} [A-Z][a-z]{2} [ 1-3]\\d [\\d:]{8} \\d{4}", ""},
                           {"(\\.|/proc/)" + pid + "\\b", "$1PID"},
                           {"\\." + pid2 + "\\b", ".PID2"},
                           {"\n(2> )?(\\S*/)?(" + speakers + "): [^\n]*", "\n$1$3: ..."},
                           {"(.)\\1{14,}", "$1*"},
                           {"\n2> Killed(?=\n)", ""},
                           {"USAGE_FIRST\n(USAGE_\\w+\n)+", "USAGE\n"}});
}

static vector<string> outcome(const operation &what, const fault &given) {
    const auto body = [&] {
        settle(what, given);
        std::cout << outcomeHere(what, given);
        EXPECT_EQ(readFile("/victim").rfind("theirs", 0), 0U) << given.name;
    };
    std::istringstream in(capture([&] { onHost(hostFor(what), body); }).out);
    vector<string> lines;
    for (string line; std::getline(in, line);)
        lines.push_back(line);
    lines.resize(std::max<size_t>(lines.size(), 2), "crashed");
    return lines;
}

// --- Rows ---

// The lines behind the first two that the other text has not, each behind a mark; but a number instead of many.
static string missingIn(const vector<string> &other, const vector<string> &lines, const string &mark, int most) {
    std::multiset<string> had(other.begin() + 2, other.end());
    string all;
    for (size_t i = 2; i < lines.size(); i++)
        if (const auto found = had.find(lines[i]); found != had.end())
            had.erase(found);
        else if (most-- > 0)
            all += mark + lines[i];
    return most < 0 ? all + mark + std::to_string(-most) + " more" : all;
}

// README.md's files, the reports asked for (the user may name a link), what remote runs and lists leave where they are
// stopped, and what the fault itself made.
static bool mayStay(const string &path, const string &name, const fault &given) {
    static const std::regex allowed(
        "(/tmp|/d)/kvxprereqcheck\\.PID|(/tmp|/d/t)\\.PID|(/where|/d)/pseudo_user_\\w+\\.out"
        "|/gui|/d/(report|gui)|/tmp/(kvxprereq|vexha)(\\.tar|/?\\w*)|/tmp/[id]l\\.txt|no:.*");
    return std::regex_match(path, allowed) || (given.name == "a directory" && path.back() == '/') ||
           (name == "reports" && path == "/victim");
}

struct Faults : testing::Test {
    string table;
    int rows = 0;
    void SetUp() override {
        onHost({}, [] {});
        useNamedTexts();
    }
    void addRows(const operation &what, const vector<fault> &faults, const fault &none = {}) {
        const vector<string> good = outcome(what, none);
        table += "\n" + what.name + ": " + good[0] + " left" + good[1] + missingIn({"", ""}, good, " | ", 99) + "\n";
        vector<std::pair<string, string>> lines; // subject and names, and what they come to
        for (const fault &given : faults) {
            const vector<string> bad = outcome(what, given);
            const string left = bad[1] == good[1] ? "" : " left" + (bad[1].empty() ? " nothing" : bad[1]);
            const string changes = missingIn(bad, good, " | -", 3) + missingIn(good, bad, " | +", 99);
            const string text = bad == good ? " => as good" : " => " + bad[0] + left + changes;
            const auto found = std::find_if(lines.begin(), lines.end(), [&](const auto &line) {
                return line.second == text && line.first.rfind(given.subject + ": ", 0) == 0;
            });
            if (found == lines.end())
                lines.emplace_back(given.subject + ": " + given.name, text);
            else
                found->first += ", " + given.name;
            rows++;
            std::istringstream in(bad[1]);
            for (string path; in >> path;)
                EXPECT_TRUE(mayStay(path, what.name, given)) << what.name << ", " << given.name << ": " << path;
        }
        for (const auto &[begin, text] : lines)
            table += begin + text + "\n";
    }
    void expectTable(const string &name) {
        std::cout << "fault table: " << rows << " rows\n";
        expectReport("fault-" + name, table.substr(1));
    }
};

// --- Commands, and their capture files while they are written ---

static vector<fault> commandFaults(const operation &what) {
    static const std::regex alone(
        "which|strings|ldd|rpm|getent|uname|ssh|scp|tar|rm|cp|mkdir|ping|(?!.*ofed_info).*/.*");
    vector<fault> faults;
    std::istringstream in(what.commands);
    for (string tool; in >> tool;) {
        const bool bCaptured = tool.back() == '*';
        tool.resize(tool.size() - bCaptured);
        // Of a pipeline that loses its shell the other commands go on, and write their files or not.
        const string killed = std::regex_match(tool, alone) ? endedBy("9") : "kill -9 $$";
        const string file = "(" + bodyOf(tool) + "); f=$(readlink /proc/$$/fd/1); [ -f \"$f\" ] || exit 0; ";
        fileList bodies = {{"missing", ""},
                           {"exits 1", "exit 1"},
                           {"killed", killed},
                           {"silent", ":"},
                           {"slow", "/usr/bin/sleep 0.2; " + bodyOf(tool)}};
        if (tool != "sh")
            bodies.insert(bodies.end(), {{"endless line", "head -c 1048576 /dev/zero | tr '\\0' x"},
                                         {"many lines", "yes noise | head -c 1048576"}});
        if (bCaptured)
            bodies.insert(bodies.end(), {{"file removed", file + "rm $f"},
                                         {"a directory", file + "rm $f; mkdir $f"},
                                         {"file unreadable", file + "chmod 0 $f"},
                                         {"NUL bytes", "printf '\\0\\0\\n\\0'"}});
        for (const auto &[name, body] : bodies)
            faults.push_back({tool, name, [=, b = body] { layTool(tool, b); }});
    }
    return faults;
}

struct FaultyCommands : Faults, testing::WithParamInterface<size_t> {};

TEST_P(FaultyCommands, AreToldAndLeaveNothing) {
    for (size_t i = GetParam(); i < operations.size(); i += 4)
        addRows(operations[i], commandFaults(operations[i]));
    expectTable("commands-" + std::to_string(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(All, FaultyCommands, testing::Range<size_t>(0, 4));

// --- Files that are read and written ---

static fault planted(const string &path, const string &name, const std::function<void(const string &)> &plant) {
    return {path, name, [=] {
                const string pid = std::to_string(getpid()), pid2 = std::to_string(getpid() + 100);
                plant(replaced(path, {{"PID2", pid2}, {"PID", pid}}));
            }};
}

static void put(const string &path, const string &text) {
    fs::remove_all(path);
    writeFile(path, text);
}

static vector<fault> readFaults(const string &path) {
    return {planted(path, "absent", [](const string &p) { fs::remove_all(p); }),
            planted(path, "a directory", [](const string &p) { fs::remove_all(p), fs::create_directory(p); }),
            planted(path, "unreadable", [](const string &p) { chmod(p.c_str(), 0); }),
            planted(path, "empty", [](const string &p) { put(p, ""); }),
            planted(path, "NUL bytes", [](const string &p) { put(p, string("\0\0\n\0=\"\0\n", 8)); }),
            planted(path, "endless line", [](const string &p) { put(p, string(1 << 20, 'x')); })};
}

TEST_F(Faults, OfFilesThatAreRead) {
    const checkCall user = [] { return sqloValidateUserProfile("kvxinst", 1); }, level = [] { return run("-i"); };
    const checkCall hosts = [] { return updateEtcHostInfo("beta"), resetEtcHosts(), sqloValidateEtcHosts(); };
    const checkCall onSuse11 = [] { return setValue(SLESVersion, "11"), linuxDistro = 2, sqloValidateModProbe(); };
    const checkCall lsb = [] { return sqloCheckLSBRelease("/etc/lsb-release", "20.04", 1, 1); };
    const checkCall ports = [] { return sqloValidatePorts(50000, "inst", 0, 0, 0); };
    // clang-format off
    const std::tuple<string, string, checkCall> rows[] = { // the text is that of a release file
        {"/where/KVXprereqs.xml", "", level}, {"/program/locale/en_US.iso88591/kvxistring.cat", "", level},
        {"/etc/passwd", "", user}, {"/etc/group", "", user}, {"/home/kvxinst", "", user}, {"/etc/hosts", "", hosts},
        {"/etc/services", "", ports}, {"/etc/modprobe.d/modprobe.conf", "", sqloValidateModProbe},
        {"/etc/modprobe.conf.local", "", onSuse11}, {"/var/kvx/kvxssh/.remote_shell_cmd", "", runRemotely},
        {"/etc/centos-release", "CentOS release 7.9\n", detect}, {"/etc/redhat-release", "RHEL release 7.9\n", detect},
        {"/etc/SuSE-release", "VERSION = 11\nPATCHLEVEL = 4\n", detect}, {"/etc/inspur-release", "K-UX 3.1\n", detect},
        {"/etc/lsb-release", "DISTRIB_ID=Ubuntu\n", detect}, {"/etc/lsb-release", "DISTRIB_RELEASE=22.04\n", lsb},
        {"/etc/os-release", "PRETTY_NAME=SUSE\nVERSION_ID=15.3\n", detect}};
    // clang-format on
    const auto original = release;
    for (const auto &[path, text, call] : rows) {
        if (!text.empty())
            release = {path, text};
        addRows({path.rfind("/var", 0) == 0 ? "by own shell" : "reader", "", call}, readFaults(path));
    }
    release = original;
    expectTable("reads");
}

// A directory in which nothing can be written, and what someone has put where files are to be written.
static vector<fault> writeFaults(const string &directory, const vector<string> &files) {
    const auto cover = [](const string &p, unsigned long flags) {
        ASSERT_EQ(mount("tmpfs", p.c_str(), "tmpfs", flags, "size=4096"), 0);
    };
    const auto fill = [=](const string &p) { cover(p, 0), put(p + "/all", string(4096, 'x')); };
    vector<fault> faults = {planted(directory, "read-only", [=](const string &p) { cover(p, MS_RDONLY); }),
                            planted(directory, "full", fill),
                            planted(directory, "closed", [=](const string &p) { cover(p, 0), chmod(p.c_str(), 0); })};
    if (directory != "/tmp") // which is a mount of every host
        faults.push_back(planted(directory, "absent", [](const string &p) { fs::remove_all(p); }));
    for (const string &file : files) {
        faults.push_back(planted(file, "a link", [](const string &p) { fs::create_symlink("/victim", p); }));
        faults.push_back(planted(file, "a directory", [](const string &p) { fs::create_directory(p); }));
        faults.push_back(planted(file, "another user's", [](const string &p) {
            put(p, "theirs");
            ASSERT_EQ(chown(p.c_str(), 1, 1), 0);
        }));
    }
    return faults;
}

TEST_F(Faults, OfFilesThatAreWritten) {
    const checkCall served = [] {
        if (chdir("/d") != 0) // what cannot be entered is as if it had been removed meanwhile
            fs::create_directory("/gone"), fs::current_path("/gone"), fs::remove("/gone");
        return sqloValidateUserProfile("served", 0);
    };
    const checkCall users = [] { return updateUserList("kvxinst", 0, 0, 0), bInstList = 1, sqloValidateUsers(); };
    const checkCall umasks = [] { return setenv("KVXTMPDIR", "/d/t", 1), sqloValidateUmsk("0022"); };
    // clang-format off
    const std::tuple<string, vector<string>, checkCall> rows[] = { // files in /d or /tmp; others go to KVXTMPDIR
        {"reports", {"/d/report", "/d/gui"}, [] { return run("-o /d/report -gui /d/gui"); }},
        {"run", {"/d/kvxprereqcheck.PID"}, nullptr}, {"kernel-devel", {"/d/kvxprereqcheck.PID2"}, nullptr},
        {"disk's id", {"/d/kvxprereqcheckb.PID"}, nullptr}, {"policy", {"/d/kvxprereqchecka.PID"}, nullptr},
        {"umask", {"/d/t.PID"}, umasks}, {"connectivity", {"/tmp/kvxprereq"}, nullptr},
        {"user", {"/d/pseudo_user_served.out", "/d/pseudo_user_group_served.out"}, served},
        {"users", {"/tmp/il.txt"}, users}, {"disk", {"/tmp/dl.txt"}, nullptr},
        {"remote run", {"/tmp/kvxprereq.tar", "/tmp/vexha.tar", "/tmp/1.txt", "/tmp/crptrmt.txt", "/tmp/guirmt.txt"},
         runRemotely}};
    // clang-format on
    for (const auto &[name, files, call] : rows) {
        const string directory = fs::path(files[0]).parent_path();
        const auto named = [&, &wanted = name](const operation &what) { return what.name == wanted; };
        const auto found = std::find_if(operations.begin(), operations.end(), named);
        const checkCall there = [=, own = call] {
            return setenv("KVXTMPDIR", directory.c_str(), 1), own ? own() : found->call();
        };
        addRows({name, "", there}, writeFaults(directory, files));
    }
    expectTable("writes");
}

// --- Memory ---

TEST_F(Faults, OfMemory) {
    const checkCall list = [] { return setText(szInputXMLFile, "KVXprereqs.xml"), sqloRetrieveSupportedVersion(); };
    const checkCall level = [] { return setText(szInputXMLFile, "KVXprereqs.xml"), sqloReadPrereqFromXML("11.5"); };
    const auto fail = [](int n) {
        return fault{"allocation", std::to_string(n), [n] { layTool("sh", ":"), failAllocation(n); }};
    };
    const std::pair<string, checkCall> calls[] = {{"list", list}, {"level", level}, {"run", [] { return run("-i"); }}};
    for (const auto &[name, call] : calls) {
        const checkCall counted = [call = call] { return call(), printf("%d\n", allocationCount()); };
        const int count = std::stoi(outcome({name, "", counted}, fail(0)).back());
        vector<fault> faults;
        for (int n = 1; n <= count; n++)
            faults.push_back(fail(n));
        addRows({name, "", call}, faults, fail(0));
    }
    expectTable("memory");
}

// --- The tables hold what the sources run ---

TEST(FaultTable, KnowsEveryCommand) {
    string all, ran;
    for (const fs::directory_entry &entry : fs::directory_iterator(KVX_SOURCE_DIR "/engn/sqo"))
        all += entry.path().extension() == ".cpp" ? readFile(entry.path()) : "";
    all = replaced(all, {{"'\\\\?\"'", ""}, {"\"\\s*\n\\s*\"", ""}}); // adjacent texts are one
    const std::regex text("\"((?:[^\"\\\\]|\\\\.)*)\""), redirection("(^|[ 12])>>? ?(%s|/dev/null)"),
        call("(formatCommand|formatRemoteCommand|firstLineOf)\\([^\"]*$"),
        command("(?:^|&&|[|;(]| %s [\"'])\\s*([^\\s|;()\"'>]+)"),
        runner("\\b(system|popen|fork|exec[lv]\\w*|posix_spawnp?)\\(");
    std::multiset<string> found;
    std::istringstream in(all);
    for (string line; std::getline(in, line);)
        for (std::sregex_iterator it(line.begin(), line.end(), text), end; it != end; ++it) {
            const string plain = replaced((*it)[1], {{"\\\\\"", "\""}, {"[12]?>&1", ""}});
            if (std::regex_search((*it)[1].str(), redirection) || std::regex_search(it->prefix().str(), call))
                for (std::sregex_iterator word(plain.begin(), plain.end(), command); word != end; ++word)
                    found.insert((*word)[1].str().substr(0, (*word)[1].str()[0] == '%' ? 2 : string::npos));
        }
    for (const operation &what : operations)
        ran += " " + replaced(what.commands, {{"\\*", ""}}) + " ";
    for (const auto &[tool, body] : tools) {
        EXPECT_TRUE(found.count(tool) > 0 || all.find("\"" + tool + "\"") != string::npos || tool == "sh") << tool;
        EXPECT_NE(ran.find(" " + tool + " "), string::npos) << tool;
    }
    for (const char *pOwn : {".", "cd", "echo", "umask"}) // the shell's
        found.erase(pOwn);
    EXPECT_EQ(found.count("%s"), 20U); // a path that stands alone, or the remote shell or copy
    found.erase("%s");
    for (const string &word : found)
        EXPECT_EQ(tools.count(word), 1U) << word;
    EXPECT_EQ(std::distance(std::sregex_iterator(all.begin(), all.end(), runner), {}), 2); // of sqloCommand.cpp
}
