#include "reader.h"

#include "judge.h"
#include "sqloLiterals.h"
#include "sqloPrereqCheck.h"

#include <algorithm>
#include <array>
#include <set>
#include <utility>

namespace report {

const char *nameOf(CheckResult result) {
    static constexpr std::array names{"passed", "warning", "error", "open"};
    return names.at(static_cast<size_t>(result));
}

const char *nameOf(PassResult result) {
    static constexpr std::array names{"passed", "warning", "incomplete", "failed"};
    return names.at(static_cast<size_t>(result));
}

const char *nameOf(HostResult result) {
    static constexpr std::array names{"passed", "warning", "unknown", "failed"};
    return names.at(static_cast<size_t>(result));
}

std::string nameOf(const pass &one) {
    return one.level.value_or("?") + (one.clustered.value_or(false) ? " clustered" : "");
}

bool isUntitled(const check &one) {
    return one.title.empty() && one.result == CheckResult::passed;
}

namespace {

// --- Lines ---

const catalog *catalogOf(const piece &one) {
    return one.pLanguage == nullptr ? nullptr : one.pLanguage->texts.get();
}

const codeSet &encodingOf(const piece &one) {
    static const codeSet unknown("utf8");
    return one.pLanguage == nullptr ? unknown : one.pLanguage->texts->encoding();
}

std::string_view bytesOf(const explanation &known, size_t token) {
    return token < known.tokens.size() ? known.tokens[token] : std::string_view();
}

std::string tokenOf(const explanation &known, size_t token, const codeSet &encoding) {
    const std::string_view bytes = bytesOf(known, token);
    if (bytes.empty())
        return "";
    return known.fixed[token] ? encoding.toUtf8(bytes) : encoding.hostTextToUtf8(bytes);
}

line lineOf(std::string_view printed, const explanation &known, const codeSet &encoding) {
    line made;
    if (known.pPattern == nullptr) {
        made.text = encoding.hostTextToUtf8(printed);
        return made;
    }
    made.message = known.pPattern->message;
    for (size_t i = 0; i < known.tokens.size(); i++)
        made.tokens.push_back(tokenOf(known, i, encoding));
    const pattern &one = *known.pPattern;
    for (size_t i = 0; i < one.literals.size(); i++) {
        if (i > 0)
            made.text += made.tokens[one.places[i - 1]];
        made.text += encoding.toUtf8(one.literals[i]);
    }
    return made;
}

// The program writes these to standard error, wherever a report is: they belong to no check.
bool isErrorMessage(int message) {
    return message == MSG_REPORT_NOT_WRITABLE || message == MSG_LEVEL_UNSUPPORTED;
}

// Lines that belong to no check.
check untitled(std::vector<line> lines) {
    check made;
    made.result = CheckResult::passed;
    made.lines = std::move(lines);
    return made;
}

// What an entry begins with when it has a second line: what was found.
bool isRequirement(int message) {
    static constexpr std::array requirements{
        MSG_KERNEL_REQUIRED, MSG_DISTRIBUTION_REQUIRED, MSG_REQUIRED_WITH_RELEASE, MSG_LIBSTDCXX_REQUIRED,
        MSG_GLIBC_REQUIRED,  MSG_UBUNTU_REQUIRED,       MSG_REQUIRED_VERSION};
    return std::count(requirements.begin(), requirements.end(), message) > 0;
}

// --- A part of a report ---

struct partContent {
    std::vector<pass> passes;
    std::vector<line> strays;
};

// Follows a part line by line. Lines that belong to no pass, such as a trace, are strays: those in front of the first
// pass become a check of it without a title.
class partReader {
public:
    partReader(const piece &given, std::vector<line> before);

    partContent read();

private:
    enum class Part { outside, checks, verdict, entries };

    // Takes one line, by what its text means: a banner starts a pass, a verdict ends it.
    void readLine(std::string_view printed);
    void keepOther(std::string_view printed, const explanation &known);
    void startPass(const explanation &known, bool bClustered);
    std::optional<std::string> takeTime();
    void startCheck(const explanation &known);
    CheckResult severityOf(const explanation &known) const;
    void closeCheck(const explanation &known, std::string_view printed);
    void keepLine(std::string_view printed, const explanation &known);
    void leaveOtherPass(const explanation &known);
    void endPass(const explanation &known);
    void keepEntry(std::string_view printed, const explanation &known);
    void finish();
    pass &currentPass();
    check &currentCheck();

