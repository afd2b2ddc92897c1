// The settings and operations that a case can name.
#include "support.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <sys/personality.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using std::vector;

int kvxMain(int argc, char **argv);

// --- Settings ---

struct namedText {
    char *pText;
    size_t size;
};

static vector<string> separated(const string &text, char separator) {
    vector<string> all;
    std::istringstream in(text);
    for (string word; std::getline(in, word, separator);)
        all.push_back(word);
    return all;
}

template <typename Record> static std::map<string, Record> byName(const char *pNames, const vector<Record> &records) {
    std::map<string, Record> all;
    size_t next = 0;
    for (const string &name : separated(pNames, ','))
        all[replaced(name, {{" ", ""}})] = records[next++];
    return all;
}

template <typename... Number> static vector<int *> numbersAt(Number &...numbers) {
    return {&numbers...};
}

template <size_t... N> static vector<namedText> textsAt(char (&...texts)[N]) {
    return {namedText{texts, N}...};
}

#define NUMBERS(...) byName(#__VA_ARGS__, numbersAt(__VA_ARGS__))
#define TEXTS(...)   byName(#__VA_ARGS__, textsAt(__VA_ARGS__))

static const std::map<string, int *> numbers = NUMBERS(
    bClient, debug, strictFlag, vastdw, usname, sqllib, isPort, servicePort, isfcmstart, fcmstart, partitions, issvcnm,
    bCustomInputFile, bCustomReportFile, bGUIReportFile, kshntp, bCheckLatestRelease, bNonShareGrid, bPrintSummary,
    bCheckSpecificRelease, bCheckForAllKVXVesion, bShareGrid, bnoStdRtk, bNonIB, bHostList, bHostName, bDiskName,
    bDiskList, bInstName, bInstList, bNetName, bNetList, bTbDiskName, bMHCA, bUDAPL, bCustomNetworkType, isUbuntu14,
    bInputInstanceHome, bInputInstallPath, bAdapterListFile, bEtchostError, isNTP, linuxDistro);
static const std::map<string, namedText> texts =
    TEXTS(uname1, svcnm, szReportFile, szGUIReportFile, szInputVersion, szRuntimePath, szInputDistro, szInputHome,
          szInputInstallPath, IIHName, szNTPMessages, name.machine, name.release, addFiles, szInputXMLFile, tbDiskName,
          szLocale, szPrereqCatFilePath);
static const vector<string> variables = {"HAS", "KVXINSTANCE", "KVXLANG", "KVXMLNXOFED", "KVXTMPDIR", "LANG"};
static const vector<string> lists = {"hosts", "users", "disks", "nets", "expected"};
static const vector<string> ofTheProcess = {"bits", "cd", "umask"};

// Adds to a list: a user as NAME or NAME:UID:GID, a disk as DISK or DISK:ID.
static void addToList(const string &list, const string &entry) {
    vector<string> parts = separated(entry, ':');
    const bool bAll = parts.size() > 1;
    parts.resize(3);
    if (list == "hosts")
        updateHostList(entry.c_str());
    else if (list == "nets")
        updateNetNames(entry.c_str());
    else if (list == "disks")
        updateDiskList(parts[0].c_str(), parts[1].c_str(), bAll);
    else if (list == "users")
        updateUserList(parts[0].c_str(), atoi(parts[1].c_str()), atoi(parts[2].c_str()), bAll);
    else {
        updateEtcHostInfo(entry.c_str());
        resetEtcHosts(); // a new name is not marked yet
    }
}

std::map<string, string> settings() {
    std::map<string, string> all;
    for (const auto &[name, pNumber] : numbers)
        all[name] = std::to_string(*pNumber);
    for (const auto &[name, text] : texts)
        all[name] = string(text.pText, strnlen(text.pText, text.size));
    for (int tag = 0; tag < LastTag; tag++)
        all[ppszTagName[tag]] = ppszPREREQ[tag] == nullptr ? "" : ppszPREREQ[tag];
    all["linuxDistro"] = ppszDistroName[linuxDistro];
    return all;
}

