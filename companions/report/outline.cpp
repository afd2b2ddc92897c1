#include "outline.h"

#include <algorithm>
#include <array>
#include <set>
#include <tuple>

namespace report {

static int rank(checkResult severity) {
    return severity == checkResult::error ? 0 : severity == checkResult::open ? 1 : 2;
}

// An entry that stands in no check of its pass.
static bool standsAlone(const entry &one, const pass &in) {
    return !one.severity && std::none_of(in.checks.begin(), in.checks.end(), [&](const check &now) {
        return std::any_of(now.lines.begin(), now.lines.end(), [&](const line &text) { return text.text == one.text; });
    });
}

static void note(std::vector<const pass *> &passes, const pass &one) {
    if (passes.empty() || passes.back() != &one)
        passes.push_back(&one);
}

// Problems by severity and title, in the order in which they were met.
namespace {
class problemList {
public:
    void add(checkResult severity, const std::string &title, const pass &in) {
        const auto [place, bNew] = known.insert({{rank(severity), title}, found.size()});
        if (bNew)
            found.push_back({severity, title, {}, {}});
        last = place->second;
        note(found[last].passes, in);
    }

    // A line of the problem added last.
    void addDetail(const std::string &text, const pass &in) {
        std::vector<problem::detail> &details = found[last].details;
        const auto [place, bNew] = knownDetails.insert({{last, text}, details.size()});
        if (bNew)
            details.push_back({text, {}});
        note(details[place->second].passes, in);
    }

    std::vector<problem> sorted() {
        for (problem &one : found)
            std::stable_partition(one.details.begin(), one.details.end(),
                                  [&](const problem::detail &now) { return now.passes.size() == one.passes.size(); });
        std::stable_sort(found.begin(), found.end(),
                         [](const problem &a, const problem &b) { return rank(a.severity) < rank(b.severity); });
        return std::move(found);
    }

private:
    std::vector<problem> found;
    std::map<std::pair<int, std::string>, size_t> known;
    std::map<std::pair<size_t, std::string>, size_t> knownDetails;
    size_t last = 0;
};
} // namespace

std::vector<problem> problemsOf(const host &one) {
    problemList problems;
    for (const pass &in : one.passes) {
        for (const check &now : in.checks) {
            if (now.result == checkResult::passed)
                continue;
            problems.add(now.result, now.title.empty() ? "not in a check" : now.title, in);
            for (const line &text : now.lines)
                problems.addDetail(text.text, in);
        }
        for (const entry &now : in.entries)
            if (standsAlone(now, in)) {
                const size_t end = std::min(now.text.find('\n'), now.text.size());
                problems.add(in.result == passResult::warning ? checkResult::warning : checkResult::error,
                             now.text.substr(0, end), in);
                if (end < now.text.size())
                    problems.addDetail(now.text.substr(end + 1), in);
            }
    }
    return problems.sorted();
}

bool problem::namesItsPasses() const {
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
    for (const pass &now : one.passes)
        if (now.result == passResult::incomplete)
            notes.push_back(now.level ? "Level " + nameOf(now) + " has no verdict: the report was cut off there."
                                      : "The report was cut off, or is none.");
    if (one.passes.empty() && one.result != hostResult::passed)
        notes.emplace_back("No level was checked.");
    const auto hasFailed = [](const pass &now) { return now.result == passResult::failed; };
    if (one.status.value_or(0) != 0 && std::none_of(one.passes.begin(), one.passes.end(), hasFailed))
        notes.emplace_back("No check failed, but the run did; standard error tells why.");
    if (one.status.value_or(0) != 0)
        notes.push_back("Exit status " + std::to_string(*one.status));
    if (!one.bOnlySummary)
        for (const std::string &text : one.errors)
            notes.push_back("Standard error: " + text);
    return notes;
}

void sortWorstFirst(std::vector<host> &hosts) {
    std::stable_sort(hosts.begin(), hosts.end(), [](const host &a, const host &b) {
        return std::make_tuple(b.result, std::cref(a.name)) < std::make_tuple(a.result, std::cref(b.name));
    });
}

std::string countsOf(const std::vector<host> &hosts) {
    std::array<size_t, 4> counts{};
    for (const host &one : hosts)
        counts[static_cast<size_t>(one.result)]++;
    const auto count = [&](hostResult result) { return std::to_string(counts[static_cast<size_t>(result)]); };
    return std::to_string(hosts.size()) + (hosts.size() == 1 ? " host: " : " hosts: ") + count(hostResult::failed) +
           " failed, " + count(hostResult::unknown) + " unknown, " + count(hostResult::warning) + " with warnings, " +
           count(hostResult::passed) + " passed";
}

static std::string levelOf(const pass &one) {
    return one.level.value_or("?");
}

void levelColumns::add(const host &one) {
    for (const pass &now : one.passes) {
        if (places.insert({levelOf(now), names.size()}).second)
            names.push_back(levelOf(now));
        bClustered = bClustered || now.clustered.value_or(false);
    }
}

std::vector<std::array<const pass *, 2>> rowOf(const host &one, const levelColumns &levels) {
    std::vector<std::array<const pass *, 2>> row(levels.names.size());
    for (const pass &now : one.passes)
        row[levels.places.at(levelOf(now))][now.clustered.value_or(false) ? 1 : 0] = &now;
    return row;
}

} // namespace report
