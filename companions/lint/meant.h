// Guesses what the author of a mistaken line means, for the advice of a finding.
#ifndef KVX_LINT_MEANT_H
#define KVX_LINT_MEANT_H

#include <string>
#include <string_view>

#include "markup.h"

namespace lint {

// Tags and elements as they are written.
std::string opening(std::string_view name);
std::string closing(std::string_view name);
std::string element(std::string_view name, std::string_view text);

// The text that a tag gives in its attributes: the first quoted one, or else what is behind a "=".
std::string_view attributeText(std::string_view attributes);

// The element that an opening tag with attributes is meant to be.
std::string elementMeant(const markup &part);

// The attributes of a part as its author means them: a ">" of an operator does not end them.
std::string_view wholeAttributes(std::string_view line, const markup &part);

// The opening tag of a section with all that its attributes ask as one condition.
std::string sectionMeant(std::string_view name, std::string_view attributes);

// What a tag or an element that begins a text is on one line, where the next lines of the file end it.
struct oneLiner {
    std::string text;      // empty: its end is not near; "\1" stands for the word
    std::string_view word; // of the file
    std::size_t lines = 0; // that it takes below its first one
    bool bElement = false; // with its closing tag
};
oneLiner onOneLine(std::string_view file, std::string_view name);

// The name of a level that its line gives without quotes; empty when it gives none.
std::string_view levelMeant(std::string_view line, std::string_view attributes);

// Digits and points, each number between two of them.
bool isLevelName(std::string_view name);

// A mark that a version control system puts around the sides of a conflict.
bool isConflictMark(std::string_view line);

} // namespace lint

#endif
