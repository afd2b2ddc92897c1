/*
 * Cluster checks: the lists of hosts, users, disks and network names; remote runs; the users, /etc/hosts, the shared
 * and tiebreaker disks; and free space.
 */
#include <pwd.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include "sqloCommand.h"
#include "sqloMessages.h"

hostInfo *preqHostInfo;
userInfo *preqUserInfo;
diskInfo *preqDiskInfo;
tbdiskInfo *preqtbDiskInfo;
netNames *preqNetNames;
etcInfo *preqEtcInfo;

typedef char toolLine[256];
typedef char nameText[sizeof(hostInfo::hostName) + 1]; // a copy of a name field, with a terminator

/* --- Input lists --- */

/* Adds an empty record at the front of a list. Null when memory runs out. */
template <typename Record> static Record *addInFront(Record **ppHead) {
    Record *pRecord = (Record *)malloc(sizeof *pRecord);
    if (pRecord != NULL) {
        pRecord->next = *ppHead;
        *ppHead = pRecord;
    }
    return pRecord;
}

/* The status of adding a record with a name. */
static int additionStatus(const char *pName, const void *pRecord) {
    if (pName == NULL)
        return RC_FAILED;
    return pRecord == NULL ? RC_NO_MEMORY : RC_OK;
}

int updateHostList(const char *hostName) {
    debugTrace("updateHostList ENTRY\n");
    hostInfo *pHost = hostName == NULL ? NULL : addInFront(&preqHostInfo);
    if (pHost != NULL) {
        fillField(pHost->hostName, hostName);
        debugTrace("updateHostList: HostName = %.*s\n", (int)sizeof pHost->hostName, pHost->hostName);
        pHost->isSSH = 1;
    }
    debugTrace("updateHostList EXIT\n");
    return additionStatus(hostName, pHost);
}

int updateUserList(const char *userName, int UID, int GID, int all) {
    debugTrace("updateUserList ENTRY\n");
    userInfo *pUser = userName == NULL ? NULL : addInFront(&preqUserInfo);
    if (pUser != NULL) {
        fillField(pUser->userName, userName);
        debugTrace("updateUserList: UserName = %.*s\n", (int)sizeof pUser->userName, pUser->userName);
        pUser->all = all;
        if (all == 1) {
            pUser->UID = UID;
            pUser->GID = GID;
        }
    }
    debugTrace("updateUserList EXIT\n");
    return additionStatus(userName, pUser);
}

int updateDiskList(const char *diskName, const char *diskID, int all) {
    debugTrace("updateDiskList ENTRY\n");
    diskInfo *pDisk = diskName == NULL ? NULL : addInFront(&preqDiskInfo);
    if (pDisk != NULL) {
        fillField(pDisk->diskName, diskName);
        debugTrace("updateDiskList: diskName = %.*s\n", (int)sizeof pDisk->diskName, pDisk->diskName);
        pDisk->all = all;
        if (all == 1) {
            fillField(pDisk->diskID, textOrEmpty(diskID));
            debugTrace("updateDiskList: diskID = %.*s\n", (int)sizeof pDisk->diskID, pDisk->diskID);
        }
    }
    debugTrace("updateDiskList EXIT\n");
    return additionStatus(diskName, pDisk);
}

int updateNetNames(const char *netName) {
    debugTrace("updateNetNames ENTRY\n");
    netNames *pNet = netName == NULL ? NULL : addInFront(&preqNetNames);
    if (pNet != NULL) {
        fillField(pNet->netName, netName);
        debugTrace("updateNetNames: NetName = %.*s\n", (int)sizeof pNet->netName, pNet->netName);
    }
    debugTrace("updateNetNames EXIT\n");
    return additionStatus(netName, pNet);
}

/* --- Names --- */

/* 1 when two host names are equal up to their first dots; upper and lower case do not matter. */
static int isSameShortName(const char *pOne, const char *pOther) {
    size_t length = strcspn(pOne, ".");
    return length == strcspn(pOther, ".") && strncasecmp(pOne, pOther, length) == 0;
}

/* --- Free space --- */

/* Runs df, which writes the column of available kilobytes into the capture file. */
static int captureFreeSpace(captureFile *pCapture, const char *dir) {
    commandText szCommand;
    composeCaptured(pCapture, szCommand, "df -Pk  %s | awk '{ print $4}' >> /dev/null 2>&1 > %s", dir);
    debugTrace("szcmd --> %s\n", szCommand);
    return runIntoCapture(pCapture, szCommand);
}

/* Reads the amount below the heading of the column. When there is no such line, szAmount keeps the heading, which
 * counts as 0 KB. Returns 0 when there is no heading either. */
static int readFreeSpace(captureFile *pCapture, toolLine &szAmount) {
    toolLine szLine;
    if (!readCapture(pCapture, szAmount))
        return 0;
    if (readCapture(pCapture, szLine))
        copyText(szAmount, szLine);
    return 1;
}

static void reportShortSpace(const char *dir, int reqdSpace, const char *pAmount, int level) {
    char szRequired[30];
    formatText(szRequired, "%d KB", reqdSpace);
    toolLine szAvailable;
    copyText(szAvailable, pAmount);
    cutLastCharacter(szAvailable);
    appendText(szAvailable, " KB");
    if (level == SEVERITY_ERROR)
        reportFault<LONG_MESSAGE_SIZE>(MSG_FREE_SPACE_SHORT, dir, IIHName, szRequired, szAvailable);
    else if (level == SEVERITY_WARNING) {
        char szText[LONG_MESSAGE_SIZE + LOG_ROOM];
        logText(szText, MSG_FREE_SPACE_LOW, dir, IIHName, szRequired, szAvailable);
        sqloUpdateErrorList(szText);
    }
}

/* Judges the output of df. */
static int judgeFreeSpace(captureFile *pCapture, const char *dir, int reqdSpace, int level) {
    toolLine szAmount;
    if (!openCapture(pCapture)) {
        reportText(MSG_CAPTURE_NOT_READABLE);
        return RC_FAILED;
    }
    if (!readFreeSpace(pCapture, szAmount))
        return RC_FAILED;
    int available = leadingNumber(szAmount);
    if (reqdSpace <= available) {
        reportText<LONG_MESSAGE_SIZE>(MSG_FREE_SPACE_MET, dir, IIHName);
        debugTrace("Free Space met %s --- %d\n", dir, available);
        return RC_OK;
    }
    debugTrace("Free Space not met %s---- %d\n", dir, available);
    reportShortSpace(dir, reqdSpace, szAmount, level);
    return RC_FAILED;
}

int sqloCheckFreeSpace(const char *dir, int reqdSpace, int level) {
    static const char *const pMarker = "<FREESPACE>\n";
    startSection("free space", pMarker);
    captureFile capture;
    int status = captureFreeSpace(&capture, dir);
    int result = RC_FAILED;
    if (wasKilled(status))
        reportText(MSG_COMMAND_NOT_RUN, "SPACE");
    else if (status == 0)
        result = judgeFreeSpace(&capture, dir, reqdSpace, level);
    dropCapture(&capture);
    closeCheck(result, level);
    logGUIMessage(pMarker);
    return result;
}