static bool isOneOf(const vector<string> &all, const string &name) {
    return std::count(all.begin(), all.end(), name) > 0;
}

bool isSetting(const string &word) {
    const size_t length = word.find('=');
    if (length == string::npos)
        return false;
    const string name = word.substr(0, length);
    return numbers.count(name) > 0 || texts.count(name) > 0 || sqloGetTagIndex(name.c_str()) >= 0 ||
           isOneOf(variables, name) || isOneOf(lists, name) || isOneOf(ofTheProcess, name);
}

void applySetting(const string &setting) {
    const size_t at = setting.find('=');
    const string name = setting.substr(0, at);
    const string text = setting.substr(at + 1);
    const auto distro = std::find(ppszDistroName, ppszDistroName + DISTRO_COUNT, text);
    if (name == "linuxDistro" && distro != ppszDistroName + DISTRO_COUNT) {
        linuxDistro = static_cast<int>(distro - ppszDistroName);
        setValue(LinuxDistro, text);
    } else if (const auto number = numbers.find(name); number != numbers.end())
        *number->second = std::stoi(text);
    else if (const auto array = texts.find(name); array != texts.end())
        iStrncpy(array->second.pText, text.c_str(), static_cast<int>(array->second.size));
    else if (name == "bits")
        personality(text == "32" ? PER_LINUX32 : PER_LINUX);
    else if (name == "cd")
        std::filesystem::current_path(text);
    else if (name == "umask")
        umask(static_cast<mode_t>(std::stoi(text, nullptr, 8)));
    else if (isOneOf(variables, name))
        setenv(name.c_str(), text.c_str(), 1);
    else if (isOneOf(lists, name))
        for (const string &entry : separated(text, ','))
            addToList(name, entry);
    else
        setValue(static_cast<Tag>(sqloGetTagIndex(name.c_str())), text);
}

// --- Operations ---

typedef char **words;

static int number(const char *pWord, int otherwise = 1) {
    return pWord == nullptr ? otherwise : atoi(pWord);
}

static int show(const string &text) {
    puts(text.c_str());
    return NO_STATUS;
}

template <typename R, typename... A> static constexpr size_t argumentCount(R (*)(A...)) {
    return sizeof...(A);
}

template <typename T> static T argument(char *pWord) {
    if constexpr (std::is_same_v<T, int>)
        return number(pWord);
    else
        return pWord;
}

template <typename R, typename... A, size_t... I>
static int callWith(R (*pCall)(A...), words w, std::index_sequence<I...>) {
    (void)w; // where there are no arguments
    if constexpr (std::is_void_v<R>) {
        pCall(argument<A>(w[I])...);
        return NO_STATUS;
    } else
        return pCall(argument<A>(w[I])...);
}

// Calls a function of the program with the words as its arguments; a missing number is 1.
template <auto pCall> static int call(words w) {
    return callWith(pCall, w, std::make_index_sequence<argumentCount(pCall)>());
}

// Shows the result of a function as a line.
template <auto pCall> static int showCall(words w) {
    return show(std::to_string(call<pCall>(w)));
}

static int shell(words w) {
    const int status = system(w[0]);
    return WIFEXITED(status) ? WEXITSTATUS(status) : status;
}

// Runs the whole program in this process, as if started in a directory that has its name and its texts.
static int run(words w) {
    vector<string> all = {szRuntimePath + string("/kvxprereqcheck")};
    for (; *w != nullptr; w++)
        all.emplace_back(*w);
    vector<char *> argv;
    for (string &argument : all)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    return kvxMain(static_cast<int>(all.size()), argv.data());
}

