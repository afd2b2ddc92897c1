#include "suppressions.h"

#include <algorithm>
#include <string>

#include "markup.h"

namespace lint {

namespace {

constexpr std::string_view programName = "kvxprereqlint",
                           keyword = "disable=", form = "<!-- kvxprereqlint disable=RULE -->";

bool take(std::string_view &text, std::string_view part) {
    if (text.substr(0, part.size()) != part)
        return false;
    text.remove_prefix(part.size());
    return true;
}

// The rules in a comment that has exactly the form of a suppression; empty for other comments.
std::string_view namesIn(std::string_view line) {
    std::string_view text = trimmed(line);
    if (!take(text, "<!--") || text.substr(text.size() - 3) != "-->")
        return {};
    text.remove_suffix(3);
    text = trimmed(text);
    if (!take(text, programName))
        return {};
    text = trimmed(text);
    return take(text, keyword) && text.find_first_of("<> ") == npos ? text : std::string_view();
}

} // namespace

void suppressionList::take(std::string_view text, std::size_t number, bool bWholeFile, findingList &findings) {
    const std::size_t at = text.find(programName);
    if (at == npos || text.find("disable", at) == npos)
        return;
    const std::string_view names = namesIn(text);
    if (names.empty())
        findings.add(Rule::suppression, number, at + 1,
                     "this suppresses nothing: write " + std::string(form) + " alone on the line above");
    else
        add(names, number, bWholeFile, findings);
}

void suppressionList::add(std::string_view names, std::size_t number, bool bWholeFile, findingList &findings) {
    suppression given = {number, 0, {}, {}};
    while (!names.empty()) {
        const std::size_t end = std::min(names.find(','), names.size());
        const std::string_view name = names.substr(0, end);
        const Rule id = ruleOf(name);
        if (id == Rule::count)
            findings.add(Rule::suppression, number, 1, "there is no rule \1: take one that --list-rules prints", name);
        else
            given.rules.set(static_cast<std::size_t>(id));
        names.remove_prefix(std::min(end + 1, names.size()));
    }
    given.target = bWholeFile ? 0 : number + 1;
    all.push_back(given);
}

// Lets suppressions on consecutive lines all count for the line below the last one.
void suppressionList::findTargets() {
    const suppression *pBelow = nullptr;
    for (auto given = all.rbegin(); given != all.rend(); ++given) {
        if (pBelow != nullptr && given->target == pBelow->line)
            given->target = pBelow->target;
        pBelow = &*given;
    }
}

// Finds, for each rule, the first suppression that counts for the whole file.
void suppressionList::findWholeFile() {
    wholeFile.fill(nullptr);
    for (suppression &given : all)
        for (std::size_t id = 0; id < given.rules.size() && given.target == 0; id++)
            if (given.rules[id] && wholeFile[id] == nullptr)
                wholeFile[id] = &given;
}

bool suppressionList::isWanted(const finding &found, std::vector<suppression>::iterator &next) {
    const auto id = static_cast<std::size_t>(found.id);
    bool bWanted = wholeFile[id] == nullptr;
    if (!bWanted)
        wholeFile[id]->used.set(id);
    while (next != all.end() && next->target < found.line)
        ++next;
    for (auto given = next; given != all.end() && given->target == found.line; ++given)
        if (given->rules[id]) {
            given->used.set(id);
            bWanted = false;
        }
    return bWanted;
}

std::size_t suppressionList::removeUnwanted(findingList &findings) {
    findings.sortByLine();
    auto next = all.begin();
    const auto unwanted = [&](const finding &found) { return !isWanted(found, next); };
    const auto end = std::remove_if(findings.all.begin(), findings.all.end(), unwanted);
    const auto count = static_cast<std::size_t>(findings.all.end() - end);
    findings.all.erase(end, findings.all.end());
    return count;
}

std::size_t suppressionList::apply(findingList &findings, const ruleSet &silent) {
    findTargets();
    findWholeFile();
    const std::size_t count = removeUnwanted(findings);
    if (all.empty())
        return count;
    for (const suppression &given : all)
        for (std::size_t id = 0; id < given.rules.size(); id++)
            if (given.rules[id] && !given.used[id] && !silent[id] && static_cast<Rule>(id) != Rule::unusedSuppression)
                findings.add(Rule::unusedSuppression, given.line, 1,
                             "there is no finding of " + std::string(entryOf(static_cast<Rule>(id)).name) +
                                 " to suppress: delete this one");
    return count + removeUnwanted(findings);
}

} // namespace lint
