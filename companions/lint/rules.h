// The rules of the findings. The manual page has an entry for each rule.
#ifndef KVX_LINT_RULES_H
#define KVX_LINT_RULES_H

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace lint {

// It looks like a blank, but does not separate words.
inline constexpr std::string_view noBreakSpace = "\xc2\xa0";

enum class Rule : std::uint8_t {
    // elements
    unknownElement,
    letterCase,
    lookAlike,
    notClosed,
    mismatch,
    several,
    blank,
    attribute,
    openingWord,
    tabulator,
    comment,
    longLine,
    nul,
    empty,
    longName,
    outside,
    text,
    lost,
    // sections
    unknownSection,
    quotes,
    oneLine,
    unclosed,
    closing,
    nested,
    // levels
    noLevel,
    encoding,
    levelForm,
    levelName,
    levelTwice,
    noPlatform,
    platformForm,
    otherPlatform,
    secondPlatform,
    noRequirement,
    // conditions
    operand,
    operatorName,
    entity,
    triple,
    wholeNumber,
    contradiction,
    distribution,
    never,
    unset,
    requirementTested,
    lineBreak,
    secondPart,
    // values
    number,
    outerBlank,
    packageName,
    libraryName,
    symbolVersion,
    markupInText,
    host,
    sectionTag,
    together,
    replaced,
    mixedLevel,
    unread,
    // suppressions
    suppression,
    unusedSuppression,
    count
};

inline constexpr std::size_t RULES = static_cast<std::size_t>(Rule::count);
typedef std::bitset<RULES> ruleSet;

enum class Severity {
    error,   // the program ignores something, or reads it on other hosts
    warning, // the author may mean it
    note,    // for information
};

struct ruleEntry {
    Rule id;
    std::string_view name; // must not hold "value": the program takes a line with this word as an opening tag
    Severity severity;
    std::string_view summary;
};

const ruleEntry &entryOf(Rule id);

// The rule of a name; Rule::count when no rule has it.
Rule ruleOf(std::string_view name);

std::string_view nameOf(Severity severity);

} // namespace lint

#endif
