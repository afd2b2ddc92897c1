#include "outline.h"

#include "judge.h"

#include <algorithm>
#include <array>
#include <set>

namespace report {

static int rank(CheckResult result) {
    static constexpr std::array ranks{3, 2, 0, 1};
    return ranks[static_cast<size_t>(result)];
}

// An entry that stands in no check of its pass.
static bool standsAlone(const entry &one, const pass &in) {
    return !one.severity && std::none_of(in.checks.begin(), in.checks.end(), [&](const check &now) {
        return std::any_of(now.lines.begin(), now.lines.end(), [&](const line &text) { return text.text == one.text; });
    });
}

// What such an entry is: its pass tells.
static CheckResult severityIn(const pass &one) {
    static constexpr std::array severities{CheckResult::warning, CheckResult::warning, CheckResult::open,
                                           CheckResult::error};
    return severities[static_cast<size_t>(one.result)];
}

static void note(std::vector<const pass *> &passes, const pass &one) {
    if (passes.empty() || passes.back() != &one)
        passes.push_back(&one);
}

// Findings by result and title, in the order in which they were met.
namespace {
class findingList {
public:
    void add(CheckResult result, const std::string &title, const pass &in) {
        const auto [place, bNew] = known.insert({{rank(result), title}, found.size()});
        if (bNew)
            found.push_back({result, title, {}, {}});
        last = place->second;
        note(found[last].passes, in);
    }

    // A line of the finding added last.
    void addDetail(const std::string &text, const pass &in) {
        std::vector<finding::detail> &details = found[last].details;
        const auto [place, bNew] = knownDetails.insert({{last, text}, details.size()});
        if (bNew)
            details.push_back({text, {}});
        note(details[place->second].passes, in);
    }

