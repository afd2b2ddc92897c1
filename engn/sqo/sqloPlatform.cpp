/*
 * Host platform: the Linux distribution with its release and service pack, the kernel level, and the word size.
 */
#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <sys/utsname.h>

#include "sqloCommand.h"
#include "sqloMessages.h"
#include "sqloPrereqDefs.h"

int isUbuntu14;
struct utsname name;
char *pVersion, *pRelease, *pMinorRelease;

static const char *const pOsReleasePath = "/etc/os-release";
static const char *const pLsbReleasePath = "/etc/lsb-release";

typedef char releaseLine[256];
static const size_t OUTPUT_SIZE = 255; // at most 254 characters of a command's line are read

/* --- Release files --- */

constexpr int isOrderedByDistribution(void) {
    for (int i = 0; i < DISTRO_COUNT; i++)
        if (releaseSources[i].distribution != i)
            return 0;
    return 1;
}
static_assert(isOrderedByDistribution(), "every distribution has its row, at its own place");

/* Splits a line at its first "=". Returns 0 when it has none. */
static int splitKeyValue(char *szLine, char **ppValue) {
    char *pEquals = strchr(szLine, '=');
    if (pEquals == NULL)
        return 0;
    *pEquals = '\0';
    *ppValue = pEquals + 1;
    return 1;
}

/* Stores the value of a line such as "VERSION = 11" or "PATCHLEVEL = 4". */
static void readSuseReleaseLine(char *szLine) {
    char *pText;
    if (!splitKeyValue(szLine, &pText))
        return;
    if (*pText == ' ')
        pText++;
    if (strstr(szLine, "VERSION") != NULL) {
        debugTrace("   Version is '%s'\n", pText);
        setPrereq(SLESVersion, pText);
    } else if (strstr(szLine, "PATCHLEVEL") != NULL) {
        debugTrace("   Service Pack is %s\n", pText);
        setPrereq(SLESSP, pText);
    }
}

/* 1 when a part of the release is there: not null, and more than the newline. */
static int isReleasePart(const char *pPart) {
    return pPart != NULL && *pPart != '\n';
}

/* Splits "release.servicepack" and stores both. A missing part leaves its tag alone. */
static void storeRelease(char *pToken, const releaseSource &source) {
    char *pRest = NULL;
    const char *pPart = strtok_r(pToken, ".", &pRest);
    if (isReleasePart(pPart)) {
        debugTrace(linuxDistro == DISTRO_SUSE ? "   Version is '%s'\n" : "   Version is %s\n", pPart);
        setPrereq(source.version, pPart);
    }
    pPart = strtok_r(NULL, ".", &pRest);
    if (isReleasePart(pPart)) {
        debugTrace(linuxDistro == DISTRO_SUSE ? "   Service Pack is %s\n" : "   Service pack is %s\n", pPart);
        setPrereq(source.servicePack, pPart);
    }
}

/* Stores the release in a line such as "Red Hat Enterprise Linux release 9.4 (Plow)". */
static void readReleaseLine(char *szLine, const releaseSource &source) {
    char *pRest = NULL;
    const char *pWord = strtok_r(szLine, " ", &pRest);
    while (pWord != NULL && strncmp(pWord, source.pWordBefore, strlen(source.pWordBefore)) != 0)
        pWord = strtok_r(NULL, " ", &pRest);
    char *pToken = pWord == NULL ? NULL : strtok_r(NULL, " ", &pRest);
    if (pToken == NULL)
        return;
    debugTrace("   Release token '%s'\n", pToken);
    storeRelease(pToken, source);
}

