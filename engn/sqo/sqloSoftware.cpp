/*
 * Software checks: shared libraries, which the loader finds; packages, about which rpm is asked; and system settings.
 */
#include <dlfcn.h>
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <unistd.h>

#include "sqloCommand.h"
#include "sqloLiterals.h"
#include "sqloMessages.h"
#include "sqloPrereqDefs.h"

int kshntp;
int isNTP;
char szNTPMessages[1024];

typedef char toolLine[256]; // a line of a tool's output; a longer one is read in pieces of this size

/* --- Tools --- */

int sqloCheckTools(void) {
    commandText szCommand;
    formatCommand(szCommand, "strings < /dev/null > /dev/null 2> /dev/null");
    int status = runCommand(szCommand);
    if (status == -1)
        fprintf(stderr, szStringsUnknown, strerror(errno));
    else if (status != 0)
        fputs(szStringsMissing, stderr);
    return status == 0 ? RC_OK : RC_FAILED;
}

/* --- The memory map of this process: which library files the loader has mapped --- */

typedef char mapsPath[32];

static FILE *openMaps(mapsPath &szMaps) {
    formatText(szMaps, "/proc/%d/maps", (int)getpid());
    return fopen(szMaps, "re");
}

/* Reads on to the next line of the map that holds a text, and stores the path in it. Returns 0 when no further line
 * does. A line that is too long is read in pieces; a piece without a path is passed over. */
static int findMapping(FILE *pMaps, const char *pText, char (&szPath)[256]) {
    toolLine szLine;
    while (fgets(szLine, sizeof szLine, pMaps) != NULL)
        if (strstr(szLine, pText) != NULL && sscanf(szLine, "%*s%*s%*s%*s%*s%255s", szPath) == 1)
            return 1;
    return 0;
}

/* Runs strings, which writes the texts of a library into the capture file. */
static int captureStrings(captureFile *pCapture, const char *pLibrary) {
    return captureOutput(pCapture, "strings %s > %s 2>&1 ", pLibrary);
}

/* --- C++ runtime --- */

/* Runs file on the library. The answer does not matter. */
static void askFileKind(const char *pLibrary) {
    commandText szCommand;
    formatCommand(szCommand, "/usr/bin/file -L %s ", pLibrary);
    outputHolds(szCommand, "64-bit");
}

static const char *const pMappedRuntime = "libstdc++.so.6";

/* What a C++ runtime has, for the entry of one that does not meet the requirement. */
struct runtimeFindings {
    int bExamined;      // 0 when its texts could not be read
    toolLine szHighest; // the highest symbol version with the prefix of the required one, or empty
};

/* The name of the library for messages. Without CPPLibName the program examines its own runtime. */
static const char *runtimeName(void) {
    return ppszPREREQ[CPPLibName] == NULL ? pMappedRuntime : ppszPREREQ[CPPLibName];
}

/* The length of the prefix of a symbol version: 7 for "CXXABI_1.3.15". 0 when there is no prefix. */
static size_t prefixLength(const char *pSymbol) {
    const char *pEnd = strrchr(pSymbol, '_');
    return pEnd == NULL ? 0 : (size_t)(pEnd + 1 - pSymbol);
}

/* Stores a symbol version in szHighest when it has the prefix of the required one, of this length, and is higher than
 * the stored one. */
static void noteSymbolVersion(toolLine &szHighest, const char *pSymbol, const char *pRequired, size_t length) {
    if (length == 0 || strncmp(pSymbol, pRequired, length) != 0 || !isDecimalDigit(pSymbol[length]))
        return;
    if (*szHighest == '\0' || sqloCompareVersionStrings(szHighest + length, pSymbol + length) == VERSION_HIGHER)
        copyText(szHighest, pSymbol);
}

/* Searches the texts of the runtime for the required symbol version, as a whole line, and reports it. The C++ ABI
 * version in that message is the last "CXXABI" line read so far. Returns 1 when it is found. */
static int findSymbolVersion(captureFile *pCapture, toolLine &szHighest) {
    const char *pRequired = ppszPREREQ[CPPVersionString];
    size_t prefix = prefixLength(textOrEmpty(pRequired));
    toolLine szLine, szCurrent = "";
    while (readCapture(pCapture, szLine)) {
        cutLastCharacter(szLine);
        if (strstr(szLine, "CXXABI") != NULL)
            copyText(szCurrent, szLine);
        if (pRequired == NULL)
            continue;
        if (strcmp(szLine, pRequired) == 0) {
            reportText(MSG_LIBSTDCXX_FOUND, szCurrent);
            return 1;
        }
        noteSymbolVersion(szHighest, szLine, pRequired, prefix);
    }
    return 0;
}

/* Judges the runtime that the loader has mapped. A runtime whose texts cannot be read passes: it is loaded, so it is
 * there, and only the tool has failed. */
