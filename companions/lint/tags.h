// What the program does with each tag's text: which check reads it, when, and as what.
#ifndef KVX_LINT_TAGS_H
#define KVX_LINT_TAGS_H

#include <string_view>

#include "sqloPrereqDefs.h"

namespace lint {

enum class Reading {
    everyPass,
    clusteredPass,
    dormant, // by checks that no option selects
    nothing,
    host, // the program stores it, conditions test it
};

enum class TextKind {
    any,
    number,  // its leading digits are compared
    version, // numbers between points are compared
    mask,    // so is it, but the number is octal
    library, // the file of a library
    symbol,  // a version of its symbols
    package, // the name of a package
    command, // a command, or the path of a file
};

struct tagUse {
    Reading read;
    TextKind text;
    std::string_view check; // for a tag that no check reads: what it is
};

const tagUse &useOf(int tag);

// What stands where one tag is given without another.
struct dependence {
    Tag tag, needed;
    std::string_view consequence;
};

inline constexpr dependence dependences[] = {
    {kshPackage, ntpPackage, "shells are checked only where both are given"},
    {ntpPackage, kshPackage, "time services are checked only where both are given"},
    {mkshPackage, kshPackage, "shells are checked only where kshPackage is given"},
    {chronyPackage, ntpPackage, "it is asked for only where ntpPackage is not found"},
    {kshVersion, kshPackage, "there is no package to compare it with"},
    {kshRelease, kshVersion, "a release is compared only where the version is the same"},
    {mkshVersion, mkshPackage, "there is no package to compare it with"},
    {ntpVersion, ntpPackage, "there is no package to compare it with"},
    {chronyVersion, chronyPackage, "there is no package to compare it with"},
    {CPPVersionString, CPPLibName, "no C++ runtime is looked at"},
    {CPPLibName, CPPVersionString, "every C++ runtime fails"},
    {MinOSRelease, MinOSVersion, "the version counts as 0, so every kernel passes"},
    {MinOSMinorRelease, MinOSRelease, "the release counts as 0"},
    {LibCMajorRelease, LibCVersion, "the version counts as 0, so every C library passes"},
    {LibCMinorRelease, LibCMajorRelease, "the major release counts as 0"},
};

// The tags of a distribution; -1 for one that it lacks.
struct distributionTags {
    int distribution; // its index in ppszDistroName
    int section;      // by custom that of its sections
    int version;      // its release, which the program stores
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

// The levels of three parts, of which a file gives each part in an element of its own.
inline constexpr Tag levelParts[][3] = {
    {MinOSVersion, MinOSRelease, MinOSMinorRelease},
    {LibCVersion, LibCMajorRelease, LibCMinorRelease},
};

// Null for a name that is none of the program's.
const distributionTags *distributionOf(std::string_view name);

// Finds the distribution that a word means, such as redhat, SLES15 or REHL. Empty when it means none.
std::string_view distributionMeant(std::string_view word);

// The distribution that alone stores a tag, such as RHELVersion; null where every host or none does.
const distributionTags *distributionStoring(int tag);

// The distribution that a section of this tag is for by custom; null for a tag that names no section.
const distributionTags *distributionOfSection(int tag);

// Does the tag mark a section, and hold nothing that a check or a condition asks for?
bool isSectionTag(int tag);

// The requirement that somebody may mean who gives a tag of the host or of a section a text; -1 when there is none.
int requirementFor(int tag);

// What a condition tests of the host where somebody tests a requirement; -1 when there is nothing.
int hostTagFor(int requirement);

// The tag of this name, or -1.
int tagOf(std::string_view name);

// The tag whose element name is most like a misspelled one, or -1.
int nearestTag(std::string_view name);

} // namespace lint

#endif
