/*
 * Network adapters and RDMA: the option of the kernel module, the services, the adapters and their connectivity.
 */
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "sqloCommand.h"
#include "sqloMessages.h"

typedef char toolLine[256];

static const char *const pFileMissing = "1"; // the reasons in MSG_MODPROBE_OPTION_MISSING
static const char *const pOptionMissing = "2";

/* --- Kernel module options --- */

static const char *const pModProbeSection = "<MODPROBE>\n";
static const char *const pModProbeFile = "/etc/modprobe.d/modprobe.conf";
static const char *const pOldSuseModProbeFile = "/etc/modprobe.conf.local";

char *sqoConcat(const char *reversedFile, const char *currentLine) {
    size_t size = strlen(reversedFile) + strlen(currentLine) + 1;
    char *pJoined = (char *)malloc(size);
    if (pJoined != NULL)
        formatText(pJoined, size, "%s%s", reversedFile, currentLine);
    return pJoined;
}

/* A piece of a file. It ends with a newline. */
struct filePiece {
    char *pText;
    filePiece *next; // the piece before it
};

/* At most so many bytes of a file are read. */
const size_t REVERSED_FILE_LIMIT = 1 << 20;

/* Reads a file in pieces and puts each at the front of the list. Returns the length of all pieces. */
static size_t readPieces(FILE *pFile, filePiece **ppPieces) {
    size_t length = 0;
    char szLine[257];
    while (length < REVERSED_FILE_LIMIT && fgets_unlocked(szLine, sizeof szLine, pFile) != NULL) {
        filePiece *pPiece = (filePiece *)malloc(sizeof *pPiece);
        char *pText = sqoConcat(szLine, strchr(szLine, '\n') == NULL ? "\n" : "");
        if (pPiece == NULL || pText == NULL) {
            free(pPiece);
            free(pText);
            break;
        }
        length += strlen(pText);
        pPiece->pText = pText;
        pPiece->next = *ppPieces;
        *ppPieces = pPiece;
    }
    return length;
}

/* Joins the pieces of a list, which have length characters in all, into one heap text, and releases them. */
static char *joinPieces(filePiece *pPieces, size_t length) {
    char *pJoined = (char *)malloc(length + 1);
    size_t joined = 0;
    while (pPieces != NULL) {
        filePiece *pNext = pPieces->next;
        if (pJoined != NULL)
            iStrncpy(pJoined + joined, pPieces->pText, (int)(length + 1 - joined));
        joined += strlen(pPieces->pText);
        free(pPieces->pText);
        free(pPieces);
        pPieces = pNext;
    }
    return pJoined;
}

/* Returns the lines of an open file in reverse order, as a heap text. */
static char *reverseFile(FILE *pFile) {
    filePiece *pPieces = NULL;
    size_t length = readPieces(pFile, &pPieces);
    return pPieces == NULL ? strdup("") : joinPieces(pPieces, length);
}

char *sqoFlipFile(const char *modprobe) {
    debugTrace("Entering the sqlFliFile function\n");
    char *pReversed = NULL;
    FILE *pFile = fopen(modprobe, "re");
    if (pFile == NULL) {
        printf("Error ");
        debugTrace("Modprobe.conf file is missing while reversing\n");
    } else {
        debugTrace("pFile variable exists...\n");
        pReversed = reverseFile(pFile);
        fclose(pFile);
    }
    debugTrace("Exiting the sqlFliFile function\n");
    return pReversed;
}

/* Finds the first line of the reversed text that sets the option to 7 or to 3. Returns '7' or '3', or 0 when no line
 * does. */
static char findModuleOption(char *pReversed) {
    char *pRest = NULL;
    for (const char *pLine = strtok_r(pReversed, "\n", &pRest); pLine != NULL; pLine = strtok_r(NULL, "\n", &pRest)) {
        debugTrace("Examine '%s'\n", pLine);
        if (*pLine == '#' || strstr(pLine, "options") == NULL)
            continue;
        if (strstr(pLine, "log_mtts_per_seg=7") != NULL)
            return '7';
        if (strstr(pLine, "log_mtts_per_seg=3") != NULL)
            return '3';
    }
    return '\0';
}