// Shows the values that a run stores for a network type.
static int networkType(words w) {
    setText(szNetworkType, w[0]);
    bCustomNetworkType = 1;
    char *argument[] = {nullptr};
    const string refused = capture([&] { run(argument); }).err;
    if (!refused.empty())
        return show(refused);
    return show("HCANetwork=" + settings()["HCANetwork"] + "\nMHCA=" + settings()["MHCA"]);
}

// Runs the sequence of the clustered feature, whose report goes to a file.
static int sequence(words) {
    bCustomReportFile = 1;
    setText(szReportFile, "/log");
    const int rc = sqloCheckPrereqShareGrid();
    show(readFile("/log"));
    return rc;
}

// --- Small operations ---

// Shows a buffer of eight bytes, and whether the byte behind it was changed.
static int showBuffer(const char *pText, const char *pBuffer) {
    const string text(pText, strnlen(pText, 8));
    return show(pBuffer[8] == '#' ? text : text + "\nwrites behind the buffer");
}

static int append(words w) {
    char szBuffer[] = "\0\0\0\0\0\0\0\0#";
    strncpy(szBuffer, w[0], 8);
    return showBuffer(safeStrNCat(szBuffer, w[1], 8), szBuffer);
}

static int copy(words w) {
    char szBuffer[] = "#########";
    return showBuffer(iStrncpy(szBuffer, w[0], number(w[1], 8)), szBuffer);
}

static int exists(words w) {
    return show(sqloFileExists(w[0]) ? "yes" : "no");
}

static int locale(words w) {
    return show(sqloNormalizedLocaleDir(w[0]));
}

static int language(words) {
    sqloInitLocale(nullptr);
    return NO_STATUS;
}

static int location(words w) {
    sqloSetRuntimeLocation(w[0]);
    char szCopy[sizeof szRuntimePath];
    EXPECT_STREQ(sqloGetRuntimeLocation(szCopy), szRuntimePath);
    return show(sqloGetRuntimeLocation(nullptr));
}

static int compareVersions(words w) {
    const char *const ppszOrders[] = {"higher", "equal", "lower", "unreadable"};
    return show(ppszOrders[sqloCompareVersionStrings(w[0], w[1])]);
}

// Takes the text between the quotes of a condition, or a whole line. A condition without one of its words holds.
static int condition(words w) {
    const char *const pName = "LinuxDistro";
    EXPECT_EQ(sqloEvaluateCondition(nullptr, "=", "x") + sqloEvaluateCondition(pName, nullptr, "x"), 0);
    EXPECT_EQ(sqloEvaluateCondition(pName, "=", nullptr), 0);
    const string text = w[0];
    const string line = text[0] == '<' ? text : "<RHEL value=\"" + text + "\">";
    return show(sqloProcessConditionStmt(line.c_str(), RHEL) ? "does not hold" : "holds");
}

static int prepare(words) {
    for (char *&pValue : ppszPREREQ)
        pValue = szInputVersion;
    sqloPreparePrereqCheck();
    return show(szPlatform);
}

// Shows the levels that the file offers, and whether a level is one of them.
static int levels(words w) {
    EXPECT_EQ(sqloUpdatePreqVersionList(nullptr), -1);
    EXPECT_EQ(sqloGetLatestRelease(), 8);       // of an empty list
    EXPECT_EQ(sqloPushToSkipNodeStack(-1), -1); // no tag
    const int rc = sqloRetrieveSupportedVersion();
    for (const versionList *pNode = preqVersionList; pNode != nullptr; pNode = pNode->next)
        show("offers " + string(pNode->szVersion, strnlen(pNode->szVersion, sizeof pNode->szVersion)));
    if (w[0] != nullptr) {
        iStrncpy(szInputVersion, w[0], sizeof szInputVersion);
        show(validateInputVersion() == 0 ? "known" : "unknown");
    }
    return rc;
}

