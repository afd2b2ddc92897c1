// The rules by which a prerequisites file is judged. The manual page has an entry for each.
#ifndef KVX_LINT_RULES_H
#define KVX_LINT_RULES_H

#include <bitset>
#include <cstddef>
#include <string_view>

namespace lint {

// Looks like a blank and is none.
inline constexpr std::string_view noBreakSpace = "\xc2\xa0";

enum class Rule {
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
    error,   // something is lost or counts elsewhere
    warning, // the line may be meant so
    note,    // for information
};

struct ruleEntry {
    Rule id;
    std::string_view name; // never with "value": a line that holds this word opens a section
    Severity severity;
    std::string_view summary;
};

const ruleEntry &entryOf(Rule id);

// The rule of a name; Rule::count for none.
Rule ruleOf(std::string_view name);

std::string_view nameOf(Severity severity);

} // namespace lint

#endif
