/*
 * Runs commands through the shell: quotes their words, limits their time, and reads their output back from pipes and
 * capture files. Also: who owns a file, and the host's name and users.
 */
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <linux/fs.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "sqloCommand.h"
#include "sqloLiterals.h"

/* --- Files --- */

int pathExists(const char *pPath) {
    struct stat status;
    return stat(pPath, &status) == 0;
}

int isOnlyOurs(const char *pPath) {
    struct stat status;
    return lstat(pPath, &status) == 0 && !S_ISLNK(status.st_mode) && status.st_uid == geteuid() &&
           (status.st_mode & S_IWOTH) == 0 && (status.st_gid == getegid() || (status.st_mode & S_IWGRP) == 0);
}

int isForeignFile(const char *pPath) {
    struct stat status;
    return lstat(pPath, &status) == 0 &&
           (!S_ISREG(status.st_mode) || status.st_uid != geteuid() || status.st_nlink != 1);
}

void removeOwnFile(const char *pPath) {
    if (!isForeignFile(pPath))
        unlink(pPath);
}

int sqloFileExists(const char *pPath) {
    char szPath[PATH_MAX];
    const char *pStart = textOrEmpty(pPath);
    if (*pStart == '"')
        pStart++;
    copyText(szPath, pStart);
    cutAtEnd(szPath, '"');
    struct stat status;
    return stat(szPath, &status) == 0 && S_ISREG(status.st_mode);
}

/* --- Shell words --- */

/* 1 for a character that every shell takes literally. A tilde is one, except at the start of a word. */
static int isPlainCharacter(char c, int bFirst) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || isDecimalDigit(c) ||
           (c != '\0' && strchr("_.,:+-/@=^", c) != NULL) || (c == '~' && !bFirst);
}

int isPlainWord(const char *pText) {
    for (const char *p = pText; *p != '\0'; p++)
        if (!isPlainCharacter(*p, p == pText))
            return 0;
    return 1;
}

/* A command while it is composed. */
struct composedCommand {
    char *szText;
    size_t size, length;
    char quote; // the quotation mark that the format has opened and not yet closed: '"', '\'', or 0
    int bFits;  // 0 once something did not fit or could not be inserted safely
};

/* Appends a character, or notes that it does not fit. */
static void putCharacter(composedCommand *pCommand, char c) {
    if (pCommand->length + 1 >= pCommand->size)
        pCommand->bFits = 0;
    else
        pCommand->szText[pCommand->length++] = c;
}

/* Appends a text as it is. */
static void putText(composedCommand *pCommand, const char *pText) {
    for (; *pText != '\0'; pText++)
        putCharacter(pCommand, *pText);
}

/* Appends a text in single quotes, so that the shell reads it as one literal word. */
static void putQuoted(composedCommand *pCommand, const char *pText) {
    putCharacter(pCommand, '\'');
    for (; *pText != '\0'; pText++)
        if (*pText == '\'')
            putText(pCommand, "'\\''");
        else
            putCharacter(pCommand, *pText);
    putCharacter(pCommand, '\'');
}

/* Appends a word of the caller's: a pattern or a plain word as it is, any other word in single quotes. In the first
 * word of the command, a word with "=" is quoted, or the shell would read it as an assignment. Clears bFits for a word
 * that must not be inserted: one with a hyphen at the start of a word of the command, because the tool would read an
 * option, and one that needs quotes where the format's own quotes are open. A pattern is never refused. */
static void putWord(composedCommand *pCommand, const shellWord &word) {
    const char *pText = textOrEmpty(word.pText);
    int bFirst = pCommand->length == 0;
    int bOption = *pText == '-' && (bFirst || pCommand->szText[pCommand->length - 1] == ' ');
    int bInFirstWord = memchr(pCommand->szText, ' ', pCommand->length) == NULL;
    int bPlain = isPlainWord(pText) && !(bInFirstWord && strchr(pText, '=') != NULL);
    if (word.bPattern || (bPlain && !bOption))
        putText(pCommand, pText);
    else if (!bOption && pCommand->quote == '\0')
        putQuoted(pCommand, pText);
    else
        pCommand->bFits = 0;
}