static int judgeCppRuntime(runtimeFindings *pFindings) {
    mapsPath szMaps;
    FILE *pMaps = openMaps(szMaps);
    if (pMaps == NULL) {
        reportText(MSG_MAPS_NOT_OPENED, szMaps);
        return 0;
    }
    char szLibrary[256];
    int bMapped = findMapping(pMaps, pMappedRuntime, szLibrary);
    fclose(pMaps);
    if (!bMapped)
        return 1;
    reportText(MSG_LIBSTDCXX_LOCATED, szLibrary);
    askFileKind(szLibrary);

    captureFile capture;
    int status = captureStrings(&capture, szLibrary);
    int bMet = 1;
    if (!openCapture(&capture) || status != 0)
        reportText(MSG_STRINGS_FAILED);
    else
        bMet = findSymbolVersion(&capture, pFindings->szHighest);
    pFindings->bExamined = 1;
    dropCapture(&capture);
    return bMet;
}

/* Composes the text that says which symbol version is missing, and which one the library has instead. */
static void describeSymbolVersion(unmetText &szUnmet, const runtimeFindings &findings) {
    const char *pRequired = ppszPREREQ[CPPVersionString];
    messageText szText;
    if (pRequired == NULL)
        fetchText(szText, MSG_SYMBOL_NOT_GIVEN);
    else if (!findings.bExamined)
        fetchText(szText, MSG_SYMBOL_UNKNOWN, pRequired, runtimeName());
    else if (*findings.szHighest != '\0')
        fetchText(szText, MSG_SYMBOL_HIGHEST, pRequired, runtimeName(), findings.szHighest);
    else {
        toolLine szPrefix;
        size_t length = prefixLength(pRequired);
        formatText(szPrefix, "%.*s", (int)(length == 0 ? strlen(pRequired) : length - 1), pRequired);
        fetchText(szText, MSG_SYMBOL_NONE, pRequired, runtimeName(), szPrefix);
    }
    copyText(szUnmet, szText);
}

/* Writes the requirement. The message gets two library names: CPPLibName, which may be empty, and the name to show. */
static void logRuntimeRequirement(messageText &szRequired) {
    const char *pSymbol = ppszPREREQ[CPPVersionString];
    messageText szNotGiven;
    if (pSymbol == NULL)
        pSymbol = fetchText(szNotGiven, MSG_SYMBOL_NOT_GIVEN);
    logText(szRequired, MSG_LIBSTDCXX_REQUIRED, textOrEmpty(ppszPREREQ[CPPLibName]), pSymbol, runtimeName());
}

int sqloCheckLibStdCPlusPlus(void) {
    messageText szRequired, szNoDetail = "";
    const char *pLibraryName = ppszPREREQ[CPPLibName];
    startCheck(MSG_TITLE_LIBSTDCXX);
    logRuntimeRequirement(szRequired);
    runtimeFindings findings = {0, ""};
    void *pLibrary = dlopen(pLibraryName, RTLD_NOW);
    int bMet = 0;
    if (pLibrary == NULL)
        reportText(MSG_LIBRARY_NOT_LOADED, pLibraryName);
    else {
        bMet = judgeCppRuntime(&findings);
        dlclose(pLibrary);
    }
    if (bMet)
        return passCheck();
    unmetText szUnmet;
    describeSymbolVersion(szUnmet, findings);
    return failCheck(SEVERITY_ERROR, szRequired, szNoDetail, szUnmet);
}

/* --- Libraries that only have to load --- */

struct loadableLibrary {
    const char *pName;
    int titleMessage, loadedMessage, missingMessage;
};

static int checkLoads(const loadableLibrary &library) {
    startCheck(library.titleMessage);
    void *pLibrary = dlopen(library.pName, RTLD_NOW);
    if (pLibrary != NULL) {
        reportText(library.loadedMessage);
        dlclose(pLibrary);
        return passCheck();
    }
    messageText szMissing;
    reportText(MSG_LOADER_ERROR, (const char *)dlerror());
    logText(szMissing, library.missingMessage);
    sqloUpdateErrorList(szMissing);
    closeFailedCheck(SEVERITY_ERROR);
    return RC_FAILED;
}

int sqloCheckLibAio(void) {
    return checkLoads({"libaio.so.1", MSG_TITLE_LIBAIO, MSG_LIBAIO_LOADED, MSG_LIBAIO_MISSING});
}

int sqloCheckLibNuma(void) {
    return checkLoads({"libnuma.so.1", MSG_TITLE_LIBNUMA, MSG_LIBNUMA_LOADED, MSG_LIBNUMA_MISSING});
}

/* --- C library --- */

enum Verdict { NOT_JUDGED, MET, NOT_MET };

/* Finds the line of the library that holds "release version" and splits what follows at the dots. The newline stays in
 * the last part. */
static threePartLevel findReleaseVersion(captureFile *pCapture, toolLine &szLine) {
    threePartLevel level = {{NULL, NULL, NULL}};
    while (readCapture(pCapture, szLine)) {
        char *pStart = strstr(szLine, "release version");
        if (pStart == NULL)
            continue;
        char *pRest = NULL;
        strtok_r(pStart, " ", &pRest);
        strtok_r(NULL, " ", &pRest);
        level.ppszPart[0] = strtok_r(NULL, ". ", &pRest);
        level.ppszPart[1] = strtok_r(NULL, ".", &pRest);
        level.ppszPart[2] = strtok_r(NULL, " ", &pRest);
        break;
    }
    return level;
}