int chkModProbeFile(const char *modprobe) {
    debugTrace("Entering the chkModProbeFile function\n");
    char *pReversed = sqoFlipFile(modprobe);
    char setting = pReversed == NULL ? '\0' : findModuleOption(pReversed);
    free(pReversed);
    if (setting == '7')
        debugTrace("Modprobe is correct\n");
    else if (setting == '3') {
        debugTrace("Modprobe is not correct\n");
        reportFault(MSG_MODPROBE_OPTION_WRONG, IIHName);
    } else {
        debugTrace("Missing log_mtts_per_seg=7 entry\n");
        reportFault(MSG_MODPROBE_OPTION_MISSING, IIHName, pOptionMissing);
    }
    debugTrace("Exiting the chkModProbeFile function\n");
    return setting == '7' ? RC_OK : RC_FAILED;
}

/* Checks the option on SUSE. SUSE 11 has a file of its own for it; later releases have the common file. */
static int checkSuseModProbe(void) {
    if (sqloCompareVersionStrings("11", ppszPREREQ[SLESVersion]) == VERSION_EQUAL && pathExists(pOldSuseModProbeFile)) {
        debugTrace("Modprobe.conf present in SLES 11\n");
        return sqloCheckMellanoxLINUX() == RC_OK ? RC_OK : chkModProbeFile(pOldSuseModProbeFile);
    }
    int order = sqloCompareVersionStrings("12", ppszPREREQ[SLESVersion]);
    if (order == VERSION_LOWER || order == VERSION_UNREADABLE || !pathExists(pModProbeFile)) {
        debugTrace("Modprobe.conf file is missing in SLES\n");
        reportFault(MSG_MODPROBE_OPTION_MISSING, IIHName, pFileMissing);
        return RC_FAILED;
    }
    debugTrace("Modprobe.conf present SLES\n");
    return chkModProbeFile(pModProbeFile);
}

static int checkRhelModProbe(void) {
    if (!pathExists(pModProbeFile)) {
        reportFault(MSG_MODPROBE_OPTION_MISSING, IIHName, pFileMissing);
        debugTrace("Modprobe.conf file is missing in RHEL\n");
        return RC_FAILED;
    }
    debugTrace("Modprobe.conf present in RHEL\n");
    return chkModProbeFile(pModProbeFile);
}

int sqloValidateModProbe(void) {
    debugTrace("Entering the sqloValidateModProbe function\n");
    startSection("modprobe.conf", pModProbeSection);
    int bKnown = linuxDistro == DISTRO_RHEL || linuxDistro == DISTRO_SUSE;
    if (bKnown && sqloCheckMellanoxLINUX() == RC_OK) {
        debugTrace(" For Mellanox, skip modeprobe kernal modules validation\n");
        logGUIMessage(pModProbeSection);
        return RC_OK; // that stack sets the option itself; this block never gets a closing line
    }
    int result = RC_OK;
    if (linuxDistro == DISTRO_SUSE)
        result = checkSuseModProbe();
    else if (linuxDistro == DISTRO_RHEL)
        result = checkRhelModProbe();
    closeCheck(result, SEVERITY_ERROR);
    logGUIMessage(pModProbeSection);
    return result;
}

/* --- RDMA services --- */

/* A service: its name, its GUI marker, the query for its package, and the lines of its trace. */
struct rdmaService {
    const char *pName, *pSection;
    const char *pQuery;
    const char *pTraceBeforeBlankLine, *pTraceAfterBlankLine; // one of them is empty
    const char *pExitTrace, *pMissingTrace;
};

static const rdmaService rdmaCore = {
    "rdma-core",
    "<RDMA-CORE>\n",
    "rpm -q --qf \"%{NAME}\\n%{VERSION}\\n%{ARCH}\\n\" -l rdma-core >> /dev/null 2>&1 > %s",
    "",
    "sqloCheckForRDMAStatus ENTRY\n",
    "sqloCheckForRDMAStatus EXIT\n",
    "RDMA service is not installed\n",
};
static const rdmaService openibd = {
    "openibd",
    "<OPENIBD>\n",
    "rpm -q --qf \"%{NAME}\\n%{VERSION}\\n%{ARCH}\\n\" -f /etc/init.d/openibd  >> /dev/null 2>&1 > %s",
    "sqloCheckForOpenibdStatus ENTRY\n",
    "",
    "sqloCheckForOpenibdStatus EXIT\n",
    "Openibd not installed \nOpen ibd service is not installed\n",
};

