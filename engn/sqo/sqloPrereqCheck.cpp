/*
 * Run control: the command line, the run driver with main, and the sequence of checks that each level gets.
 */
#include <fcntl.h>
#include <pwd.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <unistd.h>

#include "sqloCommand.h"
#include "sqloLiterals.h"
#include "sqloMessages.h"
#include "sqloPrereqDefs.h"

static const char *const pProgramName = "kvxprereqcheck";
static const char *const pInputFileName = "KVXprereqs.xml";

/* --- Command line --- */

void displayHelp(void) {
    static const int texts[] = {
        MSG_USAGE_FIRST,          MSG_USAGE_ARGUMENTS, MSG_USAGE_SELECTION, MSG_USAGE_CLUSTERED,
        MSG_USAGE_FILES_GIVEN,    MSG_USAGE_OUTPUT,    MSG_USAGE_INSTANCE,  MSG_USAGE_INSTANCE_USER,
        MSG_USAGE_INSTANCE_PORTS, MSG_USAGE_GENERAL,   MSG_USAGE_FILES,     MSG_USAGE_ENVIRONMENT,
        MSG_USAGE_EXIT_STATUS,    MSG_USAGE_LAST,
    };
    char szText[1024];
    for (int number : texts) {
        printAsFormat(stdout, sqloGetString(number, szText, sizeof szText));
        putchar('\n');
    }
}

enum Option {
    OPTION_CLIENT,
    OPTION_HELP,
    OPTION_DEBUG,
    OPTION_STRICT,
    OPTION_INSTANCE,
    OPTION_USER,
    OPTION_SQLLIB,
    OPTION_SERVICE,
    OPTION_FCM_START,
    OPTION_PARTITIONS,
    OPTION_SERVICE_NAME,
    OPTION_INPUT_FILE,
    OPTION_REPORT_FILE,
    OPTION_GUI_FILE,
    OPTION_LATEST,
    OPTION_NOT_CLUSTERED,
    OPTION_SUMMARY,
    OPTION_LEVEL,
    OPTION_UNKNOWN,
};

enum MatchRule { EXACT, ANY_CASE };
enum ValueRule { NO_VALUE, ANY_VALUE, FILE_VALUE }; // a FILE_VALUE must not begin with '-' and must fit

/* One option. Arguments are compared with the rows in their order. valueMessage and valueStatus are for a missing or
 * bad value: the message, or 0 for the usage text alone, and the exit status. */
struct optionRow {
    const char *ppszSpelling[4];
    MatchRule match;
    Option option;
    ValueRule value;
    int valueMessage = 0;
    int valueStatus = RC_OK;
};

static const optionRow optionRows[] = {
    {{"-c", "-C"}, EXACT, OPTION_CLIENT, NO_VALUE},
    {{"-h", "-H", "-?", "-help"}, EXACT, OPTION_HELP, NO_VALUE},
    {{"-d", "-D", "-debug"}, EXACT, OPTION_DEBUG, NO_VALUE},
    {{"-strict"}, ANY_CASE, OPTION_STRICT, NO_VALUE},
    {{"-vastdw", "-VASTDW"}, EXACT, OPTION_INSTANCE, NO_VALUE},
    {{"-usrname"}, ANY_CASE, OPTION_USER, ANY_VALUE},
    {{"-sqllib"}, ANY_CASE, OPTION_SQLLIB, NO_VALUE},
    {{"-service"}, ANY_CASE, OPTION_SERVICE, ANY_VALUE},
    {{"-fcmstartport"}, ANY_CASE, OPTION_FCM_START, ANY_VALUE},
    {{"-partitions"}, ANY_CASE, OPTION_PARTITIONS, ANY_VALUE},
    {{"-svcename"}, ANY_CASE, OPTION_SERVICE_NAME, ANY_VALUE},
    {{"-f", "-F"}, EXACT, OPTION_INPUT_FILE, FILE_VALUE, MSG_INPUT_FILE_VALUE, RC_INPUT},
    {{"-o", "-O"}, EXACT, OPTION_REPORT_FILE, FILE_VALUE, MSG_OUTPUT_FILE_VALUE, RC_REPORT_OPTION},
    {{"-gui"}, EXACT, OPTION_GUI_FILE, FILE_VALUE, MSG_OUTPUT_FILE_VALUE, RC_REPORT_OPTION},
    {{"-l", "-L"}, EXACT, OPTION_LATEST, NO_VALUE},
    {{"-i", "-I"}, EXACT, OPTION_NOT_CLUSTERED, NO_VALUE},
    {{"-s", "-S"}, EXACT, OPTION_SUMMARY, NO_VALUE},
    {{"-v", "-V"}, EXACT, OPTION_LEVEL, ANY_VALUE, MSG_LEVEL_NOT_IN_FILE, RC_VERSION},
};
static const optionRow unknownOption = {{NULL}, EXACT, OPTION_UNKNOWN, NO_VALUE};

static int spellsOption(const optionRow &row, const char *pArgument) {
    for (const char *pSpelling : row.ppszSpelling) {
        if (pSpelling == NULL)
            return 0;
        if ((row.match == EXACT ? strcmp(pArgument, pSpelling) : strcasecmp(pArgument, pSpelling)) == 0)
            return 1;
    }
    return 0;
}

static const optionRow &findOption(const char *pArgument) {
    for (const optionRow &row : optionRows)
        if (spellsOption(row, pArgument))
            return row;
    return unknownOption;
}

