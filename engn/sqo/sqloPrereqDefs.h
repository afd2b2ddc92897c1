/*
 * How the sources use the prerequisites beyond the table of values: stored values, minimums, and the tags of each
 * distribution.
 */
#ifndef SQLO_PREREQ_DEFS_H
#define SQLO_PREREQ_DEFS_H

#include "sqloPrereqCheck.h"

/* A copy of a level of the list, with the terminator that its field may lack. */
typedef char levelText[sizeof(versionList::szVersion) + 1];

/* --- Tags and values --- */

/* Stores a heap copy of a text under a tag. Returns RC_OK or RC_NO_MEMORY. */
int setPrereq(int tag, const char *pText);

/* The value of a tag for a minimum, or "0" when the level does not give it. */
const char *minimumOrZero(Tag tag);

/* A kernel or C library level in three parts, the most significant first. A missing part is null. */
struct threePartLevel {
    const char *ppszPart[3];
};

/* 1 when a level is not below the minimum in three tags. Each part is compared by the number at its start. */
int meetsMinimum(const threePartLevel &found, const Tag (&minimum)[3]);

/* --- Distributions --- */

/* How the release of a distribution is found and stored: the word before it in the release file (null when the file has
 * "key = value" lines), the tags for release and service pack, and the tags of their minimums. LastTag means no tag. */
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
