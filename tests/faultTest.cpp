// Faults of tools, files and memory. What there is to fail, a good run tells: the tools that it ran, the files that it
// read and wrote, the memory that it asked for. Then each fails in every way, and for all of them one rule holds: the
// run ends, a message or the status tells of a difference, nothing is left, nothing else changed, and nothing passes
// that did not pass before. Where the rule does not hold, tests/faults.txt says so, and why.
#include "allocations.h"
#include "support.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <regex>
#include <set>
#include <sstream>
#include <sys/fanotify.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/time.h>
#include <unistd.h>

using std::vector;
namespace fs = std::filesystem;

// clang-format off
// The tools of a host that meets all.
static const fileList tools = {
    {"/usr/bin/which", "[ $1 = kvx ] || echo /usr/bin/$1"}, {"/usr/bin/file", "echo ELF 32-bit"}, {"/usr/bin/ldd", ":"},
    {"/usr/bin/strings", "echo CXXABI_1.3; echo 'release version 2.17, by x.y'"}, {"/usr/bin/uname", "echo 4.18.0-305"},
    {"/usr/bin/rpm", "case $* in *ARCH*devel) echo 4.18.0-305.x86_64;; *) printf 'name\\n9.9\\n1\\n'; esac"},
    {"/usr/sbin/getenforce", "echo Disabled"}, {"/usr/bin/ofed_info", "echo MLNX_OFED_LINUX-5.8"}, {"/usr/bin/ping", ":"},
    {"/usr/bin/df", "echo a b c Available; echo 1 2 3 9999999"}, {"/usr/bin/dmidecode", "echo ' Manufacturer: QEMU'"},
    {"/usr/bin/chkconfig", "echo rdma-core 3:on; echo openibd 3:on"}, {"/usr/bin/lsattr", "echo reserve_policy no_reserve no"},
    {"/vexha/prereqVEX", ":"}, {"/var/kvx/kvxssh/kvxlocssh", ":"}, {"/var/kvx/kvxssh/kvxscp", ":"}, {"/where/kvxrocmc", ":"},
    {"/usr/bin/ssh", "case $* in *scsi_id*) echo 3600;; *by-id*) echo ../../sdb scsi-one;; *lsattr*) echo no_reserve; esac"},
    {"/usr/bin/scp", "case $1 in *crpt*) echo report >/tmp/crptrmt.txt;; *gui*) echo GUI >/tmp/guirmt.txt; esac"},
    {"/usr/bin/getent", "case $1 in passwd) echo served:x:7:8:c:/home/kvxinst:/bin/sh;; *) echo kvxgrp:x:8:; esac"},
    {"/usr/bin/ls", "case $* in *by-id*) echo 'l 1 r r 9 Jan 1 0:0 scsi-one -> ../../sdb'; esac"},
    {"/usr/bin/tar", "[ -d $2 ] || echo packed >$2"}, {"/usr/lib/udev/scsi_id", "echo 3600"},
    {"/where/kvxprereqcheckoss", "[ \"$1\" = -tbcheck ] || exit 3"}};

