// What the reports of a run say about a host.
#ifndef REPORT_H
#define REPORT_H

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

struct check {
    int titleMessage = 0; // 0: the title is no text of the catalog
    std::string title;    // empty for lines that stand in front of the first check
    CheckResult result = CheckResult::open;
    std::vector<line> lines; // those between heading and result, and those that follow the result
};

struct entry {
    std::string text;
    std::optional<CheckResult> severity; // of the check that it stands in
};

// From good to bad.
enum class PassResult { passed, warning, incomplete, failed };

struct pass {
    std::optional<std::string> level; // none where a summary does not name it, or the report begins behind its name
    std::optional<bool> clustered, client;
    std::optional<std::string> time;
    PassResult result = PassResult::incomplete;
    std::vector<check> checks;
    std::vector<entry> entries;
};

// From good to bad.
enum class HostResult { passed, warning, unknown, failed };

struct host {
    std::string name;
    std::optional<int> status;
    HostResult result = HostResult::unknown;
    std::optional<std::string> reason;
    std::vector<std::string> errors;
    std::vector<pass> passes;
    std::vector<std::string> otherErrors; // those of the errors that are not shown as passes, each once
    std::string language;                 // of the report's texts, such as "de-DE"; empty when no catalog explains it
};

const char *nameOf(CheckResult result);
const char *nameOf(PassResult result);
const char *nameOf(HostResult result);

// "12.1", "12.1 clustered".
std::string nameOf(const pass &one);

} // namespace report

#endif
