// A fuzzer of kvxprereqreport: any bytes as a report and, each behind a byte 1e, as standard error, a waiver file and
// the JSON of an earlier run. Without the fuzzing library it reads each file that it is given.
#include "../companions/common/utf8.h"
#include "earlier.h"
#include "mustHold.h"
#include "reader.h"
#include "sqloLiterals.h"
#include "sqloPrereqCheck.h"
#include "text.h"
#include "writers.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

using namespace report;

static std::string shown(std::unique_ptr<writer> made, std::ostringstream &out, const host &one,
                         const comparison *pChanges = nullptr) {
    if (pChanges != nullptr)
        made->compareWith(*pChanges);
    made->add(one);
    made->add(one);
    made->finish();
    return out.str();
}

// Only whole characters, and of those that control a screen none but the line break.
static void checkCharacters(std::string_view text) {
    for (size_t length = 0; !text.empty(); text.remove_prefix(length)) {
        length = utf8::characterLength(text);
        MUST_HOLD(length > 0 && (text[0] == '\n' || (static_cast<unsigned char>(text[0]) >= 0x20 && text[0] != 0x7F)));
    }
}

// Brackets that match outside of strings, and nothing else there but words and numbers.
static void checkJson(const std::string &json) {
    std::string open;
    bool bString = false;
    for (size_t i = 0; i < json.size(); i++) {
        if (json[i] == '"')
            bString = !bString;
        else if (bString)
            i += json[i] == '\\' ? 1 : 0;
        else if (json[i] == '{' || json[i] == '[')
            open += json[i] == '{' ? '}' : ']';
        else if (json[i] == '}' || json[i] == ']') {
            MUST_HOLD(!open.empty() && open.back() == json[i]);
            open.pop_back();
        } else
            MUST_HOLD(std::string_view(" \n,:-0123456789truefalsn").find(json[i]) != std::string_view::npos);
    }
    MUST_HOLD(open.empty() && !bString);
}

// Checks that every element is closed, in order.
static void checkMarkup(const std::string &markup, const std::set<std::string> &single) {
    std::vector<std::string> open;
    for (size_t at = 0; (at = markup.find('<', at)) != std::string::npos; at++) {
        const size_t end = markup.find('>', at);
        const bool bCloses = markup[at + 1] == '/';
        const size_t start = at + (bCloses ? 2 : 1);
        const std::string name = markup.substr(start, markup.find_first_of(" />", start) - start);
        MUST_HOLD(end != std::string::npos && markup.substr(at, end - at).find('<', 1) == std::string::npos);
        if (bCloses) {
            MUST_HOLD(!open.empty() && open.back() == name);
            open.pop_back();
        } else if (markup[end - 1] != '/' && single.count(name) == 0)
            open.push_back(name);
    }
    MUST_HOLD(open.empty());
}

// Returns a whole pass of a report with a good verdict.
static std::string goodPass() {
    const catalog english(KVX_LOCALES "/en_US.iso88591/kvxistring.cat", "utf8");
    std::string banner = english.text(MSG_LEVEL_BANNER);
    banner.replace(banner.find("%1"), 2, "of the fuzzer");
    return std::string(szReportRule) + "\n" + banner + "\n" + english.text(MSG_LEVEL_PASSED) + "\n";
}

// A text behind a report must not improve the host's result. A report that ends with a rule was cut off.
static void checkAppended(const std::string &report, languages &known) {
    static const std::string good = goodPass();
    const host alone = readHost({"", report, "", 0, {}}, known);
    const host longer = readHost({"", report + good, "", 0, {}}, known);
    const host cut = readHost({"", report + szReportRule, "", 0, {}}, known);
    const auto isRead = [](const pass &one) { return one.bBanner || one.verdict != Verdict::none; };
    if (std::any_of(alone.passes.begin(), alone.passes.end(), isRead))
        MUST_HOLD(longer.result >= alone.result);
    MUST_HOLD(cut.result >= HostResult::unknown);
}