/* --- Remote shell and copy commands --- */

static const char *const pShellConfiguration = "/var/kvx/kvxssh/.remote_shell_cmd";
static const char *const pOwnShell = "/var/kvx/kvxssh/kvxlocssh";
static const char *const pOwnCopy = "/var/kvx/kvxssh/kvxscp";

/* 1 when the product's own remote commands are configured. The file is read on every call, so a change takes effect. */
static int isOwnShellConfigured(void) {
    commandText szCommand;
    formatCommand(szCommand, "(cat \"%s\" | grep kvxlocssh) 1> /dev/null 2> /dev/null", pShellConfiguration);
    return runCommand(szCommand) == 0;
}

const char *getSSHCmd(void) {
    return isOwnShellConfigured() ? pOwnShell : "ssh";
}

const char *getSCPCmd(void) {
    return isOwnShellConfigured() ? pOwnCopy : "scp";
}

/* The room for a remote command. A longer command is cut for the trace and is not run: after the cut it could name
 * another path or end inside quotes. It counts as exit code 2, with which a shell ends on an incomplete command. */
static const size_t REMOTE_COMMAND_SIZE = 500;
static const size_t DISK_COMMAND_SIZE = 256;

struct boundedCommand {
    commandText szText;                // to be run; empty when it is too long
    char szShown[REMOTE_COMMAND_SIZE]; // for the trace
};

static void boundCommand(boundedCommand *pCommand, size_t size) {
    iStrncpy(pCommand->szShown, pCommand->szText, (int)size);
    if (strlen(pCommand->szText) >= size)
        pCommand->szText[0] = '\0';
}

template <typename... Words>
static void formatRemoteCommand(boundedCommand *pCommand, const char *pFormat, Words... words) {
    formatCommand(pCommand->szText, pFormat, words...);
    boundCommand(pCommand, REMOTE_COMMAND_SIZE);
}

/* Runs a command whose exit code does not matter. Returns RC_FAILED, after a trace with the given text, when the
 * command was killed or could not be started. */
static int executeBounded(const boundedCommand &command, CommandKind kind, const char *pCouldNot) {
    if (!wasKilled(runCommand(command.szText, kind)))
        return RC_OK;
    debugTrace("%s execute command %s\n", pCouldNot, command.szShown);
    return RC_FAILED;
}

/* --- Reachability --- */

int checkPingTest(void) {
    static const char *const pMarker = "<PINGTEST>\n";
    startSection("PING TEST", pMarker);
    int result = RC_OK;
    for (const netNames *pNet = preqNetNames; pNet != NULL; pNet = pNet->next) {
        nameText szName;
        copyField(szName, pNet->netName);
        boundedCommand command;
        formatRemoteCommand(&command, "ping -c1 %s 2>/dev/null 1>/dev/null", szName);
        if (exitCode(runCommand(command.szText)) == 0) {
            reportText(MSG_PING_ANSWERED, szName, IIHName);
            debugTrace("Ping successfull from %s to %s \n", IIHName, szName);
        } else {
            reportFault(MSG_PING_UNANSWERED, szName, IIHName);
            debugTrace("Cannot ping from %s to %s\n", IIHName, szName);
            result = RC_FAILED;
        }
    }
    closeCheck(result, SEVERITY_WARNING);
    logGUIMessage(pMarker);
    return result;
}

/* Copies the name of a host, tests a remote shell to it, and stores the result in its record. */
static int testShell(hostInfo *pHost, const char *pShell, nameText &szHost) {
    boundedCommand command;
    copyField(szHost, pHost->hostName);
    formatRemoteCommand(&command,
                        "%s  -o StrictHostKeyChecking=no -o ConnectTimeout=30 -o BatchMode=yes %s hostname "
                        "2>/dev/null 1>/dev/null ",
                        pShell, szHost);
    pHost->isSSH = runCommand(command.szText, ATTACHED_COMMAND) == 0;
    return pHost->isSSH;
}

/* Tests the product's own remote shell to every host, this one included. Reports no host. */
static int testOwnShellToAll(void) {
    int result = RC_OK;
    for (hostInfo *pHost = preqHostInfo; pHost != NULL; pHost = pHost->next) {
        nameText szHost;
        if (testShell(pHost, pOwnShell, szHost))
            debugTrace("KVXSSH successfull from %s to %s \n", IIHName, szHost);
        else {
            debugTrace("Cannot do KVXLOCSSH from %s to %s\n", IIHName, szHost);
            result = RC_FAILED;
        }
    }
    return result;
}

/* Adds a line to the configuration file, which makes getSSHCmd choose the product's own commands. Every run that gets
 * here adds one. */
static void chooseOwnShell(void) {
    if (!sqloFileExists(pShellConfiguration))
        return;
    commandText szCommand;
    formatCommand(szCommand, "echo \"kvxlocssh\" >>%s", pShellConfiguration);
    runCommand(szCommand);
}

int checkkvxSSHToAll(void) {
    static const char *const pMarker = "<SSH>\n";
    startSection("passwordless kvxlocssh", pMarker);
    int result = testOwnShellToAll();
    if (result == RC_OK) {
        chooseOwnShell();
        logGUIMessage(pMarker); // four times in all: around the section of this check, and around an empty one
        logGUIMessage(pMarker);
        passCheck();
    } else
        result = checkSSHToAll();
    logGUIMessage(pMarker);
    return result;
}

int checkSSHToAll(void) {
    startCheck("passwordless ssh");
    int result = RC_OK;
    for (hostInfo *pHost = preqHostInfo; pHost != NULL; pHost = pHost->next) {
        nameText szHost;
        if (testShell(pHost, "ssh", szHost)) {
            reportText(MSG_SSH_REACHABLE, IIHName, szHost);
            debugTrace("SSH successfull from %s to %s \n", IIHName, szHost);
        } else {
            reportFault(MSG_SSH_UNREACHABLE, IIHName, szHost);
            debugTrace("Cannot do SSH from %s to %s\n", IIHName, szHost);
            result = RC_FAILED;
        }
    }
    closeCheck(result, SEVERITY_ERROR);
    return result;
}

/* --- Remote runs --- */

static const char *const pProgramArchive = "/tmp/kvxprereq.tar";
static const char *const pVexArchive = "/tmp/vexha.tar";
static const char *const ppszPlaced[] = {pProgramArchive, pVexArchive,   pHostListPath,
                                         pNetListPath,    pDiskListPath, pUserListPath};

/* Makes sure that tar will write to a file of our own. An archive of ours that exists stays: it is sent when packing
 * fails. Returns 0 when the name cannot be claimed. */
static int claimArchive(const char *pPath) {
    if (isForeignFile(pPath))
        unlink(pPath);
    if (isOnlyOurs(pPath))
        return 1;
    FILE *pFile = createOwnFile(pPath);
    if (pFile != NULL)
        fclose(pFile);
    return pFile != NULL;
}

