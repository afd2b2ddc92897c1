// Writes a comparison as JSON.
#ifndef KVX_REPORT_COMPARE_JSON_H
#define KVX_REPORT_COMPARE_JSON_H

#include "compare.h"

#include <string>

namespace report {

// Appends the value of the member "changes"; null if nothing was compared.
void appendChanges(std::string &json, const comparison *pChanges);

} // namespace report

#endif
