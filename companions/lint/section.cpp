#include "section.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <iterator>
#include <strings.h>
#include <unordered_set>

#include "../common/words.h"
#include "meant.h"
#include "sqloText.h"
#include "tags.h"

namespace lint {

namespace {

using std::string;
using std::string_view;

using common::holds;
using common::sameLetters;

// Deeper sections, and values farther back, are not compared: no real file needs it, and time would grow with the
// square.
constexpr std::size_t DEEPEST = 300, DEEPEST_ASKED = 8, FARTHEST_VALUE = 300;
constexpr std::ptrdiff_t NEAR_VALUES = 40;

// Does a text hold an entity, such as "&gt;"?
bool holdsEntity(string_view text) {
    const std::size_t begin = text.find('&'), end = text.find(';', begin);
    return begin != npos && end != npos && end > begin + 1 &&
           std::all_of(text.begin() + static_cast<std::ptrdiff_t>(begin) + 1,
                       text.begin() + static_cast<std::ptrdiff_t>(end),
                       [](unsigned char c) { return std::isalnum(c) || c == '#'; });
}

// A line or a column in the size in which many of them are kept.
std::uint32_t at(std::size_t place) {
    return static_cast<std::uint32_t>(place);
}

bool isOneOf(unsigned char c, string_view characters) {
    return characters.find(static_cast<char>(c)) != npos;
}

// Removes the marks of CDATA from a text.
string withoutCdata(string text) {
    for (const string_view mark : {"<![CDATA[", "]]>"})
        for (std::size_t at; (at = text.find(mark)) != npos;)
            text.erase(at, mark.size());
    return text;
}

bool isPackageName(string_view text, bool bPath) {
    return (std::isalnum(static_cast<unsigned char>(text[0])) || text[0] == '_' || (bPath && text[0] == '/')) &&
           std::all_of(text.begin(), text.end(),
                       [&](unsigned char c) { return std::isalnum(c) || isOneOf(c, "._+-") || (bPath && c == '/'); });
}

// Can a host of a distribution meet tests?
bool isForDistribution(string_view name, const testList &tests) {
    return std::none_of(tests.begin(), tests.end(), [&](const test &test) {
        return test.tag == LinuxDistro && test.comparison == Comparison::equal && test.text() != name;
    });
}

long numberOf(string_view text) {
    return leadingNumber(string(text).c_str());
}

constexpr std::size_t SHORTEST_TEXT = 4; // the shortest text that strings(1) prints

// Is there exactly one attribute, with the name and the quotes that the program reads?
bool isPlainValue(string_view attributes) {
    const std::size_t behind = sizeof "value" - 1;
    if (attributes.substr(0, behind) != "value")
        return false;
    const std::size_t quote = attributes.find('"');
    return quote != npos && trimmed(attributes.substr(behind, quote - behind)) == "=" &&
           attributes.find('"', quote + 1) == attributes.size() - 1;
}

// Can a text be the name or the path of a library? $LIB and the like, which the loader replaces, are allowed.
bool isLibraryName(string text) {
    for (const string_view token : {"ORIGIN", "LIB", "PLATFORM"})
        for (const string &written : {"${" + string(token) + "}", "$" + string(token)})
            for (std::size_t at; (at = text.find(written)) != npos;)
                text.replace(at, written.size(), "x");
    return std::all_of(text.begin(), text.end(),
                       [](unsigned char c) { return std::isalnum(c) || isOneOf(c, "._+-/@~"); }) &&
           std::any_of(text.begin(), text.end(), [](unsigned char c) { return std::isalpha(c); });
}

// Can a text be a symbol version of the C++ runtime, or another line that strings(1) prints for it?
bool isSymbolText(const string &text) {
    for (const string_view runtime : {"CXXABI", "GLIBCXX"})
        if (strncasecmp(text.c_str(), runtime.data(), runtime.size()) == 0)
            return text.substr(0, runtime.size()) == runtime && text.size() > runtime.size() + 1 &&
                   text[runtime.size()] == '_' && std::all_of(text.begin(), text.end(), [](unsigned char c) {
                       return std::isupper(c) || std::isdigit(c) || c == '_' || c == '.';
                   });
    return text.find_first_of("\"'`,;|<>*?$&") == npos && text.find_first_not_of("0123456789.") != npos &&
           text.size() >= SHORTEST_TEXT;
}

// Says what to do about a character that is not ASCII, which no name or number on a host holds.
string foreignHint(string_view foreign, const string &latin) {
    return codePoint(foreign) + (foreign == noBreakSpace ? " is a no-break space" : " is not an ASCII character") +
           ", and no name on a host holds it: " +
           (foreignCharacter(latin).empty() ? "write " + latin : string("replace it"));
}

// The rule that a text breaks, and the message; an empty message when it breaks none.
typedef std::pair<Rule, string> fault;

fault noFault() {
    return {Rule::number, ""};
}

// Says how to give several numbers, such as 5.14, in the elements of a level's parts, the first one in that of a tag.
string numbersApart(int tag, string_view numbers) {
    string advice = "write " + string(numbers.substr(0, numbers.find('.'))) + " here";
    const char *pBetween = " and ", *pWhere = " on the next line";
    for (const auto &parts : levelParts) {
        const Tag *pPart = std::find(std::begin(parts), std::end(parts), tag);
        while (std::end(parts) - pPart > 1 && holds(numbers, ".")) {
            numbers.remove_prefix(numbers.find('.') + 1);
            pPart++;
            advice += pBetween + element(ppszTagName[*pPart], numbers.substr(0, numbers.find('.'))) + pWhere;
            pBetween = ", and ";
            pWhere = " on the line below that";
        }
    }
    return advice;
}

fault faultOfNumber(int tag, const string &text) {
    const string_view bare = trimmed(text);
    if (sqloCheckIsNumber(string(bare).c_str()) && !bare.empty())
        return noFault();
    const string_view numbers = firstNumber(text);
    return {Rule::number, "this is not a whole number and counts as " + std::to_string(leadingNumber(text.c_str())) +
                              ": " + (holds(numbers, ".") ? numbersApart(tag, numbers) : "write digits only")};
}

fault faultOfMask(const string &text) {
    const bool bDigit = std::isdigit(static_cast<unsigned char>(text[0])) != 0;
    if (bDigit && trimmed(text).find_first_not_of("01234567") == npos)
        return noFault();
    return {Rule::number, (bDigit ? "only " + std::to_string(leadingNumber(text.c_str())) + " of this umask counts"
                                  : string("no host meets this umask")) +
                              ": write an octal number, such as 022"};
}

fault faultOfVersion(const string &text) {
    const string_view bare = trimmed(text);
    const string_view version = firstNumber(text);
    const string advice = "write " + (version.empty() ? "the version alone, such as 1.2.3" : string(version));
    if (!std::isdigit(static_cast<unsigned char>(text[0])))
        return {Rule::number, "a version begins with a digit, and every host meets this one: " + advice};
    if (bare.find_first_of(" \t:<>=,*|/;&") != npos || bare.back() == '+')
        return {Rule::number, "the program ignores what is around the numbers and points of a version: " + advice};
    return noFault();
}

// The text without quotes and operators around it, if it then passes a test, or else an advice in words.
template <typename Test> string wordOr(const string &text, Test isFit, const char *pAdvice) {
    constexpr string_view around = "\"'`<>= ";
    const std::size_t begin = std::min(text.find_first_not_of(around), text.size());
    const string word = text.substr(begin, text.find_last_not_of(around) + 1 - begin);
    return isFit(word) ? word : pAdvice;
}

fault faultOfRuntime(const string &text, bool bLibrary) {
    if (trimmed(text) != text)
        return {Rule::outerBlank,
                "the program compares the blanks around this text, too, and no host has them: delete them"};
    if (bLibrary && !isLibraryName(text))
        return {Rule::libraryName, "no library can have this name: write " +
                                       wordOr(text, isLibraryName, "the name of one file, such as libstdc++.so.6")};
    if (!bLibrary && !isSymbolText(text))
        return {Rule::symbolVersion, "no library can have this version: write " +
                                         wordOr(text, isSymbolText, "one symbol version, such as CXXABI_1.3.11")};
    return noFault();
}

// The tag that gives the lowest version of the package of another tag; -1 without one.
int versionTagFor(int package) {
    const auto *pFound = std::find_if(std::begin(dependences), std::end(dependences), [&](const dependence &pair) {
        return pair.needed == package && useOf(pair.tag).text == TextKind::version;
    });
    return pFound == std::end(dependences) ? -1 : pFound->tag;
}

fault faultOfPackage(int tag, const string &text, bool bPath) {
    if (isPackageName(text, bPath))
        return noFault();
    const std::size_t behindName = text.find_first_of(" <>=");
    const bool bVersion = behindName != npos && !firstNumber(string_view(text).substr(behindName)).empty();
    const int versionTag = bVersion ? versionTagFor(tag) : -1;
    return {Rule::packageName, "\"" + text + "\" cannot be the name of a package: write the name alone, " +
                                   (versionTag < 0 ? "without blanks, version, pattern or quotes"
                                                   : "and the lowest version in " + opening(ppszTagName[versionTag]))};
}

// Finds what is wrong with the text of a tag, by what the program reads it as.
fault faultOf(int tag, const string &text) {
    const TextKind kind = useOf(tag).text;
    const string_view foreign = foreignCharacter(text);
    if (holdsEntity(text))
        return {Rule::entity, "the program does not resolve entities: write the character itself"};
    if (!foreign.empty() && kind != TextKind::any)
        return {Rule::lookAlike, foreignHint(foreign, latinized(text))};
    switch (kind) {
    case TextKind::any: break;
    case TextKind::number: return faultOfNumber(tag, text);
    case TextKind::mask: return faultOfMask(text);
    case TextKind::version: return faultOfVersion(text);
    case TextKind::library: return faultOfRuntime(text, true);
    case TextKind::symbol: return faultOfRuntime(text, false);
    case TextKind::package: return faultOfPackage(tag, text, false);
    case TextKind::command: return faultOfPackage(tag, text, true);
    }
    return noFault();
}

} // namespace

/* --- The line --- */

std::size_t judgedLine::columnOf(string_view word) const {
    return static_cast<std::size_t>(word.data() - text.data()) + 1;
}

void judgedLine::reportComment(const markup &part, const string &what) {
    const string_view mark = lineMark(text);
    string message = what + (mark.empty() ? string(" although it is in a comment")
                                          : ", because \"" + string(mark) + "\" does not make a comment");
    if (hiddenSection.comment == part.comment)
        message += ", and on every host, because " + opening(hiddenSection.name) + " of line " +
                   std::to_string(hiddenSection.line) + " does not count";
    report(Rule::comment, part.column,
           message + ": delete it from the file; if it is meant to count, delete the comment mark" +
               (mark.empty() ? "s around it" : ""));
}

void judgedLine::noteHiddenSection() {
    for (const markup &part : marked.parts)
        if (part.comment != 0 && part.kind == MarkupKind::opening && !part.attributes.empty())
            hiddenSection = {part.comment, number, part.name};
}

const markup *judgedLine::find(MarkupKind kind, string_view name) const {
    const markup *pFound = nullptr;
    for (const markup &part : marked.parts)
        if (part.kind == kind && part.name == name && (pFound == nullptr || part.comment < pFound->comment))
            pFound = &part;
    return pFound;
}

/* --- The section's lines --- */

sectionJudge::sectionJudge(judgedLine &line, const lineReader &reader, bool bUnread)
    : line(line), reader(reader), bUnread(bUnread) {
}

void sectionJudge::begin(const string &newLevel) {
    level = newLevel;
    sections.clear();
    bRequires = false;
    meant.fill(false);
    arounds.clear();
    for (auto &seen : values)
        seen.clear();
}

void sectionJudge::takeLine(const lineEffect &effect) {
    const markup *pCounted = partThatCounts(effect);
    if (effect.effect != LINE_SECTION_READ && effect.effect != LINE_SKIP_BEGINS)
        line.noteHiddenSection();
    judgeOthers(pCounted);
    if (line.marked.textColumn != 0 && trimmed(line.text) != "-->" && effect.effect <= LINE_IGNORED &&
        line.number > lastContinued && (sections.empty() || sections.back().tag >= 0))
        line.report(Rule::text, line.marked.textColumn,
                    trimmed(line.text) == "]]>"
                        ? "CDATA hides nothing: delete the marks <![CDATA[ and ]]>"
                        : "the program ignores text outside of elements: give it a tag, or make it a comment");
}

void sectionJudge::passLine() {
    for (const markup &part : line.marked.parts)
        pass(part);
}

// Judges the part of the line on which the program acts, and returns it; null without one.
const markup *sectionJudge::partThatCounts(const lineEffect &effect) {
    switch (effect.effect) {
    case LINE_VALUE:
    case LINE_EMPTY: return countedValue(effect);
    case LINE_SECTION_READ:
    case LINE_SKIP_BEGINS: return countedOpening(effect.tag);
    default: break;
    }
    if (beginsGrid(effect))
        return countedOpening(effect.tag);
    return effect.tag < 0 ? nullptr : countedClosing(effect);
}

const markup *sectionJudge::countedValue(const lineEffect &effect) {
    const markup *pPart = line.find(MarkupKind::element, ppszTagName[effect.tag]);
    if (pPart == nullptr || (effect.effect == LINE_EMPTY && pPart->comment != 0))
        return pPart;
    if (pPart->comment != 0) {
        line.reportComment(*pPart, opening(pPart->name) + " counts");
        noteMeant(effect.tag);
    } else if (effect.effect == LINE_EMPTY)
        line.report(Rule::empty, pPart->column,
                    opening(pPart->name) +
                        " is empty, and what an earlier line gave stays: write a text, or delete the line");
    else
        judgeValue(*pPart, effect);
    if (countedClosing(effect) != nullptr && !isSectionTag(effect.tag))
        line.report(Rule::nested, pPart->column,
                    "where the section " + opening(pPart->name) +
                        " is skipped, this line ends it: use another tag for the section");
    return pPart;
}

const markup *sectionJudge::countedOpening(int tag) {
    const markup *pPart = line.find(MarkupKind::opening, ppszTagName[tag]);
    if (pPart == nullptr)
        return nullptr;
    if (tag == platform) {
        line.report(Rule::secondPlatform, pPart->column,
                    "this platform section is inside another one: close that above with " + closing(pPart->name));
        return pPart;
    }
    if (pPart->comment != 0)
        line.reportComment(*pPart, "the section " + opening(pPart->name) + " counts");
    if (isValueMeant(*pPart, tag)) {
        line.report(Rule::attribute, pPart->column,
                    "the program ignores an element without its text between two tags: write " + elementMeant(*pPart));
        noteMeant(tag);
        return pPart;
    }
    open(*pPart, tag, !pPart->attributes.empty());
    return pPart;
}

// Is an attribute meant as the text of an element? It has no operator, and no section has this tag.
bool sectionJudge::isValueMeant(const markup &part, int tag) {
    const string_view text = trimmed(attributeText(part.attributes));
    return distributionOfSection(tag) == nullptr && tag != shareGrid && !text.empty() &&
           text.find_first_of("<>=") == npos;
}

// Does the line open the section of the clustered feature, which has no condition?
bool sectionJudge::beginsGrid(const lineEffect &effect) const {
    return effect.tag == shareGrid && effect.effect == LINE_IGNORED && !holds(line.text, "</");
}

// Closes the open section of the tag that the line names, if the line closes it for the program. Returns the closing
// tag or the element that does so, or null.
const markup *sectionJudge::countedClosing(const lineEffect &effect) {
    const string_view name = ppszTagName[effect.tag];
    const std::size_t depth = depthOf(name);
    if (depth == sections.size() || sections[depth].tag < 0 || !reader.endsSkipped(effect.tag, line.text))
        return nullptr;
    const markup *pPart = line.find(MarkupKind::closing, name);
    if (pPart == nullptr)
        return line.find(MarkupKind::element, name);
    if (pPart->comment != 0)
        line.reportComment(*pPart, closing(name) + " ends the section");
    else if (depth + 1 < sections.size() && !sections.back().bReported) {
        line.report(Rule::closing, pPart->column,
                    closing(name) + " closes the section of line " + std::to_string(sections[depth].line) + " while " +
                        opening(sections.back().name) + " of line " + std::to_string(sections.back().line) +
                        " is open: close that first");
        sections.back().bReported = true;
    }
    closeTo(depth);
    return pPart;
}

// Reports the other parts of the line outside comments, which have no effect.
void sectionJudge::judgeOthers(const markup *pCounted) {
    bool bReported = false;
    for (const markup &part : line.marked.parts) {
        if (&part == pCounted || part.comment != 0 || part.name == "KVXprereqs")
            continue;
        if (!bReported && (pCounted == nullptr || pCounted->comment != 0)) {
            explain(part);
        } else {
            if (!bReported)
                line.report(Rule::several, part.column,
                            "only " + opening(pCounted->name) + " counts on this line: give <\1> a line of its own " +
                                (part.column < pCounted->column ? "above" : "below") + " this one",
                            part.name);
            pass(part);
        }
        bReported = true;
    }
}

// Takes a part without effect as its author means it, so that the lines below are judged right.
void sectionJudge::pass(const markup &part) {
    const std::size_t depth = depthOf(part.name);
    if (part.kind == MarkupKind::opening)
        openUnread(part);
    else if (part.kind == MarkupKind::closing && depth < sections.size())
        closeTo(depth);
    else if (part.kind == MarkupKind::element)
        noteMeant(nearestTag(part.name));
}

// Notes that the author gives a tag, although the program ignores the element: no finding says that it is missing.
void sectionJudge::noteMeant(int tag) {
    if (tag >= 0)
        meant[static_cast<std::size_t>(tag)] = true;
}

/* --- Why a part has no effect --- */

void sectionJudge::explain(const markup &part) {
    if (part.kind == MarkupKind::closing) {
        explainClosing(part);
        return;
    }
    const int nearest = nearestTag(part.name);
    if (part.kind == MarkupKind::element)
        noteMeant(nearest);
    if (nearest < 0 || part.name != ppszTagName[nearest])
        explainUnknown(part, nearest);
    else if (part.kind == MarkupKind::element)
        explainElement(part);
    else
        explainOpening(part);
}

void sectionJudge::explainUnknown(const markup &part, int nearest) {
    const bool bSection = part.kind == MarkupKind::opening && !part.attributes.empty() && part.attributes[0] != '=';
    const distributionTags *pDistribution = bSection ? distributionOf(distributionMeant(part.name)) : nullptr;
    explainName(part, nearest < 0 && pDistribution != nullptr ? pDistribution->section : nearest, bSection);
    if (part.kind == MarkupKind::opening && (part.attributes.empty() || bSection))
        openUnread(part);
}

// Says where else the name of a part must be corrected.
static string inBothTags(const markup &part) {
    const bool bBoth = part.kind == MarkupKind::element ? part.closedBy == part.name : !part.attributes.empty();
    return !bBoth ? "" : part.kind == MarkupKind::element ? " in both tags" : " here and in the closing tag";
}

void sectionJudge::explainName(const markup &part, int nearest, bool bSection) {
    const string name(part.name);
    const string effect =
        bSection ? "so the program reads the section's lines on every host" : "so the program ignores the line";
    const string_view foreign = foreignCharacter(name);
    const int latin = foreign.empty() ? -1 : nearestTag(latinized(name));
    if (latin >= 0)
        line.report(Rule::lookAlike, part.column,
                    name + " holds " + codePoint(foreign) + ", which no tag does, " + effect + ": write " +
                        ppszTagName[latin] + inBothTags(part));
    else if (nearest >= 0 && sameLetters(name, ppszTagName[nearest]))
        line.report(Rule::letterCase, part.column,
                    "upper and lower case matter, " + effect + ": write " + ppszTagName[nearest] + inBothTags(part));
    else
        line.report(bSection ? Rule::unknownSection : Rule::unknownElement, part.column,
                    "\1 is not a tag, " + effect +
                        (nearest < 0 ? string(": take one of the tags in the manual KVXprereqs.xml(5)")
                                     : ": write " + string(ppszTagName[nearest]) + inBothTags(part)),
                    part.name);
}

void sectionJudge::explainElement(const markup &part) {
    const string name(part.name);
    const string_view text = trimmed(part.text);
    if (part.closedBy != part.name)
        line.report(Rule::mismatch, part.column,
                    opening(name) + " has the closing tag " + closing(part.closedBy) +
                        ", so the program ignores it: write " + closing(name));
    else if (!part.attributes.empty() && holds(part.text, "<"))
        line.report(Rule::oneLine, part.column,
                    "a section on one line has no effect: give its opening tag, its elements and its closing tag "
                    "lines of their own");
    else if (!part.attributes.empty())
        line.report(Rule::attribute, part.column,
                    "the program ignores an element with an attribute: write " + elementMeant(part));
    else if (holds(line.text, "value"))
        line.report(Rule::openingWord, line.text.find("value") + 1,
                    "the word \"value\" makes the line an opening tag, and " + opening(name) +
                        " is ignored: use another word, or another line");
    else if (text.empty() && !part.plain)
        line.report(Rule::empty, part.column,
                    "<" + name + "/> is empty and has no effect" +
                        (depthOf(name) < sections.size()
                             ? ": write " + closing(name) + " to close the section, or delete it"
                             : ": delete it"));
    else if (!part.plain)
        line.report(
            Rule::blank, part.column,
            "the program ignores an element with a blank or \"/\" in its angle brackets, or without \">\": write " +
                element(name, text));
    else
        line.report(Rule::lost, part.column,
                    opening(name) + " is ignored because of another \"<\" on the line: give " + opening(name) +
                        " a line of its own below this one");
}

void sectionJudge::explainOpening(const markup &part) {
    const string name(part.name);
    const bool bSection = !part.attributes.empty() || name == ppszTagName[shareGrid];
    const std::size_t behind = part.column + name.size(), depth = depthOf(name);
    const string_view behindTag = line.text.substr(std::min(part.end, line.text.size()));
    const string_view text = trimmed(behindTag.substr(0, behindTag.find('<')));
    const distributionTags *pDistribution = distributionOfSection(tagOf(name));
    if (!bSection && depth < sections.size()) {
        line.report(Rule::closing, part.column,
                    opening(name) + " does not close the section of line " + std::to_string(sections[depth].line) +
                        ": write " + closing(name));
        closeTo(depth);
        return;
    }
    if (!part.attributes.empty() && (part.attributes[0] == '=' || isValueMeant(part, tagOf(name)))) {
        line.report(part.attributes[0] == '=' ? Rule::notClosed : Rule::attribute, part.column,
                    "the program ignores an element without its text between two tags: write " + elementMeant(part));
        noteMeant(tagOf(name));
        return;
    }
    openUnread(part);
    if (bSection && line.text.find_first_of(" \t", part.column) == part.column)
        line.report(
            Rule::blank, part.column,
            "with a blank behind \"<\" this opens no section, so the program reads its lines on every host: write <" +
                name + (part.attributes.empty() ? "" : " ") + string(part.attributes) + ">");
    else if (bSection && part.attributes.empty())
        line.report(part.complete && holds(line.text, "value") ? Rule::openingWord : Rule::blank, part.column,
                    "this opens no section, so the program reads its lines in every pass: the line must hold " +
                        opening(name) + " and not the word \"value\"");
    else if (!bSection && part.complete && pDistribution != nullptr)
        line.report(Rule::attribute, part.column,
                    "without a condition this opens no section, so the program reads its lines on every host: write <" +
                        name + " value=\"LinuxDistro = " + pDistribution->name() + "\">");
    else if (!bSection)
        explainUnended(part, text);
    else if (line.text[behind] == '\t')
        line.report(
            Rule::tabulator, behind + 1,
            "with a tabulator behind the tag this opens no section, so the program reads its lines on every host: "
            "put a blank there");
    else if (!holds(part.attributes, "value"))
        line.report(
            Rule::attribute, part.column,
            "only the attribute \"value\" makes a condition, so the program reads the section's lines on every host: "
            "write " +
                sectionMeant(name, wholeAttributes(line.text, part)));
    else
        line.report(
            Rule::oneLine, part.column,
            "beside other tags this opens no section, so the program reads its lines on every host: give the opening "
            "tag a line of its own above this one");
}

// Explains an opening tag, or an element, that does not end on its line.
void sectionJudge::explainUnended(const markup &part, string_view text) {
    const oneLiner whole = onOneLine(line.below.substr(part.column - 1), part.name);
    const string name(part.name);
    lastContinued = line.number + whole.lines;
    if (whole.text.empty() || whole.bElement)
        line.report(Rule::notClosed, part.column,
                    "the element does not end on this line, so the program ignores it: write " +
                        (whole.bElement ? whole.text : element(name, text.empty() ? "..." : text)) + " on one line",
                    whole.word);
    else
        line.report(
            Rule::notClosed, part.column,
            "the opening tag does not end on this line, so the program reads the section's lines on every host: "
            "write " +
                whole.text + " on one line");
}

void sectionJudge::explainClosing(const markup &part) {
    const string name(part.name);
    std::size_t depth = depthOf(name);
    if (depth < sections.size() && sections[depth].bReported) {
        closeTo(depth);
        return;
    }
    if (depth < sections.size()) {
        const string outcome = " does not close the section of line " + std::to_string(sections[depth].line);
        if (holds(line.text, "value"))
            line.report(Rule::openingWord, line.text.find("value") + 1,
                        "with the word \"value\" on the line " + closing(name) + outcome +
                            ": use another word, or another line");
        else if (!part.plain)
            line.report(Rule::blank, part.column,
                        "write " + closing(name) + ": with a blank in the angle brackets, or without \">\", this" +
                            outcome);
        else
            line.report(Rule::several, part.column,
                        closing(name) + outcome + " beside other tags: give it a line of its own below this one");
        closeTo(depth);
        return;
    }
    if (!sections.empty() && sections.back().bReported) {
        closeTo(sections.size() - 1); // its opening tag is the mistake, which is reported
        return;
    }
    if (!sections.empty() && sameLetters(sections.back().name, name)) {
        line.report(Rule::letterCase, part.column,
                    "upper and lower case matter, so this closes nothing: write " + closing(sections.back().name));
        closeTo(sections.size() - 1);
        return;
    }
    if (!sections.empty() && !isTag(name)) { // not the closing tag of an element or of another section
        line.report(foreignCharacter(name).empty() ? Rule::closing : Rule::lookAlike, part.column,
                    "this closes nothing: write " + closing(sections.back().name));
        closeTo(sections.size() - 1);
        return;
    }
    explainStray(part);
}

// The element that a closing tag ends whose opening tag lacks its "<".
string sectionJudge::elementEndedBy(const markup &part) const {
    const string begin = string(part.name) + ">";
    const string_view before = trimmed(line.text.substr(0, part.column - 1));
    const bool bWhole = before.substr(0, begin.size()) == begin && before.size() > begin.size();
    return element(part.name, bWhole ? before.substr(begin.size()) : "...");
}

// Explains a closing tag that belongs to no section above it.
void sectionJudge::explainStray(const markup &part) {
    const string name(part.name), nothing = closing(name) + " closes nothing";
    if (distributionOfSection(tagOf(name)) == nullptr && tagOf(name) != shareGrid) {
        line.report(
            Rule::closing, part.column,
            nothing + ": " +
                (!isTag(name) ? "delete it" : "write the whole element on one line, such as " + elementEndedBy(part)));
    } else if (!sections.empty() && sections.back().tag != shareGrid) {
        line.report(Rule::closing, part.column,
                    nothing + ": write " + closing(sections.back().name) + " to close the section of line " +
                        std::to_string(sections.back().line));
        disregard(sections.back());
    } else {
        line.report(Rule::closing, part.column,
                    nothing + ": the section's opening tag " +
                        (line.hiddenSection.name == part.name
                             ? "of line " + std::to_string(line.hiddenSection.line) + " is in a comment"
                             : string("is missing")) +
                        ", so its lines are read on every host: write it above them, or delete both");
        replacements.clear(); // they may be wrong: the lines of that section are meant for some hosts only
    }
}

/* --- Sections --- */

std::size_t sectionJudge::depthOf(string_view name) const {
    const std::size_t last = sections.size() < DEEPEST ? 0 : sections.size() - DEEPEST;
    for (std::size_t depth = sections.size(); depth > last; depth--)
        if (sections[depth - 1].name == name)
            return depth - 1;
    return sections.size();
}

// Ends an open section, and reports the sections in it, which are not closed.
void sectionJudge::closeTo(std::size_t depth) {
    reportReplaced();
    reportNested(sections[depth]);
    for (std::size_t i = depth + 1; i < sections.size(); i++)
        if (sections[i].isOpen())
            line.reportAt(Rule::unclosed, sections[i].line, sections[i].column,
                          "<\1> is not closed before " + closing(sections[depth].name) + " in line " +
                              std::to_string(line.number) + ": where it is skipped, so is what follows",
                          sections[i].name);
    sections.resize(depth);
}

void sectionJudge::end() {
    reportReplaced();
    for (const openSection &section : sections)
        if (section.isOpen())
            line.reportAt(Rule::unclosed, section.line, section.column,
                          "<\1> is never closed: where it is skipped, so is the rest of the level; put </\1> on a "
                          "line of its own below the section's last element",
                          section.name);
    sections.clear();
}

// Reports replaced values. It waits until a section opens or ends: a closing tag may show that an opening tag is
// missing above, and then they are not replaced on every host.
void sectionJudge::reportReplaced() {
    for (const replacement &given : replacements)
        line.findings.add(
            Rule::replaced, given.line, given.column,
            opening(ppszTagName[given.tag]) +
                " is replaced on every host by line \1: delete one of the two, or put the general one first and "
                "exceptions below it",
            given.by);
    replacements.clear();
}

// The tests of the open sections, the innermost ones only if there are many.
testList sectionJudge::enclosingTests() const {
    testList all;
    const std::size_t count = std::min(sections.size(), DEEPEST_ASKED);
    bool bUnknown = false;
    for (auto section = sections.end() - static_cast<std::ptrdiff_t>(count); section != sections.end(); ++section) {
        all.insert(all.end(), section->tests.begin(), section->tests.end());
        bUnknown = bUnknown || section->bUnknown;
    }
    if (bUnknown)
        all.push_back(unknownTest);
    return all;
}

// Keeps the tests of the open sections for the values in them. Returns the index of that list.
std::uint32_t sectionJudge::keepEnclosing() {
    testList all = enclosingTests();
    if (arounds.empty() || arounds.back() != all) { // equal lists in a row are kept once
        all.shrink_to_fit();
        arounds.push_back(std::move(all));
    }
    return static_cast<std::uint32_t>(arounds.size() - 1);
}

const testList &sectionJudge::testsAround(const seenValue &given) const {
    return arounds[given.around];
}

// Drops the tests of a section whose condition is mistaken: nobody can tell which hosts meet it.
void sectionJudge::forgetCondition(openSection &section) {
    section.tests = {};
    section.tests.shrink_to_fit();
    section.bUnknown = true;
}

bool sectionJudge::inGrid() const {
    const std::size_t count = std::min(sections.size(), DEEPEST);
    return std::any_of(sections.end() - static_cast<std::ptrdiff_t>(count), sections.end(),
                       [](const openSection &section) { return section.bGrid; });
}

bool sectionJudge::closeText(string_view name) {
    const std::size_t depth = depthOf(name);
    if (depth == sections.size())
        return false;
    closeTo(depth);
    return true;
}

// Opens a section that the program does not take as one (already reported), because its closing tag will come.
void sectionJudge::openUnread(const markup &part) {
    sections.push_back({part.name, {}, -1, at(line.number), at(part.column), 0, 0, true, false, true});
}

void sectionJudge::open(const markup &part, int tag, bool bCondition) {
    reportReplaced();
    judgeNesting(part, tag);
    openSection section = {part.name, {}, tag,   at(line.number),  at(part.column),
                           0,         0,  false, tag == shareGrid, part.comment != 0};
    if (bCondition)
        judgeCondition(part, section);
    sections.push_back(std::move(section));
}

void sectionJudge::judgeNesting(const markup &part, int tag) {
    for (std::size_t i = sections.size() < DEEPEST ? 0 : sections.size() - DEEPEST; i < sections.size(); i++) {
        openSection &outer = sections[i];
        if (outer.bReported || (outer.tag != tag && tag != shareGrid))
            continue;
        if (outer.tag == tag) { // either they are nested, or the outer one is never closed: its end will tell
            outer.innerLine = at(line.number);
            outer.innerColumn = at(part.column);
        } else
            line.report(Rule::nested, part.column,
                        "outside the clustered pass the end of shareGrid ends the section " + opening(outer.name) +
                            " of line " + std::to_string(outer.line) +
                            ", too: close it above, or put the condition into shareGrid");
        disregard(outer);
        return;
    }
}

void sectionJudge::reportNested(const openSection &outer) {
    if (outer.innerLine != 0)
        line.reportAt(Rule::nested, outer.innerLine, outer.innerColumn,
                      "the section of line \1 has the same tag and is open; where it is skipped, the inner closing tag "
                      "ends both: use another tag, or close it above with " +
                          closing(outer.name),
                      outer.line);
}

// Marks a mistaken section, so that it causes no further findings.
void sectionJudge::disregard(openSection &section) {
    section.bReported = true;
    forgetCondition(section);
}

// Is the first text in double quotes, which the program reads, all that is behind the tag? Reports the rest.
bool sectionJudge::judgeAttributes(const markup &part) {
    if (isPlainValue(part.attributes))
        return true;
    line.report(Rule::attribute, part.column,
                "only the first text in double quotes counts behind the tag: write " +
                    sectionMeant(part.name, wholeAttributes(line.text, part)));
    return false;
}

// Reports a condition that lacks one double quote, or both.
void sectionJudge::judgeQuotes(const markup &part) {
    const bool bOne = holds(line.text, "\"");
    const string_view foreign = foreignCharacter(part.attributes);
    const oneLiner whole = bOne ? onOneLine(line.below.substr(part.column - 1), part.name) : oneLiner{};
    const string meant = sectionMeant(part.name, wholeAttributes(line.text, part));
    lastContinued = line.number + whole.lines;
    string message = bOne ? "the condition has no closing quote, so the program reads the section on every host"
                          : "the condition is not in double quotes, so the program skips the section on every host";
    if (!foreign.empty())
        message = codePoint(foreign) + " is not a double quote: write \" on both sides of the condition";
    else if (whole.lines > 0)
        message += ": write " + whole.text + " on one line";
    else
        message += ": write " + meant;
    line.report(Rule::quotes, part.column, message);
}

void sectionJudge::judgeCondition(const markup &part, openSection &section) {
    const std::optional<string_view> text = quotedText(line.text);
    if (!text) {
        judgeQuotes(part);
        section.bUnknown = true;
        return;
    }
    if (!judgeAttributes(part)) {
        section.bUnknown = true;
        return;
    }
    conditionPlace place;
    place.enclosing = enclosingTests();
    place.level = level;
    for (std::size_t tag = 0; tag < LastTag; tag++)
        place.given[tag] = !values[tag].empty();
    bool bClear = true;
    const condition asked = readCondition(*text);
    section.tests.assign(asked.triples.begin(), asked.triples.end());
    checkCondition(*text, place, [&](Rule id, string_view word, const string &message) {
        line.report(id, line.columnOf(word), message);
        bClear = bClear && (id == Rule::distribution || id == Rule::unset || id == Rule::lineBreak);
        if (id == Rule::contradiction)
            for (openSection &outer : sections) // one of them may only lack its closing tag
                forgetCondition(outer);
    });
    section.bUnknown = !bClear;
}

/* --- Values --- */

void sectionJudge::judgeValue(const markup &part, const lineEffect &effect) {
    const string name(part.name);
    if (effect.text != part.text && effect.text.size() == part.text.size() + 3)
        line.report(Rule::longName, part.column,
                    name + " is too long for the reader, which stores its text as \"" + effect.text + "\": delete it");
    else if (effect.text != part.text)
        line.report(Rule::lost, part.column,
                    "the program reads \"" + effect.text + "\" here: leave only " + opening(name) + " on this line");
    else if (holds(effect.text, "<"))
        line.report(Rule::markupInText, part.column,
                    holds(effect.text, "<![CDATA[")
                        ? "CDATA is not resolved, its marks become part of the text: write " +
                              element(part.name, withoutCdata(effect.text))
                        : "markup becomes part of the text: put a comment on the line above, and delete other markup");
    else
        judgeText(part, effect.tag, effect.text);
    remember(part, effect.tag);
}

void sectionJudge::judgeText(const markup &part, int tag, const string &text) {
    const tagUse &use = useOf(tag);
    const string name(part.name);
    const auto [rule, message] = faultOf(tag, text);
    if (!message.empty())
        line.report(rule, line.columnOf(part.text), message);
    if (rule == Rule::entity)
        return;
    const int requirement = requirementFor(tag);
    const string instead = requirement < 0 ? string() : element(ppszTagName[requirement], text);
    if (isSectionTag(tag))
        line.report(Rule::sectionTag, part.column,
                    name + " is a section's tag, and no check reads its text: " +
                        (instead.empty() ? "delete it" : "write " + instead));
    else if (use.read == Reading::host)
        line.report(Rule::host, part.column,
                    "this replaces what the program knows of the host, for later levels, too: " +
                        (instead.empty() ? "delete it" : "write " + instead + " for a requirement, or delete it"));
    if (bUnread && (use.read == Reading::dormant || use.read == Reading::nothing))
        line.report(Rule::unread, part.column,
                    (use.read == Reading::dormant ? "only a check that no option selects reads " : "no check reads ") +
                        name + " (" + string(use.check) + ")");
    bRequires = bRequires || use.read == Reading::everyPass || use.read == Reading::clusteredPass;
}

// Does a value count on every host on which an earlier one of its tag counts?
bool sectionJudge::isReplacedBy(const seenValue &earlier, const seenValue &given) const {
    return (!given.bGrid || earlier.bGrid) &&
           std::all_of(testsAround(given).begin(), testsAround(given).end(),
                       [&](const test &test) { return isImplied(test, testsAround(earlier)); });
}

// Remembers a value, and notes the earlier ones that it replaces on every host.
void sectionJudge::remember(const markup &part, int tag) {
    const std::uint32_t number = at(line.number);
    const std::uint32_t section = sections.empty() ? 0 : sections.back().line;
    const seenValue given = {number,           at(part.column),
                             section,          keepEnclosing(),
                             part.text.data(), static_cast<std::uint16_t>(part.text.size()),
                             inGrid(),         false};
    auto &seen = values[static_cast<std::size_t>(tag)];
    for (std::size_t i = seen.size(); i > 0 && seen.size() - i < FARTHEST_VALUE; i--) {
        seenValue &earlier = seen[i - 1];
        if (earlier.bReplaced || !isReplacedBy(earlier, given))
            continue;
        replacements.push_back({earlier.line, earlier.column, number, tag});
        earlier.bReplaced = true;
    }
    if (!seen.empty() && seen.back().bReplaced && seen.back().section == section)
        seen.pop_back(); // it is never compared again: equal lines of a section take no room
    seen.push_back(given);
}

void sectionJudge::judgeLevel(std::size_t levelLine, std::size_t levelColumn) {
    if (!bRequires)
        line.reportAt(Rule::noRequirement, levelLine, levelColumn,
                      "no check reads anything that this level gives, so hardly a host fails it: give at least "
                      "MinOSVersion");
    for (const dependence &pair : dependences)
        judgeDependence(pair);
    for (const auto &parts : levelParts)
        judgeParts(parts);
}

/* --- Levels of three parts --- */

// Reports sections that raise one part of a three-part level and leave a lower part at its old value.
void sectionJudge::judgeParts(const Tag (&parts)[3]) {
    std::unordered_set<std::size_t> reported; // the lines of sections that have a finding
    for (std::size_t part = 0; part + 1 < std::size(parts); part++)
        for (const seenValue &given : values[parts[part]])
            if (given.section != 0 && !given.bReplaced && !holdsUnknown(testsAround(given)) &&
                reported.count(given.section) == 0) {
                const std::size_t before = line.findings.all.size();
                judgeRaised(parts, part, given);
                if (line.findings.all.size() > before)
                    reported.insert(given.section);
            }
}

void sectionJudge::judgeRaised(const Tag (&parts)[3], std::size_t part, const seenValue &given) {
    const seenValue *pOutside = valueBeside(parts[part], given);
    if (pOutside == nullptr || pOutside->section == given.section ||
        numberOf(given.text()) <= numberOf(pOutside->text()))
        return;
    string level, lacking;
    for (std::size_t other = 0; other < std::size(parts); other++) {
        const seenValue *pValue = other == part ? &given : valueBeside(parts[other], given);
        const long number = pValue == nullptr ? 0 : numberOf(pValue->text());
        level += (level.empty() ? "" : ".") + std::to_string(number);
        if (other > part && number > 0 && !meant[parts[other]] && pValue->section != given.section &&
            !isGivenBelow(parts[other], given))
            lacking += (lacking.empty() ? "" : " and ") + string(ppszTagName[parts[other]]);
    }
    if (!lacking.empty())
        line.reportAt(Rule::mixedLevel, given.line, given.column,
                      "this raises one part of a level, and the whole becomes " + level + ": give " + lacking +
                          " here, too");
}

std::deque<sectionJudge::seenValue>::const_iterator sectionJudge::firstFrom(const std::deque<seenValue> &seen,
                                                                            std::size_t atLine) {
    return std::lower_bound(seen.begin(), seen.end(), atLine,
                            [](const seenValue &value, std::size_t number) { return value.line < number; });
}

// Finds the value of a tag that counts together with another value: the one in the same section, or the last one above
// that some host reads, too. Null without one.
const sectionJudge::seenValue *sectionJudge::valueBeside(Tag tag, const seenValue &given) const {
    const auto &seen = values[tag];
    const auto at = firstFrom(seen, given.line);
    const auto below = at + std::min(NEAR_VALUES, seen.end() - at),
               above = at - std::min(NEAR_VALUES, at - seen.begin());
    const auto here = std::find_if(above, below, [&](const seenValue &other) {
        return other.section == given.section && other.line != given.line;
    });
    if (here != below)
        return &*here;
    const auto reads = [&](const seenValue &other) {
        return (!other.bGrid || given.bGrid) && canHoldTogether(testsAround(other), testsAround(given));
    };
    const auto last = std::find_if(std::reverse_iterator(at), std::reverse_iterator(above), reads);
    return last.base() == above ? nullptr : &*last;
}

// Does a later line give the tag on every host on which a value counts?
bool sectionJudge::isGivenBelow(Tag tag, const seenValue &given) const {
    const auto &seen = values[tag];
    const auto at = firstFrom(seen, given.line); // a line has one value
    return std::any_of(at, at + std::min(NEAR_VALUES, seen.end() - at),
                       [&](const seenValue &later) { return isReplacedBy(given, later); });
}

/* --- Values that need others --- */

// Reports a value that needs another one which the level does not give on some distribution.
void sectionJudge::judgeDependence(const dependence &pair) {
    if (meant[static_cast<std::size_t>(pair.needed)] || values[static_cast<std::size_t>(pair.tag)].empty())
        return;
    const seenValue *pFirst = nullptr;
    string names;
    int lacking = 0;
    for (const distributionTags &distribution : distributions) {
        const char *pName = distribution.name();
        const seenValue *pGiven = firstValueOn(pName, pair.tag);
        if (pGiven == nullptr || firstValueOn(pName, pair.needed) != nullptr)
            continue;
        pFirst = pFirst == nullptr || pGiven->line < pFirst->line ? pGiven : pFirst;
        names += (lacking++ == 0 ? " on " : ", ") + string(pName);
    }
    if (lacking > 0)
        line.reportAt(Rule::together, pFirst->line, pFirst->column,
                      string(ppszTagName[pair.tag]) + " without " + ppszTagName[pair.needed] +
                          (values[static_cast<std::size_t>(pair.needed)].empty() ? "" : names) + ": " +
                          string(pair.consequence) + ": give " + ppszTagName[pair.needed] + ", too");
}

const sectionJudge::seenValue *sectionJudge::firstValueOn(string_view distribution, Tag tag) const {
    for (const seenValue &given : values[static_cast<std::size_t>(tag)])
        if (isForDistribution(distribution, testsAround(given)))
            return &given;
    return nullptr;
}

} // namespace lint