static Verdict judgeLibraryLevel(const threePartLevel &level, messageText &szDetail) {
    const char *const *ppszPart = level.ppszPart;
    if (ppszPart[0] == NULL)
        return NOT_JUDGED;
    if (ppszPart[2] == NULL)
        return NOT_MET;
    char szMajor[10], szMinor[10];
    formatText(szMajor, "%d", leadingNumber(ppszPart[1]));
    formatText(szMinor, "%d", leadingNumber(ppszPart[2]));
    logText(szDetail, MSG_GLIBC_FOUND, ppszPart[0], szMajor, szMinor);
    return meetsMinimum(level, {LibCVersion, LibCMajorRelease, LibCMinorRelease}) ? MET : NOT_MET;
}

/* Judges one mapped file. A file without a "release version" line is not the C library. */
static Verdict judgeCLibrary(const char *pLibrary, messageText &szRequired, messageText &szDetail) {
    reportText(MSG_GLIBC_LOCATED, pLibrary);
    captureFile capture;
    captureStrings(&capture, pLibrary);
    Verdict verdict = NOT_MET;
    if (!openCapture(&capture))
        reportText(MSG_GLIBC_STRINGS_FAILED);
    else {
        logText(szRequired, MSG_GLIBC_REQUIRED, minimumOrZero(LibCVersion), minimumOrZero(LibCMajorRelease),
                minimumOrZero(LibCMinorRelease));
        toolLine szLine;
        verdict = judgeLibraryLevel(findReleaseVersion(&capture, szLine), szDetail);
    }
    dropCapture(&capture);
    return verdict;
}

/* Closes the block of a failed check. When no level was found, the entry says which one is required. */
static int failCLibrary(const char *pRequirement, messageText &szDetail) {
    messageText szTitle;
    unmetText szUnmet;
    fetchText(szTitle, MSG_TITLE_GLIBC);
    formatText(szUnmet, "%s %s.%s.%s", szTitle, minimumOrZero(LibCVersion), minimumOrZero(LibCMajorRelease),
               minimumOrZero(LibCMinorRelease));
    return failCheck(SEVERITY_ERROR, pRequirement, szDetail, szUnmet);
}

int sqloCheckGlibC(void) {
    messageText szRequired = "", szDetail = "";
    startCheck(MSG_TITLE_GLIBC);
    mapsPath szMaps;
    FILE *pMaps = openMaps(szMaps);
    if (pMaps == NULL) {
        reportText(MSG_GLIBC_MAPS_NOT_OPENED);
        return failCLibrary(szRequired, szDetail);
    }
    Verdict verdict = NOT_JUDGED;
    char szLibrary[256];
    while (verdict == NOT_JUDGED && findMapping(pMaps, "libc", szLibrary))
        verdict = judgeCLibrary(szLibrary, szRequired, szDetail);
    fclose(pMaps);
    if (verdict == NOT_JUDGED)
        reportText(MSG_GLIBC_STRINGS_FAILED);
    return verdict == NOT_MET ? failCLibrary(szRequired, szDetail) : passCheck();
}

/* --- 32-bit PAM --- */

static const char *const pPamPattern = "/lib/libpam.so*";
static const char *const pUbuntuPamPattern = "/lib/i386-linux-gnu/libpam.so*";

/* 1 when one of the files that match the pattern is a 32-bit library. Leaves the output of ldd in the capture file. */
static int has32BitPam(const char *pPattern) {
    captureFile capture;
    int status = captureOutput(&capture, "ldd %s > %s 2>&1", patternWord(pPattern));
    leaveCapture(&capture);
    if (status != 0) {
        debugTrace("   Failed to locate library %s on the system.\n", pPamPattern);
        return 0;
    }
    debugTrace("   Successfully loaded libpam.so.");
    commandText szCommand;
    formatCommand(szCommand, "file -L %s ", patternWord(pPattern));
    return outputHolds(szCommand, "32-bit"); // not only "32", which a build id may hold
}

int sqloCheckLibPAM(void) {
    const char *pPattern = isUbuntu14 ? pUbuntuPamPattern : pPamPattern;
    startCheck(pPattern);
    if (has32BitPam(pPattern))
        return passCheck();
    if (debug)
        fputs("WARNING: \n   The 32-bit library file libpam.so is not found on the system.\n", standardError());
    messageText szMessage;
    char szMissing[sizeof szMessage + 3];
    fetchText(szMessage, MSG_LIBPAM_32BIT_MISSING, pPattern);
    formatText(szMissing, sizeof szMissing - LOG_ROOM, "   %s", szMessage);
    logMessage(szMissing);
    sqloUpdateErrorList(szMissing);
    closeFailedCheck(SEVERITY_WARNING);
    return RC_OK; // a warning only
}

/* --- Package queries --- */

/* The name of a package with its architecture. A name that was cut to fit is shown, but rpm is not asked about it. */
struct suffixedName {
    char szText[256];
    int bWhole;
};

/* rpm writes a line for each part of these formats. The shell passes "\n" on, and rpm turns it into a newline. */
static const char *const pQueryByFile =
    "rpm -q --qf \"%{NAME}\\n%{VERSION}\\n%{RELEASE}\\n\" -f %s >> /dev/null  2>&1  > %s";