/* Removes an archive that was claimed but is still empty. */
static void dropEmptyArchive(const char *pPath) {
    struct stat status;
    if (lstat(pPath, &status) == 0 && S_ISREG(status.st_mode) && status.st_size == 0)
        unlink(pPath);
}

static int packBinaries(void) {
    boundedCommand command;
    formatRemoteCommand(&command,
                        "cd %s && tar -cf /tmp/kvxprereq.tar kvxprereqcheck  kvxprereqcheckoss KVXprereqs.xml "
                        "kvxprereqcheck_exe kvxrocmc locale/%s && cd %s%s && tar -cf /tmp/vexha.tar prereqVEX "
                        "Linux/msg/installVEX* Linux/x86_64/src.msg.es_ES* Linux/i386/src.msg.es_ES* 2>/dev/null "
                        "1>/dev/null",
                        szRuntimePath, sqloNormalizedLocaleDir(szLocale), szRuntimePath, "/../vexha");
    debugTrace("szcmd --> %s\n", command.szShown);
    if (!claimArchive(pProgramArchive) || !claimArchive(pVexArchive))
        command.szText[0] = '\0';
    int result = executeBounded(command, LOCAL_COMMAND, "Couldnot");
    dropEmptyArchive(pProgramArchive);
    dropEmptyArchive(pVexArchive);
    return result;
}

static void logRemoteRule(void) {
    messageText szRule;
    copyText(szRule, szReportRule);
    logMessage(szRule);
}

/* Tests the remote shell to a host before files are placed there. A host that fails is marked and left out. */
static int testBeforePlacing(hostInfo *pHost, const nameText &szHost) {
    boundedCommand command;
    formatRemoteCommand(&command,
                        "%s  -o StrictHostKeyChecking=no -o ConnectTimeout=30 -o BatchMode=yes %s hostname "
                        "2>/dev/null 1>/dev/null",
                        getSSHCmd(), szHost);
    if (runCommand(command.szText, ATTACHED_COMMAND) == 0)
        return 1;
    logRemoteRule();
    reportText(MSG_SSH_PLACING_FAILED, szHost);
    logRemoteRule();
    pHost->isSSH = 0;
    debugTrace("Cannot do SSH from %s to %s\n", IIHName, szHost);
    debugTrace("Place binaries Cannot do SSH from %s to %s\n", IIHName, szHost);
    return 0;
}

static int makeRemoteDirectories(const nameText &szHost) {
    boundedCommand command;
    formatRemoteCommand(&command, "%s %s 'mkdir /tmp/kvxprereq /tmp/vexha' 2>/dev/null 1>/dev/null", getSSHCmd(),
                        szHost);
    return executeBounded(command, ATTACHED_COMMAND, "Could not");
}

/* 1 when a file is sent to the hosts: an archive always; the host list, except when it does not exist and the adapters
 * come from a file; another list when the run uses it. */
static int isSent(const char *pFile) {
    if (pFile == pHostListPath)
        return !bAdapterListFile || sqloFileExists(pHostListPath);
    return pFile == pProgramArchive || pFile == pVexArchive || strstr(addFiles, pFile) != NULL;
}

/* The first file to be sent that somebody else may have planted, or null. */
static const char *findForeignFile(void) {
    for (const char *pFile : ppszPlaced)
        if (isSent(pFile) && isForeignFile(pFile))
            return pFile;
    return NULL;
}

/* Copies the archives and the lists to a host, and unpacks the archives there. Copies nothing when one of them may be
 * planted. */
static int copyBinaries(const nameText &szHost) {
    int bWithoutList = !isSent(pHostListPath);
    const char *pFormat =
        bWithoutList ? "%s /tmp/kvxprereq.tar %s %s:/tmp/kvxprereq 2>/dev/null 1>/dev/null && %s %s ' cd "
                       "/tmp/kvxprereq ; tar -xf kvxprereq.tar  2>/dev/null 1>/dev/null' && %s /tmp/vexha.tar "
                       "%s:/tmp/vexha 2>/dev/null 1>/dev/null && %s %s ' cd /tmp/vexha ; tar -xf vexha.tar "
                       "2>/dev/null 1>/dev/null'"
                     : "%s /tmp/kvxprereq.tar /tmp/hl.txt  %s %s:/tmp/kvxprereq 2>/dev/null 1>/dev/null && %s %s ' "
                       "cd /tmp/kvxprereq ; tar -xf kvxprereq.tar  2>/dev/null 1>/dev/null' && %s /tmp/vexha.tar "
                       "%s:/tmp/vexha 2>/dev/null 1>/dev/null && %s %s ' cd /tmp/vexha ; tar -xf vexha.tar "
                       "2>/dev/null 1>/dev/null'";
    const char *pFirstCopy = getSCPCmd();
    const char *pFirstShell = getSSHCmd();
    const char *pSecondCopy = getSCPCmd();
    const char *pSecondShell = getSSHCmd();
    boundedCommand command;
    formatRemoteCommand(&command, pFormat, pFirstCopy, patternWord(addFiles), szHost, pFirstShell, szHost, pSecondCopy,
                        szHost, pSecondShell, szHost);
    debugTrace("SSH  from %s to %s : %s \n", IIHName, szHost, command.szShown);
    const char *pForeign = findForeignFile();
    if (pForeign != NULL) {
        fprintf(standardError(), "%s is not this user's own file: nothing is copied to %s\n", pForeign, szHost);
        command.szText[0] = '\0';
    }
    return executeBounded(command, ATTACHED_COMMAND, "Could not");
}

/* Places the files on one host. It fails when a command cannot be run, but not when the host cannot be reached. */
static int placeOnHost(hostInfo *pHost, const nameText &szHost) {
    if (!testBeforePlacing(pHost, szHost))
        return RC_OK;
    if (makeRemoteDirectories(szHost) != RC_OK || copyBinaries(szHost) != RC_OK)
        return RC_FAILED;
    debugTrace("SSH successfull from %s to %s \n", IIHName, szHost);
    debugTrace("Place binaries SSH successfull from %s to %s \n", IIHName, szHost);
    return RC_OK;
}

/* Copies the name of a host of the list and traces it. Returns 1 when it is not this host. */
static int nameOtherHost(const hostInfo *pHost, const nameText &szLocal, nameText &szHost) {
    copyField(szHost, pHost->hostName);
    debugTrace("HostName = %s\n", szHost);
    if (!isSameShortName(szHost, szLocal))
        return 1;
    debugTrace("IIH \n");
    return 0;
}

int placePrereqBinaries(void) {
    nameText szLocal, szHost;
    findShortHostName(szLocal);
    debugTrace("Current Host = %s\n", szLocal);
    debugTrace("Place binaries\n");
    if (packBinaries() != RC_OK)
        return RC_FAILED;
    for (hostInfo *pHost = preqHostInfo; pHost != NULL; pHost = pHost->next)
        if (nameOtherHost(pHost, szLocal, szHost) && placeOnHost(pHost, szHost) != RC_OK)
            return RC_FAILED;
    debugTrace("placePrereqBinaries EXIT\n");
    return 1;
}

