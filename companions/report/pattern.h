// Shell patterns, as people write them for names.
#ifndef KVX_REPORT_PATTERN_H
#define KVX_REPORT_PATTERN_H

#include <string>
#include <string_view>
#include <vector>

namespace report {

// A pattern of *, ?, [...] and \, which matches whole texts. The time is bounded by the lengths of pattern and text:
// the text may come from a hostile host.
class shellPattern {
public:
    explicit shellPattern(std::string_view pattern);
    bool matches(std::string_view text) const;

private:
    enum class Kind { character, any, set, star };
    struct element {
        Kind kind;
        std::string text; // the character, or the set with its brackets
    };

    static bool fits(const element &one, std::string_view character);

    std::vector<element> elements;
};

} // namespace report

#endif