static const char *const pQueryByName = "rpm -q --qf \"%{NAME}\\n%{VERSION}\\n%{RELEASE}\\n\" -l %s 2>&1 > %s";

static int isSeverity(int msgLevel) {
    return msgLevel == SEVERITY_ERROR || msgLevel == SEVERITY_WARNING;
}

/* The suffix of 32-bit packages: "i386" on other distributions, on an old RHEL and on one without a known release. */
static const char *suffix32Bit(void) {
    if (linuxDistro != DISTRO_RHEL)
        return "i386";
    int order = sqloCompareVersionStrings("6", ppszPREREQ[RHELVersion]);
    return order == VERSION_HIGHER || order == VERSION_EQUAL ? "i686" : "i386";
}

/* Appends the architecture to the name of a package. b32Bit: 1 a 32-bit package, 0 an x86_64 one, else noarch. */
static suffixedName addSuffix(const char *pPackage, int b32Bit) {
    suffixedName package;
    const char *pSuffix = b32Bit == 1 ? suffix32Bit() : b32Bit == 0 ? "x86_64" : "noarch";
    package.bWhole = formatText(package.szText, "%s.%s", textOrEmpty(pPackage), pSuffix);
    return package;
}

enum QueryAnswer { INSTALLED, NOT_INSTALLED, QUERY_KILLED };

static QueryAnswer answerOf(int status) {
    if (wasKilled(status))
        return QUERY_KILLED;
    return exitCode(status) == 0 ? INSTALLED : NOT_INSTALLED;
}

/* Asks rpm whether a package is installed. Only the status of rpm counts, not what it prints. */
static QueryAnswer queryInstalled(const suffixedName &package) {
    if (!package.bWhole)
        return NOT_INSTALLED;
    captureFile capture;
    QueryAnswer answer = answerOf(captureOutput(
        &capture, "rpm -q --qf \"%{NAME}\\n%{VERSION}\\n%{ARCH}\\n\" -l %s 2>&1 > %s", (const char *)package.szText));
    dropCapture(&capture);
    return answer;
}

/* --- A package with a minimum version and release --- */

/* The package that a check looks for, and its minimums. */
struct packageRequest {
    const char *pPackage; // name, asked for when pFile is null; may be null
    const char *pFile;    // a file that the package owns; may be null
    const char *pMinVersion, *pMinRelease;
    int bReportMissing;
};

static const char *requestName(const packageRequest &request) {
    return request.pPackage != NULL ? request.pPackage : request.pFile;
}

static const char *requestObject(const packageRequest &request) {
    return request.pFile != NULL ? request.pFile : request.pPackage;
}

static void logPackageRequirement(const packageRequest &request, messageText &szRequired) {
    if (request.pMinVersion != NULL)
        logText(szRequired, request.pMinRelease != NULL ? MSG_REQUIRED_WITH_RELEASE : MSG_REQUIRED_VERSION,
                requestName(request), request.pMinVersion, request.pMinRelease);
}

/* rpm expands macros, which may hold commands, in a file name that does not begin with "/" and in the name of the
 * directory that it is looked for in. Returns 1 when either name could hold a macro. */
static int mayHoldMacro(const char *pFile) {
    char szDirectory[4096];
    return *pFile != '/' && (strchr(pFile, '%') != NULL || getcwd(szDirectory, sizeof szDirectory) == NULL ||
                             strchr(szDirectory, '%') != NULL);
}

/* Composes a query for the package that owns a file. Leaves the command empty when the name could hold a macro. */
static void composeFileQuery(commandText &szCommand, const char *pFormat, const char *pFile,
                             const captureFile &capture) {
    if (mayHoldMacro(pFile))
        szCommand[0] = '\0';
    else
        formatCommand(szCommand, pFormat, pFile, capture.szPath);
}

static QueryAnswer queryPackage(const packageRequest &request, captureFile *pCapture) {
    commandText szCommand;
    if (request.pFile != NULL)
        composeFileQuery(szCommand, pQueryByFile, request.pFile, *pCapture);
    else
        formatCommand(szCommand, pQueryByName, request.pPackage, pCapture->szPath);
    return answerOf(runIntoCapture(pCapture, szCommand));
}

/* Reports that a version cannot be compared, and the package that has it. */
static void reportUnreadableVersion(const toolLine &szPackage) {
    reportText(MSG_VERSION_UNREADABLE);
    reportText(MSG_VERSION_SOURCE, szPackage);
}

/* Copies a line without its last character, for use as a token. */
static void keepLine(char (&szToken)[100], const toolLine &szLine) {
    toolLine szCut;
    copyText(szCut, szLine);
    cutLastCharacter(szCut);
    copyText(szToken, szCut);
}

