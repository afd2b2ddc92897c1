// A line of the file as its author means it: elements, opening and closing tags, what stands in a comment.
#ifndef KVX_LINT_MARKUP_H
#define KVX_LINT_MARKUP_H

#include <string_view>
#include <vector>

namespace lint {

enum class MarkupKind {
    element, // opening tag, text and closing tag
    opening,
    closing,
};

struct markup {
    MarkupKind kind;
    std::string_view name;
    std::string_view attributes; // of the opening tag, without the blanks around them
    std::string_view text;       // of an element
    std::string_view closedBy;   // the name in an element's closing tag
    std::size_t column;          // counted from 1
    std::size_t comment;         // that it stands in, or what looks like one, counted from 1; 0: in none
    bool complete;               // its tags end on the line
    bool plain;                  // no blank in the angle brackets but in front of an attribute
};

struct markedLine {
    std::vector<markup> parts;
    std::size_t textColumn = 0; // of the first text outside comments, on a line without any markup there; 0: none
};

// Reads the lines of a file in order: a comment may run over several.
class markupReader {
public:
    void read(std::string_view line, markedLine &marked);

private:
    void readTag(std::string_view line, std::size_t &position, markedLine &marked) const;

    bool inComment = false, behindMark = false;
    std::size_t comments = 0;
};

// The mark that makes a line a comment elsewhere, such as "#"; empty when it does not begin with one.
std::string_view lineMark(std::string_view line);

bool isBlank(char c);
std::string_view trimmed(std::string_view text);

} // namespace lint

#endif
