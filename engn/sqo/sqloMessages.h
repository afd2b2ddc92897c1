/*
 * What the checks report with: messages fetched with their tokens, and the shape of a check's block.
 */
#ifndef SQLO_MESSAGES_H
#define SQLO_MESSAGES_H

#include "sqloLiterals.h"
#include "sqloText.h"

/* --- Messages: fetching, reporting, the shape of a check --- */

/* Room of a message that names paths, hosts or a failure in full. */
const int LONG_MESSAGE_SIZE = 512;

/* Fetches a message with its tokens into a line buffer, which keeps room for logging it. Tokens are pushed here, right
 * before the fetch that uses them, and nowhere else. */
template <size_t N, typename... Tokens> char *fetchText(char (&szText)[N], int number, Tokens... tokens) {
    static_assert(N > LOG_ROOM, "the buffer must have room for what logging appends");
    (addToken(tokens), ...);
    return sqloGetString(number, szText, N - LOG_ROOM);
}

/* Fetches a message and writes it to the report; the buffer then ends with the newline that logging appended. */
template <size_t N, typename... Tokens> void logText(char (&szText)[N], int number, Tokens... tokens) {
    fetchText(szText, number, tokens...);
    logMessage(szText);
}

/* Writes a message to the report whose text is not needed any more. */
template <int SIZE = MESSAGE_SIZE, typename... Tokens> void reportText(int number, Tokens... tokens) {
    char szText[SIZE + LOG_ROOM];
    logText(szText, number, tokens...);
}

/* 1 once a line of the report went to a standard output that came closed. */
extern int bReportLost;

/* Writes a message to standard error. */
template <typename... Tokens> void printError(int number, Tokens... tokens) {
    messageText szText;
    fetchText(szText, number, tokens...);
    fflush(stdout);
    fprintf(stderr, "%s\n", szText);
}

/* Reports a query that was ended by a signal; the detail names what was asked for. */
void reportKilledQuery(messageText &szDetail, const char *pName);

/* Reports a fault where all who watch for one find it: in the report, the error list and the GUI report. */
template <int SIZE = MESSAGE_SIZE, typename... Tokens> void reportFault(int number, Tokens... tokens) {
    char szText[SIZE + LOG_ROOM];
    logText(szText, number, tokens...);
    sqloUpdateErrorList(szText);
    logGUIMessage(szText);
}

/* Prints a text as if it were a printf format, without being one: "%%" shows as "%", all else as it stands. */
void printAsFormat(FILE *pFile, const char *pText);

/* Logs the line of three blanks that stands before a check's heading. */
void logBlankLine(void);
/* Opens a check's block: that line and the heading with the title. */
void startCheck(const char *pTitle);
/* The same with a message as the title. */
void startCheck(int titleNumber);
/* The same, keeping the heading as it was logged. */
void startCheck(messageText &szHeading, const char *pTitle);
/* The same with room for a long title, such as one that names a user. */
typedef char longTitle[LONG_MESSAGE_SIZE / 2 + 64];
void startLongCheck(const longTitle &szTitle);

/* Closes a block that passed. Returns RC_OK. */
int passCheck(void);
/* Closes a block that failed with 30055 and the severity word, which is empty for a severity that is none. Records
 * nothing. */
void closeFailedCheck(int severity);
/* The same, keeping the line as it was logged, for a check whose closing line is its entry: the reason says there what
 * is wrong. */
void closeFailedCheck(messageText &szClosing, int severity, const char *pReason);

/* Room for a failure's entry before it is cut to the error list's field. */
typedef char entryText[2 * sizeof(messageText)];

/* Closes a block that passed or failed. Returns the result. */
int closeCheck(int result, int severity);

/* Opens a check's block, and its section in the GUI report with a marker; whoever opens one closes it with the marker
 * again. */
void startSection(const char *pTitle, const char *pMarker);

/* What a check asked for and did not find. A longer text is cut, so that 30095 has room for it in every language. */
typedef char unmetText[151];

/* Composes requirement and detail into an entry. An empty detail becomes 30095, which says what is not met; the package
 * may be null. */
void composeEntry(entryText &szEntry, const char *pRequirement, messageText &szDetail, const unmetText &szUnmet,
                  const char *pPackage);

/* Closes a block that failed and records requirement and detail as one entry. Returns RC_FAILED. */
int failCheck(int severity, const char *pRequirement, messageText &szDetail, const unmetText &szUnmet,
              const char *pPackage = NULL);
/* The same for a detail that is never empty. */
int failCheck(int severity, const char *pRequirement, messageText &szDetail);

#endif