/* Reports that a query was killed. reportKilledQuery also composes a text for the entry, which is not used here. */
static void reportKilledServiceQuery(void) {
    messageText szUnused;
    reportKilledQuery(szUnused, "");
}

static int checkServiceInstalled(const rdmaService &service) {
    commandText szCommand;
    captureFile capture;
    composeCaptured(&capture, szCommand, service.pQuery);
    debugTrace("szCmd ---> %s \n", szCommand);
    int status = runIntoCapture(&capture, szCommand);
    dropCapture(&capture);
    if (wasKilled(status)) {
        reportKilledServiceQuery();
        return RC_FAILED;
    }
    if (status != 0) {
        reportFault(MSG_SERVICE_NOT_INSTALLED, service.pName, IIHName);
        debugTrace("%s", service.pMissingTrace);
        return RC_FAILED;
    }
    reportText(MSG_SERVICE_INSTALLED, service.pName, IIHName);
    return sqloCheckForOpenibdRDMAEnablement(service.pName);
}

static int checkService(const rdmaService &service) {
    debugTrace("%s", service.pTraceBeforeBlankLine);
    logBlankLine();
    debugTrace("%s", service.pTraceAfterBlankLine);
    reportText(MSG_CHECK_HEADING, service.pName);
    logGUIMessage(service.pSection);
    int result = closeCheck(checkServiceInstalled(service), SEVERITY_ERROR);
    logGUIMessage(service.pSection);
    debugTrace("%s", service.pExitTrace);
    return result;
}

int sqloCheckForRDMAStatus(void) {
    return checkService(rdmaCore);
}

int sqloCheckForOpenibdStatus(void) {
    return checkService(openibd);
}

/* 1 when a line says that the service is on. grep ignores case, so a line may name the service in other letters; such a
 * line does not count. */
static int isListedAsOn(captureFile *pCapture, const char *pService) {
    openCapture(pCapture);
    toolLine szLine;
    while (readCapture(pCapture, szLine))
        if (strstr(szLine, pService) != NULL && strstr(szLine, ":on") != NULL)
            return 1;
    return 0;
}

int sqloCheckForOpenibdRDMAEnablement(const char *serviceName) {
    debugTrace("sqloCheckForOpenibdRDMAEnablement ENTRY\n");
    commandText szCommand;
    captureFile capture;
    composeCaptured(&capture, szCommand, "(chkconfig --list | grep -i %s) >> /dev/null 2>&1 > %s", serviceName);
    debugTrace("szCmd ---> %s \n", szCommand);
    int status = runIntoCapture(&capture, szCommand);
    int result = RC_OK; // also when the service manager cannot list the service
    if (wasKilled(status)) {
        reportKilledServiceQuery();
        result = RC_FAILED;
    } else if (status == 0 && isListedAsOn(&capture, serviceName)) {
        debugTrace("service is enabled\n");
        reportText(MSG_SERVICE_ENABLED, serviceName, IIHName);
    } else if (status == 0) {
        debugTrace("service is not  enabled\n");
        reportFault(MSG_SERVICE_NOT_ENABLED, serviceName, IIHName);
        result = RC_FAILED;
    }
    dropCapture(&capture);
    return result;
}

/* --- Adapters. Their buffers have room for long network and file names. --- */

/* What an answer of the probe about a network name means. The members say: the network is not InfiniBand; the message;
 * the message is a failure; the check fails; the check fails when there is no uDAPL configuration file. */
struct probeMeaning {
    AdapterAnswer answer;
    int bNonIB;
    int message;
    int bFault;
    int bFails;
    int bNeedsDatConf;
};

