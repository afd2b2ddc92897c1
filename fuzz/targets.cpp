// The fuzz targets: each runs a part of the program on one input and checks rules that must hold.
#include <algorithm>
#include <cstring>
#include <memory>
#include <strings.h>
#include <vector>

#include "fakeHost.h"
#include "sqloCommand.h"
#include "sqloMessages.h"
#include "sqloPrereqDefs.h"

using std::string;

int kvxMain(int argc, char **argv);

static const char *text() {
    return textOrEmpty(word());
}

static int digit() {
    return decision() - '0';
}

static bool isOneOf(int result, std::initializer_list<int> results) {
    return std::count(results.begin(), results.end(), result) > 0;
}

static bool isReadable(const string &version) {
    return sqloCompareVersionStrings(version.c_str(), version.c_str()) == VERSION_EQUAL;
}

// The newest level is first; texts that are no versions are at the end.
static void checkLevelOrder() {
    string newer = "9999999999"; // no level is above it
    for (const versionList *pNode = preqVersionList; pNode != nullptr; pNode = pNode->next) {
        const string level(pNode->szVersion, strnlen(pNode->szVersion, sizeof pNode->szVersion));
        MUST_HOLD(!isReadable(level) ||
                  (isReadable(newer) && sqloCompareVersionStrings(level.c_str(), newer.c_str()) < VERSION_LOWER));
        newer = level;
    }
}

static void readLevels() {
    int status = sqloRetrieveSupportedVersion();
    MUST_HOLD(status == (preqVersionList == nullptr ? RC_INPUT : RC_OK) && sqloGetLatestRelease() == status);
    MUST_HOLD(validateInputVersion() == (status == RC_OK ? RC_OK : RC_VERSION));
    checkLevelOrder();
    for (const string &level : {string(szInputVersion), string("12.1")}) {
        sqloPreparePrereqCheck();
        MUST_HOLD(isOneOf(sqloReadPrereqFromXML(level.c_str()), {RC_OK, RC_INPUT}) && ppszPREREQ[KVXLevel] == level);
        MUST_HOLD(std::all_of(ppszPREREQ + LastTag, std::end(ppszPREREQ), [](char *pText) { return !pText; }));
    }
}

static void compareVersions() {
    static const int mirrored[] = {VERSION_LOWER, VERSION_EQUAL, VERSION_HIGHER, -1};
    const string versions[] = {text(), text(), text()};
    auto compare = [&](int i, int j) { return sqloCompareVersionStrings(versions[i].c_str(), versions[j].c_str()); };
    if (!std::all_of(std::begin(versions), std::end(versions), isReadable))
        return;
    MUST_HOLD(compare(1, 0) == mirrored[compare(0, 1)]);
    MUST_HOLD(compare(0, 1) != compare(1, 2) || compare(0, 2) == compare(0, 1));
}

static void evaluateConditions() {
    const char *const pOperand = text();
    const char *const pValue = text();
    auto fails = [=](const char *pOperator) { return sqloEvaluateCondition(pOperand, pOperator, pValue); };
    const int tag = sqloGetTagIndex(pOperand);
    const int bSet = tag >= 0 && ppszPREREQ[tag] != nullptr;
    for (const char *pOperator : {"<", ">", ">=", "=", "<>", ""})
        MUST_HOLD(isOneOf(fails(pOperator), {tag < 0, bSet}));
    if (bSet && sqloCheckIsNumber(pValue)) {
        const int stored = leadingNumber(ppszPREREQ[tag]);
        const int value = leadingNumber(pValue);
        MUST_HOLD(fails("<") != (stored < value) && fails(">") != (stored > value) && fails(">=") != (stored >= value));
    }
    MUST_HOLD(isOneOf(sqloProcessConditionStmt(output().c_str(), RHEL), {0, 1}));
}

static void readPrerequisites() {
    compareVersions();
    evaluateConditions();
    readLevels();
}

