/*
 * Checks for a new instance: the account of its user, its ports in the services database, and the umask.
 */
#include <arpa/inet.h>
#include <dirent.h>
#include <grp.h>
#include <netdb.h>
#include <pwd.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "sqloCommand.h"
#include "sqloMessages.h"

typedef char userText[256];
typedef char reportedLine[LONG_MESSAGE_SIZE + LOG_ROOM];

/* Writes a line to the report and, when bError is 1, to the error list; the entry then ends with the newline of
 * logMessage. */
static void reportLine(int bError, const char *pFormat, ...) __attribute__((format(printf, 2, 3)));

static void reportLine(int bError, const char *pFormat, ...) {
    reportedLine szMesgBuffer;
    va_list arguments;
    va_start(arguments, pFormat);
    vsnprintf(szMesgBuffer, LONG_MESSAGE_SIZE, pFormat, arguments);
    va_end(arguments);
    logMessage(szMesgBuffer);
    if (bError)
        sqloUpdateErrorList(szMesgBuffer);
}

/* --- User profile --- */

struct userAccount {
    userText pseudoUser, userHome, userGroup;
};

/* The results of the checks of a user, and how many of the required checks have not passed yet. */
struct userFindings {
    int usrFound, bashrcFound, profileFound, sqllibFound;
    int validUserName, validGrpNameLength, validGrpName;
    int failedChecksCount;
};

/* Stores the result of a check. One that passed is counted off and reported. */
static void noteUserCheck(userFindings *pFindings, int *pbPassed, int bPassed, const char *pPassedLine) {
    *pbPassed = bPassed;
    if (!bPassed)
        return;
    pFindings->failedChecksCount--;
    if (pPassedLine != NULL)
        reportLine(0, "%s", pPassedLine);
}

/* Closes the block with an error after which nothing more can be checked. */
static int endUserBlock(const char *pFormat, ...) __attribute__((format(printf, 1, 2)));

static int endUserBlock(const char *pFormat, ...) {
    reportedLine szMesgBuffer;
    va_list arguments;
    va_start(arguments, pFormat);
    vsnprintf(szMesgBuffer, LONG_MESSAGE_SIZE, pFormat, arguments);
    va_end(arguments);
    sqloUpdateErrorList(szMesgBuffer);
    reportLine(0, "   ");
    logMessage(szMesgBuffer);
    return 0;
}

/* Looks for the user in the list of the password database. */
static int findListedUser(const char *pUser, userAccount *pAccount) {
    setpwent();
    const struct passwd *pEntry = nextUserNamed(pUser);
    if (pEntry != NULL) {
        const struct group *pGroup = getgrgid(pEntry->pw_gid);
        copyText(pAccount->pseudoUser, pEntry->pw_name);
        copyText(pAccount->userHome, pEntry->pw_dir);
        copyText(pAccount->userGroup, pGroup == NULL ? "" : pGroup->gr_name);
    }
    endpwent();
    return pEntry != NULL;
}

/* Runs getent, whose output goes to a file in the current directory and stays there, and reads as much of it as fits.
 * Returns 0 when the file cannot be opened, or when its name would lead to another directory. */
static int readGetent(const char *pFormat, const char *pKey, captureFile *pCapture, userText &szOutput) {
    commandText szCommand;
    szOutput[0] = '\0';
    if (strchr(pCapture->szPath, '/') != NULL)
        return 0;
    if (!formatCommand(szCommand, pFormat, pKey, pCapture->szPath))
        return 1; // getent would read the key as an option; no user has such a name
    runIntoCapture(pCapture, szCommand);
    if (!openCapture(pCapture))
        return 0;
    size_t length = fread(szOutput, 1, sizeof szOutput - 1, pCapture->pFile);
    szOutput[length] = '\0';
    closeCapture(pCapture);
    leaveCapture(pCapture);
    return 1;
}

