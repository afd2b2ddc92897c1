// Advice on failures, found by the messages that report them.
#ifndef KVX_REPORT_ADVICE_H
#define KVX_REPORT_ADVICE_H

#include "report.h"

#include <array>
#include <string_view>

namespace report {

// Advice on one kind of failure. Its commands are shown, never run; the reader replaces the words in capitals.
struct advice {
    Message kind;
    Message text;
    std::array<const char *, 3> commands; // for the distributions
};

constexpr std::array adviceDistributions{"RHEL", "SUSE", "Ubuntu"};

// Advice on a line of a check that did not pass, on an entry or on a line of standard error; null when we have no
// advice.
const advice *adviceOn(int message, std::string_view text);

// Advice on a check; null where it passed or is waived.
const advice *adviceOn(const check &one);

// Advice on all findings of these hosts, each kind once.
std::vector<const advice *> adviceOn(const std::vector<host> &hosts);

} // namespace report

#endif
