#include "rules.h"

#include <iterator>

namespace lint {

namespace {

constexpr bool ERROR = true, WARNING = false;

constexpr ruleEntry entries[] = {
    {rule::unknownElement, "unknown", ERROR},
    {rule::letterCase, "case", ERROR},
    {rule::notClosed, "not-closed", ERROR},
    {rule::otherClosing, "mismatch", ERROR},
    {rule::several, "several", ERROR},
    {rule::blanks, "blank", ERROR},
    {rule::attribute, "attribute", ERROR},
    {rule::valueWord, "value", ERROR},
    {rule::tabulator, "tab", ERROR},
    {rule::comment, "comment", ERROR},
    {rule::longLine, "long-line", ERROR},
    {rule::nulByte, "nul", ERROR},
    {rule::empty, "empty", WARNING},
    {rule::longName, "long-name", ERROR},
    {rule::outside, "outside", ERROR},
    {rule::text, "text", WARNING},
    {rule::lost, "lost", ERROR},
    {rule::unknownSection, "unknown-section", ERROR},
    {rule::quotes, "quotes", ERROR},
    {rule::oneLine, "one-line", ERROR},
    {rule::unclosed, "unclosed", ERROR},
    {rule::closing, "closing", ERROR},
    {rule::nested, "nested", ERROR},
    {rule::noLevel, "no-level", ERROR},
    {rule::levelForm, "level-form", ERROR},
    {rule::levelName, "level-name", WARNING},
    {rule::levelTwice, "level-twice", ERROR},
    {rule::noPlatform, "no-platform", ERROR},
    {rule::platformForm, "platform-form", ERROR},
    {rule::otherPlatform, "platform", WARNING},
    {rule::secondPlatform, "second-platform", ERROR},
    {rule::noRequirement, "no-requirement", WARNING},
    {rule::operand, "operand", ERROR},
    {rule::operatorName, "operator", ERROR},
    {rule::entity, "entity", ERROR},
    {rule::triple, "triple", ERROR},
    {rule::wholeNumber, "whole-number", ERROR},
    {rule::contradiction, "contradiction", ERROR},
    {rule::distribution, "distribution", ERROR},
    {rule::never, "never", ERROR},
    {rule::unset, "unset", WARNING},
    {rule::lineBreak, "line-break", WARNING},
    {rule::number, "number", ERROR},
    {rule::outerBlank, "outer-blank", ERROR},
    {rule::packageName, "package", ERROR},
    {rule::markupInText, "markup", ERROR},
    {rule::hostValue, "host", WARNING},
    {rule::together, "together", WARNING},
    {rule::replaced, "replaced", WARNING},
    {rule::unread, "unread", WARNING},
};

constexpr bool standInOrder() {
    for (std::size_t i = 0; i < std::size(entries); i++)
        if (entries[i].id != static_cast<rule>(i))
            return false;
    return std::size(entries) == static_cast<std::size_t>(rule::count);
}
static_assert(standInOrder());

} // namespace

const ruleEntry &entryOf(rule id) {
    return entries[static_cast<std::size_t>(id)];
}

} // namespace lint
