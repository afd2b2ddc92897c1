// What people look for in reports: the worst first, each fault once.
#ifndef REPORT_OUTLINE_H
#define REPORT_OUTLINE_H

#include "report.h"

#include <array>
#include <map>

namespace report {

// A check with one result, in all passes where it came to that.
struct finding {
    struct detail {
        std::string text;
        std::vector<const pass *> passes; // those that have this line
    };
    CheckResult result = CheckResult::error;
    std::string title;
    std::vector<const pass *> passes;
    std::vector<detail> details; // those of all its passes first

    // Whether the details say of each pass that it is one of several.
    bool namesItsPasses() const;
};

// What was found on a host: errors, checks without a result, warnings, and passed checks at the end. An entry that
// stands in no check, as all do in a summary, is a finding of its own.
std::vector<finding> findingsOf(const host &one);

// The names of passes, "all passes" where these are all of several.
std::string namesOf(const std::vector<const pass *> &passes, const host &one);

// What else is to be said of a host: why it is unknown, what its status means.
std::vector<std::string> notesOf(const host &one);

// Whether only the exit status tells that a host failed: all that its report shows may be good.
bool failedByStatusAlone(const host &one);

// Why a host is unknown: the reason that came with its report, or else the first doubt.
std::optional<std::string> reasonOf(const host &one);

// The language of all passes, such as "de-DE"; empty where they differ or no catalog explains them.
std::string languageOf(const host &one);

// Failed hosts first, passed ones last, equal ones by their names.
void sortWorstFirst(std::vector<host> &hosts);

// "3 hosts: 1 failed, 1 unknown, 1 with warnings, 0 passed".
std::string countsOf(const std::vector<host> &hosts);

// The levels of all hosts, the newest first, and their columns in a matrix. A pass that names no level is in none.
struct levelColumns {
    std::vector<std::string> names;
    std::map<std::string, size_t> places;
    bool bClustered = false; // whether a pass with the clustered feature was made

    levelColumns() = default;
    explicit levelColumns(const std::vector<host> &hosts);
};

// A host's row: for each level the pass without and the one with the clustered feature, null where none was made.
// Of several the worst.
std::vector<std::array<const pass *, 2>> rowOf(const host &one, const levelColumns &levels);

} // namespace report

#endif
