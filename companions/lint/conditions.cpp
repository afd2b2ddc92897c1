#include "conditions.h"

#include <algorithm>
#include <climits>
#include <optional>
#include <sstream>

#include "tags.h"

namespace lint {

namespace {

using std::string;
using std::string_view;

bool isOrdering(string_view operation) {
    return operation == "<" || operation == ">" || operation == ">=";
}

bool isNumber(string_view text) {
    return sqloCheckIsNumber(string(text).c_str()) && !text.empty();
}

long toNumber(string_view text) {
    return std::min<long>(std::strtol(string(text).c_str(), nullptr, 10), INT_MAX);
}

// Can a triple fail on a host that knows its operand?
bool hasEffect(const triple &triple) {
    return triple.tag >= 0 && (triple.operation == "=" || (isOrdering(triple.operation) && isNumber(triple.value)));
}

// What an operand is, on a host that passes some triples.
struct range {
    long low = LONG_MIN, high = LONG_MAX;
    std::optional<string_view> text;
    bool bImpossible = false;
};

void narrow(range &known, const triple &asked) {
    const long number = toNumber(asked.value);
    if (asked.operation == "=") {
        known.bImpossible = known.bImpossible || (known.text && *known.text != asked.value);
        known.text = asked.value;
        known.low = std::max(known.low, number);
        known.high = std::min(known.high, number);
    } else if (asked.operation == "<")
        known.high = std::min(known.high, number - 1);
    else
        known.low = std::max(known.low, number + (asked.operation == ">"));
    known.bImpossible = known.bImpossible || known.low > known.high;
}

range rangeOf(int tag, const std::vector<triple> &triples) {
    range found;
    for (const triple &triple : triples)
        if (triple.tag == tag && hasEffect(triple))
            narrow(found, triple);
    return found;
}

string quoted(string_view word) {
    return "\"" + string(word) + "\"";
}

// The text that every host has for a tag, as far as there is one.
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

// A number and the one below it: a host's release, and its kernel's.
struct releaseParts {
    Tag first, second;
};

constexpr releaseParts releases[] = {
    {RHELVersion, RHELSP}, {SLESVersion, SLESSP},  {IAVersion, IASP},
    {CNTVersion, CNTSP},   {OSVersion, OSRelease}, {OSRelease, OSMinorRelease},
};

// Is the second part bounded from below for several numbers of the first? It starts anew with each of them.
bool skipsReleases(const releaseParts &parts, const std::vector<triple> &triples) {
    const range first = rangeOf(parts.first, triples), second = rangeOf(parts.second, triples);
    return first.low != LONG_MIN && first.low < first.high && second.low > 0 && second.low < second.high;
}

bool isDistribution(string_view word) {
    return std::find(ppszDistroName + 1, ppszDistroName + DISTRO_COUNT, word) != ppszDistroName + DISTRO_COUNT;
}

class conditionCheck {
public:
    conditionCheck(const condition &asked, const conditionPlace &place, const reporter &report)
        : asked(asked), place(place), report(report), all(place.enclosing) {
        all.insert(all.end(), asked.triples.begin(), asked.triples.end());
    }