/* 1 when a word can be inserted into the quotes of the remote command, where two shells read it. */
static int isRemoteWord(const char *pText) {
    return *pText != '\0' && *pText != '-' && isPlainWord(pText);
}

/* Composes the command for the other host. Returns 0 when a word from outside would become shell syntax there. */
static int composeRemoteRun(char (&szRemote)[REMOTE_COMMAND_SIZE]) {
    copyText(szRemote, "cd /tmp/kvxprereq; /tmp/kvxprereq/kvxprereqcheck -hfile /tmp/kvxprereq/hl.txt ");
    if (bNonIB)
        appendText(szRemote, "-usenonib TRUE ");
    int bNamed = linuxDistro == DISTRO_RHEL || linuxDistro == DISTRO_SUSE || linuxDistro == DISTRO_UBUNTU;
    const char *pDistro = bNamed ? ppszPREREQ[LinuxDistro] : NULL;
    if (pDistro != NULL) {
        appendText(szRemote, "-name ");
        appendText(szRemote, pDistro);
        appendText(szRemote, " ");
    }
    appendText(szRemote, addCmd);
    return (pDistro == NULL || isRemoteWord(pDistro)) && (!bCheckSpecificRelease || isRemoteWord(szInputVersion));
}

/* Runs the program on the other host. Its output is not read; its reports are fetched later. */
static int runOnHost(const nameText &szHost) {
    char szRemote[REMOTE_COMMAND_SIZE];
    boundedCommand command;
    captureFile output;
    int bInert = composeRemoteRun(szRemote);
    nameCaptureAt(&output, "/tmp/1.txt");
    formatRemoteCommand(&command, "%s %s '%s' > /tmp/1.txt", getSSHCmd(), szHost, patternWord(szRemote));
    debugTrace("-------> %s\n", command.szShown);
    if (!bInert)
        command.szText[0] = '\0';
    int status = runIntoCapture(&output, command.szText, ATTACHED_COMMAND);
    dropCapture(&output);
    if (wasKilled(status))
        debugTrace("Could not execute command %s\n", command.szShown);
    return status == 0 ? RC_OK : RC_FAILED;
}

/* Copies a report file of the other host here, into a file that this program created, and appends its lines, except the
 * empty ones, to the own report. Removes the copy. */
static int fetchReport(const nameText &szHost, const char *pFormat, const char *pPath, int bGUI) {
    boundedCommand command;
    captureFile report;
    nameCaptureAt(&report, "%s", pPath);
    formatRemoteCommand(&command, pFormat, getSCPCmd(), szHost);
    int status = runIntoCapture(&report, command.szText, ATTACHED_COMMAND);
    if (wasKilled(status))
        debugTrace("Couldnot execute command %s\n", command.szShown);
    openCapture(&report);
    toolLine szLine;
    while (readCapture(&report, szLine))
        if (strlen(szLine) > 2) {
            if (bGUI)
                logGUIMessage(szLine);
            else
                logRemoteMessage(szLine);
        }
    dropCapture(&report);
    return wasKilled(status) ? RC_FAILED : RC_OK;
}

/* Runs the program on one host and merges its reports, also when the run failed. */
static int runAndFetch(const nameText &szHost) {
    logRemoteRule();
    reportText(MSG_REMOTE_RUN_HEADING, szHost);
    debugTrace("Checking KVX prerequisites for host %s\n", szHost);
    int result = runOnHost(szHost);
    if (fetchReport(szHost, "%s %s:/tmp/kvxprereq/crptrmt.txt  /tmp 2>/dev/null 1>/dev/null ", "/tmp/crptrmt.txt", 0) !=
        RC_OK)
        result = RC_FAILED;
    if (bGUIReportFile && fetchReport(szHost, "%s %s:/tmp/kvxprereq/guirmt.txt  /tmp 2>/dev/null 1>/dev/null ",
                                      "/tmp/guirmt.txt", 1) != RC_OK)
        result = RC_FAILED;
    return result;
}

int runPrereqBinaries(void) {
    nameText szLocal, szHost;
    int result = RC_OK;
    findShortHostName(szLocal);
    debugTrace("runPrereqBinaries ENTRY\n");
    for (const hostInfo *pHost = preqHostInfo; pHost != NULL; pHost = pHost->next)
        if (nameOtherHost(pHost, szLocal, szHost) && pHost->isSSH == 1 && runAndFetch(szHost) != RC_OK)
            result = RC_FAILED;
    debugTrace("runPrereqBinaries EXIT\n");
    return result;
}

/* Removes the files that were placed on one host. */
static int removeFromHost(const nameText &szHost) {
    boundedCommand command;
    formatRemoteCommand(&command, "%s %s rm -Rf /tmp/kvxprereq /tmp/vexha", getSSHCmd(), szHost);
    return executeBounded(command, ATTACHED_COMMAND, "Couldnot");
}

/* Removes a word from a text. The text must hold it. */
static void cutOut(char *szText, const char *pWord) {
    char *pFound = strstr(szText, pWord);
    if (pFound != NULL)
        memmove(pFound, pFound + strlen(pWord), strlen(pFound + strlen(pWord)) + 1);
}

/* Removes the files that were placed on this host, except those that somebody else may have planted. */
static int removeHere(void) {
    char szPlaced[REMOTE_COMMAND_SIZE];
    formatText(szPlaced, "%s %s %s %s", pProgramArchive, pVexArchive, pHostListPath, addFiles);
    for (const char *pFile : ppszPlaced)
        if (isForeignFile(pFile))
            cutOut(szPlaced, pFile);
    boundedCommand command;
    formatRemoteCommand(&command, "rm %s 2>/dev/null 1>/dev/null", patternWord(szPlaced));
    return executeBounded(command, LOCAL_COMMAND, "Couldnot");
}

int removePrereqBinaries(void) {
    nameText szLocal, szHost;
    int result = RC_OK;
    findShortHostName(szLocal);
    debugTrace("removePrereqBinaries ENTRY\n");
    debugTrace("Current Host = %s\n", szLocal);
    if (removeHere() != RC_OK)
        return RC_FAILED;
    for (const hostInfo *pHost = preqHostInfo; pHost != NULL; pHost = pHost->next)
        if (nameOtherHost(pHost, szLocal, szHost) && pHost->isSSH == 1 && removeFromHost(szHost) != RC_OK)
            result = RC_FAILED;
    debugTrace("removePrereqBinaries EXIT\n");
    return result;
}

/* --- Cluster users --- */

