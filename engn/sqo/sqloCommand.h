/*
 * Runs commands through the shell and reads their output back from pipes and capture files. Also: who owns a file, and
 * the host's name and users.
 */
#ifndef SQLO_COMMAND_H
#define SQLO_COMMAND_H

#include "sqloText.h"

#include <pwd.h>

/* --- Shell commands --- */

/* Room for a composed command: more than two of the longest paths in quotes. */
typedef char commandText[16384];

/* A word of a command. A pattern is a constant of the program and is inserted as it is, for the shell to expand. Any
 * other word comes from outside: it is quoted where needed, so that the shell reads it as one literal word. An empty
 * word inserts nothing. */
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

/* 1 when every shell takes all characters of a text literally, so that it needs no quotes. */
int isPlainWord(const char *pText);

/* Composes a command from a format, in which "%s" inserts the next word and "%%" a per-cent sign. Returns 1; or 0 with
 * an empty command, which is never run, when the command does not fit, or when a word would become shell syntax or an
 * option at its place. */
int composeCommand(commandText &szCommand, const char *pFormat, const shellWord *pWords, int wordCount);

template <typename... Words> int formatCommand(commandText &szCommand, const char *pFormat, Words... words) {
    const shellWord list[] = {toWord(words)..., {NULL, 0}};
    return composeCommand(szCommand, pFormat, list, (int)sizeof...(words));
}

/* The status of a command that was not run: that of exit code 2. */
const int COMMAND_NOT_RUN = 2 << 8;
/* The status of a command that timed out. wasKilled sees a signal in it, and exitCode gives 2. */
const int COMMAND_TIMED_OUT = COMMAND_NOT_RUN | 9;

/* How a command runs. A local command has a process group of its own and a time limit. An attached command, which may
 * ask for a password or works on other hosts, stays in the program's own group, which has the terminal, and has no time
 * limit. */
enum CommandKind { LOCAL_COMMAND, ATTACHED_COMMAND };

/* Installs the handler of the signals that end the run: SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGPIPE and SIGALRM, except
 * those that are inherited as ignored. The handler stops the running command, removes the files of the run and ends the
 * program by the same signal. The kernel ignores that signal for process 1 of a container: there the program exits with
 * status 128 plus the number of the signal. Call it before the first command. */
void watchSignals(void);

/* Runs a command and returns the status that system would return, or COMMAND_TIMED_OUT, or COMMAND_NOT_RUN for the
 * empty command of a failed composeCommand. Time in which this program is stopped or frozen does not count. */
int runCommand(const commandText &szCommand, CommandKind kind = LOCAL_COMMAND);

/* 1 for the status of a command that a signal ended or that timed out, and for -1 (no process could be made). */
int wasKilled(int status);

/* The exit code in a status. */
int exitCode(int status);

/* Runs a command through a pipe and reads the first line of its output, with its newline. Returns 1; or 0 with an empty
 * line when there is no output or the command times out. Does not wait for a background child that keeps the pipe
 * open. */
int firstLineOf(const char *pCommand, char *szLine, size_t size);

template <size_t N> int firstLineOf(const char *pCommand, char (&szLine)[N]) {
    return firstLineOf(pCommand, szLine, N);
}

/* Runs a command through a pipe and returns 1 when a line of its output holds a text. Lines are read in pieces of 255
 * characters. Returns 0 when no line does, when the command times out, and for the empty command of a failed
 * composeCommand. Does not wait for a background child that keeps the pipe open. */
int outputHolds(const commandText &szCommand, const char *pText);

/* --- Capture files: a command writes its output into one, and the program reads it back ---
 *
 * The order of use:
 *   1. captureOutput names the file, composes the command and runs it. A caller that needs these steps apart calls
 *      nameCapture or nameCaptureAt, formatCommand and runIntoCapture.
 *   2. openCapture, then readCapture until it returns 0. A caller that needs the status alone skips this step.
 *   3. On every path, also when the command did not run: dropCapture, or closeCapture and leaveCapture for a file that
 *      stays for people to look at. */

const int NO_DESCRIPTOR = -1; // open returns it too, when it fails

struct captureFile {
    char szPath[4096]; // empty when the path would be too long
    int bOurs;         // 1 once this program has created the file
    int descriptor; // of the created file, until the file is opened for reading; or NO_DESCRIPTOR, and it is not read
    FILE *pFile;    // open for reading, or null
    char buffer[65536]; // of that stream; most of what the commands of a run print is the texts of a library
};

