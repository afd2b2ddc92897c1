/*
 * What the sources share among themselves and nobody else includes: bounded texts, number reading, the debug trace,
 * shell commands and their capture files, and the shape in which checks report. Include it last: it forbids the
 * unbounded copies from here on.
 */
#ifndef SQLO_COMMON_H
#define SQLO_COMMON_H

#include "sqloPrereqCheck.h"

#include <stddef.h>
#include <string.h>

/* --- Bounded texts. The array's own type knows its size; a longer text is cut, and the result always terminated. ---
 */

template <size_t N> void copyText(char (&szTo)[N], const char *pFrom) {
    iStrncpy(szTo, pFrom, N);
}

template <size_t N> void appendText(char (&szTo)[N], const char *pFrom) {
    safeStrNCat(szTo, pFrom, N);
}

/* Fills a record's field, which a long text may leave without a terminator. */
template <size_t N> void fillField(char (&szField)[N], const char *pFrom) {
    strncpy(szField, pFrom, N);
}

/* Copies a field, which may have no terminator, into a text that has room for all of it. */
template <size_t N, size_t M> void copyField(char (&szTo)[N], const char (&szField)[M]) {
    static_assert(N > M, "a whole field and its terminator must fit");
    memcpy(szTo, szField, M);
    szTo[M] = '\0';
}

/* Prints into a text of size bytes, cut to fit. 1 when all of it fitted, else 0. */
int formatText(char *szTo, size_t size, const char *pFormat, ...) __attribute__((format(printf, 3, 4)));

/* Reads a line into a text of size bytes, without its newline. A longer line comes in pieces. 0 at the end of file. */
int readLine(FILE *pFile, char *szLine, size_t size);

/* Cuts a text at its first newline. */
void cutNewline(char *szText);

/* Cuts the last character, whatever it is, of a text that has one. */
void cutLastCharacter(char *szText);

const char *textOrEmpty(const char *pText);

/* --- Numbers --- */

int isDecimalDigit(char c);

/* The number that a text begins with, 0 when there is none or the text is null; beyond an int it stays at its end. */
int leadingNumber(const char *pText);

/* --- Debug trace, on standard output while debug is set --- */

void debugTrace(const char *pFormat, ...) __attribute__((format(printf, 1, 2)));

/* --- Shell commands --- */

/* Runs a command through a pipe and reads the first line of its output, newline included. 0 when there is none. */
int firstLineOf(const char *pCommand, char *szLine, size_t size);

/* --- Requirements --- */

/* Stores a heap copy of a text under a tag. RC_OK or RC_NO_MEMORY. */
int setPrereq(int tag, const char *pText);

/* --- Messages: fetching, reporting, the shape of a check --- */

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
template <typename... Tokens> void reportText(int number, Tokens... tokens) {
    messageText szText;
    logText(szText, number, tokens...);
}

/* Writes a message to standard error. */
template <typename... Tokens> void printError(int number, Tokens... tokens) {
    messageText szText;
    fetchText(szText, number, tokens...);
    fflush(stdout);
    fprintf(stderr, "%s\n", szText);
}

/* Prints a text as if it were a printf format, without being one: "%%" shows as "%", all else as it stands. */
void printAsFormat(FILE *pFile, const char *pText);

/* The rule between sections of the report, to be copied into a line buffer and logged. */
extern const char *const pReportRule;

/* Opens a check's block: a line of three blanks and the heading with the title. */
void startCheck(const char *pTitle);
/* The same with a message as the title. */
void startCheck(int titleNumber);
/* Closes a block that passed. Returns RC_OK. */
int passCheck(void);
/* Closes a block that failed with 30055 and the severity word, without an entry in the error list. */
void closeFailedCheck(int severity);
/* Closes a block that failed and records requirement and detail as one entry; an empty detail becomes 30095. Returns
 * RC_FAILED. */
int failCheck(int severity, const char *pRequirement, messageText &szDetail);

#pragma GCC poison strcpy strcat sprintf vsprintf strtok gets

#endif
