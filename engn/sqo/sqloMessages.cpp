/*
 * Messages and reporting: the message catalog and its tokens, the locale that chooses it, and the places that a check
 * writes to: report, GUI report, error list and summary.
 */
#include <nl_types.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "sqloCommand.h"
#include "sqloMessages.h"

char *ppszTokens[MAX_TOKENS];
int totalTokens;
char szLocale[256];
int bReportLost;
errorMsg *pErrorList;
summaryNode *pPrereqSummaryList;

static const char *const pDefaultLocale = "en_US";
static const char *const pDefaultLocaleDir = "en_US.iso88591";
static const int MESSAGE_SET = 1;
static const int LOCALE_NAME_LENGTH = 33; // only so many characters of a locale name are looked up

/* --- Tokens --- */

void addToken(const char *pToken) {
    if (pToken == NULL || totalTokens >= MAX_TOKENS)
        return;
    char *pCopy = strdup(pToken);
    if (pCopy != NULL)
        ppszTokens[totalTokens++] = pCopy;
}

void addNumToken(int number) {
    char szNumber[12]; // the longest int has eleven characters
    formatText(szNumber, "%d", number);
    addToken(szNumber);
}

const char *getTokenAt(int index) {
    return index >= 0 && index < totalTokens ? ppszTokens[index] : "";
}

void sqloCleanUpTokenArray(void) {
    for (char *&pToken : ppszTokens)
        pToken = NULL;
    totalTokens = 0;
}

/* Reads the number of a placeholder and moves past its digits. Every number above the last token gives the same result,
 * so a long number cannot overflow. */
static int readPlaceholder(const char **ppText) {
    int number = 0;
    for (; isDecimalDigit(**ppText); (*ppText)++)
        if (number <= MAX_TOKENS)
            number = number * 10 + (**ppText - '0');
    return number;
}

static int isPlaceholder(const char *pText) {
    return pText[0] == '%' && isDecimalDigit(pText[1]);
}

/* The number of bytes of the tokens that a message asks for. */
static size_t tokenRoom(const char *pMessage) {
    size_t room = 0;
    while (*pMessage != '\0') {
        if (!isPlaceholder(pMessage++))
            continue;
        room += strlen(getTokenAt(readPlaceholder(&pMessage) - 1));
    }
    return room;
}

/* Writes a message with its tokens into szResult, whose size bytes must have room for it. Drops a per-cent sign that
 * begins no placeholder. Returns 0 when a placeholder has the number 0: no token has it. */
static int writeSubstituted(const char *pMessage, char *szResult, int size) {
    int length = 0;
    while (*pMessage != '\0' && length < size - 1) {
        if (isPlaceholder(pMessage)) {
            pMessage++;
            int number = readPlaceholder(&pMessage);
            if (number == 0)
                return 0;
            const char *pToken = getTokenAt(number - 1);
            iStrncpy(szResult + length, pToken, size - length);
            length += (int)strlen(pToken);
        } else if (*pMessage == '%')
            pMessage++;
        else
            szResult[length++] = *pMessage++;
    }
    szResult[length] = '\0';
    return 1;
}

/* Replaces the placeholders of the message in the buffer. Without room for the tokens the message stays as it is. */
static void substituteTokens(char *buffer, int size) {
    if ((size_t)size <= tokenRoom(buffer) + strlen(buffer))
        return;
    char *szResult = (char *)malloc((size_t)size);
    if (szResult == NULL) {
        debugTrace("%i: Message malloc failed.\n", __LINE__);
        return;
    }
    if (writeSubstituted(buffer, szResult, size))
        iStrncpy(buffer, szResult, size);
    free(szResult);
}

/* --- Catalog --- */

static int directoryExists(const char *pPath) {
    struct stat status;
    return stat(pPath, &status) == 0 && S_ISDIR(status.st_mode);
}

typedef char catalogPath[1024];

