#include "reader.h"

#include "sqloLiterals.h"
#include "sqloPrereqCheck.h"

#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>
#include <unordered_map>

namespace report {

namespace fs = std::filesystem;

const char *nameOf(CheckResult result) {
    static constexpr std::array names{"passed", "warning", "error", "open"};
    return names[static_cast<size_t>(result)];
}

const char *nameOf(PassResult result) {
    static constexpr std::array names{"passed", "warning", "incomplete", "failed"};
    return names[static_cast<size_t>(result)];
}

const char *nameOf(HostResult result) {
    static constexpr std::array names{"passed", "warning", "unknown", "failed"};
    return names[static_cast<size_t>(result)];
}

std::string nameOf(const pass &one) {
    return one.level.value_or("?") + (one.clustered.value_or(false) ? " clustered" : "");
}

// --- Languages ---

static const char *const pEnglish = "en_US.iso88591";
static const char *const pCatalogName = "kvxistring.cat";

languages::languages(fs::path directory) : place(std::move(directory)) {
}

// A directory is named LANGUAGE_TERRITORY.CODESET. The English texts are ASCII: they tell nothing of the host's code
// set.
const languages::language *languages::open(const fs::path &directory) {
    const std::string name = directory.filename();
    const size_t dot = std::min(name.find('.'), name.size());
    const std::string codeSetName = name == pEnglish ? "utf8" : name.substr(std::min(dot + 1, name.size()));
    language made{name.substr(0, dot), nullptr};
    std::replace(made.name.begin(), made.name.end(), '_', '-');
    try {
        made.texts = std::make_unique<catalog>(directory / pCatalogName, codeSetName);
    } catch (const std::runtime_error &) {
        return nullptr;
    }
    opened.push_back(std::move(made));
    return &opened.back();
}

static std::string contentOf(const fs::path &file) {
    std::ostringstream content;
    content << std::ifstream(file, std::ios::binary).rdbuf();
    return content.str();
}

// In the order of their names, and those in UTF-8 in front: of code sets that explain a report alike it is the likely
// one.
void languages::openAll() {
    allOpened = true;
    std::vector<fs::path> directories;
    std::error_code failed;
    for (const auto &one : fs::directory_iterator(place, failed))
        directories.push_back(one.path());
    std::sort(directories.begin(), directories.end(), [](const fs::path &a, const fs::path &b) {
        return std::make_pair(a.extension() != ".utf8", a) < std::make_pair(b.extension() != ".utf8", b);
    });
    std::set<std::string> contents{contentOf(place / pEnglish / pCatalogName)};
    for (const fs::path &directory : directories)
        if (contents.insert(contentOf(directory / pCatalogName)).second)
            open(directory);
}

// Lines that hold the longest texts of a report and tell a language apart at once: one of them settles on English.
static bool isTelling(int message) {
    static constexpr std::array telling{MSG_LEVEL_BANNER, MSG_LEVEL_BANNER_CLUSTERED, MSG_LEVEL_FAILED,
                                        MSG_LEVEL_PASSED};
    return std::count(telling.begin(), telling.end(), message) > 0;
}

const languages::language *languages::choose(const std::vector<std::string_view> &lines) {
    if (opened.empty() && !allOpened)
        open(place / pEnglish);
    if (!opened.empty())
        for (const std::string_view line : lines) {
            const pattern *pFound = opened[0].texts->explain(line).pPattern;
            if (pFound != nullptr && isTelling(pFound->message))
                return opened.data();
        }
    if (!allOpened)
        openAll();
    const language *pBest = nullptr;
    size_t most = 0;
    for (const language &one : opened) {
        size_t weight = 0;
        for (const std::string_view line : lines)
            weight += one.texts->weigh(line);
        if (weight > most) {
            pBest = &one;
            most = weight;
        }
    }
    return pBest;
}

// --- Reports ---

namespace {

// Follows a report line by line.
class reportReader {
public:
    reportReader(const catalog *pCatalog, std::vector<pass> &passes) : pTexts(pCatalog), found(passes) {
    }

    void read(std::string_view text);
    void finish();

private:
    enum class Part { outside, checks, verdict, entries };

    void readLine(std::string_view printed);
    line lineOf(std::string_view printed, const explanation &known) const;
    std::string tokenOf(const explanation &known, size_t token) const;
    CheckResult severityOf(const explanation &known) const;
    void startPass(const explanation &known, bool clustered);
    void startCheck(const explanation &known);
    void closeCheck(const explanation &known, std::string_view printed);
    void keepLine(std::string_view printed, const explanation &known);
    void endPass(const explanation &known);
    void keepEntry(std::string_view printed, const explanation &known);
    pass &currentPass();
    check &currentCheck();

