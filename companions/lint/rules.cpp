#include "rules.h"

#include <algorithm>
#include <iterator>

namespace lint {

namespace {

constexpr ruleEntry entries[] = {
    {Rule::unknownElement, "unknown-element", Severity::error, "the name of an element is not a tag"},
    {Rule::letterCase, "letter-case", Severity::error, "a name differs from a tag in upper and lower case"},
    {Rule::lookAlike, "look-alike", Severity::error, "a name holds a character that is not ASCII"},
    {Rule::notClosed, "not-closed", Severity::error, "an element does not end on its line"},
    {Rule::mismatch, "mismatch", Severity::error, "an element is closed by another name"},
    {Rule::several, "several", Severity::error, "a line holds more than one element or tag"},
    {Rule::blank, "blank", Severity::error, "there is a blank inside angle brackets, or a bracket is missing"},
    {Rule::attribute, "attribute", Severity::error,
     "an element has an attribute, or a section not just the one that is read"},
    {Rule::openingWord, "opening-word", Severity::error, "the word \"value\" makes the line an opening tag"},
    {Rule::tabulator, "tabulator", Severity::error, "there is a tabulator where a blank is needed"},
    {Rule::comment, "comment", Severity::error,
     "something counts although it is in a comment, or a comment has no end"},
    {Rule::longLine, "long-line", Severity::error, "a line is longer than what is read as one line"},
    {Rule::nul, "nul", Severity::error, "a line holds a NUL character"},
    {Rule::empty, "empty", Severity::warning, "an element is empty and changes nothing"},
    {Rule::longName, "long-name", Severity::error, "a tag is too long for the reader"},
    {Rule::outside, "outside", Severity::error, "an element is outside a platform section"},
    {Rule::text, "text", Severity::warning, "there is text outside of elements"},
    {Rule::lost, "lost", Severity::error, "another \"<\" on the line loses the element"},
    {Rule::unknownSection, "unknown-section", Severity::error,
     "the name of a section is not a tag, so its lines are always read"},
    {Rule::quotes, "quotes", Severity::error, "a condition or a level's name lacks double quotes"},
    {Rule::oneLine, "one-line", Severity::error, "a section is on one line and has no effect"},
    {Rule::unclosed, "unclosed", Severity::error, "a section is not closed"},
    {Rule::closing, "closing", Severity::error, "a closing tag closes nothing, or is not one"},
    {Rule::nested, "nested", Severity::error, "the end of a section also ends the section around it"},
    {Rule::noLevel, "no-level", Severity::error, "the file offers no level"},
    {Rule::encoding, "encoding", Severity::error, "the file's characters or line ends are not those that are read"},
    {Rule::levelForm, "level-form", Severity::error, "a level's line has another form than the exact one"},
    {Rule::levelName, "level-name", Severity::warning, "a level's name is too long or is not numbers between points"},
    {Rule::levelTwice, "level-twice", Severity::error, "two levels have the same name"},
    {Rule::noPlatform, "no-platform", Severity::error, "a level has no platform section"},
    {Rule::platformForm, "platform-form", Severity::error, "a platform's line has another form than the exact one"},
    {Rule::otherPlatform, "other-platform", Severity::warning, "a section for another platform is not read"},
    {Rule::secondPlatform, "second-platform", Severity::error, "a level has a second platform section"},
    {Rule::noRequirement, "no-requirement", Severity::warning, "no check reads what a level gives"},
    {Rule::operand, "operand", Severity::error, "the first word of a triple is not a tag"},
    {Rule::operatorName, "operator-name", Severity::error, "there is no such operator"},
    {Rule::entity, "entity", Severity::error, "the program does not resolve entities"},
    {Rule::triple, "triple", Severity::error, "a condition is not made of tags, operators and words"},
    {Rule::wholeNumber, "whole-number", Severity::error, "the word behind <, > or >= is not a whole number"},
    {Rule::contradiction, "contradiction", Severity::error, "no host meets a condition and those around it"},
    {Rule::distribution, "distribution", Severity::error, "a condition tests a release where hosts have none and pass"},
    {Rule::never, "never", Severity::error, "no host has the word that is compared"},
    {Rule::unset, "unset", Severity::warning, "no host has a text for the tag that is tested"},
    {Rule::requirementTested, "requirement-tested", Severity::warning,
     "a condition tests a requirement instead of the host"},
    {Rule::lineBreak, "line-break", Severity::warning, "the release of SUSE may end in a line break and equal no word"},
    {Rule::secondPart, "second-part", Severity::warning,
     "the second part of a release is tested whatever the first one is"},
    {Rule::number, "number", Severity::error, "a text is not one number, version or umask"},
    {Rule::outerBlank, "outer-blank", Severity::error,
     "a text begins or ends with a blank, which the program compares"},
    {Rule::packageName, "package-name", Severity::error, "a text cannot be the name of a package"},
    {Rule::libraryName, "library-name", Severity::error, "a text cannot be the name of a library"},
    {Rule::symbolVersion, "symbol-version", Severity::error, "a text cannot be a symbol version of a library"},
    {Rule::markupInText, "markup-in-text", Severity::error, "markup in a text is part of it"},
    {Rule::host, "host", Severity::warning, "an element replaces what the program knows of the host"},
    {Rule::sectionTag, "section-tag", Severity::error, "a section's tag holds a text, which no check reads"},
    {Rule::together, "together", Severity::warning, "an element needs another one that is not given"},
    {Rule::replaced, "replaced", Severity::warning, "a later line replaces an element on every host"},
    {Rule::mixedLevel, "mixed-level", Severity::warning, "a section raises one part of a level and leaves a lower one"},
    {Rule::unread, "unread", Severity::note, "no check that an option selects reads an element"},
    {Rule::suppression, "suppression", Severity::warning,
     "a suppression is not alone on its line, or does not name a rule"},
    {Rule::unusedSuppression, "unused-suppression", Severity::warning, "a suppression suppresses nothing"},
};

constexpr bool standInOrder() {
    for (std::size_t i = 0; i < std::size(entries); i++)
        if (entries[i].id != static_cast<Rule>(i) || entries[i].name.find("value") != std::string_view::npos)
            return false;
    return std::size(entries) == RULES;
}
static_assert(standInOrder(), "every rule has an entry, in the order of the enumeration and with a name that can be "
                              "given in a file");

} // namespace

const ruleEntry &entryOf(Rule id) {
    return entries[static_cast<std::size_t>(id)];
}

Rule ruleOf(std::string_view name) {
    const auto *const found = std::find_if(std::begin(entries), std::end(entries),
                                           [&](const ruleEntry &entry) { return entry.name == name; });
    return found == std::end(entries) ? Rule::count : found->id;
}

std::string_view nameOf(Severity severity) {
    static constexpr std::string_view names[] = {"error", "warning", "note"};
    return names[static_cast<std::size_t>(severity)];
}

} // namespace lint
