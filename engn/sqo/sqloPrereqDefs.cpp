/*
 * Prerequisite definitions: the tags and their values, the version comparison, the list of levels in the prerequisites
 * file, and the reader of one level with its conditions.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>

#include "sqloMessages.h"
#include "sqloPrereqDefs.h"

// clang-format off
constexpr const char *const ppszTagName[PREREQ_SLOTS] = {
    /*   0 */ "KVXLevel", "platform", "OSVersion", "OSRelease", "OSMinorRelease", "Processor", "LinuxDistro",
    /*   7 */ "RHELVersion", "RHELSP", "SLES", "SLESVersion", "SLESSP", "UBUNTUVersion", "IAVersion", "IASP",
    /*  15 */ "CNTVersion", "CNTSP", "MHCA", "HCANetwork", "RHEL", "MinOSVersion", "MinOSRelease",
    /*  22 */ "MinOSMinorRelease", "MinRHELVersion", "MinRHELSP", "RHELRelease", "RHELReleasePackage",
    /*  27 */ "RHELReleaseVersion", "MinSLESVersion", "MinSLESSP", "SLESRelease", "SLESReleasePackage",
    /*  32 */ "SLESReleaseVersion", "MinUBUNTUVersion", "MinIAVersion", "MinIASP", "MinCNTVersion", "MinCNTSP",
    /*  38 */ "rtkPackageName", "rtkPackage", "rtkLabel", "rtkVersion", "rtkLibName", "rtkMajorRelease",
    /*  44 */ "rtkMinorRelease", "rtkMinorRelease2", "CPPVersion", "DatConfLib", "CPPVersionString", "CPPLibName",
    /*  50 */ "LibCVersion", "LibCMajorRelease", "LibCMinorRelease", "shareGrid", "uDAPLLabel", "uDAPLPackage",
    /*  56 */ "uDAPLVersion", "uDAPLMajorRel", "uDAPLMinorRel2", "uDAPLMinorRel", "uDAPL", "ntpPackage",
    /*  62 */ "ntpVersion", "ntp", "chronyPackage", "chronyVersion", "chrony", "kshPackage", "kshVersion",
    /*  69 */ "kshRelease", "ksh", "mkshPackage", "mkshVersion", "filePackage", "libgompPackage", "makePackage",
    /*  76 */ "patchPackage", "libgccPackage", "perlPackage", "kolt", "UMASK", "VEXHACPPName", "ofedPackage",
    /*  83 */ "ofedVersion", "libIBIBVERBSPackage", "libIBVERBSVersion", "gccPackage", "binUtilsPackage",
    /*  88 */ "python2Package", "perlNetPingPackage", "cppPackage", "gccCPPPackage", "kernelSourcePackage",
    /*  93 */ "kernelDevelPackage", "sg3UtilsPackage", "sg3UtilsPackageName", "sgPersistPackage",
    /*  97 */ "sgPersistPackageName", "netToolsPackage", "m4Package", "CommonInfinibandSupportPackage",
    /* 101 */ "HighPerformancePackage", "InfinibandSupportPackage", "libIBConnectionMgr", "libRDMAConnectionMgr",
    /* 105 */ "libRDMAModuleInitializer", "libIBFabricSimulator", "libIBDiagnosticTools", "libChelsioHCAUsrspace",
    /* 109 */ "libOpenFabricsMAD", "libOpenFabricsUsrMAD", "libQLogicInfiniPathHCA", "libIBHCAUserspace",
    /* 113 */ "libNetEffectRNICUserspace", "libUsrSpaceRDMA", "libConnectXHCAUsrSpace", "DDRIBFirmware",
    /* 117 */ "QDRIBFirmware", "QDRIBDeviceID", "MinQDRIBROM", "RoceCX340GDeviceID", "RoceCX310GDeviceID",
    /* 122 */ "RoceCX4100GDeviceID", "RoceCX410GDeviceID", "MinRoceCX340GROM", "MinRoceCX310GROM",
    /* 126 */ "MinRoceCX4100GROM", "MinRoceCX410GROM", "RoceCX2Firmware", "RoceCX2FlexDeviceID", "RoceCX2DeviceID",
    /* 131 */ "MinRoceCX2FlexROM", "MinRoceCX2ROM", "LastTag",
};
// clang-format on
static_assert(ppszTagName[LastTag] != nullptr && ppszTagName[LastTag + 1] == nullptr &&
                  ppszTagName[LastTag][0] == 'L' && ppszTagName[LastTag][4] == 'T',
              "every tag has a name, and the sentinel's is the last");

