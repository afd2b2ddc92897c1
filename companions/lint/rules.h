// The rules by which a prerequisites file is judged. The manual page has an entry for each.
#ifndef KVX_LINT_RULES_H
#define KVX_LINT_RULES_H

#include <string>
#include <string_view>
#include <vector>

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
    count
};

struct ruleEntry {
    Rule id;
    std::string_view name;
    bool error; // or else a warning: the line may be meant so
};

const ruleEntry &entryOf(Rule id);

struct finding {
    std::size_t line, column; // counted from 1
    Rule id;
    bool error;
    std::string text;
};

} // namespace lint

#endif