// Fetches text 1 of the catalog with its tokens into a buffer of a size.
static string fetchText(size_t size, const string &tokens) {
    string buffer(300, '#');
    for (const string &token : separated(tokens, ' '))
        if (token[0] == '-')
            addNumToken(std::stoi(token));
        else
            addToken(token == "NULL" ? nullptr : token.c_str());
    const string text = sqloGetString(1, buffer.data(), static_cast<int>(size));
    return buffer[size] == '#' ? text : text + "\nwrites behind the buffer";
}

static int text(words w) {
    const size_t size = static_cast<size_t>(number(w[0], 256));
    const string tokens = w[1] == nullptr ? "" : w[1];
    const string first = fetchText(size, tokens);
    EXPECT_EQ(totalTokens, 0);
    EXPECT_EQ(fetchText(size, tokens), first);
    return show(first);
}

static int retrieve(words w) {
    string buffer(300, '#');
    const int size = number(w[2], 256);
    const int rc = sqloRetrieveNLString(number(w[1]), buffer.data(), size, w[0]);
    show(buffer.substr(0, buffer.find('\0')));
    EXPECT_EQ(buffer[static_cast<size_t>(size)], '#');
    return rc;
}

static int catalog(words) {
    return show(message(1));
}

// Sends each sink its text, and a null pointer, which it refuses. Shows a text of its own.
static int sinks(words) {
    char szLine[8] = "line";
    for (const int rc : {logMessage(szLine), logRemoteMessage("remote"), logGUIMessage("gui")})
        EXPECT_EQ(rc, 0);
    for (const int rc : {logMessage(nullptr), logRemoteMessage(nullptr), logGUIMessage(nullptr),
                         sqloUpdateErrorList(nullptr), sqloWriteSummaryToReport(nullptr)})
        EXPECT_EQ(rc, -1);
    return show("end");
}

// Writes a level's summary with its failures to the report and, with bPrintSummary, to standard error.
static int summary(words w) {
    for (const string &failure : separated(w[1] == nullptr ? "" : w[1], ','))
        sqloUpdateErrorList(failure.c_str());
    sqloWriteSummaryToReport(w[0]);
    return bPrintSummary ? sqloPrintSummary() : 0;
}

// --- Platform and software ---

static int ubuntuRelease(words w) {
    return sqloCheckLSBRelease("/lsb", w[0], 1, number(w[1]));
}

static int unreportedRelease(words) {
    return sqloCheckSUSERHELRelease("7", "6", nullptr, nullptr, 1, 0);
}

static int toolsWithoutChildren(words) {
    signal(SIGCHLD, SIG_IGN);
    return sqloCheckTools();
}

static int mellanox(words w) {
    return sqloCheckMellanoxPackageLINUX("L", w[0], number(w[1]), number(w[2]), number(w[3]));
}

static int group(words w) {
    return sqloCheckPackagePresenceLinux("G", w[0], number(w[1], 0));
}

static int probe(words w) {
    iStrncpy(szNetname, w[0], sizeof szNetname);
    return sqloCheckMHCA();
}

// --- Instance ---

static int user(words w) {
    return sqloValidateUserProfile(w[0], number(w[1], 0));
}

// FCM ports are checked when a start port is given.
static int ports(words w) {
    return sqloValidatePorts(number(w[1]), w[0], w[2] != nullptr, number(w[2], 0), number(w[3], 0));
}

// --- Network and cluster ---

static int adapters(words w) {
    for (; *w != nullptr; w++)
        updateNetNames(*w);
    sqloValidateAdapter();
    return NO_STATUS;
}

static int flip(words w) {
    const string all = sqoFlipFile(w[0]);
    return show(all.size() < 1000 ? all : std::to_string(all.size()) + " bytes");
}

// Looks up a device's identifier, or the device of an identifier.
static int device(words w) {
    char szDevice[256];
    char szId[256];
    iStrncpy(szDevice, w[1], sizeof szDevice);
    iStrncpy(szId, w[2], sizeof szId - 1);
    if (w[5] != nullptr) // a line of a file has its newline
        strcat(szId, "\n");
    const int rc = sqloGetDevNameOrID(w[0], szDevice, szId, w[3] == string("id"), w[4] == string("remote"));
    show("device " + string(szDevice) + "\nid " + szId);
    return rc;
}

