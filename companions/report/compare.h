// What has changed since an earlier run.
#ifndef KVX_REPORT_COMPARE_H
#define KVX_REPORT_COMPARE_H

#include "languages.h"
#include "report.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace report {

// A host or check is `unknown` where its result is not known now. A value has `changed`.
enum class Change { worse, unknown, came, went, better, changed, same };

struct passName {
    std::optional<std::string> level;
    std::optional<bool> clustered;
};

// A check, a value that it found, or a pass as a whole, in all passes that show the same change.
struct checkChange {
    Change kind = Change::same;
    bool bPass = false;                     // the pass as a whole
    int titleMessage = 0;                   // as in a check
    std::string title;                      //
    int message = 0;                        // of a value
    std::optional<std::string> before, now; // result or value; none: it came, or went
    std::vector<passName> passes;
    bool bAllPasses = false; // all of several
};

struct hostChange {
    std::string name;
    Change kind = Change::same;
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
    // Hosts with a change, those that got worse first.
    const std::vector<hostChange> &hosts() const {
        return changes;
    }
    // Whether something got worse, or a new host failed or has an unknown result.
    bool isWorse() const {
        return bWorse;
    }
    // Whether something cannot be told.
    bool isUnknown() const {
        return bUnknown;
    }

private:
    const host *takeEarlier(const std::string &hostName);
    void keep(hostChange made);

    std::string name;
    std::vector<host> earlier;
    std::multimap<std::string, const host *> left; // those that no host of this run was compared with
    languages &known;
    std::vector<hostChange> changes;
    bool bWorse = false, bUnknown = false;
};

const char *nameOf(Change kind);

// "12.1", "12.1 clustered".
std::string nameOf(const passName &one);

} // namespace report

#endif
