// Waivers: the warnings that an owner knows and accepts.
#ifndef KVX_REPORT_WAIVERS_H
#define KVX_REPORT_WAIVERS_H

#include "pattern.h"
#include "report.h"

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace report {

// The lines of a waiver file, and what they have met.
class waiverList {
public:
    waiverList() = default;

    // Reads a file's text; `fileName` is for messages. Throws std::runtime_error with the number of the first line that
    // is no waiver. `today` is a date such as "2027-01-31": a waiver whose last day is before it does not hold.
    waiverList(std::string fileName, std::string_view text, const std::string &today);

    // Waives the warnings of a host that was judged, and judges it again if there are any.
    void apply(host &one);
    // The same for a host of an earlier run: the complaints do not change. Returns whether a warning was waived.
    bool mark(host &one) const;

    // What is wrong with waivers, a sentence each: past, met an error or a check without a result, met no warning.
    std::vector<std::string> complaints() const;

private:
    struct waiver {
        size_t line;
        shellPattern host, level;
        std::string check;
        std::optional<shellPattern> text;
        waiverNote note;
        bool bPast;
    };
    // What a waiver met that it does not cover.
    struct refusal {
        std::string first;
        size_t count = 0;
    };
    struct meeting {
        bool bWarning = false;
        refusal error, open;
    };

    using restMap = std::unordered_map<std::string_view, std::string_view>;

    static waiver readWaiver(std::string_view line, size_t number, const std::string &today);
    static restMap restsOf(const pass &one);
    static bool isMeant(const waiver &one, const check &met, const restMap &rests);
    // Calls back for each check of a host that a waiver is for, as meet(the waiver's index, pass, check).
    template <typename Host, typename Meet> void meetAll(Host &one, Meet meet) const;

    std::string name;
    std::vector<waiver> waivers;
    std::vector<meeting> met;
};

// The date of this machine, as waivers have it.
std::string today();

} // namespace report

#endif