/* 1 when a path does not begin with a hyphen and fits its setting. A path that was cut would name another file. */
static int isUsablePath(const char *pPath) {
    static_assert(sizeof szInputXMLFile == sizeof szReportFile && sizeof szReportFile == sizeof szGUIReportFile,
                  "what fits one path's field fits all");
    return *pPath != '-' && strlen(pPath) < sizeof szReportFile;
}

static int isUsableValue(const optionRow &row, const char *pValue) {
    return pValue != NULL && (row.value == ANY_VALUE || isUsablePath(pValue));
}

template <size_t N> static void setText(int *pbGiven, char (&szSetting)[N], const char *pValue) {
    *pbGiven = 1;
    copyText(szSetting, pValue);
}

static void setNumber(int *pbGiven, int *pSetting, const char *pValue) {
    *pbGiven = 1;
    *pSetting = leadingNumber(pValue);
}

static void setOption(Option option, const char *pValue, int *pClientCount) {
    switch (option) {
    case OPTION_CLIENT: bClient = 1, ++*pClientCount; break;
    case OPTION_DEBUG: debug = 1; break;
    case OPTION_STRICT: strictFlag = 1; break;
    case OPTION_INSTANCE: vastdw = 1; break;
    case OPTION_USER: setText(&usname, uname1, pValue); break;
    case OPTION_SQLLIB: sqllib = 1; break;
    case OPTION_SERVICE: setNumber(&isPort, &servicePort, pValue); break;
    case OPTION_FCM_START: setNumber(&isfcmstart, &fcmstart, pValue); break;
    case OPTION_PARTITIONS: partitions = leadingNumber(pValue); break;
    case OPTION_SERVICE_NAME: setText(&issvcnm, svcnm, pValue); break;
    case OPTION_INPUT_FILE: setText(&bCustomInputFile, szInputXMLFile, pValue); break;
    case OPTION_REPORT_FILE: setText(&bCustomReportFile, szReportFile, pValue); break;
    case OPTION_GUI_FILE: setText(&bGUIReportFile, szGUIReportFile, pValue); break;
    case OPTION_LATEST: bCheckLatestRelease = 1; break;
    case OPTION_NOT_CLUSTERED: bNonShareGrid = 1; break;
    case OPTION_SUMMARY: bPrintSummary = 1; break;
    case OPTION_LEVEL: setText(&bCheckSpecificRelease, szInputVersion, pValue); break;
    case OPTION_HELP:
    case OPTION_UNKNOWN: break; // not reached: readOptions ends the run for these two
    }
}

/* What follows a step of the run: the next step, or the end of the run. */
enum Step { RUN_GOES_ON, RUN_ENDS };

/* Ends the run: prints a message on standard error, unless the number is 0, and the usage text. */
template <typename... Tokens> static Step endWithUsage(int *pRc, int status, int number, Tokens... tokens) {
    if (number != 0)
        printError(number, tokens...);
    displayHelp();
    *pRc = status;
    return RUN_ENDS;
}

/* Ends the run: prints a message on standard error. */
template <typename... Tokens> static Step endWithMessage(int *pRc, int status, int number, Tokens... tokens) {
    printError(number, tokens...);
    *pRc = status;
    return RUN_ENDS;
}

/* A word of the command line for a message: cut, so that it fits into the message. */
typedef char shownWord[65];

static const char *showWord(shownWord &szShown, const char *pWord) {
    copyText(szShown, pWord);
    hideControls(szShown);
    return szShown;
}

static Step readOptions(int argc, char **argv, int *pRc, int *pClientCount) {
    shownWord szWord;
    for (int i = 1; i < argc; i++) {
        const optionRow &row = findOption(argv[i]);
        if (row.option == OPTION_UNKNOWN)
            return endWithUsage(pRc, RC_COMMAND_LINE, MSG_BAD_OPTION, showWord(szWord, argv[i]));
        if (row.option == OPTION_HELP)
            return endWithUsage(pRc, RC_OK, 0);
        const char *pValue = row.value == NO_VALUE ? NULL : argv[++i];
        if (row.value != NO_VALUE && !isUsableValue(row, pValue))
            return endWithUsage(pRc, row.valueStatus, row.valueMessage);
        setOption(row.option, pValue, pClientCount);
    }
    return RUN_GOES_ON;
}

/* Ends the run when options conflict. There is no option "-p" and none for the tiebreaker disk, so the last two
 * conflicts never occur. */
static Step checkCombinations(int clientCount, int *pRc) {
    if (clientCount > 1)
        return endWithUsage(pRc, RC_COMMAND_LINE, MSG_CLIENT_REPEATED);
    if (bCheckLatestRelease && bCheckSpecificRelease)
        return endWithUsage(pRc, RC_COMMAND_LINE, MSG_OPTIONS_EXCLUSIVE, "-l and -v", "-l", "-v");
    if (bNonShareGrid && bShareGrid)
        return endWithUsage(pRc, RC_COMMAND_LINE, MSG_OPTIONS_EXCLUSIVE, "-i and -p", "-i", "-p");
    if (bTbDiskName && !bHostList) {
        printf(" Inside -tb-dev, but hostlist option is not specified ");
        return endWithUsage(pRc, RC_COMMAND_LINE, MSG_PREREQUISITE_OPTION);
    }
    return RUN_GOES_ON;
}

static Step readCommandLine(int argc, char **argv, int *pRc) {
    int mutuallyExclusiveOptionCount = 0; // how often "-c" was given
    bCheckForAllKVXVesion = argc <= 1;
    if (readOptions(argc, argv, pRc, &mutuallyExclusiveOptionCount) == RUN_ENDS)
        return RUN_ENDS;
    return checkCombinations(mutuallyExclusiveOptionCount, pRc);
}

