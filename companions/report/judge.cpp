#include "judge.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <unordered_map>

namespace report {

namespace {

// --- A pass ---

bool isBad(CheckResult result) {
    return result == CheckResult::error || result == CheckResult::warning;
}

std::string_view firstLineOf(const entry &one) {
    return std::string_view(one.text).substr(0, one.text.find('\n'));
}

// A fault of the level's own is told in front of its first check and has no result there.
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

// An entry is as severe as the check that it stands in, and waived as it is. Of several checks the worst counts.
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

PassResult judgeCheck(const check &one) {
    if (one.waived)
        return PassResult::passed;
    static constexpr std::array results{PassResult::passed, PassResult::warning, PassResult::failed,
                                        PassResult::incomplete};
    return results[static_cast<size_t>(one.result)];
}

bool hasOpenCheck(const pass &one) {
    return std::any_of(one.checks.begin(), one.checks.end(),
                       [](const check &now) { return now.result == CheckResult::open; });
}

// A bad verdict means errors, or warnings alone: these it means where each entry stands in a check with a warning, or
// where the run ended well. One without its list was cut off. On standard error there are no checks: only the exit
// status tells.
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
        bool bWhole = false;
        PassResult worst = PassResult::passed;
    };
    std::map<std::pair<std::string, bool>, replacement> later;
    const auto isReplaced = [&](const pass &one) {
        if (!one.level)
            return false;
        const auto [place, bNew] = later.try_emplace({*one.level, one.clustered.value_or(false)});
        replacement &known = place->second;
        const bool bReplaced = !bNew && (known.bWhole || one.result < known.worst);
        known.bWhole = known.bWhole || (one.bBanner && one.result != PassResult::incomplete);
        known.worst = std::max(known.worst, one.result);
        return bReplaced;
    };
    std::reverse(passes.begin(), passes.end());
    passes.erase(std::remove_if(passes.begin(), passes.end(), isReplaced), passes.end());
    std::reverse(passes.begin(), passes.end());
}

// --- A host ---

const char *const pUnconfirmed =
    "Standard error has a bad verdict. Only the exit status tells whether it means errors, and it is not known.";