    std::vector<finding> sorted() {
        for (finding &one : found)
            std::stable_partition(one.details.begin(), one.details.end(),
                                  [&](const finding::detail &now) { return now.passes.size() == one.passes.size(); });
        std::stable_sort(found.begin(), found.end(),
                         [](const finding &a, const finding &b) { return rank(a.result) < rank(b.result); });
        return std::move(found);
    }

private:
    std::vector<finding> found;
    std::map<std::pair<int, std::string>, size_t> known;
    std::map<std::pair<size_t, std::string>, size_t> knownDetails;
    size_t last = 0;
};
} // namespace

std::vector<finding> findingsOf(const host &one) {
    findingList findings;
    for (const pass &in : one.passes) {
        for (const check &now : in.checks) {
            findings.add(now.result, now.title.empty() ? "not in a check" : now.title, in);
            for (const line &text : now.lines)
                findings.addDetail(text.text, in);
        }
        for (const entry &now : in.entries)
            if (standsAlone(now, in)) {
                const size_t end = std::min(now.text.find('\n'), now.text.size());
                findings.add(severityIn(in), now.text.substr(0, end), in);
                if (end < now.text.size())
                    findings.addDetail(now.text.substr(end + 1), in);
            }
    }
    return findings.sorted();
}

bool finding::namesItsPasses() const {
    std::set<const pass *> named;
    for (const detail &now : details)
        if (now.passes.size() < passes.size())
            named.insert(now.passes.begin(), now.passes.end());
    return named.size() == passes.size();
}

std::string namesOf(const std::vector<const pass *> &passes, const host &one) {
    if (passes.size() == one.passes.size() && passes.size() > 1)
        return "all passes";
    std::string names;
    for (const pass *pOne : passes)
        names += (names.empty() ? "" : ", ") + nameOf(*pOne);
    return names;
}

std::vector<std::string> notesOf(const host &one) {
    std::vector<std::string> notes;
    if (one.reason)
        notes.push_back("Not known: " + *one.reason);
    notes.insert(notes.end(), one.doubts.begin(), one.doubts.end());
    if (const auto found = one.evidence.find(Evidence::stopped); found != one.evidence.end())
        notes.push_back("A check may have missed something: " + found->second);
    if (one.passes.empty() && one.result == HostResult::passed)
        notes.emplace_back("No level is reported. All that is known is the exit status, which says that none failed.");
    size_t unnamed = 0;
    for (const pass &now : one.passes)
        unnamed += !now.level && now.result == PassResult::passed ? 1 : 0;
    if (unnamed > 0)
        notes.push_back("Passes that a summary does not name, all passed: " + std::to_string(unnamed));
    if (one.status.value_or(0) != 0)
        notes.push_back("Exit status " + std::to_string(*one.status) + ": " + meaningOf(*one.status) +
                        (failedByStatusAlone(one) ? ". No check shows it; see standard error." : "."));
    return notes;
}

bool failedByStatusAlone(const host &one) {
    const auto hasFailed = [](const pass &now) { return now.result == PassResult::failed; };
    return one.result == HostResult::failed && std::none_of(one.passes.begin(), one.passes.end(), hasFailed);
}

std::optional<std::string> reasonOf(const host &one) {
    if (one.reason || one.result != HostResult::unknown || one.doubts.empty())
        return one.reason;
    return one.doubts.front();
}

std::string languageOf(const host &one) {
    std::string common = one.passes.empty() ? "" : one.passes[0].language;
    for (const pass &now : one.passes)
        if (now.language != common)
            common.clear();
    return common;
}

void sortWorstFirst(std::vector<host> &hosts) {
    std::stable_sort(hosts.begin(), hosts.end(), [](const host &a, const host &b) {
        return a.result != b.result ? a.result > b.result : a.name < b.name;
    });
}

std::string countsOf(const std::vector<host> &hosts) {
    std::array<size_t, 4> counts{};
    for (const host &one : hosts)
        counts[static_cast<size_t>(one.result)]++;
    const auto count = [&](HostResult result) { return std::to_string(counts[static_cast<size_t>(result)]); };
    return std::to_string(hosts.size()) + (hosts.size() == 1 ? " host: " : " hosts: ") + count(HostResult::failed) +
           " failed, " + count(HostResult::unknown) + " unknown, " + count(HostResult::warning) + " with warnings, " +
           count(HostResult::passed) + " passed";
}

// Compares names by their numbers, as 11.5 and 9.8; what is no number is the oldest.
static bool isNewer(const std::string &a, const std::string &b) {
    const auto numbersOf = [](const std::string &name) {
        std::vector<std::string> numbers; // as texts, which may be longer than any number
        for (size_t at = 0; (at = name.find_first_of("0123456789", at)) != std::string::npos;) {
            const size_t start = std::min(name.find_first_not_of('0', at), name.size());
            at = std::min(name.find_first_not_of("0123456789", start), name.size());
            numbers.push_back(name.substr(start, at - start));
        }
        return numbers;
    };
    const std::vector<std::string> left = numbersOf(a), right = numbersOf(b);
    for (size_t i = 0; i < std::min(left.size(), right.size()); i++)
        if (left[i] != right[i])
            return std::make_pair(left[i].size(), left[i]) > std::make_pair(right[i].size(), right[i]);
    return std::make_pair(left.size(), a) > std::make_pair(right.size(), b);
}

levelColumns::levelColumns(const std::vector<host> &hosts) {
    for (const host &one : hosts)
        for (const pass &now : one.passes) {
            if (now.level && places.insert({*now.level, 0}).second)
                names.push_back(*now.level);
            bClustered = bClustered || now.clustered.value_or(false);
        }
    std::sort(names.begin(), names.end(), isNewer);
    for (size_t i = 0; i < names.size(); i++)
        places[names[i]] = i;
}

std::vector<std::array<const pass *, 2>> rowOf(const host &one, const levelColumns &levels) {
    std::vector<std::array<const pass *, 2>> row(levels.names.size());
    for (const pass &now : one.passes)
        if (now.level) {
            const pass *&pCell = row[levels.places.at(*now.level)][now.clustered.value_or(false) ? 1 : 0];
            if (pCell == nullptr || pCell->result <= now.result)
                pCell = &now;
        }
    return row;
}

} // namespace report
