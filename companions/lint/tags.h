// Knows what the program does with the text of each tag: which check reads it, when, and as what.
#ifndef KVX_LINT_TAGS_H
#define KVX_LINT_TAGS_H

#include <string_view>

#include "sqloPrereqDefs.h"

namespace lint {

enum class Reading {
    everyPass,
    clusteredPass,
    dormant, // only a check that no option selects reads it
    nothing,
    host, // the program stores it, and conditions test it
};

enum class TextKind {
    any,
    number,  // the program compares its leading digits
    version, // the program compares its numbers between points
    mask,    // the same, but the author writes an octal number
    library, // the file of a library
    symbol,  // a symbol version of a library
    package, // the name of a package
    command, // a command, or the path of a file
};

struct tagUse {
    Reading read;
    TextKind text;
    std::string_view check; // the check that reads it; without one, what the tag is
};

const tagUse &useOf(int tag);

// A tag that needs another one, and what happens without that.
struct dependence {
    Tag tag, needed;
    std::string_view consequence;
};

inline constexpr dependence dependences[] = {
    {kshPackage, ntpPackage, "the program checks shells only where both are given"},
    {ntpPackage, kshPackage, "the program checks time services only where both are given"},
    {mkshPackage, kshPackage, "the program checks shells only where kshPackage is given"},
    {chronyPackage, ntpPackage, "the program looks for it only where ntpPackage fails"},
    {kshVersion, kshPackage, "there is no package to compare it with"},
    {kshRelease, kshVersion, "the program compares releases only of equal versions"},
    {mkshVersion, mkshPackage, "there is no package to compare it with"},
    {ntpVersion, ntpPackage, "there is no package to compare it with"},
    {chronyVersion, chronyPackage, "there is no package to compare it with"},
    {CPPVersionString, CPPLibName, "the program looks at no C++ runtime"},
    {CPPLibName, CPPVersionString, "every C++ runtime fails"},
    {MinOSRelease, MinOSVersion, "the version counts as 0, so every kernel passes"},
    {MinOSMinorRelease, MinOSRelease, "the release counts as 0"},
    {LibCMajorRelease, LibCVersion, "the version counts as 0, so every C library passes"},
    {LibCMinorRelease, LibCMajorRelease, "the major release counts as 0"},
};

// The tags of a distribution; -1 for one that it lacks.
struct distributionTags {
    int distribution; // its index in ppszDistroName
    int section;      // the tag of its sections by custom
    int version;      // of its release, which the program stores
    int servicePack;
    int minVersion;
    int minServicePack;

    const char *name() const {
        return ppszDistroName[distribution];
    }
};

constexpr int tagOrNone(Tag tag) {
    return tag == LastTag ? -1 : tag;
}

constexpr distributionTags tagsOf(LinuxDistribution distribution, Tag section) {
    const releaseSource &known = releaseSources[distribution];
    return {distribution,
            section,
            tagOrNone(known.version),
            tagOrNone(known.servicePack),
            tagOrNone(known.minVersion),
            tagOrNone(known.minServicePack)};
}

inline constexpr distributionTags distributions[] = {
    tagsOf(DISTRO_RHEL, RHEL),        tagsOf(DISTRO_SUSE, SLES),         tagsOf(DISTRO_UBUNTU, UBUNTUVersion),
    tagsOf(DISTRO_INSPUR, IAVersion), tagsOf(DISTRO_CENTOS, CNTVersion),
};

// The three-part levels. A file gives each part in an element of its own.
inline constexpr Tag levelParts[][3] = {
    {MinOSVersion, MinOSRelease, MinOSMinorRelease},
    {LibCVersion, LibCMajorRelease, LibCMinorRelease},
};

// Finds a distribution by the name that the program gives it; null without one.
const distributionTags *distributionOf(std::string_view name);

// Finds the distribution that a word means, such as redhat, SLES15 or REHL. Empty when it means none.
std::string_view distributionMeant(std::string_view word);

// The only distribution on which the program stores a tag, such as RHELVersion. Null for other tags.
const distributionTags *distributionStoring(int tag);

// The distribution for which sections have this tag by custom. Null for other tags.
const distributionTags *distributionOfSection(int tag);

// Is a tag only for sections, so that no check and no condition reads its text?
bool isSectionTag(int tag);

// The requirement that an author may mean who gives a text for a tag of the host or of a section; -1 without one.
int requirementFor(int tag);

// The tag of the host that an author may mean whose condition tests a requirement; -1 without one.
int hostTagFor(int requirement);

// The tag of this name, or -1.
int tagOf(std::string_view name);

inline bool isTag(std::string_view name) {
    return tagOf(name) >= 0;
}

// The tag whose element name is most like a misspelled one, or -1.
int nearestTag(std::string_view name);

} // namespace lint

#endif