/* Appends a character of the format, and keeps track of the quotes that the format opens and closes. */
static void putFormatCharacter(composedCommand *pCommand, char c) {
    if ((c == '"' || c == '\'') && (pCommand->quote == '\0' || pCommand->quote == c))
        pCommand->quote = pCommand->quote == '\0' ? c : '\0';
    putCharacter(pCommand, c);
}

int composeCommand(commandText &szCommand, const char *pFormat, const shellWord *pWords, int wordCount) {
    composedCommand command = {szCommand, sizeof szCommand, 0, '\0', 1};
    int used = 0;
    for (; *pFormat != '\0'; pFormat++) {
        if (pFormat[0] == '%' && pFormat[1] == 's' && used < wordCount) {
            putWord(&command, pWords[used++]);
            pFormat++;
        } else {
            if (pFormat[0] == '%' && pFormat[1] == '%')
                pFormat++;
            putFormatCharacter(&command, *pFormat);
        }
    }
    szCommand[command.bFits ? command.length : 0] = '\0';
    return command.bFits;
}

/* --- Files to be removed when a signal ends the run --- */

/* A file that the signal handler removes. Its path is noted before the file is created, so a signal at any moment finds
 * it. */
struct ownFile {
    char szPath[4096];
    volatile sig_atomic_t bUsed;
};

static ownFile ownFiles[16]; // more than ever exist at once

/* The slot of a path, or null. */
static ownFile *findOwnFile(const char *pPath) {
    for (ownFile &file : ownFiles)
        if (file.bUsed && strcmp(file.szPath, pPath) == 0)
            return &file;
    return NULL;
}

/* Tells the signal handler to remove a path. */
static void noteOwnFile(const char *pPath) {
    if (findOwnFile(pPath) != NULL)
        return;
    for (ownFile &file : ownFiles)
        if (!file.bUsed) {
            copyText(file.szPath, pPath);
            file.bUsed = 1;
            return;
        }
}

/* Tells the signal handler to leave a path alone. */
static void forgetOwnFile(const char *pPath) {
    ownFile *pFile = findOwnFile(pPath);
    if (pFile != NULL)
        pFile->bUsed = 0;
}

/* --- Signals. The handler calls only functions that are safe in a signal handler. --- */

static const int endingSignals[] = {SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGPIPE, SIGALRM};

static volatile sig_atomic_t commandId;     // process id of the running command, 0 when none runs
static volatile sig_atomic_t commandTarget; // for kill: the command's own group (negative), or its process id alone

/* Waits until a command and all processes of its group are gone, and reaps them: as process 1 of a container this
 * program is the parent of the group's orphans. Returns 0 when some are still there after so many milliseconds. */
static int waitForEnd(int id, int target, int milliseconds) {
    const int pause = 10;
    for (int waited = 0; waited <= milliseconds; waited += pause) {
        while (waitpid(id, NULL, WNOHANG) > 0 || waitpid(target, NULL, WNOHANG) > 0)
            continue;
        if (kill(target, 0) != 0)
            return 1;
        poll(NULL, 0, pause);
    }
    return 0;
}

/* Ends a command and all processes of its target, and reaps them: sends SIGTERM, then SIGCONT, because a stopped
 * process handles SIGTERM only after that, and SIGKILL when a process is left after so many milliseconds. */
static void stopCommand(int id, int target, int milliseconds) {
    kill(target, SIGTERM);
    kill(target, SIGCONT);
    if (waitForEnd(id, target, milliseconds))
        return;
    kill(target, SIGKILL);
    waitForEnd(id, target, 100); // SIGKILL cannot end a process that hangs in the kernel: leave it behind
}

/* The signal handler: stops the running command, removes the files of the run, and ends the program by the same signal,
 * so that the caller sees which one it was. */
static void endRun(int number) {
    if (commandId != 0)
        stopCommand(commandId, commandTarget, 1000);
    for (const ownFile &file : ownFiles)
        if (file.bUsed)
            unlink(file.szPath);
    signal(number, SIG_DFL);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, number);
    sigprocmask(SIG_UNBLOCK, &set, NULL);
    raise(number);
    _exit(128 + number); // reached as process 1 of a container: the kernel ignores the signal, but the run must end
}

/* The set of the signals that end the run. */
static sigset_t handledSignals(void) {
    sigset_t set;
    sigemptyset(&set);
    for (int number : endingSignals)
        sigaddset(&set, number);
    return set;
}

