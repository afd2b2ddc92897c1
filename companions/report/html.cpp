// The form for people: one page without a script, which needs nothing from elsewhere.
#include "advice.h"
#include "markup.h"
#include "outline.h"
#include "writers.h"

#include <array>

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
h2 { margin: 2.25rem 0 .75rem; font-size: 1.25rem; }
h3 { display: inline; margin: 0; font-size: 1.0625rem; overflow-wrap: anywhere; }
p { margin: .5rem 0; }
a { color: var(--link); }
:focus-visible { outline: 3px solid var(--link); outline-offset: 2px; border-radius: 3px; }
.failed { --own: var(--failed); --own-back: var(--failed-back); }
.unknown, .incomplete, .open { --own: var(--unknown); --own-back: var(--unknown-back); }
.warning { --own: var(--warning); --own-back: var(--warning-back); }
.passed { --own: var(--passed); --own-back: var(--passed-back); }
.none { --own: var(--quiet); --own-back: transparent; }
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
tbody th { position: sticky; left: 0; max-width: 24rem; background: var(--back); font-weight: 600; white-space: normal;
  overflow-wrap: break-word; }
@media (max-width: 48rem) { tbody th { min-width: 7rem; max-width: 38vw; overflow-wrap: anywhere; } }
.level { border-left: 1px solid var(--line); }
.word { display: inline-block; padding: .05rem .4rem; border: 1px solid transparent; border-radius: 4px; background: var(--own-back);
  color: var(--own); font-size: .8125rem; font-weight: 600; white-space: nowrap; }
.why { display: block; font-size: .8125rem; }
code { overflow-wrap: anywhere; }
.none .word { padding-left: 1rem; font-weight: 400; }
.spoken { position: absolute; width: 1px; height: 1px; overflow: hidden; clip-path: inset(50%); white-space: nowrap; }
.host { margin: .75rem 0; border: 1px solid var(--line); border-left: 5px solid var(--own); border-radius: 6px; }
summary { cursor: pointer; }
.host > summary { padding: .6rem .9rem; background: var(--raised); border-radius: 0 6px 6px 0; }
.host > summary .word { margin: 0 .5rem; }
.host > summary > span:last-child { color: var(--quiet); }
.inside { padding: .25rem 1rem 1rem; scroll-margin-top: 4rem; }
pre { margin: .25rem 0 .75rem; padding: .5rem .75rem; overflow-x: auto; background: var(--raised); border-radius: 4px;
  font: .875rem/1.45 ui-monospace, "DejaVu Sans Mono", monospace; }
.notes { margin: .5rem 0; padding-left: 1.25rem; }
.findings { margin: .75rem 0; padding: 0; list-style: none; }
.findings > li { margin: 0 0 .9rem; }
.findings b { overflow-wrap: anywhere; }
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

// Beside every colour stands its word, beside every word a sign.
const char *signOf(const std::string &word) {
    return word == "passed"                      ? "\u2713"
           : word == "warning"                   ? "\u25b2"
           : word == "failed" || word == "error" ? "\u2715"
                                                 : "?";
}

std::string styleOf(CheckResult result) {
    return result == CheckResult::error ? "failed" : nameOf(result);
}

std::string badge(const std::string &word) {
    return std::string("<span class=\"word\"><span aria-hidden=\"true\">") + signOf(word) + "</span> " + word +
           "</span>";
}

class htmlOutput : public writer {
public:
    explicit htmlOutput(std::ostream &stream) : out(stream) {
    }

    void add(host one) override {
        hosts.push_back(std::move(one));
    }

    void finish() override {
        const outline all(std::move(hosts));
        levels = all.levels;
        out << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
               "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
               "<meta name=\"color-scheme\" content=\"light dark\">\n<title>Prerequisites: "
            << countsOf(all.hosts) << "</title>\n<style>" << pStyle << "</style>\n</head>\n<body>\n";
        showCounts(all.hosts);
        out << "<main>\n";
        showMatrix(all.hosts);
        showCommon(all.common);
        out << "<h2>What was found</h2>\n";
        for (size_t i = 0; i < all.hosts.size(); i++)
            showHost(all, i);
        showAdvice(adviceOn(all.hosts));
        out << "</main>\n<footer><p>Read by kvxprereqreport from what kvxprereqcheck reported.</p></footer>\n</body>\n</html>\n";
    }

private:
    void showAdvice(const std::vector<const advice *> &found) {
        if (found.empty())
            return;
        out << "<h2 id=\"advice\">What to do</h2>\n<p class=\"about\">Nothing of this is run. Words in capitals are yours to "
               "fill in.</p>\n";
        for (const advice *pOne : found) {
            out << "<section>\n<h3>" << escaped(pOne->pKind) << "</h3>\n<p>" << escaped(pOne->pText) << "</p>\n<ul>\n";
            for (size_t i = 0; i < adviceDistributions.size(); i++)
                out << "<li>" << adviceDistributions[i] << ": <code>" << escaped(pOne->commands[i]) << "</code></li>\n";
            out << "</ul>\n</section>\n";
        }
    }

