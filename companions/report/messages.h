// The texts of table and page. JSON, JUnit and standard error use the English ones.
#ifndef KVX_REPORT_MESSAGES_H
#define KVX_REPORT_MESSAGES_H

#include "text.h"

#include <string>
#include <vector>

namespace report {

// The number of each text in the catalogs, with its tokens. All that table and page say must be here, so that it can be
// translated: a new text gets its English wording in messages.cpp, and goes with name, tokens and number into
// locale/en_US.iso88591/kvxreport.msg. A number is never used again for another text.
enum class Message {
    // How many hosts came to which result
    oneHostCounted = 101, // 1, failed, unknown, with warnings, passed
    hostsCounted = 102,   // hosts, failed, unknown, with warnings, passed
    pageTitle = 103,      // oneHostCounted or hostsCounted
    pageOfOneHost = 104,  // host
    pageOfHosts = 105,    // hosts
    failedHosts = 106,    // none
    unknownHosts = 107,   // none
    warnedHosts = 108,    // none
    passedHosts = 109,    // none
    // Results on the page, each in a small box: of a host, of a pass, of a check
    passed = 121,     // none
    warning = 122,    // none
    failed = 123,     // none
    unknown = 124,    // none
    incomplete = 125, // none
    error = 126,      // none
    waived = 127,     // none
    // Results in the table
    tablePassed = 131,    // none
    tableWarning = 132,   // none
    tableFailed = 133,    // none
    tableUnknown = 134,   // none
    tableError = 135,     // none
    cellPassed = 136,     // none
    cellWarning = 137,    // none
    cellIncomplete = 138, // none
    cellFailed = 139,     // none
    tableWaived = 140,    // none
    // The table
    tableHost = 151,          // none
    tableResult = 152,        // none
    tableStatus = 153,        // exit status
    tableClustered = 154,     // none
    tableAdvice = 155,        // none
    tableStandardError = 156, // none
    tablePasses = 157,        // passes, as "12.1, 11.5 clustered"
    tableLineOfPasses = 158,  // passes, a line of a report that only these have
    tableCommon = 159,        // check, number of hosts (3 or more), their names
    // The page
    levelsHeading = 171,         // none
    levelsAbout = 172,           // none
    levelsAboutClustered = 173,  // none
    hostColumn = 174,            // none
    resultColumn = 175,          // none
    plainColumn = 176,           // none
    clusteredColumn = 177,       // none
    levelColumn = 178,           // none
    timeColumn = 179,            // none
    exitStatus = 180,            // exit status
    notChecked = 181,            // none
    commonHeading = 182,         // none
    commonHosts = 183,           // number of hosts (3 or more), their names
    onHosts = 184,               // number of hosts (3 or more)
    findingsHeading = 185,       // none
    findingsCounted = 186,       // numbers of checks
    standardError = 187,         // none
    standardErrorOf = 188,       // host
    passedChecks = 189,          // number
    passesHeading = 190,         // number
    passesOf = 191,              // host
    passesNotShown = 192,        // number
    adviceHeading = 193,         // none
    adviceOnKind = 194,          // kind of failure
    footer = 195,                // none
    findingsCountedWaived = 196, // numbers of checks
    // Names, in table and page
    passClustered = 201,  // product level
    allPasses = 202,      // none
    listed = 203,         // list of names, name
    listedAndMore = 204,  // list of names, number of names left out
    nameRange = 205,      // host, host
    levelsNotShown = 206, // number, number of them
    notInCheck = 207,     // none
    umaskRequired = 208,  // umask
    adviceAbout = 209,    // none
    waivedCounted = 210,  // number
    waivedUntil = 211,    // date such as 2027-01-31, reason
    waivedAlways = 212,   // reason
    // Notes on a host, a sentence or two each
    unknownBecause = 221,         // reason, English
    commandStopped = 222,         // line of a report, which says that a command was stopped
    onlyStatusKnown = 223,        // none
    statusMeans = 224,            // exit status, its meaning (a text from 251 on)
    statusAloneMeans = 225,       // exit status, its meaning (a text from 251 on)
    badVerdictUnconfirmed = 226,  // none
    goodVerdictUnconfirmed = 227, // none
    cutBetweenLevels = 228,       // none
    notReadable = 229,            // none
    beginningCut = 230,           // none
    noVerdict = 231,              // product level
    noVerdictClustered = 232,     // product level
    notWhole = 233,               // product level
    notWholeClustered = 234,      // product level
    moreDoubts = 235,             // number
    notAllDone = 236,             // line of a report
    noLevel = 237,                // none
    noReport = 238,               // none
    // What an exit status means: each completes statusMeans
    statusKernel = 251,      // none
    statusNotStarted = 252,  // none
    statusTools = 253,       // none
    statusCommandLine = 254, // none
    statusLevel = 255,       // none
    statusFile = 256,        // none
    statusOutput = 257,      // none
    statusMemory = 258,      // none
    statusNetwork = 259,     // none
    statusTimedOut = 260,    // none
    statusNotFound = 261,    // none
    statusSpace = 262,       // none
    statusForeign = 263,     // none
    signalEnded = 264,       // number
    signalNamedEnded = 265,  // number, name such as SIGSEGV
    signalExplained = 266,   // number, name, reason (one of the next five)
    hungUp = 267,            // none
    interrupted = 268,       // none
    killed = 269,            // none
    pipeClosed = 270,        // none
    terminated = 271,        // none
    // Kinds of failures, and what to do about each
    kindKernel = 301,      // none
    adviceKernel = 302,    // none
    kindLibstdcxx = 303,   // none
    adviceLibstdcxx = 304, // none
    kindGlibc = 305,       // none
    adviceGlibc = 306,     // none
    kindLibaio = 307,      // none
    adviceLibaio = 308,    // none
    kindPam = 309,         // none
    advicePam = 310,       // none
    kindSelinux = 311,     // none
    adviceSelinux = 312,   // none
    kindSpace = 313,       // none
    adviceSpace = 314,     // none
    kindStrings = 315,     // none
    adviceStrings = 316,   // none
    kindUmask = 317,       // none
    adviceUmask = 318,     // none
    kindUser = 319,        // none
    adviceUser = 320,      // none
    kindPorts = 321,       // none
    advicePorts = 322,     // none
    kindPackages = 323,    // none
    advicePackages = 324,  // none
    kindTime = 325,        // none
    adviceTime = 326,      // none
    // Changes since an earlier run
    changesHeading = 401, // file
    nothingChanged = 402, // none
    changesCounted = 403, // numbers of hosts
    resultChanged = 404,  // result, result
    resultNow = 405,      // result
    resultBefore = 406,   // result
    resultSame = 407,     // result
    wholePass = 408,      // none
    changedCheck = 409,   // check, change (a text from 404 on)
    valueBefore = 410,    // line of a report
    valueNow = 411,       // line of a report
    changeWorse = 412,    // none
    changeCame = 413,     // none
    changeWent = 414,     // none
    changeBetter = 415,   // none
    changeValue = 416,    // none
    changeSame = 417,     // none
    tableWorse = 418,     // none
    tableCame = 419,      // none
    tableWent = 420,      // none
    tableBetter = 421,    // none
    tableChanged = 422,   // none
    tableSame = 423,      // none
};

// All texts in one language.
class messages {
public:
    // English, which needs no catalog.
    messages();

    // Those of a catalog. A text stays English where the catalog lacks it, where its placeholders are not those of the
    // English one, or where the code set has no characters for it; so do all texts of a file that is no catalog.
    // `tag` names the language, such as "pt-BR".
    messages(const std::string &tag, const std::string &catalog, const encoder &shownIn);

    // A text with its tokens in the place of %1 to %9.
    std::string text(Message one, const std::vector<std::string> &tokens = {}) const;

    // The tag of the language, or "en" where no text is in it.
    const std::string &languageTag() const {
        return ownTag;
    }

private:
    std::string ownTag = "en";
    std::vector<std::string> texts; // by number
};

const messages &english();

// A text whose language is not chosen yet.
struct note {
    Message message;
    std::vector<std::string> tokens;

    std::string in(const messages &own) const {
        return own.text(message, tokens);
    }
};

} // namespace report

#endif
