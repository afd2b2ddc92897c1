#include "conditions.h"

#include <algorithm>
#include <climits>
#include <initializer_list>
#include <sstream>
#include <strings.h>

#include "../common/words.h"
#include "markup.h"
#include "tags.h"

namespace lint {

namespace {

using std::string;
using std::string_view;

constexpr string_view operatorCharacters = "<>=!", digits = "0123456789";

Comparison comparisonOf(string_view operation) {
    static constexpr std::pair<string_view, Comparison> operators[] = {{"<", Comparison::less},
                                                                       {">", Comparison::greater},
                                                                       {">=", Comparison::greaterOrEqual},
                                                                       {"=", Comparison::equal}};
    for (const auto &[word, comparison] : operators)
        if (operation == word)
            return comparison;
    return Comparison::unknown;
}

bool isOrdering(Comparison comparison) {
    return comparison <= Comparison::greaterOrEqual;
}

bool isNumber(string_view text) {
    return !text.empty() && text.find_first_not_of(digits) == string_view::npos;
}

bool isOneOf(string_view word, std::initializer_list<string_view> words) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

bool isOperatorLike(string_view word) {
    return word.find_first_not_of(operatorCharacters) == string_view::npos;
}

// Reads a number as the program does: one beyond an int becomes the greatest int.
int toNumber(string_view text) {
    return static_cast<int>(std::min<long>(std::strtol(string(text).c_str(), nullptr, 10), INT_MAX));
}

triple makeTriple(string_view operand, string_view operation, string_view value) {
    const int number = isNumber(value) ? toNumber(value) : -1;
    const std::size_t length = std::min<std::size_t>(value.size(), UINT8_MAX);
    return {{value.data(), number, static_cast<std::int16_t>(tagOf(operand)), static_cast<std::uint8_t>(length),
             comparisonOf(operation)},
            operand,
            operation,
            value};
}

// Can a test fail on a host that has a text for its tag?
bool hasEffect(const test &test) {
    return test.tag >= 0 && (test.comparison == Comparison::equal || (isOrdering(test.comparison) && test.number >= 0));
}

// The texts that a tag can have on a host that passes some tests.
struct range {
    long low = LONG_MIN, high = LONG_MAX;
    std::optional<string_view> text;
    bool bImpossible = false;
};

void narrow(range &known, const test &asked) {
    const long number = std::max(asked.number, 0);
    if (asked.comparison == Comparison::equal) {
        known.bImpossible = known.bImpossible || (known.text && *known.text != asked.text());
        known.text = asked.text();
        known.low = std::max(known.low, number);
        known.high = std::min(known.high, number);
    } else if (asked.comparison == Comparison::less)
        known.high = std::min(known.high, number - 1);
    else
        known.low = std::max(known.low, number + (asked.comparison == Comparison::greater));
    known.bImpossible = known.bImpossible || known.low > known.high;
}

range rangeOf(int tag, const testList &tests) {
    range found;
    for (const test &test : tests)
        if (test.tag == tag && hasEffect(test))
            narrow(found, test);
    return found;
}

string quoted(string_view word) {
    return "\"" + string(word) + "\"";
}

// The text of a tag that is the same on every host; empty for other tags.
std::optional<string_view> fixedText(int tag, string_view level) {
    switch (tag) {
    case KVXLevel: return level;
    case platform: return "Linux";
    case Processor: return "";
    case MHCA: return "FALSE";
    case HCANetwork: return "Undefined";
    default: return std::nullopt;
    }
}

// The tags of two neighbouring parts of a release or of a kernel level.
struct releaseParts {
    int first, second;
};

const std::vector<releaseParts> &allReleases() {
    static const std::vector<releaseParts> all = [] {
        std::vector<releaseParts> releases = {{OSVersion, OSRelease}, {OSRelease, OSMinorRelease}};
        for (const distributionTags &one : distributions)
            if (one.servicePack >= 0)
                releases.push_back({one.version, one.servicePack});
        return releases;
    }();
    return all;
}

constexpr long FIRST_STREAM = 8; // from this release on a host may run CentOS Stream, which has no service pack

// The triple that holds where a tag has a number. For SUSE two: its text may end in a line break, so "=" would fail.
string equalTo(int tag, long number) {
    const string name = ppszTagName[tag];
    if (tag != SLESVersion && tag != SLESSP)
        return name + " = " + std::to_string(number);
    return name + " >= " + std::to_string(number) + ' ' + name + " < " + std::to_string(number + 1);
}

// Advises one condition, or two sections, for the hosts below, at or above a release such as 9.4.
string releaseConditions(const releaseParts &parts, string_view operation, long first, long second) {
    const string left = ppszTagName[parts.first], right = ppszTagName[parts.second], number = std::to_string(first);
    if (parts.first == CNTVersion && first >= FIRST_STREAM)
        return "test CNTVersion alone, because CentOS Stream has no service pack";
    if (operation == "=")
        return "write \"" + left + " = " + number + ' ' + equalTo(parts.second, second) + '"';
    return "write two sections, one with \"" + left + " = " + number + ' ' + right + ' ' + string(operation) + ' ' +
           std::to_string(second) + "\" and one with \"" + left + (operation == "<" ? " < " : " > ") + number + '"';
}

// Do tests ask for a lowest second part while the first part may be several numbers? They then skip 9.0 to 9.5 where
// 8.6 or later is meant, because the second part starts at 0 with each first part.
bool skipsReleases(const releaseParts &parts, const testList &tests) {
    const range first = rangeOf(parts.first, tests), second = rangeOf(parts.second, tests);
    return first.low != LONG_MIN && first.low < first.high && second.low > 0 && second.low < second.high;
}

// A word without the quotes, brackets and signs such as "+" that authors put around it.
string_view bareWord(string_view word) {
    const std::size_t begin = std::min(word.find_first_not_of("'`("), word.size());
    const std::size_t end = word.find_last_not_of("'`)+,;") + 1;
    return begin < end ? word.substr(begin, end - begin) : string_view();
}

// Writes a point for "SP" in a release: 15.5 for 15SP5 and 15-SP5, and 5 for SP5.
string withoutServicePackMark(string_view word) {
    const string lower = common::lowered(word);
    const std::size_t mark = lower.find("sp");
    if (mark == string::npos)
        return string(word);
    const string_view version = word.substr(0, word.substr(0, mark).find_last_not_of('-') + 1);
    return string(version) + (version.empty() ? "" : ".") + string(word.substr(mark + 2));
}

constexpr string_view operatorsMeant[][2] = {{"==", "="},  {"=>", ">="}, {">=", ">="}, {"is", "="}, {"eq", "="},
                                             {"ge", ">="}, {"gt", ">"},  {"lt", "<"},  {"in", "="}};

string_view operatorMeant(string_view word) {
    for (const auto &pair : operatorsMeant)
        if (word == pair[0])
            return pair[1];
    return {};
}

// Splits a word such as "RHELVersion>=9" into operand, operator and value, with blanks between them.
string spaced(string_view word) {
    const std::size_t begin = std::min(word.find_first_of(operatorCharacters), word.size());
    const std::size_t end = std::min(word.find_first_not_of(operatorCharacters, begin), word.size());
    const string_view operation = word.substr(begin, end - begin);
    const string_view meant = operatorMeant(operation);
    string words(word.substr(0, begin));
    words += ' ';
    words += meant.empty() ? operation : meant;
    words += ' ';
    return words.append(end < word.size() ? word.substr(end) : "...");
}

class conditionCheck {
public:
    conditionCheck(const condition &asked, const conditionPlace &place, const reporter &report)
        : asked(asked), place(place), report(report), all(place.enclosing) {
        all.insert(all.end(), asked.triples.begin(), asked.triples.end());
    }

