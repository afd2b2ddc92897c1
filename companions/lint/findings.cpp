#include "findings.h"

#include <algorithm>
#include <tuple>

namespace lint {

std::uint32_t findingList::numberOf(const std::string &text) {
    const auto found = numbers.find(text);
    if (found != numbers.end())
        return found->second;
    texts.push_back(text);
    return numbers.emplace(texts.back(), static_cast<std::uint32_t>(texts.size() - 1)).first->second;
}

void findingList::add(Rule id, std::size_t line, std::size_t column, const std::string &text, std::string_view word) {
    const std::size_t place = word.empty() ? 0 : static_cast<std::size_t>(word.data() - file.data());
    addNumbers(id, line, column, text, place, word.size());
}

void findingList::add(Rule id, std::size_t line, std::size_t column, const std::string &text, std::size_t number) {
    addNumbers(id, line, column, text, number, 0);
}

void findingList::addNumbers(Rule id, std::size_t line, std::size_t column, const std::string &text, std::size_t word,
                             std::size_t length) {
    if (!excluded[static_cast<std::size_t>(id)])
        all.push_back({static_cast<std::uint32_t>(line), static_cast<std::uint32_t>(column), numberOf(text),
                       static_cast<std::uint32_t>(word),
                       static_cast<std::uint16_t>(std::min<std::size_t>(length, UINT16_MAX)), id});
}

std::string findingList::textOf(const finding &found) const {
    const std::string &text = texts[found.text];
    const std::string word =
        found.length == 0 ? std::to_string(found.word) : std::string(file.substr(found.word, found.length));
    std::string full;
    std::size_t begin = 0;
    for (std::size_t mark; (mark = text.find('\1', begin)) != std::string::npos; begin = mark + 1)
        full.append(text, begin, mark - begin).append(word);
    full.append(text, begin, std::string::npos);
    return full;
}

void findingList::sortByLine() {
    const auto place = [](const finding &found) { return std::tie(found.line, found.column, found.id, found.text); };
    const auto isAbove = [&](const finding &left, const finding &right) { return place(left) < place(right); };
    const auto sorted =
        std::is_sorted_until(all.begin(), all.end(), isAbove); // most findings come in the order of their lines
    std::sort(sorted, all.end(), isAbove);
    std::inplace_merge(all.begin(), sorted, all.end(), isAbove);
}

} // namespace lint
