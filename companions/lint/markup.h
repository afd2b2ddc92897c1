// A line of the file as its author means it: elements, opening and closing tags, what stands in a comment.
#ifndef KVX_LINT_MARKUP_H
#define KVX_LINT_MARKUP_H

#include <string>
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
    std::size_t end;             // behind it, counted from 0
    std::size_t comment;         // that it stands in, or what looks like one, counted from 1; 0: in none
    bool complete;               // its tags end on the line
    bool plain;                  // no blank in the angle brackets but in front of an attribute
};

struct markedLine {
    std::vector<markup> parts;
    std::size_t textColumn = 0;  // of the first text outside comments, on a line without any markup there; 0: none
    std::size_t openComment = 0; // the column of a comment that is never closed; 0: none
};

// Reads the lines of a file in order: a comment may run over several.
class markupReader {
public:
    explicit markupReader(std::string_view file);
    // A line of that file. A comment that the file never closes ends with its line.
    void read(std::string_view line, markedLine &marked);

private:
    std::size_t readHidden(std::string_view line, std::size_t begin, std::string_view terminator, markedLine &marked);
    std::size_t readMarkup(std::string_view line, std::size_t begin, markedLine &marked);
    void readTag(std::string_view line, std::size_t &position, markedLine &marked) const;
    bool isNeverClosed(const char *pComment);

    std::vector<const char *> neverClosed; // comments that begin below what was read
    bool inComment = false;
    bool behindMark = false; // the line begins with a mark that makes none a comment
    bool hidden = false;     // what is being read
    std::size_t comments = 0;
};

// The first character that is not ASCII, whole. Empty when there is none.
std::string_view foreignCharacter(std::string_view text);

// A text with the letters that only look Latin replaced by those they look like.
std::string latinized(std::string_view text);

// How a character is named where it cannot be seen: U+0430.
std::string codePoint(std::string_view character);

// The mark that makes a line a comment elsewhere, such as "#"; empty when it does not begin with one.
std::string_view lineMark(std::string_view line);

bool isBlank(char c);
std::string_view trimmed(std::string_view text);

} // namespace lint

#endif