static const probeMeaning probeMeanings[] = {
    {ADAPTER_INFINIBAND, 0, MSG_ADAPTER_INFINIBAND, 0, 0, 0},
    {ADAPTER_NOT_CLUSTER_READY, 1, MSG_ADAPTER_NOT_CLUSTER_READY, 1, 0, 1},
    {ADAPTER_10GE, 0, MSG_ADAPTER_10GE, 0, 0, 0},
    {ADAPTER_OTHER, 1, MSG_ADAPTER_OTHER, 0, 0, 0},
    {ADAPTER_UNDEFINED, 1, MSG_ADAPTER_UNDEFINED, 1, 1, 0},
    {ADAPTER_PROBE_FAILED, 1, MSG_ADAPTER_PROBE_FAILED, 1, 1, 0},
};
static const probeMeaning otherMeaning = {ADAPTER_NO_ANSWER, 1, 0, 0, 0, 0};

static const probeMeaning &meaningOf(int answer) {
    for (const probeMeaning &meaning : probeMeanings)
        if (meaning.answer == answer)
            return meaning;
    return otherMeaning;
}

/* 1 when there is a uDAPL configuration file. The search stops at the first one, so it never counts more than one. */
static int hasDatConf(void) {
    static const char *const ppszPaths[] = {"/etc/dat.conf", "/etc/ofed/dat.conf", "/etc/rdma/dat.conf"};
    int count = 0;
    for (const char *pPath : ppszPaths)
        if (count == 0 && pathExists(pPath))
            count++;
    if (count > 1)
        reportText<LONG_MESSAGE_SIZE>(MSG_DAT_CONF_DUPLICATE, IIHName);
    return count > 0;
}

/* Asks the probe about one network name and reports its answer. */
static const probeMeaning &probeAdapter(const netNames *pNet) {
    char szName[sizeof pNet->netName + 1];
    copyField(szName, pNet->netName);
    commandText szCommand;
    formatCommand(szCommand, "./kvxprereqcheckoss %s", szName);
    const probeMeaning &meaning = meaningOf(exitCode(runCommand(szCommand, ATTACHED_COMMAND)));
    bNonIB = meaning.bNonIB;
    if (meaning.bFault)
        reportFault<LONG_MESSAGE_SIZE>(meaning.message, szName, IIHName);
    else if (meaning.message != 0)
        reportText<LONG_MESSAGE_SIZE>(meaning.message, szName, IIHName);
    return meaning;
}

/* Classifies every network name. Returns 0 when one of them failed. */
static int classifyAdapters(void) {
    int bDatConf = hasDatConf();
    int bGood = 1;
    for (const netNames *pNet = preqNetNames; pNet != NULL; pNet = pNet->next) {
        const probeMeaning &meaning = probeAdapter(pNet);
        if (meaning.bNeedsDatConf && !bDatConf) {
            reportFault<LONG_MESSAGE_SIZE>(MSG_DAT_CONF_MISSING, IIHName);
            return 0;
        }
        if (meaning.bFails)
            bGood = 0;
    }
    return bGood;
}

void sqloValidateAdapter(void) {
    static const char *const pSection = "<AdapterTEST>\n";
    logBlankLine();
    debugTrace("AdapterTest ENTRY\n");
    reportText(MSG_CHECK_HEADING, "Adapter");
    logGUIMessage(pSection);
    if (bnoStdRtk)
        reportFault<LONG_MESSAGE_SIZE>(MSG_RUNTIME_CHECK_FAILED, "libstdc++", IIHName);
    else if (!classifyAdapters())
        closeFailedCheck(SEVERITY_WARNING);
    logGUIMessage(pSection);
}

/* --- RDMA connectivity --- */

/* Makes a directory in /tmp, unless it exists and is our own: one of another user could hold planted links. Returns 0
 * when something else has the name and cannot be removed. */
static int claimDirectory(const char *pPath) {
    struct stat status;
    if (lstat(pPath, &status) == 0 && !S_ISDIR(status.st_mode))
        unlink(pPath);
    return mkdir(pPath, 0700) == 0 || (errno == EEXIST && isOnlyOurs(pPath));
}