static void instanceCatalog(catalogPath &szPath, const char *pLocaleDir) {
    formatText(szPath, "%s/msg/%s/kvxistring.cat", szPrereqCatFilePath, pLocaleDir);
}

/* Names the catalog that is searched first: beside the program, or, without its directory, in the instance. */
static void nameFirstCatalog(catalogPath &szPath, const char *pLocaleDir) {
    if (*szRuntimePath == '\0')
        instanceCatalog(szPath, pLocaleDir);
    else
        formatText(szPath, "%s/locale/%s/kvxistring.cat", szRuntimePath, pLocaleDir);
}

/* Finds the catalog: beside the program, else in its installation, which counts only if there is no directory "locale"
 * beside the program, else in the instance, else the English one of the instance. */
static void findCatalog(catalogPath &szPath, const char *pLocaleDir) {
    if (*szRuntimePath != '\0') {
        formatText(szPath, "%s/locale/", szRuntimePath);
        if (!directoryExists(szPath))
            formatText(szPath, "%s/../install/locale/", szRuntimePath);
        appendText(szPath, pLocaleDir);
        appendText(szPath, "/kvxistring.cat");
        if (sqloFileExists(szPath))
            return;
    }
    instanceCatalog(szPath, pLocaleDir);
    if (!sqloFileExists(szPath))
        instanceCatalog(szPath, pDefaultLocaleDir);
}

/* Copies the message with a number out of an open catalog. */
static int copyMessage(nl_catd catalog, int number, char *buffer, int size) {
    const char *pText = catgets(catalog, MESSAGE_SET, number, buffer);
    if (pText == NULL || pText == buffer) {
        formatText(buffer, (size_t)size, "Unable to find the string resource %d", number);
        return RC_MESSAGE_MISSING;
    }
    iStrncpy(buffer, pText, size);
    return strlen(buffer) < strlen(pText) ? RC_MESSAGE_TRUNCATED : RC_OK;
}

/* The catalog that was read last; no catalog is open while the path is empty. It stays open, because a run fetches more
 * than a hundred messages from it. */
static nl_catd keptCatalog;
static catalogPath szKeptPath;
static struct stat keptStatus;

/* 1 when the file at a path is the catalog that is open. A catalog that was changed in place must be opened again,
 * because the C library would read it with the header of the old one. */
static int isKept(const char *pPath) {
    struct stat status;
    return strcmp(pPath, szKeptPath) == 0 && stat(pPath, &status) == 0 && status.st_dev == keptStatus.st_dev &&
           status.st_ino == keptStatus.st_ino && status.st_size == keptStatus.st_size &&
           memcmp(&status.st_ctim, &keptStatus.st_ctim, sizeof status.st_ctim) == 0;
}

/* Opens a catalog, unless it is already open. Its status is taken first, so that a later change is noticed. */
static nl_catd openCatalog(const char *pPath) {
    if (isKept(pPath))
        return keptCatalog;
    if (*szKeptPath != '\0')
        catclose(keptCatalog);
    keptStatus = {};
    stat(pPath, &keptStatus);
    keptCatalog = catopen(pPath, NL_CAT_LOCALE);
    copyText(szKeptPath, keptCatalog == (nl_catd)-1 ? "" : pPath);
    return keptCatalog;
}

int sqloRetrieveNLString(int number, char *buffer, int size, const char *pCatalogPath) {
    nl_catd catalog = openCatalog(pCatalogPath);
    if (catalog == (nl_catd)-1) {
        debugTrace("%i: Could not load resource library '%s'.\n", __LINE__, pCatalogPath);
        formatText(buffer, (size_t)size, "Could not load the resource library %s", pCatalogPath);
        return RC_CATALOG_UNOPENED;
    }
    return copyMessage(catalog, number, buffer, size);
}