/* --- Finding the instance, the program and the prerequisites file --- */

/* Stores the configuration directory of an instance below a directory. Returns 0 when it does not exist. */
static int findConfiguration(const char *pDirectory, const char *pSubdirectory) {
    formatText(szinstPathName, "%s%s/cfg/", pDirectory, pSubdirectory);
    return pathExists(szinstPathName);
}

static void setCatalogBase(const char *pDirectory) {
    formatText(szPrereqCatFilePath, "%s/sqllib", pDirectory);
}

/* Looks for the instance of the user in KVXINSTANCE. The directory stays stored even when it does not exist. */
static int findInstanceByUser(void) {
    const char *pInstance = getenv("KVXINSTANCE");
    if (pInstance == NULL)
        return 0;
    char szinstName[257];
    copyText(szinstName, pInstance);

    int bIsInstancePathFound = 0;
    setpwent();
    const struct passwd *pUser = nextUserNamed(szinstName);
    if (pUser != NULL && findConfiguration(pUser->pw_dir, "/sqllib")) {
        debugTrace("KVX Instance path found: %s \n", pUser->pw_dir);
        setCatalogBase(pUser->pw_dir);
        bIsInstancePathFound = 1;
    }
    endpwent();
    return bIsInstancePathFound;
}

/* Looks for the instance by its command, which `which` finds in PATH. Changes nothing when the answer is not a path.
 * The path of the catalogs then has the word "sqllib" twice, because they are one directory deeper than for
 * KVXINSTANCE. */
static void findInstanceByCommand(void) {
    char szbuffer[2048];
    if (!firstLineOf("which kvx 2> /dev/null", szbuffer))
        return;
    cutNewline(szbuffer);
    if (strstr(szbuffer, "no kvx in") != NULL || strstr(szbuffer, "Command not found") != NULL ||
        strpbrk(szbuffer, " \t") != NULL)
        return;
    char *pSqllib = strstr(szbuffer, "sqllib");
    if (pSqllib != NULL)
        pSqllib[strlen("sqllib")] = '\0';
    if (!findConfiguration(szbuffer, "")) {
        szinstPathName[0] = '\0';
        return;
    }
    debugTrace("KVX instal path found: %s\n", szbuffer);
    setCatalogBase(szbuffer);
}

static int isBareProgramName(const char *pPath) {
    static const char *const ppszNames[] = {"kvxprereqcheck", "./kvxprereqcheck", "kvxprereqcheck_exe",
                                            "./kvxprereqcheck_exe"};
    for (const char *pName : ppszNames)
        if (strcmp(pPath, pName) == 0)
            return 1;
    return 0;
}

void sqloSetRuntimeLocation(const char *pPath) {
    const char *pInvocation = textOrEmpty(pPath);
    debugTrace("kvxprereqcheck invocation path => %s\n", pInvocation);
    const char *pName = strstr(pInvocation, pProgramName);
    if (isBareProgramName(pInvocation) || pName == NULL || pName == pInvocation) {
        char szDirectory[1024];
        if (getcwd(szDirectory, sizeof szDirectory) != NULL)
            copyText(szRuntimePath, szDirectory);
        else if (debug)
            fprintf(stderr, "Failed to open output file from %s\n", pInvocation);
    } else
        formatText(szRuntimePath, "%.*s", (int)(pName - pInvocation - 1), pInvocation);
    debugTrace("szRuntimePath => '%s'\n", szRuntimePath);
}

char *sqloGetRuntimeLocation(char *pRuntimePath) {
    static char szOwnCopy[257];
    if (pRuntimePath == NULL) {
        copyText(szOwnCopy, szRuntimePath);
        return szOwnCopy;
    }
    memcpy(pRuntimePath, szRuntimePath, strlen(szRuntimePath) + 1);
    return pRuntimePath;
}

static void findInstance(void) {
    if (!findInstanceByUser())
        findInstanceByCommand();
}

/* Without "-f", chooses the prerequisites file: that of the instance, else the one in the current directory. */
static void findInputFile(void) {
    if (bCustomInputFile)
        return;
    if (formatText(szInputXMLFile, "%s%s", szinstPathName, pInputFileName) && sqloFileExists(szInputXMLFile))
        return;
    debugTrace("KVXprereqs.xml not found in %s\n", szinstPathName);
    copyText(szInputXMLFile, pInputFileName);
}

/* --- The checks of one level --- */

int sqloPreparePrereqCheck(void) {
    for (int slot = FIRST_LEVEL_SLOT; slot < PREREQ_SLOTS; slot++)
        ppszPREREQ[slot] = NULL;
    copyText(szPlatform, "Linux");
    return RC_OK;
}

/* The results of a sequence of checks: the status of the last check that failed, and the result of the last check. */
struct sequenceResult {
    int status, last;
};

static void noteCheck(sequenceResult *pResult, int result, int failure) {
    pResult->last = result;
    if (result != RC_OK)
        pResult->status = failure;
}

/* --- The clustered feature's sequence --- */

static const char *const pSupportGroup = "Infiniband Support Package";
static const char *const pNetworkingGroup = "High Performance Networking Package";
static const char *const pRdmaGroup = "RDMA Infiniband Package";

static const Tag supportPackages[] = {
    libIBConnectionMgr, libRDMAConnectionMgr, libIBFabricSimulator,   libIBDiagnosticTools, libChelsioHCAUsrspace,
    libOpenFabricsMAD,  libOpenFabricsUsrMAD, libQLogicInfiniPathHCA, libIBHCAUserspace,    libNetEffectRNICUserspace,
};
static const Tag userSpacePackages[] = {libUsrSpaceRDMA, libConnectXHCAUsrSpace};