char *ppszPREREQ[PREREQ_SLOTS];
versionList *preqVersionList;
node *pStackTop;
char szXMLTagName[TAG_NAME_LENGTH + 1];

static const char *const pPlatformName = "Linux";

/* --- Tags and values --- */

int sqloGetTagIndex(const char *pName) {
    if (pName == NULL)
        return -1;
    for (int tag = 0; tag < LastTag; tag++)
        if (*pName == *ppszTagName[tag] && strcmp(pName, ppszTagName[tag]) == 0)
            return tag;
    return -1;
}

int setPrereq(int tag, const char *pText) {
    char *pCopy = strdup(pText);
    if (pCopy == NULL)
        return RC_NO_MEMORY;
    ppszPREREQ[tag] = pCopy;
    return RC_OK;
}

/* --- Minimums in three parts --- */

const char *minimumOrZero(Tag tag) {
    return ppszPREREQ[tag] == NULL ? "0" : ppszPREREQ[tag];
}

int meetsMinimum(const threePartLevel &found, const Tag (&minimum)[3]) {
    for (int part = 0; part < 3; part++) {
        int foundNumber = leadingNumber(found.ppszPart[part]);
        int requiredNumber = leadingNumber(minimumOrZero(minimum[part]));
        if (foundNumber != requiredNumber)
            return foundNumber > requiredNumber;
    }
    return 1;
}

/* --- Version comparison --- */

static const int FURTHER_FIELDS = 10;  // fields compared after the first
static const int MISSING_FIELD = -999; // below every number

/* The next field of a version, or null at its end. */
static const char *nextField(char **ppRest) {
    return strtok_r(NULL, ".", ppRest);
}

static int isVersionField(const char *pField) {
    return pField != NULL && isDecimalDigit(*pField);
}

static int fieldNumber(const char *pField) {
    return isVersionField(pField) ? leadingNumber(pField) : MISSING_FIELD;
}

int sqloCompareVersionStrings(const char *minVerString, const char *curVerString) {
    char szRequired[256], szFound[256];
    copyText(szRequired, textOrEmpty(minVerString));
    copyText(szFound, textOrEmpty(curVerString));
    char *pRequiredRest = NULL, *pFoundRest = NULL;
    const char *pRequired = strtok_r(szRequired, ".", &pRequiredRest);
    const char *pFound = strtok_r(szFound, ".", &pFoundRest);
    if (!isVersionField(pRequired))
        return VERSION_HIGHER;
    if (!isVersionField(pFound))
        return VERSION_UNREADABLE;

    for (int round = 0;; round++) {
        int required = fieldNumber(pRequired);
        int found = fieldNumber(pFound);
        if (found != required)
            return found > required ? VERSION_HIGHER : VERSION_LOWER;
        if (found == MISSING_FIELD || round == FURTHER_FIELDS)
            return VERSION_EQUAL;
        pRequired = nextField(&pRequiredRest);
        pFound = nextField(&pFoundRest);
    }
}

/* --- Product levels --- */

/* 1 when a path names a regular file or a block device. The file is read again for every level, and opening a FIFO
 * would wait for a writer. */
static int canBeReadAgain(const char *pPath) {
    struct stat status;
    return stat(pPath, &status) == 0 && (S_ISREG(status.st_mode) || S_ISBLK(status.st_mode));
}

int sqloValidateInputXML(void) {
    static FILE *pInput; // stays open until the exit
    pInput = canBeReadAgain(szInputXMLFile) ? fopen(szInputXMLFile, "re") : NULL;
    return pInput == NULL ? RC_INPUT : RC_OK;
}

