// The settings and operations that a case can name.
#include "support.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <sys/personality.h>
#include <sys/stat.h>
#include <unistd.h>

using std::vector;

int kvxMain(int argc, char **argv);

// --- Settings ---

// clang-format off
#define N(setting) {#setting, &setting}
static const std::map<string, int *> numbers = {
    N(bClient), N(debug), N(strictFlag), N(vastdw), N(usname), N(sqllib), N(isPort), N(servicePort), N(isfcmstart),
    N(fcmstart), N(partitions), N(issvcnm), N(bCustomInputFile), N(bCustomReportFile), N(bGUIReportFile), N(kshntp),
    N(bCheckLatestRelease), N(bNonShareGrid), N(bPrintSummary), N(bCheckSpecificRelease), N(bShareGrid), N(bnoStdRtk),
    N(bNonIB), N(bHostList), N(bHostName), N(bDiskName), N(bDiskList), N(bInstName), N(bInstList), N(bNetName),
    N(bNetList), N(bTbDiskName), N(bMHCA), N(bUDAPL), N(bCustomNetworkType), N(isUbuntu14), N(bInputInstanceHome),
    N(bInputInstallPath), N(bAdapterListFile), N(bEtchostError), N(isNTP), N(linuxDistro)};
#define T(setting) {#setting, {setting, sizeof setting}}
static const std::map<string, std::pair<char *, size_t>> texts = {
    T(uname1), T(svcnm), T(szReportFile), T(szGUIReportFile), T(szInputVersion), T(szRuntimePath), T(szInputDistro),
    T(szInputHome), T(szInputInstallPath), T(IIHName), T(szNTPMessages), T(name.release), T(addFiles),
    T(szInputXMLFile), T(tbDiskName), T(szLocale), T(szPrereqCatFilePath)};
// clang-format on

// A list, its words parted by commas: "users" as NAME or NAME:UID:GID, "disks" as DISK or DISK:ID.
static void fillList(const string &list, const string &words) {
    std::istringstream in(words);
    for (string word; std::getline(in, word, ',');) {
        const size_t colon = word.find(':'), second = word.find(':', colon + 1);
        const string first = word.substr(0, colon), rest = colon == word.npos ? "" : word.substr(colon + 1);
        const int gid = second == word.npos ? 0 : atoi(word.c_str() + second + 1);
        if (list == "hosts")
            updateHostList(word.c_str());
        else if (list == "nets")
            updateNetNames(word.c_str());
        else if (list == "expected")
            updateEtcHostInfo(word.c_str()), resetEtcHosts(); // a new name is not marked yet
        else if (list == "disks")
            updateDiskList(first.c_str(), rest.c_str(), !rest.empty());
        else
            updateUserList(first.c_str(), atoi(rest.c_str()), gid, !rest.empty());
    }
}

std::map<string, string> settings() {
    std::map<string, string> all;
    for (const auto &[name, pNumber] : numbers)
        all[name] = std::to_string(*pNumber);
    for (const auto &[name, text] : texts)
        all[name] = string(text.first, strnlen(text.first, text.second));
    for (int tag = 0; tag < LastTag; tag++)
        all[ppszTagName[tag]] = ppszPREREQ[tag] == nullptr ? "" : ppszPREREQ[tag];
    all["linuxDistro"] = ppszDistroName[linuxDistro];
    return all;
}

bool isSetting(const string &word) {
    const size_t length = word.find('=');
    const auto isNamePart = [](char c) { return isalnum(c) || c == '.' || c == '_'; };
    return length > 0 && length != word.npos && std::all_of(word.data(), word.data() + length, isNamePart);
}