    const catalog *pTexts;
    std::vector<pass> &found;
    Part at = Part::outside;
    bool bHasPass = false;
    bool bRule = false;  // a rule stood behind the last pass
    bool bBlank = false; // the last line was blank
    int lastEntryMessage = 0;
    std::vector<line> stray; // what stands in front of a pass
};

std::string_view nextLine(std::string_view &text) {
    const size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (!line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    return line;
}

void reportReader::read(std::string_view text) {
    while (!text.empty())
        readLine(nextLine(text));
}

bool isRule(std::string_view printed) {
    static const std::string_view rule(szReportRule + 1, sizeof szReportRule - 3);
    return printed == rule;
}

void reportReader::readLine(std::string_view printed) {
    if (isBlank(printed)) {
        bBlank = true;
        return;
    }
    if (isRule(printed)) {
        at = Part::outside;
        bHasPass = false;
        bRule = true;
        return;
    }
    printed = withoutLeadingBlanks(printed);
    const explanation known = pTexts == nullptr ? explanation() : pTexts->explain(printed);
    const int message = known.pPattern == nullptr ? 0 : known.pPattern->message;
    switch (message) {
    case MSG_LEVEL_BANNER: startPass(known, false); break;
    case MSG_LEVEL_BANNER_CLUSTERED: startPass(known, true); break;
    case MSG_LEVEL_PASSED:
    case MSG_LEVEL_FAILED: endPass(known); break;
    case MSG_REPORT_NOT_WRITABLE: keepLine(printed, known); break; // wherever standard error has it
    case MSG_FAILURES_FOLLOW:
        if (at == Part::verdict)
            at = Part::entries;
        break;
    default:
        if (at == Part::entries)
            keepEntry(printed, known);
        else if (message == MSG_CHECK_HEADING && at != Part::verdict)
            startCheck(known);
        else if ((message == MSG_CHECK_PASSED || message == MSG_CHECK_FAILED) && at == Part::checks)
            closeCheck(known, printed);
        else
            keepLine(printed, known);
    }
    bBlank = false;
}

std::string_view bytesOf(const explanation &known, size_t token) {
    return token < known.tokens.size() ? known.tokens[token] : std::string_view();
}

std::string reportReader::tokenOf(const explanation &known, size_t token) const {
    const std::string_view bytes = bytesOf(known, token);
    if (bytes.empty())
        return "";
    return known.fixed[token] ? pTexts->encoding().toUtf8(bytes) : pTexts->encoding().hostTextToUtf8(bytes);
}

line reportReader::lineOf(std::string_view printed, const explanation &known) const {
    static const codeSet unknown("utf8");
    line made;
    if (known.pPattern == nullptr) {
        made.text = (pTexts == nullptr ? unknown : pTexts->encoding()).hostTextToUtf8(printed);
        return made;
    }
    made.message = known.pPattern->message;
    for (size_t i = 0; i < known.tokens.size(); i++)
        made.tokens.push_back(tokenOf(known, i));
    const pattern &one = *known.pPattern;
    for (size_t i = 0; i < one.literals.size(); i++) {
        if (i > 0)
            made.text += made.tokens[one.places[i - 1]];
        made.text += pTexts->encoding().toUtf8(one.literals[i]);
    }
    return made;
}

// Lines that stand in front of a pass, such as a trace, become a check without a title.
pass &reportReader::currentPass() {
    if (!bHasPass) {
        found.emplace_back();
        bHasPass = true;
        at = Part::checks;
        if (!stray.empty()) {
            found.back().checks.push_back({0, "", CheckResult::passed, std::move(stray)});
            stray.clear();
        }
    }
    return found.back();
}

check &reportReader::currentCheck() {
    pass &now = currentPass();
    if (now.checks.empty())
        now.checks.push_back({0, "", CheckResult::passed, {}});
    return now.checks.back();
}

// Between the rule and the level stands the time.
void reportReader::startPass(const explanation &known, bool clustered) {
    std::optional<std::string> time;
    if (bRule && !stray.empty()) {
        time = std::move(stray.back().text);
        stray.pop_back();
    }
    bHasPass = bRule = false;
    pass &now = currentPass();
    now.level = tokenOf(known, 0);
    now.clustered = clustered;
    now.time = std::move(time);
}

void reportReader::startCheck(const explanation &known) {
    check now;
    now.title = tokenOf(known, 0);
    now.titleMessage = pTexts->titleMessage(bytesOf(known, 0));
    if (now.titleMessage != 0)
        now.title = pTexts->encoding().toUtf8(bytesOf(known, 0));
    currentPass().checks.push_back(std::move(now));
}

CheckResult reportReader::severityOf(const explanation &known) const {
    return bytesOf(known, 0) == pTexts->text(MSG_SEVERITY_WARNING) ? CheckResult::warning : CheckResult::error;
}

void reportReader::closeCheck(const explanation &known, std::string_view printed) {
    check &now = currentCheck();
    if (now.result != CheckResult::open)
        now.lines.push_back(lineOf(printed, known));
    else if (known.pPattern->message == MSG_CHECK_PASSED)
        now.result = CheckResult::passed;
    else
        now.result = severityOf(known);
}

void reportReader::keepLine(std::string_view printed, const explanation &known) {
    if (at == Part::outside)
        stray.push_back(lineOf(printed, known));
    else
        currentCheck().lines.push_back(lineOf(printed, known));
}

// A verdict that stands in no pass is one of a summary. A good one does not say which level it is on.
void reportReader::endPass(const explanation &known) {
    if (at != Part::checks)
        bHasPass = false;
    pass &now = currentPass();
    at = Part::verdict;
    lastEntryMessage = 0;
    if (known.pPattern->message == MSG_LEVEL_PASSED) {
        now.result = PassResult::passed;
        return;
    }
    now.result = PassResult::failed;
    now.client = bytesOf(known, 0) == szClientWord;
    if (!now.level) {
        now.level = tokenOf(known, 2);
        now.clustered = !bytesOf(known, 1).empty();
    }
}

// What an entry begins with when it has a second line: what was found.
bool isRequirement(int message) {
    static constexpr std::array requirements{
        MSG_KERNEL_REQUIRED, MSG_DISTRIBUTION_REQUIRED, MSG_REQUIRED_WITH_RELEASE, MSG_LIBSTDCXX_REQUIRED,
        MSG_GLIBC_REQUIRED,  MSG_UBUNTU_REQUIRED,       MSG_REQUIRED_VERSION};
    return std::count(requirements.begin(), requirements.end(), message) > 0;
}

// Blank lines stand between entries, except on standard error.
void reportReader::keepEntry(std::string_view printed, const explanation &known) {
    std::vector<entry> &entries = currentPass().entries;
    const line now = lineOf(printed, known);
    const bool bNew = bBlank || (known.pPattern != nullptr && !isRequirement(lastEntryMessage));
    if (bNew || entries.empty())
        entries.push_back({now.text, std::nullopt});
    else
        entries.back().text += '\n' + now.text;
    lastEntryMessage = now.message;
    if (now.message == MSG_CHECK_FAILED) // an entry that is its check's closing line
        entries.back().severity = severityOf(known);
}

// A rule without a pass behind it is where the run was cut off. Lines that no pass follows are all that it left.
void reportReader::finish() {
    if (!bRule && (stray.empty() || !found.empty()))
        return;
    bHasPass = false;
    currentPass();
}

// --- What it comes to ---

// An entry is as severe as the check that it stands in.
void findSeverities(pass &one) {
    std::unordered_map<std::string_view, CheckResult> byText;
    for (check &now : one.checks)
        for (const line &text : now.lines)
            if (now.result == CheckResult::error || now.result == CheckResult::warning)
                byText[text.text] = std::max(byText[text.text], now.result);
    for (entry &now : one.entries) {
        const auto known = byText.find(std::string_view(now.text).substr(0, now.text.find('\n')));
        if (known != byText.end() && !now.severity)
            now.severity = known->second;
    }
}

// A fault of the level's own, in front of the first check.
void judgeUntitled(pass &one) {
    if (one.checks.empty() || !one.checks[0].title.empty())
        return;
    for (const line &text : one.checks[0].lines)
        for (const entry &now : one.entries)
            if (now.text == text.text)
                one.checks[0].result = CheckResult::error;
}

bool hasCheck(const pass &one, CheckResult result) {
    return std::any_of(one.checks.begin(), one.checks.end(), [=](const check &now) { return now.result == result; });
}

// A bad verdict is on warnings when these are what the pass shows, or when the run ended well; one without its list of
// failures was cut off.
void judgePass(pass &one, const std::optional<int> &status) {
    judgeUntitled(one);
    findSeverities(one);
    if (one.result != PassResult::failed)
        return;
    if (one.entries.empty())
        one.result = PassResult::incomplete;
    else if (!hasCheck(one, CheckResult::error) && (hasCheck(one, CheckResult::warning) || status == 0))
        one.result = PassResult::warning;
}

// In a summary a clustered pass follows the level's plain one, whose verdict names no level when it is good.
void nameLevels(std::vector<pass> &passes) {
    for (size_t i = 1; i < passes.size(); i++)
        if (passes[i].clustered.value_or(false) && !passes[i - 1].level && passes[i - 1].result == PassResult::passed) {
            passes[i - 1].level = passes[i].level;
            passes[i - 1].clustered = false;
        }
}

// Runs are appended to a report file: the last pass of each level and kind counts.
void dropRepeated(std::vector<pass> &passes) {
    std::set<std::pair<std::string, bool>> seen;
    const auto isRepeated = [&](const pass &one) {
        return one.level && !seen.insert({*one.level, one.clustered.value_or(false)}).second;
    };
    std::reverse(passes.begin(), passes.end());
    passes.erase(std::remove_if(passes.begin(), passes.end(), isRepeated), passes.end());
    std::reverse(passes.begin(), passes.end());
}

HostResult judgeHost(const host &one, bool bSaidNothing) {
    PassResult worst = PassResult::passed;
    for (const pass &now : one.passes)
        worst = std::max(worst, now.result);
    if (one.status.value_or(0) != 0 || worst == PassResult::failed)
        return HostResult::failed;
    if (one.reason || worst == PassResult::incomplete || (one.passes.empty() && !(one.status && bSaidNothing)))
        return HostResult::unknown;
    return worst == PassResult::warning ? HostResult::warning : HostResult::passed;
}

// The first lines of a text, each once. What no catalog has written is longer.
void sample(std::string_view text, std::vector<std::string_view> &lines) {
    constexpr size_t longest = 1000;
    std::set<std::string_view> seen;
    for (int left = 400; left > 0 && !text.empty() && seen.size() < 60; left--) {
        const std::string_view line = withoutLeadingBlanks(nextLine(text));
        if (!line.empty() && line.size() < longest && seen.insert(line).second)
            lines.push_back(line);
    }
}

void readPasses(std::string_view text, const catalog *pTexts, std::vector<pass> &passes) {
    reportReader reader(pTexts, passes);
    reader.read(text);
    reader.finish();
}

// -l and -s write their verdicts to standard error and leave a report without passes, or none. What else stands between
// them is no part of a check.
void readSummary(std::string_view errors, const catalog *pTexts, host &one) {
    std::vector<pass> told;
    readPasses(errors, pTexts, told);
    const auto isNone = [](const pass &now) { return now.result == PassResult::incomplete; };
    told.erase(std::remove_if(told.begin(), told.end(), isNone), told.end());
    if (told.empty())
        return;
    nameLevels(told);
    one.otherErrors.clear();
    for (pass &now : told) {
        for (const check &other : now.checks)
            for (const line &text : other.lines)
                one.otherErrors.push_back(text.text);
        now.checks.clear();
    }
    if (!one.passes.empty())
        told[0].checks = std::move(one.passes[0].checks);
    one.passes = std::move(told);
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
    host one;
    const codeSet utf8("UTF-8");
    one.name = utf8.toUtf8(given.name);
    one.status = given.status;
    if (given.reason)
        one.reason = utf8.toUtf8(*given.reason);
    std::vector<std::string_view> lines;
    sample(given.report, lines);
    sample(given.errors, lines);
    const languages::language *pLanguage = known.choose(lines);
    const catalog *pTexts = pLanguage == nullptr ? nullptr : pLanguage->texts.get();
    if (pLanguage != nullptr)
        one.language = pLanguage->name;

    static const codeSet unknown("utf8");
    for (std::string_view left = given.errors; !left.empty();) {
        const std::string_view line = nextLine(left);
        if (!isBlank(line))
            one.errors.push_back((pTexts == nullptr ? unknown : pTexts->encoding()).hostTextToUtf8(line));
    }
    one.otherErrors = one.errors;

    readPasses(given.report, pTexts, one.passes);
    const auto hasLevel = [](const pass &now) { return now.level.has_value(); };
    if (std::none_of(one.passes.begin(), one.passes.end(), hasLevel))
        readSummary(given.errors, pTexts, one);
    dropRepeated(one.passes);
    dropRepeated(one.otherErrors);
    for (pass &now : one.passes)
        judgePass(now, one.status);
    one.result = judgeHost(one, isBlank(given.report) && isBlank(given.errors));
    return one;
}

} // namespace report
