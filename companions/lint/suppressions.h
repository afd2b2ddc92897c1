// Reads the comments by which an author suppresses findings, and applies them.
#ifndef KVX_LINT_SUPPRESSIONS_H
#define KVX_LINT_SUPPRESSIONS_H

#include <array>
#include <string_view>
#include <vector>

#include "findings.h"
#include "rules.h"

namespace lint {

class suppressionList {
public:
    // Takes a line, which may hold a suppression. In front of the first level it counts for the whole file.
    void take(std::string_view text, std::size_t number, bool bWholeFile, findingList &findings);

    // Removes the suppressed findings, and adds one for each rule in a suppression that has nothing to suppress, except
    // for the `silent` rules, whose findings are left out anyway. Returns how many findings were suppressed.
    std::size_t apply(findingList &findings, const ruleSet &silent);

private:
    struct suppression {
        std::size_t line, target; // the target is the line that it is for; 0: the whole file
        ruleSet rules, used;
    };

    void add(std::string_view names, std::size_t number, bool bWholeFile, findingList &findings);
    void findTargets();
    void findWholeFile();
    std::size_t removeUnwanted(findingList &findings);
    bool isWanted(const finding &found, std::vector<suppression>::iterator &next);

    std::vector<suppression> all; // in the order of the file: those for the whole file come first
    std::array<suppression *, RULES> wholeFile{};
};

} // namespace lint

#endif