static string level(const string &number, const string &umask, const string &more) {
    return "<KVXLevel value=\"" + number + "\">\n<platform value=\"Linux\">\n<LibCVersion>" + number + "</LibCVersion>\n"
           "<CPPLibName>libstdc++.so.6</CPPLibName>\n<CPPVersionString>CXXABI_" + number + "</CPPVersionString>\n<UMASK>" + umask +
           "</UMASK>\n<shareGrid>\n<ntpPackage>ntpd</ntpPackage>\n<ntpVersion>" + number + "</ntpVersion>\n<kshPackage>ksh"
           "</kshPackage>\n</shareGrid>\n" + more + "</platform>\n</KVXLevel>\n";
}
// Level 1.3 is met.
static const fileList files = {
    {"/where/KVXprereqs.xml", level("1.3", "0022", "") + level("99", "0777", "<MinOSVersion>99</MinOSVersion>\n")},
    {"/etc/redhat-release", "Red Hat Enterprise Linux release 7.9\n"}, {"/etc/os-release", "PRETTY_NAME='SUSE'\nVERSION_ID=15.3\n"},
    {"/lsb", "DISTRIB_ID=Ubuntu\nDISTRIB_RELEASE=22.04\n"}, {"/usr/bin/sg_persist", ""}, {"/etc/hosts", "10.0.0.1 beta\n"},
    {"/etc/nsswitch.conf", "passwd: files\ngroup: files\nservices: files\n"}, {"/etc/group", "kvxgrp:x:8:\n"},
    {"/etc/passwd", "kvxinst:x:7:8::/home/kvxinst:/bin/sh\n"}, {"/etc/services", "kvxc_inst 50000/tcp\n"},
    {"/etc/modprobe.d/modprobe.conf", "options x log_mtts_per_seg=7\n"}, {"/victim", "theirs"}, {"/d/x", ""},
    {"/etc/modprobe.conf.local", "options x log_mtts_per_seg=7\n"}, {"/home/kvxinst/.bashrc", ""}, {"/home/kvxinst/.bash_profile", ""}};

// Settings, an operation and its words: what meets all and, behind it, what does not. Of an operation that composes for
// another host, and for both kinds of remote shell, each.
static const char *const runs[] = {
    "run -v 1.3 -i -vastdw -usrname served", "run -v 1.3 -o /d/report -gui /d/gui KVXTMPDIR=/d", "run -v 99 -gui /gui",
    "user served cd=/d", "user kvxinst 1", "ports inst 50000", "umask 0022 KVXTMPDIR=/d/t", "detect", "lsb 20.04", "lsb 99",
    "package kernel-devel", "package tool /usr/bin/tool 4.1 1", "package tool /usr/bin/tool 99", "hca R p 0", "mellanox p 0",
    "ofed KVXMLNXOFED=x", "group p", "sg sg /usr/bin/sg_persist", "probe n", "rdma", "openibd", "adapter net", "pings nets=net",
    "connectivity list", "modprobe", "modprobe SLESVersion=11 linuxDistro=SUSE", "vex 1 1 bShareGrid=1", "machine",
    "all-shells hosts=beta", "device beta /dev/sdb none id here", "device beta none scsi-one name here", "disks disks=/dev/sdb bDiskList=1",
    "device beta /dev/sdb none id remote", "device beta none scsi-one name remote", "policy beta /dev/sdb here",
    "policy beta /dev/sdb remote", "users users=kvxinst", "hosts expected=beta", "hosts expected=other",
    "tiebreaker-disk hosts=here,beta tbDiskName=/dev/sdb", "remote hosts=beta"};
// clang-format on

static void must(int status) {
    if (status != 0)
        throw std::runtime_error(strerror(errno));
}

// --- Runs ---

struct runOutcome {
    string status = "crash";
    std::set<string> left, removed;        // on the host, but by the fault
    std::multiset<string> told;            // lines of the report, of standard error, of the GUI report
    std::set<string> passed, failed;       // titles
    std::set<string> tools, read, written; // paths
    int allocations = 0;
};

// PID2 is in the name of a second capture file, which the program tells by its process id and 100.
static string withPid(const string &path) {
    return replaced(path, {{"PID2", std::to_string(getpid() + 100)}, {"PID", std::to_string(getpid())}});
}

static string withoutPid(const string &text) {
    return replaced(text, {{"(\\.|/proc/)" + std::to_string(getpid()) + "\\b", "$1PID"},
                           {"\\." + std::to_string(getpid() + 100) + "\\b", ".PID2"},
                           {szRuntimePath, "PROGRAM"}});
}

