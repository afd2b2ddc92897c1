// Judges a host: the worst result on it counts. The judgement depends only on what was read, so it can be made again
// after that changes.
#ifndef KVX_REPORT_JUDGE_H
#define KVX_REPORT_JUDGE_H

#include "report.h"

namespace report {

// Stores the severity of entries, the results of passes and host, and the doubts. Removes a pass when a later one has
// the same level and kind.
void judge(host &one);

// The same for a host of an earlier run, of which only the checks, the lists and the results are left: warnings count
// anew, with the waivers that are marked. What failed or was unknown stays so.
void judgeEarlier(host &one);

// What an exit status other than 0 means: "a tool or library is missing or too old, or SELinux is not disabled".
std::string meaningOf(int status, const messages &own);

} // namespace report

#endif