/* SIGCHLD may be inherited as ignored; waitpid would then fail for every command. A signal that is inherited as
 * ignored, as nohup does with SIGHUP, stays ignored. */
void watchSignals(void) {
    signal(SIGCHLD, SIG_DFL);
    struct sigaction action = {};
    action.sa_handler = endRun;
    action.sa_mask = handledSignals();
    for (int number : endingSignals) {
        struct sigaction before;
        if (sigaction(number, NULL, &before) == 0 && before.sa_handler != SIG_IGN)
            sigaction(number, &action, NULL);
    }
}

/* --- Shell commands --- */

static const unsigned FIRST_LIMIT = 300, LATER_LIMIT = 30; // seconds; where one tool hangs, others are likely to
static const int STEP = 1000, STOPPING_TIME = 5000;        // milliseconds

static int bTimedOutBefore;
static long long timeLeft;  // milliseconds that the running command may still take
static long long stepStart; // when the current step of waiting began, in milliseconds
static sigset_t maskBefore; // the signals that were blocked before the running command was started

/* The time limit of a command: short once a command of this run has timed out. */
static unsigned limitInSeconds(void) {
    return bTimedOutBefore ? LATER_LIMIT : FIRST_LIMIT;
}

/* The monotonic clock, which nobody can set. */
static long long milliseconds(void) {
    struct timespec now = {0, 0};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000LL + now.tv_nsec / 1000000;
}

/* Starts the time limit of a command; an attached one has none. */
static void startClock(CommandKind kind) {
    timeLeft = kind == LOCAL_COMMAND ? limitInSeconds() * 1000LL : LLONG_MAX;
    stepStart = milliseconds();
}

/* Takes the current step of waiting off the time left, one second at most. A longer step means that this program was
 * stopped or frozen, and its command perhaps too: that time does not count. */
static void countStep(void) {
    long long now = milliseconds();
    timeLeft -= now - stepStart < STEP ? now - stepStart : STEP;
    stepStart = now;
}

/* Signals by which a terminal stops a process. A command in a group of its own is a background group, which is stopped
 * when it uses the terminal, and this program would wait for it without end. Ctrl-Z may also reach the command before
 * it has its own group, and "fg" would not continue it. Ignored signals are inherited, so they are ignored while the
 * command is spawned. */
static const int terminalStops[] = {SIGTSTP, SIGTTIN, SIGTTOU};

struct stopHandlers {
    void (*pHandlers[sizeof terminalStops / sizeof terminalStops[0]])(int);
};

/* Ignores these signals; returns the handlers that they had. */
static stopHandlers ignoreTerminalStops(void) {
    stopHandlers before = {};
    int i = 0;
    for (int number : terminalStops)
        before.pHandlers[i++] = signal(number, SIG_IGN);
    return before;
}

/* Gives these signals their handlers back. */
static void restoreTerminalStops(const stopHandlers &before) {
    int i = 0;
    for (int number : terminalStops)
        signal(number, before.pHandlers[i++]);
}

/* Prepares what posix_spawn is to do: give a local command a process group of its own, restore the signal mask, and
 * connect standard output with the descriptor, if there is one. Returns 0 or an error number. */
static int setUpSpawn(posix_spawnattr_t *pAttributes, posix_spawn_file_actions_t *pActions, CommandKind kind,
                      int output) {
    const short ownGroup = kind == LOCAL_COMMAND ? POSIX_SPAWN_SETPGROUP : 0; // the default group, 0, is a new one
    int error = posix_spawnattr_setflags(pAttributes, (short)(POSIX_SPAWN_SETSIGMASK | ownGroup));
    if (error == 0)
        error = posix_spawnattr_setsigmask(pAttributes, &maskBefore);
    if (error == 0 && output != NO_DESCRIPTOR)
        error = posix_spawn_file_actions_adddup2(pActions, output, STDOUT_FILENO);
    return error;
}