void applySetting(const string &setting) {
    static const vector<string> variables = {"GIVEN", "KVXINSTANCE", "KVXLANG", "KVXMLNXOFED", "KVXTMPDIR", "LANG"},
                                lists = {"hosts", "users", "disks", "nets", "expected"};
    const size_t at = setting.find('=');
    const string name = setting.substr(0, at), text = replaced(setting.substr(at + 1), {{"\\\\n", "\n"}});
    const auto isOneOf = [&name](const vector<string> &all) { return std::count(all.begin(), all.end(), name) > 0; };
    const auto distro = std::find(ppszDistroName, ppszDistroName + DISTRO_COUNT, text);
    if (name == "linuxDistro" && distro != ppszDistroName + DISTRO_COUNT)
        linuxDistro = static_cast<int>(distro - ppszDistroName), setValue(LinuxDistro, text);
    else if (const auto number = numbers.find(name); number != numbers.end())
        *number->second = std::stoi(text);
    else if (const auto array = texts.find(name); array != texts.end())
        iStrncpy(array->second.first, text.c_str(), static_cast<int>(array->second.second));
    else if (const int tag = sqloGetTagIndex(name.c_str()); tag >= 0)
        setValue(static_cast<Tag>(tag), text);
    else if (name == "bits")
        personality(text == "32" ? PER_LINUX32 : PER_LINUX);
    else if (name == "cd")
        std::filesystem::current_path(text);
    else if (name == "umask")
        umask(static_cast<mode_t>(std::stoi(text, nullptr, 8)));
    else if (isOneOf(variables))
        setenv(name.c_str(), text.c_str(), 1);
    else if (isOneOf(lists))
        fillList(name, text);
    else
        ADD_FAILURE() << "no such setting: " << name;
}

// --- Operations ---

typedef char **words;

static int number(const char *pWord, int otherwise = 1) {
    return pWord == nullptr ? otherwise : atoi(pWord);
}

static int show(const string &text) {
    return puts(text.c_str()), NO_STATUS;
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
    (void)w;
    if constexpr (std::is_void_v<R>)
        return pCall(argument<A>(w[I])...), NO_STATUS;
    else
        return pCall(argument<A>(w[I])...);
}

// A function of the program with the words as its arguments; a number that is not there is 1.
template <auto pCall> static int call(words w) {
    return callWith(pCall, w, std::make_index_sequence<argumentCount(pCall)>());
}

// A device's identifier or the name that an identifier has, with a stale file under the name of the capture file.
static int device(words w) {
    char szDevice[256], szId[256];
    iStrncpy(szDevice, w[1], sizeof szDevice), iStrncpy(szId, w[2], sizeof szId);
    if (w[5] != nullptr)
        writeFile("/tmp/kvxprereqcheckb." + std::to_string(getpid()), "stale stale/stale\n"), strcat(szId, "\n");
    const int rc = sqloGetDevNameOrID(w[0], szDevice, szId, w[3] == string("id"), w[4] == string("remote"));
    return show(szDevice + string(" ") + szId), rc;
}

static int adapters(words w) {
    for (; *w != nullptr; w++)
        updateNetNames(*w);
    return sqloValidateAdapter(), NO_STATUS;
}

// The whole program in this process, started in a directory that holds "kvxprereqcheck" and its texts.
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

// What a run makes of a network type.
static int networkType(words w) {
    setText(szNetworkType, w[0]), bCustomNetworkType = 1;
    char *argument[] = {nullptr};
    string refused = capture([&] { run(argument); }).err;
    return show(refused.empty() ? settings()["HCANetwork"] + " " + settings()["MHCA"] : refused);
}

// On every host of the list, and what it was told to do there.
static int runEverywhere(words w) {
    bHostList = 1;
    const int rc = run(w);
    return show(string("[") + addCmd + "] [" + addFiles + "]"), rc;
}

// On a host, with its distribution and the level that is asked for.
static int runWith(words w) {
    updateHostList(w[0]);
    preqHostInfo->isSSH = bGUIReportFile = bCheckSpecificRelease = linuxDistro = 1;
    setValue(LinuxDistro, w[1]), iStrncpy(szInputVersion, w[2], sizeof szInputVersion);
    snprintf(addCmd, sizeof addCmd, "-v %s ", szInputVersion);
    return runPrereqBinaries();
}

static int placeRunAndRemove(words) {
    const int placed = placePrereqBinaries(), ran = runPrereqBinaries();
    return show("placed " + std::to_string(placed) + ", ran " + std::to_string(ran)), removePrereqBinaries();
}

template <typename Record> static string names(const Record *pFirst, char (Record::*field)[255]) {
    string all;
    for (; pFirst != nullptr; pFirst = pFirst->next)
        all += "[" + string(pFirst->*field, strnlen(pFirst->*field, 255)) + "]";
    return all;
}