static int isOlder(const versionList *pNode, const versionList *pOther) {
    levelText szLevel, szOther;
    copyField(szLevel, pNode->szVersion);
    copyField(szOther, pOther->szVersion);
    return sqloCompareVersionStrings(szLevel, szOther) == VERSION_HIGHER;
}

int sqloUpdatePreqVersionList(const char *pVer) {
    if (pVer == NULL)
        return RC_FAILED;
    versionList *pNew = (versionList *)malloc(sizeof *pNew);
    if (pNew == NULL)
        return RC_NO_MEMORY;
    fillField(pNew->szVersion, pVer);

    static versionList *pLast; // most files are in order, so most levels go to the end: look there first
    versionList **ppPlace = &preqVersionList;
    if (preqVersionList != NULL && pLast != NULL && !isOlder(pLast, pNew))
        ppPlace = &pLast->next;
    while (*ppPlace != NULL && !isOlder(*ppPlace, pNew))
        ppPlace = &(*ppPlace)->next;
    pNew->next = *ppPlace;
    *ppPlace = pNew;
    if (pNew->next == NULL)
        pLast = pNew;
    return RC_OK;
}

/* Returns the level that a line names, which is its first quoted text, or null. Cuts the line after the level. */
static const char *levelOfLine(char *szLine) {
    if (strstr(szLine, "<KVXLevel") == NULL)
        return NULL;
    char *pOpening = strchr(szLine, '"');
    char *pClosing = pOpening == NULL ? NULL : strchr(pOpening + 1, '"');
    if (pClosing == NULL)
        return NULL;
    *pClosing = '\0';
    return pOpening + 1;
}

/* Adds a level to the list. Leaves out a level that is too long for its field and says so on standard error. A level
 * that was cut would name a section that the file does not have, and a level without requirements passes. */
static int addLevel(const char *pLevel, int lineNumber) {
    const int room = sizeof(versionList::szVersion);
    if (strlen(pLevel) <= (size_t)room)
        return sqloUpdatePreqVersionList(pLevel);
    char szFile[sizeof szInputXMLFile], szLevel[PREREQ_LINE_SIZE];
    copyText(szFile, szInputXMLFile);
    copyText(szLevel, pLevel);
    hideControls(szFile);
    hideControls(szLevel);
    fprintf(standardError(), "%s, line %d: level \"%s\" is left out, it has more than %d characters\n", szFile,
            lineNumber, szLevel, room);
    return RC_OK;
}

int sqloRetrieveSupportedVersion(void) {
    FILE *pFile = fopen(szInputXMLFile, "re");
    if (pFile == NULL)
        return RC_INPUT;
    char szLine[PREREQ_LINE_SIZE];
    int lineNumber = 1;
    int status = RC_OK;
    while (status == RC_OK && readLine(pFile, szLine)) {
        int bWhole = strlen(szLine) < sizeof szLine - 1; // 0: the rest of the line follows
        const char *pLevel = levelOfLine(szLine);
        if (pLevel != NULL)
            status = addLevel(pLevel, lineNumber);
        lineNumber += bWhole;
    }
    if (status == RC_OK && (ferror(pFile) || preqVersionList == NULL))
        status = RC_INPUT;
    fclose(pFile);
    return status;
}

int sqloGetLatestRelease(void) {
    if (preqVersionList == NULL)
        return RC_INPUT;
    levelText szLevel;
    copyField(szLevel, preqVersionList->szVersion);
    copyText(szInputVersion, szLevel);
    return RC_OK;
}

int validateInputVersion(void) {
    if (preqVersionList == NULL)
        debugTrace("KVX version list is EMPTY");
    for (const versionList *pNode = preqVersionList; pNode != NULL; pNode = pNode->next) {
        levelText szLevel;
        copyField(szLevel, pNode->szVersion);
        if (strcmp(szInputVersion, szLevel) == 0)
            return RC_OK;
    }
    return RC_VERSION;
}

/* --- Conditions --- */