/* Copies the connectivity tool to where the other hosts have it, and runs it. Returns its exit code. */
static int runConnectivityTool(const char *pDirectory, const char *adapterFile, captureFile *pCapture) {
    commandText szCommand;
    formatCommand(szCommand,
                  "mkdir -p /tmp/kvxprereq/; cp -rf %s/kvxrocmc /tmp/kvxprereq/ ; ls /tmp/kvxprereq  >> /dev/null "
                  "2>&1 ",
                  pDirectory);
    if (!claimDirectory("/tmp/kvxprereq"))
        return exitCode(COMMAND_NOT_RUN);
    runCommand(szCommand);
    formatCommand(szCommand,
                  "./kvxrocmc -rdma_ping  -exec_path /tmp/kvxprereq/kvxrocmc  -adapter_list %s -internal >> /dev/null "
                  "2>&1 > %s ",
                  adapterFile, pCapture->szPath);
    debugTrace(" Invoking kvxrocmc with options : %s \n", szCommand);
    int code = exitCode(runIntoCapture(pCapture, szCommand, ATTACHED_COMMAND));
    debugTrace(" The status of uDAPL network connectivity validation using the adapter list file %s:%d\n ", adapterFile,
               code);
    return code;
}

/* Finds the path of the tool's log in the output of the tool. The last path counts. */
static void findToolLog(captureFile *pCapture, int bFailed, char (&szLog)[256]) {
    szLog[0] = '\0';
    toolLine szLine;
    while (readCapture(pCapture, szLine)) {
        debugTrace("%s", szLine);
        if (!bFailed || strstr(szLine, ".log") == NULL)
            continue;
        debugTrace(" The message  buffer :  %s  ", szLine);
        const char *pName = strstr(szLine, "vurk.kvx.cluster_int-");
        if (pName == NULL)
            continue;
        cutLastCharacter(szLine);
        formatText(szLog, "/tmp/%s", pName);
        debugTrace(" The uDAPL network connectivity test failed with errors. For more details refer to %s . ", szLog);
    }
}

/* Reads the tool's output, and reports its log when the test failed. */
static void reportToolLog(captureFile *pCapture, int bFailed) {
    if (!openCapture(pCapture)) {
        if (debug)
            reportText<LONG_MESSAGE_SIZE>(MSG_CAPTURE_NOT_READABLE, pCapture->szPath);
        return;
    }
    char szLog[256];
    findToolLog(pCapture, bFailed, szLog);
    if (*szLog == '\0')
        return;
    char szText[LONG_MESSAGE_SIZE + LOG_ROOM];
    logText(szText, MSG_UDAPL_TEST_FAILED, szLog);
    sqloUpdateErrorList(szText);
}

/* Tests the connectivity of the adapters in a list file. Only the low seven bits of the tool's exit code count. Returns
 * RC_OK or RC_FAILED. */
static int testConnectivity(const char *adapterFile) {
    char szDirectory[1024] = "";
    if (getcwd(szDirectory, sizeof szDirectory) == NULL) {
        reportText(MSG_CAPTURE_NOT_READABLE, "");
        debugTrace("Unable to locate the kvxrocmc location ");
        return RC_FAILED;
    }
    reportText<LONG_MESSAGE_SIZE>(MSG_UDAPL_TEST_STARTED, adapterFile);
    captureFile capture;
    nameCapture(&capture);
    int bFailed = (runConnectivityTool(szDirectory, adapterFile, &capture) & 0x7f) != 0;
    reportToolLog(&capture, bFailed);
    dropCapture(&capture);
    return bFailed ? RC_FAILED : RC_OK;
}

void sqloValidateAdapterUsingRocmc(const char *adapterFile) {
    static const char *const pSection = "<UDAPLconnectivity>\n";
    logBlankLine();
    debugTrace("sqloValidateAdapterUsingRocmc ENTRY\n");
    reportText(MSG_CHECK_HEADING, "uDAPL network connectivity");
    logGUIMessage(pSection);
    placePrereqBinaries();
    closeCheck(testConnectivity(adapterFile), SEVERITY_WARNING);
    removePrereqBinaries();
    logGUIMessage(pSection);
    debugTrace("sqloValidateAdapterUsingRocmc EXIT\n");
}