/* Reads the name, group id and home directory from a password line. An empty field is skipped: later ones move up. */
static int splitPasswordLine(char *pLine, userAccount *pAccount) {
    enum { NAME_FIELD = 1, GROUP_FIELD = 4, HOME_FIELD = 6 };
    int groupId = 0;
    int fieldCount = 1;
    char *pRest = NULL;
    for (const char *pField = strtok_r(pLine, ":", &pRest); pField != NULL; pField = strtok_r(NULL, ":", &pRest)) {
        if (fieldCount == NAME_FIELD)
            copyText(pAccount->pseudoUser, pField);
        else if (fieldCount == GROUP_FIELD)
            groupId = leadingNumber(pField);
        else if (fieldCount == HOME_FIELD)
            copyText(pAccount->userHome, pField);
        fieldCount++;
    }
    return groupId;
}

/* Asks getent about a user whom the password database does not list. */
static int findServedUser(const char *pUser, userAccount *pAccount) {
    captureFile capture;
    userText szOutput;
    nameCaptureAt(&capture, "pseudo_user_%s.out", pUser);
    if (!readGetent("getent passwd %s > %s", pUser, &capture, szOutput))
        return endUserBlock(szUserNotOpened, capture.szPath, pUser);
    int groupId = splitPasswordLine(szOutput, pAccount);
    if (strcmp(pAccount->pseudoUser, pUser) != 0)
        return endUserBlock(szUserNotFound, pUser);

    char szGroupId[12];
    formatText(szGroupId, "%d", groupId);
    nameCaptureAt(&capture, "pseudo_user_group_%s.out", pUser);
    if (!readGetent("getent group %s > %s", szGroupId, &capture, szOutput))
        return endUserBlock(szGroupNotOpened, capture.szPath, pUser);
    char *pRest = NULL;
    copyText(pAccount->userGroup, textOrEmpty(strtok_r(szOutput, ":", &pRest)));
    return 1;
}

static int isAllowedGroup(const char *pGroup) {
    static const char *const ppszShared[] = {"guests", "users", "admins", "local"};
    for (const char *pShared : ppszShared)
        if (strcmp(pGroup, pShared) == 0)
            return 0;
    return 1;
}

static void checkUserNames(const userAccount &account, userFindings *pFindings) {
    const size_t longestName = 8;
    noteUserCheck(pFindings, &pFindings->validUserName, strlen(account.pseudoUser) <= longestName, szUserNamePassed);
    noteUserCheck(pFindings, &pFindings->validGrpNameLength, strlen(account.userGroup) <= longestName,
                  szGroupNamePassed);
    noteUserCheck(pFindings, &pFindings->validGrpName, isAllowedGroup(account.userGroup), szGroupPassed);
}

/* The name of the start-up file that a login shell reads on this distribution. */
static const char *profileName(void) {
    return linuxDistro == DISTRO_SUSE ? ".profile" : ".bash_profile";
}

/* Looks for the required files in the home directory. Reports them in the order in which the directory lists them. */
static int checkUserHome(const userAccount &account, int checkSqllib, userFindings *pFindings) {
    DIR *pHome = opendir(account.userHome);
    if (pHome == NULL)
        return endUserBlock(szHomeNotOpened, account.userHome);
    for (const struct dirent *pEntry = readdir(pHome); pEntry != NULL; pEntry = readdir(pHome)) {
        if (strcmp(pEntry->d_name, ".bashrc") == 0)
            noteUserCheck(pFindings, &pFindings->bashrcFound, 1, szBashrcPassed);
        else if (strcmp(pEntry->d_name, profileName()) == 0)
            noteUserCheck(pFindings, &pFindings->profileFound, 1,
                          linuxDistro == DISTRO_SUSE ? szSuseProfilePassed : szProfilePassed);
        else if (checkSqllib && strcmp(pEntry->d_name, "sqllib") == 0)
            pFindings->sqllibFound = 1;
    }
    closedir(pHome);
    return 1;
}

static void checkSqllibAbsence(int checkSqllib, userFindings *pFindings) {
    int bAbsent;
    if (checkSqllib)
        noteUserCheck(pFindings, &bAbsent, !pFindings->sqllibFound, szSqllibPassed);
    else
        reportLine(0, szSqllibSkipped);
}

