/*
 * Commands run through the shell: their words, the runner, the capture files; who owns a file; the host's name and
 * users.
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
    size_t length = strlen(szPath);
    if (length > 0 && szPath[length - 1] == '"')
        szPath[length - 1] = '\0';
    struct stat status;
    return stat(szPath, &status) == 0 && S_ISREG(status.st_mode);
}

/* --- Shell words --- */

/* Characters that no shell reads as anything but themselves; a tilde only behind the first. */
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

/* A command being composed: what is written, and the quotation of the format's own that it stands in. */
struct composedCommand {
    char *szText;
    size_t size, length;
    char quote; // '"', '\'', or 0
    int bFits;
};

static void putCharacter(composedCommand *pCommand, char c) {
    if (pCommand->length + 1 >= pCommand->size)
        pCommand->bFits = 0;
    else
        pCommand->szText[pCommand->length++] = c;
}

static void putText(composedCommand *pCommand, const char *pText) {
    for (; *pText != '\0'; pText++)
        putCharacter(pCommand, *pText);
}

static void putQuoted(composedCommand *pCommand, const char *pText) {
    putCharacter(pCommand, '\'');
    for (; *pText != '\0'; pText++)
        if (*pText == '\'')
            putText(pCommand, "'\\''");
        else
            putCharacter(pCommand, *pText);
    putCharacter(pCommand, '\'');
}

/* Inserts a word. One that begins with a hyphen would be an option; one that is not plain cannot stand inside a
 * quotation of the format's own. In the first word of the command an equals sign would make it an assignment. */
static void putWord(composedCommand *pCommand, const shellWord &word) {
    const char *pText = textOrEmpty(word.pText);
    int bFirst = pCommand->length == 0;
    int bOption = pText[0] == '-' && (bFirst || pCommand->szText[pCommand->length - 1] == ' ');
    int bInFirstWord = memchr(pCommand->szText, ' ', pCommand->length) == NULL;
    int bPlain = isPlainWord(pText) && !(bInFirstWord && strchr(pText, '=') != NULL);
    if (word.bPattern || (bPlain && !bOption))
        putText(pCommand, pText);
    else if (!bOption && pCommand->quote == '\0')
        putQuoted(pCommand, pText);
    else
        pCommand->bFits = 0;
}

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

/* A slot is filled before its file is created, so that there is no moment in which a file is left behind. */
struct ownFile {
    char szPath[4096];
    volatile sig_atomic_t bUsed;
};

static ownFile ownFiles[16]; // more than ever exist at once

static ownFile *findOwnFile(const char *pPath) {
    for (ownFile &file : ownFiles)
        if (file.bUsed && strcmp(file.szPath, pPath) == 0)
            return &file;
    return NULL;
}

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

static void forgetOwnFile(const char *pPath) {
    ownFile *pFile = findOwnFile(pPath);
    if (pFile != NULL)
        pFile->bUsed = 0;
}

/* --- Signals. The handlers use nothing but what is safe in one. --- */

static const int endingSignals[] = {SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGPIPE, SIGALRM};

static volatile sig_atomic_t commandId;     // process id of the running command, 0 when none runs
static volatile sig_atomic_t commandTarget; // whom to signal: its group, or the process alone in our group

/* Waits until a command, and all of its group, is gone. 0 when it is still there after the time. Process 1 of a
 * container must reap the group's orphans too. */
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

/* Asks a command to end, and ends it where it does not. SIGCONT: a stopped one could not hear. */
static void stopCommand(int id, int target, int milliseconds) {
    kill(target, SIGTERM);
    kill(target, SIGCONT);
    if (waitForEnd(id, target, milliseconds))
        return;
    kill(target, SIGKILL);
    waitForEnd(id, target, 100); // what even that does not end is left behind
}

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
    _exit(128 + number); // process 1 of a container ignores the signal; the run must not go on
}

static sigset_t handledSignals(void) {
    sigset_t set;
    sigemptyset(&set);
    for (int number : endingSignals)
        sigaddset(&set, number);
    return set;
}

/* SIGCHLD may be inherited as ignored; waitpid would then fail for every command. */
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

/* --- Shell commands. What was printed so far goes out first, so that a child's output follows it. --- */

static const unsigned FIRST_LIMIT = 300, LATER_LIMIT = 30; // seconds; a host where one tool hangs has more of them
static const int STEP = 1000, STOPPING_TIME = 5000;        // milliseconds

static int bTimedOutBefore;
static long long timeLeft; // milliseconds that the running command may still take
static long long stepStart;
static sigset_t maskBefore; // the signals that were blocked before the running command was started

static unsigned limitInSeconds(void) {
    return bTimedOutBefore ? LATER_LIMIT : FIRST_LIMIT;
}

static long long milliseconds(void) {
    struct timespec now = {0, 0};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000LL + now.tv_nsec / 1000000;
}

static void startClock(CommandKind kind) {
    timeLeft = kind == LOCAL_COMMAND ? limitInSeconds() * 1000LL : LLONG_MAX;
    stepStart = milliseconds();
}

