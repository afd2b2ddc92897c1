// Judges a prerequisites file: what its author means against what the program's reader makes of it.
#ifndef KVX_LINT_LINT_H
#define KVX_LINT_LINT_H

#include "findings.h"

namespace lint {

struct judgeOptions {
    bool bUnread = false; // also name elements that no check reads
    ruleSet excluded;     // rules without findings
};

struct judgement {
    findingList findings; // in the order of their lines
    std::size_t suppressed;
};

// The findings refer to the file's text, which must outlive them.
judgement judge(std::string_view file, const judgeOptions &options);

} // namespace lint

#endif
