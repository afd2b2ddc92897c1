// The content for people, without layout: the worst first, each finding once.
#ifndef KVX_REPORT_OUTLINE_H
#define KVX_REPORT_OUTLINE_H

#include "advice.h"

#include <array>
#include <map>

namespace report {

// A check with one result, and all passes in which it has that result.
struct finding {
    struct detail {
        std::string text;
        std::vector<const pass *> passes; // those that have this line
        bool bOwn = false;                // the text is one of ours, in the reader's language
    };
    CheckResult result = CheckResult::error;
    std::string title; // empty for lines that are in no check
    std::vector<const pass *> passes;
    std::vector<detail> details;     // those of all its passes first
    const advice *pAdvice = nullptr; // null: no advice
    bool bOwnName = false;           // the title is a name, such as a package's, which the advice does not have
    std::optional<size_t> common;    // its number among the outline's common findings, if it is one of them
    std::optional<waiverNote> waived = std::nullopt;
};

// What was found on a host: errors, checks without a result, warnings, waived ones, and passed checks at the end. An
// entry that is in no check, as all are in a summary, is a finding of its own.
std::vector<finding> findingsOf(const host &one, const messages &own);

// The title of a check as it is shown.
std::string shownTitle(const std::string &title, const messages &own);

// "12.1", "12.1 clustered" in the reader's language.
std::string nameOf(const pass &one, const messages &own);
std::string nameOf(const std::optional<std::string> &level, const std::optional<bool> &clustered, const messages &own);

// "12.1, 11.5 clustered", at most 40 names.
std::string listOf(const std::vector<std::string> &names, const messages &own);

// "Waived until 2027-01-31: the reason".
std::string textOf(const waiverNote &note, const messages &own);

// The number of waived findings of a host.
size_t countWaived(const std::vector<finding> &findings);

// The passes that have a finding, or a line of it: "all passes", "12.1, 11.5 clustered". Empty where there is nothing
// to say: the host has one pass, the finding's lines name their passes, or all passes of the finding have the line.
std::string whereIs(const finding &one, const host &on, const messages &own);
std::string whereIs(const finding::detail &text, const finding &one, const host &on, const messages &own);

// Why a host is unknown, and the meaning of its exit status.
std::vector<std::string> notesOf(const host &one, const messages &own);

// Whether only the exit status says that a host failed: its report may be good.
bool failedByStatusAlone(const host &one);

// Why a host is unknown, in English: the reason that came with its report, or else the first doubt.
std::optional<std::string> reasonOf(const host &one);

// The language of all passes, such as "de-DE"; empty where they differ or no catalog explains them.
std::string languageOf(const host &one);

// "3 hosts: 1 failed, 1 unknown, 1 with warnings, 0 passed".
std::string countsOf(const std::vector<host> &hosts, const messages &own);

// The columns of a matrix: at most 40 levels, the newest first. Where there are more, the levels that failed or are
// incomplete on a host go in front of the others. A pass that names no level is in none.
struct levelColumns {
    std::vector<std::string> names;
    std::map<std::string, size_t> places;
    bool bClustered = false; // whether a pass with the clustered feature was made
    size_t hidden = 0;       // levels that have no column, and how many of them failed or are incomplete on a host
    size_t hiddenBad = 0;

    levelColumns() = default;
    explicit levelColumns(const std::vector<host> &hosts);
};

// "Levels not shown: 12; failed or incomplete on a host: 3."; empty when all are shown.
std::string hiddenOf(const levelColumns &levels, const messages &own);

// A host's row: for each level the pass without and the one with the clustered feature, null where none was made. Of
// several the worst.
std::vector<std::array<const pass *, 2>> rowOf(const host &one, const levelColumns &levels);

// "db01 to db40, db42".
std::string namesOf(const std::vector<std::string> &hosts, const messages &own);

// A finding that is the same on three hosts or more.
struct commonFinding {
    const host *pHost; // one of them, and what was found there
    const finding *pFinding;
    std::vector<std::string> hosts;
};

// The content of a form for people. Its parts point to each other, so it must not be moved.
struct outline {
    std::vector<host> hosts;                    // failed ones first, passed ones last, equal ones by their names
    std::vector<std::vector<finding>> findings; // of each host
    std::vector<commonFinding> common;          // the worst first, then those of the most hosts
    levelColumns levels;

    outline(std::vector<host> given, const messages &own);
    outline(const outline &) = delete;
    outline &operator=(const outline &) = delete;
};

// Advice, with the findings that it is for, as far as their titles are names such as a package's.
struct advised {
    const advice *pAdvice;
    std::vector<std::string> names;
};

std::vector<advised> adviceOf(const outline &all);

// "time service (ntpd, chronyd)".
std::string headingOf(const advised &one, const messages &own);

// The number of waived findings of all hosts.
size_t countWaived(const outline &all);

} // namespace report

#endif
