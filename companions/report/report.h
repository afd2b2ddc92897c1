// What the reports of a run say about a host.
#ifndef KVX_REPORT_H
#define KVX_REPORT_H

#include "messages.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace report {

// All texts are UTF-8, as printed but without leading blanks.
struct line {
    int message = 0; // 0: not a text of the catalog
    std::vector<std::string> tokens;
    std::string text;
};

enum class CheckResult { passed, warning, error, open };

// What the owner of a host says of a warning that is accepted.
struct waiverNote {
    std::string reason;
    std::optional<std::string> until; // the last day, such as "2027-01-31"
};

struct check {
    int titleMessage = 0; // 0: the title is no text of the catalog
    std::string title;    // empty for lines before the first check
    CheckResult result = CheckResult::open;
    // Those between heading and result, those that follow the result, and the one that only the list behind the verdict
    // has.
    std::vector<line> lines;
    std::optional<waiverNote> waived = std::nullopt; // only a warning is
};

struct entry {
    std::string text;
    std::optional<CheckResult> severity; // that of its check
    int message = 0;                     // of its first line
    bool bWaived = false;                // a warning, and every check with this entry is waived
    std::vector<std::string> tokens;     // of its first line
};

// The verdict on a pass in the report.
enum class Verdict { none, good, bad };

// From good to bad.
enum class PassResult { passed, warning, incomplete, failed };

struct pass {
    std::optional<std::string> level; // none when the beginning of the report is missing
    std::optional<bool> clustered, client;
    std::optional<std::string> time;
    std::string language; // such as "de-DE"; empty when no catalog explains it
    Verdict verdict = Verdict::none;
    bool bBanner = false;     // the line that names level and kind at the start is there
    bool bTornStart = false;  // the rule before it lacks some of its characters
    bool bTornEnd = false;    // the last line has no line break, and no text explains it
    bool bFromErrors = false; // known from standard error alone, which has no checks
    std::vector<check> checks;
    std::vector<entry> entries;
    PassResult result = PassResult::incomplete;
};

// From good to bad.
enum class HostResult { passed, warning, unknown, failed };

// What a line outside of a pass means. Most such lines are on standard error.
enum class Evidence {
    stopped,    // a command took too long and was stopped
    notDone,    // something was not checked, or not written
    badVerdict, // on standard error: only the exit status tells whether an error is meant
    unknownText // on standard error: any other line that belongs to no pass
};

struct host {
    std::string name;
    std::optional<int> status;
    std::optional<std::string> reason; // why there is no report, as given with it
    std::optional<size_t> reportSize;  // none: there is no report
    std::vector<std::string> errors;
    std::vector<pass> passes;
    std::vector<pass> repeated;               // those of standard error whose levels the report has too
    std::vector<std::string> otherErrors;     // those of the errors that are not shown as passes, each once
    std::map<Evidence, std::string> evidence; // the first line of each kind
    HostResult result = HostResult::unknown;
    std::vector<note> doubts; // why the host is not known to have passed, a sentence each
};

const char *nameOf(CheckResult result);
const char *nameOf(PassResult result);
const char *nameOf(HostResult result);

// "12.1", "12.1 clustered".
std::string nameOf(const pass &one);

// Is it no check, but lines that belong to none, such as a trace?
bool isUntitled(const check &one);

} // namespace report

#endif
