#include "judge.h"

#include "sqloPrereqCheck.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

namespace report {

PassResult judgeCheck(const check &one) {
    if (one.waived)
        return PassResult::passed;
    static constexpr std::array results{PassResult::passed, PassResult::warning, PassResult::failed,
                                        PassResult::incomplete};
    return results[static_cast<size_t>(one.result)];
}

namespace {

// --- A pass ---

bool isBad(CheckResult result) {
    return result == CheckResult::error || result == CheckResult::warning;
}

std::string_view firstLineOf(const entry &one) {
    return std::string_view(one.text).substr(0, one.text.find('\n'));
}

// An entry before the first check is a fault of the level itself, which has no result of its own: it is an error.
void judgeUntitled(pass &one) {
    if (one.checks.empty() || !one.checks[0].title.empty())
        return;
    std::set<std::string_view> entries;
    for (const entry &now : one.entries)
        entries.insert(now.text);
    for (const line &text : one.checks[0].lines)
        if (entries.count(text.text) > 0)
            one.checks[0].result = CheckResult::error;
}

// The block of a missing package has no line if no version is required: only the list says what was not found. Gives
// this line to the checks that have the missing object as their title, so that they own the entry. A check that passed
// or has no result cannot have written it.
void addListedLines(pass &one) {
    std::unordered_set<std::string_view> shown;
    std::unordered_multimap<std::string_view, check *> byTitle;
    for (check &now : one.checks) {
        for (const line &text : now.lines)
            shown.insert(text.text);
        if (isBad(now.result))
            byTitle.emplace(now.title, &now);
    }
    std::vector<std::pair<check *, line>> found; // added at the end, because the set refers to the lines
    for (const entry &now : one.entries) {
        if (now.message != MSG_REQUIREMENT_NOT_MET || now.tokens.size() < 2 || !shown.insert(firstLineOf(now)).second)
            continue;
        const auto [first, end] = byTitle.equal_range(now.tokens[1]);
        for (auto owner = first; owner != end; ++owner)
            found.emplace_back(owner->second, line{now.message, now.tokens, std::string(firstLineOf(now))});
    }
    for (auto &[pOwner, text] : found)
        pOwner->lines.push_back(std::move(text));
}

// Finds the severity of each entry. An entry belongs to every check with an error or warning that shows the entry's
// first line, and has the worst result of these checks; a severity that the reader has found is kept. The entry is
// waived when it is a warning and all of these checks are waived.
void findSeverities(pass &one) {
    struct severity {
        CheckResult result = CheckResult::passed;
        bool bWaived = true;
    };
    std::unordered_map<std::string_view, severity> byText;
    for (const check &now : one.checks)
        for (const line &text : now.lines)
            if (isBad(now.result)) {
                severity &known = byText[text.text];
                known.result = std::max(known.result, now.result);
                known.bWaived = known.bWaived && now.waived;
            }
    for (entry &now : one.entries) {
        const auto known = byText.find(firstLineOf(now));
        if (known == byText.end())
            continue;
        if (!now.severity)
            now.severity = known->second.result;
        now.bWaived = known->second.bWaived && now.severity == CheckResult::warning;
    }
}

bool hasOpenCheck(const pass &one) {
    return std::any_of(one.checks.begin(), one.checks.end(),
                       [](const check &now) { return now.result == CheckResult::open; });
}

// A bad verdict means errors, except in two cases, in which it means warnings alone: every entry belongs to a check
// with a warning, or the exit status is 0. One without its list was cut off. Lines of standard error have no checks, so
// only the exit status decides there.
PassResult judgeBadVerdict(const pass &one, const std::optional<int> &status) {
    const auto end = one.entries.end() - (one.bTornEnd && !one.entries.empty() ? 1 : 0);
    const auto isWarning = [](const entry &now) { return now.severity == CheckResult::warning; };
    const auto isError = [](const entry &now) { return now.severity == CheckResult::error; };
    if (std::any_of(one.entries.begin(), end, isError))
        return PassResult::failed;
    if (one.entries.begin() == end || (one.bFromErrors && !status))
        return PassResult::incomplete;
    if (!hasOpenCheck(one) && (status == 0 || std::all_of(one.entries.begin(), end, isWarning)))
        return PassResult::warning;
    return PassResult::failed;
}

// Nothing but waived warnings: a bad verdict counts as a good one. A check without a result may hide an error.
bool hasOnlyWaived(const pass &one) {
    return !one.entries.empty() && !hasOpenCheck(one) &&
           std::all_of(one.entries.begin(), one.entries.end(), [](const entry &now) { return now.bWaived; });
}

// A good verdict on standard error is confirmed by the exit status alone.
PassResult judgeVerdict(const pass &one, const std::optional<int> &status) {
    if ((one.verdict == Verdict::bad || !one.entries.empty()) && !hasOnlyWaived(one))
        return judgeBadVerdict(one, status);
    if (one.verdict == Verdict::none || (one.bFromErrors && !status))
        return PassResult::incomplete;
    return PassResult::passed;
}

bool isWhole(const pass &one) {
    return (one.bBanner || one.bFromErrors) && !one.bTornStart && !one.bTornEnd;
}

void judgePass(pass &one, const std::optional<int> &status) {
    judgeUntitled(one);
    addListedLines(one);
    findSeverities(one);
    one.result = judgeVerdict(one, status);
    for (const check &now : one.checks)
        one.result = std::max(one.result, judgeCheck(now));
    if (!isWhole(one))
        one.result = std::max(one.result, PassResult::incomplete);
}

// Runs are appended to a report file: the last pass of each level and kind counts. One that is not whole takes no worse
// result away.
void dropReplaced(std::vector<pass> &passes) {
    struct replacement {
        bool bWhole;
        PassResult worst;
    };
    std::map<std::pair<std::string, std::optional<bool>>, replacement> later;
    const auto isReplaced = [&](const pass &one) {
        if (!one.level)
            return false;
        const bool bWhole = one.bBanner && one.result != PassResult::incomplete;
        const auto [place, bNew] = later.insert({{*one.level, one.clustered}, {bWhole, one.result}});
        if (bNew)
            return false;
        replacement &known = place->second;
        const bool bReplaced = known.bWhole || one.result < known.worst;
        known = {known.bWhole || bWhole, std::max(known.worst, one.result)};
        return bReplaced;
    };
    std::reverse(passes.begin(), passes.end());
    passes.erase(std::remove_if(passes.begin(), passes.end(), isReplaced), passes.end());
    std::reverse(passes.begin(), passes.end());
}

// --- A host ---

// Whether a pass of standard error tells nothing but the waived warnings of a pass of the report.
bool repeatsWaived(const pass &told, const pass &reported) {
    if (told.level != reported.level || told.clustered != reported.clustered || told.entries.empty())
        return false;
    std::set<std::string_view> waived;
    for (const entry &now : reported.entries)
        if (now.bWaived)
            waived.insert(now.text);
    return std::all_of(told.entries.begin(), told.entries.end(),
                       [&](const entry &now) { return waived.count(now.text) > 0; });
}

// A bad verdict on standard error counts unless the report has it too, with waived warnings alone.
bool hasBadVerdictOnErrors(const host &one) {
    if (one.evidence.count(Evidence::badVerdict) == 0)
        return false;
    bool bAnyWaived = false;
    for (const pass &told : one.repeated) {
        if (told.verdict != Verdict::bad)
            continue;
        if (std::none_of(one.passes.begin(), one.passes.end(),
                         [&](const pass &now) { return repeatsWaived(told, now); }))
            return true;
        bAnyWaived = true;
    }
    return !bAnyWaived;
}

note doubtOn(const pass &one) {
    if (one.bFromErrors && one.verdict == Verdict::good)
        return {Message::goodVerdictUnconfirmed, {}};
    if (one.bFromErrors && !one.entries.empty())
        return {Message::badVerdictUnconfirmed, {}};
    if (!one.level && one.checks.empty() && one.entries.empty())
        return {Message::cutBetweenLevels, {}};
    if (one.language.empty())
        return {Message::notReadable, {}};
    if (!one.bBanner)
        return {Message::beginningCut, {}};
    if (one.verdict == Verdict::none) // a banner has named level and kind
        return {*one.clustered ? Message::noVerdictClustered : Message::noVerdict, {*one.level}};
    return {*one.clustered ? Message::notWholeClustered : Message::notWhole, {*one.level}};
}

// Only the exit status says that a run without a pass was good: with -l it leaves an empty report.
bool isToldByStatus(const host &one) {
    return one.passes.empty() && one.reportSize == 0U && one.status && one.evidence.count(Evidence::unknownText) == 0;
}

// Each doubt once, and of very many passes the first.
std::vector<note> doubtsOnPasses(const std::vector<pass> &passes) {
    constexpr size_t most = 40;
    std::vector<note> doubts;
    std::set<std::pair<Message, std::vector<std::string>>> known;
    for (const pass &now : passes)
        if (now.result == PassResult::incomplete)
            if (note one = doubtOn(now); known.emplace(one.message, one.tokens).second && known.size() <= most)
                doubts.push_back(std::move(one));
    if (known.size() > most)
        doubts.push_back({Message::moreDoubts, {std::to_string(known.size() - most)}});
    return doubts;
}

std::vector<note> doubtsOn(const host &one) {
    std::vector<note> doubts = doubtsOnPasses(one.passes);
    if (const auto found = one.evidence.find(Evidence::notDone); found != one.evidence.end())
        doubts.push_back({Message::notAllDone, {found->second}});
    const auto isUnconfirmed = [](const note &now) { return now.message == Message::badVerdictUnconfirmed; };
    const bool bUnconfirmed = !one.status && hasBadVerdictOnErrors(one);
    if (bUnconfirmed && std::none_of(doubts.begin(), doubts.end(), isUnconfirmed))
        doubts.push_back({Message::badVerdictUnconfirmed, {}});
    if (one.passes.empty() && !isToldByStatus(one))
        doubts.push_back({one.reportSize || !one.status ? Message::noLevel : Message::noReport, {}});
    return doubts;
}

HostResult judgeEvidence(const host &one) {
    if (!one.doubts.empty() || one.reason)
        return HostResult::unknown;
    const bool bWarning = one.evidence.count(Evidence::stopped) > 0 || hasBadVerdictOnErrors(one);
    return bWarning ? HostResult::warning : HostResult::passed;
}

HostResult judgePasses(const host &one) {
    PassResult worst = PassResult::passed;
    for (const pass &now : one.passes)
        worst = std::max(worst, now.result);
    return static_cast<HostResult>(worst); // both go from good to bad
}

} // namespace

void judge(host &one) {
    for (pass &now : one.passes)
        judgePass(now, one.status);
    dropReplaced(one.passes);
    one.doubts = doubtsOn(one);
    one.result = std::max(judgePasses(one), judgeEvidence(one));
    if (one.status.value_or(0) != 0)
        one.result = HostResult::failed;
}

// --- A host of an earlier run ---

namespace {

// A warning of the verdict alone, without a check or an entry, stays.
PassResult judgeEarlierPass(pass &one) {
    if (one.result >= PassResult::incomplete)
        return one.result;
    findSeverities(one);
    const auto counts = [](const check &now) { return now.result == CheckResult::warning && !now.waived; };
    const auto isWaived = [](const auto &now) { return now.waived.has_value(); };
    const bool bWarning =
        std::any_of(one.checks.begin(), one.checks.end(), counts) ||
        std::any_of(one.entries.begin(), one.entries.end(), [](const entry &now) { return !now.bWaived; });
    if (bWarning)
        return PassResult::warning;
    return std::any_of(one.checks.begin(), one.checks.end(), isWaived) ? PassResult::passed : one.result;
}

} // namespace

void judgeEarlier(host &one) {
    bool bWarnedPass = false;
    for (pass &now : one.passes) {
        bWarnedPass = bWarnedPass || now.result == PassResult::warning;
        now.result = judgeEarlierPass(now);
    }
    if (one.result >= HostResult::unknown)
        return;
    const bool bWarnedElsewhere = one.result == HostResult::warning && !bWarnedPass;
    one.result =
        std::max({judgePasses(one), judgeEvidence(one), bWarnedElsewhere ? HostResult::warning : HostResult::passed});
}

// --- Exit statuses ---

namespace {

struct meaning {
    int status;
    Message text;
};

constexpr std::array meanings{
    meaning{1, Message::statusKernel},     meaning{2, Message::statusNotStarted},
    meaning{3, Message::statusTools},      meaning{6, Message::statusCommandLine},
    meaning{7, Message::statusLevel},      meaning{8, Message::statusFile},
    meaning{9, Message::statusOutput},     meaning{10, Message::statusMemory},
    meaning{11, Message::statusNetwork},   meaning{12, Message::statusNetwork},
    meaning{13, Message::statusNetwork},   meaning{14, Message::statusNetwork},
    meaning{124, Message::statusTimedOut}, meaning{126, Message::statusNotStarted},
    meaning{127, Message::statusNotFound}, meaning{255, Message::statusSpace},
};

struct signalRow {
    int number;
    const char *pName;
    std::optional<Message> reason;
};

constexpr std::array signals{
    signalRow{1, "SIGHUP", Message::hungUp},       signalRow{2, "SIGINT", Message::interrupted},
    signalRow{3, "SIGQUIT", Message::interrupted}, signalRow{4, "SIGILL", std::nullopt},
    signalRow{6, "SIGABRT", std::nullopt},         signalRow{7, "SIGBUS", std::nullopt},
    signalRow{8, "SIGFPE", std::nullopt},          signalRow{9, "SIGKILL", Message::killed},
    signalRow{11, "SIGSEGV", std::nullopt},        signalRow{13, "SIGPIPE", Message::pipeClosed},
    signalRow{14, "SIGALRM", std::nullopt},        signalRow{15, "SIGTERM", Message::terminated},
};

std::string signalEnded(int number, const messages &own) {
    const std::string digits = std::to_string(number);
    for (const signalRow &one : signals) {
        if (one.number != number)
            continue;
        return one.reason ? own.text(Message::signalExplained, {digits, one.pName, own.text(*one.reason)})
                          : own.text(Message::signalNamedEnded, {digits, one.pName});
    }
    return own.text(Message::signalEnded, {digits});
}

} // namespace

std::string meaningOf(int status, const messages &own) {
    constexpr int firstSignal = 129, lastSignal = 192; // as shells count
    for (const meaning &one : meanings)
        if (one.status == status)
            return own.text(one.text);
    if (status < firstSignal || status > lastSignal)
        return own.text(Message::statusForeign);
    return signalEnded(status - firstSignal + 1, own);
}

} // namespace report