struct mellanoxLibrary {
    const char *pFile, *pPackage;
    int b32Bit;
};

static const mellanoxLibrary mellanoxLibraries[] = {
    {"libcxgb3-rdmav2.so", "libcxgb3", 1}, {"libipathverbs-rdmav2.so", "libipathverbs", 0},
    {"libmlx4-rdmav2.so", "libmlx4", 1},   {"libmthca-rdmav2.so", "libmthca", 1},
    {"libnes-rdmav2.so", "libnes", 1},     {"librdmacm.so.1.0.0", "librdmacm", 1},
};

static int isClustered(void) {
    return bShareGrid || bNonIB;
}

/* 1 when the release in a tag is at least the given one. A release that is unknown or not numeric is below it. */
static int isAtLeast(const char *pRelease, int tag) {
    int order = sqloCompareVersionStrings(pRelease, ppszPREREQ[tag]);
    return order == VERSION_HIGHER || order == VERSION_EQUAL;
}

static int isRhelAtLeast(const char *pRelease) {
    return linuxDistro == DISTRO_RHEL && isAtLeast(pRelease, RHELVersion);
}

static int isSuseAtLeast(const char *pRelease) {
    return linuxDistro == DISTRO_SUSE && isAtLeast(pRelease, SLESVersion);
}

static int isMellanoxPresent(void) {
    return sqloCheckMellanoxLINUX() == RC_OK;
}

/* Checks a package of a group, if the level names one. */
static void checkGroupPackage(sequenceResult *pResult, const char *pGroup, Tag tag, int b32Bit, int failure) {
    if (ppszPREREQ[tag] != NULL)
        noteCheck(pResult, sqloCheckHCAPackageLINUX(pGroup, ppszPREREQ[tag], b32Bit, SEVERITY_ERROR, 1), failure);
}

/* Checks the RDMA packages. The Mellanox stack contains them, so a package is checked only without that stack. */
static void checkRdmaPackages(sequenceResult *pResult) {
    for (Tag tag : userSpacePackages)
        if (ppszPREREQ[tag] != NULL && !isMellanoxPresent())
            checkGroupPackage(pResult, pRdmaGroup, tag, 1, RC_RDMA_PACKAGE);
}

static void checkSELinux(sequenceResult *pResult) {
    if (!bClient && isClustered())
        noteCheck(pResult, sqloCheckSELinuxEnabled(), RC_SOFTWARE);
}

static void checkCLibrary(sequenceResult *pResult) {
    if (isClustered())
        noteCheck(pResult, sqloCheckGlibC(), RC_SOFTWARE);
}

static void checkSupportPackages(sequenceResult *pResult) {
    if (bClient || !bShareGrid || bNonIB || linuxDistro != DISTRO_RHEL || !bNetName)
        return;
    for (Tag tag : supportPackages)
        checkGroupPackage(pResult, pSupportGroup, tag, 0, RC_IB_PACKAGE);
    if (!bCustomNetworkType)
        checkRdmaPackages(pResult);
}

/* Records a failure when the networking package is installed beside the Mellanox stack: the two do not work together.
 * It asks for the same package twice, and one positive answer is enough. */
static void checkNetworkingConflict(sequenceResult *pResult) {
    const char *pPackage = ppszPREREQ[libConnectXHCAUsrSpace];
    if (pPackage == NULL)
        return;
    int first = sqloCheckPackagePresenceLinux(pNetworkingGroup, pPackage, 0);
    int second = sqloCheckPackagePresenceLinux(pNetworkingGroup, pPackage, 0);
    if (first != RC_OK && second != RC_OK)
        return;
    messageText szConflict;
    copyText(szConflict, szNetworkingConflict);
    logMessage(szConflict);
    sqloUpdateErrorList(szConflict);
    pResult->status = RC_HPN_PACKAGE;
}

static void check10GEPackages(sequenceResult *pResult) {
    if (!isMellanoxPresent()) {
        for (Tag tag : userSpacePackages)
            checkGroupPackage(pResult, pNetworkingGroup, tag, 0, RC_HPN_PACKAGE);
        return;
    }
    for (const mellanoxLibrary &library : mellanoxLibraries)
        noteCheck(pResult,
                  sqloCheckMellanoxPackageLINUX(library.pFile, library.pPackage, library.b32Bit, SEVERITY_ERROR, 1),
                  RC_HPN_PACKAGE);
    checkNetworkingConflict(pResult);
}

static void checkAdapterPackages(sequenceResult *pResult) {
    if (!isClustered() || (!bMHCA && !bCustomNetworkType) || linuxDistro != DISTRO_RHEL)
        return;
    const char *pNetwork = textOrEmpty(ppszPREREQ[HCANetwork]);
    if (ppszPREREQ[libRDMAModuleInitializer] != NULL && !isMellanoxPresent())
        checkGroupPackage(pResult, pSupportGroup, libRDMAModuleInitializer, 0, RC_IB_PACKAGE);
    if (strcmp(pNetwork, "InfiniBand") == 0)
        for (Tag tag : userSpacePackages)
            checkGroupPackage(pResult, pSupportGroup, tag, 0, RC_IB_PACKAGE);
    if (strcmp(pNetwork, "10GE") == 0)
        check10GEPackages(pResult);
    checkRdmaPackages(pResult);
}

static int isRdmaRun(void) {
    return !bClient && bShareGrid && !bNonIB && (bNetName || bCustomNetworkType);
}

/* Checks the RDMA service: rdma-core on RHEL 6 and 7, openibd on older hosts and on other distributions. Later RHEL,
 * and SUSE from 12 on, are checked for no service; the result of the previous check then counts a second time. */
