// The settings and operations that a line of a case can name.
#include "checkSupport.h"

#include <csignal>
#include <filesystem>
#include <sys/stat.h>

using std::vector;

#define SETTING(setting)                                                                                               \
    { #setting, &setting }
static const std::map<string, int *> numbers = {SETTING(bClient),
                                                SETTING(debug),
                                                SETTING(strictFlag),
                                                SETTING(vastdw),
                                                SETTING(usname),
                                                SETTING(sqllib),
                                                SETTING(isPort),
                                                SETTING(servicePort),
                                                SETTING(isfcmstart),
                                                SETTING(fcmstart),
                                                SETTING(partitions),
                                                SETTING(issvcnm),
                                                SETTING(bCustomInputFile),
                                                SETTING(bCustomReportFile),
                                                SETTING(bGUIReportFile),
                                                SETTING(bCheckLatestRelease),
                                                SETTING(bNonShareGrid),
                                                SETTING(bPrintSummary),
                                                SETTING(bCheckSpecificRelease),
                                                SETTING(bCheckForAllKVXVesion),
                                                SETTING(bShareGrid),
                                                SETTING(bnoStdRtk),
                                                SETTING(bNonIB),
                                                SETTING(bHostList),
                                                SETTING(bHostName),
                                                SETTING(bDiskName),
                                                SETTING(bInstName),
                                                SETTING(bNetName),
                                                SETTING(bTbDiskName),
                                                SETTING(bMHCA),
                                                SETTING(bCustomNetworkType),
                                                SETTING(bInputInstanceHome),
                                                SETTING(bInputInstallPath),
                                                SETTING(linuxDistro),
                                                SETTING(isUbuntu14),
                                                SETTING(kshntp),
                                                SETTING(isNTP)};
#undef SETTING
#define SETTING(setting)                                                                                               \
    {                                                                                                                  \
#setting, {                                                                                                    \
            setting, sizeof setting                                                                                    \
        }                                                                                                              \
    }
static const std::map<string, std::pair<char *, size_t>> texts = {
    SETTING(uname1),          SETTING(svcnm),          SETTING(szReportFile),
    SETTING(szGUIReportFile), SETTING(szInputVersion), SETTING(szRuntimePath),
    SETTING(szInputDistro),   SETTING(szInputHome),    SETTING(szInputInstallPath),
    SETTING(IIHName),         SETTING(szNTPMessages),  SETTING(name.release),
    SETTING(name.machine)};
#undef SETTING

std::map<string, string> settings() {
    std::map<string, string> all;
    for (const auto &[name, pNumber] : numbers)
        all[name] = std::to_string(*pNumber);
    for (const auto &[name, text] : texts)
        all[name] = string(text.first, strnlen(text.first, text.second));
    for (int tag = 0; tag < LastTag; tag++)
        all[ppszTagName[tag]] = ppszPREREQ[tag] == nullptr ? "" : ppszPREREQ[tag];
    return all;
}

void applySetting(const string &setting) {
    const size_t at = setting.find('=');
    const string name = setting.substr(0, at), text = replaced(setting.substr(at + 1), {{"\\\\n", "\n"}});
    if (const auto number = numbers.find(name); number != numbers.end())
        *number->second = std::stoi(text);
    else if (const auto array = texts.find(name); array != texts.end())
        iStrncpy(array->second.first, text.c_str(), static_cast<int>(array->second.second));
    else if (const int tag = sqloGetTagIndex(name.c_str()); tag >= 0)
        setValue(static_cast<Tag>(tag), text);
    else if (name == "cd")
        std::filesystem::current_path(text);
    else if (name == "umask")
        umask(static_cast<mode_t>(std::stoi(text, nullptr, 8)));
    else
        setenv(name.c_str(), text.c_str(), 1);
}

typedef char **words;

static int number(const char *pWord, int otherwise = 1) {
    return pWord == nullptr ? otherwise : atoi(pWord);
}

template <int (*operation)()> static int withHost(words w) {
    updateHostList(w[0]);
    preqHostInfo->isSSH = bGUIReportFile = 1;
    return operation();
}

// Program, library and tool lie in a directory, which is the current one.
template <int (*operation)()> static int inDirectory(words w) {
    applySetting(string("szRuntimePath=") + w[0]);
    return std::filesystem::current_path(w[0]), operation();
}

static int device(words w) {
    char szDevice[256], szId[256];
    iStrncpy(szDevice, w[1], sizeof szDevice), iStrncpy(szId, w[2], sizeof szId);
    return sqloGetDevNameOrID(w[0], szDevice, szId, w[3] == string("id"), w[4] == string("remote"));
}

static int connectivity() {
    return sqloValidateAdapterUsingRocmc("list"), 0;
}
static int script() {
    return bShareGrid = 1, checkprereqVEX(1, 1);
}

static int adapters(words w) {
    for (; *w != nullptr; w++)
        updateNetNames(*w);
    return sqloValidateAdapter(), 0;
}