static void reportUserFailures(const userAccount &account, const userFindings &findings) {
    const char *pUser = account.pseudoUser;
    reportLine(0, "   ");
    reportLine(0, szUserFailed);
    if (!findings.validUserName)
        reportLine(1, szUserNameTooLong, pUser);
    if (!findings.validGrpNameLength)
        reportLine(1, szGroupNameTooLong, account.userGroup);
    if (!findings.validGrpName)
        reportLine(1, szGroupNotAllowed, pUser, account.userGroup, pUser);
    if (!findings.bashrcFound)
        reportLine(1, szBashrcMissing, account.userHome);
    if (!findings.profileFound && linuxDistro == DISTRO_SUSE)
        reportLine(1, szSuseProfileMissing, account.userHome);
    else if (!findings.profileFound)
        reportLine(1, szProfileMissing, account.userHome);
    if (findings.sqllibFound)
        reportLine(1, szSqllibExists, account.userHome);
}

/* Makes the checks between the heading and the closing line. Returns 1 when all have passed. */
static int judgeUser(const char *pUser, int checkSqllib) {
    const int requiredChecks = 6;
    userAccount account = {"", "", ""};
    userFindings findings = {};
    findings.failedChecksCount = requiredChecks + (checkSqllib ? 1 : 0);
    if (!findListedUser(pUser, &account) && !findServedUser(pUser, &account))
        return 0;
    noteUserCheck(&findings, &findings.usrFound, 1, NULL);
    reportLine(0, szUserChecks, findings.failedChecksCount);
    checkUserNames(account, &findings);
    if (!checkUserHome(account, checkSqllib, &findings))
        return 0;
    checkSqllibAbsence(checkSqllib, &findings);
    if (findings.failedChecksCount > 0)
        reportUserFailures(account, findings);
    else
        reportLine(0, szUserPassed, pUser);
    return findings.failedChecksCount <= 0;
}

int sqloValidateUserProfile(const char *usrname, int checkSqllib) {
    longTitle szTitle;
    formatText(szTitle, "User specific checks for %s", usrname);
    startLongCheck(szTitle);
    if (judgeUser(usrname, checkSqllib))
        return passCheck();
    closeFailedCheck(SEVERITY_ERROR);
    return RC_FAILED;
}

/* --- Service and FCM ports --- */

/* Room for every expected name of a service or FCM port, and one character more. A longer name of the database that is
 * cut to this size is therefore equal to no expected name. */
typedef char serviceName[sizeof svcnm + sizeof "kvxc_" + sizeof "_2147483647"];

/* A service of the database. It is copied, because the library overwrites its own at the next query. */
struct knownService {
    int bFound;
    serviceName szName; // official name
    int port;
};

static knownService copyService(const struct servent *pService) {
    knownService service = {pService != NULL, "", 0};
    if (pService != NULL) {
        copyText(service.szName, pService->s_name);
        service.port = ntohs((uint16_t)pService->s_port);
    }
    return service;
}

/* The words for a kind of port: in most lines, and in the line about a name that another port has. */
struct portKind {
    const char *pName, *pTaken;
};

static const portKind serviceKind = {"Service Port", "port"};
static const portKind fcmKind = {"FCM Port", "FCM Port"};

/* 1 for a number from 1 to 65535. Reports any other number; the services database must not be asked about it. */
static int isPortNumber(const portKind &kind, long long port) {
    if (port >= 1 && port <= 65535)
        return 1;
    reportLine(1, szPortOutOfRange, kind.pName, port);
    return 0;
}

/* Judges one port, 1 to 65535, by the entries of the services database for its number and for its expected name. */
static int checkPort(const portKind &kind, long long port, const char *pExpected, const char *pTaker) {
    knownService byPort = copyService(getservbyport(htons((uint16_t)port), NULL));
    knownService byName = copyService(getservbyname(pExpected, NULL));
    if (!byPort.bFound && !byName.bFound) {
        reportLine(0, szPortAvailable, kind.pName, port, pTaker);
        return RC_OK;
    }
    if (byName.bFound && (strcmp(byName.szName, pExpected) != 0 || byName.port != port)) {
        reportLine(1, szPortNameTaken, byName.szName, kind.pTaken, byName.port);
        return RC_FAILED;
    }
    if (!byName.bFound && strcmp(byPort.szName, pExpected) != 0) {
        reportLine(1, szPortInUse, kind.pName, port, byPort.szName);
        return RC_FAILED;
    }
    reportLine(0, szPortAssigned, kind.pName, port, pExpected);
    return RC_OK;
}

