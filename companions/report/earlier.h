// The JSON of an earlier run, read back.
#ifndef KVX_REPORT_EARLIER_H
#define KVX_REPORT_EARLIER_H

#include "languages.h"
#include "waivers.h"

#include <string>
#include <vector>

namespace report {

// Reads the hosts of a document of schema 1 or 2, with their results as they are without the waivers of that run and
// with those of this one. `fileName` is for messages. Throws std::runtime_error when the text is no such document.
std::vector<host> readEarlier(const std::string &fileName, std::string text, const waiverList &waivers,
                              languages &known);

} // namespace report

#endif
