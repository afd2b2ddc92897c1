// Reads the conditions of sections, compares what they ask, and reports what is wrong with them.
#ifndef KVX_LINT_CONDITIONS_H
#define KVX_LINT_CONDITIONS_H

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "rules.h"
#include "sqloPrereqCheck.h"

namespace lint {

enum class Comparison : std::uint8_t {
    less,
    greater,
    greaterOrEqual,
    equal,
    unknown, // another operator, or a condition that is mistaken as a whole
};

// What a triple asks of a host: a comparison of the text of a tag with a word. A test refers to the text of the file,
// which must outlive it. It is small, because a file may have as many tests as lines.
struct test {
    const char *pText;   // the word, of `length` characters
    std::int32_t number; // the word, or -1 when it is no whole number
    std::int16_t tag;    // of the operand, or -1
    std::uint8_t length;
    Comparison comparison;

    std::string_view text() const {
        return {pText, length};
    }
};
typedef std::vector<test> testList;

inline bool operator==(const test &left, const test &right) {
    return left.tag == right.tag && left.comparison == right.comparison && left.text() == right.text();
}

// Means a mistaken condition: nobody can tell which hosts meet it.
inline constexpr test unknownTest = {"", -1, -1, 0, Comparison::unknown};

// A test with its words as they are in the condition.
struct triple : test {
    std::string_view operand, operation, value;
};

struct condition {
    std::vector<triple> triples;
    std::vector<std::string_view> rest; // the words of an incomplete triple at the end
};

// The text between the first two double quotes of a line; nothing without both.
std::optional<std::string_view> quotedText(std::string_view line);

// Splits a condition into triples as the program does.
condition readCondition(std::string_view text);

// Can a test fail, and does it hold on every host where all others hold?
bool isImplied(const test &asked, const testList &others);

// Does one of the tests mean a mistaken condition?
bool holdsUnknown(const testList &tests);

// Can a host meet all tests of both lists? Yes if one of them is unknown.
bool canHoldTogether(const testList &left, const testList &right);

// What the lines above a condition say.
struct conditionPlace {
    testList enclosing;                // the tests of the sections around it
    std::array<bool, LastTag> given{}; // the tags that the level gives above it
    std::string_view level;
};

typedef std::function<void(Rule, std::string_view word, const std::string &text)> reporter;

// Reports the mistakes of a condition, if any. The reporter gets the rule, the word of the file at which the finding is
// placed, and the message. A word at the wrong place ends the check, because the words behind it mean nothing.
void checkCondition(std::string_view text, const conditionPlace &place, const reporter &report);

} // namespace lint

#endif