static void checkRdmaServices(sequenceResult *pResult) {
    if (!isRdmaRun() || isMellanoxPresent())
        return;
    if (!isRhelAtLeast("6") && !isSuseAtLeast("12")) {
        noteCheck(pResult, sqloCheckForOpenibdStatus(), RC_FAILED);
        return;
    }
    if (linuxDistro == DISTRO_RHEL && !isRhelAtLeast("8"))
        pResult->last = sqloCheckForRDMAStatus();
    if (pResult->last != RC_OK)
        pResult->status = RC_FAILED;
}

/* Checks the module options on SUSE 11 and later. It never does on RHEL, because no release is both equal to 7 and
 * below
 * 6. The result does not count. */
static void checkModuleOptions(void) {
    if (!isRdmaRun())
        return;
    int bOddRhel = linuxDistro == DISTRO_RHEL &&
                   sqloCompareVersionStrings("7", ppszPREREQ[RHELVersion]) == VERSION_EQUAL && !isRhelAtLeast("6");
    if (bOddRhel || isSuseAtLeast("11"))
        sqloValidateModProbe();
}

static void recordNtpFailure(void) {
    if (*szNTPMessages != '\0')
        sqloUpdateErrorList(szNTPMessages);
}

/* Checks for NTP, and without it for chrony. A host without both gets an entry, but the status does not change. */
static void checkTimeService(void) {
    if (sqlocheckNtpChronyKsh(ppszPREREQ[ntpPackage], ppszPREREQ[ntpVersion], NULL) == RC_OK)
        return;
    if (ppszPREREQ[chronyPackage] == NULL) {
        recordNtpFailure();
        return;
    }
    if (sqlocheckNtpChronyKsh(ppszPREREQ[chronyPackage], ppszPREREQ[chronyVersion], NULL) == RC_OK)
        return;
    recordNtpFailure();
    messageText szMissing;
    logText(szMissing, MSG_TIME_SERVICE_MISSING);
    sqloUpdateErrorList(szMissing);
}

/* Checks the time service and the shells. Failures are reported, but do not change the status. */
static void checkTimeServiceAndShells(void) {
    if (bClient || !isClustered() || ppszPREREQ[ntpPackage] == NULL || ppszPREREQ[kshPackage] == NULL)
        return;
    sqloCheckPackageLINUX(ppszPREREQ[kshPackage], NULL, ppszPREREQ[kshVersion], ppszPREREQ[kshRelease],
                          SEVERITY_WARNING, 0);
    if (ppszPREREQ[mkshPackage] != NULL)
        sqloCheckPackageLINUX(ppszPREREQ[mkshPackage], NULL, ppszPREREQ[mkshVersion], NULL, SEVERITY_WARNING, 0);
    checkTimeService();
}

static void checkRemoteShell(sequenceResult *pResult) {
    if (!bClient && isClustered() && bHostName)
        noteCheck(pResult, checkkvxSSHToAll(), RC_FAILED);
}

/* A path, the kilobytes that must be free there, whether it is checked, and whether a shortage is an error (bFails 1)
 * or a warning. */
struct spaceRow {
    const char *pPath;
    int required;
    int bWanted;
    int bFails;
};

static void checkFreeSpace(sequenceResult *pResult) {
    if (bClient || !isClustered())
        return;
    const spaceRow rows[] = {
        {temporaryDirectory(), 2000000, 1, strictFlag},
        {"/var", 2000000, 1, 1},
        {"/usr", 512000, 1, 1},
        {szInputHome, 5120000, bInputInstanceHome, 0},
        {szInputInstallPath, 6144000, bInputInstallPath, 0},
    };
    for (const spaceRow &row : rows) {
        if (!row.bWanted)
            continue;
        int result = sqloCheckFreeSpace(row.pPath, row.required, row.bFails ? SEVERITY_ERROR : SEVERITY_WARNING);
        if (row.bFails)
            noteCheck(pResult, result, RC_FAILED);
    }
}

static void checkSharedDisks(void) {
    if (!bClient && isClustered() && bDiskName)
        sqloValidateDisk();
}

static void checkClusterUsers(sequenceResult *pResult) {
    if (!bClient && isClustered() && bInstName)
        noteCheck(pResult, sqloValidateUsers(), RC_FAILED);
}

static void checkReachability(void) {
    if (!bClient && isClustered() && bNetName)
        checkPingTest();
}

static void checkTiebreakerDisk(void) {
    if (!bClient && (isClustered() || bHostList) && bTbDiskName)
        sqloValidateTbDisk();
}

int sqloCheckPrereqShareGrid(void) {
    sequenceResult result = {RC_OK, RC_OK};
    checkSELinux(&result);
    checkCLibrary(&result);
    checkSupportPackages(&result);
    checkAdapterPackages(&result);
    checkRdmaServices(&result);
    checkModuleOptions();
    checkTimeServiceAndShells();
    checkRemoteShell(&result);
    checkFreeSpace(&result);
    checkSharedDisks();
    checkClusterUsers(&result);
    checkReachability();
    checkTiebreakerDisk();
    return result.status;
}

/* --- The sequence of one level --- */

static int isAdapterRun(void) {
    return bUDAPL || bCustomNetworkType || (bShareGrid && bNetName && !bNonIB);
}

static void checkCppRuntime(sequenceResult *pResult) {
    noteCheck(pResult, sqloCheckLibStdCPlusPlus(), RC_SOFTWARE);
    if (pResult->last != RC_OK)
        bnoStdRtk = 1;
}

