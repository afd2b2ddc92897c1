// What the program does with each tag's text: which check reads it, when, and as what.
#ifndef KVX_LINT_TAGS_H
#define KVX_LINT_TAGS_H

#include <string_view>

#include "sqloPrereqCheck.h"

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
    exact,   // compared or used as it stands
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

// The distribution that alone stores a tag, such as RHELVersion; empty where every host or none does.
std::string_view distributionOf(int tag);

// The distribution that a section of this tag is for by custom; null for a tag that names no section.
const char *distributionOfSection(int tag);

// The tag whose element name is most like a misspelled one, or -1.
int nearestTag(std::string_view name);

} // namespace lint

#endif