/* Starts "sh -c" with a command, and stores its process id. Returns 0 or an error number. */
static int spawnShell(const char *pCommand, CommandKind kind, int output, pid_t *pId) {
    const char *const ppszArguments[] = {"sh", "-c", pCommand, NULL};
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_t actions;
    int error = posix_spawnattr_init(&attributes);
    if (error != 0)
        return error;
    error = posix_spawn_file_actions_init(&actions);
    if (error == 0) {
        error = setUpSpawn(&attributes, &actions, kind, output);
        if (error == 0)
            error =
                posix_spawn(pId, "/bin/sh", &actions, &attributes, const_cast<char *const *>(ppszArguments), environ);
        posix_spawn_file_actions_destroy(&actions);
    }
    posix_spawnattr_destroy(&attributes);
    return error;
}

/* Starts a command in a shell: a local one in a group of its own and with the time limit, an attached one without
 * either. It writes to the descriptor output, or, without a descriptor, where this program does. Flushes standard
 * output first, so that the command's output follows it. The signals that end the run are blocked until their handler
 * knows the command. SIGCHLD stays blocked until finishCommand, or sigtimedwait could miss it. Returns RC_OK. On
 * failure returns what system would return: -1 when processes or memory are short, the status of exit code 127 for any
 * other reason. */
static int startCommand(const char *pCommand, CommandKind kind, int output) {
    fflush(stdout);
    sigset_t blocked = handledSignals();
    sigaddset(&blocked, SIGCHLD);
    sigprocmask(SIG_BLOCK, &blocked, &maskBefore);
    stopHandlers before = {};
    if (kind == LOCAL_COMMAND)
        before = ignoreTerminalStops();
    pid_t id = 0;
    int error = spawnShell(pCommand, kind, output, &id);
    if (kind == LOCAL_COMMAND)
        restoreTerminalStops(before);
    sigset_t mask = maskBefore;
    if (error == 0) {
        commandTarget = kind == LOCAL_COMMAND ? -id : id;
        commandId = id;
        startClock(kind);
        sigaddset(&mask, SIGCHLD);
    }
    sigprocmask(SIG_SETMASK, &mask, NULL);
    if (error == 0)
        return RC_OK;
    errno = error;
    return error == EAGAIN || error == ENOMEM ? -1 : 127 << 8;
}

/* 1 when the running command has ended. WNOWAIT leaves it unreaped, so that no other process can get its id while the
 * signal handler may still use it. */
static int hasEnded(void) {
    siginfo_t information;
    information.si_pid = 0;
    return waitid(P_PID, (id_t)commandId, &information, WEXITED | WNOHANG | WNOWAIT) != 0 || information.si_pid != 0;
}

/* Waits until the running command ends: SIGCHLD wakes it, and it looks once a second in any case. Returns 0 when the
 * command reaches its time limit. */
static int awaitEnd(void) {
    const struct timespec step = {STEP / 1000, 0};
    sigset_t childSignal;
    sigemptyset(&childSignal);
    sigaddset(&childSignal, SIGCHLD);
    while (!hasEnded()) {
        if (timeLeft <= 0)
            return 0;
        sigtimedwait(&childSignal, NULL, &step);
        countStep();
    }
    return 1;
}

/* Reports on standard error that a command timed out, and stops it. Later commands get the short limit. */
static void endTimedOut(const char *pCommand) {
    commandText szShown;
    copyText(szShown, pCommand);
    hideControls(szShown);
    fprintf(stderr, szStoppedByLimit, limitInSeconds(), szShown);
    bTimedOutBefore = 1;
    stopCommand(commandId, commandTarget, STOPPING_TIME);
}

/* Waits for the running command, stops it when it times out, and returns its status, or COMMAND_TIMED_OUT. Background
 * processes of a command that ended in time are left alone. The signal handler forgets such a command before
 * it is reaped, or it could signal a process that got the same id. */
static int finishCommand(const char *pCommand) {
    int status = COMMAND_TIMED_OUT;
    int bEnded = awaitEnd();
    if (!bEnded)
        endTimedOut(pCommand);
    pid_t id = commandId;
    commandId = 0;
    if (bEnded && waitpid(id, &status, 0) != id)
        status = -1;
    sigprocmask(SIG_SETMASK, &maskBefore, NULL);
    return status;
}

int runCommand(const commandText &szCommand, CommandKind kind) {
    if (*szCommand == '\0')
        return COMMAND_NOT_RUN;
    int status = startCommand(szCommand, kind, NO_DESCRIPTOR);
    return status == RC_OK ? finishCommand(szCommand) : status;
}

int wasKilled(int status) {
    return (status & 0x7f) != 0;
}