    // Reports the mistakes of all triples. False when a word is not at its place, so that what follows means nothing.
    bool run() const {
        for (std::size_t i = 0; i < asked.triples.size(); i++)
            if (!checkWords(i))
                return false;
        for (std::size_t i = 0; i < asked.triples.size(); i++) {
            const triple &triple = asked.triples[i];
            if (!checkOperand(triple))
                continue;
            checkOperator(triple);
            checkDistribution(triple);
        }
        checkContradictions();
        checkReleases();
        return true;
    }

private:
    // Reports words of a triple that are not at their places, and returns false then.
    bool checkWords(std::size_t at) const {
        const triple &triple = asked.triples[at];
        for (string_view word : {triple.operand, triple.operation, triple.value})
            if (word.find('\t') != string_view::npos) {
                report(Rule::triple, word, "only blanks separate the words of a condition: replace the tabulator");
                return false;
            }
        if (triple.tag < 0 && !checkFirstWord(triple, at))
            return false;
        if (isOperatorLike(triple.operation) && triple.value == "=") {
            const string_view number = at + 1 < asked.triples.size() ? asked.triples[at + 1].operand
                                       : asked.rest.empty()          ? ""
                                                                     : asked.rest[0];
            const string whole = string(triple.operation) + '=';
            report(Rule::triple, triple.operation,
                   "the blank in " + quoted(string(triple.operation) + " =") +
                       " makes two words of an operator: " + operatorHint(makeTriple(triple.operand, whole, number)));
            return false;
        }
        return true;
    }