static int watchFiles() {
    const int queue = fanotify_init(FAN_NONBLOCK | FAN_CLOEXEC | FAN_UNLIMITED_QUEUE, O_RDONLY | O_CLOEXEC);
    for (const char *pMount : {"/", "/tmp", static_cast<const char *>(szRuntimePath)})
        must(fanotify_mark(queue, FAN_MARK_ADD | FAN_MARK_MOUNT, FAN_OPEN | FAN_OPEN_EXEC | FAN_CLOSE_WRITE, AT_FDCWD,
                           pMount));
    return queue;
}

// Prints what was opened: a letter for its use, and its path.
static void printUses(int queue) {
    alignas(fanotify_event_metadata) char buffer[65536];
    std::set<string> uses;
    for (ssize_t size; (size = read(queue, buffer, sizeof buffer)) > 0;)
        for (auto p = reinterpret_cast<fanotify_event_metadata *>(buffer); FAN_EVENT_OK(p, size);
             p = FAN_EVENT_NEXT(p, size)) {
            const char *pUse = p->mask & FAN_CLOSE_WRITE ? "W" : p->mask & FAN_OPEN_EXEC ? "X" : "R";
            if (*pUse != 'R' || p->pid == getpid())
                uses.insert(pUse + fs::read_symlink("/proc/self/fd/" + std::to_string(p->fd)).string());
            close(p->fd);
        }
    close(queue);
    for (const string &use : uses)
        if (use != "X/shell" && !std::regex_search(use, std::regex("^./dev/|/lib/.*\\.so|/gconv/|/LC_")))
            puts(replaced(withoutPid(use), {{" \\(deleted\\)", ""}}).c_str());
}

static void printLines(char use, const string &text) {
    std::istringstream in(text);
    string lines;
    for (string line; std::getline(in, line);)
        if (line.erase(line.find_last_not_of(" =\r") + 1) != "")
            lines += use + line.substr(0, 200) + "\n";
    fputs(withoutPid(lines).c_str(), stdout);
}

typedef std::function<void()> fault;
static int failingAllocation; // 0: none

static string readIfFile(const string &path) {
    return fs::is_regular_file(path) ? readFile(path) : "";
}

// The titles of the blocks that passed or failed, and the levels.
static void printVerdicts(const string &report) {
    string title;
    std::istringstream in(report);
    for (string line; std::getline(in, line);)
        if (line.rfind("CHECK_HEADING ", 0) == 0 || line.rfind("LEVEL_", 0) == 0)
            title = line.substr(line.find(' '));
        else if (line.rfind("CHECK_", 0) == 0)
            printLines(line.rfind("CHECK_PASSED", 0) == 0 ? 'P' : 'F', title);
}

static int runHere(const string &run, const fault &plant, bool bWatch) {
    vector<string> words;
    std::istringstream in("linuxDistro=RHEL IIHName=here cd=/where szGUIReportFile=/gui bGUIReportFile=1 " + run);
    for (string word; in >> word;)
        isSetting(word) ? applySetting(word) : words.push_back(word);
    for (const auto &[path, number] : {std::pair("/dev/null", 3U), {"/dev/zero", 5U}}) // no fault reaches the machine's
        fs::remove(path), must(mknod(path, S_IFCHR | 0666, makedev(1, number)));
    fs::copy_file("/bin/sh", "/shell");
    setenv("OURS", std::to_string(getpgrp()).c_str(), 1);
    plant();
    rememberHost();
    const itimerval limit = {{0, 0}, {2, 0}}; // of its own processor time
    must(setitimer(ITIMER_PROF, &limit, nullptr));
    const int queue = bWatch ? watchFiles() : -1;
    const int ours = static_cast<int>(words.size()) - 1; // allocations of the operation's words
    int status = 0;
    failAllocation(failingAllocation == 0 ? 0 : ours + failingAllocation);
    const printed shown = capture([&] { status = perform(words); });
    printf("A%d\n", allocationCount() - ours);
    failAllocation(0);
    printUses(queue);
    for (const string &path : filesChangedOnHost()) // what was moved aside is not gone
        printLines(fs::exists(fs::symlink_status(path)) ? 'L' : 'D', replaced(path, {{"\\.\\w{6}/full", "/full"}}));
    printLines('T', shown.out), printLines('T', shown.err), printVerdicts(shown.out),
        printVerdicts(readIfFile("/d/report"));
    printLines('T', readIfFile("/gui"));
    printf("S%d\n", status & 255);
    return 0;
}

