// Waivers: an owner of hosts accepts known warnings with them.
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

// The waivers of a file, and the checks that they have met.
class waiverList {
public:
    waiverList() = default;

    // Reads the text of a file; `fileName` is for messages. Throws std::runtime_error, with a line for each line that
    // is not a waiver. `today` is a date such as "2027-01-31"; a waiver that ended before it does not apply.
    waiverList(std::string fileName, std::string_view text, const std::string &today);

    // Waives warnings of a judged host. If it waived one, it judges the host again.
    void apply(host &one);
    // Waives warnings of a host of an earlier run, without judging it and without complaints. Returns whether it waived
    // one.
    bool mark(host &one) const;

    // Complains, in a sentence each, of waivers that ended, met no warning, or met an error or a check without a
    // result.
    std::vector<std::string> complaints() const;

private:
    struct waiver {
        size_t line;
        std::string hostName, levelName; // as written
        shellPattern host, level;
        std::string check;
        std::optional<shellPattern> text;
        waiverNote note;
        bool bPast;
    };
    // The checks that a waiver met but does not apply to.
    struct refusal {
        std::string first;
        size_t count = 0;
    };
    // The parts of a waiver that have matched, in the order of their worth for a message.
    enum class Reach {
        none,
        host,
        level,         // no check has the id
        title,         // a check has CHECK as its title, but another id
        goodOtherLine, // the check passed, and text= matches no line of it
        check,         // text= matches no line of a check that did not pass
        good           // everything matches a check that passed
    };
    struct meeting {
        bool bWarning = false;
        refusal error, open;
        Reach reach = Reach::none;
        std::string id; // of the check that has CHECK as its title
    };

    using restMap = std::unordered_map<std::string_view, std::string_view>;

    static waiver readWaiver(std::string_view line, size_t number, const std::string &today);
    static restMap restsOf(const pass &one);
    static bool isMeant(const waiver &one, const check &met, const restMap &rests);
    static Reach reachOf(const waiver &one, const check &met, const restMap &rests);
    // Remembers how far a waiver that has met no warning matches a host.
    static void noteReach(const waiver &one, const host &in, meeting &reached);
    static std::string withoutWarning(const waiver &one, const meeting &reached);
    // Calls meet(index of the waiver, pass, check) for each check that a waiver names and that has not passed.
    template <typename Host, typename Meet> void meetAll(Host &one, Meet meet) const;

    std::string name;
    std::vector<waiver> waivers;
    std::vector<meeting> met;
};

// The local date in the form of a waiver.
std::string today();

} // namespace report

#endif
