// Reads a line of the file as its author sees it: elements, opening and closing tags, comments.
#ifndef KVX_LINT_MARKUP_H
#define KVX_LINT_MARKUP_H

#include <string>
#include <string_view>
#include <vector>

namespace lint {

constexpr std::size_t npos = std::string_view::npos;

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
    std::size_t end;             // of the first character behind it, counted from 0
    std::size_t comment;         // the number of the comment, or of what looks like one, that it is in; 0: none
    bool complete;               // its tags end on this line
    bool plain;                  // there is no blank in the angle brackets, except in front of an attribute
};

struct markedLine {
    std::vector<markup> parts;
    std::size_t textColumn = 0;  // of the first text, on a line without tags outside comments; 0: none
    std::size_t openComment = 0; // the column of a comment that is never closed; 0: none
};

// Reads the lines of a file in their order, because a comment may run over several lines.
class markupReader {
public:
    explicit markupReader(std::string_view file);
    // Reads the next line. A comment that the file never closes ends with its line.
    void read(std::string_view line, markedLine &marked);

private:
    std::size_t readHidden(std::string_view line, std::size_t begin, std::string_view terminator, markedLine &marked);
    std::size_t readMarkup(std::string_view line, std::size_t begin, markedLine &marked);
    void readTag(std::string_view line, std::size_t &position, markedLine &marked) const;
    bool isNeverClosed(const char *pComment);

    std::vector<const char *> neverClosed; // comments without an end, the next one last
    bool inComment = false;
    bool behindMark = false; // the line begins with a mark such as "#", which makes no comment
    bool hidden = false;     // the tag that is being read is in a comment
    std::size_t comments = 0;
};

// The bytes of the first character that is not ASCII; empty without one.
std::string_view foreignCharacter(std::string_view text);

// Replaces letters that only look Latin by the Latin letters that they look like.
std::string latinized(std::string_view text);

// The name of a character that people cannot see or tell from another: U+0430.
std::string codePoint(std::string_view character);

// The mark at the start of a line that makes it a comment in other languages, such as "#"; empty without one.
std::string_view lineMark(std::string_view line);

bool isBlank(char c);
std::string_view trimmed(std::string_view text);

} // namespace lint

#endif
