#include "compareText.h"

#include "outline.h"

#include <array>

namespace report {

std::string countsOf(const comparison &all, const messages &own) {
    std::array<size_t, 7> counts{};
    size_t worseChecks = 0;
    for (const hostChange &one : all.hosts())
        if (one.bWorse && one.kind != Change::worse)
            worseChecks++;
        else
            counts[static_cast<size_t>(one.kind)]++;
    const auto count = [&](Change kind) { return std::to_string(counts[static_cast<size_t>(kind)]); };
    return own.text(all.hosts().empty() ? Message::nothingChanged : Message::changesCounted,
                    {count(Change::worse), count(Change::unknown), count(Change::came), count(Change::went),
                     count(Change::better), count(Change::same), std::to_string(worseChecks)});
}

// The text for a result, given by its name in JSON.
static std::string wordOf(const std::string &result, const messages &own) {
    struct wordRow {
        const char *pWord;
        Message message;
    };
    static constexpr std::array rows{wordRow{"passed", Message::passed}, wordRow{"warning", Message::warning},
                                     wordRow{"failed", Message::failed}, wordRow{"unknown", Message::unknown},
                                     wordRow{"error", Message::error},   wordRow{"incomplete", Message::incomplete},
                                     wordRow{"waived", Message::waived}, wordRow{"open", Message::unknown}};
    for (const wordRow &row : rows)
        if (result == row.pWord)
            return own.text(row.message);
    return result;
}

static std::string changeOf(const std::optional<std::string> &before, const std::optional<std::string> &now,
                            const messages &own) {
    if (!now)
        return own.text(Message::resultBefore, {wordOf(before.value_or(""), own)});
    if (!before)
        return own.text(Message::resultNow, {wordOf(*now, own)});
    if (before == now)
        return own.text(Message::resultSame, {wordOf(*now, own)});
    return own.text(Message::resultChanged, {wordOf(*before, own), wordOf(*now, own)});
}

static std::optional<std::string> nameOfResult(const std::optional<HostResult> &result) {
    return result ? std::optional<std::string>(nameOf(*result)) : std::nullopt;
}

std::string changeOf(const hostChange &one, const messages &own) {
    return changeOf(nameOfResult(one.before), nameOfResult(one.now), own);
}

static std::string nameOf(const checkChange &one, const messages &own) {
    return one.bPass ? own.text(Message::wholePass) : shownTitle(one.title, own);
}

std::string titleOf(const checkChange &one, const messages &own) {
    if (one.kind == Change::changed)
        return nameOf(one, own);
    return own.text(Message::changedCheck, {nameOf(one, own), changeOf(one.before, one.now, own)});
}

std::vector<std::string> valuesOf(const checkChange &one, const messages &own) {
    if (one.kind != Change::changed)
        return {};
    return {own.text(Message::valueBefore, {one.before.value_or("")}),
            own.text(Message::valueNow, {one.now.value_or("")})};
}

std::string whereIs(const checkChange &one, const messages &own) {
    if (one.bAllPasses)
        return own.text(Message::allPasses);
    std::vector<std::string> names;
    for (const passName &name : one.passes)
        names.push_back(nameOf(name.level, name.clustered, own));
    return listOf(names, own);
}

} // namespace report
