// Conditions of sections: what their triples ask, and what is wrong with them.
#ifndef KVX_LINT_CONDITIONS_H
#define KVX_LINT_CONDITIONS_H

#include <array>
#include <functional>
#include <string_view>
#include <vector>

#include "rules.h"
#include "sqloPrereqCheck.h"

namespace lint {

struct triple {
    std::string_view operand, operation, value;
    int tag;    // the operand's, or -1
    int number; // the value, or -1 when it is no whole number
};

inline bool operator==(const triple &left, const triple &right) {
    return left.operand == right.operand && left.operation == right.operation && left.value == right.value;
}

// Stands for a mistaken condition: it is unknown which hosts meet it.
inline constexpr triple unknownTriple = {"", "", "", -1, -1};

struct condition {
    std::vector<triple> triples;
    std::vector<std::string_view> rest; // the words of an incomplete triple at the end
};

// The text between the first two double quotes of a line; `bQuotes` false without both.
std::string_view quotedText(std::string_view line, bool &bQuotes);

// Cuts a condition into its triples as the program does.
condition readCondition(std::string_view text);

// Does a triple that can fail hold on every host where all of the others do?
bool isImplied(const triple &asked, const std::vector<triple> &others);

// Is one of the conditions a mistake, so that nobody can tell what it asks?
bool holdsUnknown(const std::vector<triple> &triples);

// Is there a host on which all of both hold? Yes where that cannot be told.
bool canHoldTogether(const std::vector<triple> &left, const std::vector<triple> &right);

// Where a condition stands, for what can be said of it.
struct conditionPlace {
    std::vector<triple> enclosing;     // of the sections around it
    std::array<bool, LastTag> given{}; // tags that the level gives above it
    std::string_view level;
};

typedef std::function<void(Rule, std::string_view word, const std::string &text)> reporter;

// Reports what is wrong with a condition: the rule, the word of the file's text that is meant, and what to do.
void checkCondition(std::string_view text, const conditionPlace &place, const reporter &report);

} // namespace lint

#endif