/* Judges the release of a package. It counts only when the versions are equal. */
static Verdict judgeRelease(const packageRequest &request, captureFile *pCapture, const toolLine &szPackage,
                            const char *pVersionToken, messageText &szDetail) {
    if (request.pMinRelease == NULL)
        return MET;
    toolLine szRelease;
    readCapture(pCapture, szRelease);
    int order = sqloCompareVersionStrings(request.pMinRelease, szRelease);
    if (order == VERSION_UNREADABLE) {
        reportUnreadableVersion(szPackage);
        return NOT_MET;
    }
    char szReleaseToken[100];
    keepLine(szReleaseToken, szRelease);
    logText(szDetail, MSG_PACKAGE_FOUND_RELEASE, pVersionToken, szReleaseToken);
    return order == VERSION_LOWER ? NOT_MET : MET;
}

/* Judges an installed package by the lines that rpm wrote. Once kshntp is set, two more rules hold. An equal version is
 * too old when its text, newline included, sorts below the required text. A version that is not numeric is judged by
 * the release. */
static Verdict judgePackage(const packageRequest &request, captureFile *pCapture, messageText &szDetail) {
    toolLine szPackage, szVersion;
    readCapture(pCapture, szPackage);
    readCapture(pCapture, szVersion);
    int order = sqloCompareVersionStrings(request.pMinVersion, szVersion);
    int bTextIsLower = kshntp && order == VERSION_EQUAL && strcmp(request.pMinVersion, szVersion) > 0;
    char szVersionToken[100];
    keepLine(szVersionToken, szVersion);
    if (order == VERSION_HIGHER || order == VERSION_LOWER || bTextIsLower) {
        logText(szDetail, MSG_VERSION_FOUND, szVersionToken);
        return order == VERSION_HIGHER ? MET : NOT_MET;
    }
    if (order == VERSION_UNREADABLE && !kshntp) {
        reportUnreadableVersion(szPackage);
        return NOT_MET;
    }
    return judgeRelease(request, pCapture, szPackage, szVersionToken, szDetail);
}

/* Looks for an installed kernel-devel package whose version begins with the release of the running kernel. A query that
 * fails does not fail the check. When the release of the kernel is unknown, no package matches. */
static Verdict matchRunningKernel(void) {
    toolLine szKernel = "";
    firstLineOf("uname -r ", szKernel);
    cutNewline(szKernel);
    commandText szCommand;
    captureFile capture;
    nameCapture(&capture, 100);
    formatCommand(szCommand, "rpm -q --qf \"%%{VERSION}-%%{RELEASE}.%%{ARCH}\\n\" %s >> /dev/null 2>&1 > %s",
                  "kernel-devel", capture.szPath);
    Verdict verdict = MET;
    if (runIntoCapture(&capture, szCommand) == 0) {
        verdict = NOT_MET;
        if (!openCapture(&capture))
            reportText(MSG_CAPTURE_NOT_READABLE);
        toolLine szLine;
        while (verdict == NOT_MET && readCapture(&capture, szLine)) {
            cutNewline(szLine);
            if (*szKernel != '\0' && strncmp(szLine, szKernel, strlen(szKernel)) == 0) {
                reportText(MSG_KERNEL_DEVEL_MATCHED, szLine, szKernel);
                verdict = MET;
            }
        }
    }
    dropCapture(&capture);
    if (verdict == NOT_MET) {
        messageText szUnmatched;
        logText(szUnmatched, MSG_KERNEL_DEVEL_UNMATCHED, szKernel);
        sqloUpdateErrorList(szUnmatched);
    }
    return verdict;
}

/* Judges the answer of rpm about a package. */
static Verdict judgeAnswer(const packageRequest &request, QueryAnswer answer, captureFile *pCapture,
                           messageText &szDetail) {
    if (answer == QUERY_KILLED) {
        reportKilledQuery(szDetail, requestName(request));
        return NOT_MET;
    }
    if (answer == NOT_INSTALLED) {
        if (request.bReportMissing)
            logText(szDetail, MSG_PACKAGE_NOT_INSTALLED, requestName(request));
        return NOT_MET;
    }
    if (request.pMinVersion == NULL) {
        reportText(MSG_PACKAGE_FOUND, requestObject(request));
        int bKernelDevel = request.pPackage != NULL && strcmp(request.pPackage, "kernel-devel") == 0;
        return bKernelDevel ? matchRunningKernel() : MET;
    }
    if (!openCapture(pCapture)) {
        reportText(MSG_CAPTURE_NOT_READABLE);
        reportText(MSG_PACKAGE_NOT_INSTALLED, requestName(request));
        return NOT_MET;
    }
    return judgePackage(request, pCapture, szDetail);
}

/* Closes a failed package check. A failure of the NTP package is kept in szNTPMessages, because it counts only when the
 * chrony package fails too. */
static int failPackage(const packageRequest &request, int msgLevel, const messageText &szRequired,
                       messageText &szDetail) {
    unmetText szUnmet;
    copyText(szUnmet, textOrEmpty(requestObject(request)));
    if (!isNTP)
        return failCheck(msgLevel, szRequired, szDetail, szUnmet, request.pPackage);
    entryText szEntry;
    closeFailedCheck(msgLevel);
    composeEntry(szEntry, szRequired, szDetail, szUnmet, request.pPackage);
    copyText(szNTPMessages, szEntry);
    return RC_FAILED;
}