int sqloCheckIsNumber(const char *pVar) {
    return pVar[strspn(pVar, "0123456789")] == '\0';
}

/* 1 when the comparison of a stored text with a value fails. An unknown operator never fails. */
static int operatorFails(const char *pStored, const char *pOperator, const char *pValue) {
    if (strcmp(pOperator, "=") == 0)
        return strcmp(pStored, pValue) != 0;
    if (!sqloCheckIsNumber(pValue))
        return 0;
    int stored = leadingNumber(pStored);
    int value = leadingNumber(pValue);
    if (strcmp(pOperator, "<") == 0)
        return value <= stored;
    if (strcmp(pOperator, ">") == 0)
        return value >= stored;
    if (strcmp(pOperator, ">=") == 0)
        return value > stored;
    return 0;
}

int sqloEvaluateCondition(const char *pOperand, const char *pOperator, const char *pValue) {
    if (pOperand == NULL || pOperator == NULL || pValue == NULL)
        return 0;
    int tag = sqloGetTagIndex(pOperand);
    if (tag == -1)
        return 1;
    const char *pStored = ppszPREREQ[tag];
    debugTrace("   Evaluate PREREQ[%s] current value= %s\n", ppszTagName[tag], pStored == NULL ? "Undefined" : pStored);
    int bFails = pStored != NULL && operatorFails(pStored, pOperator, pValue);
    debugTrace(bFails ? "   condition not matched   " : "   condition matched   ");
    return bFails;
}

/* Splits a condition into words and evaluates its triples until one fails. Returns 1 when one fails. */
static int evaluateTriples(char *pCondition, int xmlTagIndex) {
    char *pRest = NULL;
    char *pOperand = strtok_r(pCondition, " ", &pRest);
    for (;;) {
        const char *pOperator = strtok_r(NULL, " ", &pRest);
        const char *pValue = strtok_r(NULL, " ", &pRest);
        if (pOperand == NULL || pOperator == NULL || pValue == NULL)
            return 0;
        debugTrace("   Evaluate for PREREQ[%s]\n", ppszTagName[xmlTagIndex]);
        debugTrace("   Operand: %s \t Operator: %s \t Value: %s \n", pOperand, pOperator, pValue);
        if (sqloEvaluateCondition(pOperand, pOperator, pValue))
            return 1;
        pOperand = strtok_r(NULL, " ", &pRest);
    }
}

int sqloProcessConditionStmt(const char *szline, int xmlTagIndex) {
    const char *pOpening = strchr(szline, '"');
    if (pOpening == NULL)
        return 1;
    const char *pClosing = strchr(pOpening + 1, '"');
    if (pClosing == NULL)
        return 0;
    char *pCondition = strndup(pOpening + 1, (size_t)(pClosing - pOpening - 1));
    if (pCondition == NULL)
        return 0;
    int bFails = evaluateTriples(pCondition, xmlTagIndex);
    free(pCondition);
    return bFails;
}

/* --- Stack of skipped sections --- */

int sqloPushToSkipNodeStack(int xmlTagNum) {
    if (xmlTagNum == -1)
        return RC_FAILED;
    node *pNode = (node *)malloc(sizeof *pNode);
    if (pNode == NULL)
        return RC_NO_MEMORY;
    pNode->xmlNode = xmlTagNum;
    pNode->next = pStackTop;
    pStackTop = pNode;
    return RC_OK;
}

int sqloPopSkipNodeStack(void) {
    free(pStackTop);
    pStackTop = NULL;
    return RC_OK;
}

/* --- Reading one level --- */

/* What the reader sees in a line of the file. */
struct scannedLine {
    const char *pText;
    int bAttribute; // 1 when it holds "value": it opens a section with a condition, or its text holds that word
    int bEndTag;    // 1 when it holds "</" and not "value"
    int tag;        // the tag of its element, or -1
};

/* Copies the name of the element into szXMLTagName, from pStart up to the character that ends it. Stores the empty name
 * when there is no such character or when the name is longer than every tag. */
