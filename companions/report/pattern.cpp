#include "pattern.h"

#include <algorithm>
#include <fnmatch.h>

#include "../common/utf8.h"

namespace report {

// The length of the character at the start of a text. A byte that is not part of a character counts as one.
static size_t lengthAt(std::string_view text) {
    return std::max<size_t>(utf8::characterLength(text), 1);
}

// The length of the set at the start of a pattern, 0 if its closing bracket is missing. A closing bracket does not end
// the set if it is its first character, is behind a backslash or ends a class such as [:digit:].
static size_t setLength(std::string_view pattern) {
    size_t at = pattern.size() > 1 && (pattern[1] == '!' || pattern[1] == '^') ? 2 : 1;
    for (bool bFirst = true; at < pattern.size(); bFirst = false) {
        const bool bClass = pattern.compare(at, 2, "[:") == 0;
        const size_t classEnd = bClass ? pattern.find(":]", at + 2) : std::string_view::npos;
        if (classEnd != std::string_view::npos)
            at = classEnd + 2;
        else if (pattern[at] == '\\')
            at += 2;
        else if (pattern[at++] == ']' && !bFirst)
            return at;
    }
    return 0;
}

shellPattern::shellPattern(std::string_view pattern) {
    while (!pattern.empty()) {
        size_t length = lengthAt(pattern);
        if (const size_t set = pattern[0] == '[' ? setLength(pattern) : 0; set > 0) {
            length = set;
            elements.push_back({Kind::set, std::string(pattern.substr(0, length))});
        } else if (pattern[0] == '*')
            elements.push_back({Kind::star, ""});
        else if (pattern[0] == '?')
            elements.push_back({Kind::any, ""});
        else {
            if (pattern[0] == '\\' && pattern.size() > 1)
                pattern.remove_prefix(1);
            length = lengthAt(pattern);
            elements.push_back({Kind::character, std::string(pattern.substr(0, length))});
        }
        pattern.remove_prefix(length);
    }
}

bool shellPattern::fits(const element &one, std::string_view character) {
    if (one.kind == Kind::set)
        return fnmatch(one.text.c_str(), std::string(character).c_str(), 0) == 0;
    return one.kind == Kind::any || one.text == character;
}

// Only the last star can have to match more: the part before it already matches.
bool shellPattern::matches(std::string_view text) const {
    size_t at = 0, next = 0, retry = 0;
    size_t behindStar = elements.size() + 1; // none met
    while (at < text.size()) {
        const std::string_view character = text.substr(at, lengthAt(text.substr(at)));
        if (next < elements.size() && elements[next].kind == Kind::star) {
            behindStar = ++next;
            retry = at;
        } else if (next < elements.size() && fits(elements[next], character)) {
            at += character.size();
            next++;
        } else if (behindStar <= elements.size()) {
            retry += lengthAt(text.substr(retry));
            at = retry;
            next = behindStar;
        } else
            return false;
    }
    return std::all_of(elements.begin() + static_cast<std::ptrdiff_t>(next), elements.end(),
                       [](const element &one) { return one.kind == Kind::star; });
}

} // namespace report
