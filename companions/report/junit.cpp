// The form for build servers: each pass of a host is a suite, each check a case.
#include "judge.h"
#include "markup.h"
#include "outline.h"
#include "text.h"
#include "writers.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <map>

namespace report {

std::string escaped(std::string_view text) {
    std::string result;
    for (;;) {
        const size_t end = text.find('\n');
        for (const char c : visible(text.substr(0, end))) {
            switch (c) {
            case '&': result += "&amp;"; break;
            case '<': result += "&lt;"; break;
            case '>': result += "&gt;"; break;
            case '"': result += "&quot;"; break;
            case '\'': result += "&#39;"; break;
            default: result += c;
            }
        }
        if (end == std::string_view::npos)
            return result;
        result += "&#10;";
        text.remove_prefix(end + 1);
    }
}

namespace {

// The report's time, which the C locale wrote, as the readers want it; none when it is something else.
std::string timestampOf(const pass &one) {
    const std::optional<std::tm> time = one.time ? timeOf(*one.time) : std::nullopt;
    if (!time)
        return "";
    std::array<char, 64> text{};
    std::strftime(text.data(), text.size(), " timestamp=\"%Y-%m-%dT%H:%M:%S\"", &*time);
    return text.data();
}

std::string joined(const std::vector<std::string> &lines) {
    std::string text;
    for (const std::string &line : lines) {
        text += text.empty() ? "" : "\n";
        for (size_t at = 0; at <= line.size();) { // an entry may have two lines
            const size_t end = std::min(line.find('\n', at), line.size());
            text += (at > 0 ? "\n" : "") + escaped(std::string_view(line).substr(at, end - at));
            at = end + 1;
        }
    }
    return text;
}

struct testCase {
    std::string name, element, message; // element: failure, error, skipped or none
    std::vector<std::string> lines;
};

testCase caseOf(const check &one) {
    static constexpr std::array elements{"", "", "failure", "error"};
    static constexpr std::array messages{"", "", "requirement not met", "no result: the report was cut off"};
    const auto result = static_cast<size_t>(one.result);
    testCase made{one.title.empty() ? "(not in a check)" : one.title, elements[result], messages[result], {}};
    if (one.waived) {
        made.element = "skipped";
        made.message = "waived" + (one.waived->until ? " until " + *one.waived->until : "") + ": " + one.waived->reason;
    } else if (one.result == CheckResult::warning)
        made.lines.emplace_back("WARNING: requirement not met");
    for (const line &text : one.lines)
        made.lines.push_back(text.text);
    return made;
}

class junitOutput : public writer {
public:
    explicit junitOutput(std::ostream &stream) : out(stream) {
        out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites name=\"kvxprereqcheck\">\n";
    }

    void add(host one) override {
        for (const pass &now : one.passes)
            addPass(one, now);
        addRun(one);
    }

    void finish() override {
        out << "</testsuites>\n";
    }

private:
    void addPass(const host &one, const pass &now) {
        std::vector<testCase> cases;
        std::map<std::string, int> used;
        for (const check &made : now.checks) {
            cases.push_back(caseOf(made));
            if (const int count = ++used[cases.back().name]; count > 1) // readers tell cases apart by their names
                cases.back().name += " (" + std::to_string(count) + ")";
        }
        // what no check shows, as in a summary
        testCase verdict{"verdict", now.result == PassResult::failed ? "failure" : "", "prerequisites not met", {}};
        for (const entry &text : now.entries)
            if (now.checks.empty() || !text.severity)
                verdict.lines.push_back(text.text);
        if (now.result == PassResult::incomplete)
            verdict = {"verdict", "error", "not known: the report is not whole", {}};
        if (now.checks.empty() || !verdict.lines.empty() || now.result == PassResult::incomplete)
            cases.push_back(std::move(verdict));
        addSuite(one.name + ", level " + nameOf(now), one.name, timestampOf(now), cases);
    }

    // The run as a whole: what no check shows.
    void addRun(const host &one) {
        testCase run{"run", "", "", one.errors};
        if (one.result == HostResult::unknown) {
            run.element = "error";
            run.message = reasonOf(one).value_or("not known whether the prerequisites are met");
        } else if (failedByStatusAlone(one)) {
            run.element = "failure";
            run.message = "exit status " + std::to_string(one.status.value_or(0)) + ": " +
                          meaningOf(one.status.value_or(0), english());
        }
        addSuite(one.name, one.name, "", {run});
    }

    void addSuite(const std::string &name, const std::string &hostName, const std::string &timestamp,
                  const std::vector<testCase> &cases) {
        const auto count = [&](const char *pElement) {
            return std::count_if(cases.begin(), cases.end(),
                                 [=](const testCase &one) { return one.element == pElement; });
        };
        out << "<testsuite name=\"" << escaped(name) << "\" hostname=\"" << escaped(hostName) << "\" tests=\""
            << cases.size() << "\" failures=\"" << count("failure") << "\" errors=\"" << count("error")
            << "\" skipped=\"" << count("skipped") << "\" time=\"0\"" << timestamp << ">\n";
        for (const testCase &one : cases) {
            out << "<testcase classname=\"" << escaped(name) << "\" name=\"" << escaped(one.name) << "\" time=\"0\"";
            const std::string text = joined(one.lines);
            if (one.element == "skipped")
                out << "><skipped message=\"" << escaped(one.message) << "\"/>"
                    << "<system-out>" << text << "</system-out></testcase>\n";
            else if (!one.element.empty())
                out << "><" << one.element << " message=\"" << escaped(one.message) << "\" type=\"prerequisite\">"
                    << text << "</" << one.element << "></testcase>\n";
            else if (!text.empty())
                out << "><system-out>" << text << "</system-out></testcase>\n";
            else
                out << "/>\n";
        }
        out << "</testsuite>\n";
    }

    std::ostream &out;
};

} // namespace

std::unique_ptr<writer> junitWriter(std::ostream &out) {
    return std::make_unique<junitOutput>(out);
}

} // namespace report