static runOutcome performed(const string &run, const fault &plant, bool bWatch = false) {
    privateHost host;
    host.hostName = "here";
    host.binds = {szRuntimePath, KVX_PROGRAM_DIR};
    host.files = files;
    for (const auto &[path, body] : tools) // with a shell of their own, so that the program's can fail alone
        host.files.emplace_back(path, "#!/shell\n" + body);
    runOutcome got;
    std::istringstream in(capture([&] { runOnHost(host, [&] { return runHere(run, plant, bWatch); }); }).out);
    for (string line; std::getline(in, line);) {
        const string text = line.substr(1);
        switch (line[0]) {
        case 'S': got.status = text; break;
        case 'L': got.left.insert(text); break;
        case 'D': got.removed.insert(text); break;
        case 'T': got.told.insert(text); break;
        case 'X': got.tools.insert(text); break;
        case 'P': got.passed.insert(text); break;
        case 'F': got.failed.insert(text); break;
        case 'R': got.read.insert(text); break;
        case 'W': got.written.insert(text); break;
        case 'A': got.allocations = std::stoi(text); break;
        default: break;
        }
    }
    return got;
}

// --- Faults ---

static void put(const string &path, const string &text) {
    fs::remove_all(path);
    writeFile(path, text);
    chmod(path.c_str(), 0755);
}

static std::map<string, fault> toolFaults(const string &path) {
    // With its group, or the shell in ours; but not for ever: a disk that could not be asked for is asked for again.
    const string killed = "read n </killed || n=0; echo $((n + 1)) >/killed; [ $n -lt 50 ] || exec " + path +
                          ".real \"$@\"\nread a b c d group e </proc/$$/stat; [ $group = $OURS ] || kill -9 0\n"
                          "read c </proc/$PPID/comm; [ $c = sh ] && kill -9 $PPID; kill -9 $$";
    std::map<string, fault> faults = {{path + ": missing", [=] { fs::remove(path); }}};
    for (const auto &[name, body] : {std::pair<string, string>{"exits 1", "exit 1"},
                                     {"killed", killed},
                                     {"silent", ":"},
                                     {"endless line", "printf 'x%1048576s' x"}})
        faults[path + ": " + name] = [path, text = body] {
            fs::rename(path, path + ".real"), put(path, "#!/shell\n" + text + "\n");
        };
    return faults;
}

static std::map<string, fault> readFaults(const string &path) {
    const auto file = [=] { return replaced(path, {{"PROGRAM", szRuntimePath}}); };
    return {{path + ": absent", [=] { fs::remove_all(file()); }},
            {path + ": a directory", [=] { fs::remove_all(file()), fs::create_directory(file()); }},
            {path + ": empty", [=] { put(file(), ""); }},
            {path + ": NUL bytes", [=] { put(file(), string("\0\0\n\0=\"\0\n", 8)); }},
            {path + ": endless line", [=] { put(file(), string(1 << 20, 'x')); }}};
}

// What someone has put where the file is to be written, and its directory.
static std::map<string, fault> writeFaults(const string &path) {
    const string directory = fs::path(path).parent_path();
    const auto cover = [=](unsigned long flags) {
        must(mount("tmpfs", directory.c_str(), "tmpfs", flags, "size=4096"));
    };
    std::map<string, fault> faults = {
        {path + ": a link",
         [=] { put(withPid(path), ""), fs::remove(withPid(path)), fs::create_symlink("/victim", withPid(path)); }},
        {path + ": a directory", [=] { fs::remove(withPid(path)), fs::create_directories(withPid(path) + "/full"); }},
        {path + ": another user's", [=] { put(withPid(path), "theirs"), must(chown(withPid(path).c_str(), 1, 1)); }}};
    if (directory == "/tmp" || directory == "/d") {
        faults[directory + ": read-only"] = [=] { cover(MS_RDONLY); };
        faults[directory + ": full"] = [=] { cover(0), writeFile(directory + "/all", string(4096, 'x')); };
    }
    return faults;
}