/* Counts a step of waiting, as a second at most: the clock goes on while this program is stopped or frozen, and its
 * command may be so too. */
static void countStep(void) {
    long long now = milliseconds();
    timeLeft -= now - stepStart < STEP ? now - stepStart : STEP;
    stepStart = now;
}

/* The stops of a terminal are ignored while a command in a group of its own is spawned, which inherits that. A
 * background group is stopped when it uses the terminal. Ctrl-Z may reach the command before it has its own group; "fg"
 * would not continue it, and this program would wait for it without end. */
static const int terminalStops[] = {SIGTSTP, SIGTTIN, SIGTTOU};

struct stopHandlers {
    void (*pHandlers[sizeof terminalStops / sizeof terminalStops[0]])(int);
};

static stopHandlers ignoreTerminalStops(void) {
    stopHandlers before = {};
    int i = 0;
    for (int number : terminalStops)
        before.pHandlers[i++] = signal(number, SIG_IGN);
    return before;
}

static void restoreTerminalStops(const stopHandlers &before) {
    int i = 0;
    for (int number : terminalStops)
        signal(number, before.pHandlers[i++]);
}

/* What a command is started with: its group and signal mask, and where its output goes unless output is -1. An error
 * number, 0 when all of it is set. */
static int setUpSpawn(posix_spawnattr_t *pAttributes, posix_spawn_file_actions_t *pActions, CommandKind kind,
                      int output) {
    const short ownGroup = kind == LOCAL_COMMAND ? POSIX_SPAWN_SETPGROUP : 0;
    int error = posix_spawnattr_setflags(pAttributes, (short)(POSIX_SPAWN_SETSIGMASK | ownGroup));
    if (error == 0)
        error = posix_spawnattr_setsigmask(pAttributes, &maskBefore);
    if (error == 0)
        error = posix_spawnattr_setpgroup(pAttributes, 0);
    if (error == 0 && output >= 0)
        error = posix_spawn_file_actions_adddup2(pActions, output, STDOUT_FILENO);
    return error;
}

/* Starts the shell on a command. An error number, 0 when done. */
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

/* Starts a command. RC_OK, or what system returns on the failure: -1 without a process, the status of exit code 127
 * without a shell. The ending signals are blocked until their handler knows the command; SIGCHLD stays blocked until
 * the command is reaped, or sigtimedwait could miss it. */
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

/* Has the running command ended? It is not reaped, so that its process id stays its own. */
static int hasEnded(void) {
    siginfo_t information;
    information.si_pid = 0;
    return waitid(P_PID, (id_t)commandId, &information, WEXITED | WNOHANG | WNOWAIT) != 0 || information.si_pid != 0;
}

/* Waits for the running command. 0 when it runs out of time. */
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

static void endTimedOut(const char *pCommand) {
    commandText szShown;
    copyText(szShown, pCommand);
    hideControls(szShown);
    fprintf(stderr, szStoppedByLimit, limitInSeconds(), szShown);
    bTimedOutBefore = 1;
    stopCommand(commandId, commandTarget, STOPPING_TIME);
}

/* Waits for the running command and returns its status. Children that it leaves behind are left alone. */
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
    if (szCommand[0] == '\0')
        return COMMAND_NOT_RUN;
    int status = startCommand(szCommand, kind, -1);
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
    int rest; // bytes that were in the pipe when the command had ended; -1 while it runs
    char output[4096];
    size_t taken, length; // of that
};

