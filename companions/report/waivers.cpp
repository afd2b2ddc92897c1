#include "waivers.h"

#include "judge.h"
#include "languages.h"
#include "text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <stdexcept>

namespace report {

// --- Reading ---

static const char *const pForm = "a waiver is HOST LEVEL CHECK [text=PATTERN] [until=YYYY-MM-DD] REASON";

// Splits a line into words. Blanks in double quotes belong to a word, and a backslash there protects a quotation mark
// or a backslash. A word that begins with # begins a comment.
static std::vector<std::string> wordsOf(std::string_view line) {
    std::vector<std::string> words;
    bool bWord = false, bQuoted = false;
    for (size_t i = 0; i < line.size(); i++) {
        const char c = line[i];
        if (!bQuoted && (c == ' ' || c == '\t')) {
            bWord = false;
            continue;
        }
        if (!bWord && c == '#')
            break;
        if (!bWord)
            words.emplace_back();
        bWord = true;
        if (c == '"')
            bQuoted = !bQuoted;
        else if (bQuoted && c == '\\' && i + 1 < line.size() && (line[i + 1] == '"' || line[i + 1] == '\\'))
            words.back() += line[++i];
        else
            words.back() += c;
    }
    if (bQuoted)
        throw std::runtime_error("a quotation mark is not closed");
    return words;
}

static bool isDate(const std::string &text) {
    static constexpr std::array lengths{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    std::string digits = text;
    if (text.size() != 10 || text[4] != '-' || text[7] != '-')
        return false;
    digits.erase(7, 1).erase(4, 1);
    if (digits.find_first_not_of("0123456789") != std::string::npos)
        return false;
    const int year = std::stoi(digits.substr(0, 4));
    const auto month = static_cast<size_t>(std::stoi(digits.substr(4, 2)));
    const int day = std::stoi(digits.substr(6));
    const bool bLeap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return month >= 1 && month <= lengths.size() && day >= 1 &&
           day <= lengths[month - 1] + (month == 2 && bLeap ? 1 : 0);
}

// Takes the value of a word NAME=VALUE. A name may occur once.
static bool takeOption(const std::string &word, std::string_view name, std::optional<std::string> &value) {
    if (word.compare(0, name.size(), name) != 0)
        return false;
    if (value)
        throw std::runtime_error(std::string(name) + " is given twice");
    value = word.substr(name.size());
    return true;
}

waiverList::waiver waiverList::readWaiver(std::string_view line, size_t number, const std::string &today) {
    const std::vector<std::string> words = wordsOf(line);
    std::optional<std::string> text, until;
    size_t at = 3;
    while (at < words.size() && (takeOption(words[at], "text=", text) || takeOption(words[at], "until=", until)))
        at++;
    std::string reason;
    for (size_t i = at; i < words.size(); i++)
        reason += (reason.empty() ? "" : " ") + words[i];
    if (words.size() < 3 || isBlank(reason))
        throw std::runtime_error(pForm);
    if (until && !isDate(*until))
        throw std::runtime_error("until=" + visible(*until) + " is no date such as until=2027-01-31");
    const bool bPast = until && *until < today;
    return {number,
            shellPattern(words[0]),
            shellPattern(words[1]),
            words[2],
            text ? std::optional(shellPattern(*text)) : std::nullopt,
            {reason, until},
            bPast};
}

waiverList::waiverList(std::string fileName, std::string_view text, const std::string &today)
    : name(std::move(fileName)) {
    const codeSet utf8("utf8");
    for (size_t number = 1; !text.empty(); number++) {
        const std::string line = utf8.toUtf8(nextLine(text));
        const size_t first = line.find_first_not_of(" \t");
        if (first == std::string::npos || line[first] == '#')
            continue;
        try {
            waivers.push_back(readWaiver(line, number, today));
        } catch (const std::runtime_error &fault) {
            throw std::runtime_error(name + ", line " + std::to_string(number) + ": " + fault.what());
        }
    }
    met.resize(waivers.size());
}

std::string today() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    std::array<char, 16> date{};
    if (localtime_r(&now, &local) == nullptr || std::strftime(date.data(), date.size(), "%Y-%m-%d", &local) == 0)
        throw std::runtime_error("the date of this machine cannot be told");
    return date.data();
}

// --- Applying ---

// Some lines about a check are only in the list behind the verdict: finds them by the line that they follow there.
waiverList::restMap waiverList::restsOf(const pass &one) {
    restMap rests;
    for (const entry &now : one.entries) {
        const std::string_view text = now.text;
        const size_t end = text.find('\n');
        if (end != std::string_view::npos)
            rests.emplace(text.substr(0, end), text.substr(end + 1));
    }
    return rests;
}

bool waiverList::isMeant(const waiver &one, const check &met, const restMap &rests) {
    if (one.check != (met.titleMessage == 0 ? met.title : std::to_string(met.titleMessage)))
        return false;
    return !one.text || std::any_of(met.lines.begin(), met.lines.end(), [&](const line &now) {
        const auto rest = rests.find(now.text);
        return one.text->matches(now.text) || (rest != rests.end() && one.text->matches(rest->second));
    });
}

template <typename Host, typename Meet> void waiverList::meetAll(Host &one, Meet meet) const {
    for (size_t i = 0; i < waivers.size(); i++) {
        const waiver &now = waivers[i];
        if (now.bPast || !now.host.matches(one.name))
            continue;
        for (auto &in : one.passes) {
            if (!now.level.matches(in.level.value_or("")))
                continue;
            const restMap rests = now.text ? restsOf(in) : restMap();
            for (auto &met : in.checks)
                if (met.result != CheckResult::passed && isMeant(now, met, rests))
                    meet(i, in, met);
        }
    }
}

bool waiverList::mark(host &one) const {
    bool bMarked = false;
    meetAll(one, [&](size_t number, const pass &, check &met) {
        if (met.result != CheckResult::warning || met.waived)
            return;
        met.waived = waivers[number].note;
        bMarked = true;
    });
    return bMarked;
}

void waiverList::apply(host &one) {
    const auto refuse = [&](refusal &refused, const pass &in, const check &now) {
        if (refused.count++ == 0)
            refused.first = visible(one.name) + ", level " + visible(nameOf(in)) + ", " + visible(now.title);
    };
    meetAll(one, [&](size_t number, const pass &in, const check &now) {
        if (now.result == CheckResult::warning)
            met[number].bWarning = true;
        else
            refuse(now.result == CheckResult::error ? met[number].error : met[number].open, in, now);
    });
    if (mark(one))
        judge(one);
}

// --- Complaints ---

std::vector<std::string> waiverList::complaints() const {
    std::vector<std::string> all;
    for (size_t i = 0; i < waivers.size(); i++) {
        const std::string where = name + ", line " + std::to_string(waivers[i].line) + ": ";
        const auto complain = [&](const refusal &one, const char *pWhat) {
            if (one.count > 0)
                all.push_back(where + pWhat + one.first +
                              (one.count > 1 ? ", and " + std::to_string(one.count - 1) + " more" : ""));
        };
        complain(met[i].error, "an error is not waived: ");
        complain(met[i].open, "a check without a result is not waived: ");
        if (waivers[i].bPast)
            all.push_back(where + "this waiver ended on " + *waivers[i].note.until);
        else if (!met[i].bWarning && met[i].error.count + met[i].open.count == 0)
            all.push_back(where + "this waiver meets no warning");
    }
    return all;
}

} // namespace report
