// The cluster's lists, users, /etc/hosts, network names and disks; what the cases share serves remoteTest.cpp too.
#include "checkSupport.h"

#include <filesystem>
#include <regex>
#include <sstream>
#include <sys/mman.h>
#include <unistd.h>

namespace fs = std::filesystem;

// How a host is set up, by shell lines, and the words that fill the list or are the arguments.
typedef std::vector<std::pair<string, string>> caseList;

static const string x300(300, 'x');

static string part(const string &title, const string &text) {
    return text.empty() ? "" : "== " + title + "\n" + text + (text.back() == '\n' ? "" : " (no newline)\n");
}

// What an operation comes to: its result and report, the error list, the GUI report, what was printed but for the
// catalog's traces, the calls of fakes, and the files in /tmp.
static string outcome(const std::function<int()> &operation) {
    int result = 99;
    const printed shown = capture([&] { result = operation(); });
    string errors;
    for (const string &entry : errorEntries())
        errors += entry.substr(0, entry.find('\n')) + "\n";
    string all = "= " + std::to_string(result) + "\n" + readFile("/report") + part("error list", errors) +
                 part("GUI report", readFile("/gui")) + part("error output", shown.err) +
                 part("output", std::regex_replace(shown.out, std::regex(" \\d+ : Cateory.*\n"), "")) +
                 part("calls", readFile("/fakes/log"));
    all += capture([] { EXPECT_EQ(system("cd /tmp; for f in *; do [ ! -f $f ] || tail -vn+1 $f; done"), 0); }).out;
    return replaced(all, {{szRuntimePath, "RUNTIME"}, {" +(?=\n)", ""}});
}

// Compares what an operation comes to in each case, on a host of its own called here.dom, with a text in tests/reports.
// After the word DEBUG there are traces, and no list files. With a real tool the host has a network of its own.
void compareOutcomes(const string &name, const string &common, void (*add)(const string &), int (*operation)(),
                     const caseList &cases, const char *pRealTool = nullptr) {
    if (pRealTool != nullptr && access(pRealTool, X_OK) != 0) {
        ASSERT_EQ(getenv("CI"), nullptr) << "no " << pRealTool;
        GTEST_SKIP() << "no " << pRealTool;
    }
    string all;
    useNamedTexts(false);
    setText(IIHName, "here");
    for (const auto &[setUp, words] : cases) {
        const int sent = memfd_create("outcome", MFD_CLOEXEC);
        const string lines = string("runtime=") + szRuntimePath + " program=" KVX_PROGRAM_DIR "\n" + prelude + common +
                             "\n" + setUp + "\n:";
        std::istringstream in(words);
        onHost({{}, "here.dom", {szRuntimePath}, false, pRealTool != nullptr, {"/var/kvx"}, {}}, [&] {
            ASSERT_EQ(system(lines.c_str()), 0) << lines;
            setenv("PATH", (string("/fakes:") + getenv("PATH")).c_str(), 1);
            bCustomReportFile = bGUIReportFile = 1;
            setText(szReportFile, "/report"), setText(szGUIReportFile, "/gui");
            const string text = outcome([&] {
                for (string word; in >> word;)
                    word == "DEBUG" ? void(debug = 1) : add(word);
                bInstList = bDiskList = !debug;
                return operation();
            });
            EXPECT_EQ(write(sent, text.data(), text.size()), static_cast<ssize_t>(text.size()));
        });
        if (testing::Test::IsSkipped())
            return;
        all += "$ " + setUp + "\n$ " + words + "\n" + readFile("/proc/self/fd/" + std::to_string(sent)) + "\n";
        close(sent);
    }
    expectReport("cluster-" + name, all);
}

template <typename Record> static void printNames(const Record *pFirst, char (Record::*field)[255]) {
    for (; pFirst != nullptr; pFirst = pFirst->next)
        printf("[%.255s]", pFirst->*field);
    puts("");
}

// Adds a word, or for NULL a null name, to every list.
static void addToLists(const string &word) {
    const char *pName = word == "NULL" ? nullptr : word.c_str(), *pId = word.size() == 1 ? nullptr : pName;
    const int statuses[] = {updateHostList(pName), updateNetNames(pName), updateUserList(pName, 7, 8, 1),
                            updateDiskList(pName, pId, 1)};
    printf("%d %d %d %d\n", statuses[0], statuses[1], statuses[2], statuses[3]);
}

static int printLists() {
    printNames(preqHostInfo, &hostInfo::hostName), printNames(preqNetNames, &netNames::netName);
    printNames(preqUserInfo, &userInfo::userName), printNames(preqDiskInfo, &diskInfo::diskName);
    printNames(preqDiskInfo, &diskInfo::diskID);
    return printf("%d %d %d\n", preqHostInfo->next->isSSH, preqUserInfo->next->UID, preqUserInfo->next->GID), 0;
}

