/*
 * Bounded texts, lines of files, numbers, and the debug trace. The sources include it, or an inner header that does,
 * behind their last system header: it forbids the unbounded copies from here on.
 */
#ifndef SQLO_TEXT_H
#define SQLO_TEXT_H

#include "sqloPrereqCheck.h"

#include <stdarg.h>
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
int formatArguments(char *szTo, size_t size, const char *pFormat, va_list arguments)
    __attribute__((format(printf, 3, 0)));

template <size_t N> __attribute__((format(printf, 2, 3))) int formatText(char (&szTo)[N], const char *pFormat, ...) {
    va_list arguments;
    va_start(arguments, pFormat);
    int bFits = formatArguments(szTo, N, pFormat, arguments);
    va_end(arguments);
    return bFits;
}

/* Reads a line into a text of size bytes, without its newline. A longer line comes in pieces. 0 at the end of file. */
int readLine(FILE *pFile, char *szLine, size_t size);

template <size_t N> int readLine(FILE *pFile, char (&szLine)[N]) {
    return readLine(pFile, szLine, N);
}

/* Cuts a text at its first newline. */
void cutNewline(char *szText);

/* Cuts the last character, whatever it is, of a text that has one. */
void cutLastCharacter(char *szText);

/* Turns control characters, which a terminal would obey, into "?". */
void hideControls(char *szText);

const char *textOrEmpty(const char *pText);

/* --- Numbers --- */

int isDecimalDigit(char c);

/* The number that a text begins with, 0 when there is none or the text is null; beyond an int it is cut to the nearest
 * int. */
int leadingNumber(const char *pText);

/* --- Debug trace, on standard output while debug is set. Scripts and support people search for these lines: spellings,
 * blanks and missing line ends stay as they are. --- */

void debugTrace(const char *pFormat, ...) __attribute__((format(printf, 1, 2)));

#pragma GCC poison strcpy strcat sprintf vsprintf strtok gets

#endif
