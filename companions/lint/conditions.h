// Conditions of sections: what their triples ask, and what is wrong with them.
#ifndef KVX_LINT_CONDITIONS_H
#define KVX_LINT_CONDITIONS_H

#include <array>
#include <cstdint>
#include <functional>
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
    none,    // no operator of the program
    unknown, // of a mistaken condition
};

// What a triple asks of a host. It is small, because a file may have as many as lines. The file must outlive it.
struct test {
    const char *pText;   // its word, of `length` characters
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

// The test of a mistaken condition: it is unknown which hosts meet it.
inline constexpr test unknownTest = {"", -1, -1, 0, Comparison::unknown};

// A test with the words of the condition.
struct triple : test {
    std::string_view operand, operation, value;
};

struct condition {
    std::vector<triple> triples;
    std::vector<std::string_view> rest; // the words of an incomplete triple at the end
};

// The text between the first two double quotes of a line; `bQuotes` false without both.
std::string_view quotedText(std::string_view line, bool &bQuotes);

// Cuts a condition into its triples as the program does.
condition readCondition(std::string_view text);

// Does a test that can fail hold on every host where all of the others do?
bool isImplied(const test &asked, const testList &others);

// Is one of the tests that of a mistaken condition?
bool holdsUnknown(const testList &tests);

// Is there a host on which all tests of both lists hold? Yes where one of them is unknown.
bool canHoldTogether(const testList &left, const testList &right);

// Where a condition stands, for what can be said of it.
struct conditionPlace {
    testList enclosing;                // of the sections around it
    std::array<bool, LastTag> given{}; // tags that the level gives above it
    std::string_view level;
};

typedef std::function<void(Rule, std::string_view word, const std::string &text)> reporter;

// Reports what is wrong with a condition: the rule, the word of the file's text that is meant, and what to do.
void checkCondition(std::string_view text, const conditionPlace &place, const reporter &report);

} // namespace lint

#endif
