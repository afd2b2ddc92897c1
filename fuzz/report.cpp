// A fuzzer of kvxprereqreport: any bytes as a report and, behind the byte 1e, as standard error. Without the fuzzing
// library it reads each file that it is given.
#include "../companions/common/utf8.h"
#include "mustHold.h"
#include "reader.h"
#include "sqloLiterals.h"
#include "sqloPrereqCheck.h"
#include "text.h"
#include "writers.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

using namespace report;

static std::string shown(std::unique_ptr<writer> made, std::ostringstream &out, const host &one) {
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

// No element but the writer's own, each closed in its order.
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

// A part of a report that is a whole pass with a good verdict.
static std::string goodPass() {
    const catalog english(KVX_LOCALES "/en_US.iso88591/kvxistring.cat", "utf8");
    std::string banner = english.text(MSG_LEVEL_BANNER);
    banner.replace(banner.find("%1"), 2, "of the fuzzer");
    return std::string(szReportRule) + "\n" + banner + "\n" + english.text(MSG_LEVEL_PASSED) + "\n";
}

// What is appended to a report makes none of its passes better, and a rule at its end shows that it was cut off.
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

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *pData, size_t size) {
    static languages known(KVX_LOCALES);
    const std::string input(reinterpret_cast<const char *>(pData), size);
    const size_t split = std::min(input.find('\x1e'), input.size());
    const std::string errors = input.substr(std::min(split + 1, input.size()));
    const std::string name = errors.substr(0, 40);
    const host one = readHost({codeSet("utf8").toUtf8(name), input.substr(0, split), errors, {}, {}}, known);
    checkAppended(input.substr(0, split), known);
    std::ostringstream json;
    std::ostringstream junit;
    std::ostringstream html;
    std::ostringstream table;
    checkJson(shown(jsonWriter(json), json, one));
    checkMarkup(shown(junitWriter(junit), junit, one), {"?xml"});
    checkMarkup(shown(htmlWriter(html, english()), html, one), {"!DOCTYPE", "meta"});
    checkCharacters(shown(tableWriter(table, false, english()), table, one));
    for (const auto *pText : {&json, &junit, &html})
        checkCharacters(pText->str());
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