/* Compares an entry of the password database with the expected UID and GID. */
static int checkUserEntry(const userInfo *pUser, const char *pName, const struct passwd *pEntry) {
    debugTrace("Instance userFound %s\n", pName);
    if (pUser->all != 1)
        return RC_OK;
    int result = RC_OK;
    if ((int)pEntry->pw_uid != pUser->UID) {
        reportFault(MSG_USER_ID_MISMATCH, pName, IIHName);
        debugTrace("UID not matched for user %s\n", pName);
        result = RC_FAILED;
    }
    if ((int)pEntry->pw_gid != pUser->GID) {
        reportFault(MSG_USER_ID_MISMATCH, pName, IIHName);
        debugTrace("GID not matched for user %s\n", pName);
        result = RC_FAILED;
    }
    return result;
}

/* Checks every entry of one user, and writes what it finds to the list file, if there is one. */
static int checkClusterUser(const userInfo *pUser, FILE *pList) {
    nameText szName;
    copyField(szName, pUser->userName);
    int result = RC_OK;
    int bFound = 0;
    setpwent();
    for (const struct passwd *pEntry = nextUserNamed(szName); pEntry != NULL; pEntry = nextUserNamed(szName)) {
        bFound = 1;
        if (checkUserEntry(pUser, szName, pEntry) != RC_OK)
            result = RC_FAILED;
        if (pList != NULL)
            fprintf(pList, "%s,%d,%d\n", pEntry->pw_name, (int)pEntry->pw_uid, (int)pEntry->pw_gid);
    }
    endpwent();
    if (bFound)
        return result;
    debugTrace("Instance not Found %s\n", szName);
    reportFault(MSG_USER_MISSING, szName, IIHName);
    if (pList != NULL)
        fprintf(pList, "%s\n", szName);
    return RC_FAILED;
}

/* Checks all users. When the list file is wanted and cannot be created, it checks none. */
static int checkClusterUsers(void) {
    FILE *pList = NULL;
    if (bInstList && (pList = createOwnFile(pUserListPath)) == NULL) {
        puts("FIle creation failed");
        return RC_FAILED;
    }
    int result = RC_OK;
    for (const userInfo *pUser = preqUserInfo; pUser != NULL; pUser = pUser->next)
        if (checkClusterUser(pUser, pList) != RC_OK)
            result = RC_FAILED;
    if (pList != NULL)
        fclose(pList);
    return result;
}

int sqloValidateUsers(void) {
    static const char *const pMarker = "<USERINFO>\n";
    startSection("USER INFO", pMarker);
    int result = checkClusterUsers();
    closeCheck(result, SEVERITY_ERROR);
    logGUIMessage(pMarker);
    debugTrace("sqloValidateUsers EXITn");
    return result;
}

/* --- /etc/hosts --- */

/* 1 when the short names of an expected name and of a given name are equal. A longer given name is cut to a field. */
static int isExpectedName(const etcInfo *pEntry, const char *pName) {
    nameText szExpected, szGiven;
    copyField(szExpected, pEntry->Name);
    copyText(szGiven, pName);
    return isSameShortName(szExpected, szGiven);
}

int updateEtcHostInfo(const char *hostNameorIP) {
    debugTrace("updateEtcHostInfo ENTRY\n");
    int status = RC_OK;
    const etcInfo *pKnown = preqEtcInfo;
    while (pKnown != NULL && !isExpectedName(pKnown, hostNameorIP))
        pKnown = pKnown->next;
    if (pKnown != NULL)
        debugTrace(" Found duplicate host/Netname --> %s\n", hostNameorIP);
    else {
        etcInfo *pEntry = addInFront(&preqEtcInfo);
        status = additionStatus(hostNameorIP, pEntry);
        if (pEntry != NULL) {
            fillField(pEntry->Name, hostNameorIP);
            debugTrace("updateEtcHostInfo: HostName = %s\n", hostNameorIP);
        }
    }
    debugTrace("updateEtcHostInfo EXIT\n");
    return status;
}

int resetEtcHosts(void) {
    debugTrace("resetEtcHosts ENTRY\n");
    for (etcInfo *pEntry = preqEtcInfo; pEntry != NULL; pEntry = pEntry->next)
        pEntry->verify = 0;
    debugTrace("resetEtcHosts EXIT\n");
    return RC_OK;
}

int checkIPAddress(const char *IPAddr) {
    debugTrace("checkIPAddress ENTRY\n");
    int result = RC_OK;
    for (const etcInfo *pEntry = preqEtcInfo; pEntry != NULL && result == RC_OK; pEntry = pEntry->next) {
        nameText szAddress;
        if (pEntry->verify != 1)
            continue;
        copyField(szAddress, pEntry->ipAddress);
        if (strcasecmp(szAddress, IPAddr) != 0)
            continue;
        reportFault(MSG_ETC_HOSTS_DUPLICATE, IIHName, IPAddr);
        debugTrace("Found duplicate IP %s\n", IPAddr);
        result = RC_FAILED;
    }
    debugTrace("checkIPAddress EXIT\n");
    return result;
}

int checkHostName(const char *IPAddr, const char *hostName) {
    debugTrace("checkHostName ENTRY\n");
    int bExpected = 0;
    for (etcInfo *pEntry = preqEtcInfo; pEntry != NULL; pEntry = pEntry->next) {
        if (!isExpectedName(pEntry, hostName))
            continue;
        bExpected = 1;
        if (pEntry->verify != 1) {
            fillField(pEntry->ipAddress, IPAddr);
            pEntry->verify = 1;
            break;
        }
        reportFault(MSG_ETC_HOSTS_DUPLICATE, IIHName, hostName);
        debugTrace("Found duplicate hostName %s\n", hostName);
    }
    debugTrace("checkHostName EXIT\n");
    return bExpected;
}

int checkLoopBack(const char *hostName) {
    debugTrace("checkLoopBack ENTRY\n");
    const etcInfo *pEntry = preqEtcInfo;
    while (pEntry != NULL && !isExpectedName(pEntry, hostName))
        pEntry = pEntry->next;
    if (pEntry != NULL) {
        reportFault(MSG_ETC_HOSTS_LOOPBACK, IIHName);
        debugTrace("Found hostname %s in Loop back address\n", hostName);
    }
    debugTrace("checkLoopBack EXIT\n");
    return pEntry == NULL ? RC_OK : RC_FAILED;
}

int checkMissingEntries(void) {
    debugTrace("checkMissingEntries ENTRY\n");
    int result = RC_OK;
    for (const etcInfo *pEntry = preqEtcInfo; pEntry != NULL; pEntry = pEntry->next) {
        if (pEntry->verify == 1)
            continue;
        nameText szName;
        copyField(szName, pEntry->Name);
        reportFault(MSG_ETC_HOSTS_ENTRY_MISSING, szName, IIHName);
        debugTrace("Found Missing entry %s\n", szName);
        result = RC_FAILED;
    }
    debugTrace("checkMissingEntries EXIT\n");
    return result;
}

static int isLoopbackAddress(const char *pAddress) {
    static const char *const ppszLoopback[] = {"127.0.0.1", "0:0:0:0:0:0:0:1", "::1"};
    for (const char *pLoopback : ppszLoopback)
        if (strcmp(pAddress, pLoopback) == 0)
            return 1;
    return 0;
}