// clang-format off
static const std::map<string, int (*)(words)> operations = {
    {"adapter", adapters}, {"aio", [](words) { return sqloCheckLibAio(); }}, {"detect", [](words) { return sqloGetLinuxDistributions(); }},
    {"childless", [](words) { return signal(SIGCHLD, SIG_IGN), sqloCheckTools(); }},
    {"command", [](words w) { return sqlocheckNtpChronyKsh(w[0], w[1], nullptr); }},
    {"connectivity", [](words w) { return sqloValidateAdapterUsingRocmc(w[0]), 0; }},
    {"connectivity-in", inDirectory<connectivity>}, {"cpp", [](words) { return sqloCheckLibStdCPlusPlus(); }}, {"device", device},
    {"disk", [](words w) { return updateDiskList(w[0], w[1], w[1] != string("none")), sqloValidateDisk(); }},
    {"distribution", [](words) { return sqloCheckLinuxDistributions(); }},
    {"flip", [](words w) { return puts(sqoFlipFile(w[0])); }}, {"glibc", [](words) { return sqloCheckGlibC(); }},
    {"group", [](words w) { return sqloCheckPackagePresenceLinux("G", w[0], number(w[1], 0)); }},
    {"hca", [](words w) { return sqloCheckHCAPackageLINUX(w[0], w[1], number(w[2]), number(w[3]), number(w[4])); }},
    {"kernel", [](words) { return sqloCheckOSLevel(); }},
    {"lsb", [](words w) { return sqloCheckLSBRelease("/lsb", w[0], number(w[1]), number(w[2])); }},
    {"machine", [](words) { return verifyVMware(); }},
    {"mellanox", [](words w) { return sqloCheckMellanoxPackageLINUX("L", w[0], number(w[1]), number(w[2]), number(w[3])); }},
    {"modprobe", [](words) { return sqloValidateModProbe(); }}, {"modprobe-in", [](words w) { return chkModProbeFile(w[0]); }},
    {"nothing", [](words) { return 0; }}, {"numa", [](words) { return sqloCheckLibNuma(); }},
    {"ofed", [](words) { return sqloCheckMellanoxLINUX(); }}, {"openibd", [](words) { return sqloCheckForOpenibdStatus(); }},
    {"package", [](words w) { return sqloCheckPackageLINUX(w[0], w[1], w[2], w[3], number(w[4]), number(w[5])); }},
    {"pam", [](words) { return sqloCheckLibPAM(); }},
    {"ping", [](words w) { return updateNetNames(w[0]), checkPingTest(); }},
    {"place", withHost<placePrereqBinaries>}, {"place-from", inDirectory<placePrereqBinaries>},
    {"policy", [](words w) { return sqloGetSCSIType(w[0], w[1], w[2] == string("remote")); }},
    {"ports", [](words w) { return sqloValidatePorts(number(w[0]), w[1], w[2] != nullptr, number(w[2], 0), number(w[3], 0)); }},
    {"probe", [](words w) { return iStrncpy(szNetname, w[0], 255), sqloCheckMHCA(); }},
    {"rdma", [](words) { return sqloCheckForRDMAStatus(); }}, {"release", [](words w) { return sqloGetSUSERHELRelease(w[0], number(w[1]), number(w[2])); }},
    {"remove", withHost<removePrereqBinaries>}, {"run", withHost<runPrereqBinaries>},
    {"run-with", [](words w) { return bCheckSpecificRelease = linuxDistro = 1, setValue(LinuxDistro, w[1]),
                                      iStrncpy(szInputVersion, w[2], 30),
                                      snprintf(addCmd, 255, "-v %s ", szInputVersion), withHost<runPrereqBinaries>(w); }},
    {"runtime-in", inDirectory<sqloCheckLibStdCPlusPlus>}, {"script-in", inDirectory<script>},
    {"selinux", [](words) { return sqloCheckSELinuxEnabled(); }}, {"service", [](words w) { return sqloCheckForOpenibdRDMAEnablement(w[0]); }},
    {"sg", [](words w) { return sqloCheckSGPackageLINUX(w[0], w[1], number(w[2]), number(w[3])); }},
    {"shell", [](words w) { return system(w[0]); }}, {"shells", withHost<checkkvxSSHToAll>},
    {"space", [](words w) { return sqloCheckFreeSpace(w[0], number(w[1]), number(w[2])); }},
    {"tiebreaker", [](words w) { return iStrncpy(tbDiskName, w[1], 255), updateHostList("here"), withHost<sqloValidateTbDisk>(w); }},
    {"umask", [](words w) { return sqloValidateUmsk(w[0]); }},
    {"unreported", [](words) { return sqloCheckSUSERHELRelease("7", "6", nullptr, nullptr, 1, 0); }},
    {"user", [](words w) { return sqloValidateUserProfile(w[0], number(w[1], 0)); }},
    {"vex", [](words w) { return checkprereqVEX(number(w[0]), number(w[1])); }}};
// clang-format on

int perform(const vector<string> &given) {
    size_t at = 0;
    for (; operations.count(given.at(at)) == 0; at++)
        applySetting(given[at]);
    vector<char *> all;
    for (size_t i = at + 1; i < given.size(); i++)
        all.push_back(given[i] == "NULL" ? nullptr : strdup(given[i].c_str()));
    all.insert(all.end(), 9, nullptr);
    return operations.at(given[at])(all.data());
}
