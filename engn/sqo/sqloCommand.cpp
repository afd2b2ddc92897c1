/*
 * Commands run through the shell: their words, the runner, the capture files; who owns a file; the host's name and
 * users.
 */
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "sqloCommand.h"

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

/* --- Shell commands. What was printed so far goes out first, so that a child's output follows it. --- */

int runCommand(const commandText &szCommand) {
    if (szCommand[0] == '\0')
        return COMMAND_NOT_RUN;
    fflush(stdout);
    return system(szCommand);
}

int wasKilled(int status) {
    return (status & 0x7f) != 0;
}

int exitCode(int status) {
    return (status >> 8) & 0xff;
}

static FILE *openPipe(const char *pCommand) {
    fflush(stdout);
    return popen(pCommand, "re");
}

int firstLineOf(const char *pCommand, char *szLine, size_t size) {
    FILE *pPipe = openPipe(pCommand);
    szLine[0] = '\0';
    if (pPipe == NULL)
        return 0;
    int bRead = fgets(szLine, (int)size, pPipe) != NULL;
    pclose(pPipe);
    return bRead;
}

int outputHolds(const commandText &szCommand, const char *pText) {
    FILE *pPipe = szCommand[0] == '\0' ? NULL : openPipe(szCommand);
    if (pPipe == NULL)
        return 0;
    char szLine[256];
    int bHolds = 0;
    while (!bHolds && fgets(szLine, sizeof szLine, pPipe) != NULL)
        bHolds = strstr(szLine, pText) != NULL;
    pclose(pPipe);
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
    const char *pHere = szPath[0] == '-' ? "./" : ""; // or the name would look like an option
    if (!bFits || !formatText(pCapture->szPath, "%s%s", pHere, szPath))
        pCapture->szPath[0] = '\0';
    pCapture->bOurs = 0;
    pCapture->pFile = NULL;
}

/* Makes a predictable name in a shared directory ours: nothing that someone planted there is written to or read.
 * Returns a descriptor, or -1. */
static int claimPath(const char *pPath) {
    unlink(pPath);
    return open(pPath, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
}

static int claimCapture(captureFile *pCapture) {
    int descriptor = claimPath(pCapture->szPath);
    if (descriptor < 0) {
        fflush(stdout);
        fprintf(stderr, "Cannot create %s: %s\n", pCapture->szPath, strerror(errno));
        return 0;
    }
    close(descriptor);
    pCapture->bOurs = 1;
    return 1;
}

int runIntoCapture(captureFile *pCapture, const commandText &szCommand) {
    if (pCapture->szPath[0] == '\0' || szCommand[0] == '\0' || !claimCapture(pCapture))
        return COMMAND_NOT_RUN;
    return runCommand(szCommand);
}

int openCapture(captureFile *pCapture) {
    closeCapture(pCapture);
    if (pCapture->bOurs)
        pCapture->pFile = fopen(pCapture->szPath, "re");
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
}

void dropCapture(captureFile *pCapture) {
    closeCapture(pCapture);
    if (pCapture->bOurs)
        unlink(pCapture->szPath);
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