    // Reports a word that cannot even be a misspelled tag, such as "and", and returns false then.
    bool checkFirstWord(const triple &triple, std::size_t at) const {
        const string word = quoted(triple.operand);
        if (isOneOf(triple.operand, {"and", "AND", "And", "&&", "&amp;&amp;", ",", ";"}))
            report(Rule::triple, triple.operand, "all triples must hold, without a word between them: delete " + word);
        else if (isOneOf(triple.operand, {"or", "OR", "Or", "||", "|"}))
            report(Rule::triple, triple.operand,
                   "there is no " + word + ", because all triples must hold: write a section for each of the two");
        else if (isOperatorLike(triple.operand))
            report(Rule::triple, triple.operand,
                   "each triple begins with a tag: write \"" +
                       (at > 0 ? string(asked.triples[at - 1].operand) : string("...")) + ' ' + string(triple.operand) +
                       ' ' + string(triple.operation) + '"');
        else if (triple.operand.find('&') != string_view::npos && triple.operand.find(';') != string_view::npos)
            report(Rule::entity, triple.operand,
                   "the program does not resolve entities: write the character itself, between blanks");
        else if (triple.operand.find_first_of("=<>") != string_view::npos)
            report(Rule::triple, triple.operand,
                   word + " is one word: put blanks around the operator, as in \"" + spaced(triple.operand) + '"');
        else
            return true;
        return false;
    }

    bool checkOperand(const triple &triple) const {
        if (triple.tag < 0) {
            const int nearest = nearestTag(triple.operand);
            report(Rule::operand, triple.operand,
                   quoted(triple.operand) + " is not a tag, so the program skips the section on every host" +
                       (nearest < 0 ? string(": test one of the tags in the manual KVXprereqs.xml(5)")
                                    : ": write " + quoted(ppszTagName[nearest])));
            return false;
        }
        const Reading read = useOf(triple.tag).read;
        const bool bGiven = place.given[static_cast<std::size_t>(triple.tag)];
        if (read == Reading::host)
            return true;
        const string effect =
            bGiven ? "the file gives " + string(triple.operand) + ", so this tests the file and not the host"
                   : "no host has a " + string(triple.operand) + ", so \"" + words(triple) + "\" always holds";
        report(isSectionTag(triple.tag) ? Rule::unset : Rule::requirementTested, triple.operand,
               effect + ": " + operandHint(triple.tag));
        return false;
    }

    static string operandHint(int tag) {
        const distributionTags *pDistribution = distributionOfSection(tag);
        const int hostTag = pDistribution == nullptr ? hostTagFor(tag) : pDistribution->version;
        if (hostTag >= 0)
            return "test " + string(ppszTagName[hostTag]);
        return tag == UBUNTUVersion || tag == MinUBUNTUVersion
                   ? "delete this triple, because conditions cannot test the release of Ubuntu"
                   : "test what the program stores about the host, such as LinuxDistro";
    }

    void checkOperator(const triple &triple) const {
        if (triple.comparison == Comparison::equal)
            checkEquality(triple);
        else if (isOrdering(triple.comparison))
            checkOrdering(triple);
        else if (triple.operation.find('&') != string_view::npos)
            report(
                Rule::entity, triple.operation,
                "the program does not resolve entities, so " + quoted(triple.operation) +
                    " is not an operator and the triple always holds: write " +
                    (triple.operation.find("lt") == string_view::npos
                         ? "the character itself"
                         : "what these hosts need first, for all, and below it a section with \">\" or \">=\" for the "
                           "others (\"<\" works, but is not well-formed XML)"));
        else
            report(Rule::operatorName, triple.operation,
                   "there is no operator " + quoted(triple.operation) + ", so \"" + words(triple) +
                       "\" always holds: " + operatorHint(triple));
    }