/* Cuts a line at a "#" or at its newline, and then after its address. Returns the names after the address, or null for
 * a line without names. A last line without a newline, and a piece of a long line, hold no entry; the last piece of a
 * long line has a newline and is taken for a line of its own. */
static char *splitHostsLine(char *szLine) {
    char *pEnd = strpbrk(szLine, "#\n");
    if (pEnd == NULL)
        return NULL;
    *pEnd = '\0';
    char *pBlank = strpbrk(szLine, " \t");
    if (pBlank == NULL)
        return NULL;
    *pBlank = '\0';
    return pBlank + 1;
}

/* Reports another name on a line that a cluster host has already claimed. */
static void reportSecondName(const char *pName) {
    messageText szText;
    logText(szText, MSG_ETC_HOSTS_DUPLICATE, IIHName, pName);
    logGUIMessage(szText);
    debugTrace("Found duplicate hostname %s\n", pName);
}

static void traceName(const char *pAddress, char *pName) {
    if (!debug)
        return;
    debugTrace("IP Address --> %s\n", pAddress);
    debugTrace("Name --> %s\n", pName);
    cutDomain(pName);
    debugTrace("Short Name ---> %s\n", pName);
}

/* The line of /etc/hosts that is examined. */
struct hostsLine {
    const char *pAddress;
    const char *pMatched; // the last name of a cluster host that claimed the line, or null
};

/* 1 when a name is an alias of the host that has claimed the line. */
static int isAlias(const hostsLine &line, const char *pName) {
    return line.pMatched != NULL && isSameShortName(line.pMatched, pName);
}

/* Examines a name that is not an alias, on a line that is not a loopback line. A line that is claimed stays claimed. */
static int examineName(hostsLine *pLine, const char *pName) {
    int result = RC_OK;
    if (pLine->pMatched != NULL) {
        reportSecondName(pName);
        result = RC_FAILED;
    }
    if (checkHostName(pLine->pAddress, pName))
        pLine->pMatched = pName;
    return result;
}

/* Examines one line of /etc/hosts. */
static int examineHostsLine(char *szLine) {
    char *pNames = splitHostsLine(szLine);
    if (pNames == NULL)
        return RC_OK;
    hostsLine line = {szLine, NULL};
    int bLoopback = isLoopbackAddress(szLine);
    int result = bLoopback ? RC_OK : checkIPAddress(szLine);
    char *pRest = NULL;
    for (char *pName = strtok_r(pNames, " \t", &pRest); pName != NULL; pName = strtok_r(NULL, " \t", &pRest)) {
        if (isAlias(line, pName)) {
            debugTrace("Same Match\n");
            continue;
        }
        if ((bLoopback ? checkLoopBack(pName) : examineName(&line, pName)) != RC_OK)
            result = RC_FAILED;
        traceName(szLine, pName);
    }
    return result;
}

/* Examines the whole file, which stays open until the exit. */
static int examineHostsFile(void) {
    static FILE *pHosts;
    pHosts = fopen("/etc/hosts", "re");
    if (pHosts == NULL) {
        messageText szText;
        fetchText(szText, MSG_ETC_HOSTS_NOT_OPENED, "1");
        printAsFormat(standardError(), szText);
        return RC_FAILED;
    }
    int result = RC_OK;
    toolLine szLine;
    while (fgets(szLine, sizeof szLine, pHosts) != NULL) {
        debugTrace("Examine '%s'\n", szLine);
        if (examineHostsLine(szLine) != RC_OK)
            result = RC_FAILED;
    }
    return checkMissingEntries() == RC_OK ? result : RC_FAILED;
}

int sqloValidateEtcHosts(void) {
    static const char *const pMarker = "<ETCHOSTS>\n";
    debugTrace("sqloValidateEtcHosts  ENTRY\n");
    startSection("/etc/hosts", pMarker);
    if (examineHostsFile() != RC_OK) {
        bEtchostError = 1;
        closeFailedCheck(SEVERITY_ERROR);
        return RC_FAILED;
    }
    passCheck();
    logGUIMessage(pMarker);
    return RC_OK;
}

/* --- Disks --- */

static const char *const pDiskKind = "ID/PVID"; // token of the messages: what a disk is looked up by

typedef char diskText[sizeof(diskInfo::diskName) + 1];

/* Names a capture file with a letter after the name of the program. */
static void nameLetteredCapture(captureFile *pCapture, const char *pLetter) {
    nameCaptureAt(pCapture, "%s/%s%s.%d", temporaryDirectory(), "kvxprereqcheck", pLetter, (int)getpid());
}

/* The part of a path after the last "/"; the whole path when it has no "/". */
static const char *baseName(const char *pPath) {
    const char *pSlash = strrchr(pPath, '/');
    return pSlash == NULL ? pPath : pSlash + 1;
}

/* Composes the command that looks up the identifier of a device, or the device with an identifier. */
static void composeDeviceLookup(commandText &szCommand, const captureFile &capture, const char *pHost,
                                const char *pDevice, const char *pId, int bIsGetDevId, int bIsRemote) {
    if (bIsGetDevId == 1 && bIsRemote == 1)
        formatCommand(szCommand, "ssh %s \"/lib/udev/scsi_id -u -g %s \" > %s", pHost, pDevice, capture.szPath);
    else if (bIsGetDevId == 1)
        formatCommand(szCommand, "/lib/udev/scsi_id -u -g %s > %s", pDevice, capture.szPath);
    else if (bIsRemote == 1)
        formatCommand(szCommand,
                      "ssh %s \"ls -l /dev/disk/by-id | grep -w %s  | rev |  cut -d ' ' -f1,3 | rev \" >> %s", pHost,
                      pId, capture.szPath);
    else
        formatCommand(szCommand,
                      "ls -l /dev/disk/by-id | grep -w %s  | rev |  cut -d ' ' -f1,3 | rev >> /dev/null 2>&1  > %s",
                      pId, capture.szPath);
}

/* Copies an answer without its newline, which every name field has room for. */
static void copyAnswer(char *pszTo, const char *pAnswer) {
    iStrncpy(pszTo, pAnswer, sizeof(diskInfo::diskName));
}

/* Reads the answer from the first line of the output: the identifier, or the device at the end of a link's target. */
static void takeDeviceAnswer(captureFile *pCapture, char *pszDevName, char *pszDevId, int bIsGetDevId) {
    toolLine szLine;
    if (!readCapture(pCapture, szLine))
        return;
    cutLastCharacter(szLine);
    if (bIsGetDevId == 1) {
        copyAnswer(pszDevId, szLine);
        return;
    }
    char *pRest = NULL;
    strtok_r(szLine, " ", &pRest);
    const char *pTarget = strtok_r(NULL, " ", &pRest);
    if (pTarget != NULL)
        copyAnswer(pszDevName, baseName(pTarget));
}

