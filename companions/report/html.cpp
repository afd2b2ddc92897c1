// The page for people: one file without a script that loads nothing.
#include "compareText.h"
#include "markup.h"
#include "outline.h"
#include "writers.h"

#include <algorithm>
#include <array>
#include <unordered_map>

namespace report {

namespace {

const char *const pStyle = R"(
:root { color-scheme: light dark; --back: #fff; --raised: #f6f8fa; --text: #1b1f24; --quiet: #4d5661; --line: #d0d7de;
  --link: #0a58ca; --failed: #a3160e; --failed-back: #fdecea; --unknown: #5b2f91; --unknown-back: #f3ecfa;
  --warning: #6f4700; --warning-back: #fff3d1; --passed: #14602c; --passed-back: #e5f4e9; }
@media (prefers-color-scheme: dark) {
  :root { --back: #14171b; --raised: #1c2026; --text: #e3e6ea; --quiet: #adb4be; --line: #3a414a; --link: #8ab8ff;
    --failed: #ffb4ab; --failed-back: #45150f; --unknown: #dcc2ff; --unknown-back: #33224d; --warning: #ffd27a;
    --warning-back: #3b2a00; --passed: #93dda7; --passed-back: #11351d; } }
* { box-sizing: border-box; }
body { margin: 0 auto; padding: 1.5rem 1rem 3rem; max-width: 84rem; background: var(--back); color: var(--text);
  font: 1rem/1.5 system-ui, -apple-system, "Segoe UI", Roboto, "Noto Sans", sans-serif; }
h1 { margin: 0 0 .75rem; font-size: 1.75rem; line-height: 1.2; }
h2 { margin: 2.25rem 0 .75rem; font-size: 1.25rem; overflow-wrap: anywhere; }
h3 { display: inline; margin: 0; font-size: 1.0625rem; overflow-wrap: anywhere; }
p { margin: .5rem 0; }
a { color: var(--link); }
:focus-visible { outline: 3px solid var(--link); outline-offset: 2px; border-radius: 3px; }
.failed { --own: var(--failed); --own-back: var(--failed-back); }
.unknown, .incomplete, .open { --own: var(--unknown); --own-back: var(--unknown-back); }
.warning { --own: var(--warning); --own-back: var(--warning-back); }
.passed { --own: var(--passed); --own-back: var(--passed-back); }
.none { --own: var(--quiet); --own-back: transparent; }
.waived, .neutral { --own: var(--text); --own-back: var(--raised); }
.counts { display: flex; flex-wrap: wrap; gap: .75rem; margin: 0; padding: 0; list-style: none; }
.counts li { min-width: 8.5rem; padding: .5rem .9rem; border: 1px solid var(--line); border-left: 5px solid var(--own);
  border-radius: 6px; background: var(--raised); }
.counts strong { display: block; color: var(--own); font-size: 1.625rem; line-height: 1.2; font-variant-numeric: tabular-nums; }
.scroll { position: relative; max-height: 85vh; overflow: auto; }
table { border-collapse: separate; border-spacing: 0; font-size: .875rem; }
.about { color: var(--quiet); font-size: .875rem; }
th, td { padding: .3rem .35rem; border-bottom: 1px solid var(--line); text-align: left; white-space: nowrap; }
thead { position: sticky; top: 0; z-index: 1; }
thead th { background: var(--raised); }
tbody th { position: sticky; left: 0; min-width: 7rem; max-width: 24rem; background: var(--back); font-weight: 600;
  white-space: normal; overflow-wrap: break-word; }
@media (max-width: 48rem) { tbody th { max-width: 38vw; overflow-wrap: anywhere; } }
.level { border-left: 1px solid var(--line); }
.word { display: inline-block; padding: .05rem .4rem; border: 1px solid transparent; border-radius: 4px; background: var(--own-back);
  color: var(--own); font-size: .8125rem; font-weight: 600; white-space: nowrap; }
.why { display: block; font-size: .8125rem; }
code { overflow-wrap: anywhere; }
p code { display: inline-block; max-width: 100%; }
.none .word { padding-left: 1rem; font-weight: 400; }
.spoken { position: absolute; width: 1px; height: 1px; overflow: hidden; clip-path: inset(50%); white-space: nowrap; }
.host { margin: .75rem 0; border: 1px solid var(--line); border-left: 5px solid var(--own); border-radius: 6px; }
summary { cursor: pointer; }
.host > summary { padding: .6rem .9rem; background: var(--raised); border-radius: 0 6px 6px 0; }
.host > summary .word { margin: 0 .5rem; }
.host > summary > span:last-child { color: var(--quiet); }
.inside { padding: .25rem 1rem 1rem; scroll-margin-top: 4rem; }
section { margin: 1.25rem 0; }
section h3 { display: block; }
section ul { margin: .2rem 0 0; padding-left: 1.25rem; }
pre { margin: .25rem 0 .75rem; padding: .5rem .75rem; overflow-x: auto; background: var(--raised); border-radius: 4px;
  font: .875rem/1.45 ui-monospace, "DejaVu Sans Mono", monospace; }
.notes { margin: .5rem 0; padding-left: 1.25rem; }
.findings { margin: .75rem 0; padding: 0; list-style: none; }
.findings > li { margin: 0 0 .9rem; }
.findings b { overflow-wrap: anywhere; }
.findings p { margin: .2rem 0 0; padding-left: 1.25rem; font-size: .875rem; }
.findings ul { margin: .2rem 0 0; padding-left: 1.25rem; list-style: none; overflow-wrap: anywhere; }
.findings ul li { white-space: pre-line; }
.where { color: var(--quiet); font-size: .875rem; }
.inside > details { margin-top: .75rem; }
.inside > details > summary { color: var(--link); }
footer { margin-top: 2.5rem; color: var(--quiet); font-size: .875rem; }
@media print {
  body { max-width: none; padding: 0; font-size: 10pt; }
  table { font-size: 7.5pt; }
  th, td { padding: 2pt; }
  .findings > li, tr { break-inside: avoid; }
  h2, summary { break-after: avoid; }
  .word { padding: 0 2pt; border-color: currentColor; font-size: inherit; }
  .none .word { border-color: transparent; }
  .scroll { max-height: none; overflow: visible; }
  thead, tbody th { position: static; }
  details::details-content { content-visibility: visible; block-size: auto; }
}
)";

// A result on the page: the class that gives it its colour, a sign and a word, so that nobody depends on the colour.
struct badge {
    const char *pClass;
    const char *pSign;
    Message word;
};

constexpr const char *pPassedSign = "\u2713", *pWarningSign = "\u25b2", *pFailedSign = "\u2715", *pUnknownSign = "?";

badge badgeOf(CheckResult result) {
    static constexpr std::array badges{
        badge{"passed", pPassedSign, Message::passed}, badge{"warning", pWarningSign, Message::warning},
        badge{"failed", pFailedSign, Message::error}, badge{"open", pUnknownSign, Message::unknown}};
    return badges[static_cast<size_t>(result)];
}

badge badgeOf(const finding &one) {
    return one.waived ? badge{"waived", "\u25b3", Message::waived} : badgeOf(one.result);
}

badge badgeOf(Change kind) {
    static constexpr std::array badges{
        badge{"failed", "\u2193", Message::changeWorse},  badge{"unknown", pUnknownSign, Message::unknown},
        badge{"neutral", "+", Message::changeCame},       badge{"neutral", "\u2212", Message::changeWent},
        badge{"passed", "\u2191", Message::changeBetter}, badge{"neutral", "\u2260", Message::changeValue},
        badge{"neutral", "=", Message::changeSame}};
    return badges[static_cast<size_t>(kind)];
}

badge badgeOf(PassResult result) {
    static constexpr std::array badges{
        badge{"passed", pPassedSign, Message::passed}, badge{"warning", pWarningSign, Message::warning},
        badge{"incomplete", pUnknownSign, Message::incomplete}, badge{"failed", pFailedSign, Message::failed}};
    return badges[static_cast<size_t>(result)];
}

badge badgeOf(HostResult result) {
    static constexpr std::array badges{
        badge{"passed", pPassedSign, Message::passed}, badge{"warning", pWarningSign, Message::warning},
        badge{"unknown", pUnknownSign, Message::unknown}, badge{"failed", pFailedSign, Message::failed}};
    return badges[static_cast<size_t>(result)];
}

// One of our own texts, with the commands in its backticks set as code.
std::string withCode(std::string_view text) {
    std::string result;
    for (bool bCode = false;; bCode = !bCode) {
        const size_t end = text.find('`');
        const std::string part = escaped(text.substr(0, end));
        result += bCode ? "<code>" + part + "</code>" : part;
        if (end == std::string_view::npos)
            return result;
        text.remove_prefix(end + 1);
    }
}

class htmlOutput : public writer {
public:
    htmlOutput(std::ostream &stream, const messages &texts) : out(stream), own(texts) {
    }

    void add(host one) override {
        hosts.push_back(std::move(one));
    }

    void finish() override {
        const outline all(std::move(hosts), own);
        levels = all.levels;
        advice = adviceOf(all);
        showHead(own.text(Message::pageTitle, {countsOf(all.hosts, own)}));
        showCounts(all);
        out << "<main>\n";
        showChanges(all.hosts);
        showMatrix(all.hosts);
        showCommon(all.common);
        out << "<h2>" << shown(Message::findingsHeading) << "</h2>\n";
        for (size_t i = 0; i < all.hosts.size(); i++)
            showHost(all, i);
        showAdvice();
        out << "</main>\n<footer><p>" << shown(Message::footer) << "</p></footer>\n</body>\n</html>\n";
    }

private:
    std::string shown(Message one, const std::vector<std::string> &tokens = {}) const {
        return escaped(own.text(one, tokens));
    }

    std::string shown(const badge &one) const {
        return std::string("<span class=\"word\"><span aria-hidden=\"true\">") + one.pSign + "</span> " +
               shown(one.word) + "</span>";
    }

    void showHead(const std::string &title) {
        out << "<!DOCTYPE html>\n<html lang=\"" << own.languageTag()
            << "\">\n<head>\n<meta charset=\"utf-8\">\n"
               "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
               "<meta name=\"color-scheme\" content=\"light dark\">\n<title>"
            << escaped(title) << "</title>\n<style>" << pStyle << "</style>\n</head>\n<body>\n";
    }

    void showCounts(const outline &whole) {
        const std::vector<host> &all = whole.hosts;
        static constexpr std::array shownResults{HostResult::failed, HostResult::unknown, HostResult::warning,
                                                 HostResult::passed};
        static constexpr std::array words{Message::passedHosts, Message::warnedHosts, Message::unknownHosts,
                                          Message::failedHosts};
        out << "<header>\n<h1>"
            << (all.size() == 1 ? shown(Message::pageOfOneHost, {all[0].name})
                                : shown(Message::pageOfHosts, {std::to_string(all.size())}))
            << "</h1>\n<ul class=\"counts\">\n";
        for (const HostResult result : shownResults) {
            const auto count =
                std::count_if(all.begin(), all.end(), [=](const host &one) { return one.result == result; });
            out << "<li class=\"" << (count == 0 ? "none" : badgeOf(result).pClass) << "\"><strong>" << count
                << "</strong> " << shown(words[static_cast<size_t>(result)]) << "</li>\n";
        }
        out << "</ul>\n";
        if (const size_t count = countWaived(whole); count > 0)
            out << "<p class=\"about\">" << shown(Message::waivedCounted, {std::to_string(count)}) << "</p>\n";
        out << "</header>\n";
    }

    // A host that is in this run too gets a link to its findings.
    void showChanges(const std::vector<host> &all) {
        if (changes() == nullptr)
            return;
        std::unordered_map<std::string_view, size_t> places;
        for (size_t i = all.size(); i-- > 0;)
            places[all[i].name] = i;
        out << "<h2 id=\"changes\">" << shown(Message::changesHeading, {changes()->since()})
            << "</h2>\n<p class=\"about\">" << escaped(countsOf(*changes(), own)) << "</p>\n";
        if (changes()->hosts().empty())
            return;
        out << "<ul class=\"findings\">\n";
        for (const hostChange &one : changes()->hosts()) {
            const auto place = places.find(one.name);
            const bool bThere = one.now && place != places.end();
            startChange(one.kind);
            out << "<b>"
                << (bThere ? "<a href=\"#host-" + std::to_string(place->second + 1) + "\">" + escaped(one.name) + "</a>"
                           : escaped(one.name))
                << "</b> " << escaped(changeOf(one, own));
            showChangedChecks(one, bThere ? languageIn(all[place->second]) : "");
            out << "</li>\n";
        }
        out << "</ul>\n";
    }

    void startChange(Change kind) {
        const badge result = badgeOf(kind);
        out << "<li class=\"" << result.pClass << "\">" << shown(result) << ' ';
    }

    void showChangedChecks(const hostChange &one, const std::string &language) {
        if (!one.checks.empty())
            out << "\n<ul>\n";
        for (const checkChange &now : one.checks) {
            startChange(now.kind);
            out << "<span" << (now.bPass ? "" : language) << ">" << escaped(titleOf(now, own)) << "</span>";
            showWhere(whereIs(now, own));
            for (const std::string &value : valuesOf(now, own))
                out << "\n<span" << language << ">" << escaped(value) << "</span>";
            out << "</li>\n";
        }
        if (!one.checks.empty())
            out << "</ul>";
    }

    void showMatrix(const std::vector<host> &all) {
        const bool bClustered = levels.bClustered;
        out << "<h2 id=\"levels\">" << shown(Message::levelsHeading) << "</h2>\n<p id=\"about\" class=\"about\">"
            << shown(bClustered ? Message::levelsAboutClustered : Message::levelsAbout) << ' '
            << escaped(hiddenOf(levels, own))
            << "</p>\n<div class=\"scroll\" role=\"region\" aria-labelledby=\"levels\" tabindex=\"0\">\n"
               "<table aria-labelledby=\"levels\" aria-describedby=\"about\">\n";
        showMatrixHead();
        out << "<tbody>\n";
        for (size_t i = 0; i < all.size(); i++)
            showRow(all[i], i);
        out << "</tbody>\n</table>\n</div>\n";
    }

    void showMatrixHead() {
        const std::string rows = levels.bClustered ? " rowspan=\"2\"" : "";
        out << "<thead>\n<tr><th scope=\"col\"" << rows << ">" << shown(Message::hostColumn) << "</th><th scope=\"col\""
            << rows << ">" << shown(Message::resultColumn) << "</th>";
        for (const std::string &name : levels.names)
            out << "<th class=\"level\" scope=" << (levels.bClustered ? "\"colgroup\" colspan=\"2\"" : "\"col\"") << ">"
                << escaped(name) << "</th>";
        out << "</tr>\n";
        if (levels.bClustered) {
            out << "<tr>";
            for (size_t i = 0; i < levels.names.size(); i++)
                out << "<th class=\"level\" scope=\"col\">" << shown(Message::plainColumn) << "</th><th scope=\"col\">"
                    << shown(Message::clusteredColumn) << "</th>";
            out << "</tr>\n";
        }
        out << "</thead>\n";
    }

    void showRow(const host &one, size_t place) {
        const badge result = badgeOf(one.result);
        out << "<tr><th scope=\"row\"><a href=\"#host-" << place + 1 << "\">" << escaped(one.name)
            << "</a></th><td class=\"" << result.pClass << "\">" << shown(result);
        if (failedByStatusAlone(one))
            out << " <span class=\"why\">" << shown(Message::exitStatus, {std::to_string(one.status.value_or(0))})
                << "</span>";
        out << "</td>";
        for (const auto &[pPlain, pClustered] : rowOf(one, levels)) {
            showCell(pPlain, " level");
            if (levels.bClustered)
                showCell(pClustered, "");
        }
        out << "</tr>\n";
    }

    void showCell(const pass *pOne, const char *pMore) {
        if (pOne == nullptr)
            out << "<td class=\"none" << pMore
                << "\"><span class=\"word\" aria-hidden=\"true\">\u2013</span><span class=\"spoken\">"
                << shown(Message::notChecked) << "</span></td>";
        else
            out << "<td class=\"" << badgeOf(pOne->result).pClass << pMore << "\">" << shown(badgeOf(pOne->result))
                << "</td>";
    }

    void showCommon(const std::vector<commonFinding> &common) {
        if (common.empty())
            return;
        out << "<h2>" << shown(Message::commonHeading) << "</h2>\n<ul class=\"findings\">\n";
        for (size_t i = 0; i < common.size(); i++) {
            const commonFinding &one = common[i];
            startFinding(*one.pFinding, *one.pHost, "common-" + std::to_string(i + 1));
            showWhere(own.text(Message::commonHosts, {std::to_string(one.hosts.size()), namesOf(one.hosts, own)}));
            showDetails(*one.pFinding, *one.pHost);
            out << "</li>\n";
        }
        out << "</ul>\n";
    }

    // Unfolds the failed and unknown hosts, at most the first twenty.
    void showHost(const outline &all, size_t place) {
        constexpr size_t fewHosts = 20;
        const host &one = all.hosts[place];
        const std::vector<finding> &findings = all.findings[place];
        std::array<size_t, 4> counts{};
        for (const finding &now : findings)
            counts[static_cast<size_t>(now.result)] += now.waived ? 0 : 1;
        const size_t waived = countWaived(findings);
        const auto count = [&](CheckResult result) { return std::to_string(counts[static_cast<size_t>(result)]); };
        const bool bUnfolded = all.hosts.size() == 1 || (one.result >= HostResult::unknown && place < fewHosts);
        out << "<details class=\"host " << badgeOf(one.result).pClass << "\"" << (bUnfolded ? " open" : "")
            << ">\n<summary><h3>" << escaped(one.name) << "</h3> " << shown(badgeOf(one.result)) << " <span>"
            << (waived == 0 ? shown(Message::findingsCounted, {count(CheckResult::error), count(CheckResult::open),
                                                               count(CheckResult::warning), count(CheckResult::passed)})
                            : shown(Message::findingsCountedWaived,
                                    {count(CheckResult::error), count(CheckResult::open), count(CheckResult::warning),
                                     std::to_string(waived), count(CheckResult::passed)}))
            << "</span></summary>\n<div class=\"inside\" id=\"host-" << place + 1 << "\">\n";
        showNotes(one);
        showStandardError(one);
        const size_t passed = counts[0];
        const size_t others = findings.size() - passed;
        showFindings(all, one, findings, 0, others);
        if (passed > 0) {
            out << "<details>\n<summary>" << shown(Message::passedChecks, {std::to_string(passed)}) << "</summary>\n";
            showFindings(all, one, findings, others, findings.size());
            out << "</details>\n";
        }
        showPasses(one);
        out << "</div>\n</details>\n";
    }

    void showNotes(const host &one) {
        const std::vector<std::string> notes = notesOf(one, own);
        if (notes.empty())
            return;
        out << "<ul class=\"notes\">\n";
        for (const std::string &text : notes)
            out << "<li>" << escaped(text) << "</li>\n";
        out << "</ul>\n";
    }

    void showStandardError(const host &one) {
        if (one.otherErrors.empty())
            return;
        out << "<p>" << shown(Message::standardError) << "</p>\n<pre role=\"region\" tabindex=\"0\" aria-label=\""
            << shown(Message::standardErrorOf, {one.name}) << "\">";
        for (const std::string &text : one.otherErrors)
            out << escaped(text) << '\n';
        out << "</pre>\n";
    }

    void showFindings(const outline &all, const host &one, const std::vector<finding> &findings, size_t from,
                      size_t end) {
        if (from == end)
            return;
        out << "<ul class=\"findings\">\n";
        for (size_t i = from; i < end; i++) {
            const finding &now = findings[i];
            startFinding(now, one, "");
            if (now.common)
                out << " <span class=\"where\">(<a href=\"#common-" << *now.common + 1 << "\">"
                    << shown(Message::onHosts, {std::to_string(all.common[*now.common].hosts.size())})
                    << "</a>)</span>";
            else
                showDetails(now, one);
            out << "</li>\n";
        }
        out << "</ul>\n";
    }

    // The attribute lang for texts of a report, if the report is in another language than the page.
    std::string languageIn(const host &one) const {
        const std::string language = languageOf(one);
        const bool bSame = (language + '-').rfind(own.languageTag() + '-', 0) == 0;
        return language.empty() || bSame ? "" : " lang=\"" + escaped(language) + "\"";
    }

    void startFinding(const finding &now, const host &one, const std::string &id) {
        const badge result = badgeOf(now);
        out << "<li class=\"" << result.pClass << "\"";
        if (!id.empty())
            out << " id=\"" << id << "\"";
        out << ">" << shown(result) << " <b" << (now.title.empty() ? "" : languageIn(one)) << ">"
            << escaped(shownTitle(now.title, own)) << "</b>";
    }

    void showWhere(const std::string &text) {
        if (!text.empty())
            out << " <span class=\"where\">(" << escaped(text) << ")</span>";
    }

    void showDetails(const finding &now, const host &one) {
        showWhere(whereIs(now, one, own));
        if (now.waived)
            out << "\n<p>" << escaped(textOf(*now.waived, own)) << "</p>";
        if (!now.details.empty())
            out << "\n<ul>\n";
        for (const finding::detail &text : now.details) {
            const std::string language = text.bOwn ? "" : languageIn(one);
            out << "<li>"
                << (language.empty() ? escaped(text.text) : "<span" + language + ">" + escaped(text.text) + "</span>");
            showWhere(whereIs(text, now, one, own));
            out << "</li>\n";
        }
        if (!now.details.empty())
            out << "</ul>";
        showAdviceLink(now);
    }

    void showAdviceLink(const finding &now) {
        for (size_t i = 0; i < advice.size(); i++)
            if (advice[i].pAdvice == now.pAdvice)
                out << "\n<p><a href=\"#advice-" << i + 1 << "\">"
                    << shown(Message::adviceOnKind, {own.text(now.pAdvice->kind)}) << "</a></p>";
    }

    // The list leaves out the levels that the matrix leaves out, and shows at most 40 passes that name no level.
    void showPasses(const host &one) {
        if (one.passes.empty())
            return;
        out << "<details>\n<summary>" << shown(Message::passesHeading, {std::to_string(one.passes.size())})
            << "</summary>\n<div class=\"scroll\" role=\"region\" aria-label=\"" << shown(Message::passesOf, {one.name})
            << "\" tabindex=\"0\">\n<table>\n<thead><tr>";
        for (const Message column : {Message::levelColumn, Message::resultColumn, Message::timeColumn})
            out << "<th scope=\"col\">" << shown(column) << "</th>";
        out << "</tr></thead>\n<tbody>\n";
        constexpr size_t most = 40;
        size_t unnamed = 0;
        size_t hidden = 0;
        for (const pass &now : one.passes) {
            if (now.level ? levels.places.count(*now.level) == 0 : ++unnamed > most)
                hidden++;
            else
                out << "<tr><th scope=\"row\">" << escaped(nameOf(now, own)) << "</th><td class=\""
                    << badgeOf(now.result).pClass << "\">" << shown(badgeOf(now.result)) << "</td><td>"
                    << escaped(now.time.value_or("")) << "</td></tr>\n";
        }
        out << "</tbody>\n</table>\n</div>\n";
        if (hidden > 0)
            out << "<p>" << shown(Message::passesNotShown, {std::to_string(hidden)}) << "</p>\n";
        out << "</details>\n";
    }

    void showAdvice() {
        if (advice.empty())
            return;
        out << "<h2>" << shown(Message::adviceHeading) << "</h2>\n<p class=\"about\">" << shown(Message::adviceAbout)
            << "</p>\n";
        for (size_t i = 0; i < advice.size(); i++) {
            const report::advice &one = *advice[i].pAdvice;
            out << "<section id=\"advice-" << i + 1 << "\">\n<h3>" << escaped(headingOf(advice[i], own)) << "</h3>\n<p>"
                << withCode(own.text(one.text)) << "</p>\n<ul>\n";
            for (size_t j = 0; j < adviceDistributions.size(); j++)
                out << "<li>" << adviceDistributions[j] << ": <code>" << escaped(one.commands[j]) << "</code></li>\n";
            out << "</ul>\n</section>\n";
        }
    }

    std::ostream &out;
    const messages &own;
    std::vector<host> hosts;
    levelColumns levels;
    std::vector<advised> advice;
};

} // namespace

std::unique_ptr<writer> htmlWriter(std::ostream &out, const messages &own) {
    return std::make_unique<htmlOutput>(out, own);
}

} // namespace report