/* Composes the name of the FCM port at a distance from the first one. The first has no number, the last has "_END". */
static void nameFcmPort(serviceName &KVX_svce, const char *pService, long long distance, int nPartitions) {
    char lPartition[13] = "";
    if (distance > 0 && distance == nPartitions)
        copyText(lPartition, "_END");
    else if (distance > 0)
        formatText(lPartition, "_%lld", distance);
    formatText(KVX_svce, "KVX_%s%s", pService, lPartition);
}

/* Checks the FCM ports in turn, and stops at the first number that is not a port. */
static int checkFcmPorts(const char *svcName, int fcmStartPort, int nPartitions) {
    int result = RC_OK;
    for (long long distance = 0; distance <= nPartitions; distance++) {
        long long port = fcmStartPort + distance;
        if (!isPortNumber(fcmKind, port))
            return RC_FAILED;
        serviceName KVX_svce;
        nameFcmPort(KVX_svce, svcName, distance, nPartitions);
        if (checkPort(fcmKind, port, KVX_svce, KVX_svce) != RC_OK)
            result = RC_FAILED;
    }
    return result;
}

int sqloValidatePorts(int svcPort, const char *svcName, int fcmCheck, int fcmStartPort, int nPartitions) {
    longTitle szTitle;
    formatText(szTitle, "Service Port and FCM Ports usage for %s", svcName);
    startLongCheck(szTitle);

    serviceName kvxc_svce;
    formatText(kvxc_svce, "kvxc_%s", svcName);
    int iRC = RC_FAILED;
    if (isPortNumber(serviceKind, svcPort))
        iRC = checkPort(serviceKind, svcPort, kvxc_svce, svcName);
    if (fcmCheck && checkFcmPorts(svcName, fcmStartPort, nPartitions) != RC_OK)
        iRC = RC_FAILED;
    if (iRC == RC_OK)
        return passCheck();
    closeFailedCheck(SEVERITY_ERROR);
    return RC_FAILED;
}

/* --- Umask --- */

/* Reads the umask of the shell from a file beside the temporary directory; the file stays. Returns 0 on failure. */
static int readUmask(char (&szMask)[256]) {
    commandText szCommand;
    captureFile capture;
    nameCaptureAt(&capture, "%s.%d", temporaryDirectory(), (int)getpid());
    formatCommand(szCommand, "umask  > %s 2>&1", capture.szPath);
    int status = runIntoCapture(&capture, szCommand);
    if (!openCapture(&capture))
        return 0;
    if (status != 0)
        debugTrace("   Failed to execute umask on the machine. ");
    int bRead = status == 0 && readCapture(&capture, szMask);
    closeCapture(&capture);
    leaveCapture(&capture);
    return bRead;
}

/* Compares the umask with the highest one that is allowed, as versions are compared, so by decimal value. Returns 1
 * when it is allowed. szReason receives the reason to show when it is not. */
static int judgeUmask(const char *pRequired, messageText &szReason) {
    char szMask[256];
    if (!readUmask(szMask)) {
        fetchText(szReason, MSG_UMASK_UNREADABLE);
        return 0;
    }
    int order = sqloCompareVersionStrings(pRequired, szMask);
    cutLastCharacter(szMask);
    reportText(MSG_VERSION_FOUND, szMask);
    fetchText(szReason, MSG_UMASK_TOO_HIGH, szMask, pRequired);
    return order == VERSION_LOWER || order == VERSION_EQUAL;
}

int sqloValidateUmsk(const char *umask) {
    startCheck("umask ");
    reportText(MSG_REQUIRED_WITH_RELEASE, "UMASK", umask);
    messageText szReason;
    if (judgeUmask(umask, szReason))
        return passCheck();
    messageText szClosing;
    closeFailedCheck(szClosing, SEVERITY_ERROR, szReason + strspn(szReason, " "));
    sqloUpdateErrorList(szClosing);
    return RC_FAILED;
}