/* Starts a command whose output is read. 0 when it cannot be started. */
static int openPipe(commandPipe *pPipe, const char *pCommand) {
    int ends[2];
    if (pCommand[0] == '\0' || pipe2(ends, O_CLOEXEC) != 0)
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

/* Waits for output, until there is some or the command has ended. 0 when it runs out of time. */
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

/* Reads the next piece of the output. 0 when there is no more. A background child may hold the pipe when the command
 * has ended, and may go on to write: only what is in the pipe by then is read. */
static int fillPipe(commandPipe *pPipe) {
    if (!awaitOutput(pPipe))
        return 0;
    size_t size = sizeof pPipe->output;
    if (pPipe->rest >= 0 && (size_t)pPipe->rest < size)
        size = (size_t)pPipe->rest;
    ssize_t length = size == 0 ? 0 : read(pPipe->descriptor, pPipe->output, size);
    if (length <= 0)
        return 0;
    if (pPipe->rest >= 0)
        pPipe->rest -= (int)length;
    pPipe->taken = 0;
    pPipe->length = (size_t)length;
    return 1;
}

/* Reads a line, newline included; a longer one comes in pieces. 0 at the end of the output. */
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

/* Closes the pipe and waits for its command. 1 when that ended in time. */
static int closePipe(const commandPipe *pPipe) {
    close(pPipe->descriptor);
    return finishCommand(pPipe->pCommand) != COMMAND_TIMED_OUT;
}

int firstLineOf(const char *pCommand, char *szLine, size_t size) {
    commandPipe pipe;
    szLine[0] = '\0';
    if (!openPipe(&pipe, pCommand))
        return 0;
    int bRead = readPipe(&pipe, szLine, size);
    if (closePipe(&pipe) && bRead)
        return 1;
    szLine[0] = '\0';
    return 0;
}

int outputHolds(const commandText &szCommand, const char *pText) {
    commandPipe pipe;
    if (!openPipe(&pipe, szCommand))
        return 0;
    char szLine[256];
    int bHolds = 0;
    while (!bHolds && readPipe(&pipe, szLine, sizeof szLine))
        bHolds = strstr(szLine, pText) != NULL;
    return closePipe(&pipe) && bHolds;
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
    const char *pHere = szPath[0] == '-' ? "./" : ""; // or the name would look like an option
    if (!bFits || !formatText(pCapture->szPath, "%s%s", pHere, szPath))
        pCapture->szPath[0] = '\0';
    pCapture->bOurs = 0;
    pCapture->descriptor = -1;
    pCapture->pFile = NULL;
}

/* Moves a directory out of a name's way, to a name that nobody knew: it is its owner's, and may be full. Where the
 * system can, a file of ours takes its place in one step. Returns that file's descriptor; or -1, with the name free for
 * a moment or still taken. */
static int moveAside(const char *pPath) {
    char szAside[PATH_MAX + 8];
    formatText(szAside, "%s.XXXXXX", pPath);
    int descriptor = mkostemp(szAside, O_CLOEXEC);
    if (descriptor < 0)
        return -1;
    if (syscall(SYS_renameat2, AT_FDCWD, szAside, AT_FDCWD, pPath, RENAME_EXCHANGE) == 0)
        return descriptor;
    close(descriptor);
    unlink(szAside);
    rename(pPath, szAside);
    return -1;
}

/* Is an open file the one that a name stands for? */
static int isAtPath(int descriptor, const char *pPath) {
    struct stat opened, named;
    return fstat(descriptor, &opened) == 0 && lstat(pPath, &named) == 0 && opened.st_dev == named.st_dev &&
           opened.st_ino == named.st_ino;
}

/* Makes a predictable name in a shared directory ours: nothing that someone planted there is written to or read, and
 * a name that is planted again is claimed again, up to 100 times. Returns a descriptor, or -1. */
static int claimPath(const char *pPath) {
    noteOwnFile(pPath);
    for (int attempt = 0; attempt < 100; attempt++) {
        unlink(pPath);
        int descriptor = open(pPath, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        if (descriptor < 0 && errno == EEXIST)
            descriptor = moveAside(pPath);
        else if (descriptor < 0)
            break;
        if (descriptor >= 0 && isAtPath(descriptor, pPath))
            return descriptor;
        if (descriptor >= 0)
            close(descriptor);
    }
    forgetOwnFile(pPath);
    return -1;
}

static void printFileError(const char *pWhat, const char *pPath) {
    const char *pReason = strerror(errno);
    char szShown[PATH_MAX];
    copyText(szShown, pPath);
    hideControls(szShown);
    fflush(stdout);
    fprintf(stderr, szFileError, pWhat, szShown, pReason);
}

/* The descriptor stays open, so that the file can be told from one that takes its name meanwhile. */
static int claimCapture(captureFile *pCapture) {
    pCapture->descriptor = claimPath(pCapture->szPath);
    if (pCapture->descriptor < 0)
        printFileError(szCannotCreate, pCapture->szPath);
    pCapture->bOurs = pCapture->descriptor >= 0;
    return pCapture->bOurs;
}

static void closeUnread(captureFile *pCapture) {
    if (pCapture->descriptor >= 0)
        close(pCapture->descriptor);
    pCapture->descriptor = -1;
}

/* Can one more block be appended to a file, which keeps its size? A file size limit must not end the run. */
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

/* Tools do not report that their output was truncated. Where nothing more can be written now, it may have been. */
static int isWhole(const captureFile *pCapture) {
    errno = ENOSPC; // also for less than a block
    if (hasRoomForMore(pCapture->descriptor))
        return 1;
    printFileError(szCannotWriteAll, pCapture->szPath);
    return 0;
}

int runIntoCapture(captureFile *pCapture, const commandText &szCommand, CommandKind kind) {
    if (pCapture->szPath[0] == '\0' || szCommand[0] == '\0' || !claimCapture(pCapture))
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
    if (pCapture->descriptor >= 0)
        pCapture->pFile = fdopen(pCapture->descriptor, "r");
    if (pCapture->pFile != NULL)
        pCapture->descriptor = -1; // now the stream's
    return pCapture->pFile != NULL;
}

/* Without the stream's lock: a library's texts are many short lines, and there is only one thread. */
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
    if (descriptor < 0)
        return NULL;
    FILE *pFile = fdopen(descriptor, "w");
    if (pFile == NULL)
        close(descriptor);
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