static int policy(words w) {
    return sqloGetSCSIType(w[0], w[1], w[2] == string("remote"));
}

static int hostsTwice(words) {
    sqloValidateEtcHosts();
    resetEtcHosts();
    return sqloValidateEtcHosts();
}

static int remoteCommands(words) {
    return show(getSSHCmd() + string("\n") + getSCPCmd());
}

// Runs on every host of the list, and shows the arguments for the other hosts.
static int runEverywhere(words w) {
    bHostList = 1;
    const int rc = run(w);
    show("passes on " + string(addCmd));
    show("copies " + string(addFiles));
    return rc;
}

// Runs on one host with a distribution and a level.
static int runWith(words w) {
    updateHostList(w[0]);
    preqHostInfo->isSSH = 1;
    bGUIReportFile = 1;
    bCheckSpecificRelease = 1;
    linuxDistro = 1;
    setValue(LinuxDistro, w[1]);
    iStrncpy(szInputVersion, w[2], sizeof szInputVersion);
    snprintf(addCmd, sizeof addCmd, "-v %s ", szInputVersion);
    return runPrereqBinaries();
}

static int placeRunAndRemove(words) {
    const int placed = placePrereqBinaries();
    const int ran = runPrereqBinaries();
    show("placing answers " + std::to_string(placed) + " and running " + std::to_string(ran));
    return removePrereqBinaries();
}

template <typename Record> static void showList(const char *pName, const Record *pFirst, char (Record::*field)[255]) {
    string all = pName;
    for (; pFirst != nullptr; pFirst = pFirst->next)
        all += " " + string(pFirst->*field, strnlen(pFirst->*field, sizeof(pFirst->*field)));
    show(all);
}

// Adds a name and a null pointer to every list, and shows the lists.
static int listsOf(words w) {
    for (; *w != nullptr; w++)
        EXPECT_EQ(updateHostList(*w) + updateNetNames(*w) + updateUserList(*w, 7, 8, 1) + updateDiskList(*w, *w, 1), 0);
    for (const int rc : {updateHostList(nullptr), updateNetNames(nullptr), updateUserList(nullptr, 7, 8, 1),
                         updateDiskList(nullptr, nullptr, 1)})
        EXPECT_EQ(rc, -1);
    EXPECT_EQ(updateEtcHostInfo("name") + updateEtcHostInfo("name") + resetEtcHosts(), 0);
    showList("hosts", preqHostInfo, &hostInfo::hostName);
    showList("nets", preqNetNames, &netNames::netName);
    showList("users", preqUserInfo, &userInfo::userName);
    showList("disks", preqDiskInfo, &diskInfo::diskName);
    showList("ids", preqDiskInfo, &diskInfo::diskID);
    return show("isSSH=" + std::to_string(preqHostInfo->isSSH) + " UID=" + std::to_string(preqUserInfo->UID) +
                " GID=" + std::to_string(preqUserInfo->GID));
}

// --- The table ---