int sqloGetDevNameOrID(const char *pszHostName, char *pszDevName, char *pszDevId, int bIsGetDevId, int bIsRemote) {
    captureFile capture;
    commandText szCommand;
    if (bIsGetDevId != 1 && strchr(pszDevId, '\n') != NULL)
        cutLastCharacter(pszDevId);
    nameLetteredCapture(&capture, "b");
    composeDeviceLookup(szCommand, capture, pszHostName, pszDevName, pszDevId, bIsGetDevId, bIsRemote);
    int status = runIntoCapture(&capture, szCommand, bIsRemote == 1 ? ATTACHED_COMMAND : LOCAL_COMMAND);
    int result = wasKilled(status) ? RC_FAILED : RC_OK;
    if (status == 0) {
        if (openCapture(&capture))
            takeDeviceAnswer(&capture, pszDevName, pszDevId, bIsGetDevId);
        else {
            debugTrace(" Error to find the id/dev name, unable to open the output file .\n");
            result = RC_FAILED;
        }
    }
    dropCapture(&capture);
    return result;
}

/* Only the policy "no_reserve" gives 1. The other known policies give -1, as an unknown one does. */
int sqloGetSCSIType(const char *pszHostname, const char *pszTbDiskName, int isRemote) {
    captureFile capture;
    commandText szCommand;
    nameLetteredCapture(&capture, "a");
    if (isRemote == 1)
        formatCommand(szCommand, "ssh %s \"lsattr -El %s | grep -E \"reserve_policy\" | cut -d' ' -f3  2>&1 \"  >> %s",
                      pszHostname, pszTbDiskName, capture.szPath);
    else
        formatCommand(szCommand, "lsattr -El %s | grep -E \"reserve_policy\" | awk '{print $2}'  2>&1 >> %s",
                      pszTbDiskName, capture.szPath);
    char szPolicy[512] = "";
    int type = RC_FAILED;
    if (runIntoCapture(&capture, szCommand, isRemote == 1 ? ATTACHED_COMMAND : LOCAL_COMMAND) == 0 &&
        openCapture(&capture)) {
        readCapture(&capture, szPolicy);
        cutLastCharacter(szPolicy);
        type = strcmp(szPolicy, "no_reserve") == 0 ? 1 : -1;
    }
    dropCapture(&capture);
    return type;
}

/* --- Shared disks --- */

/* The result for one disk. */
enum DiskFinding { DISK_PRESENT, DISK_MISSING, DISK_NAME_INVALID, DISK_NOT_EXAMINED };

/* A disk of the list, as terminated texts. */
struct sharedDisk {
    diskText szName, szId;
    int bById; // 1 when it is looked up by its expected identifier
};

static void reportMissingDisk(const char *pName) {
    reportFault(MSG_DISK_NOT_FOUND, pName, pDiskKind, IIHName, pName);
}

static void formatDiskLookup(boundedCommand *pCommand, const sharedDisk &disk, const captureFile &capture) {
    if (disk.bById)
        formatCommand(pCommand->szText,
                      "ls -l /dev/disk/by-id/%s | grep -w %s | rev |awk '{ print $1\",\"$3}' |rev >> /dev/null 2>&1 > "
                      "%s",
                      disk.szId, disk.szId, capture.szPath);
    else
        formatCommand(pCommand->szText,
                      "ls -l /dev/disk/by-id | grep -w ../../%s | rev |  awk '{ print $1\",\"$3}' |rev >> /dev/null "
                      "2>&1 > %s",
                      baseName(disk.szName), capture.szPath);
    boundCommand(pCommand, DISK_COMMAND_SIZE);
}

/* Finds the line that names the disk. Returns 0 when there is no such line. */
static int findDiskLine(captureFile *pCapture, const sharedDisk &disk, toolLine &szLine) {
    const char *pBase = strrchr(disk.szName, '/');
    while (readCapture(pCapture, szLine))
        if (strstr(szLine, disk.bById ? disk.szId : pBase) != NULL)
            return 1;
    return 0;
}

/* Reports a missing disk, and adds it to the list file. */
static DiskFinding noteMissingDisk(const sharedDisk &disk, FILE *pList) {
    reportMissingDisk(disk.szName);
    if (pList != NULL)
        fprintf(pList, "%s,\n", disk.szName);
    return DISK_MISSING;
}

/* Reports a disk that was looked up. Adds it to the list file, unless it was looked up by its identifier. */
static DiskFinding noteDisk(captureFile *pCapture, const sharedDisk &disk, FILE *pList) {
    toolLine szLine;
    if (!findDiskLine(pCapture, disk, szLine))
        return noteMissingDisk(disk, pList);
    reportText(MSG_DISK_FOUND, disk.szName, pDiskKind, IIHName);
    szLine[strcspn(szLine, ",")] = '\0';
    if (!disk.bById && pList != NULL)
        fprintf(pList, "%s,%s,\n", disk.szName, szLine);
    return DISK_PRESENT;
}

/* Looks up a disk. The capture file stays open, and is not removed. */
static DiskFinding lookUpDisk(const sharedDisk &disk, FILE *pList) {
    boundedCommand command;
    captureFile capture;
    nameCapture(&capture);
    formatDiskLookup(&command, disk, capture);
    int status = runIntoCapture(&capture, command.szText);
    if (status == COMMAND_TIMED_OUT) {
        reportMissingDisk(disk.szName); // do not look it up again: it would hang again
        return DISK_MISSING;
    }
    if (wasKilled(status)) {
        reportText(MSG_COMMAND_NOT_RUN, "Shared Disk");
        return DISK_NOT_EXAMINED;
    }
    if (status != 0) {
        reportMissingDisk(disk.szName);
        return DISK_MISSING;
    }
    if (!openCapture(&capture))
        reportText(MSG_CAPTURE_NOT_READABLE);
    leaveCapture(&capture);
    return noteDisk(&capture, disk, pList);
}

/* Examines one disk. The name "/" is not a disk. */
static DiskFinding examineDisk(sharedDisk *pDisk, FILE *pList) {
    if (*pDisk->szName != '/') {
        reportMissingDisk(pDisk->szName);
        debugTrace("Disk name should start with '/'\n");
        debugTrace("Shared disk not present %s\n", pDisk->szName);
        return DISK_NAME_INVALID;
    }
    if (strcmp(pDisk->szName, "/") == 0)
        return noteMissingDisk(*pDisk, pList);
    cutAtEnd(pDisk->szName, '/');
    return lookUpDisk(*pDisk, pList);
}

/* Examines all disks. A disk whose lookup was killed is examined again until the lookup runs. */
static int examineDisks(FILE *pList, int *pbNameInvalid) {
    int result = RC_OK;
    const diskInfo *pEntry = preqDiskInfo;
    while (pEntry != NULL) {
        sharedDisk disk = {"", "", pEntry->all == 1};
        copyField(disk.szName, pEntry->diskName);
        if (disk.bById)
            copyField(disk.szId, pEntry->diskID);
        DiskFinding finding = examineDisk(&disk, pList);
        if (finding == DISK_NAME_INVALID)
            *pbNameInvalid = 1;
        else if (finding != DISK_PRESENT)
            result = RC_FAILED;
        if (finding != DISK_NOT_EXAMINED)
            pEntry = pEntry->next;
    }
    return result;
}

