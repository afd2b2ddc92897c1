/*
 * Commands run through the shell, the capture files that their output goes to, who owns a file, and what the host knows
 * of itself: its name and its users.
 */
#ifndef SQLO_COMMAND_H
#define SQLO_COMMAND_H

#include "sqloText.h"

#include <pwd.h>

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
/* The status of a command that ran out of time: killed, and exit code 2, so that both ways to judge one fail. */
const int COMMAND_TIMED_OUT = COMMAND_NOT_RUN | 9;

/* How a command runs. A local one has a process group of its own and a time limit. One that may ask for a password, or
 * works on other hosts, stays in ours, which has the terminal, and takes the time that it takes. */
enum CommandKind { LOCAL_COMMAND, ATTACHED_COMMAND };

/* Makes ready to run commands: a signal that ends the run (SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGPIPE or SIGALRM,
 * unless it is inherited as ignored) ends the running command too and removes the files that are ours. The program then
 * ends by the same signal; as process 1 of a container, which ignores it, with status 128 and its number. */
void watchSignals(void);

/* Runs a command and returns the status of system, or COMMAND_TIMED_OUT. The empty command, one that could not be
 * composed, is not run. The time that this program is stopped or frozen does not count. */
int runCommand(const commandText &szCommand, CommandKind kind = LOCAL_COMMAND);

/* 1 when a status tells that the command was ended by a signal or could not be run at all. */
int wasKilled(int status);

/* The exit code in a status. */
int exitCode(int status);

/* Runs a command through a pipe and reads the first line of its output, newline included. 0, with an empty line,
 * when there is none or the command times out. A background child that keeps the pipe open is not waited for, here and
 * below. */
int firstLineOf(const char *pCommand, char *szLine, size_t size);

template <size_t N> int firstLineOf(const char *pCommand, char (&szLine)[N]) {
    return firstLineOf(pCommand, szLine, N);
}

/* Runs a command through a pipe until a line of its output (a long one in pieces of 255 characters) holds a text. 0
 * when none does. A command that could not be composed prints nothing. */
int outputHolds(const commandText &szCommand, const char *pText);

/* --- Capture files: where a command's output goes to be read back ---
 *
 * The order of use:
 *   1. captureOutput names the file, composes the command and runs it. A caller that needs these steps apart calls
 *      nameCapture or nameCaptureAt, formatCommand and runIntoCapture.
 *   2. openCapture, then readCapture until it returns 0. A caller that needs the status alone skips this step.
 *   3. On every path, also when the command did not run: dropCapture, or closeCapture and leaveCapture for a file that
 *      stays for people to look at. */

struct captureFile {
    char szPath[4096]; // empty when the path would be too long
    int bOurs;         // 1 once the file was created by us
    int descriptor;    // of the file that was created, until it is opened for reading; -1 when it must not be read
    FILE *pFile;       // open for reading, or null
};

/* The directory for temporary files. */
const char *temporaryDirectory(void);

/* Names a capture file in the temporary directory, after the process id plus an offset. */
void nameCapture(captureFile *pCapture, int idOffset = 0);

/* Names a capture file by a path of its own, made one that does not begin with a hyphen. */
void nameCaptureAt(captureFile *pCapture, const char *pFormat, ...) __attribute__((format(printf, 2, 3)));

/* Runs a command that writes into the capture file, having made that name ours: a file or link that stands there is
 * removed, a directory moved aside, and the file created anew. Where that is not possible standard error says so, and
 * the command is not run: it would write to whatever someone puts there meanwhile. Where the file has no room for what
 * the command writes, its output counts for nothing, as if it had not run. A file that is removed or replaced while the
 * command runs, or whose command times out, cannot be opened. */
int runIntoCapture(captureFile *pCapture, const commandText &szCommand, CommandKind kind = LOCAL_COMMAND);

/* Names a capture file and composes a command that writes into it: the file's path is the format's last word. */
template <typename... Words>
int composeCaptured(captureFile *pCapture, commandText &szCommand, const char *pFormat, Words... words) {
    nameCapture(pCapture);
    return formatCommand(szCommand, pFormat, words..., (const char *)pCapture->szPath);
}

/* The same, and runs it. */
template <typename... Words> int captureOutput(captureFile *pCapture, const char *pFormat, Words... words) {
    commandText szCommand;
    composeCaptured(pCapture, szCommand, pFormat, words...);
    return runIntoCapture(pCapture, szCommand);
}

/* Opens a capture file for reading, once, when its command has run. 0 when it cannot be opened. */
int openCapture(captureFile *pCapture);

/* Reads a line, newline included. 0 with an empty line at the end, or when the file is not open. */
int readCapture(captureFile *pCapture, char *szLine, size_t size);

template <size_t N> int readCapture(captureFile *pCapture, char (&szLine)[N]) {
    return readCapture(pCapture, szLine, N);
}

void closeCapture(captureFile *pCapture);

/* Closes it, and removes it when it is ours. */
void dropCapture(captureFile *pCapture);

/* Leaves it where it is, and open if it is, for whoever wants to look at it. */
void leaveCapture(captureFile *pCapture);

/* --- Files --- */

/* The list files of a cluster's run, which the hosts share. */
constexpr const char *pHostListPath = "/tmp/hl.txt";
constexpr const char *pNetListPath = "/tmp/nl.txt";
constexpr const char *pDiskListPath = "/tmp/dl.txt";
constexpr const char *pUserListPath = "/tmp/il.txt";

/* Creates a file at a fixed name for writing, made ours like a capture file; a signal that ends the run removes it.
 * Null when that is not possible. */
FILE *createOwnFile(const char *pPath);

/* 1 when a path names something. */
int pathExists(const char *pPath);

/* 1 when a path names a file or directory, not a link, that is ours and nobody else's to write. */
int isOnlyOurs(const char *pPath);

/* 1 when a path names what somebody else may have put there: a link of either kind, a file that is not ours, or no file
 * at all but a directory or the like. 0 when it names nothing. */
int isForeignFile(const char *pPath);

/* Removes a file, unless it is foreign. */
void removeOwnFile(const char *pPath);

/* --- This host --- */

/* This host's name, empty when it cannot be told. */
void findHostName(char *szHost, size_t size);

/* Cuts a host name at its first point. */
void cutDomain(char *szName);

/* This host's name up to its first point. */
template <size_t N> void findShortHostName(char (&szHost)[N]) {
    findHostName(szHost, N);
    cutDomain(szHost);
}

/* The next entry of the password database, from where it stands, with a name. Null when there is none. */
const struct passwd *nextUserNamed(const char *pName);

#endif