const char *const WORDS = "...";
const std::map<string, namedOperation> namedOperations = {
    {"run", {RUN, WORDS, run}},
    {"options", {OPTIONS, WORDS, run}},
    {"everywhere", {RUN, WORDS, runEverywhere}},
    {"network-type", {RUN, "type", networkType}},
    {"sequence", {CHECKS, "", sequence}},
    {"shell", {LINES, "command", shell}},

    // run control, definitions, messages
    {"append", {LINES, "to text", append}},
    {"catalog", {LINES, "", catalog}},
    {"compare", {LINES, "required found", compareVersions}},
    {"condition", {LINES, "line", condition}},
    {"copy", {LINES, "text size", copy}},
    {"exists", {LINES, "path", exists}},
    {"language", {LINES, "", language}},
    {"levels", {LINES, "asked", levels}},
    {"locale", {LINES, "locale", locale}},
    {"location", {LINES, "path", location}},
    {"prepare", {LINES, "", prepare}},
    {"read", {LINES, "level", call<sqloReadPrereqFromXML>}},
    {"retrieve", {LINES, "catalog number size", retrieve}},
    {"sinks", {LINES, "", sinks}},
    {"summary", {LINES, "level failures", summary}},
    {"tag", {LINES, "tagName", showCall<sqloGetTagIndex>}},
    {"text", {LINES, "size tokens", text}},

    // platform
    {"detect", {LINES, "", call<sqloGetLinuxDistributions>}},
    {"distribution", {ONE_CHECK, "", call<sqloCheckLinuxDistributions>, "no blank line, TITLE_DISTRIBUTION"}},
    {"kernel", {ONE_CHECK, "", call<sqloCheckOSLevel>, "TITLE_OS_LEVEL"}},
    {"lsb", {ONE_CHECK, "minimum bReport", ubuntuRelease, "TITLE_DISTRIBUTION"}},
    {"release", {LINES, "file severity bReport", call<sqloGetSUSERHELRelease>}},
    {"unreported", {LINES, "", unreportedRelease}},
    {"is-64-bit", {LINES, "", call<sqloIsOS64bit>}},

    // software
    {"aio", {ONE_CHECK, "", call<sqloCheckLibAio>, "TITLE_LIBAIO"}},
    {"command", {ONE_CHECK, "file minVersion minRelease", call<sqlocheckNtpChronyKsh>, "%"}},
    {"cpp", {ONE_CHECK, "", call<sqloCheckLibStdCPlusPlus>, "TITLE_LIBSTDCXX"}},
    {"glibc", {ONE_CHECK, "", call<sqloCheckGlibC>, "TITLE_GLIBC"}},
    {"adapter-package", {ONE_CHECK, "group package b32Bit severity emitErrors", call<sqloCheckHCAPackageLINUX>, ""}},
    {"machine", {LINES, "", call<verifyVMware>}},
    {"mellanox", {ONE_CHECK, "package b32Bit severity emitErrors", mellanox, ""}},
    {"numa", {ONE_CHECK, "", call<sqloCheckLibNuma>, "TITLE_LIBNUMA"}},
    {"ofed", {LINES, "", call<sqloCheckMellanoxLINUX>}},
    {"package",
     {ONE_CHECK, "package file minVersion minRelease severity emitErrors", call<sqloCheckPackageLINUX>, "%"}},
    {"pam", {ONE_CHECK, "", call<sqloCheckLibPAM>, "/lib/libpam.so*"}},
    {"group", {LINES, "package b32Bit", group}},
    {"probe", {LINES, "network", probe}},
    {"selinux", {ONE_CHECK, "", call<sqloCheckSELinuxEnabled>, "TITLE_SELINUX"}},
    {"sg", {ONE_CHECK, "package file severity emitErrors", call<sqloCheckSGPackageLINUX>, "%"}},
    {"tools-without-children", {LINES, "", toolsWithoutChildren}},
    {"vex", {ONE_CHECK, "severity emitErrors", call<checkprereqVEX>, "prereqVEX", "prereqVEX"}},

    // instance
    {"ports", {ONE_CHECK, "svcName svcPort fcmStartPort nPartitions", ports, "Service Port and FCM Ports usage for %"}},
    {"check-umask", {ONE_CHECK, "maximum", call<sqloValidateUmsk>, "umask"}},
    {"user", {ONE_CHECK, "usrname checkSqllib", user, "User specific checks for %"}},

    // network
    {"adapter", {ONE_CHECK, WORDS, adapters, "Adapter", "<AdapterTEST>"}},
    {"connectivity",
     {ONE_CHECK, "adapterFile", call<sqloValidateAdapterUsingRocmc>, "uDAPL network connectivity",
      "<UDAPLconnectivity>"}},
    {"flip", {LINES, "file", flip}},
    {"modprobe", {ONE_CHECK, "", call<sqloValidateModProbe>, "modprobe.conf", "<MODPROBE>"}},
    {"modprobe-in", {LINES, "file", call<chkModProbeFile>}},
    {"openibd", {ONE_CHECK, "", call<sqloCheckForOpenibdStatus>, "openibd", "<OPENIBD>"}},
    {"rdma", {ONE_CHECK, "", call<sqloCheckForRDMAStatus>, "rdma-core", "<RDMA-CORE>"}},

    // cluster; a failed check does not write the closing marker that begins with "?" to the GUI report
    {"all-shells", {ONE_CHECK, "", call<checkkvxSSHToAll>, "passwordless kvxlocssh", "<SSH>"}},
    {"device", {LINES, "host device id wanted where newline", device}},
    {"check-disks", {ONE_CHECK, "", call<sqloValidateDisk>, "disk info", "<DISKINFO>"}},
    {"etc-hosts", {ONE_CHECK, "", call<sqloValidateEtcHosts>, "/etc/hosts", "?<ETCHOSTS>"}},
    {"etc-hosts-twice", {ONE_CHECK, "", hostsTwice, "/etc/hosts"}},
    {"lists", {LINES, WORDS, listsOf}},
    {"pings", {ONE_CHECK, "", call<checkPingTest>, "PING TEST", "<PINGTEST>"}},
    {"policy", {LINES, "host disk where", policy}},
    {"remote", {LINES, "", placeRunAndRemove}},
    {"remote-commands", {LINES, "", remoteCommands}},
    {"run-with", {LINES, "host distribution level", runWith}},
    {"space", {ONE_CHECK, "dir reqdSpace severity", call<sqloCheckFreeSpace>, "free space", "<FREESPACE>"}},
    {"tiebreaker-disk", {ONE_CHECK, "", call<sqloValidateTbDisk>, "Tie-breaker disk info", ""}},
    {"check-users", {ONE_CHECK, "", call<sqloValidateUsers>, "USER INFO", "<USERINFO>"}},
};