    static string operatorHint(const triple &triple) {
        const string operand(triple.operand), operation(triple.operation);
        if (isOneOf(operation, {"<=", "=<"}) && triple.number >= 0) {
            const string above = operand + " > " + std::to_string(triple.number);
            return "give these values first, for all hosts, and the values of the others below, in a section with \"" +
                   above + "\" (\"" + operand + " < " + std::to_string(triple.number + 1) +
                   "\" works, but is not well-formed XML)";
        }
        if (!operatorMeant(operation).empty())
            return "write " + quoted(operatorMeant(operation));
        if (operation == "!=")
            return "write a section for each of the other hosts";
        const std::size_t digit = operation.find_first_of(digits);
        if (digit != string::npos && digit > 0 && digit == operation.find_first_not_of("<>="))
            return "put a blank between operator and number";
        return "use one of the operators <, >, >= and =";
    }

    void checkOrdering(const triple &triple) const {
        if (triple.tag == LinuxDistro || fixedText(triple.tag, ""))
            report(Rule::wholeNumber, triple.operand,
                   string(triple.operand) + " is not a whole number, and only the digits at its start count: " +
                       (triple.tag == KVXLevel ? string("use \"=\", or put the section into the level that it is for")
                                               : "test it with \"=\", or test a release such as RHELVersion"));
        else if (triple.number < 0)
            report(Rule::wholeNumber, triple.value,
                   quoted(triple.value) + " is not a whole number, so \"" + words(triple) +
                       "\" always holds: " + numberHint(triple));
    }

    // Advises a whole number for a word that is not one.
    static string numberHint(const triple &triple) {
        const string release = withoutServicePackMark(bareWord(triple.value));
        const string_view bare = release;
        const std::size_t point = bare.find('.');
        if (isNumber(bare))
            return triple.operation == "=" ? "write \"" + equalTo(triple.tag, toNumber(bare)) + '"'
                                           : "write " + std::to_string(toNumber(bare));
        for (const releaseParts &parts : allReleases()) {
            const string_view behind = point == string_view::npos ? string_view() : bare.substr(point + 1);
            const std::size_t end = std::min(behind.find('.'), behind.size());
            if (parts.first == triple.tag && isNumber(bare.substr(0, point)) && isNumber(behind.substr(0, end)))
                return releaseConditions(parts, triple.operation, toNumber(bare), toNumber(behind));
        }
        return "write digits only";
    }

    void checkEquality(const triple &triple) const {
        const std::optional<string_view> fixed = fixedText(triple.tag, place.level);
        if (place.given[static_cast<std::size_t>(triple.tag)])
            return;
        if (triple.tag == LinuxDistro) {
            if (distributionOf(triple.value) == nullptr)
                reportDistribution(triple);
        } else if (fixed) {
            if (*fixed != triple.value)
                report(Rule::never, triple.value,
                       string(triple.operand) + " is " + (fixed->empty() ? string("the empty text") : quoted(*fixed)) +
                           " here, never " + quoted(triple.value) +
                           ", so the program skips the section on every host: delete this triple");
        } else if (triple.number < 0 || (triple.value.size() > 1 && triple.value[0] == '0'))
            reportNoNumber(triple);
        else if (triple.tag == SLESSP || (triple.tag == SLESVersion && rangeOf(SLESSP, all).low <= 0))
            report(Rule::lineBreak, triple.operation,
                   "on a host without /etc/SuSE-release " + string(triple.operand) +
                       " may end in a line break and is then equal to no word: write \"" +
                       equalTo(triple.tag, triple.number) + '"');
    }

    void reportDistribution(const triple &triple) const {
        const string_view meant = distributionMeant(bareWord(triple.value));
        report(Rule::never, triple.value,
               "LinuxDistro is never " + quoted(triple.value) +
                   ", so the program skips the section on every host: write " +
                   (meant.empty() ? "RHEL, SUSE, UBUNTU, INSPUR or CENTOS" : string(meant)));
    }