int sqloValidateDisk(void) {
    static const char *const pMarker = "<DISKINFO>\n";
    startSection("disk info", pMarker);
    FILE *pList = bDiskList ? createOwnFile(pDiskListPath) : NULL;
    int bNameInvalid = 0;
    int result = RC_FAILED;
    if (bDiskList && pList == NULL)
        printf("FIle creation failed");
    else
        result = examineDisks(pList, &bNameInvalid);
    if (pList != NULL)
        fclose(pList);
    closeCheck(bNameInvalid ? RC_FAILED : result, SEVERITY_WARNING);
    logGUIMessage(pMarker);
    return result;
}

/* --- Tiebreaker disk --- */

/* Reports that the disk cannot be the tiebreaker disk, because it was not found. */
static int failTbDisk(const char *pHost) {
    reportFault(MSG_DISK_NOT_FOUND, tbDiskName, pDiskKind, pHost);
    return RC_FAILED;
}

/* Stores the name that a host has for the disk. Another host is asked for the device with the identifier; for this host
 * the name is the first four characters of the device. */
static int nameDiskOnHost(tbdiskInfo *pRecord, const nameText &szLocal, char *pszDevId) {
    nameText szHost;
    copyField(szHost, pRecord->hostName);
    toolLine szDevice = "";
    if (isSameShortName(szHost, szLocal)) {
        formatText(szDevice, "%.4s", baseName(tbDiskName));
    } else if (sqloGetDevNameOrID(szHost, szDevice, pszDevId, 0, 1) != RC_OK)
        return failTbDisk(szHost);
    fillField(pRecord->diskName, szDevice);
    return RC_OK;
}

/* Makes a record for each host, in the order of the host list. */
static int listTbDisks(tbdiskInfo **ppRecords, const nameText &szLocal, char *pszDevId) {
    for (const hostInfo *pHost = preqHostInfo; pHost != NULL; pHost = pHost->next) {
        tbdiskInfo *pRecord = (tbdiskInfo *)calloc(1, sizeof *pRecord);
        if (pRecord == NULL)
            return RC_FAILED;
        memcpy(pRecord->hostName, pHost->hostName, sizeof pRecord->hostName);
        *ppRecords = pRecord;
        ppRecords = &pRecord->next;
        if (nameDiskOnHost(pRecord, szLocal, pszDevId) != RC_OK)
            return RC_FAILED;
    }
    return RC_OK;
}

static void freeTbDisks(tbdiskInfo *pRecords) {
    while (pRecords != NULL) {
        tbdiskInfo *pNext = pRecords->next;
        free(pRecords);
        pRecords = pNext;
    }
}

/* 1 when a command has exactly the commas of its list of five words. The name of a disk, which another host may have
 * given, and the identifier could hold more. */
static int isListOfFive(const commandText &szCommand) {
    int commas = 0;
    for (const char *p = szCommand; *p != '\0'; p++)
        commas += *p == ',';
    return commas == 4;
}

/* Runs the reservation test on a pair of hosts: another host with this one; or this one with the next host of the list,
 * or with the previous one at the end of the list. A host without a partner is not tested. A pair with a comma in a
 * word fails. */
static void testTbPair(tbdiskInfo *pRecord, const tbdiskInfo *pBefore, const nameText &szLocal, const char *pszDevId) {
    nameText szHost;
    diskText szDisk;
    commandText szCommand;
    copyField(szHost, pRecord->hostName);
    if (!isSameShortName(szHost, szLocal)) {
        copyField(szDisk, pRecord->diskName);
        formatCommand(szCommand, "./kvxprereqcheckoss -tbcheck %s,%s,/dev/%s,%s,%s", szHost, szLocal, szDisk,
                      tbDiskName, pszDevId);
    } else {
        const tbdiskInfo *pPartner = pRecord->next != NULL ? pRecord->next : pBefore;
        if (pPartner == NULL)
            return;
        copyField(szHost, pPartner->hostName);
        copyField(szDisk, pPartner->diskName);
        formatCommand(szCommand, "./kvxprereqcheckoss -tbcheck %s,%s,%s,%s,%s", szLocal, szHost, tbDiskName, szDisk,
                      pszDevId);
    }
    if (!isListOfFive(szCommand))
        szCommand[0] = '\0';
    pRecord->reserveStatus = exitCode(runCommand(szCommand, ATTACHED_COMMAND));
}

static int testTbPairs(tbdiskInfo *pRecords, const nameText &szLocal, const char *pszDevId) {
    const tbdiskInfo *pBefore = NULL;
    for (tbdiskInfo *pRecord = pRecords; pRecord != NULL; pRecord = pRecord->next) {
        if (pRecord->scsitype != 1)
            testTbPair(pRecord, pBefore, szLocal, pszDevId);
        pBefore = pRecord;
    }
    const tbdiskInfo *pFailed = pRecords;
    while (pFailed != NULL && pFailed->reserveStatus == 0)
        pFailed = pFailed->next;
    if (pFailed == NULL)
        return RC_OK;
    debugTrace(" The host where the validation failed is :%.*s\n ", (int)sizeof pFailed->hostName, pFailed->hostName);
    return RC_FAILED;
}

/* Looks up the disk on every host and tests the pairs. Stores the result of the tests in *pPairResult; the returned
 * result does not include it. When a lookup fails, the placed files stay on the hosts. */
static int examineTbDisk(int *pPairResult) {
    static const char *const pReservationTool = "/usr/bin/sg_persist";
    nameText szLocal;
    toolLine szDevId = "";
    tbdiskInfo *pRecords = NULL;
    if (*tbDiskName != '/')
        return failTbDisk(IIHName);
    cutAtEnd(tbDiskName, '/');
    findShortHostName(szLocal);
    placePrereqBinaries();
    if (sqloGetDevNameOrID(IIHName, tbDiskName, szDevId, 1, 0) != RC_OK)
        return failTbDisk(IIHName);
    if (!sqloFileExists(pReservationTool)) {
        reportFault(MSG_PACKAGE_NOT_INSTALLED, pReservationTool);
        return RC_FAILED;
    }
    int result = listTbDisks(&pRecords, szLocal, szDevId);
    if (result == RC_OK) {
        *pPairResult = testTbPairs(pRecords, szLocal, szDevId);
        removePrereqBinaries();
    }
    freeTbDisks(pRecords);
    return result;
}

int sqloValidateTbDisk(void) {
    startCheck("Tie-breaker disk info");
    int pairResult = RC_OK;
    int result = examineTbDisk(&pairResult);
    if (result == RC_OK && pairResult == RC_OK)
        passCheck();
    else {
        debugTrace(" The disk %s  can not be used as Tiebreaker device", tbDiskName);
        closeFailedCheck(SEVERITY_WARNING);
    }
    logGUIMessage("");
    return result;
}