    // Whether the words are in their places, so that a rest is one.
    bool run() const {
        for (const triple &triple : asked.triples) {
            if (!checkWords(triple))
                return false;
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
    // Whether the words of a triple are in their places.
    bool checkWords(const triple &triple) const {
        for (string_view word : {triple.operand, triple.operation, triple.value})
            if (word.find('\t') != string_view::npos) {
                report(Rule::triple, word, "only blanks separate the words of a condition: replace the tabulator");
                return false;
            }
        if (triple.operand == "and" || triple.operand == "AND" || triple.operand == "&&") {
            report(Rule::triple, triple.operand,
                   "no word stands between triples, which must all hold: take " + quoted(triple.operand) + " out");
            return false;
        }
        if (triple.tag < 0 && triple.operand.find_first_of("=<>&") != string_view::npos) {
            report(Rule::triple, triple.operand,
                   quoted(triple.operand) +
                       " is one word: put blanks around the operator, as in \"LinuxDistro = RHEL\"");
            return false;
        }
        return true;
    }

    bool checkOperand(const triple &triple) const {
        if (triple.tag < 0) {
            const int nearest = nearestTag(triple.operand);
            report(Rule::operand, triple.operand,
                   quoted(triple.operand) + " is no tag, so the section is skipped on every host" +
                       (nearest < 0 ? string(": test one of the tags of the manual")
                                    : "; is " + quoted(ppszTagName[nearest]) + " meant?"));
            return false;
        }
        if (useOf(triple.tag).read == Reading::host || place.given[(std::size_t)triple.tag])
            return true;
        report(Rule::unset, triple.operand,
               string(triple.operand) + " has no text on any host and none above this line, so \"" + words(triple) +
                   "\" always holds: " +
                   (triple.tag == UBUNTUVersion ? "the release of Ubuntu is not known to conditions"
                                                : "test what the program stores, such as LinuxDistro"));
        return true;
    }

    void checkOperator(const triple &triple) const {
        if (triple.operation == "=")
            checkEquality(triple);
        else if (isOrdering(triple.operation))
            checkOrdering(triple);
        else if (triple.operation.find('&') != string_view::npos)
            report(
                Rule::entity, triple.operation,
                "entities are not resolved, so " + quoted(triple.operation) +
                    " is no operator and always holds: write " +
                    (triple.operation.find("lt") == string_view::npos
                         ? "the character itself"
                         : "what these hosts need first, for all, and below it a section with \">\" or \">=\" for the "
                           "others (\"<\" works, but is no well-formed XML)"));
        else
            report(Rule::operatorName, triple.operation,
                   "there is no operator " + quoted(triple.operation) + ", so \"" + words(triple) +
                       "\" always holds: " + operatorHint(triple));
    }

    static string operatorHint(const triple &triple) {
        const string operand(triple.operand), operation(triple.operation);
        if (operation == "<=" && isNumber(triple.value)) {
            const string above = operand + " > " + std::to_string(toNumber(triple.value));
            return "give these values first, for all, and those of the others below, in a section with \"" + above +
                   "\" (\"" + operand + " < " + std::to_string(toNumber(triple.value) + 1) +
                   "\" works, but is no well-formed XML)";
        }
        if (operation == "==")
            return "write \"=\"";
        if (operation == "!=")
            return "write what the other hosts need into sections for them";
        const std::size_t digit = operation.find_first_of("0123456789");
        if (digit != string::npos && digit > 0 && digit == operation.find_first_not_of("<>="))
            return "put a blank between operator and number";
        return "the operators are <, >, >= and =";
    }

    void checkOrdering(const triple &triple) const {
        const bool release = triple.tag == RHELVersion || triple.tag == SLESVersion || triple.tag == CNTVersion ||
                             triple.tag == IAVersion;
        if (!isNumber(triple.value))
            report(Rule::wholeNumber, triple.value,
                   quoted(triple.value) + " is no whole number, so \"" + words(triple) + "\" always holds" +
                       (release ? ": compare the service pack in a triple of its own, or in a section of its own"
                                : ": compare with digits only"));
        else if (triple.tag == LinuxDistro || fixedText(triple.tag, ""))
            report(Rule::wholeNumber, triple.operand,
                   string(triple.operand) + " is no whole number, only what it begins with counts" +
                       (triple.tag == KVXLevel ? string(": use \"=\", or put the section into the level that it is for")
                                               : string(": use \"=\"")));
    }

    void checkEquality(const triple &triple) const {
        const bool given = place.given[(std::size_t)triple.tag];
        const std::optional<string_view> fixed = fixedText(triple.tag, place.level);
        if (given)
            return;
        if (triple.tag == LinuxDistro && !isDistribution(triple.value))
            report(Rule::never, triple.value,
                   "LinuxDistro is never " + quoted(triple.value) +
                       ", the section is skipped on every host: it is RHEL, SUSE, UBUNTU, INSPUR or CENTOS");
        else if (fixed && *fixed != triple.value)
            report(Rule::never, triple.value,
                   string(triple.operand) + " is " + (fixed->empty() ? string("the empty text") : quoted(*fixed)) +
                       " here, never " + quoted(triple.value) + ": the section is skipped on every host");
        else if (!fixed && triple.tag != LinuxDistro && useOf(triple.tag).read == Reading::host &&
                 !isNumber(triple.value))
            report(Rule::never, triple.value,
                   string(triple.operand) + " is a whole number, never " + quoted(triple.value) +
                       ": the section is skipped on every host that knows it (9.4 is version 9, service pack 4)");
        else if (triple.tag == SLESSP || (triple.tag == SLESVersion && rangeOf(SLESSP, all).low <= 0))
            report(Rule::lineBreak, triple.operation,
                   "on a host without /etc/SuSE-release " + string(triple.operand) +
                       " may end in a line break and is then equal to no word: use \">=\" and \"<\"");
    }

    void checkDistribution(const triple &triple) const {
        const string_view wanted = distributionOf(triple.tag);
        if (wanted.empty() || place.given[(std::size_t)triple.tag])
            return;
        const range distro = rangeOf(LinuxDistro, all);
        if (distro.text == wanted || (distro.text && !isDistribution(*distro.text)))
            return;
        const string fix = "LinuxDistro = " + string(wanted);
        report(Rule::distribution, triple.operand,
               distro.text
                   ? string(triple.operand) + " has no text on " + string(*distro.text) +
                         ", so this always holds there: test that distribution's own release, or write \"" + fix + "\""
                   : "on other distributions " + string(triple.operand) +
                         " has no text, so this holds and the section is read there: put \"" + fix + "\" in front");
    }

    void checkContradictions() const {
        std::vector<triple> seen = place.enclosing;
        for (const triple &triple : asked.triples) {
            const bool before = triple.tag >= 0 && rangeOf(triple.tag, seen).bImpossible;
            seen.push_back(triple);
            if (!before && triple.tag >= 0 && rangeOf(triple.tag, seen).bImpossible)
                report(Rule::contradiction, triple.operand,
                       "no host passes this and what was asked of " + string(triple.operand) +
                           " before: the section is never read; is one above not closed?");
        }
    }

    void checkReleases() const {
        for (const releaseParts &parts : releases) {
            if (!skipsReleases(parts, all) || skipsReleases(parts, place.enclosing))
                continue;
            auto named = std::find_if(asked.triples.rbegin(), asked.triples.rend(), [&](const triple &triple) {
                return triple.tag == parts.second || triple.tag == parts.first;
            });
            const long low = rangeOf(parts.first, all).low, from = rangeOf(parts.second, all).low;
            const string first = ppszTagName[parts.first], second = ppszTagName[parts.second];
            std::ostringstream text;
            text << second << " is asked of every " << first << " from " << low << " on, so " << low + 1 << ".0";
            if (from > 1)
                text << " to " << low + 1 << '.' << from - 1 << " are";
            else
                text << " is";
            text << " left out; for \"" << low << '.' << from << " or later\" write two sections: \"" << first << " = "
                 << low << ' ' << second << " >= " << from << "\" and \"" << first << " > " << low << '"';
            report(Rule::secondPart, named->operand, text.str());
        }
    }

    static string words(const triple &triple) {
        return string(triple.operand) + " " + string(triple.operation) + " " + string(triple.value);
    }

    const condition &asked;
    const conditionPlace &place;
    const reporter &report;
    std::vector<triple> all;
};

string restHint(const std::vector<string_view> &rest) {
    const string_view last = rest.back();
    const std::size_t behind = last.find_first_not_of("<>=");
    return behind > 0 && behind != string_view::npos ? "put a blank behind the operator"
                                                     : "complete it, or take it out";
}

// The first character that is none of ASCII's: that of a word processor or a web page. Empty when there is none.
string_view foreignCharacter(string_view text) {
    std::size_t begin = 0;
    while (begin < text.size() && ((unsigned char)text[begin] & 0x80) == 0)
        begin++;
    std::size_t end = std::min(begin + 1, text.size());
    while (end < text.size() && ((unsigned char)text[end] & 0xc0) == 0x80)
        end++;
    return text.substr(begin, end - begin);
}

} // namespace

string_view quotedText(string_view line, bool &bQuotes) {
    const std::size_t opening = line.find('"');
    const std::size_t closing = opening == string_view::npos ? opening : line.find('"', opening + 1);
    bQuotes = closing != string_view::npos;
    return bQuotes ? line.substr(opening + 1, closing - opening - 1) : string_view();
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
        read.triples.push_back({words[i], words[i + 1], words[i + 2], sqloGetTagIndex(string(words[i]).c_str())});
    read.rest.assign(words.begin() + (std::ptrdiff_t)i, words.end());
    return read;
}

bool isImplied(const triple &asked, const std::vector<triple> &others) {
    if (!hasEffect(asked))
        return false; // it is no condition that was meant
    const range known = rangeOf(asked.tag, others);
    if (asked.operation == "=")
        return known.text == asked.value;
    range both = known;
    narrow(both, asked);
    return both.low == known.low && both.high == known.high;
}

void checkCondition(string_view text, const conditionPlace &place, const reporter &report) {
    const condition asked = readCondition(text);
    const string_view foreign = foreignCharacter(text);
    if (!foreign.empty()) {
        report(Rule::triple, foreign,
               foreign == noBreakSpace
                   ? quoted(foreign) + " is a no-break space, which does not separate words: replace it with a blank"
                   : quoted(foreign) + " is in no tag, operator or word of a host: replace it");
        return;
    }
    if (asked.triples.empty() && asked.rest.empty())
        report(Rule::triple, text, "the condition is empty and always holds: write one, or leave the section out");
    if (!conditionCheck(asked, place, report).run() || asked.rest.empty())
        return;
    const string_view first = asked.rest.front();
    if (first.find_first_of("=<>&\t") != string_view::npos)
        report(Rule::triple, first,
               quoted(first) + " is one word and always holds: put blanks around the operator, as in "
                               "\"LinuxDistro = RHEL\"");
    else
        report(Rule::triple, first,
               quoted(text.substr((std::size_t)(first.data() - text.data()))) +
                   " is no triple of tag, operator and word and is ignored: " + restHint(asked.rest));
}

} // namespace lint