TEST(ClusterLists, HoldTheFirst255CharactersNewestFirst) {
    compareOutcomes("lists", "", addToLists, printLists, {{"", "DEBUG a NULL " + x300 + " a"}});
}

// A user, with the expected UID and GID behind colons if any.
static void addUser(const string &word) {
    int uid = 0, gid = 0;
    const int bAll = sscanf(word.c_str(), "%*[^:]:%d:%d", &uid, &gid) == 2;
    updateUserList(word.substr(0, word.find(':')).c_str(), uid, gid, bAll);
}

// clang-format off

TEST(ClusterUsers, AreComparedWithThePasswordDatabase) {
    const string lay = "printf '%s\n' db:x:1001:100::/: two:x:1:2::/: two:x:3:2::/: big:x:4294967294:100::/: " +
                       x300.substr(45) + ":x:5:6::/: >/etc/passwd";
    compareOutcomes("users", lay, addUser, sqloValidateUsers, {
        {"", ""}, {"", "db db:1001:100 db:7:100 db:1001:8 db:7:8"}, {"", "DB two:1:2 d"},
        {"", "big:-2:100"}, {"", x300 + ":5:7"}, {"echo old >/tmp/il.txt", "DEBUG none db:7:8"}});
}

static int validateEtcHosts() {
    resetEtcHosts();
    const int rc = sqloValidateEtcHosts();
    return printf("error %d\n", bEtchostError), rc;
}

TEST(EtcHosts, HasEachExpectedNameOnOneLineOfItsOwn) {
    const string h1 = "10.0.0.1 host1", n240(240, 'n'), h254 = "10.0.0.1" + string(241, ' ') + "host1";
    const caseList rows = {
        {h1 + "\n", "host1 AGAIN"}, {"10.0.0.1\t \tHOST1.dom\n", "host1.x"}, {"10.0.0.1 other host1 #x\n\n", "host1"},
        {h1 + "#", "host1"}, {h1, "host1"}, {"#" + h1 + "\n10.0.0.2 #host1\n10.0.0.3\n" + h1 + "2\n", "host1"},
        {"127.0.0.1 host1\n", "host1"}, {"::1 x host1\n", "host1"}, {"0:0:0:0:0:0:0:1 host1.dom\n", "host1"},
        {"127.0.1.1 host1\n", "host1"}, {"127.0.0.1 host1\n" + h1 + "\n", "host1"},
        {"::1 localhost\n::1 lo\n" + h1 + "\n", "host1"}, {h1 + ".dom host1 HOST1.x\n", "host1"},
        {h1 + " other\n", "host1"}, {h1 + " host2\n", "host1 host2"}, {h1 + " other host1\n", "host1"},
        {h1 + "\n10.0.0.2 host1.x\n", "host1"}, {h1 + "\n10.0.0.1 other\n", "host1"}, {h1 + "\n" + h1 + "\n", "host1"},
        {"fe80::A host1\nfe80::a other\n", "host1"}, {"10.0.0.1 other\n" + h1 + "\n", "host1"},
        {"10.0.0.1 a b\n10.0.0.1 a\n", ""}, {" x host1\n\ty other\n", "host1"}, {"", "host1 HOST1.a host2"},
        {h254 + "\n", "host1"}, {" " + h254 + "\n", "host1"}, {string(255, ' ') + h1 + "\n", "host1"},
        {h1 + " #" + x300 + "\n", "host1"}, {"10.0.0.1 " + n240 + "\n", x300 + " " + x300 + " " + n240},
        {"127.0.0.1 lo.x host2\n" + h1 + ".x host1 z\n10.0.0.2 host1\n10.0.0.1 y\n", "DEBUG host1 HOST1.a host2"}};
    const auto add = [](const string &word) {
        word == "AGAIN" ? resetEtcHosts() + sqloValidateEtcHosts() : updateEtcHostInfo(word.c_str());
    };
    caseList cases = {{"rm /etc/hosts", "host1"}};
    for (const auto &[text, expectedNames] : rows)
        cases.emplace_back("printf '" + text + "' >/etc/hosts", expectedNames);
    compareOutcomes("hosts", "", add, validateEtcHosts, cases);
}

static const auto addNetName = [](const string &word) { updateNetNames(word.c_str()); };

TEST(NetworkNames, ArePinged) {
    compareOutcomes("pings", "", addNetName, checkPingTest, {{"", "127.0.0.2 10.9.9.9"}}, "/usr/bin/ping");
}

TEST(NetworkNames, AreJudgedByTheExitCodeOfPing) {
    compareOutcomes("ping-calls", "", addNetName, checkPingTest, {
        {"fake ping 'exit 1'", ""}, {"fake ping '[ $2 = a ]'", "DEBUG a b"},
        {"fake ping :", x300}});
}