int exitCode(int status) {
    return (status >> 8) & 0xff;
}

/* --- Pipes --- */

/* A command whose output is read through a pipe. */
struct commandPipe {
    const char *pCommand;
    int descriptor;
    int rest; // bytes still to be read from the pipe once the command has ended; -1 while it runs
    char output[4096];
    size_t taken, length; // bytes of output that were handed on, and that are there
};

/* Starts a command with its standard output connected to a pipe. Returns 0 when it cannot be started. */
static int openPipe(commandPipe *pPipe, const char *pCommand) {
    int ends[2];
    if (*pCommand == '\0' || pipe2(ends, O_CLOEXEC) != 0)
        return 0;
    pPipe->pCommand = pCommand;
    pPipe->descriptor = ends[0];
    pPipe->rest = -1;
    pPipe->taken = pPipe->length = 0;
    int bStarted = startCommand(pCommand, LOCAL_COMMAND, ends[1]) == RC_OK;
    close(ends[1]);
    if (!bStarted)
        close(ends[0]);
    return bStarted;
}

/* Waits until the pipe can be read, its end included, or the command has ended. When the command has ended, the number
 * of bytes that are left in the pipe is noted, and later calls do not wait. Returns 0 when the command reaches its time
 * limit, or when the bytes cannot be counted. */
static int awaitOutput(commandPipe *pPipe) {
    struct pollfd end = {pPipe->descriptor, POLLIN, 0};
    while (pPipe->rest < 0) {
        if (hasEnded())
            return ioctl(pPipe->descriptor, FIONREAD, &pPipe->rest) == 0;
        if (timeLeft <= 0)
            return 0;
        int bReadable = poll(&end, 1, STEP) > 0;
        countStep();
        if (bReadable)
            return 1;
    }
    return 1;
}

/* Reads the next piece of the output. Returns 0 when there is no more. Does not wait for the end of the pipe: a
 * background child may keep it open, and write to it, after the command has ended. Only the bytes that are in the pipe
 * at that time are read. */
static int fillPipe(commandPipe *pPipe) {
    if (!awaitOutput(pPipe))
        return 0;
    size_t size = sizeof pPipe->output;
    if (pPipe->rest >= 0 && (size_t)pPipe->rest < size)
        size = (size_t)pPipe->rest;
    ssize_t length = read(pPipe->descriptor, pPipe->output, size);
    if (length <= 0)
        return 0;
    if (pPipe->rest >= 0)
        pPipe->rest -= (int)length;
    pPipe->taken = 0;
    pPipe->length = (size_t)length;
    return 1;
}

/* Reads a line of the output with its newline. A line that is longer than the buffer is read in pieces. Returns 0 at
 * the end of the output. */
static int readPipe(commandPipe *pPipe, char *szLine, size_t size) {
    size_t length = 0;
    while (length + 1 < size && (pPipe->taken < pPipe->length || fillPipe(pPipe))) {
        szLine[length] = pPipe->output[pPipe->taken++];
        if (szLine[length++] == '\n')
            break;
    }
    szLine[length] = '\0';
    return length > 0;
}

/* Closes the pipe and waits for its command. Returns 0 when the command timed out. */
static int closePipe(const commandPipe *pPipe) {
    close(pPipe->descriptor);
    return finishCommand(pPipe->pCommand) != COMMAND_TIMED_OUT;
}

int firstLineOf(const char *pCommand, char *szLine, size_t size) {
    commandPipe pipe;
    if (openPipe(&pipe, pCommand)) {
        int bRead = readPipe(&pipe, szLine, size);
        if (closePipe(&pipe) && bRead)
            return 1;
    }
    *szLine = '\0';
    return 0;
}

int outputHolds(const commandText &szCommand, const char *pText) {
    commandPipe pipe;
    char szLine[256];
    int bHolds = 0;
    if (openPipe(&pipe, szCommand)) {
        while (!bHolds && readPipe(&pipe, szLine, sizeof szLine))
            bHolds = strstr(szLine, pText) != NULL;
        bHolds &= closePipe(&pipe);
    }
    return bHolds;
}

/* --- Capture files --- */

const char *temporaryDirectory(void) {
    const char *pDirectory = getenv("KVXTMPDIR");
    return pDirectory == NULL ? "/tmp" : pDirectory;
}