/* Most messages come from the catalog that is open and that the search would find first, so the search is left out. */
char *sqloGetString(int number, char *buffer, int size) {
    const char *pLocaleDir = sqloNormalizedLocaleDir(szLocale);
    catalogPath szPath;
    nameFirstCatalog(szPath, pLocaleDir);
    int bKept = isKept(szPath);
    if (!bKept)
        findCatalog(szPath, pLocaleDir);
    debugTrace(" %i : Cateory file path => %s\n", __LINE__, szPath);
    int status =
        bKept ? copyMessage(keptCatalog, number, buffer, size) : sqloRetrieveNLString(number, buffer, size, szPath);
    if (status == RC_OK)
        substituteTokens(buffer, size);
    sqloCleanUpTokenArray();
    return buffer;
}

/* --- Locale --- */

void sqloInitLocale(const char *) {
    const char *pName;
    if ((pName = getenv("KVXLANG")) != NULL)
        debugTrace(" Retriving from KVXLANG => %s\n", pName);
    else if ((pName = getenv("LANG")) != NULL)
        debugTrace(" Retriving from LANG => %s\n", pName);
    else {
        debugTrace("Set default language to English.");
        pName = pDefaultLocale;
    }
    copyText(szLocale, pName);
    debugTrace("System locale => %s\n", szLocale);
}

static int isAsciiLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/* Changes a locale name into the form of the table's names: the code set in upper case, without punctuation and without
 * a modifier. A name without a code set stays as it is. */
static void normalizeLocaleName(const char *pLocale, char (&szName)[LOCALE_NAME_LENGTH + 1]) {
    int length = 0;
    int bCodeSet = 0;
    for (; *pLocale != '\0' && length < LOCALE_NAME_LENGTH; pLocale++) {
        if (!bCodeSet) {
            szName[length++] = *pLocale;
            bCodeSet = *pLocale == '.';
        } else if (*pLocale == '@')
            break;
        else if (isAsciiLetter(*pLocale) || isDecimalDigit(*pLocale))
            szName[length++] = (char)sqlocmap2[(unsigned char)*pLocale];
    }
    szName[length] = '\0';
}

const char *sqloNormalizedLocaleDir(const char *pLocale) {
    if (pLocale == NULL) {
        debugTrace("%i: Set default locale => %s\n", __LINE__, pDefaultLocaleDir);
        return pDefaultLocaleDir;
    }
    char szName[LOCALE_NAME_LENGTH + 1];
    normalizeLocaleName(pLocale, szName);
    for (const prereqlmap_t &row : prereqLocmap)
        if (strcmp(row.name, szName) == 0)
            return row.map;
    return pDefaultLocaleDir;
}

/* --- Printing a text as printf prints a format --- */

void printAsFormat(FILE *pFile, const char *pText) {
    for (; *pText != '\0'; pText++) {
        if (pText[0] == '%' && pText[1] == '%')
            pText++;
        fputc(*pText, pFile);
    }
}

/* --- Report, GUI report. Their files are closed after every line. --- */

/* Appends a text to a file. Returns 0 when it cannot be written. */
static int appendToFile(const char *pPath, const char *pText) {
    FILE *pFile = fopen(pPath, "ae");
    if (pFile == NULL)
        return 0;
    int bWritten = fputs(pText, pFile) >= 0;
    return fclose(pFile) == 0 && bWritten;
}

/* Appends a text to a report file. Says on standard error when it cannot be written. */
static void writeToReportFile(const char *pPath, const char *pText, const char *pAfterError) {
    if (appendToFile(pPath, pText))
        return;
    messageText szError;
    fetchText(szError, MSG_REPORT_NOT_WRITABLE, pPath);
    fprintf(standardError(), "%s%s", szError, pAfterError);
}

static void writeToReport(const char *pText, const char *pAfterError) {
    if (bCustomReportFile)
        writeToReportFile(szReportFile, pText, pAfterError);
    else if (!bPrintSummary && !bCheckLatestRelease) {
        fputs(pText, stdout);
        bReportLost |= bOutputClosed;
    }
}

