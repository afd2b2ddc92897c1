// Shell patterns for names and lines.
#ifndef KVX_REPORT_PATTERN_H
#define KVX_REPORT_PATTERN_H

#include <string>
#include <string_view>
#include <vector>

namespace report {

// A pattern with *, ?, [...] and \ that matches whole texts. The text may come from a hostile host, so the time is at
// most proportional to the length of the pattern times that of the text.
class shellPattern {
public:
    explicit shellPattern(std::string_view pattern);
    bool matches(std::string_view text) const;

private:
    enum class Kind { character, any, set, star, end };
    struct element {
        Kind kind;
        std::string text; // the character, or the set with its brackets
    };

    static bool fits(const element &one, std::string_view character);

    std::vector<element> elements; // the last is the end, which fits no character
};

} // namespace report

#endif