// Adds the words to every list, and shows what the lists then hold.
static int lists(words w) {
    for (; *w != nullptr; w++) {
        const char *pName = *w == string("-") ? nullptr : *w, *pId = strlen(*w) == 1 ? nullptr : *w;
        printf("%d%d%d%d ", updateHostList(pName), updateNetNames(pName), updateUserList(pName, 7, 8, 1),
               updateDiskList(pName, pId, 1));
    }
    return show(names(preqHostInfo, &hostInfo::hostName) + names(preqNetNames, &netNames::netName) +
                names(preqUserInfo, &userInfo::userName) + names(preqDiskInfo, &diskInfo::diskName) +
                names(preqDiskInfo, &diskInfo::diskID) + std::to_string(preqHostInfo->isSSH) +
                std::to_string(preqUserInfo->UID) + std::to_string(preqUserInfo->GID));
}

// --- Single functions: what they answer to each word ---

static string each(words w, const std::function<string(const char *)> &answer) {
    string all;
    for (; *w != nullptr; w++)
        all += (all.empty() ? "" : " ") + answer(*w == string("NULL!") ? nullptr : *w);
    return all;
}

static string order(const char *pRequired, const char *pFound) {
    const char *const ppszOrders[] = {"higher", "equal", "lower", "unreadable"};
    return ppszOrders[sqloCompareVersionStrings(pRequired, pFound)];
}

// A condition in a line, or a whole line.
static string condition(const char *pText) {
    const string line = pText[0] == '<' ? pText : "<RHEL value=\"" + string(pText) + "\">";
    return sqloProcessConditionStmt(line.c_str(), RHEL) ? "fails" : "holds";
}

// Copies and appends within a buffer of 8 bytes.
static int copies(words w) {
    char szText[] = "\0\0\0\0\0\0\0\0#";
    strncpy(szText, w[0], 8);
    const char *const pAppended = safeStrNCat(szText, w[1], 8);
    const string appended(pAppended, strnlen(pAppended, 8));
    return show(appended + " " + iStrncpy(szText, w[1], 8) + szText[8]);
}

// The text 1 of the catalog, fetched twice into a buffer of a size.
static int text(words w) {
    const int size = number(w[0]);
    string buffer(300, 'x'), all;
    for (int round = 0; round < 2; round++) {
        for (words token = w + 1; *token != nullptr; token++)
            addToken(*token == string("NULL!") ? nullptr : *token);
        all += sqloGetString(1, buffer.data(), size) + string(1, buffer[static_cast<size_t>(size)]) + "|";
    }
    return show(all + std::to_string(totalTokens));
}

static int retrieve(words w) {
    string buffer(300, 'x');
    const int rc = sqloRetrieveNLString(number(w[1]), buffer.data(), number(w[2]), w[0]);
    return show(buffer.c_str() + string(1, buffer[static_cast<size_t>(number(w[2]))])), rc;
}

// Sends each sink its text.
static int sinks(words) {
    char szLine[8] = "line";
    return logMessage(szLine), logRemoteMessage("remote"), logGUIMessage("gui"), show(szLine);
}

// Levels with their failures, as LEVEL:FAILURE,...; then the summary, when it is asked for.
static int summary(words w) {
    for (; *w != nullptr; w++) {
        const string level = string(*w).substr(0, string(*w).find(':'));
        std::istringstream in(string(*w).substr(std::min(level.size() + 1, strlen(*w))));
        for (string failure; std::getline(in, failure, ',');)
            sqloUpdateErrorList(failure.c_str());
        sqloWriteSummaryToReport(level.c_str());
    }
    return bPrintSummary ? sqloPrintSummary() : 0;
}

static int levels(words w) {
    const int rc = sqloRetrieveSupportedVersion();
    string all;
    for (const versionList *pNode = preqVersionList; pNode != nullptr; pNode = pNode->next)
        all += string(pNode->szVersion, strnlen(pNode->szVersion, sizeof pNode->szVersion)) + " ";
    all += each(w, [](const char *pLevel) {
        return applySetting(string("szInputVersion=") + pLevel), validateInputVersion() == 0 ? "known" : "unknown";
    });
    return show(all), rc;
}