int sqloGetSUSERHELRelease(const char *pPath, int severity, int bReport) {
    if (severity != SEVERITY_ERROR && severity != SEVERITY_WARNING)
        return RC_FAILED;
    debugTrace("   Opening file '%s'\n", pPath);
    FILE *pFile = fopen(pPath, "re");
    if (pFile == NULL) {
        if (bReport)
            reportText(MSG_FILE_NOT_OPENED, pPath);
        return RC_FAILED;
    }
    const releaseSource &source = releaseSources[linuxDistro];
    releaseLine szLine;
    while (readLine(pFile, szLine)) {
        debugTrace("   Examine '%s'\n", szLine);
        if (linuxDistro == DISTRO_SUSE)
            readSuseReleaseLine(szLine);
        else if (source.pWordBefore != NULL)
            readReleaseLine(szLine, source);
    }
    fclose(pFile);
    debugTrace("   Current Linux Version: %s SP: %s \n", textOrEmpty(ppszPREREQ[source.version]),
               textOrEmpty(ppszPREREQ[source.servicePack]));
    return RC_OK;
}

int sqloGetSuSERelease(const char *, int, int) {
    char szOutput[OUTPUT_SIZE];
    if (firstLineOf(". /etc/os-release; echo $VERSION_ID", szOutput))
        storeRelease(szOutput, releaseSources[DISTRO_SUSE]);
    return RC_OK;
}

/* --- Detection --- */

static int opensForReading(const char *pPath) {
    FILE *pFile = fopen(pPath, "re");
    if (pFile == NULL)
        return 0;
    fclose(pFile);
    return 1;
}

/* Takes a distribution as found when its release file can be opened. */
static int detectFromReleaseFile(const char *pPath, int distribution) {
    if (!opensForReading(pPath))
        return 0;
    linuxDistro = distribution;
    sqloGetSUSERHELRelease(pPath, SEVERITY_ERROR, 1);
    return 1;
}

static int unsupportedHost(void) {
    printError(MSG_DISTRIBUTION_UNSUPPORTED);
    return RC_INPUT;
}

/* Looks in /etc/lsb-release for the first key that names the distribution. Its value means Ubuntu when it is a
 * beginning of "ubuntu" in any case; so an empty value does too. Returns 0 when there is no such key. */
static int detectFromLsbRelease(int *pStatus) {
    FILE *pFile = fopen(pLsbReleasePath, "re");
    if (pFile == NULL)
        return 0;
    int bFound = 0;
    releaseLine szLine;
    while (!bFound && readLine(pFile, szLine)) {
        debugTrace("Examine '%s'\n", szLine);
        char *pText;
        if (!splitKeyValue(szLine, &pText) || strstr(szLine, "DISTRIB_ID") == NULL)
            continue;
        bFound = 1;
        if (strncasecmp(pText, "ubuntu", strlen(pText)) == 0) {
            linuxDistro = DISTRO_UBUNTU;
            *pStatus = RC_OK;
        } else
            *pStatus = unsupportedHost();
    }
    fclose(pFile);
    return bFound;
}

static int isSuseByOsRelease(void) {
    char szOutput[OUTPUT_SIZE];
    return opensForReading(pOsReleasePath) && firstLineOf(". /etc/os-release; echo $PRETTY_NAME", szOutput) &&
           strstr(szOutput, "SUSE") != NULL;
}

int sqloGetLinuxDistributions(void) {
    int status = RC_OK;
    if (detectFromReleaseFile("/etc/centos-release", DISTRO_CENTOS) ||
        detectFromReleaseFile("/etc/redhat-release", DISTRO_RHEL) ||
        detectFromReleaseFile("/etc/SuSE-release", DISTRO_SUSE) || detectFromLsbRelease(&status) ||
        detectFromReleaseFile("/etc/inspur-release", DISTRO_INSPUR))
        return status;
    if (!isSuseByOsRelease())
        return unsupportedHost();
    linuxDistro = DISTRO_SUSE;
    return sqloGetSuSERelease(pOsReleasePath, SEVERITY_ERROR, 1);
}

/* --- Level checks of the distribution --- */

/* Judges the service pack. Call it only for equal releases. Without a required service pack it is met. */
static int meetsServicePack(const char *pRequiredSP, const char *pFoundSP) {
    if (pRequiredSP == NULL)
        return 1;
    int order = sqloCompareVersionStrings(pRequiredSP, pFoundSP);
    return pFoundSP != NULL && (order == VERSION_HIGHER || order == VERSION_EQUAL);
}

