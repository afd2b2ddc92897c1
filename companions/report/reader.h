// Reads reports: the language of each part is found from the part itself, then each line from the language's catalog.
#ifndef KVX_REPORT_READER_H
#define KVX_REPORT_READER_H

#include "languages.h"
#include "report.h"

namespace report {

// What is known of a host before its report is read.
struct material {
    std::string name;
    std::optional<std::string> report; // none: there is no such file
    std::string errors;
    std::optional<int> status;
    std::optional<std::string> reason;
};

// Reads and judges.
host readHost(const material &given, languages &known);

// Finds the evidence on a host of an earlier run in its checks and in its standard error.
void findEvidenceAgain(host &one, languages &known);

} // namespace report

#endif
