// Compares texts.
#ifndef KVX_COMMON_WORDS_H
#define KVX_COMMON_WORDS_H

#include <algorithm>
#include <string>
#include <string_view>

namespace common {

// Does a text hold a part?
inline bool holds(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

// The lower-case letter of an upper-case one of ASCII, whatever the locale; another character as it is.
inline char lowered(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

inline std::string lowered(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](char c) { return lowered(c); });
    return lower;
}

// Are two texts the same, upper and lower case apart?
inline bool sameLetters(std::string_view left, std::string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char one, char other) { return lowered(one) == lowered(other); });
}

} // namespace common

#endif