void nameCapture(captureFile *pCapture, int idOffset) {
    nameCaptureAt(pCapture, "%s/%s.%d", temporaryDirectory(), "kvxprereqcheck", (int)getpid() + idOffset);
}

void nameCaptureAt(captureFile *pCapture, const char *pFormat, ...) {
    char szPath[sizeof pCapture->szPath];
    va_list arguments;
    va_start(arguments, pFormat);
    int bFits = formatArguments(szPath, sizeof szPath, pFormat, arguments);
    va_end(arguments);
    const char *pHere = *szPath == '-' ? "./" : ""; // a tool would read a name with a hyphen as an option
    if (!bFits || !formatText(pCapture->szPath, "%s%s", pHere, szPath))
        pCapture->szPath[0] = '\0';
    pCapture->bOurs = 0;
    pCapture->descriptor = NO_DESCRIPTOR;
    pCapture->pFile = NULL;
}

/* Renames a directory that has the name of a capture file. It is not removed: it belongs to somebody, and may hold
 * files. Its new name is random, so nobody can plant something there first. Where the kernel can exchange two names, a
 * new file of ours gets the old name in the same step, and its descriptor is returned. Otherwise returns -1, and the
 * name is free, still taken, or already planted again. */
static int moveAside(const char *pPath) {
    char szAside[PATH_MAX + 8];
    formatText(szAside, "%s.XXXXXX", pPath);
    int descriptor = mkostemp(szAside, O_CLOEXEC);
    if (descriptor == NO_DESCRIPTOR)
        return NO_DESCRIPTOR;
    if (syscall(SYS_renameat2, AT_FDCWD, szAside, AT_FDCWD, pPath, RENAME_EXCHANGE) == 0)
        return descriptor;
    close(descriptor);
    unlink(szAside);
    rename(pPath, szAside);
    return NO_DESCRIPTOR;
}

/* 1 when a path, not followed if it is a link, names the open file. */
static int isAtPath(int descriptor, const char *pPath) {
    struct stat opened, named;
    return fstat(descriptor, &opened) == 0 && lstat(pPath, &named) == 0 && opened.st_dev == named.st_dev &&
           opened.st_ino == named.st_ino;
}

/* Claims a predictable name in a shared directory: removes a file or link that somebody planted there, moves a
 * directory aside, and creates a new file that only we can open. A name that is planted again is claimed again, up to
 * 100 times. The signal handler removes the file until forgetOwnFile is called. Returns the descriptor of the new file,
 * or -1 with the reason in errno. */