static void copyElementName(const char *pStart, char end) {
    const char *pEnd = pStart == NULL ? NULL : strchr(pStart, end);
    szXMLTagName[0] = '\0';
    if (pEnd != NULL && pEnd - pStart <= TAG_NAME_LENGTH)
        iStrncpy(szXMLTagName, pStart, (int)(pEnd - pStart) + 1);
}

static scannedLine scanLine(const char *pText) {
    scannedLine line = {pText, strstr(pText, "value") != NULL, 0, -1};
    const char *pStart = strchr(pText, '<');
    const char *pEndTag = line.bAttribute ? NULL : strstr(pText, "</");
    line.bEndTag = pEndTag != NULL;
    if (line.bEndTag)
        copyElementName(pEndTag + 2, '>');
    else
        copyElementName(pStart == NULL ? NULL : pStart + 1, line.bAttribute ? ' ' : '>');
    line.tag = sqloGetTagIndex(szXMLTagName);
    return line;
}

/* 1 when a line opens a shareGrid section and the clustered feature is not checked: the section is then skipped. */
static int beginsUnwantedShareGrid(const scannedLine &line) {
    return line.tag == shareGrid && !line.bEndTag && !bShareGrid && !bNonIB;
}

static int beginSkipping(prereqReader *pReader, int tag) {
    pReader->bSkipping = 1;
    pReader->effect = LINE_SKIP_BEGINS;
    return sqloPushToSkipNodeStack(tag);
}

static int endsSkippedSection(const scannedLine &line) {
    return line.bEndTag && pStackTop != NULL && line.tag == pStackTop->xmlNode;
}

/* Stores the text between the opening and the closing tag. The patterns for the longest tag are cut, so for that tag
 * the text begins with the rest of the opening tag. */
static int storeValue(prereqReader *pReader, const scannedLine &line, const char *pBegin, size_t beginLength,
                      const char *pEnd) {
    if (pEnd - pBegin <= (ptrdiff_t)beginLength) {
        pReader->effect = LINE_EMPTY;
        debugTrace("PREREQ[%s] is N/A\n", ppszTagName[line.tag]);
        return RC_OK;
    }
    pBegin += beginLength;
    char *pText = strndup(pBegin, (size_t)(pEnd - pBegin));
    if (pText == NULL)
        return RC_NO_MEMORY;
    ppszPREREQ[line.tag] = pText;
    pReader->effect = LINE_VALUE;
    debugTrace(" ==>Adding  PREREQ[%s]=%s\n", ppszTagName[line.tag], pText);
    return RC_OK;
}

/* Takes a line with a known tag: stores its value, or decides by its condition whether the section is skipped. */
static int takeTag(prereqReader *pReader, const scannedLine &line) {
    char szBegin[30], szEnd[30];
    formatText(szBegin, "<%s>", ppszTagName[line.tag]);
    formatText(szEnd, "</%s>", ppszTagName[line.tag]);
    const char *pBegin = strstr(line.pText, szBegin);
    const char *pEnd = strstr(line.pText, szEnd);
    if (pBegin != NULL && pEnd != NULL)
        return storeValue(pReader, line, pBegin, strlen(szBegin), pEnd);
    pReader->effect = LINE_IGNORED;
    if (pEnd != NULL || !line.bAttribute)
        return RC_OK;
    pReader->effect = LINE_SECTION_READ;
    if (!sqloProcessConditionStmt(line.pText, line.tag))
        return RC_OK;
    debugTrace("=== Skip tag BEGIN ===");
    debugTrace("   push to stack = %s \n", ppszTagName[line.tag]);
    return beginSkipping(pReader, line.tag);
}

