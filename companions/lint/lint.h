// Judges a prerequisites file: compares what its author means with what the program's reader does.
#ifndef KVX_LINT_LINT_H
#define KVX_LINT_LINT_H

#include "findings.h"

namespace lint {

struct judgeOptions {
    bool bUnread = false; // also report elements that no check reads
    ruleSet excluded;     // rules whose findings are left out
};

struct judgement {
    findingList findings; // in the order of their lines
    std::size_t suppressed;
};

// Judges the text of a file. The findings refer to the text, which must outlive them. Throws for more than 4 GB.
judgement judge(std::string_view file, const judgeOptions &options);

} // namespace lint

#endif