    void showCounts(const std::vector<host> &all) {
        static constexpr std::array shown{HostResult::failed, HostResult::unknown, HostResult::warning,
                                          HostResult::passed};
        static constexpr std::array words{"passed", "with warnings", "unknown", "failed"};
        out << "<header>\n<h1>Prerequisites of "
            << (all.size() == 1 ? escaped(all[0].name) : std::to_string(all.size()) + " hosts")
            << "</h1>\n<ul class=\"counts\">\n";
        for (const HostResult result : shown) {
            size_t count = 0;
            for (const host &one : all)
                count += one.result == result ? 1 : 0;
            out << "<li class=\"" << (count == 0 ? "none" : nameOf(result)) << "\"><strong>" << count << "</strong> "
                << words[static_cast<size_t>(result)] << "</li>\n";
        }
        out << "</ul>\n</header>\n";
    }

    void showMatrix(const std::vector<host> &all) {
        const char *const pSpan = levels.bClustered ? " colspan=\"2\"" : "";
        out << "<h2 id=\"levels\">Hosts by level</h2>\n<p id=\"about\" class=\"about\">The result of each host, and that of "
               "each product level"
            << (levels.bClustered ? ", without and with the clustered feature. " : ". ") << hiddenOf(levels)
            << "</p>\n<div class=\"scroll\" role=\"region\" aria-labelledby=\"levels\" tabindex=\"0\">\n"
               "<table aria-labelledby=\"levels\" aria-describedby=\"about\">\n<thead>\n<tr><th scope=\"col\""
            << (levels.bClustered ? " rowspan=\"2\"" : "") << ">Host</th><th scope=\"col\""
            << (levels.bClustered ? " rowspan=\"2\"" : "") << ">Result</th>";
        for (const std::string &name : levels.names)
            out << "<th class=\"level\" scope=\"" << (levels.bClustered ? "colgroup" : "col") << "\"" << pSpan << ">"
                << escaped(name) << "</th>";
        out << "</tr>\n";
        if (levels.bClustered) {
            out << "<tr>";
            for (size_t i = 0; i < levels.names.size(); i++)
                out << "<th class=\"level\" scope=\"col\">plain</th><th scope=\"col\">clustered</th>";
            out << "</tr>\n";
        }
        out << "</thead>\n<tbody>\n";
        for (size_t i = 0; i < all.size(); i++) {
            const std::string result = nameOf(all[i].result);
            out << "<tr><th scope=\"row\"><a href=\"#host-" << i + 1 << "\">" << escaped(all[i].name)
                << "</a></th><td class=\"" << result << "\">" << badge(result);
            if (failedByStatusAlone(all[i]))
                out << " <span class=\"why\">exit status " << all[i].status.value_or(0) << "</span>";
            out << "</td>";
            for (const auto &[pPlain, pClustered] : rowOf(all[i], levels)) {
                showCell(pPlain, " level");
                if (levels.bClustered)
                    showCell(pClustered, "");
            }
            out << "</tr>\n";
        }
        out << "</tbody>\n</table>\n</div>\n";
    }

    void showCell(const pass *pOne, const char *pMore) {
        if (pOne == nullptr)
            out << "<td class=\"none" << pMore
                << "\"><span class=\"word\" aria-hidden=\"true\">\u2013</span><span class=\"spoken\">not checked</span></td>";
        else
            out << "<td class=\"" << nameOf(pOne->result) << pMore << "\">" << badge(nameOf(pOne->result)) << "</td>";
    }

    void showCommon(const std::vector<commonFinding> &common) {
        if (common.empty())
            return;
        out << "<h2>On several hosts</h2>\n<ul class=\"findings\">\n";
        for (size_t i = 0; i < common.size(); i++) {
            const commonFinding &one = common[i];
            startFinding(*one.pFinding, *one.pHost, "common-" + std::to_string(i + 1));
            showWhere(std::to_string(one.hosts.size()) + " hosts, " + namesOf(one.hosts));
            showDetails(*one.pFinding, *one.pHost);
            out << "</li>\n";
        }
        out << "</ul>\n";
    }