/* Takes one line of the platform section. */
static int takeSectionLine(prereqReader *pReader, const char *pText) {
    debugTrace("Scanning line : %s\n", pText);
    scannedLine line = scanLine(pText);
    pReader->tag = line.tag;
    pReader->effect = pReader->bSkipping ? LINE_SKIPPED : LINE_UNKNOWN;
    if (beginsUnwantedShareGrid(line)) {
        debugTrace("=== Skip tag BEGIN ===");
        debugTrace("   Pushing XML Tag to stack %s\n", ppszTagName[line.tag]);
        int status = beginSkipping(pReader, line.tag);
        if (status != RC_OK)
            return status;
    }
    if (pReader->bSkipping && endsSkippedSection(line)) {
        pReader->bSkipping = 0;
        pReader->effect = LINE_SKIP_ENDS;
        sqloPopSkipNodeStack();
        debugTrace("=== END skip tag RESUME === ");
        return RC_OK;
    }
    if (pReader->bSkipping) {
        debugTrace("   Skipping =>%s\n", pText);
        return RC_OK;
    }
    if (line.tag == -1) {
        debugTrace("No Matching tag found Skipping =>%s\n", pText);
        return RC_OK;
    }
    return takeTag(pReader, line);
}

void sqloBeginPrereqLines(prereqReader *pReader, const char *pLevel) {
    *pReader = {};
    formatText(pReader->szNextStart, "<KVXLevel value=\"%s\">", pLevel);
    pReader->tag = -1;
}

int sqloTakePrereqLine(prereqReader *pReader, const char *pLine) {
    static const char *const pPlatformStop = "</platform>";
    if (pReader->place == PLACE_SECTION && strstr(pLine, pPlatformStop) == NULL)
        return takeSectionLine(pReader, pLine);

    pReader->effect = LINE_OUTSIDE;
    pReader->tag = -1;
    if (pReader->place == PLACE_SECTION) {
        debugTrace("Finishing reading XML for platform %s\n", pPlatformStop);
        pReader->place = PLACE_BEHIND;
    } else if (pReader->place != PLACE_BEHIND && strstr(pLine, pReader->szNextStart) != NULL) {
        formatText(pReader->szNextStart, "<platform value=\"%s\">", pPlatformName);
        pReader->place++;
    }
    return RC_OK;
}

/* Takes the lines of the file until the platform section of the level has ended. */
static int scanLevel(FILE *pFile, const char *pLevel) {
    prereqReader reader;
    sqloBeginPrereqLines(&reader, pLevel);
    char szLine[PREREQ_LINE_SIZE];
    int status = RC_OK;
    while (status == RC_OK && reader.place != PLACE_BEHIND && readLine(pFile, szLine))
        status = sqloTakePrereqLine(&reader, szLine);
    return status;
}

/* Stores what is known about the level and the host before the file is read. */
static int storeIdentity(const char *pLevel) {
    copyText(szPlatform, pPlatformName);
    int status = setPrereq(KVXLevel, pLevel);
    if (status == RC_OK)
        status = setPrereq(platform, szPlatform);
    if (status == RC_OK)
        status = setPrereq(Processor, szProcessor);
    if (status == RC_OK && linuxDistro != DISTRO_UNKNOWN)
        status = setPrereq(LinuxDistro, ppszDistroName[linuxDistro]);
    return status;
}

/* Writes the start of a pass to the report: a rule, the time, and the level. */
static void logLevelBanner(const char *pLevel) {
    messageText szText;
    copyText(szText, szReportRule);
    logMessage(szText);

    char szTime[64 + LOG_ROOM] = "";
    time_t now = time(NULL);
    struct tm local;
    if (localtime_r(&now, &local) != NULL)
        strftime(szTime, sizeof szTime - LOG_ROOM, "%c", &local);
    logMessage(szTime);

    logText(szText, bShareGrid ? MSG_LEVEL_BANNER_CLUSTERED : MSG_LEVEL_BANNER, pLevel, pPlatformName);
}

int sqloReadPrereqFromXML(const char *pLevel) {
    int status = storeIdentity(pLevel);
    if (status != RC_OK)
        return status;
    logLevelBanner(pLevel);
    debugTrace("Reading KVX prerequisites from %s\n", szInputXMLFile);
    FILE *pFile = fopen(szInputXMLFile, "re");
    if (pFile == NULL)
        return RC_INPUT;
    status = scanLevel(pFile, pLevel);
    if (status == RC_OK && ferror(pFile))
        status = RC_INPUT;
    fclose(pFile);
    return status;
}
