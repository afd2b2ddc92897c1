// The words for a comparison in table and page.
#ifndef KVX_REPORT_COMPARE_TEXT_H
#define KVX_REPORT_COMPARE_TEXT_H

#include "compare.h"
#include "messages.h"

#include <string>
#include <vector>

namespace report {

// Says how many hosts have each change, or that nothing has changed. A host is counted once: if only checks of it got
// worse, as a host with worse checks.
std::string countsOf(const comparison &all, const messages &own);

// "passed, now failed".
std::string changeOf(const hostChange &one, const messages &own);

// "kernel level: passed, now error"; for a value only "kernel level".
std::string titleOf(const checkChange &one, const messages &own);

// The value before and the value now, a line each. Empty if the change is not of a value.
std::vector<std::string> valuesOf(const checkChange &one, const messages &own);

// The passes: "all passes", "12.1, 11.5 clustered".
std::string whereIs(const checkChange &one, const messages &own);

} // namespace report

#endif
