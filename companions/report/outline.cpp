#include "outline.h"

#include "judge.h"
#include "sqloPrereqCheck.h"
#include "text.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <set>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <unordered_set>

namespace report {

// From the first to the last that is shown.
enum class Rank { error, open, warning, waived, passed };

static Rank rank(CheckResult result, bool bWaived) {
    static constexpr std::array ranks{Rank::passed, Rank::warning, Rank::error, Rank::open};
    return bWaived ? Rank::waived : ranks[static_cast<size_t>(result)];
}

static Rank rank(const finding &one) {
    return rank(one.result, one.waived.has_value());
}

static std::string keyOf(const std::optional<waiverNote> &note) {
    return note ? note->until.value_or("") + '\n' + note->reason : "";
}

// Whether an entry belongs to no check of its pass.
static bool standsAlone(const entry &one, const std::unordered_set<std::string_view> &lines) {
    return !one.severity && lines.count(one.text) == 0;
}

static std::unordered_set<std::string_view> linesOf(const pass &one) {
    std::unordered_set<std::string_view> lines;
    for (const check &now : one.checks)
        for (const line &text : now.lines)
            lines.insert(text.text);
    return lines;
}

// What such an entry is: its pass tells.
static CheckResult severityIn(const pass &one) {
    static constexpr std::array severities{CheckResult::warning, CheckResult::warning, CheckResult::open,
                                           CheckResult::error};
    return severities[static_cast<size_t>(one.result)];
}

static void addPass(std::vector<const pass *> &passes, const pass &one) {
    if (passes.empty() || passes.back() != &one)
        passes.push_back(&one);
}

// Findings by result, title and waiver, in the order in which they were met.
namespace {
class findingList {
public:
    void add(CheckResult result, const std::string &title, const pass &in,
             const std::optional<waiverNote> &waived = std::nullopt) {
        const auto [place, bNew] =
            known.insert({{rank(result, waived.has_value()), title, keyOf(waived)}, found.size()});
        if (bNew)
            found.push_back({result, title, {}, {}, nullptr, false, {}, waived});
        last = place->second;
        addPass(found[last].passes, in);
    }

    // A line of the finding added last.
    void addDetail(const std::string &text, const pass &in, bool bOwn = false) {
        std::vector<finding::detail> &details = found[last].details;
        const auto [place, bNew] = knownDetails.insert({{last, text}, details.size()});
        if (bNew)
            details.push_back({text, {}, bOwn});
        addPass(details[place->second].passes, in);
    }

    void advise(const advice *pAdvice, bool bOwnName) {
        finding &one = found[last];
        if (one.pAdvice != nullptr || pAdvice == nullptr)
            return;
        one.pAdvice = pAdvice;
        one.bOwnName = bOwnName && one.title.rfind(english().text(pAdvice->kind), 0) != 0;
    }