// Whether a pass of standard error tells nothing but the waived warnings of a pass of the report.
bool repeatsWaived(const pass &told, const pass &reported) {
    if (!told.level || told.level != reported.level || told.clustered != reported.clustered || told.entries.empty())
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

std::string doubtOn(const pass &one) {
    if (one.bFromErrors && one.verdict == Verdict::good)
        return "A good verdict on standard error holds only with exit status 0, which is not known.";
    if (one.bFromErrors && !one.entries.empty())
        return pUnconfirmed;
    if (!one.level && one.checks.empty() && one.entries.empty())
        return "The report was cut off between two levels.";
    if (one.language.empty())
        return "There is no report, or it is none of kvxprereqcheck, or in a language whose catalog is not here.";
    if (!one.bBanner)
        return "The report has a part whose beginning was cut off.";
    return "Level " + nameOf(one) +
           (one.verdict == Verdict::none ? " has no verdict: the report was cut off there."
                                         : " is not whole in the report.");
}

// What is known of a run without a pass is its exit status: with -l a good one has an empty report.
bool isToldByStatus(const host &one) {
    return one.passes.empty() && one.reportSize == 0U && one.status && one.evidence.count(Evidence::unknownText) == 0;
}

// Each doubt once, and of very many passes the first.
std::vector<std::string> doubtsOnPasses(const std::vector<pass> &passes) {
    constexpr size_t most = 40;
    std::vector<std::string> doubts;
    std::set<std::string> known;
    for (const pass &now : passes)
        if (now.result == PassResult::incomplete)
            if (const std::string text = doubtOn(now); known.insert(text).second && known.size() <= most)
                doubts.push_back(text);
    if (known.size() > most)
        doubts.push_back("So it is with " + std::to_string(known.size() - most) + " more passes.");
    return doubts;
}

std::vector<std::string> doubtsOn(const host &one) {
    std::vector<std::string> doubts = doubtsOnPasses(one.passes);
    if (const auto found = one.evidence.find(Evidence::notDone); found != one.evidence.end())
        doubts.push_back("Not all was checked or written: " + found->second);
    const bool bUnconfirmed = !one.status && hasBadVerdictOnErrors(one);
    if (bUnconfirmed && std::count(doubts.begin(), doubts.end(), pUnconfirmed) == 0)
        doubts.emplace_back(pUnconfirmed);
    if (one.passes.empty() && !isToldByStatus(one))
        doubts.emplace_back(one.reportSize || !one.status ? "No level was checked." : "There is no report.");
    return doubts;
}

HostResult judgeEvidence(const host &one) {
    if (!one.doubts.empty() || one.reason)
        return HostResult::unknown;
    const bool bWarning = one.evidence.count(Evidence::stopped) > 0 || hasBadVerdictOnErrors(one);
    return bWarning ? HostResult::warning : HostResult::passed;
}

HostResult judgePasses(const host &one) {
    static constexpr std::array results{HostResult::passed, HostResult::warning, HostResult::unknown,
                                        HostResult::failed};
    PassResult worst = PassResult::passed;
    for (const pass &now : one.passes)
        worst = std::max(worst, now.result);
    return results[static_cast<size_t>(worst)];
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

// --- Exit statuses ---

namespace {

struct meaning {
    int number;
    const char *pText;
};

constexpr std::array meanings{
    meaning{1, "the kernel level is too low or cannot be read"},
    meaning{2, "the program could not be started"},
    meaning{3, "a tool or library is missing or too old, or SELinux is not disabled"},
    meaning{6, "the command line is wrong"},
    meaning{7, "-v has no level, or one that is not in the file or not for this host"},
    meaning{8, "no usable prerequisites file, or the distribution is not supported"},
    meaning{9, "-o or -gui has no usable file name"},
    meaning{10, "memory is exhausted"},
    meaning{11, "a package of a high-speed network is missing"},
    meaning{12, "a package of a high-speed network is missing"},
    meaning{13, "a package of a high-speed network is missing"},
    meaning{14, "a package of a high-speed network is missing"},
    meaning{124, "the time limit of timeout(1) had passed"},
    meaning{126, "the program could not be started"},
    meaning{127, "the program was not found"},
    meaning{255, "free space is too small, or a check of -vastdw failed"},
};

constexpr std::array signals{
    meaning{1, "SIGHUP: its terminal or connection was closed"},
    meaning{2, "SIGINT: it was interrupted"},
    meaning{3, "SIGQUIT: it was interrupted"},
    meaning{4, "SIGILL"},
    meaning{6, "SIGABRT"},
    meaning{7, "SIGBUS"},
    meaning{8, "SIGFPE"},
    meaning{9, "SIGKILL: somebody killed it, or the kernel did when memory ran out"},
    meaning{11, "SIGSEGV"},
    meaning{13, "SIGPIPE: the reader of its output was gone"},
    meaning{14, "SIGALRM"},
    meaning{15, "SIGTERM: somebody ended it"},
};

template <size_t N> const char *textOf(const std::array<meaning, N> &table, int number) {
    for (const meaning &one : table)
        if (one.number == number)
            return one.pText;
    return nullptr;
}

} // namespace

std::string meaningOf(int status) {
    constexpr int firstSignal = 129, lastSignal = 192; // as shells count
    if (const char *pText = textOf(meanings, status); pText != nullptr)
        return pText;
    if (status < firstSignal || status > lastSignal)
        return "not one of kvxprereqcheck";
    const int number = status - firstSignal + 1;
    const char *pName = textOf(signals, number);
    return "the program was ended by signal " + std::to_string(number) +
           (pName == nullptr ? "" : std::string(", ") + pName);
}

} // namespace report
