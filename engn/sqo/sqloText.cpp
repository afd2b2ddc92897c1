/*
 * Bounded texts, lines of files, numbers, and the debug trace.
 */
#include <limits.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "sqloText.h"

/* --- Bounded texts --- */

char *safeStrNCat(char *str, const char *src, int size) {
    int length = (int)strnlen(str, (size_t)size);
    if (length < size)
        iStrncpy(str + length, src, size - length);
    return str;
}

char *iStrncpy(char *destination, const char *source, int size) {
    if (size < 1)
        return destination;
    size_t length = strnlen(source, (size_t)size - 1);
    memcpy(destination, source, length);
    destination[length] = '\0';
    destination[size - 1] = '\0';
    return destination;
}

int formatArguments(char *szTo, size_t size, const char *pFormat, va_list arguments) {
    int length = vsnprintf(szTo, size, pFormat, arguments);
    return (size_t)length < size; // a failure, -1, becomes the greatest number
}

int formatText(char *szTo, size_t size, const char *pFormat, ...) {
    va_list arguments;
    va_start(arguments, pFormat);
    int bFits = formatArguments(szTo, size, pFormat, arguments);
    va_end(arguments);
    return bFits;
}

int readLine(FILE *pFile, char *szLine, size_t size) {
    if (fgets_unlocked(szLine, (int)size, pFile) == NULL)
        return 0;
    cutNewline(szLine);
    return 1;
}

void cutNewline(char *szText) {
    szText[strcspn(szText, "\n")] = '\0';
}

void cutLastCharacter(char *szText) {
    if (*szText != '\0')
        szText[strlen(szText) - 1] = '\0';
}

void cutAtEnd(char *szText, char c) {
    char *pLast = strrchr(szText, c);
    if (pLast != NULL && pLast[1] == '\0')
        *pLast = '\0';
}

void hideControls(char *szText) {
    for (; *szText != '\0'; szText++)
        if ((unsigned char)*szText < ' ' || *szText == '\177')
            *szText = '?';
}

const char *textOrEmpty(const char *pText) {
    return pText == NULL ? "" : pText;
}

FILE *standardError(void) {
    fflush(stdout);
    return stderr;
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