int logMessage(char *pText) {
    if (pText == NULL)
        return RC_FAILED;
    memcpy(pText + strlen(pText), "\n", sizeof "\n");
    writeToReport(pText, "\n");
    return RC_OK;
}

int logGUIMessage(const char *pText) {
    if (pText == NULL)
        return RC_FAILED;
    if (bGUIReportFile)
        writeToReportFile(szGUIReportFile, pText, "\n");
    return RC_OK;
}

int logRemoteMessage(const char *pText) {
    if (pText == NULL)
        return RC_FAILED;
    writeToReport(pText, "");
    return RC_OK;
}

/* --- The block of a check --- */

void logBlankLine(void) {
    char szBlank[8] = "   ";
    logMessage(szBlank);
}

void startCheck(messageText &szHeading, const char *pTitle) {
    logBlankLine();
    logText(szHeading, MSG_CHECK_HEADING, pTitle);
}

void startCheck(const char *pTitle) {
    messageText szHeading;
    startCheck(szHeading, pTitle);
}

void startCheck(int titleNumber) {
    messageText szTitle;
    startCheck(fetchText(szTitle, titleNumber));
}

void startLongCheck(const longTitle &szTitle) {
    logBlankLine();
    reportText<LONG_MESSAGE_SIZE>(MSG_CHECK_HEADING, (const char *)szTitle);
}

int passCheck(void) {
    reportText(MSG_CHECK_PASSED);
    return RC_OK;
}

void closeFailedCheck(messageText &szClosing, int severity, const char *pReason) {
    messageText szSeverity = "";
    unmetText szReason = "";
    if (severity == SEVERITY_ERROR)
        fetchText(szSeverity, MSG_SEVERITY_ERROR);
    else if (severity == SEVERITY_WARNING)
        fetchText(szSeverity, MSG_SEVERITY_WARNING);
    if (*pReason != '\0')
        formatText(szReason, ": %s", pReason);
    logText(szClosing, MSG_CHECK_FAILED, szSeverity, szReason);
}

void closeFailedCheck(int severity) {
    messageText szClosing;
    closeFailedCheck(szClosing, severity, "");
}

int closeCheck(int result, int severity) {
    if (result == RC_OK)
        passCheck();
    else
        closeFailedCheck(severity);
    return result;
}

void startSection(const char *pTitle, const char *pMarker) {
    startCheck(pTitle);
    logGUIMessage(pMarker);
}

void composeEntry(entryText &szEntry, const char *pRequirement, messageText &szDetail, const unmetText &szUnmet,
                  const char *pPackage) {
    if (*szDetail == '\0')
        fetchText(szDetail, MSG_REQUIREMENT_NOT_MET, textOrEmpty(pPackage), (const char *)szUnmet);
    formatText(szEntry, "%s%s", pRequirement, szDetail);
}

int failCheck(int severity, const char *pRequirement, messageText &szDetail, const unmetText &szUnmet,
              const char *pPackage) {
    entryText szEntry;
    closeFailedCheck(severity);
    composeEntry(szEntry, pRequirement, szDetail, szUnmet, pPackage);
    sqloUpdateErrorList(szEntry);
    return RC_FAILED;
}

int failCheck(int severity, const char *pRequirement, messageText &szDetail) {
    const unmetText szNothing = "";
    return failCheck(severity, pRequirement, szDetail, szNothing);
}

void reportKilledQuery(messageText &szDetail, const char *pName) {
    reportText(MSG_QUERY_KILLED);
    fetchText(szDetail, MSG_COMMAND_NOT_RUN, pName);
}

/* --- Error list and summary --- */

int sqloUpdateErrorList(const char *pMessage) {
    if (pMessage == NULL)
        return RC_FAILED;
    errorMsg *pError = (errorMsg *)malloc(sizeof *pError);
    if (pError == NULL)
        return RC_OK;
    fillField(pError->szMessage, pMessage);
    pError->next = pErrorList;
    pErrorList = pError;
    return RC_OK;
}