    void reportNoNumber(const triple &triple) const {
        report(Rule::never, triple.value,
               string(triple.operand) + " is a whole number, compared as text, and never " + quoted(triple.value) +
                   ", so the program skips the section on every host that has it: " +
                   (triple.number < 0 ? numberHint(triple) : "write " + std::to_string(triple.number)));
    }

    void checkDistribution(const triple &triple) const {
        const distributionTags *pStoring = distributionStoring(triple.tag);
        if (pStoring == nullptr || place.given[static_cast<std::size_t>(triple.tag)])
            return;
        const string wanted = pStoring->name();
        const range distro = rangeOf(LinuxDistro, all);
        if (distro.text == wanted || (distro.text && distributionOf(*distro.text) == nullptr))
            return;
        const string fix = "LinuxDistro = " + wanted;
        report(Rule::distribution, triple.operand,
               distro.text
                   ? string(triple.operand) + " has no text on " + string(*distro.text) +
                         ", so this always holds there: test that distribution's own release, or write \"" + fix + "\""
                   : "on other distributions " + string(triple.operand) +
                         " has no text, so the program reads the section there, too: put \"" + fix + "\" in front");
    }

    void checkContradictions() const {
        testList seen = place.enclosing;
        for (const triple &triple : asked.triples) {
            const bool before = rangeOf(triple.tag, seen).bImpossible;
            seen.push_back(triple);
            if (!before && rangeOf(triple.tag, seen).bImpossible)
                reportContradiction(triple);
        }
    }

    void reportContradiction(const triple &triple) const {
        const bool bHere = rangeOf(triple.tag, {asked.triples.begin(), asked.triples.end()}).bImpossible;
        report(Rule::contradiction, triple.operand,
               bHere ? "no host passes \"" + words(triple) + "\" and the other triples on " + string(triple.operand) +
                           " in this condition, so the section is never read: leave only what is meant"
                     : "no host passes this and what the sections around it ask of " + string(triple.operand) +
                           ", so the section is never read: close the one above, or change one of the conditions");
    }

    void checkReleases() const {
        for (const releaseParts &parts : allReleases()) {
            if (!skipsReleases(parts, all)) {
                checkStream(parts);
                continue;
            }
            if (skipsReleases(parts, place.enclosing))
                continue;
            const auto named = std::find_if(asked.triples.rbegin(), asked.triples.rend(), [&](const triple &triple) {
                return triple.tag == parts.second || triple.tag == parts.first;
            });
            const long low = rangeOf(parts.first, all).low, from = rangeOf(parts.second, all).low;
            std::ostringstream text;
            text << ppszTagName[parts.second] << " is tested for every " << ppszTagName[parts.first] << " from " << low
                 << " on, so " << low + 1 << ".0";
            if (from > 1)
                text << " to " << low + 1 << '.' << from - 1 << " are";
            else
                text << " is";
            text << " left out; for \"" << low << '.' << from << " or later\" "
                 << releaseConditions(parts, ">=", low, from);
            report(Rule::secondPart, named->operand, text.str());
        }
    }

    // Reports a test of the service pack where a host may run CentOS Stream, which has none.
    void checkStream(const releaseParts &parts) const {
        if (parts.first != CNTVersion || rangeOf(CNTVersion, all).high < FIRST_STREAM || place.given[CNTSP] ||
            rangeOf(LinuxDistro, all).text != distributionStoring(CNTSP)->name())
            return;
        for (const triple &triple : asked.triples)
            if (triple.tag == CNTSP && hasEffect(triple)) {
                report(Rule::distribution, triple.operand,
                       "CentOS Stream has no service pack, so \"" + words(triple) +
                           "\" holds there: test CNTVersion alone");
                return;
            }
    }

    static string words(const triple &triple) {
        return string(triple.operand) + " " + string(triple.operation) + " " + string(triple.value);
    }

