// Keeps the findings of a file in little memory: a file may have as many findings as lines.
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
    std::uint32_t line, column; // counted from 1, the column in bytes
    std::uint32_t text;         // its template
    std::uint32_t word, length; // a word of the file, by place and length; without a length, a number
    Rule id;
};

// The findings on a file, and their texts. The file must outlive it.
class findingList {
public:
    findingList(std::string_view text, const ruleSet &excludedRules) : file(text), excluded(excludedRules) {
    }
    // A copy's numbers would refer to the texts of the original; a moved list keeps its texts.
    findingList(const findingList &) = delete;
    findingList &operator=(const findingList &) = delete;
    findingList(findingList &&) = default;
    findingList &operator=(findingList &&) = delete;
    ~findingList() = default;

    // In a template the argument stands for each "\1": a word of the file, or a number.
    void add(Rule id, std::size_t line, std::size_t column, const std::string &text, std::string_view word = {});
    void add(Rule id, std::size_t line, std::size_t column, const std::string &text, std::size_t number);

    std::string textOf(const finding &found) const;
    void sortByLine();

    std::deque<finding> all;

private:
    void addNumbers(Rule id, std::size_t line, std::size_t column, const std::string &text, std::size_t word,
                    std::size_t length);
    std::uint32_t numberOf(const std::string &text);

    std::string_view file;
    ruleSet excluded;
    std::deque<std::string> texts;
    std::unordered_map<std::string_view, std::uint32_t> numbers; // of the texts
};

} // namespace lint

#endif