    std::vector<pass> passes;
    std::vector<line> strays;
    const piece &part;
    const catalog *pTexts;
    const codeSet &encoding;
    const size_t countBefore; // strays that stood in front of the part
    Part at = Part::outside;
    bool bHasPass = false;
    bool bReportText = false; // a stray is a text of the program
    bool bBlank = false;      // of the last line: whether it was blank, whether a text explained it
    bool bExplained = false;
    int lastEntryMessage = 0;
};

partReader::partReader(const piece &given, std::vector<line> before)
    : strays(std::move(before)), part(given), pTexts(catalogOf(given)), encoding(encodingOf(given)),
      countBefore(strays.size()) {
}

partContent partReader::read() {
    for (std::string_view left = part.text; !left.empty();)
        readLine(nextLine(left));
    finish();
    return {std::move(passes), std::move(strays)};
}

void partReader::readLine(std::string_view printed) {
    if (isBlank(printed)) {
        bBlank = true;
        return;
    }
    printed = withoutLeadingBlanks(printed);
    const explanation known = pTexts == nullptr ? explanation() : pTexts->explain(printed);
    bExplained = known.pPattern != nullptr;
    switch (bExplained ? known.pPattern->message : 0) {
    case MSG_LEVEL_BANNER: startPass(known, false); break;
    case MSG_LEVEL_BANNER_CLUSTERED: startPass(known, true); break;
    case MSG_LEVEL_PASSED:
    case MSG_LEVEL_FAILED:
        leaveOtherPass(known);
        endPass(known);
        break;
    case MSG_FAILURES_FOLLOW:
        if (at == Part::verdict)
            at = Part::entries;
        else
            keepOther(printed, known);
        break;
    default: keepOther(printed, known);
    }
    bBlank = false;
}

void partReader::keepOther(std::string_view printed, const explanation &known) {
    const int message = bExplained ? known.pPattern->message : 0;
    if (message == MSG_CHECK_HEADING)
        startCheck(known);
    else if (at == Part::entries && !isErrorMessage(message))
        keepEntry(printed, known);
    else if (message == MSG_CHECK_PASSED || message == MSG_CHECK_FAILED)
        closeCheck(known, printed);
    else
        keepLine(printed, known);
}

pass &partReader::currentPass() {
    if (!bHasPass) {
        passes.emplace_back();
        passes.back().language = part.pLanguage == nullptr ? "" : part.pLanguage->name;
        bHasPass = true;
        at = Part::checks;
        if (!strays.empty())
            passes.back().checks.push_back(untitled(std::exchange(strays, {})));
    }
    return passes.back();
}

check &partReader::currentCheck() {
    pass &now = currentPass();
    if (now.checks.empty())
        now.checks.push_back(untitled({}));
    return now.checks.back();
}

// In front of the level stands the time, perhaps among lines of a trace.
std::optional<std::string> partReader::takeTime() {
    const auto start = strays.begin() + static_cast<std::ptrdiff_t>(std::min(countBefore, strays.size()));
    const auto found = std::find_if(start, strays.end(), [](const line &one) { return timeOf(one.text).has_value(); });
    if (found == strays.end())
        return std::nullopt;
    std::string time = std::move(found->text);
    strays.erase(found);
    return time;
}

// Text of a report in front of the level is what a pass whose beginning is missing has left.
void partReader::startPass(const explanation &known, bool bClustered) {
    const bool bFirst = passes.empty();
    std::optional<std::string> time = takeTime();
    if (bFirst && bReportText)
        currentPass();
    bHasPass = false;
    pass &now = currentPass();
    now.level = tokenOf(known, 0, encoding);
    now.clustered = bClustered;
    now.time = std::move(time);
    now.bBanner = true;
    now.bTornStart = bFirst && part.rule == Rule::torn;
}

// A check behind a verdict is one of a pass whose beginning is missing.
void partReader::startCheck(const explanation &known) {
    if (at == Part::verdict || at == Part::entries)
        bHasPass = false;
    check now;
    now.title = tokenOf(known, 0, encoding);
    now.titleMessage = pTexts->titleMessage(bytesOf(known, 0));
    if (now.titleMessage != 0)
        now.title = encoding.toUtf8(bytesOf(known, 0));
    currentPass().checks.push_back(std::move(now));
}

CheckResult partReader::severityOf(const explanation &known) const {
    return bytesOf(known, 0) == pTexts->text(MSG_SEVERITY_WARNING) ? CheckResult::warning : CheckResult::error;
}

// Of several results the worst counts.
void partReader::closeCheck(const explanation &known, std::string_view printed) {
    check &now = currentCheck();
    const CheckResult result = known.pPattern->message == MSG_CHECK_PASSED ? CheckResult::passed : severityOf(known);
    if (now.result == CheckResult::open) {
        now.result = result;
        return;
    }
    now.result = std::max(now.result, result);
    now.lines.push_back(lineOf(printed, known, encoding));
}

void partReader::keepLine(std::string_view printed, const explanation &known) {
    if (at != Part::outside) {
        currentCheck().lines.push_back(lineOf(printed, known, encoding));
        return;
    }
    bReportText = bReportText || (bExplained && !isErrorMessage(known.pPattern->message));
    strays.push_back(lineOf(printed, known, encoding));
}

// Where a verdict names another level or kind than the banner, what stood between the two is missing.
void partReader::leaveOtherPass(const explanation &known) {
    const std::string level = tokenOf(known, 2, encoding);
    if (!bHasPass || !passes.back().bBanner || level.empty())
        return;
    if (level != passes.back().level || bytesOf(known, 1).empty() == passes.back().clustered)
        bHasPass = false;
}

// A verdict behind a verdict is that of another pass.
void partReader::endPass(const explanation &known) {
    if (at != Part::checks)
        bHasPass = false;
    pass &now = currentPass();
    at = Part::verdict;
    now.verdict = known.pPattern->message == MSG_LEVEL_PASSED ? Verdict::good : Verdict::bad;
    now.client = bytesOf(known, 0) == szClientWord;
    if (!now.level) {
        now.level = tokenOf(known, 2, encoding);
        now.clustered = !bytesOf(known, 1).empty();
    }
}

// Blank lines stand between entries, except on standard error.
void partReader::keepEntry(std::string_view printed, const explanation &known) {
    std::vector<entry> &entries = currentPass().entries;
    const line now = lineOf(printed, known, encoding);
    const bool bNew = bBlank || (bExplained && !isRequirement(lastEntryMessage));
    if (bNew || entries.empty())
        entries.push_back({now.text, std::nullopt, now.message, false, now.tokens});
    else
        entries.back().text += '\n' + now.text;
    lastEntryMessage = now.message;
    if (now.message == MSG_CHECK_FAILED) // an entry that is its check's closing line
        entries.back().severity = severityOf(known);
}

// Behind a rule stands a pass, or the report was cut off there. So it was where the last line has no line break, unless
// it is a whole text: a shell may have taken the line break away.
void partReader::finish() {
    const bool bTorn = !part.text.empty() && part.text.back() != '\n' && !bBlank && !bExplained;
    if (passes.empty() && (part.rule != Rule::none || bReportText || bTorn))
        currentPass();
    if (bTorn)
        passes.back().bTornEnd = true;
}

// --- Evidence ---

// The longest line of a literal text, up to its first directive.
std::string leadOf(std::string_view literal) {
    std::string_view longest;
    while (!literal.empty()) {
        const std::string_view line = nextLine(literal);
        const std::string_view lead = withoutLeadingBlanks(line.substr(0, line.find('%')));
        if (lead.size() > longest.size())
            longest = lead;
    }
    return std::string(longest);
}

// A line that tells something, by what it begins with. Of a text of several lines that is its longest.
struct tellingLine {
    Evidence kind;
    std::string lead;
    std::string meaning; // where the line alone does not say it
};

const tellingLine *findTellingLine(std::string_view text) {
    static const std::vector<tellingLine> lines{
        {Evidence::stopped, leadOf(szStoppedByLimit), ""},
        {Evidence::notDone, szCannotCreate + std::string(" "), ""},
        {Evidence::notDone, szCannotWriteAll + std::string(" "), ""},
        {Evidence::notDone, leadOf(szTemporaryPathTooLong), ""},
        {Evidence::notDone, leadOf(szStringsUnknown), ""},
        {Evidence::notDone, leadOf(szStringsMissing), "The 'strings' utility is missing."},
    };
    const auto found = std::find_if(lines.begin(), lines.end(), [&](const tellingLine &one) {
        return text.compare(0, one.lead.size(), one.lead) == 0;
    });
    return found == lines.end() ? nullptr : &*found;
}

std::optional<Evidence> evidenceOf(std::string_view text, languages &known) {
    if (const tellingLine *pFound = findTellingLine(text); pFound != nullptr)
        return pFound->kind;
    switch (known.tellingMessage(text)) {
    case MSG_REPORT_NOT_WRITABLE:
    case MSG_FILE_NOT_OPENED: return Evidence::notDone;
    case MSG_LEVEL_FAILED: return Evidence::badVerdict;
    case MSG_LEVEL_UNSUPPORTED: return std::nullopt;
    default: return Evidence::unknownText;
    }
}

std::string textOf(std::string_view text, const piece &part) {
    const tellingLine *pFound = findTellingLine(text);
    return pFound != nullptr && !pFound->meaning.empty() ? pFound->meaning : encodingOf(part).hostTextToUtf8(text);
}

// The report may hold lines of standard error too, when both were written to one file.
void findEvidence(const piece &part, bool bErrors, languages &known, host &one) {
    for (std::string_view left = part.text; !left.empty();) {
        const std::string_view text = withoutLeadingBlanks(nextLine(left));
        const std::optional<Evidence> found = isBlank(text) ? std::nullopt : evidenceOf(text, known);
        if (found && (bErrors || *found == Evidence::stopped || *found == Evidence::notDone))
            one.evidence.try_emplace(*found, textOf(text, part));
    }
}

// --- A host ---

// Strays that no pass follows are all that there is, or belong to the last pass.
void readReport(std::string_view text, languages &known, host &one, std::vector<line> &strays) {
    for (const piece &part : known.split(text)) {
        findEvidence(part, false, known, one);
        partContent content = partReader(part, std::move(strays)).read();
        strays = std::move(content.strays);
        std::move(content.passes.begin(), content.passes.end(), std::back_inserter(one.passes));
    }
}

// Moves the lines of a pass that belong to no check.
void takeOthers(pass &from, std::vector<std::string> &others) {
    for (const check &now : from.checks)
        if (isUntitled(now))
            for (const line &text : now.lines)
                others.push_back(text.text);
    from.checks.erase(std::remove_if(from.checks.begin(), from.checks.end(), isUntitled), from.checks.end());
}

// -l and -s write their verdicts to standard error and leave a report without passes, or none.
std::vector<pass> readErrors(std::string_view text, languages &known, host &one) {
    std::vector<pass> told;
    for (const piece &part : known.split(text)) {
        findEvidence(part, true, known, one);
        for (std::string_view left = part.text; !left.empty();)
            if (const std::string_view line = nextLine(left); !isBlank(line))
                one.errors.push_back(encodingOf(part).hostTextToUtf8(line));
        partContent content = partReader(part, {}).read();
        for (pass &now : content.passes) {
            takeOthers(now, one.otherErrors);
            now.bFromErrors = !now.bBanner && now.checks.empty();
            if (!now.bFromErrors || now.verdict != Verdict::none)
                told.push_back(std::move(now));
        }
        for (const line &other : content.strays)
            one.otherErrors.push_back(other.text);
    }
    return told;
}

// What standard error tells of levels counts where the report tells of none.
void addTold(std::vector<pass> told, host &one) {
    const auto hasLevel = [](const pass &now) { return now.level.has_value(); };
    const bool bReported = std::any_of(one.passes.begin(), one.passes.end(), hasLevel);
    const auto isKnown = [&](const pass &now) { return now.bFromErrors && bReported; };
    const auto firstKnown =
        std::stable_partition(told.begin(), told.end(), [&](const pass &now) { return !isKnown(now); });
    std::move(firstKnown, told.end(), std::back_inserter(one.repeated));
    told.erase(firstKnown, told.end());
    if (told.empty())
        one.otherErrors = one.errors;
    std::move(told.begin(), told.end(), std::back_inserter(one.passes));
}

void addStrays(std::vector<line> strays, host &one) {
    if (strays.empty())
        return;
    if (one.passes.empty())
        one.passes.emplace_back();
    one.passes[0].checks.insert(one.passes[0].checks.begin(), untitled(std::move(strays)));
}

// Each text once, where it stands first.
void dropRepeated(std::vector<std::string> &texts) {
    std::set<std::string> seen;
    texts.erase(
        std::remove_if(texts.begin(), texts.end(), [&](const std::string &text) { return !seen.insert(text).second; }),
        texts.end());
}

} // namespace

host readHost(const material &given, languages &known) {
    const codeSet utf8("utf8");
    host one;
    one.name = utf8.toUtf8(given.name);
    one.status = given.status;
    if (given.report)
        one.reportSize = given.report->size();
    if (given.reason)
        one.reason = utf8.toUtf8(*given.reason);
    std::vector<line> strays;
    readReport(given.report.value_or(""), known, one, strays);
    addTold(readErrors(given.errors, known, one), one);
    addStrays(std::move(strays), one);
    dropRepeated(one.otherErrors);
    judge(one);
    return one;
}

void findEvidenceAgain(host &one, languages &known) {
    std::string errors;
    for (const std::string &text : one.errors)
        errors += text + '\n';
    host again;
    for (pass &told : readErrors(errors, known, again))
        if (told.bFromErrors)
            one.repeated.push_back(std::move(told));
    one.evidence = std::move(again.evidence);
    for (const pass &in : one.passes)
        for (const check &now : in.checks)
            for (const line &text : now.lines)
                if (const tellingLine *pFound = findTellingLine(text.text); pFound != nullptr)
                    one.evidence.try_emplace(pFound->kind, text.text);
}

} // namespace report
