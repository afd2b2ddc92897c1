// A comparison in words, for table and page.
#ifndef KVX_REPORT_COMPARE_TEXT_H
#define KVX_REPORT_COMPARE_TEXT_H

#include "compare.h"
#include "messages.h"

#include <string>
#include <vector>

namespace report {

// How many hosts have which change; that nothing has changed.
std::string countsOf(const comparison &all, const messages &own);

// "passed, now failed".
std::string changeOf(const hostChange &one, const messages &own);

// "kernel level: passed, now error"; of a value only "kernel level".
std::string titleOf(const checkChange &one, const messages &own);

// A value before and now, a line each; empty for a result.
std::vector<std::string> valuesOf(const checkChange &one, const messages &own);

// The passes: "all passes", "12.1, 11.5 clustered".
std::string whereIs(const checkChange &one, const messages &own);

} // namespace report

#endif
