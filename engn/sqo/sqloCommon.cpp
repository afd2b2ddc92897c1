/*
 * What every room of the program uses: bounded texts, numbers, the debug trace, and commands run through the shell.
 */
#include <errno.h>
#include <limits.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "sqloCommon.h"

/* --- Bounded texts --- */

char *safeStrNCat(char *str, const char *src, int size) {
    int length = (int)strnlen(str, (size_t)size);
    if (length < size)
        iStrncpy(str + length, src, size - length);
    return str;
}

char *iStrncpy(char *destination, const char *source, int size) {
    strncpy(destination, source, (size_t)size);
    destination[size - 1] = '\0';
    return destination;
}

int formatText(char *szTo, size_t size, const char *pFormat, ...) {
    va_list arguments;
    va_start(arguments, pFormat);
    int length = vsnprintf(szTo, size, pFormat, arguments);
    va_end(arguments);
    return length >= 0 && (size_t)length < size;
}

int readLine(FILE *pFile, char *szLine, size_t size) {
    if (fgets(szLine, (int)size, pFile) == NULL)
        return 0;
    cutNewline(szLine);
    return 1;
}

void cutNewline(char *szText) {
    szText[strcspn(szText, "\n")] = '\0';
}

void cutLastCharacter(char *szText) {
    size_t length = strlen(szText);
    if (length > 0)
        szText[length - 1] = '\0';
}

const char *textOrEmpty(const char *pText) {
    return pText == NULL ? "" : pText;
}

/* --- Numbers --- */

int isDecimalDigit(char c) {
    return c >= '0' && c <= '9';
}

int leadingNumber(const char *pText) {
    long number = strtol(textOrEmpty(pText), NULL, 10);
    if (number > INT_MAX)
        return INT_MAX;
    return number < INT_MIN ? INT_MIN : (int)number;
}

/* --- Debug trace --- */

void debugTrace(const char *pFormat, ...) {
    if (!debug)
        return;
    va_list arguments;
    va_start(arguments, pFormat);
    vprintf(pFormat, arguments);
    va_end(arguments);
}

/* --- Files --- */

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

/* --- Shell commands. What was printed so far goes out first, so that a child's output follows it. --- */

int firstLineOf(const char *pCommand, char *szLine, size_t size) {
    fflush(stdout);
    FILE *pPipe = popen(pCommand, "re");
    if (pPipe == NULL)
        return 0;
    int bRead = fgets(szLine, (int)size, pPipe) != NULL;
    pclose(pPipe);
    return bRead;
}
