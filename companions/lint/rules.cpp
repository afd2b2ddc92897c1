#include "rules.h"

#include <iterator>

namespace lint {

namespace {

constexpr bool ERROR = true, WARNING = false;

constexpr ruleEntry entries[] = {
    {Rule::unknownElement, "unknown-element", ERROR},
    {Rule::letterCase, "letter-case", ERROR},
    {Rule::lookAlike, "look-alike", ERROR},
    {Rule::notClosed, "not-closed", ERROR},
    {Rule::mismatch, "mismatch", ERROR},
    {Rule::several, "several", ERROR},
    {Rule::blank, "blank", ERROR},
    {Rule::attribute, "attribute", ERROR},
    {Rule::openingWord, "opening-word", ERROR},
    {Rule::tabulator, "tabulator", ERROR},
    {Rule::comment, "comment", ERROR},
    {Rule::longLine, "long-line", ERROR},
    {Rule::nul, "nul", ERROR},
    {Rule::empty, "empty", WARNING},
    {Rule::longName, "long-name", ERROR},
    {Rule::outside, "outside", ERROR},
    {Rule::text, "text", WARNING},
    {Rule::lost, "lost", ERROR},
    {Rule::unknownSection, "unknown-section", ERROR},
    {Rule::quotes, "quotes", ERROR},
    {Rule::oneLine, "one-line", ERROR},
    {Rule::unclosed, "unclosed", ERROR},
    {Rule::closing, "closing", ERROR},
    {Rule::nested, "nested", ERROR},
    {Rule::noLevel, "no-level", ERROR},
    {Rule::encoding, "encoding", ERROR},
    {Rule::levelForm, "level-form", ERROR},
    {Rule::levelName, "level-name", WARNING},
    {Rule::levelTwice, "level-twice", ERROR},
    {Rule::noPlatform, "no-platform", ERROR},
    {Rule::platformForm, "platform-form", ERROR},
    {Rule::otherPlatform, "other-platform", WARNING},
    {Rule::secondPlatform, "second-platform", ERROR},
    {Rule::noRequirement, "no-requirement", WARNING},
    {Rule::operand, "operand", ERROR},
    {Rule::operatorName, "operator-name", ERROR},
    {Rule::entity, "entity", ERROR},
    {Rule::triple, "triple", ERROR},
    {Rule::wholeNumber, "whole-number", ERROR},
    {Rule::contradiction, "contradiction", ERROR},
    {Rule::distribution, "distribution", ERROR},
    {Rule::never, "never", ERROR},
    {Rule::unset, "unset", WARNING},
    {Rule::requirementTested, "requirement-tested", WARNING},
    {Rule::lineBreak, "line-break", WARNING},
    {Rule::secondPart, "second-part", WARNING},
    {Rule::number, "number", ERROR},
    {Rule::outerBlank, "outer-blank", ERROR},
    {Rule::packageName, "package-name", ERROR},
    {Rule::libraryName, "library-name", ERROR},
    {Rule::symbolVersion, "symbol-version", ERROR},
    {Rule::markupInText, "markup-in-text", ERROR},
    {Rule::host, "host", WARNING},
    {Rule::sectionTag, "section-tag", ERROR},
    {Rule::together, "together", WARNING},
    {Rule::replaced, "replaced", WARNING},
    {Rule::mixedLevel, "mixed-level", WARNING},
    {Rule::unread, "unread", WARNING},
};

constexpr bool standInOrder() {
    for (std::size_t i = 0; i < std::size(entries); i++)
        if (entries[i].id != static_cast<Rule>(i))
            return false;
    return std::size(entries) == static_cast<std::size_t>(Rule::count);
}
static_assert(standInOrder());

} // namespace

const ruleEntry &entryOf(Rule id) {
    return entries[static_cast<std::size_t>(id)];
}

} // namespace lint
