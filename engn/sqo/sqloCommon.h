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

/* --- Bounded texts: the array's own type knows its size. A longer text is cut; the result is always terminated. --- */

template <size_t N> void copyText(char (&szTo)[N], const char *pFrom) {
    iStrncpy(szTo, pFrom, N);
}

template <size_t N> void appendText(char (&szTo)[N], const char *pFrom) {
    safeStrNCat(szTo, pFrom, N);
}

/* Fills a record's field, which a long text may leave without a terminator. */
template <size_t N> void fillField(char (&szField)[N], const char *pFrom) {
    size_t length = strnlen(pFrom, N);
    memcpy(szField, pFrom, length);
    memset(szField + length, 0, N - length);
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

/* The number that a text begins with, 0 when there is none or the text is null; beyond an int it is cut to the nearest
 * int. */
int leadingNumber(const char *pText);

/* --- Debug trace, on standard output while debug is set --- */

void debugTrace(const char *pFormat, ...) __attribute__((format(printf, 1, 2)));

/* --- Shell commands --- */

/* Room for a finished command: more than two of the longest paths, quoted. */
typedef char commandText[16384];

/* A word of a command. A constant pattern stands as it is, for the shell to expand; everything else comes from outside
 * and is made one inert word; an empty one leaves nothing. */
struct shellWord {
    const char *pText;
    int bPattern;
};

inline shellWord patternWord(const char *pPattern) {
    return {pPattern, 1};
}
inline shellWord toWord(shellWord word) {
    return word;
}
inline shellWord toWord(const char *pText) {
    return {pText, 0};
}

/* 1 when a text holds nothing that any shell would read as more than a word. */
int isPlainWord(const char *pText);

/* Composes a command from a format that knows only "%s", the next word, and "%%". 1 when done; 0, with an empty
 * command, when it does not fit or a word cannot stand at its place without becoming syntax or an option. */
int composeCommand(commandText &szCommand, const char *pFormat, const shellWord *pWords, int wordCount);

template <typename... Words> int formatCommand(commandText &szCommand, const char *pFormat, Words... words) {
    const shellWord list[] = {toWord(words)..., {NULL, 0}};
    return composeCommand(szCommand, pFormat, list, (int)sizeof...(words));
}

/* The status of a command that is not run: that of exit code 2. */
const int COMMAND_NOT_RUN = 2 << 8;

/* Runs a command and returns the status of system. The empty command, one that could not be composed, is not run. */
int runCommand(const commandText &szCommand);

/* 1 when a status tells that the command was ended by a signal or could not be run at all. */
int wasKilled(int status);

/* The exit code in a status. */
int exitCode(int status);

/* Runs a command through a pipe and reads the first line of its output, newline included. 0, with an empty line,
 * when there is none. */
int firstLineOf(const char *pCommand, char *szLine, size_t size);

/* Runs a command through a pipe until a line of its output (a long one in pieces of 255 characters) holds a text. 0
 * when none does. A command that could not be composed prints nothing. */
int outputHolds(const commandText &szCommand, const char *pText);

/* --- Capture files: where a command's output goes to be read back --- */

struct captureFile {
    char szPath[4096]; // empty when the path would be too long
    int bOurs;         // 1 once the file was created by us
    FILE *pFile;       // open for reading, or null
};

/* The directory for temporary files. */
const char *temporaryDirectory(void);

/* Names a capture file in the temporary directory, after the process id plus an offset. */
void nameCapture(captureFile *pCapture, int idOffset = 0);

/* Names a capture file by a path of its own, made one that does not begin with a hyphen. */
void nameCaptureAt(captureFile *pCapture, const char *pFormat, ...) __attribute__((format(printf, 2, 3)));

/* Runs a command that writes into the capture file, having made that name ours: a file or link that stands there is
 * removed and the file created anew. Where that is not possible standard error says so, and the command is not run: it
 * would write to whatever someone puts there meanwhile. */
int runIntoCapture(captureFile *pCapture, const commandText &szCommand);

/* Opens a capture file that was named before for reading, or from the start again. 0 when it cannot be opened or is
 * not ours. */
int openCapture(captureFile *pCapture);

/* Reads a line, newline included. 0 with an empty line at the end, or when the file is not open. */
int readCapture(captureFile *pCapture, char *szLine, size_t size);

void closeCapture(captureFile *pCapture);

/* Closes it, and removes it when it is ours. */
void dropCapture(captureFile *pCapture);

/* Creates a file at a fixed name for writing, made ours like a capture file. Null when that is not possible. */
FILE *createOwnFile(const char *pPath);

/* 1 when a path names something. */
int pathExists(const char *pPath);

/* 1 when a path names a file or directory, not a link, that is ours and nobody else's to write. */
int isOnlyOurs(const char *pPath);

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
template <int SIZE = MESSAGE_SIZE, typename... Tokens> void reportText(int number, Tokens... tokens) {
    char szText[SIZE + LOG_ROOM];
    logText(szText, number, tokens...);
}

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

/* The rule between sections of the report, to be copied into a line buffer and logged. */
extern const char *const pReportRule;

/* Logs the line of three blanks that stands before a check's heading. */
void logBlankLine(void);
/* Opens a check's block: that line and the heading with the title. */
void startCheck(const char *pTitle);
/* The same with a message as the title. */
void startCheck(int titleNumber);
/* The same, keeping the heading as it was logged. */
void startCheck(messageText &szHeading, const char *pTitle);

/* Closes a block that passed. Returns RC_OK. */
int passCheck(void);
/* Closes a block that failed with 30055 and the severity word, which is empty for a severity that is none. Records
 * nothing. */
void closeFailedCheck(int severity);
/* The same, keeping the line as it was logged. */
void closeFailedCheck(messageText &szClosing, int severity);

/* Room for a failure's entry before it is cut to the error list's field. */
typedef char entryText[2 * sizeof(messageText)];

/* Composes requirement and detail into an entry. An empty detail becomes 30095, with a package to name or null. */
void composeEntry(entryText &szEntry, const char *pRequirement, messageText &szDetail, const char *pPackage);

/* Closes a block that failed and records requirement and detail as one entry. Returns RC_FAILED. */
int failCheck(int severity, const char *pRequirement, messageText &szDetail, const char *pPackage = NULL);

#pragma GCC poison strcpy strcat sprintf vsprintf strtok gets

#endif
