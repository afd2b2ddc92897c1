/*
 * How the checks report: they fetch messages with their tokens, and write the block of a check.
 */
#ifndef SQLO_MESSAGES_H
#define SQLO_MESSAGES_H

#include "sqloLiterals.h"
#include "sqloText.h"

/* --- Fetching and reporting messages; the block of a check --- */

/* Room for a message with whole paths or host names, or with a whole failure. */
const int LONG_MESSAGE_SIZE = 512;

/* Fetches a message with its tokens into a line buffer, and leaves room there for the newline of logMessage. Only this
 * function pushes tokens, directly before the fetch that uses them. */
template <size_t N, typename... Tokens> char *fetchText(char (&szText)[N], int number, Tokens... tokens) {
    static_assert(N > LOG_ROOM, "the buffer must have room for what logging appends");
    (addToken(tokens), ...);
    return sqloGetString(number, szText, N - LOG_ROOM);
}

/* Fetches a message and writes it to the report. The text in the buffer then ends with the newline of logMessage. */
template <size_t N, typename... Tokens> void logText(char (&szText)[N], int number, Tokens... tokens) {
    fetchText(szText, number, tokens...);
    logMessage(szText);
}

/* Writes a message to the report, for a caller that does not need its text. */
template <int SIZE = MESSAGE_SIZE, typename... Tokens> void reportText(int number, Tokens... tokens) {
    char szText[SIZE + LOG_ROOM];
    logText(szText, number, tokens...);
}

/* 1 once a line of the report was lost, because standard output was closed when the program started. */
extern int bReportLost;

/* Writes a message to standard error. */
template <typename... Tokens> void printError(int number, Tokens... tokens) {
    messageText szText;
    fetchText(szText, number, tokens...);
    fprintf(standardError(), "%s\n", szText);
}

/* Reports that a query was killed. Stores in szDetail the text for the entry, which names what was asked for. */
void reportKilledQuery(messageText &szDetail, const char *pName);

/* Writes a failure to all three places: the report, the error list and the GUI report. */
template <int SIZE = MESSAGE_SIZE, typename... Tokens> void reportFault(int number, Tokens... tokens) {
    char szText[SIZE + LOG_ROOM];
    logText(szText, number, tokens...);
    sqloUpdateErrorList(szText);
    logGUIMessage(szText);
}

/* Prints a text as printf would print it as a format without directives: "%%" becomes "%". Anything else, a directive
 * too, is printed as it is. */
void printAsFormat(FILE *pFile, const char *pText);

/* Writes the line of three blanks that precedes the heading of a check. */
void logBlankLine(void);
/* Opens the block of a check: writes that line, and the heading with the title. */
void startCheck(const char *pTitle);
/* The same, with a message as the title. */
void startCheck(int titleNumber);
/* The same, and stores the heading as it was logged. */
void startCheck(messageText &szHeading, const char *pTitle);
/* The same, with room for a long title, such as one with the name of a user. */
typedef char longTitle[LONG_MESSAGE_SIZE / 2 + 64];
void startLongCheck(const longTitle &szTitle);

/* Closes a block that passed. Returns RC_OK. */
int passCheck(void);
/* Closes a block that failed: writes MSG_CHECK_FAILED with the word of the severity, or with no word when the number is
 * not a Severity. Adds no entry to the error list. */
void closeFailedCheck(int severity);
/* The same, and stores the line as it was logged. For a check whose closing line is also its entry; the reason in it
 * says what is wrong. */
void closeFailedCheck(messageText &szClosing, int severity, const char *pReason);

/* Room for an entry before it is cut to the field of the error list. */
typedef char entryText[2 * sizeof(messageText)];

/* Closes a block by passCheck or closeFailedCheck, and returns the result that it was given. */
int closeCheck(int result, int severity);

/* Opens the block of a check, and writes a marker to the GUI report. The caller writes the marker again at the end of
 * the check. */
void startSection(const char *pTitle, const char *pMarker);

/* What a check required and did not find. A longer text is cut, so that it fits into MSG_REQUIREMENT_NOT_MET in every
 * language. */
typedef char unmetText[151];

/* Composes an entry of a requirement and a detail, which says what was found. For an empty detail it fetches
 * MSG_REQUIREMENT_NOT_MET with the text of what is not met. The package may be null. */
void composeEntry(entryText &szEntry, const char *pRequirement, messageText &szDetail, const unmetText &szUnmet,
                  const char *pPackage);

/* Closes a block that failed, and adds requirement and detail to the error list as one entry. Returns RC_FAILED. */
int failCheck(int severity, const char *pRequirement, messageText &szDetail, const unmetText &szUnmet,
              const char *pPackage = NULL);
/* The same, for a detail that is never empty. */
int failCheck(int severity, const char *pRequirement, messageText &szDetail);

#endif
