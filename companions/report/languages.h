// Splits a text into the parts that are each in one language, and finds that language.
#ifndef KVX_REPORT_LANGUAGES_H
#define KVX_REPORT_LANGUAGES_H

#include "catalog.h"

#include <array>
#include <bitset>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace report {

// How a part of a report begins. A rule is torn when it lacks some of its characters.
enum class Rule { none, whole, torn };

struct language {
    std::string name; // such as "de-DE"
    std::unique_ptr<catalog> texts;
};

// A part of a text that one run seems to have written.
struct piece {
    std::string_view text; // without the rule
    Rule rule = Rule::none;
    const language *pLanguage = nullptr; // null if no catalog explains any of its lines
};

// The catalogs of a locale directory; one of those with equal bytes.
class languages {
public:
    explicit languages(const std::filesystem::path &place);

    // Splits a text at its rules, and at each line whose language differs from that of the lines in front of it.
    std::vector<piece> split(std::string_view text);

    // The message of a line that is enough to know the language, in any language; 0 for any other line.
    int tellingMessage(std::string_view line) const;

    // The message of a word, in UTF-8 and any language, that says whether SELinux is enabled; 0 for any other word.
    int stateMessage(std::string_view word) const;

private:
    static constexpr size_t most = 256; // catalogs
    using languageSet = std::bitset<most>;
    struct tellingText {
        const pattern *pPattern;
        languageSet in;
    };

    void open(const std::filesystem::path &directory);
    void addTellingTexts(size_t number);
    const tellingText *findTelling(std::string_view line) const;
    const language *choose(std::string_view text, const languageSet &possible);
    const std::vector<size_t> &weigh(std::string_view line);

    std::vector<language> opened;
    std::array<std::vector<tellingText>, most> telling; // by the first byte of their lines
    std::unordered_map<std::string, std::vector<size_t>> weights;
};

// Takes the first line off a text, and returns it without its newline and without a carriage return before that.
std::string_view nextLine(std::string_view &text);

} // namespace report

#endif