static int prepare(words) {
    for (char *&pValue : ppszPREREQ)
        pValue = szInputVersion;
    sqloPreparePrereqCheck();
    return show(std::to_string(std::count(ppszPREREQ, ppszPREREQ + PREREQ_SLOTS, szInputVersion)) + " " + szPlatform);
}

// The clustered feature's sequence, whose report and tools log into one file.
static int sequence(words) {
    bCustomReportFile = 1;
    setText(szReportFile, "/log");
    const int rc = sqloCheckPrereqShareGrid();
    return show(readFile("/log") + std::to_string(errorEntries().size())), rc;
}

// clang-format off
const char MANY_CHECKS[] = "many";
const std::map<string, namedOperation> namedOperations = {
    {"shell", {nullptr, nullptr, [](words w) { const int rc = system(w[0]); return rc & 127 ? rc : rc >> 8; }}},
    {"run", {MANY_CHECKS, nullptr, run}},
    {"network-type", {nullptr, nullptr, networkType}},
    {"options", {nullptr, nullptr, run}},
    {"sequence", {MANY_CHECKS, nullptr, sequence}},
    // single functions
    {"catalog", {nullptr, nullptr, [](words) { return show(message(1)); }}},
    {"conditions", {nullptr, nullptr, [](words w) { return show(each(w, condition)); }}},
    {"copies", {nullptr, nullptr, copies}},
    {"exists", {nullptr, nullptr, [](words w) { return show(each(w, [](const char *p) { return sqloFileExists(p) ? "yes" : "no"; })); }}},
    {"language", {nullptr, nullptr, [](words) { return sqloInitLocale(nullptr), NO_STATUS; }}},
    {"levels", {nullptr, nullptr, levels}},
    {"locales", {nullptr, nullptr, [](words w) { return show(each(w, sqloNormalizedLocaleDir)); }}},
    {"location", {nullptr, nullptr, [](words w) { return sqloSetRuntimeLocation(w[0]), show(sqloGetRuntimeLocation(nullptr)); }}},
    {"prepare", {nullptr, nullptr, prepare}},
    {"read", {nullptr, nullptr, call<sqloReadPrereqFromXML>}},
    {"retrieve", {nullptr, nullptr, retrieve}},
    {"sinks", {nullptr, nullptr, sinks}},
    {"summary", {nullptr, nullptr, summary}},
    {"tags", {nullptr, nullptr, [](words w) { return show(each(w, [](const char *p) { return std::to_string(sqloGetTagIndex(p)); })); }}},
    {"text", {nullptr, nullptr, text}},
    {"versions", {nullptr, nullptr, [](words w) { return show(each(w + 1, [w](const char *p) { return order(w[0] == string("NULL!") ? nullptr : w[0], p); })); }}},
    // platform
    {"detect", {nullptr, nullptr, call<sqloGetLinuxDistributions>}},
    {"distribution", {"no blank line, TITLE_DISTRIBUTION", nullptr, call<sqloCheckLinuxDistributions>}},
    {"kernel", {"TITLE_OS_LEVEL", nullptr, call<sqloCheckOSLevel>}},
    {"lsb", {"TITLE_DISTRIBUTION", nullptr, [](words w) { return sqloCheckLSBRelease("/lsb", w[0], 1, number(w[1])); }}},
    {"release", {nullptr, nullptr, call<sqloGetSUSERHELRelease>}},
    {"unreported", {nullptr, nullptr, [](words) { return sqloCheckSUSERHELRelease("7", "6", nullptr, nullptr, 1, 0); }}},
    // software
    {"aio", {"TITLE_LIBAIO", nullptr, call<sqloCheckLibAio>}},
    {"childless", {nullptr, nullptr, [](words) { return signal(SIGCHLD, SIG_IGN), sqloCheckTools(); }}},
    {"command", {"", nullptr, call<sqlocheckNtpChronyKsh>}},
    {"cpp", {"TITLE_LIBSTDCXX", nullptr, call<sqloCheckLibStdCPlusPlus>}},
    {"glibc", {"TITLE_GLIBC", nullptr, call<sqloCheckGlibC>}},
    {"group", {nullptr, nullptr, [](words w) { return sqloCheckPackagePresenceLinux("G", w[0], number(w[1], 0)); }}},
    {"hca", {"", nullptr, call<sqloCheckHCAPackageLINUX>}},
    {"machine", {nullptr, nullptr, call<verifyVMware>}},
    {"mellanox", {"", nullptr, [](words w) { return sqloCheckMellanoxPackageLINUX("L", w[0], number(w[1]), number(w[2]), number(w[3])); }}},
    {"numa", {"TITLE_LIBNUMA", nullptr, call<sqloCheckLibNuma>}},
    {"ofed", {nullptr, nullptr, call<sqloCheckMellanoxLINUX>}},
    {"package", {"%", nullptr, call<sqloCheckPackageLINUX>}},
    {"pam", {"/lib/libpam.so*", nullptr, call<sqloCheckLibPAM>}},
    {"probe", {nullptr, nullptr, [](words w) { return iStrncpy(szNetname, w[0], 255), sqloCheckMHCA(); }}},
    {"selinux", {"TITLE_SELINUX", nullptr, call<sqloCheckSELinuxEnabled>}},
    {"sg", {"%", nullptr, call<sqloCheckSGPackageLINUX>}},
    {"vex", {"prereqVEX", "prereqVEX", call<checkprereqVEX>}},
    // instance
    {"ports", {"Service Port and FCM Ports usage for %", nullptr, [](words w) { return sqloValidatePorts(number(w[1]), w[0], w[2] != nullptr, number(w[2], 0), number(w[3], 0)); }}},
    {"umask", {"umask", nullptr, call<sqloValidateUmsk>}},
    {"user", {"User specific checks for %", nullptr, [](words w) { return sqloValidateUserProfile(w[0], number(w[1], 0)); }}},
    // network
    {"adapter", {"Adapter", "<AdapterTEST>", adapters}},
    {"connectivity", {"uDAPL network connectivity", "<UDAPLconnectivity>", call<sqloValidateAdapterUsingRocmc>}},
    {"flip", {nullptr, nullptr, [](words w) { const string all = sqoFlipFile(w[0]); return show(all.size() < 1000 ? all : std::to_string(all.size())); }}},
    {"modprobe", {"modprobe.conf", "<MODPROBE>", call<sqloValidateModProbe>}},
    {"modprobe-in", {nullptr, nullptr, call<chkModProbeFile>}},
    {"openibd", {"openibd", "<OPENIBD>", call<sqloCheckForOpenibdStatus>}},
    {"rdma", {"rdma-core", "<RDMA-CORE>", call<sqloCheckForRDMAStatus>}},
    // cluster
    {"device", {nullptr, nullptr, device}},
    {"disks", {"disk info", "<DISKINFO>", call<sqloValidateDisk>}},
    {"everywhere", {nullptr, nullptr, runEverywhere}},
    {"hosts", {"/etc/hosts", "?<ETCHOSTS>", call<sqloValidateEtcHosts>}},
    {"hosts-again", {"/etc/hosts", nullptr, [](words) { sqloValidateEtcHosts(), resetEtcHosts(); return sqloValidateEtcHosts(); }}},
    {"lists", {nullptr, nullptr, lists}},
    {"remote", {nullptr, nullptr, placeRunAndRemove}},
    {"remote-commands", {nullptr, nullptr, [](words) { return show(string(getSSHCmd()) + " " + getSCPCmd()); }}},
    {"pings", {"PING TEST", "<PINGTEST>", call<checkPingTest>}},
    {"all-shells", {"passwordless kvxlocssh", "<SSH>", call<checkkvxSSHToAll>}},
    {"tiebreaker-disk", {"Tie-breaker disk info", "", call<sqloValidateTbDisk>}},
    {"policy", {nullptr, nullptr, [](words w) { return sqloGetSCSIType(w[0], w[1], w[2] == string("remote")); }}},
    {"run-with", {nullptr, nullptr, runWith}},
    {"space", {"free space", "<FREESPACE>", call<sqloCheckFreeSpace>}},
    {"users", {"USER INFO", "<USERINFO>", call<sqloValidateUsers>}}};
// clang-format on

int perform(const vector<string> &given) {
    vector<char *> all;
    for (size_t i = 1; i < given.size(); i++)
        all.push_back(given[i] == "NULL" ? nullptr : strdup(given[i].c_str()));
    all.insert(all.end(), 9, nullptr);
    return namedOperations.at(given[0]).call(all.data());
}
