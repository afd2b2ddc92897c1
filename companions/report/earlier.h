// Reads the JSON of an earlier run.
#ifndef KVX_REPORT_EARLIER_H
#define KVX_REPORT_EARLIER_H

#include "languages.h"
#include "waivers.h"

#include <string>
#include <vector>

namespace report {

// Reads the hosts of a document of schema 1 or 2. Their results are those with the waivers of this run and without the
// waivers of that run. `fileName` is for messages. Throws std::runtime_error if the text is not such a document.
std::vector<host> readEarlier(const std::string &fileName, std::string text, const waiverList &waivers,
                              languages &known);

} // namespace report

#endif