    // The worst hosts are unfolded, as long as they are few.
    void showHost(const outline &all, size_t place) {
        constexpr size_t fewHosts = 20;
        const host &one = all.hosts[place];
        const std::string result = nameOf(one.result);
        const std::vector<finding> &findings = all.findings[place];
        std::array<size_t, 4> counts{};
        for (const finding &now : findings)
            counts[static_cast<size_t>(now.result)]++;
        const bool bUnfolded = all.hosts.size() == 1 || (one.result >= HostResult::unknown && place < fewHosts);
        out << "<details class=\"host " << result << "\"" << (bUnfolded ? " open" : "") << ">\n<summary><h3>"
            << escaped(one.name) << "</h3> " << badge(result) << " <span>" << counts[2]
            << (counts[2] == 1 ? " error, " : " errors, ") << counts[1]
            << (counts[1] == 1 ? " warning, " : " warnings, ") << counts[0]
            << " passed</span></summary>\n<div class=\"inside\" id=\"host-" << place + 1 << "\">\n";
        const std::vector<std::string> notes = notesOf(one);
        if (!notes.empty()) {
            out << "<ul class=\"notes\">\n";
            for (const std::string &note : notes)
                out << "<li>" << escaped(note) << "</li>\n";
            out << "</ul>\n";
        }
        if (!one.otherErrors.empty()) {
            out << "<p>Standard error:</p>\n<pre role=\"region\" tabindex=\"0\" aria-label=\"Standard error of "
                << escaped(one.name) << "\">";
            for (const std::string &text : one.otherErrors)
                out << escaped(text) << '\n';
            out << "</pre>\n";
        }
        const size_t passed = counts[0];
        const size_t others = findings.size() - passed;
        showFindings(all, one, findings, 0, others);
        if (passed > 0) {
            out << "<details>\n<summary>Passed checks (" << passed << ")</summary>\n";
            showFindings(all, one, findings, others, findings.size());
            out << "</details>\n";
        }
        showPasses(one);
        out << "</div>\n</details>\n";
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
                out << " <span class=\"where\">(<a href=\"#common-" << *now.common + 1 << "\">on "
                    << all.common[*now.common].hosts.size() << " hosts</a>)</span>";
            else
                showDetails(now, one);
            out << "</li>\n";
        }
        out << "</ul>\n";
    }

    void startFinding(const finding &now, const host &one, const std::string &id) {
        const std::string language = languageOf(one);
        out << "<li class=\"" << styleOf(now.result) << "\"";
        if (!id.empty())
            out << " id=\"" << id << "\"";
        if (!language.empty() && language != "en-US")
            out << " lang=\"" << escaped(language) << "\"";
        out << ">" << badge(nameOf(now.result)) << " <b>" << escaped(now.title) << "</b>";
    }

    void showWhere(const std::string &text) {
        if (!text.empty())
            out << " <span class=\"where\">(" << escaped(text) << ")</span>";
    }

    void showDetails(const finding &now, const host &one) {
        showWhere(whereIs(now, one));
        if (now.details.empty())
            return;
        out << "\n<ul>\n";
        for (const finding::detail &text : now.details) {
            out << "<li>" << escaped(text.text);
            showWhere(whereIs(text, now, one));
            out << "</li>\n";
        }
        out << "</ul>";
    }

    // As the matrix, the list has at most the passes of its levels, and as many that name no level.
    void showPasses(const host &one) {
        if (one.passes.empty())
            return;
        out << "<details>\n<summary>Passes (" << one.passes.size()
            << ")</summary>\n<div class=\"scroll\" role=\"region\" aria-label=\"Passes of " << escaped(one.name)
            << "\" tabindex=\"0\">\n<table>\n<thead><tr><th scope=\"col\">Level</th><th scope=\"col\">Result</th><th scope=\"col\">Time</th></tr></thead>\n<tbody>\n";
        constexpr size_t most = 40;
        size_t unnamed = 0;
        size_t hidden = 0;
        for (const pass &now : one.passes) {
            if (now.level ? levels.places.count(*now.level) == 0 : ++unnamed > most)
                hidden++;
            else
                out << "<tr><th scope=\"row\">" << escaped(nameOf(now)) << "</th><td class=\"" << nameOf(now.result)
                    << "\">" << badge(nameOf(now.result)) << "</td><td>" << escaped(now.time.value_or(""))
                    << "</td></tr>\n";
        }
        out << "</tbody>\n</table>\n</div>\n";
        if (hidden > 0)
            out << "<p>" << hidden << " more are not shown.</p>\n";
        out << "</details>\n";
    }

    std::ostream &out;
    std::vector<host> hosts;
    levelColumns levels;
};

} // namespace

std::unique_ptr<writer> htmlWriter(std::ostream &out) {
    return std::make_unique<htmlOutput>(out);
}

} // namespace report