    std::vector<finding> sorted() {
        for (finding &one : found)
            std::stable_partition(one.details.begin(), one.details.end(),
                                  [&](const finding::detail &now) { return now.passes.size() == one.passes.size(); });
        std::stable_sort(found.begin(), found.end(),
                         [](const finding &a, const finding &b) { return rank(a) < rank(b); });
        return std::move(found);
    }

private:
    std::vector<finding> found;
    std::map<std::tuple<Rank, std::string, std::string>, size_t> known;
    std::map<std::pair<size_t, std::string>, size_t> knownDetails;
    size_t last = 0;
};
} // namespace

// What entries say below their first lines that no check says, by the first lines.
static std::unordered_map<std::string_view, std::string> restsOf(const pass &one,
                                                                 const std::unordered_set<std::string_view> &lines) {
    std::unordered_map<std::string_view, std::string> rests;
    for (const entry &now : one.entries) {
        const std::string_view text = now.text;
        const size_t end = text.find('\n');
        if (end != std::string_view::npos && lines.count(text.substr(end + 1)) == 0)
            rests.emplace(text.substr(0, end), text.substr(end + 1));
    }
    return rests;
}

// The greatest umask is a requirement in the words that every lowest version has.
static bool isUmaskRequirement(const line &one) {
    return one.message == MSG_REQUIRED_WITH_RELEASE && one.tokens.size() > 1 && one.tokens[0] == "UMASK";
}

static void addCheck(findingList &findings, const check &one, const pass &in,
                     const std::unordered_map<std::string_view, std::string> &rests, const messages &own) {
    findings.add(one.result, one.title, in, one.waived);
    findings.advise(adviceOn(one), one.titleMessage == 0 && !one.title.empty());
    for (const line &text : one.lines) {
        if (isUmaskRequirement(text))
            findings.addDetail(own.text(Message::umaskRequired, {text.tokens[1]}), in, true);
        else
            findings.addDetail(text.text, in);
        const auto rest = rests.find(text.text);
        if (rest != rests.end() && one.result != CheckResult::passed)
            findings.addDetail(rest->second, in);
    }
}

static void addEntry(findingList &findings, const entry &one, const pass &in) {
    const size_t end = std::min(one.text.find('\n'), one.text.size());
    findings.add(severityIn(in), one.text.substr(0, end), in);
    findings.advise(adviceOn(one.message, one.text), false);
    if (end < one.text.size())
        findings.addDetail(one.text.substr(end + 1), in);
}

std::vector<finding> findingsOf(const host &one, const messages &own) {
    findingList findings;
    for (const pass &in : one.passes) {
        const std::unordered_set<std::string_view> lines = linesOf(in);
        const std::unordered_map<std::string_view, std::string> rests = restsOf(in, lines);
        for (const check &now : in.checks)
            addCheck(findings, now, in, rests, own);
        for (const entry &now : in.entries)
            if (in.checks.empty() || standsAlone(now, lines))
                addEntry(findings, now, in);
    }
    return findings.sorted();
}

// Whether the lines say of each pass that it is one of several.
static bool namesItsPasses(const finding &one) {
    std::set<const pass *> named;
    for (const finding::detail &now : one.details)
        if (now.passes.size() < one.passes.size())
            named.insert(now.passes.begin(), now.passes.end());
    return named.size() == one.passes.size();
}

// Some titles of the program end in a blank, as "umask ".
std::string shownTitle(const std::string &title, const messages &own) {
    return isBlank(title) ? own.text(Message::notInCheck) : title.substr(0, title.find_last_not_of(' ') + 1);
}

std::string nameOf(const std::optional<std::string> &level, const std::optional<bool> &clustered, const messages &own) {
    const std::string name = level.value_or("?");
    return clustered.value_or(false) ? own.text(Message::passClustered, {name}) : name;
}

std::string nameOf(const pass &one, const messages &own) {
    return nameOf(one.level, one.clustered, own);
}

std::string textOf(const waiverNote &note, const messages &own) {
    return note.until ? own.text(Message::waivedUntil, {*note.until, note.reason})
                      : own.text(Message::waivedAlways, {note.reason});
}

size_t countWaived(const std::vector<finding> &findings) {
    return static_cast<size_t>(
        std::count_if(findings.begin(), findings.end(), [](const finding &one) { return one.waived.has_value(); }));
}

static std::string joined(const std::string &names, const std::string &one, const messages &own) {
    return names.empty() ? one : own.text(Message::listed, {names, one});
}

static std::string listOf(const std::vector<std::string> &names, size_t most, const messages &own) {
    std::string list;
    for (size_t i = 0; i < std::min(names.size(), most); i++)
        list = joined(list, names[i], own);
    return names.size() > most ? own.text(Message::listedAndMore, {list, std::to_string(names.size() - most)}) : list;
}

std::string listOf(const std::vector<std::string> &names, const messages &own) {
    constexpr size_t most = 40;
    return listOf(names, most, own);
}

static std::string namesOf(const std::vector<const pass *> &passes, const host &on, const messages &own) {
    if (passes.size() == on.passes.size() && passes.size() > 1)
        return own.text(Message::allPasses);
    std::vector<std::string> names;
    names.reserve(passes.size());
    for (const pass *pOne : passes)
        names.push_back(nameOf(*pOne, own));
    return listOf(names, own);
}

std::string whereIs(const finding &one, const host &on, const messages &own) {
    return on.passes.size() > 1 && !namesItsPasses(one) ? namesOf(one.passes, on, own) : "";
}

std::string whereIs(const finding::detail &text, const finding &one, const host &on, const messages &own) {
    return text.passes.size() < one.passes.size() ? namesOf(text.passes, on, own) : "";
}

std::vector<std::string> notesOf(const host &one, const messages &own) {
    std::vector<std::string> notes;
    if (one.reason)
        notes.push_back(own.text(Message::unknownBecause, {*one.reason}));
    for (const note &doubt : one.doubts)
        notes.push_back(doubt.in(own));
    if (const auto found = one.evidence.find(Evidence::stopped); found != one.evidence.end())
        notes.push_back(own.text(Message::commandStopped, {found->second}));
    if (one.passes.empty() && one.result == HostResult::passed)
        notes.push_back(own.text(Message::onlyStatusKnown));
    if (one.status.value_or(0) != 0)
        notes.push_back(own.text(failedByStatusAlone(one) ? Message::statusAloneMeans : Message::statusMeans,
                                 {std::to_string(*one.status), meaningOf(*one.status, own)}));
    return notes;
}

bool failedByStatusAlone(const host &one) {
    const auto hasFailed = [](const pass &now) { return now.result == PassResult::failed; };
    return one.result == HostResult::failed && std::none_of(one.passes.begin(), one.passes.end(), hasFailed);
}

std::optional<std::string> reasonOf(const host &one) {
    if (one.reason || one.result != HostResult::unknown || one.doubts.empty())
        return one.reason;
    return one.doubts.front().in(english());
}

std::string languageOf(const host &one) {
    std::string common = one.passes.empty() ? "" : one.passes[0].language;
    for (const pass &now : one.passes)
        if (now.language != common)
            common.clear();
    return common;
}

static void sortWorstFirst(std::vector<host> &hosts) {
    std::stable_sort(hosts.begin(), hosts.end(), [](const host &a, const host &b) {
        return a.result != b.result ? a.result > b.result : a.name < b.name;
    });
}

std::string countsOf(const std::vector<host> &hosts, const messages &own) {
    std::array<size_t, 4> counts{};
    for (const host &one : hosts)
        counts[static_cast<size_t>(one.result)]++;
    const auto count = [&](HostResult result) { return std::to_string(counts[static_cast<size_t>(result)]); };
    return own.text(hosts.size() == 1 ? Message::oneHostCounted : Message::hostsCounted,
                    {std::to_string(hosts.size()), count(HostResult::failed), count(HostResult::unknown),
                     count(HostResult::warning), count(HostResult::passed)});
}

levelColumns::levelColumns(const std::vector<host> &hosts) {
    constexpr size_t most = 40;
    std::map<std::string, PassResult> worst;
    for (const host &one : hosts)
        for (const pass &now : one.passes) {
            bClustered = bClustered || now.clustered.value_or(false);
            if (now.level)
                worst[*now.level] = std::max(worst[*now.level], now.result);
        }
    const auto isBad = [&](const std::string &name) { return worst[name] >= PassResult::incomplete; };
    for (const auto &[name, result] : worst)
        names.push_back(name);
    std::sort(names.begin(), names.end(), isNewerLevel);
    if (names.size() > most) {
        std::stable_partition(names.begin(), names.end(), isBad);
        hidden = names.size() - most;
        hiddenBad = static_cast<size_t>(std::count_if(names.begin() + most, names.end(), isBad));
        names.resize(most);
        std::sort(names.begin(), names.end(), isNewerLevel);
    }
    for (size_t i = 0; i < names.size(); i++)
        places[names[i]] = i;
}

std::string hiddenOf(const levelColumns &levels, const messages &own) {
    if (levels.hidden == 0)
        return "";
    return own.text(Message::levelsNotShown, {std::to_string(levels.hidden), std::to_string(levels.hiddenBad)});
}

std::vector<std::array<const pass *, 2>> rowOf(const host &one, const levelColumns &levels) {
    std::vector<std::array<const pass *, 2>> row(levels.names.size());
    for (const pass &now : one.passes) {
        const auto place = now.level ? levels.places.find(*now.level) : levels.places.end();
        if (place == levels.places.end())
            continue;
        const pass *&pCell = row.at(place->second)[now.clustered.value_or(false) ? 1 : 0];
        if (pCell == nullptr || pCell->result <= now.result)
            pCell = &now;
    }
    return row;
}

// --- Names of hosts ---

namespace {

// A name with a number in it: of its first label, as db07.example.com, the last digits.
struct numberedName {
    std::string whole, before, after;
    size_t width = 0;
    unsigned long number = 0;