int sqloCheckSUSERHELRelease(const char *pRequiredVersion, const char *pRequiredSP, const char *pFoundVersion,
                             const char *pFoundSP, int, int bReport) {
    messageText szRequired, szFound;
    logText(szRequired, MSG_DISTRIBUTION_REQUIRED, ppszPREREQ[LinuxDistro], pRequiredVersion, pRequiredSP);
    logText(szFound, MSG_DISTRIBUTION_FOUND, pFoundVersion, pFoundSP);
    int order = sqloCompareVersionStrings(pRequiredVersion, pFoundVersion);
    if (order == VERSION_HIGHER || (order == VERSION_EQUAL && meetsServicePack(pRequiredSP, pFoundSP)))
        return passCheck();
    if (order == VERSION_UNREADABLE && bReport)
        reportText(MSG_VERSION_UNREADABLE);
    return failCheck(SEVERITY_ERROR, szRequired, szFound);
}

/* Judges the value of DISTRIB_RELEASE. */
static int judgeUbuntuRelease(const char *pFound, const char *pRequired, const char *pPath, const char *pRequirement) {
    messageText szDetail;
    logText(szDetail, MSG_UBUNTU_FOUND, pFound);
    int order = sqloCompareVersionStrings("14.04", pFound);
    if (order == VERSION_HIGHER || order == VERSION_EQUAL)
        isUbuntu14 = 1;
    order = sqloCompareVersionStrings(pRequired, pFound);
    if (order == VERSION_HIGHER || order == VERSION_EQUAL)
        return passCheck();
    if (order == VERSION_UNREADABLE) {
        reportText(MSG_VERSION_UNREADABLE);
        reportText(MSG_VERSION_SOURCE, pPath);
    }
    return failCheck(SEVERITY_ERROR, pRequirement, szDetail);
}

/* Finds the value of DISTRIB_RELEASE in a file. Returns 0 when the file has none. */
static int findUbuntuRelease(FILE *pFile, releaseLine &szLine, char **ppFound) {
    while (readLine(pFile, szLine))
        if (splitKeyValue(szLine, ppFound) && strstr(szLine, "DISTRIB_RELEASE") != NULL)
            return 1;
    return 0;
}

/* Closes the block as passed and still returns RC_FAILED. For a file that cannot be opened, and for one without a
 * release when the caller wants no report. */
static int cannotTellUbuntuRelease(void) {
    passCheck();
    return RC_FAILED;
}

int sqloCheckLSBRelease(const char *pPath, const char *pRequiredVersion, int, int bReport) {
    messageText szRequired, szNoDetail = "";
    startCheck(MSG_TITLE_DISTRIBUTION);
    logText(szRequired, MSG_UBUNTU_REQUIRED, ppszDistroName[DISTRO_UBUNTU], pRequiredVersion);
    FILE *pFile = fopen(pPath, "re");
    if (pFile == NULL) {
        if (bReport)
            reportText(MSG_FILE_NOT_OPENED, pPath);
        return cannotTellUbuntuRelease();
    }
    releaseLine szLine;
    char *pFound;
    int bFound = findUbuntuRelease(pFile, szLine, &pFound);
    fclose(pFile);
    if (bFound)
        return judgeUbuntuRelease(pFound, pRequiredVersion, pPath, szRequired);
    if (!bReport)
        return cannotTellUbuntuRelease();
    reportText(MSG_VERSION_UNREADABLE);
    reportText(MSG_VERSION_SOURCE, pPath);
    messageText szTitle;
    unmetText szUnmet;
    formatText(szUnmet, "%s (%s)", fetchText(szTitle, MSG_TITLE_DISTRIBUTION), pPath);
    return failCheck(SEVERITY_ERROR, szRequired, szNoDetail, szUnmet);
}

static void reportOtherDistribution(void) {
    const char *pDetected = textOrEmpty(ppszPREREQ[LinuxDistro]);
    if (*szInputDistro == '\0' || strcasecmp(szInputDistro, pDetected) == 0)
        return;
    reportText(MSG_DISTRIBUTION_MISMATCH, szInputDistro, pDetected, IIHName);
}

