// Judges a host: the worst result on it counts. The judgement depends only on what was read, so it can be made again
// after that changes.
#ifndef KVX_REPORT_JUDGE_H
#define KVX_REPORT_JUDGE_H

#include "report.h"

namespace report {

// The result that a pass with this check alone has. A waived warning counts as passed.
PassResult judgeCheck(const check &one);

// Stores the severity of entries, the results of passes and host, and the doubts. Gives a check the line that only the
// list behind the verdict has. Removes a pass when a later one has
// the same level and kind.
void judge(host &one);

// Judges a host of an earlier run again, after warnings were waived or are no longer waived. Only its checks, its lists
// and its results are known, so a result that is failed, incomplete or unknown stays.
void judgeEarlier(host &one);

// The meaning of an exit status other than 0: "a tool or library is missing or too old, or SELinux is not disabled".
std::string meaningOf(int status, const messages &own);

} // namespace report

#endif
