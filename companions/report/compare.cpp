#include "compare.h"

#include "judge.h"
#include "sqloPrereqCheck.h"
#include "text.h"

#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <tuple>

namespace report {

const char *nameOf(Change kind) {
    static constexpr std::array names{"worse", "unknown", "came", "went", "better", "changed", "same"};
    return names[static_cast<size_t>(kind)];
}

std::string nameOf(const passName &one) {
    return one.level.value_or("?") + (one.clustered.value_or(false) ? " clustered" : "");
}

namespace {

// --- Results ---

std::string shownResult(const check &one) {
    return one.waived ? "waived" : nameOf(one.result);
}

// Compares results by their ranks from good to bad. If the result is not known now, the change is not known either.
Change changeOf(int before, int now, int unknown) {
    if (now == unknown)
        return Change::unknown;
    return now > before ? Change::worse : now < before ? Change::better : Change::same;
}

template <typename Result> Change changeOf(Result before, Result now, Result unknown) {
    return changeOf(static_cast<int>(before), static_cast<int>(now), static_cast<int>(unknown));
}

// --- Values ---

// Is the line a value that the check found? Free space is left out, because it changes all the time.
bool isValue(const line &one) {
    static constexpr std::array values{MSG_KERNEL_FOUND,  MSG_DISTRIBUTION_FOUND, MSG_PACKAGE_FOUND_RELEASE,
                                       MSG_VERSION_FOUND, MSG_GLIBC_FOUND,        MSG_UBUNTU_FOUND,
                                       MSG_SELINUX_STATE};
    return std::count(values.begin(), values.end(), one.message) > 0;
}

// The state of SELinux is a word in the language of the report, so compare the message of the word.
bool isSameValue(const line &before, const line &now, languages &known) {
    if (before.tokens == now.tokens)
        return true;
    if (now.message != MSG_SELINUX_STATE || before.tokens.empty() || now.tokens.empty())
        return false;
    const int state = known.stateMessage(now.tokens[0]);
    return state != 0 && state == known.stateMessage(before.tokens[0]);
}

// --- A host ---

// If a key occurs several times, the first is compared with the first. The last member counts from 0.
using checkKey = std::tuple<int, std::string_view, size_t>;
using passKey = std::tuple<std::optional<std::string_view>, std::optional<bool>, size_t>;

std::map<checkKey, const check *> checksOf(const pass &one) {
    std::map<checkKey, const check *> checks;
    std::map<std::pair<int, std::string_view>, size_t> counts;
    for (const check &now : one.checks)
        if (!isUntitled(now)) {
            const std::string_view title = now.titleMessage == 0 ? std::string_view(now.title) : "";
            checks.emplace(checkKey(now.titleMessage, title, counts[{now.titleMessage, title}]++), &now);
        }
    return checks;
}

std::map<passKey, const pass *> passesOf(const host &one) {
    std::map<passKey, const pass *> passes;
    std::map<std::pair<std::optional<std::string_view>, std::optional<bool>>, size_t> counts;
    for (const pass &now : one.passes)
        passes.emplace(passKey(now.level, now.clustered, counts[{now.level, now.clustered}]++), &now);
    return passes;
}

using optionalText = std::optional<std::string>;

// Collects the changes of a host, each once for all passes that show it.
class collector {
public:
    explicit collector(languages &catalogs) : known(catalogs) {
    }

    void comparePasses(const host &before, const host &now);
    std::vector<checkChange> sorted(size_t passCount);

private:
    void comparePass(const pass &before, const pass &now);
    void compareCheck(const check &before, const check &now, const pass &in);
    void compareValues(const check &before, const check &now, const pass &in);
    void addAll(Change kind, const pass &in);
    void addCheck(Change kind, const check &one, optionalText before, optionalText now, const pass &in);
    void addPass(Change kind, const pass &one, optionalText before, optionalText now);
    void add(checkChange made, const pass &in);

