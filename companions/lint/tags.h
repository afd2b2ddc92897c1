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

// The distribution that alone stores a tag, such as RHELVersion; empty where every host or none does.
std::string_view distributionOf(int tag);

// The tag whose element name is most like a misspelled one, or -1.
int nearestTag(std::string_view name);

} // namespace lint

#endif