/* Makes the checks for a new instance that the options and the level ask for. */
static void checkInstance(sequenceResult *pResult) {
    if (ppszPREREQ[UMASK] != NULL)
        noteCheck(pResult, sqloValidateUmsk(ppszPREREQ[UMASK]), RC_FAILED);
    if (usname)
        noteCheck(pResult, sqloValidateUserProfile(uname1, sqllib), RC_FAILED);
    if (isPort && issvcnm)
        noteCheck(pResult, sqloValidatePorts(servicePort, svcnm, isfcmstart, fcmstart, partitions), RC_FAILED);
}

/* Makes the checks of the first pass, except the PAM library. A failure does not keep the next check from running. */
static void checkHostOfLevel(sequenceResult *pResult) {
    noteCheck(pResult, sqloCheckOSLevel(), RC_OS_LEVEL);
    noteCheck(pResult, sqloCheckTools(), RC_SOFTWARE);
    checkCppRuntime(pResult);
    if (!bClient)
        noteCheck(pResult, sqloCheckLibAio(), RC_SOFTWARE);
    if (vastdw)
        checkInstance(pResult);
    resetEtcHosts();
}

/* Makes all checks of a level that was read. A failure of the clustered sequence ends it. */
static int checkReadLevel(void) {
    sequenceResult result = {RC_OK, RC_OK};
    if (!bUDAPL) {
        int status = sqloCheckPrereqShareGrid();
        if (status != RC_OK)
            return status;
        checkHostOfLevel(&result);
    }
    if (!bClient && isAdapterRun() && result.last != RC_OK)
        result.status = RC_VERSION;
    noteCheck(&result, sqloCheckLibPAM(), RC_SOFTWARE);
    return result.status;
}

int sqloCheckPrereqForVersion(const char *pLevel) {
    if ((bClient && bShareGrid) || pLevel == NULL)
        return RC_OK;
    int status = sqloReadPrereqFromXML(pLevel);
    if (status == RC_OK)
        status = checkReadLevel();
    else if (status == RC_INPUT)
        reportFault(MSG_FILE_NOT_OPENED, szInputXMLFile); // without an entry the verdict would be good
    sqloWriteSummaryToReport(pLevel);
    return status;
}

/* --- Which levels are checked, and in how many passes --- */

/* Stores the status of a failure. A success does not change *pRc. */
static void keepFailure(int *pRc, int status) {
    if (status != RC_OK)
        *pRc = status;
}

static void prepareLevel(int *pRc) {
    int status = sqloPreparePrereqCheck();
    if (status != RC_OK)
        printError(MSG_PREPARE_FAILED);
    keepFailure(pRc, status);
}

static int hasName98(const char *pLevel) {
    return strstr(pLevel, "9.8") != NULL;
}

static int isKnownPlatform(void) {
    return strcmp(szPlatform, "AIX") == 0 || strcmp(szPlatform, "Linux") == 0;
}

/* 1 on a host that cannot run the clustered feature: Ubuntu, or not a 64-bit host. */
static int isUnfitForClustered(void) {
    return linuxDistro == DISTRO_UBUNTU || !sqloIsOS64bit();
}

/* 1 when the clustered pass follows the first pass. Clears bPCSupportedPlatform on an unfit host, for the whole run. */
static int clusteredPassFollows(void) {
    if (isUnfitForClustered())
        bPCSupportedPlatform = 0;
    return bPCSupportedPlatform && !bShareGrid && sqloIsOS64bit();
}

static void checkLevel(const char *pLevel, int *pRc) {
    prepareLevel(pRc);
    keepFailure(pRc, sqloCheckPrereqForVersion(pLevel));
}

static void checkLevelClustered(const char *pLevel, int *pRc) {
    bOrigShareGrid = bShareGrid;
    bShareGrid = 1;
    checkLevel(pLevel, pRc);
    bShareGrid = bOrigShareGrid;
}

static void checkSpecificLevel(int *pRc) {
    if (hasName98(szInputVersion) && !isKnownPlatform())
        return;
    checkLevel(szInputVersion, pRc);
    if (clusteredPassFollows() && !bNonShareGrid)
        checkLevelClustered(szInputVersion, pRc);
}

/* Checks the newest level. Unlike the other cases it makes the clustered pass on every host, and does not prepare the
 * passes, so values that the first pass has read are still there in the second. */
static Step checkLatestLevel(int *pRc) {
    int status = sqloGetLatestRelease();
    if (status != RC_OK)
        return endWithUsage(pRc, status, MSG_NO_LATEST_LEVEL);
    if (hasName98(szInputVersion) && !isKnownPlatform())
        return RUN_GOES_ON;
    keepFailure(pRc, sqloCheckPrereqForVersion(szInputVersion));
    if (!bShareGrid && !bNonShareGrid) {
        bOrigShareGrid = bShareGrid;
        bShareGrid = 1;
        keepFailure(pRc, sqloCheckPrereqForVersion(szInputVersion));
        bShareGrid = bOrigShareGrid;
    }
    return RUN_GOES_ON;
}

/* Checks one level of a run over all levels. Without "-i" it skips a "9.8" level on a host that is unfit for the
 * clustered feature. */
static void checkOneOfAll(const char *pLevel, int *pRc) {
    if (hasName98(pLevel) && !isKnownPlatform())
        return;
    if (bNonShareGrid) {
        checkLevel(pLevel, pRc);
        return;
    }
    if (hasName98(pLevel) && isUnfitForClustered()) {
        bPCSupportedPlatform = 0;
        printError(MSG_LEVEL_UNSUPPORTED, pLevel);
        return;
    }
    checkLevel(pLevel, pRc);
    if (clusteredPassFollows())
        checkLevelClustered(pLevel, pRc);
}