static void fetchTexts() {
    const string name = text();
    const char *pDirectory = sqloNormalizedLocaleDir(name.c_str());
    MUST_HOLD(std::any_of(std::begin(prereqLocmap), std::end(prereqLocmap),
                          [=](const prereqlmap_t &row) { return strcmp(row.map, pDirectory) == 0; }));
    MUST_HOLD(name.find('.') == name.npos || sqloNormalizedLocaleDir((name + "@euro").c_str()) == pDirectory);
    sqloInitLocale(nullptr);
    MUST_HOLD(strnlen(szLocale, sizeof szLocale) < sizeof szLocale);

    size_t size = static_cast<size_t>(leadingNumber(text()) & 0x3ff) + 1;
    while (const char *pToken = word())
        addToken(pToken);
    catalogText = output().c_str();
    const string stored = catalogText.substr(0, size - 1);
    std::unique_ptr<char[]> buffer(new char[size]); // a sanitizer watches its end
    sqloGetString(30053, buffer.get(), static_cast<int>(size));
    MUST_HOLD(strnlen(buffer.get(), size) < size);
    if (!catalogText.empty() && (stored.find('%') == stored.npos || stored != catalogText))
        MUST_HOLD(buffer.get() == stored);
}

static void detectHost() {
    copyText(szInputDistro, text());
    linuxDistro = DISTRO_UNKNOWN;
    MUST_HOLD(sqloGetLinuxDistributions() == (linuxDistro == DISTRO_UNKNOWN ? RC_INPUT : RC_OK));
    MUST_HOLD(isOneOf(sqloCheckLinuxDistributions(), {RC_OK, RC_FAILED}));
    MUST_HOLD(isOneOf(sqloCheckLSBRelease("/etc/lsb-release", word(), SEVERITY_ERROR, digit()), {RC_OK, RC_FAILED}));
    MUST_HOLD(sqloGetOSLevel() == RC_OK && isOneOf(sqloCheckOSLevel(), {RC_OK, RC_FAILED}));
}

template <typename Add> static void addWords(Add add) {
    while (const char *pWord = word())
        MUST_HOLD(add(pWord) == RC_OK);
}

static void validateHosts() {
    addWords(updateEtcHostInfo);
    resetEtcHosts();
    int result = sqloValidateEtcHosts();
    MUST_HOLD(result == -bEtchostError && isOneOf(result, {RC_OK, RC_FAILED}));
    for (const etcInfo *pEntry = preqEtcInfo; pEntry != nullptr; pEntry = pEntry->next)
        MUST_HOLD(pEntry->verify == 1 || (pEntry->verify == 0 && result == RC_FAILED));
}

static void identifyHosts() {
    detectHost();
    validateHosts();
}

static void runMain() {
    std::vector<char *> arguments;
    while (const char *pWord = word())
        arguments.push_back(const_cast<char *>(pWord));
    for (size_t i = 1; i < arguments.size(); i++)
        if (strcasecmp(arguments[i - 1], "-partitions") == 0 && leadingNumber(arguments[i]) > 9)
            return; // many ports take long and show nothing new
    if (arguments.empty())
        return;
    arguments.push_back(nullptr);
    MUST_HOLD(isOneOf(kvxMain(static_cast<int>(arguments.size()) - 1, arguments.data()),
                      {-1, 0, 1, 3, 6, 7, 8, 9, 11, 12, 13, 14}));
    checkLevelOrder();
}

// --- Checks that read what a command prints

static int checkPackage() {
    const char *const ppWords[] = {text(), word(), word(), word()};
    return sqloCheckPackageLINUX(ppWords[0], ppWords[1], ppWords[2], ppWords[3], digit(), 1);
}

static int findDevice() {
    std::unique_ptr<char[]> device(new char[255]);
    std::unique_ptr<char[]> identifier(new char[255]);
    const char *pHost = text();
    iStrncpy(device.get(), text(), 255);
    iStrncpy(identifier.get(), text(), 255);
    int bGetId = digit();
    return sqloGetDevNameOrID(pHost, device.get(), identifier.get(), bGetId, digit());
}

