// Keeps the findings of a file in little memory, because a file may have as many findings as lines.
#ifndef KVX_LINT_FINDINGS_H
#define KVX_LINT_FINDINGS_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>

#include "rules.h"

namespace lint {

struct finding {
    std::uint32_t line, column; // counted from 1; the column counts bytes
    std::uint32_t text;         // the number of its template
    std::uint32_t word;         // what "\1" in the template means: the place of a word of the file, or a number
    std::uint16_t length;       // of the word; 0: `word` is a number
    Rule id;
};

// The findings of a file and their texts. It refers to the text of the file, which must outlive it.
class findingList {
public:
    findingList(std::string_view text, const ruleSet &excludedRules) : file(text), excluded(excludedRules) {
    }
    // No copies: the keys of `numbers` would refer to the texts of the original. A moved list keeps its texts.
    findingList(const findingList &) = delete;
    findingList &operator=(const findingList &) = delete;
    findingList(findingList &&) = default;
    findingList &operator=(findingList &&) = delete;
    ~findingList() = default;

    // Adds a finding. Each "\1" in its text means the last argument: a word of the file, or a number. A text that many
    // findings share is kept once.
    void add(Rule id, std::size_t line, std::size_t column, const std::string &text, std::string_view word = {});
    void add(Rule id, std::size_t line, std::size_t column, const std::string &text, std::size_t number);

    std::string textOf(const finding &found) const;
    void sortByLine();

    // Outputs walk it, and suppressions take findings out.
    std::deque<finding> all; // NOLINT(misc-non-private-member-variables-in-classes)

private:
    void addNumbers(Rule id, std::size_t line, std::size_t column, const std::string &text, std::size_t word,
                    std::size_t length);
    std::uint32_t numberOf(const std::string &text);

    std::string_view file;
    ruleSet excluded;
    std::deque<std::string> texts;
    std::unordered_map<std::string_view, std::uint32_t> numbers; // the number of each text
};

} // namespace lint

#endif