static void checkAllLevels(int *pRc) {
    prepareLevel(pRc);
    for (const versionList *pNode = preqVersionList; pNode != NULL; pNode = pNode->next) {
        levelText szLevel;
        copyField(szLevel, pNode->szVersion);
        checkOneOfAll(szLevel, pRc);
    }
}

static Step checkSelectedLevels(int *pRc) {
    if (bCheckLatestRelease)
        return checkLatestLevel(pRc);
    if (bCheckSpecificRelease)
        checkSpecificLevel(pRc);
    else
        checkAllLevels(pRc);
    return RUN_GOES_ON;
}

/* --- The steps of the run --- */

/* Opens /dev/null in place of standard descriptors that were closed at the start. Otherwise a file of the run could get
 * such a number, and the commands would lack a descriptor. */
static void fillStandardDescriptors(void) {
    int descriptor;
    do {
        descriptor = open("/dev/null", O_RDWR);
        bOutputClosed |= descriptor == STDOUT_FILENO;
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor > STDERR_FILENO)
        close(descriptor);
}

static Step readLevelList(int *pRc) {
    if (sqloValidateInputXML() != RC_OK)
        return endWithUsage(pRc, RC_INPUT, MSG_FILE_NOT_OPENED, szInputXMLFile);
    int status = sqloRetrieveSupportedVersion();
    if (status == RC_INPUT && preqVersionList != NULL) // a read error after the first level
        return endWithUsage(pRc, RC_INPUT, MSG_FILE_NOT_OPENED, szInputXMLFile);
    if (status != RC_OK)
        return endWithUsage(pRc, status, preqVersionList == NULL ? MSG_NO_LEVEL_IN_FILE : 0, szInputXMLFile);
    shownWord szWord;
    if (bCheckSpecificRelease && validateInputVersion() != RC_OK)
        return endWithUsage(pRc, RC_VERSION, MSG_LEVEL_NOT_IN_FILE, showWord(szWord, szInputVersion));
    return RUN_GOES_ON;
}

static int isClusteredRun(void) {
    return bShareGrid || bUDAPL || bNonIB;
}

/* Ends the run on a host that it cannot check. A "9.8" level that was named needs a host that is fit for the clustered
 * feature. */
static Step checkHost(int *pRc) {
    if (!isKnownPlatform() && hasName98(szInputVersion))
        return endWithMessage(pRc, RC_VERSION, MSG_LEVEL_UNSUPPORTED, szInputVersion);
    if (sqloGetOSLevel() != RC_OK) {
        reportText(MSG_OS_LEVEL_UNREADABLE);
        *pRc = RC_OS_LEVEL;
        return RUN_ENDS;
    }
    *pRc = sqloGetLinuxDistributions();
    if (*pRc != RC_OK)
        return RUN_ENDS;
    if (isClusteredRun() && (linuxDistro == DISTRO_UBUNTU || linuxDistro == DISTRO_CENTOS))
        return endWithMessage(pRc, RC_OS_LEVEL, MSG_CLUSTERED_UNSUPPORTED);
    if (isUnfitForClustered() && hasName98(szInputVersion))
        return endWithMessage(pRc, RC_VERSION, MSG_LEVEL_UNSUPPORTED, szInputVersion);
    if ((isClusteredRun() || bMHCA) && !sqloIsOS64bit())
        return endWithMessage(pRc, RC_OS_LEVEL, MSG_CLUSTERED_UNSUPPORTED);
    return RUN_GOES_ON;
}

/* A network type: its name; whether it is for bMHCA 1 or 0; the kind of network (null: the probe finds it); and on
 * which kinds of network it means several adapters. */
struct networkTypeRow {
    const char *pName;
    int bWithMHCA;
    const char *pNetwork;
    int bSeveralOn10GE, bSeveralOnInfiniBand;
};

/* Only "SINGLE_IB_PORT_CLUSTER" means one adapter on every kind of network. */
static constexpr networkTypeRow networkTypes[] = {
    {"SINGLE_PORT_CLUSTER", 1, NULL, 1, 0},
    {"MULTI_PORT_CLUSTER", 1, NULL, 1, 1},
    {"SINGLE_ROCE_PORT_CLUSTER", 0, "10GE", 1, 1},
    {"MULTI_ROCE_PORT_CLUSTER", 0, "10GE", 1, 1},
    {"SINGLE_IB_PORT_CLUSTER", 0, "InfiniBand", 0, 0},
    {"MULTI_IB_PORT_CLUSTER", 0, "InfiniBand", 1, 1},
};

static_assert(sizeof networkTypes == 6 * sizeof *networkTypes, "one, or several, adapters of each kind, and of any");

static const networkTypeRow *findNetworkType(void) {
    for (const networkTypeRow &row : networkTypes)
        if (strcmp(szNetworkType, row.pName) == 0)
            return &row;
    return NULL;
}

static int isNetworkTypeValid(void) {
    const networkTypeRow *pType = findNetworkType();
    return pType != NULL && pType->bWithMHCA == (bMHCA != 0);
}

/* Ends the run when settings of the adapter network conflict. */
static Step checkNetworkType(int *pRc) {
    if (bMHCA && !bShareGrid)
        return endWithUsage(pRc, RC_COMMAND_LINE, MSG_PREREQUISITE_OPTION);
    if (bCustomNetworkType && !bShareGrid)
        return endWithUsage(pRc, RC_COMMAND_LINE, MSG_NETWORK_TYPE_NOT_CLUSTERED);
    if (bMHCA && !bCustomNetworkType)
        return endWithUsage(pRc, RC_COMMAND_LINE, MSG_PREREQUISITE_OPTION);
    if (bCustomNetworkType && !isNetworkTypeValid())
        return endWithUsage(pRc, RC_COMMAND_LINE, MSG_NETWORK_TYPE_INVALID);
    return RUN_GOES_ON;
}

