/*
 * Bounded texts, lines of files, numbers, and the debug trace. Include it, or an inner header that includes it, after
 * the last system header: it poisons the functions that copy without a bound, which system headers still mention.
 */
#ifndef SQLO_TEXT_H
#define SQLO_TEXT_H

#include "sqloPrereqCheck.h"

#include <stdarg.h>
#include <stddef.h>
#include <string.h>

/* --- Bounded texts: the type of the array gives its size. A text that is too long is cut; the result is always
 * terminated. --- */

template <size_t N> void copyText(char (&szTo)[N], const char *pFrom) {
    iStrncpy(szTo, pFrom, N);
}

template <size_t N> void appendText(char (&szTo)[N], const char *pFrom) {
    safeStrNCat(szTo, pFrom, N);
}

/* Copies a text into a field of a record and fills the rest with zeros. A long text leaves no terminator. */
template <size_t N> void fillField(char (&szField)[N], const char *pFrom) {
    size_t length = strnlen(pFrom, N);
    memcpy(szField, pFrom, length);
    memset(szField + length, 0, N - length);
}

/* Copies a field, which may have no terminator, into a larger array and terminates it. */
template <size_t N, size_t M> void copyField(char (&szTo)[N], const char (&szField)[M]) {
    static_assert(N > M, "a whole field and its terminator must fit");
    memcpy(szTo, szField, M);
    szTo[M] = '\0';
}

/* Prints into a text of size bytes and cuts what does not fit. Returns 1 when everything fitted, else 0. */
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

/* Reads a line into a text of size bytes, without its newline. A line that is too long is read in pieces. Returns 0 at
 * the end of the file. */
int readLine(FILE *pFile, char *szLine, size_t size);

template <size_t N> int readLine(FILE *pFile, char (&szLine)[N]) {
    return readLine(pFile, szLine, N);
}

/* Cuts a text at its first newline. */
void cutNewline(char *szText);

/* Cuts the last character, whatever it is. An empty text stays empty. */
void cutLastCharacter(char *szText);

/* Cuts the last character when it is this one. */
void cutAtEnd(char *szText, char c);

/* Replaces control characters, which a terminal would obey, by "?". */
void hideControls(char *szText);

/* The text itself, or the empty text for null. */
const char *textOrEmpty(const char *pText);

/* Standard error, for a text that must follow everything that was printed to standard output before. */
FILE *standardError(void);

/* --- Numbers --- */

int isDecimalDigit(char c);

/* The number at the start of a text, or 0 when there is no number or the text is null. A number outside the range of an
 * int becomes the nearest int. */
int leadingNumber(const char *pText);

/* --- Debug trace, on standard output while debug is set. Scripts and support people search for these lines, so never
 * change their spelling, their blanks, or their missing newlines. --- */

void debugTrace(const char *pFormat, ...) __attribute__((format(printf, 1, 2)));

#pragma GCC poison strcpy strcat sprintf vsprintf strtok gets

#endif
