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
    // By the name that a locale directory ends in, such as "eucJP". One that iconv does not know holds only ASCII.
    explicit codeSet(const std::string &name);
    codeSet(const codeSet &) = delete;
    codeSet &operator=(const codeSet &) = delete;
    ~codeSet();

    // What the catalog says, in UTF-8. A byte that is no character shows as \xNN, here and below.
    std::string toUtf8(std::string_view text) const;
    // What a host says: hosts have paths and names in UTF-8 whatever the catalog's code set is.
    std::string hostTextToUtf8(std::string_view text) const;
    // Whether all of a text is made of the code set's characters.
    bool holds(std::string_view text) const;

private:
    bool convert(std::string_view text, std::string &result) const;

    iconv_t converter = iconv_t(-1);
    bool isUtf8 = false;
};

// Writes UTF-8 texts in another code set. A character that it lacks is written in a plainer way, or as a question mark.
class encoder {
public:
    // By a name that iconv knows or that a locale directory ends in. With any other name texts stay UTF-8.
    explicit encoder(const std::string &name);
    encoder(const encoder &) = delete;
    encoder &operator=(const encoder &) = delete;
    ~encoder();

    std::string encode(std::string_view text) const;
    // Whether the code set has all characters of a text, or plainer ones.
    bool holds(std::string_view text) const;

private:
    iconv_t converter = iconv_t(-1);
};

// A UTF-8 text without what screens and XML do not bear: control characters and those that turn the direction of
// writing show as \xNN and \uNNNN. Tabulators become blanks.
std::string visible(std::string_view text);

// The columns that a UTF-8 text takes on a screen.
size_t columns(std::string_view text);

// Breaks a text into lines of so many columns: at blanks, and between Chinese and Japanese characters.
std::vector<std::string> wrap(std::string_view text, size_t width);

// A text without its leading blanks.
std::string_view withoutLeadingBlanks(std::string_view text);
bool isBlank(std::string_view text);

// The time that a text is, as the program prints it.
std::optional<std::tm> timeOf(const std::string &text);

} // namespace report

#endif
