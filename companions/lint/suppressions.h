// Comments that say which findings an author does not want to hear of.
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
    // Takes a line that may hold one. In front of the first level it counts for the whole file.
    void take(std::string_view text, std::size_t number, bool bWholeFile, findingList &findings);

    // Takes the findings away that are not wanted, and adds one for each rule that a suppression names in vain.
    // Without findings of `silent` rules nobody can tell whether these are wanted. Returns how many were taken away.
    std::size_t apply(findingList &findings, const ruleSet &silent);

private:
    struct suppression {
        std::size_t line, target; // 0: the whole file
        ruleSet rules, used;
    };

    void add(std::string_view names, std::size_t number, bool bWholeFile, findingList &findings);
    void findTargets();
    void findWholeFile();
    std::size_t removeUnwanted(findingList &findings);
    bool isWanted(const finding &found, std::vector<suppression>::iterator &next);

    std::vector<suppression> all; // those for the whole file first
    std::array<suppression *, RULES> wholeFile{};
};

} // namespace lint

#endif