int sqloCheckPackageLINUX(const char *packageID, const char *file, const char *minVersion, const char *minRelease,
                          int msgLevel, int emitErrors) {
    const packageRequest request = {packageID, file, minVersion, minRelease, emitErrors == 1};
    messageText szRequired = "", szDetail = "";
    startCheck(requestName(request));
    if (!isSeverity(msgLevel))
        return failPackage(request, msgLevel, szRequired, szDetail);
    logPackageRequirement(request, szRequired);
    captureFile capture;
    nameCapture(&capture);
    QueryAnswer answer = queryPackage(request, &capture);
    Verdict verdict = judgeAnswer(request, answer, &capture, szDetail);
    dropCapture(&capture);
    return verdict == MET ? passCheck() : failPackage(request, msgLevel, szRequired, szDetail);
}

/* --- Time service and shell --- */

/* Finds the path of a command. Returns 0 when `which` does not find it or when its path is too long for a query; -1,
 * after reporting MSG_CAPTURE_NOT_READABLE, when the answer cannot be read. */
static int findCommand(const char *pCommand, toolLine &szPath) {
    captureFile capture;
    int result = captureOutput(&capture, "which %s >> /dev/null  2>&1  > %s", pCommand) == 0 ? 1 : 0;
    if (result == 1 && !openCapture(&capture)) {
        reportText(MSG_CAPTURE_NOT_READABLE, pCommand);
        result = -1;
    }
    readCapture(&capture, szPath);
    if (strlen(szPath) == sizeof szPath - 1)
        result = 0;
    cutLastCharacter(szPath);
    dropCapture(&capture);
    return result;
}

int sqlocheckNtpChronyKsh(const char *file, const char *version, const char *release) {
    const char *pNtp = ppszPREREQ[ntpPackage];
    isNTP = file != NULL && pNtp != NULL && strcmp(file, pNtp) == 0;
    kshntp = 1;
    if (isNTP)
        szNTPMessages[0] = '\0';
    toolLine szPath;
    int found = findCommand(file, szPath);
    int result = RC_FAILED;
    if (found >= 0)
        result = sqloCheckPackageLINUX(NULL, found ? szPath : file, version, release, SEVERITY_WARNING, 0);
    isNTP = 0;
    return result;
}

/* --- Packages of host channel adapters --- */

/* Opens the block of a check for a package of a group. */
static void startGroupCheck(const char *pGroup, const suffixedName &package) {
    char szTitle[256];
    formatText(szTitle, "%s: %s", pGroup, package.szText);
    startCheck(szTitle);
}

static int passFoundPackage(const char *pName) {
    reportText(MSG_PACKAGE_FOUND, pName);
    return passCheck();
}

/* Reports a missing package by the message of its group. A Mellanox package has a text of its own, and one of an
 * unknown group has none. */
static void reportMissingPackage(messageText &szDetail, const char *pGroup, const suffixedName &package,
                                 int bMellanox) {
    static const struct {
        const char *pGroup;
        int number;
    } rows[] = {
        {"Infiniband Support Package", MSG_IB_SUPPORT_MISSING},
        {"High Performance Networking Package", MSG_HPN_MISSING},
        {"RDMA Infiniband Package", MSG_RDMA_IB_MISSING},
    };
    if (bMellanox) {
        formatText(szDetail, MESSAGE_SIZE, szMellanoxMissing, package.szText);
        logMessage(szDetail);
        return;
    }
    for (const auto &row : rows)
        if (strcmp(pGroup, row.pGroup) == 0)
            logText(szDetail, row.number, package.szText);
}

static int checkSuffixedPackage(const char *pGroup, const suffixedName &package, int msgLevel, int emitErrors,
                                int bMellanox) {
    messageText szDetail = "";
    startGroupCheck(pGroup, package);
    if (isSeverity(msgLevel)) {
        QueryAnswer answer = queryInstalled(package);
        if (answer == INSTALLED)
            return passFoundPackage(package.szText);
        if (answer == QUERY_KILLED)
            reportKilledQuery(szDetail, package.szText);
        else if (emitErrors == 1)
            reportMissingPackage(szDetail, pGroup, package, bMellanox);
    }
    unmetText szUnmet;
    copyText(szUnmet, package.szText);
    return failCheck(msgLevel, "", szDetail, szUnmet, package.szText);
}

int sqloCheckHCAPackageLINUX(const char *packageName, const char *rpmPkgName, int b32Bit, int msgLevel,
                             int emitErrors) {
    return checkSuffixedPackage(packageName, addSuffix(rpmPkgName, b32Bit), msgLevel, emitErrors, 0);
}

/* Appends the architecture to the name of a Mellanox package. verifyVMware is called for every package. If it answered
 * 0, a 32-bit package would get the suffix of noarch; it never does. */
static suffixedName addMellanoxSuffix(const char *pPackage, int b32Bit) {
    const int anyArchitecture = -1;
    int bVMware = verifyVMware() == 0;
    if (b32Bit == 1 && !bVMware)
        debugTrace(" Not a vmware, checking  for 32bit \n");
    return addSuffix(pPackage, b32Bit == 1 && bVMware ? anyArchitecture : b32Bit);
}