// Waivers can improve a host's result, but not that of a failed host.
static host waived(const host &judged, const waiverList &waivers) {
    waiverList used = waivers;
    host one = judged;
    used.apply(one);
    for (const std::string &complaint : used.complaints())
        checkCharacters(complaint);
    MUST_HOLD(one.result <= judged.result);
    MUST_HOLD(one.result == HostResult::failed || judged.result != HostResult::failed);
    return one;
}

static waiverList waiversIn(const std::string &text) {
    try {
        return {"waivers", text, "2027-01-31"};
    } catch (const std::runtime_error &error) {
        checkCharacters(error.what());
        return {};
    }
}

static comparison compared(const std::string &json, const host &one, const waiverList &waivers, languages &known) {
    comparison made("old", readEarlier("old", json, waivers, known), known);
    made.add(one);
    made.add(one);
    made.finish();
    return made;
}

// A host has not changed since its own JSON, except that what is not known cannot be told.
static void checkReadBack(const std::string &json, const host &one, const waiverList &waivers, languages &known) {
    const comparison made = compared(json, one, waivers, known);
    for (const hostChange &changed : made.hosts()) {
        MUST_HOLD(changed.kind == Change::same || changed.kind == Change::unknown);
        for (const checkChange &now : changed.checks)
            MUST_HOLD(now.kind == Change::unknown);
    }
}

// Whatever the earlier run's file is, the forms stay whole.
static void checkCompared(const std::string &earlier, const host &one, const waiverList &waivers, languages &known) {
    try {
        const comparison made = compared(earlier, one, waivers, known);
        std::ostringstream json;
        std::ostringstream html;
        std::ostringstream table;
        checkJson(shown(jsonWriter(json), json, one, &made));
        checkMarkup(shown(htmlWriter(html, english()), html, one, &made), {"!DOCTYPE", "meta"});
        shown(tableWriter(table, false, english(), encoder("utf8")), table, one, &made);
        for (const auto *pText : {&json, &html, &table})
            checkCharacters(pText->str());
    } catch (const std::runtime_error &error) {
        checkCharacters(error.what());
    }
}

// The parts of an input, each behind a byte 1e.
static std::array<std::string, 4> partsOf(const std::string &input) {
    std::array<std::string, 4> parts;
    size_t at = 0;
    for (std::string &part : parts) {
        const size_t end = std::min(input.find('\x1e', at), input.size());
        part = input.substr(at, end - at);
        at = std::min(end + 1, input.size());
    }
    return parts;
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *pData, size_t size) {
    static languages known(KVX_LOCALES);
    const auto [report, errors, waivers, earlier] = partsOf({reinterpret_cast<const char *>(pData), size});
    const host judged = readHost({codeSet("utf8").toUtf8(errors.substr(0, 40)), report, errors, {}, {}}, known);
    checkAppended(report, known);
    const waiverList given = waiversIn(waivers);
    const host one = waived(judged, given);
    std::ostringstream json;
    std::ostringstream junit;
    std::ostringstream html;
    std::ostringstream table;
    checkJson(shown(jsonWriter(json), json, one));
    checkMarkup(shown(junitWriter(junit), junit, one), {"?xml"});
    checkMarkup(shown(htmlWriter(html, english()), html, one), {"!DOCTYPE", "meta"});
    checkCharacters(shown(tableWriter(table, false, english(), encoder("utf8")), table, one));
    for (const auto *pText : {&json, &junit, &html})
        checkCharacters(pText->str());
    checkReadBack(json.str(), one, given, known);
    checkReadBack(json.str(), judged, {}, known);
    checkCompared(earlier, one, given, known);
    return 0;
}

#ifndef KVX_FUZZING
int main(int argc, char **argv) {
    for (int i = 1; i < argc; i++) {
        std::ostringstream input;
        input << std::ifstream(argv[i], std::ios::binary).rdbuf();
        LLVMFuzzerTestOneInput(reinterpret_cast<const unsigned char *>(input.str().data()), input.str().size());
    }
    return argc < 2;
}
#endif