static int claimPath(const char *pPath) {
    noteOwnFile(pPath);
    for (int attempt = 0; attempt < 100; attempt++) {
        unlink(pPath);
        int descriptor = open(pPath, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        if (descriptor == NO_DESCRIPTOR && errno == EEXIST)
            descriptor = moveAside(pPath);
        else if (descriptor == NO_DESCRIPTOR)
            break;
        if (descriptor != NO_DESCRIPTOR && isAtPath(descriptor, pPath))
            return descriptor;
        if (descriptor != NO_DESCRIPTOR)
            close(descriptor);
    }
    forgetOwnFile(pPath);
    return NO_DESCRIPTOR;
}

/* Reports a failure on standard error: what cannot be done, the path, and the reason in errno. */
static void printFileError(const char *pWhat, const char *pPath) {
    const char *pReason = strerror(errno);
    char szShown[PATH_MAX];
    copyText(szShown, pPath);
    hideControls(szShown);
    fprintf(standardError(), szFileError, pWhat, szShown, pReason);
}

/* Claims the name of a capture file; says so on standard error when that fails. The descriptor stays open while the
 * command runs: isAtPath compares it with the name afterwards, to see whether somebody replaced the file. Returns 1 or
 * 0. */
static int claimCapture(captureFile *pCapture) {
    pCapture->descriptor = claimPath(pCapture->szPath);
    if (pCapture->descriptor == NO_DESCRIPTOR)
        printFileError(szCannotCreate, pCapture->szPath);
    pCapture->bOurs = pCapture->descriptor != NO_DESCRIPTOR;
    return pCapture->bOurs;
}

/* Closes the descriptor of a capture file that was not opened for reading. */
static void closeUnread(captureFile *pCapture) {
    if (pCapture->descriptor != NO_DESCRIPTOR)
        close(pCapture->descriptor);
    pCapture->descriptor = NO_DESCRIPTOR;
}

/* Tries to append one more block to a file, and takes it off again. Returns 1 when that succeeds. SIGXFSZ is ignored
 * meanwhile: a limit on the file size would end the run. */
static int hasRoomForMore(int descriptor) {
    static const char block[4096] = "";
    struct stat status;
    if (fstat(descriptor, &status) != 0)
        return 0;
    void (*pBefore)(int) = signal(SIGXFSZ, SIG_IGN);
    int bRoom = pwrite(descriptor, block, sizeof block, status.st_size) == (ssize_t)sizeof block;
    int error = errno;
    signal(SIGXFSZ, pBefore);
    int bRestored = ftruncate(descriptor, status.st_size) == 0;
    errno = error;
    return bRoom && bRestored;
}

/* Returns 0, and says so on standard error, when a command's output may have been truncated. Tools do not report that;
 * but when not even one more block can be written after the command, some of its output may be missing. */
static int isWhole(const captureFile *pCapture) {
    errno = ENOSPC; // a write of less than a block sets no errno
    if (hasRoomForMore(pCapture->descriptor))
        return 1;
    printFileError(szCannotWriteAll, pCapture->szPath);
    return 0;
}

int runIntoCapture(captureFile *pCapture, const commandText &szCommand, CommandKind kind) {
    if (*pCapture->szPath == '\0' || *szCommand == '\0' || !claimCapture(pCapture))
        return COMMAND_NOT_RUN;
    int status = runCommand(szCommand, kind);
    if (status == COMMAND_TIMED_OUT || !isAtPath(pCapture->descriptor, pCapture->szPath))
        closeUnread(pCapture);
    else if (!isWhole(pCapture)) {
        dropCapture(pCapture);
        return wasKilled(status) ? status : COMMAND_NOT_RUN;
    }
    return status;
}

int openCapture(captureFile *pCapture) {
    if (pCapture->descriptor != NO_DESCRIPTOR)
        pCapture->pFile = fdopen(pCapture->descriptor, "r");
    if (pCapture->pFile == NULL)
        return 0;
    setvbuf(pCapture->pFile, pCapture->buffer, _IOFBF, sizeof pCapture->buffer);
    pCapture->descriptor = NO_DESCRIPTOR; // the stream closes it from now on
    return 1;
}

/* fgets_unlocked is faster: the texts of a library are many short lines, and the program has only one thread. */
int readCapture(captureFile *pCapture, char *szLine, size_t size) {
    szLine[0] = '\0';
    return pCapture->pFile != NULL && fgets_unlocked(szLine, (int)size, pCapture->pFile) != NULL;
}

void closeCapture(captureFile *pCapture) {
    if (pCapture->pFile != NULL)
        fclose(pCapture->pFile);
    pCapture->pFile = NULL;
    closeUnread(pCapture);
}

void dropCapture(captureFile *pCapture) {
    closeCapture(pCapture);
    if (pCapture->bOurs) {
        unlink(pCapture->szPath);
        forgetOwnFile(pCapture->szPath);
    }
    pCapture->bOurs = 0;
}

void leaveCapture(captureFile *pCapture) {
    closeUnread(pCapture);
    forgetOwnFile(pCapture->szPath);
    pCapture->bOurs = 0;
}

FILE *createOwnFile(const char *pPath) {
    int descriptor = claimPath(pPath);
    if (descriptor == NO_DESCRIPTOR)
        return NULL;
    FILE *pFile = fdopen(descriptor, "w");
    if (pFile == NULL) {
        close(descriptor);
        unlink(pPath);
        forgetOwnFile(pPath);
    }
    return pFile;
}

/* --- This host --- */

void findHostName(char *szHost, size_t size) {
    if (gethostname(szHost, size) != 0)
        szHost[0] = '\0';
    szHost[size - 1] = '\0';
}

void cutDomain(char *szName) {
    szName[strcspn(szName, ".")] = '\0';
}

const struct passwd *nextUserNamed(const char *pName) {
    const struct passwd *pEntry = getpwent();
    while (pEntry != NULL && strcmp(pEntry->pw_name, pName) != 0)
        pEntry = getpwent();
    return pEntry;
}
