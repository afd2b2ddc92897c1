// What a level asks of a host that need not be there, and the levels of a file.
#ifndef KVX_LINT_EXPLAIN_H
#define KVX_LINT_EXPLAIN_H

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace lint {

struct describedHost {
    std::string distribution; // one of the program's names
    std::string release;      // as in its release file: 9.4
    std::string servicePack;  // empty: what the release says
    std::string kernel;       // empty: not known to conditions
    bool bClustered = false;  // the clustered pass
    bool bClient = false;     // the checks of a client
};

struct givenValue {
    std::size_t line;
    std::string text;
};

struct shownValue {
    int tag;
    givenValue counted;
    std::vector<givenValue> replaced; // the last one first
};

struct shownCheck {
    std::string_view name;
    std::string note;  // why it does not run in spite of what it is given
    std::string level; // that its parts come to; empty for a check without one
    std::vector<shownValue> values;
    std::vector<std::string> lacking; // what is not given, and what follows
};

struct unreadValues {
    const char *pReason;
    std::vector<shownValue> values;
};

struct skippedSection {
    std::size_t begin, end; // 0: it ends with the platform section
    std::string opening, reason;
};

struct explanation {
    std::string level;
    describedHost host;
    std::vector<std::string> notes;
    std::vector<shownCheck> checks;
    std::vector<std::string> everyLevel; // what is checked whatever the file says
    std::vector<unreadValues> unread;
    std::vector<skippedSection> skipped;
    std::vector<std::string> kernelMeets, kernelFails; // levels, by the kernel of the host
};

bool isKnownDistribution(const std::string &name);

// A text as a file without a name, for operations that take a path.
class namelessFile {
public:
    explicit namelessFile(std::string_view text);
    ~namelessFile();
    namelessFile(const namelessFile &) = delete;
    namelessFile &operator=(const namelessFile &) = delete;

    std::string path() const;

private:
    int descriptor;
};

// The levels that a file offers, in the order of a run. Throws when it cannot be read or offers none. Only once: the
// program's list of levels is built.
std::vector<std::string> levelsOf(const std::string &path);

// Lists what the program would ask of the host. Throws when the file does not offer the level, or the level has no
// section for Linux.
explanation explain(std::string_view file, const std::vector<std::string> &levels, const std::string &level,
                    const describedHost &host);

void printText(const explanation &explained, std::ostream &out);
void printJson(const explanation &explained, std::ostream &out);

} // namespace lint

#endif
