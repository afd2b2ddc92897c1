// Converts texts of hosts and catalogs to UTF-8, and makes them harmless for a screen.
#ifndef KVX_REPORT_TEXT_H
#define KVX_REPORT_TEXT_H

#include <ctime>
#include <iconv.h>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace report {

// The code set of a catalog.
class codeSet {
public:
    // `name` is the end of a locale directory, such as "eucJP". A code set that iconv does not know has only ASCII.
    explicit codeSet(const std::string &name);
    codeSet(const codeSet &) = delete;
    codeSet &operator=(const codeSet &) = delete;
    ~codeSet();

    // A text of the catalog in UTF-8. A byte that is not part of a character becomes \xNN, here and below.
    std::string toUtf8(std::string_view text) const;
    // The same for a text of a host, which is tried as UTF-8 first: paths and names may be UTF-8 in any catalog.
    std::string hostTextToUtf8(std::string_view text) const;
    // Are all bytes of a text characters of the code set?
    bool holds(std::string_view text) const;

private:
    bool convert(std::string_view text, std::string &result) const;

    iconv_t converter = iconv_t(-1);
};

// Converts UTF-8 texts to another code set. A character that it lacks becomes a plainer one, or a question mark.
class encoder {
public:
    // `name` is one that iconv knows, or the end of a locale directory. With any other name texts stay UTF-8.
    explicit encoder(const std::string &name);
    encoder(const encoder &) = delete;
    encoder &operator=(const encoder &) = delete;
    ~encoder();

    std::string encode(std::string_view text) const;
    // Does the code set have all characters of a text, or plainer ones?
    bool holds(std::string_view text) const;

private:
    iconv_t converter = iconv_t(-1);
};

// A UTF-8 text that is safe for screens and XML: control characters and those that change the direction of writing
// become \xNN and \uNNNN, tabulators become blanks.
std::string visible(std::string_view text);

// The columns that a UTF-8 text takes on a screen.
size_t columns(std::string_view text);

// Breaks a text into lines of so many columns: at blanks, and between Chinese and Japanese characters.
std::vector<std::string> wrap(std::string_view text, size_t width);

// A text without its leading blanks.
std::string_view withoutLeadingBlanks(std::string_view text);
bool isBlank(std::string_view text);

// The time that the program printed as this text; none if the text is something else.
std::optional<std::tm> timeOf(const std::string &text);

// Compares names of levels by their numbers, as 11.5 and 9.8; a name without a number is the oldest.
bool isNewerLevel(const std::string &a, const std::string &b);

} // namespace report

#endif
