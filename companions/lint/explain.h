// What a level asks of a host that need not be there, and the levels of a file.
#ifndef KVX_LINT_EXPLAIN_H
#define KVX_LINT_EXPLAIN_H

#include <ostream>
#include <string>
#include <string_view>

namespace lint {

struct describedHost {
    std::string distribution; // one of the program's names
    std::string release;      // as in its release file: 9.4
    std::string servicePack;  // empty: what the release says
    std::string kernel;       // empty: not known to conditions
    bool bClustered = false;  // the clustered pass
    bool bClient = false;     // the checks of a client
};

bool isKnownDistribution(const std::string &name);

// Prints what the host would be asked for. False, and nothing printed, when the file does not hold the level's section.
bool explain(std::string_view file, const std::string &level, const describedHost &host, std::ostream &out);

// Prints the levels that a file offers in the order of a run, one a line. False when it cannot be read or offers none.
// Only once: the program's list of levels is built.
bool listLevels(const std::string &path, std::ostream &out);

// A text with what a terminal would act upon, and blanks that are none, written out.
std::string printable(std::string_view text);

} // namespace lint

#endif
