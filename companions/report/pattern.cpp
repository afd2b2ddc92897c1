#include "pattern.h"

#include <fnmatch.h>
#include <optional>
#include <tuple>
#include <utility>

#include "../common/utf8.h"

namespace report {

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
        size_t length = utf8::lengthAt(pattern);
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
            length = utf8::lengthAt(pattern);
            elements.push_back({Kind::character, std::string(pattern.substr(0, length))});
        }
        pattern.remove_prefix(length);
    }
    elements.push_back({Kind::end, ""});
}

bool shellPattern::fits(const element &one, std::string_view character) {
    if (one.kind == Kind::set)
        return fnmatch(one.text.c_str(), std::string(character).c_str(), 0) == 0;
    return one.kind == Kind::any || one.text == character;
}

// Only the last star can have to match more: the part before it already matches.
bool shellPattern::matches(std::string_view text) const {
    size_t at = 0, next = 0;
    std::optional<std::pair<size_t, size_t>> retry; // the places in the text and behind the star
    while (at < text.size()) {
        const std::string_view character = text.substr(at, utf8::lengthAt(text.substr(at)));
        if (elements[next].kind == Kind::star)
            retry.emplace(at, ++next);
        else if (fits(elements[next], character)) {
            at += character.size();
            next++;
        } else if (retry) {
            retry->first += utf8::lengthAt(text.substr(retry->first));
            std::tie(at, next) = *retry;
        } else
            return false;
    }
    while (elements[next].kind == Kind::star)
        next++;
    return elements[next].kind == Kind::end;
}

} // namespace report