// --- The rule ---

// What of the rule a fault's outcome does not keep.
static string broken(const runOutcome &good, const runOutcome &bad) {
    if (bad.status == "crash")
        return " does not end";
    string all;
    const std::regex documented(".*/kvxprereqcheck\\.PID|.*/pseudo_user_.*|/gui|/killed|.*/full|.*\\.\\w{6}");
    for (const string &path : bad.left)
        if (good.left.count(path) == 0 && !std::regex_match(path, documented))
            all += " leaves " + path;
    for (const string &path : bad.removed)
        if (good.written.count(path) + bad.left.count(path) == 0)
            all += " removes " + path;
    vector<string> news;
    std::set_difference(bad.told.begin(), bad.told.end(), good.told.begin(), good.told.end(), std::back_inserter(news));
    if (bad.status == "0" && news.empty() && bad.told != good.told)
        all += " tells nothing";
    const auto fails = [&](const string &title) { return good.failed.count(title) > good.passed.count(title); };
    if (std::any_of(bad.passed.begin(), bad.passed.end(), fails) || (good.status != "0" && bad.status == "0"))
        all += " passes";
    return all;
}

// The exceptions are patterns of a run, a fault of it, and what of the rule it breaks.
static void expectRule(const std::function<std::map<string, fault>(const runOutcome &)> &faultsOf) {
    onHost({}, [] {});
    useNamedTexts();
    std::map<string, int> uses;
    std::istringstream in(readFile(KVX_SOURCE_DIR "/tests/faults.txt"));
    const string own = string("## ") + testing::UnitTest::GetInstance()->current_test_info()->name();
    bool bOwn = false;
    for (string line; std::getline(in, line);)
        if (line.rfind("## ", 0) == 0)
            bOwn = line == own;
        else if (bOwn && !line.empty() && line[0] != '#')
            uses[line] = 0;
    for (const string run : runs) {
        const runOutcome good = performed(
            run, [] {}, true);
        EXPECT_NE(good.status, "crash") << run;
        for (const auto &[name, plant] : faultsOf(good)) {
            const string what = broken(good, performed(run, plant)), all = run + " | " + name + " |" + what;
            const auto matches = [&](const auto &use) { return std::regex_match(all, std::regex(use.first)); };
            const auto found = what.empty() ? uses.end() : std::find_if(uses.begin(), uses.end(), matches);
            if (found != uses.end())
                found->second++;
            EXPECT_TRUE(what.empty() || found != uses.end()) << all;
        }
    }
    for (const auto &[line, count] : uses)
        EXPECT_GT(count, 0) << "the rule holds now: " << line;
}

static std::map<string, fault> all(const std::set<string> &paths, std::map<string, fault> (*faultsOf)(const string &)) {
    std::map<string, fault> faults;
    for (const string &path : paths)
        faults.merge(faultsOf(path));
    return faults;
}

TEST(Faults, OfTools) {
    expectRule([](const runOutcome &good) { return all(good.tools, toolFaults); });
}

TEST(Faults, OfFilesThatAreRead) {
    expectRule([](const runOutcome &good) { return all(good.read, readFaults); });
}

TEST(Faults, OfFilesThatAreWritten) {
    expectRule([](const runOutcome &good) { return all(good.written, writeFaults); });
}

TEST(Faults, OfMemory) {
    expectRule([](const runOutcome &good) {
        std::map<string, fault> faults;
        for (int n = 1; n <= good.allocations; n++)
            faults["allocation " + std::to_string(n)] = [n] { failingAllocation = n; };
        return faults;
    });
}