// Returns the words of a call in the order of the operation's parameters, NULL for a missing one. NAME=TEXT is the
// parameter of that name, any other word the next one.
static vector<string> inOrder(const vector<string> &given) {
    const vector<string> names = separated(namedOperations.at(given[0]).pParameters, ' ');
    if (names == vector<string>{WORDS})
        return {given.begin() + 1, given.end()};
    vector<string> ordered(names.size(), "NULL");
    size_t next = 0;
    for (size_t i = 1; i < given.size(); i++) {
        const size_t length = given[i].find('=');
        const auto name = std::find(names.begin(), names.end(), given[i].substr(0, length));
        const bool bNamed = length != string::npos && name != names.end();
        const size_t position = bNamed ? static_cast<size_t>(name - names.begin()) : next;
        if (position >= names.size())
            throw std::runtime_error(given[0] + " has no such argument: " + given[i]);
        ordered[position] = bNamed ? given[i].substr(length + 1) : given[i];
        next = position + 1;
    }
    return ordered;
}

static bool isNull(const string &word) {
    return word == "NULL";
}

string usualTitle(const vector<string> &given) {
    const vector<string> ordered = inOrder(given);
    const auto first = std::find_if_not(ordered.begin(), ordered.end(), isNull);
    const string title = namedOperations.at(given[0]).pTitle;
    return replaced(title, {{"%", first == ordered.end() ? "" : *first}});
}

int perform(const vector<string> &given) {
    vector<char *> all;
    for (const string &word : inOrder(given))
        all.push_back(isNull(word) ? nullptr : strdup(word.c_str()));
    all.push_back(nullptr);
    return namedOperations.at(given[0]).call(all.data());
}
