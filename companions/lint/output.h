// Writes findings in the formats that people, editors and services read.
#ifndef KVX_LINT_OUTPUT_H
#define KVX_LINT_OUTPUT_H

#include <array>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>

#include "findings.h"

namespace lint {

struct findingCounts {
    std::array<std::size_t, 3> bySeverity{};
    std::size_t suppressed = 0;
    std::size_t files = 0;

    std::size_t of(Severity severity) const {
        return bySeverity[static_cast<std::size_t>(severity)];
    }
};

class writer {
public:
    writer() = default;
    writer(const writer &) = delete;
    writer &operator=(const writer &) = delete;
    virtual ~writer() = default;

    // Writes the findings of a file, which are in the order of their lines.
    virtual void add(const std::string &path, std::string_view file, const findingList &findings) = 0;
    virtual void finish(const findingCounts &counts) = 0;
};

// Makes the writer of a format: gcc, github, json or sarif. Null for another name.
std::unique_ptr<writer> makeWriter(std::string_view form, std::ostream &out);

// Writes the counts in words: "1 error, 2 warnings, 0 notes".
std::string countsInWords(const findingCounts &counts);

// Makes a text safe for a terminal: control characters, invisible characters and bytes that are not UTF-8 become
// escapes such as \x1B and U+200B.
std::string printable(std::string_view text);

} // namespace lint

#endif
