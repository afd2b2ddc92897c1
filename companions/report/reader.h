// Reads reports: the language is found from the report itself, then each line from the language's catalog.
#ifndef REPORT_READER_H
#define REPORT_READER_H

#include "catalog.h"
#include "report.h"

#include <filesystem>
#include <memory>

namespace report {

// The catalogs of a locale directory. They are opened when a report needs them; of those that are byte for byte
// the English one, as most are, nothing more is made.
class languages {
public:
    explicit languages(std::filesystem::path directory);

    struct language {
        std::string name; // such as "de-DE"
        std::unique_ptr<catalog> texts;
    };

    // The language that explains most of these lines, null when none explains any.
    const language *choose(const std::vector<std::string_view> &lines);

private:
    void openAll();
    const language *open(const std::filesystem::path &directory);

    std::filesystem::path place;
    std::vector<language> opened; // the English one first
    bool allOpened = false;
};

// What is known of a host before its report is read.
struct material {
    std::string name, report, errors;
    std::optional<int> status;
    std::optional<std::string> reason;
};

host readHost(const material &given, languages &known);

} // namespace report

#endif
