// Explains what a level requires of a host that need not exist, and lists the levels of a file.
#ifndef KVX_LINT_EXPLAIN_H
#define KVX_LINT_EXPLAIN_H

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace lint {

struct describedHost {
    std::string distribution; // one of the program's names
    std::string release;      // as its release file has it, such as 9.4
    std::string servicePack;  // empty: the release says it
    std::string kernel;       // empty: not known, and conditions on it hold
    bool bClustered = false;  // explain the clustered pass
    bool bClient = false;     // explain the checks of a client
};

struct givenValue {
    std::size_t line;
    std::string text;
};

struct shownValue {
    int tag;
    givenValue counted;
    std::vector<givenValue> replaced; // the last line first
};

struct shownCheck {
    std::string_view name;
    std::string note;  // why the check does not run although the level gives values for it; or empty
    std::string level; // the three-part level that its values make; empty for other checks
    std::vector<shownValue> values;
    std::vector<std::string> lacking; // the values that the level does not give, and what follows from that
};

struct unreadValues {
    const char *pReason;
    std::vector<shownValue> values;
};

struct skippedSection {
    std::size_t begin, end; // end is 0 where the section ends with the platform section
    std::string opening, reason;
};

struct explanation {
    std::string level;
    describedHost host;
    std::vector<std::string> notes;
    std::vector<shownCheck> checks;
    std::vector<std::string> everyLevel; // the checks that need no value of the file
    std::vector<unreadValues> unread;
    std::vector<skippedSection> skipped;
    std::vector<std::string> kernelMeets,
        kernelFails; // the levels whose kernel level the host meets, and does not meet
};

bool isKnownDistribution(const std::string &name);

// Lists the levels that a file's text offers, in the order of a run. Call it once: the program's own list, which it
// reads, only grows.
std::vector<std::string> levelsOf(std::string_view file);

// Explains what the program would require of the host. Throws when the file does not offer the level, or the level has
// no section for Linux.
explanation explain(std::string_view file, const std::vector<std::string> &levels, const std::string &level,
                    const describedHost &host);

void printText(const explanation &explained, std::ostream &out);
void printJson(const explanation &explained, std::ostream &out);

} // namespace lint

#endif