int sqloCheckMellanoxPackageLINUX(const char *packageName, const char *rpmPkgName, int b32Bit, int msgLevel,
                                  int emitErrors) {
    return checkSuffixedPackage(packageName, addMellanoxSuffix(rpmPkgName, b32Bit), msgLevel, emitErrors, 1);
}

int sqloCheckPackagePresenceLinux(const char *, const char *rpmPkgName, int b32Bit) {
    suffixedName package = addSuffix(rpmPkgName, b32Bit);
    QueryAnswer answer = queryInstalled(package);
    if (answer == QUERY_KILLED) {
        messageText szUnused;
        reportKilledQuery(szUnused, package.szText);
    }
    return answer == INSTALLED ? RC_OK : RC_FAILED;
}

/* --- Mellanox OFED --- */

/* KVXMLNXOFED enables the validation when it is a beginning of "TRUE" in any case, such as "t" or the empty text. */
static int isOfedValidationEnabled(void) {
    const char *pSetting = getenv("KVXMLNXOFED");
    if (pSetting == NULL || strncasecmp(pSetting, "TRUE", strlen(pSetting)) != 0)
        return 0;
    debugTrace(" The env variable KVXMLNXOFED is set to TRUE, enabling Mellanox ofed valdiation ");
    return 1;
}

/* 1 when the captured output names the Mellanox stack. */
static int namesMellanoxOfed(captureFile *pCapture) {
    if (!openCapture(pCapture))
        reportText(MSG_CAPTURE_NOT_READABLE);
    toolLine szLine;
    while (readCapture(pCapture, szLine))
        if (strstr(szLine, "MLNX_OFED_LINUX") != NULL)
            return 1;
    return 0;
}

int sqloCheckMellanoxLINUX(void) {
    if (!isOfedValidationEnabled())
        return RC_FAILED;
    static const char *const pOfedInfo = "/usr/bin/ofed_info";
    captureFile capture;
    int status = captureOutput(&capture, "(%s | head -2) >> /dev/null  2>&1  > %s", pOfedInfo);
    int bPresent = 0;
    if (wasKilled(status))
        reportText(MSG_COMMAND_NOT_RUN, pOfedInfo);
    else if (status == 0)
        bPresent = namesMellanoxOfed(&capture);
    dropCapture(&capture);
    return bPresent ? RC_OK : RC_FAILED;
}

/* --- SCSI generic utilities --- */

/* Composes the query for the SCSI generic utilities. It also verifies the package of the reservation tool. */
static void composeSGQuery(commandText &szCommand, const packageRequest &request, const captureFile &capture) {
    if (request.pFile == NULL)
        formatCommand(szCommand, pQueryByName, request.pPackage, capture.szPath);
    else if (strcmp(request.pFile, "/usr/bin/sg_persist") == 0)
        composeFileQuery(szCommand, "rpm -q --qf \"%{NAME}\\n%{VERSION}\\n%{RELEASE}\\n\" -f %s -V 2>/dev/null > %s",
                         request.pFile, capture);
    else
        composeFileQuery(szCommand, "rpm -q --qf \"%{NAME}\\n%{VERSION}\\n%{RELEASE}\\n\" -f %s 2>/dev/null > %s",
                         request.pFile, capture);
}

static QueryAnswer querySGPackage(const packageRequest &request) {
    commandText szCommand;
    captureFile capture;
    nameCapture(&capture);
    composeSGQuery(szCommand, request, capture);
    QueryAnswer answer = answerOf(runIntoCapture(&capture, szCommand));
    dropCapture(&capture);
    return answer;
}

/* Unlike the other package checks it uses its closing line as the entry, and has a status of its own. */
int sqloCheckSGPackageLINUX(const char *packageID, const char *file, int msgLevel, int emitErrors) {
    const packageRequest request = {packageID, file, NULL, NULL, emitErrors == 1};
    messageText szText;
    startCheck(requestName(request));
    if (isSeverity(msgLevel)) {
        QueryAnswer answer = querySGPackage(request);
        if (answer == INSTALLED)
            return passFoundPackage(requestObject(request));
        if (answer == QUERY_KILLED)
            reportKilledQuery(szText, requestName(request));
        else if (request.bReportMissing)
            reportText(MSG_PACKAGE_NOT_INSTALLED, requestName(request));
    }
    closeFailedCheck(szText, msgLevel, textOrEmpty(requestObject(request)));
    sqloUpdateErrorList(szText);
    return RC_SG_PACKAGE;
}

/* --- System settings --- */

/* Judges the output of getenforce. No output counts as enabled. */
static int isSELinuxDisabled(captureFile *pCapture, messageText &szDetail) {
    if (!openCapture(pCapture)) {
        logText(szDetail, MSG_CAPTURE_NOT_READABLE);
        return 0;
    }
    toolLine szLine;
    readCapture(pCapture, szLine);
    closeCapture(pCapture);
    int bDisabled = strncmp(szLine, "Disabled", strlen("Disabled")) == 0;
    messageText szState;
    reportText(MSG_SELINUX_STATE, fetchText(szState, bDisabled ? MSG_STATE_DISABLED : MSG_STATE_ENABLED));
    if (!bDisabled)
        logText(szDetail, MSG_SELINUX_ENABLED);
    return bDisabled;
}

