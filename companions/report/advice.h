// What to do about a failure, by the message that reports it.
#ifndef KVX_REPORT_ADVICE_H
#define KVX_REPORT_ADVICE_H

#include "report.h"

#include <array>
#include <string_view>

namespace report {

// Advice on one kind of failure. Its commands are shown, never run; words in capitals stand for what the reader fills
// in.
struct advice {
    const char *pKind;
    const char *pText;
    std::array<const char *, 3> commands; // for the distributions
};

constexpr std::array adviceDistributions{"RHEL", "SUSE", "Ubuntu"};

// Advice on a line of a check that did not pass, an entry or a line of standard error; null where there is none.
const advice *adviceOn(int message, std::string_view text);

// Advice on a check; null where it passed.
const advice *adviceOn(const check &one);

// Advice on all that was found on these hosts, each kind once, in the order of the table.
std::vector<const advice *> adviceOn(const std::vector<host> &hosts);

} // namespace report

#endif
