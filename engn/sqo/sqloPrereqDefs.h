/*
 * What the checks ask the prerequisites for, beyond the table itself.
 */
#ifndef SQLO_PREREQ_DEFS_H
#define SQLO_PREREQ_DEFS_H

#include "sqloPrereqCheck.h"

/* A level of the list, with the terminator that its field may lack. */
typedef char levelText[sizeof(versionList::szVersion) + 1];

/* Stores a heap copy of a text under a tag. RC_OK or RC_NO_MEMORY. */
int setPrereq(int tag, const char *pText);

/* The number that a level gives as a minimum; one that it does not give is "0". */
const char *minimumOrZero(Tag tag);

/* A level in three parts, the most significant first; a part that is missing is null. */
struct threePartLevel {
    const char *ppszPart[3];
};

/* Is a level at least the minimum that stands under three tags? The parts are compared as leading numbers. */
int meetsMinimum(const threePartLevel &found, const Tag (&minimum)[3]);

#endif