int sqloCheckSELinuxEnabled(void) {
    static const char *const pGetenforce = "/usr/sbin/getenforce";
    if (access(pGetenforce, X_OK) != 0) {
        debugTrace("   /usr/sbin/getenforce not available, exit.");
        return RC_OK;
    }
    messageText szDetail = "";
    startCheck(MSG_TITLE_SELINUX);
    commandText szCommand;
    captureFile capture;
    composeCaptured(&capture, szCommand, "%s 2>&1 > %s", pGetenforce);
    debugTrace("   Executing command: %s\n", szCommand);
    if (wasKilled(runIntoCapture(&capture, szCommand))) {
        reportText(MSG_COMMAND_KILLED, szCommand);
        logText(szDetail, MSG_SELINUX_UNREADABLE);
    } else if (isSELinuxDisabled(&capture, szDetail)) {
        dropCapture(&capture);
        return passCheck();
    }
    leaveCapture(&capture);
    return failCheck(SEVERITY_ERROR, "", szDetail);
}

int sqloCheckMHCA(void) {
    commandText szCommand;
    formatCommand(szCommand, "./kvxprereqcheckoss %s", szNetname);
    int answer = exitCode(runCommand(szCommand, ATTACHED_COMMAND));
    setPrereq(HCANetwork, answer == ADAPTER_10GE ? "10GE" : answer == ADAPTER_INFINIBAND ? "InfiniBand" : "Undefined");
    debugTrace("HCANetwork : %s\n", textOrEmpty(ppszPREREQ[HCANetwork]));
    return answer == ADAPTER_UNDEFINED ? RC_FAILED : RC_OK;
}

/* Compares the raw status, not the exit code, so every host answers -1; addMellanoxSuffix relies on that. */
int verifyVMware(void) {
    commandText szCommand;
    formatCommand(szCommand, "dmidecode  | grep -q \"Manufacturer: VMware\" 2>&1 ");
    int status = runCommand(szCommand);
    if (status == 0)
        debugTrace(" It is a VMware setup");
    if (status != 1)
        return RC_FAILED;
    debugTrace(" It is not a VMware setup");
    return 1;
}

/* --- Cluster automation --- */

static const char *const pVexSection = "prereqVEX\n";

/* Composes the command that runs the first script that exists. Returns 0 when none does. Every user can write to /tmp,
 * so a script there counts only when it is root's own. */
static int findVexScript(commandText &szCommand) {
    static const char *const ppszBelowRuntime[] = {"/vexha/prereqVEX", "/../vexha/prereqVEX"};
    static const char *const pInTmp = "/tmp/vexha/prereqVEX";
    for (const char *pBelow : ppszBelowRuntime) {
        char szScript[sizeof szRuntimePath + sizeof "/../vexha/prereqVEX"];
        formatText(szScript, "%s%s", szRuntimePath, pBelow);
        if (access(szScript, F_OK) == 0) {
            formatCommand(szCommand, "%s%s > /dev/null 2>&1", szRuntimePath, pBelow);
            return 1;
        }
    }
    formatCommand(szCommand, "%s > /dev/null 2>&1", pInTmp);
    return isOnlyOurs("/tmp/vexha") && isOnlyOurs(pInTmp);
}

/* Writes a message to the report and to the GUI report, and on request to the error list. */
static void reportVexFault(messageText &szText, int number, int bRecord) {
    logText(szText, number);
    if (bRecord)
        sqloUpdateErrorList(szText);
    logGUIMessage(szText);
}

static int endVexCheck(int result) {
    logGUIMessage(pVexSection);
    debugTrace("prereqVEX EXIT\n");
    return result;
}

static void traceShortHostName(void) {
    char szHost[255];
    findShortHostName(szHost);
    debugTrace("Current Host = %s\n", szHost);
}

/* Finds the script and runs it. Stores the last message in szText; on failure it is the entry. */
static Verdict runVexScript(messageText &szText, int msgLevel, int emitErrors) {
    commandText szCommand;
    if (!findVexScript(szCommand)) {
        reportVexFault(szText, MSG_VEX_SCRIPT_MISSING, 1);
        closeFailedCheck(msgLevel);
        return NOT_JUDGED;
    }
    debugTrace("szCmd --> %s\n", szCommand);
    if (runCommand(szCommand, ATTACHED_COMMAND) == 0)
        return MET;
    if (emitErrors == 1)
        reportVexFault(szText, MSG_VEX_SCRIPT_FAILED, 0);
    return NOT_MET;
}

int checkprereqVEX(int msgLevel, int emitErrors) {
    messageText szText;
    startCheck(szText, "prereqVEX");
    logGUIMessage(pVexSection);
    Verdict verdict = NOT_MET;
    if (isSeverity(msgLevel)) {
        traceShortHostName();
        if (bShareGrid)
            verdict = runVexScript(szText, msgLevel, emitErrors);
    }
    if (verdict == NOT_JUDGED)
        return endVexCheck(RC_OK); // a missing script is reported, but does not fail the check
    if (verdict == MET)
        return endVexCheck(passCheck());
    sqloUpdateErrorList(szText);
    closeFailedCheck(msgLevel);
    return endVexCheck(RC_FAILED);
}