static int hasSeveralAdapters(const networkTypeRow *pType) {
    const char *pNetwork = textOrEmpty(ppszPREREQ[HCANetwork]);
    return pType != NULL && ((pType->bSeveralOn10GE && strcmp(pNetwork, "10GE") == 0) ||
                             (pType->bSeveralOnInfiniBand && strcmp(pNetwork, "InfiniBand") == 0));
}

/* Stores under MHCA and HCANetwork what is known about the adapters. */
static Step storeAdapterValues(int *pRc) {
    if ((!bMHCA && !bCustomNetworkType) || !bShareGrid) {
        setPrereq(MHCA, "FALSE");
        setPrereq(HCANetwork, "Undefined");
        return RUN_GOES_ON;
    }
    const networkTypeRow *pType = findNetworkType();
    if (bMHCA) {
        *pRc = sqloCheckMHCA();
        if (*pRc != RC_OK)
            return RUN_ENDS;
    } else if (pType != NULL && pType->pNetwork != NULL)
        setPrereq(HCANetwork, pType->pNetwork);
    setPrereq(MHCA, hasSeveralAdapters(pType) ? "TRUE" : "FALSE");
    return RUN_GOES_ON;
}

/* Composes the arguments of a remote run, and the list files that it needs. */
static void composeRemoteArguments(void) {
    const struct {
        int bWanted;
        const char *pArguments;
        const char *pFile;
    } rows[] = {
        {1, "-o  /tmp/kvxprereq/crptrmt.txt ", NULL},
        {bShareGrid, "-p ", NULL},
        {bCheckLatestRelease, "-l ", NULL},
        {bCheckSpecificRelease, "-v ", NULL},
        {bCheckSpecificRelease, szInputVersion, NULL},
        {bCheckSpecificRelease, "  ", NULL},
        {bGUIReportFile, "-gui /tmp/kvxprereq/guirmt.txt ", NULL},
        {bNetList, "-nfile /tmp/kvxprereq/nl.txt  ", pNetListPath},
        {bDiskList, "-dfile /tmp/kvxprereq/dl.txt  ", pDiskListPath},
        {bInstName, "-ifile /tmp/kvxprereq/il.txt  ", pUserListPath},
        {strictFlag, "-strict ", NULL},
    };
    for (const auto &row : rows) {
        if (row.bWanted)
            appendText(addCmd, row.pArguments);
        if (row.bWanted && row.pFile != NULL) {
            appendText(addFiles, row.pFile);
            appendText(addFiles, "  ");
        }
    }
}

/* Runs the program on every other host. Returns the status of that; the status of the run here is lost. */
static int runOnAllHosts(void) {
    composeRemoteArguments();
    placePrereqBinaries();
    int rc = runPrereqBinaries();
    removePrereqBinaries();
    return rc;
}

/* Removes the list files that the run used. */
static void removeListFiles(void) {
    if (bNetList)
        removeOwnFile(pNetListPath);
    if (bDiskList)
        removeOwnFile(pDiskListPath);
    if (bInstName)
        removeOwnFile(pUserListPath);
}

/* Says on standard error, once for the run, that the path in KVXTMPDIR is too long for a capture file. */
static void checkTemporaryDirectory(void) {
    captureFile capture;
    nameCapture(&capture);
    if (*capture.szPath != '\0')
        return;
    fputs(szTemporaryPathTooLong, standardError());
}

/* Checks the levels on this host. */
static Step checkHere(int *pRc) {
    checkTemporaryDirectory();
    if (checkSelectedLevels(pRc) == RUN_ENDS)
        return RUN_ENDS;
    if (bPrintSummary)
        keepFailure(pRc, sqloPrintSummary());
    return RUN_GOES_ON;
}

/* Makes all preparations that must succeed before a level is checked, in their order. */
static Step prepareRun(int argc, char **argv, int *pRc) {
    if (readCommandLine(argc, argv, pRc) == RUN_ENDS)
        return RUN_ENDS;
    findInputFile();
    if (readLevelList(pRc) == RUN_ENDS)
        return RUN_ENDS;
    if (!bCustomReportFile)
        copyText(szReportFile, "kvxprereqcheck.rpt");
    sqloPreparePrereqCheck();
    if (checkHost(pRc) == RUN_ENDS || checkNetworkType(pRc) == RUN_ENDS)
        return RUN_ENDS;
    return storeAdapterValues(pRc);
}

/* Says on standard error when part of the report was lost. */
static void checkOutput(void) {
    if (fflush(stdout) != 0 || ferror(stdout) || bReportLost)
        printError(MSG_REPORT_NOT_WRITABLE, "(standard output)");
}

static int runProgram(int argc, char **argv) {
    int rc = RC_OK;
    fillStandardDescriptors();
    watchSignals();
    findHostName(IIHName, sizeof IIHName);
    findInstance();
    sqloSetRuntimeLocation(argv[0]);
    sqloInitLocale(NULL);
    if (prepareRun(argc, argv, &rc) == RUN_ENDS || checkHere(&rc) == RUN_ENDS)
        return rc;
    if (bHostList)
        return runOnAllHosts();
    removeListFiles();
    return rc;
}

int main(int argc, char **argv) {
    int rc = runProgram(argc, argv);
    checkOutput();
    return rc;
}
