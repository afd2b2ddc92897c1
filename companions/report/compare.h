// Compares hosts with those of an earlier run.
#ifndef KVX_REPORT_COMPARE_H
#define KVX_REPORT_COMPARE_H

#include "languages.h"
#include "report.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace report {

// The change of a host, a check or a pass; only a value has `changed`. `unknown`: the result is not known now.
enum class Change { worse, unknown, came, went, better, changed, same };

struct passName {
    std::optional<std::string> level;
    std::optional<bool> clustered;
};

// The change of a check, of a value that it found, or of whole passes; once for all passes that show it.
struct checkChange {
    Change kind = Change::same;
    bool bPass = false;                     // the pass as a whole
    int titleMessage = 0;                   // as in a check
    std::string title;                      //
    int message = 0;                        // of a value
    std::optional<std::string> before, now; // results or values; empty if the check came or went
    std::vector<passName> passes;
    bool bAllPasses = false; // all passes of the host show it, and it has several
};

struct hostChange {
    std::string name;
    Change kind = Change::same;
    bool bWorse = false; // the host or one of its checks got worse
    std::optional<HostResult> before, now;
    std::vector<checkChange> checks; // the worst kind first
};

class comparison {
public:
    comparison(std::string nameOfEarlier, std::vector<host> hosts, languages &catalogs);

    // Compares a host of this run with the earlier one of that name; hosts of one name are compared in their order. A
    // host without an earlier one came. Keeps a host only if something changed. Call finish after the last host.
    void add(const host &now);
    // Adds the hosts that went.
    void finish();

    const std::string &since() const {
        return name;
    }
    // The hosts with a change: first those that got worse, then those with checks that got worse.
    const std::vector<hostChange> &hosts() const {
        return changes;
    }
    // Whether something got worse, or a new host failed or has an unknown result.
    bool isWorse() const {
        return bWorse;
    }
    // Whether a host or a check is unknown now, or went.
    bool isUnknown() const {
        return bUnknown;
    }

private:
    const host *takeEarlier(const std::string &hostName);
    void keep(hostChange made);

    std::string name;
    std::vector<host> earlier;
    std::multimap<std::string, const host *> left; // hosts that were not compared yet
    languages &known;
    std::vector<hostChange> changes;
    bool bWorse = false, bUnknown = false;
};

const char *nameOf(Change kind);

// "12.1", "12.1 clustered".
std::string nameOf(const passName &one);

} // namespace report

#endif