/* The directory for temporary files: KVXTMPDIR, or /tmp. */
const char *temporaryDirectory(void);

/* Names a capture file in the temporary directory: the program's name and the process id plus an offset. */
void nameCapture(captureFile *pCapture, int idOffset = 0);

/* Names a capture file by a path of the caller's. A path that begins with a hyphen gets "./" in front. */
void nameCaptureAt(captureFile *pCapture, const char *pFormat, ...) __attribute__((format(printf, 2, 3)));

/* Claims the name of the capture file and runs a command that writes into it. To claim it, the program removes a file
 * or link of that name, moves a directory aside, and creates the file anew. When that fails, standard error says so and
 * the command is not run (COMMAND_NOT_RUN), because it could write to a file that somebody else puts there. When the
 * output may be truncated, the file is removed, and the result is COMMAND_NOT_RUN too, unless the command was killed.
 * After a time-out, or when somebody removed or replaced the file meanwhile, openCapture returns 0. */
int runIntoCapture(captureFile *pCapture, const commandText &szCommand, CommandKind kind = LOCAL_COMMAND);

/* Names a capture file and composes a command that writes into it: the last "%s" of the format is the file's path. */
template <typename... Words>
int composeCaptured(captureFile *pCapture, commandText &szCommand, const char *pFormat, Words... words) {
    nameCapture(pCapture);
    return formatCommand(szCommand, pFormat, words..., (const char *)pCapture->szPath);
}

/* The same, and runs the command. Returns its status, as runIntoCapture does. */
template <typename... Words> int captureOutput(captureFile *pCapture, const char *pFormat, Words... words) {
    commandText szCommand;
    composeCaptured(pCapture, szCommand, pFormat, words...);
    return runIntoCapture(pCapture, szCommand);
}

/* Opens a capture file for reading after its command has run; call it once. Returns 0 when it cannot be opened. */
int openCapture(captureFile *pCapture);

/* Reads a line with its newline. Returns 0 with an empty line at the end, or when the file is not open. */
int readCapture(captureFile *pCapture, char *szLine, size_t size);

template <size_t N> int readCapture(captureFile *pCapture, char (&szLine)[N]) {
    return readCapture(pCapture, szLine, N);
}

/* Closes the file; it stays in the temporary directory. */
void closeCapture(captureFile *pCapture);

/* Closes the file, and removes it if this program created it. */
void dropCapture(captureFile *pCapture);

/* Leaves the file on the host on purpose: no signal removes it any more. A stream that is open stays open. */
void leaveCapture(captureFile *pCapture);

/* --- Files --- */

/* The list files of a run on a whole cluster, which are copied to its hosts. */
constexpr const char *pHostListPath = "/tmp/hl.txt";
constexpr const char *pNetListPath = "/tmp/nl.txt";
constexpr const char *pDiskListPath = "/tmp/dl.txt";
constexpr const char *pUserListPath = "/tmp/il.txt";

/* Claims a path, as runIntoCapture does, and opens the new file for writing. A signal that ends the run removes it.
 * Returns null when it cannot be claimed. */
FILE *createOwnFile(const char *pPath);

/* 1 when a path names anything that exists; links are followed. */
int pathExists(const char *pPath);

/* 1 when a path names a file or directory, not a link, that belongs to this user and that only this user, or its own
 * group, may write to. */
int isOnlyOurs(const char *pPath);

/* 1 when a path names something that somebody else may have planted: a symbolic link, a file with a second name, a file
 * of another user, or anything that is not a regular file. 0 when it names nothing. */
int isForeignFile(const char *pPath);

/* Removes a file, unless it is foreign. */
void removeOwnFile(const char *pPath);

/* --- This host --- */

/* Stores this host's name, or the empty text when the system does not know it. */
void findHostName(char *szHost, size_t size);

/* Cuts a host name at its first dot. */
void cutDomain(char *szName);

/* Stores this host's name up to its first dot. */
template <size_t N> void findShortHostName(char (&szHost)[N]) {
    findHostName(szHost, N);
    cutDomain(szHost);
}

/* The next entry with a name in the password database, from its current position on (see getpwent); null at the end. */
const struct passwd *nextUserNamed(const char *pName);

#endif
