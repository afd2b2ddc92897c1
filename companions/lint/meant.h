// Guesses what the author of a mistaken line means, so that the advice of a finding can hold it.
#ifndef KVX_LINT_MEANT_H
#define KVX_LINT_MEANT_H

#include <string>
#include <string_view>

#include "markup.h"

namespace lint {

// Writes a tag or an element.
std::string opening(std::string_view name);
std::string closing(std::string_view name);
std::string element(std::string_view name, std::string_view text);

// The text in the attributes of a tag: the first quoted text, or without quotes everything behind the "=".
std::string_view attributeText(std::string_view attributes);

// The element that an author means by an opening tag with a text in its attributes, or "..." for the text.
std::string elementMeant(const markup &part);

// The attributes of a tag up to the last ">" in front of the next tag: the ">" of an operator does not end them.
std::string_view wholeAttributes(std::string_view line, const markup &part);

// The opening tag of a section with all triples in its attributes as one condition, whether in quotes or not. A word
// that makes no triple is named behind the tag.
std::string sectionMeant(std::string_view name, std::string_view attributes);

// Joins the lines of a tag or element, with which the text begins, to one line. An element has no other tags in it.
struct oneLiner {
    std::string text;      // empty: it has no end nearby; "\1" in it means the word
    std::string_view word; // the text of an element, if it is on one line of the file
    std::size_t lines = 0; // the number of lines below the first one
    bool bElement = false; // with a closing tag, or an opening tag alone
};
oneLiner onOneLine(std::string_view file, std::string_view name);

// The first numbers in a text with single points between them, such as 4.2.8. Empty without one.
std::string_view firstNumber(std::string_view text);

// The name of a level that its line holds without quotes: the text behind a "=", or the first number. Without one, the
// first number in front of the next ">" of the file, which begins with the line. Empty without that.
std::string_view levelMeant(std::string_view file, std::string_view line, std::string_view attributes);

// Is a text made of numbers with single points between them?
bool isLevelName(std::string_view name);

// Is a line one of the marks that a version control system puts around the two sides of a merge conflict?
bool isConflictMark(std::string_view line);

} // namespace lint

#endif