    languages &known;
    std::vector<checkChange> found;
    std::map<std::string, size_t> places;
    size_t results = 0; // how many changes of results were added
};

void collector::add(checkChange made, const pass &in) {
    std::string key =
        std::string(nameOf(made.kind)) + (made.bPass ? "pass" : "") + std::to_string(made.titleMessage) + '\n';
    key += (made.titleMessage == 0 ? made.title : "") + '\n' + std::to_string(made.message) + '\n';
    key += made.before.value_or("") + '\n' + made.now.value_or("");
    const auto [place, bNew] = places.insert({key, found.size()});
    if (bNew)
        found.push_back(std::move(made));
    std::vector<passName> &passes = found[place->second].passes;
    if (passes.empty() || passes.back().level != in.level || passes.back().clustered != in.clustered)
        passes.push_back({in.level, in.clustered});
}

void collector::addCheck(Change kind, const check &one, optionalText before, optionalText now, const pass &in) {
    checkChange made;
    made.kind = kind;
    made.titleMessage = one.titleMessage;
    made.title = one.title;
    made.before = std::move(before);
    made.now = std::move(now);
    results++;
    add(std::move(made), in);
}

void collector::addPass(Change kind, const pass &one, optionalText before, optionalText now) {
    checkChange made;
    made.kind = kind;
    made.bPass = true;
    made.before = std::move(before);
    made.now = std::move(now);
    add(std::move(made), one);
}

// The pass as a whole represents its checks that passed.
void collector::addAll(Change kind, const pass &in) {
    const auto before = [=](const std::string &result) {
        return kind == Change::went ? optionalText(result) : std::nullopt;
    };
    const auto now = [=](const std::string &result) {
        return kind == Change::came ? optionalText(result) : std::nullopt;
    };
    addPass(kind, in, before(nameOf(in.result)), now(nameOf(in.result)));
    for (const check &one : in.checks)
        if (judgeCheck(one) != PassResult::passed)
            addCheck(kind, one, before(shownResult(one)), now(shownResult(one)), in);
}

void collector::compareValues(const check &before, const check &now, const pass &in) {
    std::map<std::pair<int, size_t>, const line *> earlier;
    std::map<int, size_t> counts;
    for (const line &one : before.lines)
        if (isValue(one))
            earlier[{one.message, counts[one.message]++}] = &one;
    counts.clear();
    for (const line &one : now.lines) {
        const auto found = isValue(one) ? earlier.find({one.message, counts[one.message]++}) : earlier.end();
        if (found == earlier.end() || isSameValue(*found->second, one, known))
            continue;
        checkChange made;
        made.kind = Change::changed;
        made.titleMessage = now.titleMessage;
        made.title = now.title;
        made.message = one.message;
        made.before = found->second->text;
        made.now = one.text;
        add(std::move(made), in);
    }
}

void collector::compareCheck(const check &before, const check &now, const pass &in) {
    const Change kind = changeOf(judgeCheck(before), judgeCheck(now), PassResult::incomplete);
    if (kind != Change::same)
        addCheck(kind, now, shownResult(before), shownResult(now), in);
    compareValues(before, now, in);
}

// If no check explains why the pass has another result, adds the pass as a whole.
void collector::comparePass(const pass &before, const pass &now) {
    std::map<checkKey, const check *> earlier = checksOf(before);
    const size_t resultsBefore = results;
    for (const auto &[key, pNow] : checksOf(now)) {
        const auto found = earlier.find(key);
        if (found == earlier.end())
            addCheck(Change::came, *pNow, std::nullopt, shownResult(*pNow), now);
        else {
            compareCheck(*found->second, *pNow, now);
            earlier.erase(found);
        }
    }
    for (const auto &[key, pBefore] : earlier)
        addCheck(Change::went, *pBefore, shownResult(*pBefore), std::nullopt, now);
    const Change kind = changeOf(before.result, now.result, PassResult::incomplete);
    if (kind != Change::same && results == resultsBefore)
        addPass(kind, now, nameOf(before.result), nameOf(now.result));
}

void collector::comparePasses(const host &before, const host &now) {
    std::map<passKey, const pass *> earlier = passesOf(before);
    for (const auto &[key, pNow] : passesOf(now)) {
        const auto found = earlier.find(key);
        if (found == earlier.end())
            addAll(Change::came, *pNow);
        else {
            comparePass(*found->second, *pNow);
            earlier.erase(found);
        }
    }
    for (const auto &[key, pBefore] : earlier)
        addAll(Change::went, *pBefore);
}

// A pass with the clustered feature follows the one without.
bool isBefore(const passName &a, const passName &b) {
    const std::string left = a.level.value_or(""), right = b.level.value_or("");
    return isNewerLevel(left, right) || (left == right && a.clustered < b.clustered);
}

std::vector<checkChange> collector::sorted(size_t passCount) {
    for (checkChange &one : found) {
        one.bAllPasses = passCount > 1 && one.passes.size() == passCount;
        std::stable_sort(one.passes.begin(), one.passes.end(), isBefore);
    }
    std::stable_sort(found.begin(), found.end(), [](const checkChange &a, const checkChange &b) {
        return a.kind < b.kind || (a.kind == b.kind && isBefore(a.passes[0], b.passes[0]));
    });
    return std::move(found);
}

// A check that came with an error counts as worse, if the earlier run knew the host.
bool isWorse(const checkChange &one, const host &before) {
    const bool bKnown = before.result != HostResult::unknown && !before.passes.empty();
    const bool bFailed = one.now == nameOf(CheckResult::error) || one.now == nameOf(PassResult::failed);
    return one.kind == Change::worse || (one.kind == Change::came && bFailed && bKnown);
}

bool isUnknown(const checkChange &one) {
    return one.kind == Change::went || one.now == nameOf(CheckResult::open) ||
           one.now == nameOf(PassResult::incomplete);
}

} // namespace

// --- All hosts ---

comparison::comparison(std::string nameOfEarlier, std::vector<host> hosts, languages &catalogs)
    : name(std::move(nameOfEarlier)), earlier(std::move(hosts)), known(catalogs) {
    for (const host &one : earlier)
        left.emplace(one.name, &one);
}

const host *comparison::takeEarlier(const std::string &hostName) {
    const auto found = left.lower_bound(hostName);
    if (found == left.end() || found->first != hostName)
        return nullptr;
    const host *pOne = found->second;
    left.erase(found);
    return pOne;
}

void comparison::keep(hostChange made) {
    if (made.kind != Change::same || !made.checks.empty())
        changes.push_back(std::move(made));
}

void comparison::add(const host &now) {
    hostChange made;
    made.name = now.name;
    made.now = now.result;
    const host *const pBefore = takeEarlier(now.name);
    if (pBefore == nullptr) {
        made.kind = Change::came;
        bWorse = bWorse || now.result >= HostResult::unknown;
        keep(std::move(made));
        return;
    }
    made.before = pBefore->result;
    made.kind = changeOf(pBefore->result, now.result, HostResult::unknown);
    collector found(known);
    found.comparePasses(*pBefore, now);
    made.checks = found.sorted(std::max(pBefore->passes.size(), now.passes.size()));
    made.bWorse = made.kind == Change::worse ||
                  std::any_of(made.checks.begin(), made.checks.end(),
                              [&](const checkChange &one) { return report::isWorse(one, *pBefore); });
    bWorse = bWorse || made.bWorse;
    bUnknown = bUnknown || made.kind == Change::unknown ||
               std::any_of(made.checks.begin(), made.checks.end(),
                           [](const checkChange &one) { return report::isUnknown(one); });
    keep(std::move(made));
}

void comparison::finish() {
    for (const auto &[hostName, pOne] : left) {
        hostChange made;
        made.name = hostName;
        made.kind = Change::went;
        made.before = pOne->result;
        bUnknown = true;
        keep(std::move(made));
    }
    left.clear();
    std::stable_sort(changes.begin(), changes.end(), [](const hostChange &a, const hostChange &b) {
        return std::make_tuple(a.kind != Change::worse, !a.bWorse, a.kind) <
               std::make_tuple(b.kind != Change::worse, !b.bWorse, b.kind);
    });
}

} // namespace report