// Disks in /dev, which is the host's own then.
static const string layDisks = R"sh(mkdir -p /new/disk/by-id; >/new/null; mount --bind /dev/null /new/null
cd /new/disk/by-id; ln -s ../../sdb scsi-one; ln -s ../../sdb1 scsi-one-part1; ln -s ../../sdc wwn-two
ln -s ../../)sh" + x300.substr(100) + " long; mount --rbind /new /dev\n";

// A disk, with the expected identifier behind an equals sign if any.
static void addDisk(const string &word) {
    const size_t length = word.find('=');
    updateDiskList(word.substr(0, length).c_str(), word.substr(length + 1).c_str(), length != string::npos);
}

TEST(SharedDisks, AreFoundByNameOrIdentifier) {
    const string recovers = "quiet rev '[ -f /proc/self/fd/1 ] && { mkdir /1 || mkdir /2; } 2>/dev/null && "
                            "kill -9 $PPID; exec /usr/bin/rev'";
    compareOutcomes("disks", layDisks, addDisk, sqloValidateDisk, {
        {"", ""}, {"", "/dev/sdb/ /dev/sdc"}, {"", "sdb"},
        {"", "/dev/x=scsi-one"}, {"", "/dev/sdb /dev/sdb=one /dev/sd"}, {"", "/"}, {recovers, "/dev/sdb"},
        {"", "/dev/" + x300.substr(100) + " /dev/" + x300}, {"echo old >/tmp/dl.txt", "DEBUG sdb"}});
}

static std::vector<string> given;

// Asks for a policy, or, with a stale file under the name of the capture file, for a disk's name or identifier.
static int askForDevice() {
    const bool bRemote = given.back() == "remote";
    if (given.size() == 2)
        return sqloGetSCSIType("b", given[0].c_str(), bRemote);
    char szDevice[255], szId[255];
    setText(szDevice, given[1]), setText(szId, given[2] + (given[2] == "wwn-two" ? "\n" : ""));
    writeFile("/tmp/kvxprereqcheckb." + std::to_string(getpid()), "stale stale/stale\n");
    const int rc = sqloGetDevNameOrID(given[0].c_str(), szDevice, szId, given[3] == "id", bRemote);
    return printf("%s %s\n", szDevice, szId), rc;
}

TEST(Devices, AreIdentifiedAndAskedForTheirPolicy) {
    const string h = "h /dev/sdb x id here", lay = "fake ssh 'shift; eval \"$*\"'; fake scsi_id 'echo $3 $#'\n"
                 "ln -s /fakes/scsi_id /lib/udev", policy = "fake lsattr 'echo pv 1; echo \"reserve_policy ";
    const auto add = [](const string &word) { given.push_back(word); };
    compareOutcomes("devices", layDisks + lay, add, askForDevice, {
        {"", "h x wwn-two name here"}, {"", "h x scsi-one name here"},
        {"", "h x none name here"}, {"", "b /dev/sdb x id remote"},
        {"fake scsi_id 'echo " + x300 + "'", h}, {"fake scsi_id 'rm -f /tmp/kvxprereq*'", "DEBUG " + h},
        {policy + "no_reserve x\"'", "d here"}, {policy + "single_path x\"'", "d here"},
        {policy + "PR_exclusive x\"'", "d here"}, {policy + " no_reserve x\"'", "d remote"},
        {"fake lsattr :", "d here"}});
}

// The tiebreaker disk, then the hosts. The tool that tests pairs is in the current directory.
static void addDiskAndHosts(const string &word) {
    fs::current_path("/fakes");
    if (tbDiskName[0] != '\0')
        return void(updateHostList(word.c_str()));
    setText(tbDiskName, word);
}

TEST(TiebreakerDisk, IsTestedInPairs) {
    const string lay = R"sh(quiet ssh 'case $2$1 in ls*none) ;; ls*dead) '"$killed"';; ls*) echo id ../../sd$1; esac'
quiet scp :; quiet tar ': >$2'; mkdir /tmp/vexha; fake scsi_id 'echo id'; ln -s /fakes/scsi_id /lib/udev
fake kvxprereqcheckoss :; >/usr/bin/sg_persist)sh", b = "/dev/sdb ";
    compareOutcomes("tiebreaker", lay, addDiskAndHosts, sqloValidateTbDisk, {
        {"", b}, {"", b + "HERE.x"}, {"", "/dev/sdb/ beta.dom here alpha"}, {"", b + "here beta alpha"},
        {"", "/dev/mapper/mpatha here.a here.b"}, {"", b + "none beta"}, {"", "sdb beta"},
        {"", b + "alpha dead beta.x"}, {"rm /usr/bin/sg_persist", b + "beta"},
        {"fake kvxprereqcheckoss '[ $2 = ${2#xx} ]'", "DEBUG " + b + x300 + " beta"}});
}