static int validateDisks() {
    addWords([](const char *pDisk) { return updateDiskList(pDisk, pDisk, digit()); });
    return sqloValidateDisk();
}

static int checkTimeService() {
    const char *const pFile = text();
    return sqlocheckNtpChronyKsh(pFile, word(), nullptr);
}

static int checkMellanoxPackage() {
    const char *const pPackage = text();
    const int b32Bit = digit();
    return sqloCheckMellanoxPackageLINUX("", pPackage, b32Bit, digit(), 1);
}

static int checkFreeSpace() {
    const char *const pDirectory = text();
    const int required = leadingNumber(text());
    return sqloCheckFreeSpace(pDirectory, required, digit());
}

static int validateNetworks() {
    addWords(updateNetNames);
    sqloValidateAdapter();
    return checkPingTest();
}

static int testConnectivity() {
    sqloValidateAdapterUsingRocmc(text());
    return RC_OK;
}

static int reachHosts() {
    addWords(updateHostList);
    return checkkvxSSHToAll();
}

static int runOnHosts() {
    addWords(updateHostList);
    placePrereqBinaries();
    return runPrereqBinaries();
}

static int validateTiebreakerDisk() {
    copyText(tbDiskName, text());
    addWords(updateHostList);
    return sqloValidateTbDisk();
}

// A check, and a status that it may return besides 0 and -1.
static const struct {
    int (*pRun)();
    int ownStatus;
} checks[] = {
    /* a */ {sqloCheckLibStdCPlusPlus, 0},
    /* b */ {sqloCheckGlibC, 0},
    /* c */ {sqloCheckLibPAM, 0},
    /* d */ {checkPackage, 0},
    /* e */ {checkTimeService, 0},
    /* f */ {checkMellanoxPackage, 0},
    /* g */ {sqloCheckMellanoxLINUX, 0},
    /* h */ {[] { return sqloCheckSGPackageLINUX("sg3_utils", word(), digit(), 1); }, RC_SG_PACKAGE},
    /* i */ {sqloCheckSELinuxEnabled, 0},
    /* j */ {sqloCheckForOpenibdStatus, 0},
    /* k */ {[] { return sqloValidateUserProfile(text(), digit()); }, 0},
    /* l */ {[] { return sqloValidateUmsk(text()); }, 0},
    /* m */ {checkFreeSpace, 0},
    /* n */ {sqloValidateModProbe, 0},
    /* o */ {[] { return chkModProbeFile("/etc/modprobe.d/modprobe.conf"); }, 0},
    /* p */ {sqloCheckForRDMAStatus, 0},
    /* q */ {[] { return sqloCheckForOpenibdRDMAEnablement(text()); }, 0},
    /* r */ {validateNetworks, 0},
    /* s */ {testConnectivity, 0},
    /* t */ {reachHosts, 0},
    /* u */ {runOnHosts, 0},
    /* v */ {[] { return sqloCheckHCAPackageLINUX("RDMA Infiniband Package", text(), digit(), 1, 1); }, 0},
    /* w */ {validateDisks, 0},
    /* x */ {validateTiebreakerDisk, 0},
    /* y */ {findDevice, 0},
    /* z */ {[] { return sqloGetSCSIType(text(), "/dev/sda", digit()); }, 1},
};

static void runCheck() {
    const auto &chosen = checks[static_cast<unsigned char>(decision() - 'a') % std::size(checks)];
    MUST_HOLD(isOneOf(chosen.pRun(), {RC_OK, RC_FAILED, chosen.ownStatus}));
}

bool runTarget(const string &name, const string &input) {
    static const struct {
        const char *pName;
        void (*pRun)();
        size_t openAllowed;
    } targets[] = {{"prerequisites", readPrerequisites, 0},
                   {"messages", fetchTexts, 0},
                   {"hosts", identifyHosts, 1},
                   {"checks", runCheck, 1000},
                   {"run", runMain, 1}};
    for (const auto &row : targets)
        if (name == row.pName) {
            startRun(input);
            row.pRun();
            endRun(row.openAllowed);
            return true;
        }
    return false;
}