/* 1 when the verdict is written to the report. With "-l" and without "-o" there is no report, and a bad verdict goes to
 * standard error instead. */
static int summaryGoesToReport(void) {
    return !bCheckLatestRelease || bCustomReportFile;
}

static void writeBadSummaryText(char *pText, const char *pAfter) {
    if (summaryGoesToReport())
        logMessage(pText);
    if (bCheckLatestRelease && !bPrintSummary)
        fprintf(standardError(), "%s%s", pText, pAfter);
}

/* Fetches a verdict, good or bad, with its tokens: client or server, the label of a clustered pass, and the level. */
static void fetchVerdict(messageText &szVerdict, int number, const char *pLevel) {
    messageText szLabel;
    fetchText(szLabel, MSG_CLUSTERED_LABEL);
    fetchText(szVerdict, number, bClient ? szClientWord : szServerWord, bShareGrid ? szLabel : "", pLevel);
}

/* Writes the verdict on a level with failures, and below it the entries, the newest first. */
static void writeBadSummary(messageText &szVerdict, const char *pLevel) {
    fetchVerdict(szVerdict, MSG_LEVEL_FAILED, pLevel);
    writeBadSummaryText(szVerdict, "\n");

    char szText[LONG_MESSAGE_SIZE + LOG_ROOM];
    fetchText(szText, MSG_FAILURES_FOLLOW);
    writeBadSummaryText(szText, "\n");
    for (const errorMsg *pError = pErrorList; pError != NULL; pError = pError->next) {
        formatText(szText, LONG_MESSAGE_SIZE, "%.*s\n", (int)sizeof pError->szMessage, pError->szMessage);
        writeBadSummaryText(szText, "");
    }
}

static void writeGoodSummary(messageText &szVerdict, const char *pLevel) {
    fetchVerdict(szVerdict, MSG_LEVEL_PASSED, pLevel);
    if (!summaryGoesToReport())
        return;
    if (bPrintSummary)
        appendText(szVerdict, "\n");
    logMessage(szVerdict);
}

/* Appends a node to the summary list, and moves the entries of the level into it. */
static void keepSummary(const char *pLevel, const char *pVerdict) {
    summaryNode *pSummary = (summaryNode *)malloc(sizeof *pSummary);
    if (pSummary == NULL)
        return;
    fillField(pSummary->szVersion, pLevel);
    copyText(pSummary->szSummary, pVerdict);
    pSummary->pPrereqErrorList = pErrorList;
    pSummary->next = NULL;
    pErrorList = NULL;

    summaryNode **ppEnd = &pPrereqSummaryList;
    while (*ppEnd != NULL)
        ppEnd = &(*ppEnd)->next;
    *ppEnd = pSummary;
}

int sqloWriteSummaryToReport(const char *pLevel) {
    if (pLevel == NULL)
        return RC_FAILED;
    messageText szVerdict;
    if (pErrorList != NULL)
        writeBadSummary(szVerdict, pLevel);
    else
        writeGoodSummary(szVerdict, pLevel);
    keepSummary(pLevel, szVerdict);
    return RC_OK;
}

int sqloPrintSummary(void) {
    for (const summaryNode *pSummary = pPrereqSummaryList; pSummary != NULL; pSummary = pSummary->next) {
        fputs(pSummary->szSummary, standardError());
        if (pSummary->pPrereqErrorList == NULL)
            continue;
        char szVersion[sizeof pSummary->szVersion + 1];
        copyField(szVersion, pSummary->szVersion);
        messageText szText;
        fputs(fetchText(szText, MSG_FAILURES_FOLLOW, szVersion), stderr);
        for (const errorMsg *pError = pSummary->pPrereqErrorList; pError != NULL; pError = pError->next)
            fprintf(stderr, "%.*s\n", (int)sizeof pError->szMessage, pError->szMessage);
        fputc('\n', stderr);
    }
    return RC_OK;
}