    explicit numberedName(const std::string &name) : whole(name), before(name) {
        constexpr size_t mostDigits = 9;
        const size_t label = std::min(name.find('.'), name.size());
        const size_t end = name.substr(0, label).find_last_of("0123456789") + 1; // 0: none
        size_t start = end;
        while (start > 0 && name[start - 1] >= '0' && name[start - 1] <= '9')
            start--;
        if (end == start || end - start > mostDigits)
            return;
        before = name.substr(0, start);
        after = name.substr(end);
        width = end - start;
        number = std::stoul(name.substr(start, width));
    }

    bool isBehind(const numberedName &other) const {
        const bool bSameWidth = width == other.width || (width == other.width + 1 && whole[before.size()] != '0');
        return other.width > 0 && bSameWidth && before == other.before && after == other.after &&
               number == other.number + 1;
    }
};

} // namespace

std::string namesOf(const std::vector<std::string> &hosts, const messages &own) {
    constexpr size_t most = 20;
    std::vector<numberedName> names(hosts.begin(), hosts.end());
    std::sort(names.begin(), names.end(), [](const numberedName &a, const numberedName &b) {
        return std::tie(a.before, a.after, a.number, a.whole) < std::tie(b.before, b.after, b.number, b.whole);
    });
    std::string text;
    size_t parts = 0;
    for (size_t i = 0; i < names.size(); parts++) {
        size_t last = i;
        while (last + 1 < names.size() && names[last + 1].isBehind(names[last]))
            last++;
        if (parts == most)
            return own.text(Message::listedAndMore, {text, std::to_string(names.size() - i)});
        last = last < i + 2 ? i : last; // two names are no range
        text = joined(
            text, last > i ? own.text(Message::nameRange, {names[i].whole, names[last].whole}) : names[i].whole, own);
        i = last + 1;
    }
    return text;
}

// --- All hosts ---

// Equal texts are equal findings.
static std::string keyOf(const finding &one, const host &on, const messages &own) {
    std::string key = nameOf(one.result) + ('\n' + one.title) + '\n' + keyOf(one.waived) + '\n' + whereIs(one, on, own);
    for (const finding::detail &text : one.details)
        key += '\n' + whereIs(text, one, on, own) + '\n' + text.text;
    return key;
}

outline::outline(std::vector<host> given, const messages &own) : hosts(std::move(given)) {
    constexpr size_t several = 3;
    sortWorstFirst(hosts);
    levels = levelColumns(hosts);
    std::map<std::string, size_t> known;
    std::vector<commonFinding> all;
    std::vector<std::vector<finding *>> members;
    for (const host &one : hosts)
        findings.push_back(findingsOf(one, own));
    for (size_t i = 0; i < hosts.size(); i++)
        for (finding &now : findings[i]) {
            if (now.result == CheckResult::passed)
                continue;
            const auto [place, bNew] = known.insert({keyOf(now, hosts[i], own), all.size()});
            if (bNew) {
                all.push_back({&hosts[i], &now, {}});
                members.emplace_back();
            }
            all[place->second].hosts.push_back(hosts[i].name);
            members[place->second].push_back(&now);
        }
    std::vector<size_t> order(all.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) {
        return std::make_pair(rank(*all[a].pFinding), all[b].hosts.size()) <
               std::make_pair(rank(*all[b].pFinding), all[a].hosts.size());
    });
    for (const size_t one : order)
        if (all[one].hosts.size() >= several) {
            for (finding *pMember : members[one])
                pMember->common = common.size();
            common.push_back(all[one]);
        }
}

std::vector<advised> adviceOf(const outline &all) {
    std::map<const advice *, std::vector<std::string>> names;
    std::set<std::pair<const advice *, std::string>> known;
    for (const std::vector<finding> &onHost : all.findings)
        for (const finding &now : onHost)
            if (now.bOwnName && known.emplace(now.pAdvice, now.title).second)
                names[now.pAdvice].push_back(now.title);
    std::vector<advised> found;
    for (const advice *pOne : adviceOn(all.hosts))
        found.push_back({pOne, std::move(names[pOne])});
    return found;
}

std::string headingOf(const advised &one, const messages &own) {
    constexpr size_t most = 10;
    const std::string kind = own.text(one.pAdvice->kind);
    return one.names.empty() ? kind : kind + " (" + listOf(one.names, most, own) + ")";
}

size_t countWaived(const outline &all) {
    size_t count = 0;
    for (const std::vector<finding> &one : all.findings)
        count += countWaived(one);
    return count;
}

} // namespace report