    const condition &asked;
    const conditionPlace &place;
    const reporter &report;
    testList all; // of the condition and the sections around it
};

string restHint(const std::vector<string_view> &rest) {
    const string_view last = rest.back();
    const std::size_t behind = last.find_first_not_of(operatorCharacters);
    if (rest.size() == 2 && behind > 0 && behind != string_view::npos)
        return "write \"" + string(rest[0]) + spaced(last) + '"';
    return "complete it, or delete it";
}

// Reports the first character that is not ASCII: a look-alike letter, or a blank or sign of a word processor.
void reportForeign(string_view text, const reporter &report) {
    const string_view foreign = foreignCharacter(text);
    const std::size_t at = static_cast<std::size_t>(foreign.data() - text.data());
    const std::size_t begin = text.find_last_of(' ', at) + 1; // npos + 1 is 0: the word is the first one
    const string_view word = text.substr(begin, text.find(' ', at) - begin);
    const string shown = codePoint(foreign);
    if (latinized(foreign) != foreign)
        report(Rule::lookAlike, foreign,
               shown + " looks like \"" + latinized(foreign) + "\" but is another letter: write " +
                   quoted(latinized(word)));
    else if (foreign == noBreakSpace)
        report(Rule::triple, foreign,
               shown + " is a no-break space, which does not separate words: replace it with a blank");
    else if (foreign == "\u2265")
        report(Rule::triple, foreign, "there is no operator " + shown + ": write \">=\"");
    else
        report(Rule::triple, foreign, shown + " is in no tag, operator or word of a host: replace it");
}

} // namespace

std::optional<string_view> quotedText(string_view line) {
    const std::size_t opening = line.find('"');
    const std::size_t closing = opening == string_view::npos ? opening : line.find('"', opening + 1);
    if (closing == string_view::npos)
        return std::nullopt;
    return line.substr(opening + 1, closing - opening - 1);
}

condition readCondition(string_view text) {
    std::vector<string_view> words;
    for (std::size_t end = 0;;) {
        const std::size_t begin = text.find_first_not_of(' ', end);
        if (begin == string_view::npos)
            break;
        end = std::min(text.find(' ', begin), text.size());
        words.push_back(text.substr(begin, end - begin));
    }
    condition read;
    std::size_t i = 0;
    for (; i + 3 <= words.size(); i += 3)
        read.triples.push_back(makeTriple(words[i], words[i + 1], words[i + 2]));
    read.rest.assign(words.begin() + static_cast<std::ptrdiff_t>(i), words.end());
    return read;
}

bool isImplied(const test &asked, const testList &others) {
    if (!hasEffect(asked))
        return false; // it always holds, which its author cannot mean
    const range known = rangeOf(asked.tag, others);
    if (asked.comparison == Comparison::equal)
        return known.text == asked.text();
    range both = known;
    narrow(both, asked);
    return both.low == known.low && both.high == known.high;
}

bool holdsUnknown(const testList &tests) {
    return std::any_of(tests.begin(), tests.end(),
                       [](const test &test) { return test.comparison == Comparison::unknown; });
}

bool canHoldTogether(const testList &left, const testList &right) {
    if (holdsUnknown(left) || holdsUnknown(right))
        return true;
    testList all(left);
    all.insert(all.end(), right.begin(), right.end());
    return std::none_of(all.begin(), all.end(), [&](const test &test) { return rangeOf(test.tag, all).bImpossible; });
}

void checkCondition(string_view text, const conditionPlace &place, const reporter &report) {
    const condition asked = readCondition(text);
    if (!foreignCharacter(text).empty()) {
        reportForeign(text, report);
        return;
    }
    if (asked.triples.empty() && asked.rest.empty())
        report(Rule::triple, text,
               "the condition is empty and always holds: write one, or delete both tags of the section");
    if (!conditionCheck(asked, place, report).run() || asked.rest.empty())
        return;
    const string_view first = asked.rest.front();
    if (!asked.triples.empty() && isOperatorLike(first) && asked.rest.size() == 2)
        report(Rule::triple, first,
               "each triple begins with a tag: write \"" + string(asked.triples.back().operand) + ' ' + string(first) +
                   ' ' + string(asked.rest[1]) + '"');
    else if (first.find('\t') != string_view::npos)
        report(Rule::triple, first, "only blanks separate the words of a condition: replace the tabulator");
    else if (first.find_first_of("=<>") != string_view::npos)
        report(Rule::triple, first,
               quoted(first) + " is one word and always holds: put blanks around the operator, as in \"" +
                   spaced(first) + '"');
    else
        report(Rule::triple, first,
               quoted(text.substr(static_cast<std::size_t>(first.data() - text.data()))) +
                   " is not a triple of tag, operator and word, so the program ignores it: " + restHint(asked.rest));
}

} // namespace lint
