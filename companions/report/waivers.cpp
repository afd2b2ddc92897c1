#include "waivers.h"

#include "judge.h"
#include "languages.h"
#include "text.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <stdexcept>

#include "../common/words.h"

namespace report {

// --- Reading ---

static const char *const pForm = "a waiver is HOST LEVEL CHECK [text=PATTERN] [until=YYYY-MM-DD] REASON";

struct word {
    std::string text;
    bool bQuoted; // it begins with a quotation mark
};

static bool isOption(std::string_view text) {
    return text.compare(0, 5, "text=") == 0 || text.compare(0, 6, "until=") == 0;
}

// Takes the first word off a line. Blanks in double quotes belong to the word, and a backslash there protects a
// quotation mark or a backslash. In the reason, only a quotation mark at the beginning of a word is special.
static word takeWord(std::string_view &line, bool bReason) {
    word made{"", line[0] == '"'};
    bool bQuoted = false;
    size_t i = 0;
    for (; i < line.size() && (bQuoted || (line[i] != ' ' && line[i] != '\t')); i++) {
        const char c = line[i];
        if (c == '"' && (bQuoted || !bReason || i == 0))
            bQuoted = !bQuoted;
        else if (bQuoted && c == '\\' && line.find_first_of("\"\\", i + 1) == i + 1)
            made.text += line[++i];
        else
            made.text += c;
    }
    if (bQuoted)
        throw std::runtime_error("a quotation mark is not closed");
    line.remove_prefix(i);
    return made;
}

// Splits a line into words. A word that begins with # begins a comment.
static std::vector<word> wordsOf(std::string_view line) {
    std::vector<word> words;
    bool bReason = false;
    for (;;) {
        line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
        if (line.empty() || line[0] == '#')
            return words;
        bReason = bReason || (words.size() >= 3 && !isOption(line.substr(line[0] == '"' ? 1 : 0)));
        words.push_back(takeWord(line, bReason));
    }
}

static std::string withoutOuterBlanks(std::string_view text) {
    text = withoutLeadingBlanks(text);
    return std::string(text.substr(0, text.find_last_not_of(" \t") + 1));
}

// Reads a date and writes it again: 2027-02-29 would become 2027-03-01.
static bool isDate(const std::string &text) {
    std::tm date{};
    strptime(text.c_str(), "%Y-%m-%d", &date);
    timegm(&date);
    std::array<char, 16> again{};
    std::strftime(again.data(), again.size(), "%Y-%m-%d", &date);
    return text == again.data();
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

// Does a word of the reason look like an option that is misspelt or too late?
static bool isLikeOption(const word &one, bool bFirst) {
    if (one.bQuoted)
        return false;
    const size_t name = one.text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz-_");
    const bool bNamed = name != std::string::npos && name > 0 && one.text[name] == '=';
    return isOption(common::lowered(one.text)) || (bFirst && bNamed);
}

// Joins the words of the reason, which begin at an index. The line has at least one word.
static std::string reasonOf(const std::vector<word> &words, size_t first) {
    static constexpr std::array missing{"LEVEL, CHECK and REASON are", "CHECK and REASON are", "REASON is"};
    std::string reason;
    for (size_t i = first; i < words.size(); i++) {
        if (isLikeOption(words[i], i == first))
            throw std::runtime_error(visible(words[i].text) +
                                     " is in the reason: text= and until= come before the reason; write other words "
                                     "with = in double quotes");
        reason += (reason.empty() ? "" : " ") + words[i].text;
    }
    if (isBlank(reason))
        throw std::runtime_error(std::string(missing[std::min<size_t>(words.size(), 3) - 1]) + " missing: " + pForm);
    return reason;
}

waiverList::waiver waiverList::readWaiver(std::string_view line, size_t number, const std::string &today) {
    const std::vector<word> words = wordsOf(line);
    std::optional<std::string> text, until;
    size_t at = 3;
    while (at < words.size() &&
           (takeOption(words[at].text, "text=", text) || takeOption(words[at].text, "until=", until)))
        at++;
    const std::string reason = reasonOf(words, at);
    if (until && !isDate(*until))
        throw std::runtime_error("until=" + visible(*until) + " is no date such as until=2027-01-31");
    const bool bPast = until && *until < today;
    return {number,
            words[0].text,
            words[1].text,
            shellPattern(words[0].text),
            shellPattern(words[1].text),
            withoutOuterBlanks(words[2].text),
            text ? std::optional(shellPattern(*text)) : std::nullopt,
            {reason, until},
            bPast};
}

waiverList::waiverList(std::string fileName, std::string_view text, const std::string &today)
    : name(std::move(fileName)) {
    const codeSet utf8("utf8");
    std::string faults;
    for (size_t number = 1; !text.empty(); number++) {
        const std::string line = utf8.toUtf8(nextLine(text));
        const size_t first = line.find_first_not_of(" \t");
        if (first == std::string::npos || line[first] == '#')
            continue;
        try {
            waivers.push_back(readWaiver(line, number, today));
        } catch (const std::runtime_error &fault) {
            faults += (faults.empty() ? "" : "\n") + name + ", line " + std::to_string(number) + ": " + fault.what();
        }
    }
    if (!faults.empty())
        throw std::runtime_error(faults);
    met.resize(waivers.size());
}

std::string today() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    std::array<char, 16> date{};
    if (localtime_r(&now, &local) == nullptr)
        throw std::runtime_error("the date of this machine cannot be told");
    std::strftime(date.data(), date.size(), "%Y-%m-%d", &local);
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

static std::string idOf(const check &one) {
    return one.titleMessage == 0 ? withoutOuterBlanks(one.title) : std::to_string(one.titleMessage);
}

bool waiverList::isMeant(const waiver &one, const check &met, const restMap &rests) {
    if (one.check != idOf(met))
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

waiverList::Reach waiverList::reachOf(const waiver &one, const check &met, const restMap &rests) {
    if (one.check != idOf(met))
        return one.check == withoutOuterBlanks(met.title) ? Reach::title : Reach::level;
    if (met.result != CheckResult::passed)
        return Reach::check;
    return isMeant(one, met, rests) ? Reach::good : Reach::goodOtherLine;
}

void waiverList::noteReach(const waiver &one, const host &in, meeting &reached) {
    if (!one.host.matches(in.name))
        return;
    reached.reach = std::max(reached.reach, Reach::host);
    for (const pass &now : in.passes) {
        if (!one.level.matches(now.level.value_or("")))
            continue;
        reached.reach = std::max(reached.reach, Reach::level);
        const restMap rests = one.text ? restsOf(now) : restMap();
        for (const check &met : now.checks) {
            const Reach reach = reachOf(one, met, rests);
            if (reach == Reach::title)
                reached.id = idOf(met);
            reached.reach = std::max(reached.reach, reach);
        }
    }
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
    for (size_t i = 0; i < waivers.size(); i++)
        noteReach(waivers[i], one, met[i]);
    if (mark(one))
        judge(one);
}

// --- Complaints ---

// Says which part of a waiver matched nothing.
std::string waiverList::withoutWarning(const waiver &one, const meeting &reached) {
    const std::string hostName = visible(one.hostName), level = visible(one.levelName), check = visible(one.check);
    const std::string where = ", on hosts " + hostName + ", level " + level;
    switch (reached.reach) {
    case Reach::none: return "no host matches " + hostName;
    case Reach::host: return "no level matches " + level + ", on hosts " + hostName;
    case Reach::level: return "no check has the id " + check + where;
    case Reach::title: return check + " has the id " + reached.id + ": write that in its place";
    case Reach::check: return "text= matches no line of check " + check + where;
    default: return "check " + check + " has no warning now" + where + ": remove this line";
    }
}

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
            all.push_back(where + "this waiver meets no warning: " + withoutWarning(waivers[i], met[i]));
    }
    return all;
}

} // namespace report