/* 1 on CENTOS and INSPUR when the level states no minimum release for them: only levels with a minimum support them. */
static int isUnsupportedByLevel(const releaseSource &source) {
    return (linuxDistro == DISTRO_CENTOS || linuxDistro == DISTRO_INSPUR) && ppszPREREQ[source.minVersion] == NULL;
}

int sqloCheckLinuxDistributions(void) {
    reportOtherDistribution();
    if (linuxDistro == DISTRO_UNKNOWN)
        return RC_OK;
    const releaseSource &source = releaseSources[linuxDistro];
    messageText szTitle;
    reportText(MSG_CHECK_HEADING, fetchText(szTitle, MSG_TITLE_DISTRIBUTION));
    if (linuxDistro == DISTRO_UBUNTU)
        return sqloCheckLSBRelease(pLsbReleasePath, ppszPREREQ[source.minVersion], SEVERITY_ERROR, 1);
    if (isUnsupportedByLevel(source)) {
        messageText szDetail;
        logText(szDetail, MSG_LEVEL_UNSUPPORTED, ppszPREREQ[KVXLevel]);
        return failCheck(SEVERITY_ERROR, "", szDetail);
    }
    return sqloCheckSUSERHELRelease(ppszPREREQ[source.minVersion], ppszPREREQ[source.minServicePack],
                                    ppszPREREQ[source.version], ppszPREREQ[source.servicePack], SEVERITY_ERROR, 1);
}

void strToUpper(char *pText) {
    for (; *pText != '\0'; pText++)
        *pText = (char)toupper((unsigned char)*pText);
}

/* --- Kernel level and word size --- */

/* Copies the kernel release, such as "4.18.0-305.el8.x86_64", and splits it into version, release and minor release. */
static void splitKernelRelease(void) {
    static char szRelease[257];
    char *pRest = szRelease;
    copyText(szRelease, name.release);
    pVersion = strsep(&pRest, ".");
    pRelease = strsep(&pRest, ".");
    pMinorRelease = strsep(&pRest, "-");
}

static void storeKernelPart(int tag, const char *pPart) {
    if (pPart != NULL && *pPart != '\0')
        setPrereq(tag, pPart);
}

int sqloGetOSLevel(void) {
    int status = uname(&name) == 0 ? RC_OK : RC_FAILED;
    splitKernelRelease();
    storeKernelPart(OSVersion, pVersion);
    storeKernelPart(OSRelease, pRelease);
    storeKernelPart(OSMinorRelease, pMinorRelease);
    return status;
}

int sqloIsOS64bit(void) {
    return strcmp(name.machine, "x86_64") == 0 || strcmp(name.machine, "s390x") == 0 ||
           strcmp(name.machine, "ppc64le") == 0;
}

static int isKernelPart(const char *pPart) {
    return pPart != NULL && isDecimalDigit(*pPart);
}

int sqloCheckOSLevel(void) {
    messageText szRequired, szFound = "";
    startCheck(MSG_TITLE_OS_LEVEL);
    logText(szRequired, MSG_KERNEL_REQUIRED, minimumOrZero(MinOSVersion), minimumOrZero(MinOSRelease),
            minimumOrZero(MinOSMinorRelease));
    splitKernelRelease();
    if (isKernelPart(pVersion) && isKernelPart(pRelease) && isKernelPart(pMinorRelease)) {
        logText(szFound, MSG_KERNEL_FOUND, pVersion, pRelease, pMinorRelease);
        if (meetsMinimum({{pVersion, pRelease, pMinorRelease}}, {MinOSVersion, MinOSRelease, MinOSMinorRelease}))
            return passCheck();
    } else
        reportText(MSG_KERNEL_LEVEL_MALFORMED);
    messageText szTitle;
    unmetText szUnmet;
    formatText(szUnmet, "%s (uname -r: %s)", fetchText(szTitle, MSG_TITLE_OS_LEVEL), name.release);
    return failCheck(SEVERITY_ERROR, szRequired, szFound, szUnmet);
}
