// Judges a prerequisites file: what its author means against what the program's reader makes of it.
#ifndef KVX_LINT_LINT_H
#define KVX_LINT_LINT_H

#include "rules.h"

namespace lint {

// The findings on a file's text in the order of its lines; with `bUnread` also elements that no check reads.
std::vector<finding> judge(std::string_view file, bool bUnread);

} // namespace lint

#endif
