/*
 * What the checks ask the prerequisites for, beyond the table itself.
 */
#ifndef SQLO_PREREQ_DEFS_H
#define SQLO_PREREQ_DEFS_H

#include "sqloPrereqCheck.h"

/* A level of the list, with the terminator that its field may lack. */
typedef char levelText[sizeof(versionList::szVersion) + 1];

/* --- Tags and values --- */

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

/* --- Distributions --- */

/* Where to find a distribution's release: the word before it in the release file, null for a file of "key = value"
 * lines. And its tags: those that the release is stored under, and those of the minimums; LastTag where it has none. */
struct releaseSource {
    LinuxDistribution distribution;
    const char *pWordBefore;
    Tag version, servicePack;
    Tag minVersion, minServicePack;
};

constexpr releaseSource releaseSources[DISTRO_COUNT] = {
    {DISTRO_UNKNOWN, NULL, LastTag, LastTag, LastTag, LastTag},
    {DISTRO_RHEL, "release", RHELVersion, RHELSP, MinRHELVersion, MinRHELSP},
    {DISTRO_SUSE, NULL, SLESVersion, SLESSP, MinSLESVersion, MinSLESSP},
    {DISTRO_UBUNTU, NULL, LastTag, LastTag, MinUBUNTUVersion, LastTag},
    {DISTRO_INSPUR, "K-UX", IAVersion, IASP, MinIAVersion, MinIASP},
    {DISTRO_CENTOS, "release", CNTVersion, CNTSP, MinCNTVersion, MinCNTSP},
};

#endif
