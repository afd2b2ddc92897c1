// kvxprereqreport: what it reads out of reports, what it makes of them, and its command line.
#include "support.h"

#include "advice.h"
#include "catalog.h"
#include "earlier.h"
#include "judge.h"
#include "outline.h"
#include "reader.h"
#include "sqloLiterals.h"
#include "waivers.h"
#include "writers.h"

#include <fnmatch.h>
#include <regex>
#include <sstream>

using std::vector;

static report::languages &knownLanguages() {
    static report::languages known(KVX_PROGRAM_DIR "/locale");
    return known;
}

static report::host read(const string &text, const string &errors = "", std::optional<int> status = {}) {
    return readHost({"db1", text, errors, status, {}}, knownLanguages());
}

// --- Round trip: a run with the program's texts, and the same with a catalog that has only numbers and tokens ---

// For each text its number and the tokens that the English one shows, a word or a title its number alone.
static string numbersOnly() {
    const string header = readFile(KVX_SOURCE_DIR "/engn/include/sqloPrereqCheck.h");
    const std::regex message(" = (\\d{5}), +// (none; a token of)?");
    useCatalog();
    std::map<int, string> texts;
    for (std::sregex_iterator found(header.begin(), header.end(), message), end; found != end; ++found) {
        const int number = std::stoi((*found)[1]);
        char szText[1200];
        sqloRetrieveNLString(number, szText, sizeof szText, KVX_PROGRAM_DIR "/locale/en_US.iso88591/kvxistring.cat");
        texts[number] = ((*found)[2].matched ? "" : "@") + std::to_string(number);
        for (char token = '1'; token <= '9'; token++)
            if (strstr(szText, (string("%") + token).c_str()) != nullptr)
                texts[number] += string("@%") + token;
    }
    useTexts(texts);
    return readFile(string(szRuntimePath) + "/locale/en_US.iso88591/kvxistring.cat");
}

// Such a report, and below what was read of the other, as one text: all lines, and behind them all results.
static string flattened(const string &numbered) {
    string lines;
    string results;
    bool bEntries = false;
    bool bBlank = false;
    std::istringstream in(numbered);
    for (string line; std::getline(in, line); bBlank = line.empty()) {
        line.erase(0, line.find_first_not_of(' '));
        const int number = line.rfind('@', 0) == 0 ? std::stoi(line.substr(1)) : 0;
        if (line.rfind("====", 0) == 0) {
            bEntries = false;
            std::getline(in >> std::ws, line); // the time
        } else if (number == MSG_FAILURES_FOLLOW) {
            bEntries = true;
            line.clear();
        } else if (bEntries)
            results += bBlank && !line.empty() ? "entry " : "";
        else if (number == MSG_CHECK_PASSED || number == MSG_CHECK_FAILED)
            results += number == MSG_CHECK_PASSED           ? "passed "
                       : line.rfind("@30055@30017", 0) == 0 ? "warning "
                                                            : "error ";
        else if (number == MSG_LEVEL_PASSED || number == MSG_LEVEL_FAILED)
            results += "verdict ";
        else if (!line.empty())
            lines += line.substr(0, line.find_last_not_of('@') + 1) + "\n";
    }
    return lines + results;
}

static string flattened(const report::line &line) {
    if (line.message == 0)
        return line.text + "\n";
    string text = "@" + std::to_string(line.message);
    for (const string &token : line.tokens)
        text += token.empty() ? "" : "@" + token; // empty where it is missing, or where no text shows it
    return text + "\n";
}

static string flattened(const report::host &host) {
    string lines;
    string results;
    for (const report::pass &pass : host.passes) {
        lines += (*pass.clustered ? "@30150@" : "@30041@") + pass.level.value_or("") + "@Linux\n";
        for (const report::check &check : pass.checks) {
            lines += "@30053@" + (check.titleMessage ? std::to_string(check.titleMessage) : check.title) + "\n";
            for (const report::line &line : check.lines)
                lines += flattened(line);
            results += report::nameOf(check.result) + string(" ");
        }
        results += "verdict ";
        for (size_t i = 0; i < pass.entries.size(); i++)
            results += "entry ";
        EXPECT_EQ(pass.time.value_or("").size(), strlen("Sun Nov 22 01:00:00 2026"));
    }
    return lines + results;
}

struct exampleRun {
    string host;
    string prerequisites;
    string options;
    vector<string> languages;
};

TEST(ReportRoundTrip, GivesWhatTheRunDid) {
    onHost({}, [] {});
    const string instance = " -vastdw -usrname root -sqllib -service 22 -svcename inst1 -fcmstartport 60000";
    const string sample = readFile(KVX_SOURCE_DIR "/samples/KVXprereqs.xml");
    const string unmet =
        "<KVXLevel value=\"11.5\">\n<platform value=\"Linux\">\n<CPPLibName>libstdc++.so.6</CPPLibName>\n"
        "<CPPVersionString>GLIBCXX_9.9.9</CPPVersionString>\n<MinOSVersion>99</MinOSVersion>\n</platform>\n";
    const vector<exampleRun> runs = {
        {"rhel", sample, "", {"C", "fr_FR.IBM-850"}},
        {"suse", sample, "", {"de_DE.ISO-8859-1", "it_IT.UTF-8"}},
        {"centos", sample, " -c", {"ja_JP.SJIS", "es_ES.ISO-8859-15"}},
        {"ubuntu", sample, instance, {"zh_CN.GB18030", "pt_BR.UTF-8"}},
        {"rhel", unmet, instance, {"ko_KR.eucKR", "zh_TW.BIG5"}},
    };
    const string numbers = numbersOnly();
    for (const exampleRun &run : runs) {
        privateHost host;
        host.hostName = "dbhost";
        host.binds = {KVX_PROGRAM_DIR};
        host.layers = {KVX_SOURCE_DIR "/samples/hosts/" + run.host};
        host.files = {{"/levels.xml", run.prerequisites}};
        if (run.host == "rhel") {
            host.files.push_back(fakeTool("ldd", ""));
            host.files.push_back(fakeTool("file", "echo 32-bit"));
        }
        const vector<string> command = {"/bin/sh", "-c", "./kvxprereqcheck -f /levels.xml" + run.options};
        privateHost numberedHost = host;
        numberedHost.files.emplace_back(KVX_PROGRAM_DIR "/locale/en_US.iso88591/kvxistring.cat", numbers);
        const runResult numbered = runProgram(numberedHost, command, {}, KVX_PROGRAM_DIR);
        EXPECT_NE(numbered.out.find("@30053@30021"), string::npos);
        for (const string &language : run.languages) {
            const runResult shown = runProgram(host, command, {{"KVXLANG", language}}, KVX_PROGRAM_DIR);
            const report::host found = read(shown.out, "", shown.status);
            EXPECT_EQ(flattened(found), flattened(numbered.out)) << run.host << " in " << language;
            EXPECT_EQ(found.result == report::HostResult::failed, shown.status != 0) << run.host;
        }
    }
}

// --- Decisions ---

static string startOf(const string &level, bool bClustered = false) {
    return "\n" + string(74, '=') + "\n\nSun Nov 22 01:00:00 2026\n" +
           message(bClustered ? MSG_LEVEL_BANNER_CLUSTERED : MSG_LEVEL_BANNER, {level, "Linux"}) + "\n";
}

static string checkOf(const string &title, const string &detail, int severity = 0) {
    const string result = severity == 0 ? message(MSG_CHECK_PASSED) : message(MSG_CHECK_FAILED, {message(severity)});
    return "   \n" + message(MSG_CHECK_HEADING, {title}) + "\n   " + detail + "\n" + result + "\n";
}

static string good(const string &level = "12.1") {
    return message(MSG_LEVEL_PASSED, {"Server", "", level}) + "\n";
}

static string bad(const string &level, bool bClustered, const string &entries) {
    return message(MSG_LEVEL_FAILED, {"Server", bClustered ? message(MSG_CLUSTERED_LABEL) : "", level}) + "\n" +
           message(MSG_FAILURES_FOLLOW, {level}) + "\n" + entries;
}

// Passes of a level: what their names say is in them.
static string goodPass(const string &level) {
    return startOf(level) + checkOf("a", "x") + good(level);
}

static string warnedPass(const string &level) {
    return startOf(level) + checkOf("a", "x") + checkOf("b", "y", MSG_SEVERITY_WARNING) + bad(level, false, "   y\n\n");
}

static string failedPass(const string &level) {
    return startOf(level) + checkOf("c", "z", MSG_SEVERITY_ERROR) + bad(level, false, "   z\n\n");
}

template <typename Make> static auto inGerman(const char *pLocale, Make make) {
    setText(szLocale, pLocale);
    auto made = make();
    setText(szLocale, "en_US.UTF8");
    return made;
}

// The result of the host, and of each pass with the numbers of its checks and entries.
static string described(const report::host &host) {
    string text = report::nameOf(host.result);
    for (const report::pass &pass : host.passes)
        text += ", " + report::nameOf(pass) + " " + report::nameOf(pass.result) + " " +
                std::to_string(pass.checks.size()) + "+" + std::to_string(pass.entries.size());
    return text;
}

struct reportCase {
    string report;
    string errors;
    std::optional<int> status;
    string expected;
};

static void expectJudged(const vector<reportCase> &cases) {
    for (const reportCase &one : cases)
        EXPECT_EQ(described(read(one.report, one.errors, one.status)), one.expected)
            << one.report << "== errors\n"
            << one.errors << "== status " << one.status.value_or(-1);
}

TEST(ReportReader, JudgesAPassByAllThatIsInIt) {
    useCatalog();
    const string start = startOf("12.1");
    const string passed = checkOf("a", "x");
    const string warning = checkOf("b", "y", MSG_SEVERITY_WARNING);
    const string error = checkOf("c", "z", MSG_SEVERITY_ERROR);
    const string open = message(MSG_CHECK_HEADING, {"d"}) + "\n" + message(MSG_CHECK_FAILED, {"no severity"}) + "\n";
    const string fault = message(MSG_REQUIRED_VERSION, {"ksh", "93"}) + "\n";
    const string silent = checkOf("ksh", "", MSG_SEVERITY_WARNING);
    const string missing = message(MSG_REQUIREMENT_NOT_MET, {"", "ksh"}) + "\n\n";
    const string closing = message(MSG_CHECK_FAILED, {message(MSG_SEVERITY_ERROR)}) + "\n";
    expectJudged({
        {start + passed + good(), "", {}, "passed, 12.1 passed 1+0"},
        // df that fails records no entry: the verdict is good all the same
        {start + passed + error + good(), "", 0, "failed, 12.1 failed 2+0"},
        {start + warning + good(), "", 0, "warning, 12.1 warning 1+0"},
        {start + passed + open + good(), "", 0, "unknown, 12.1 incomplete 2+0"},
        // a bad verdict without an error in its checks
        {start + warning + bad("12.1", false, "   y\n\n"), "", {}, "warning, 12.1 warning 1+1"},
        {start + warning + bad("12.1", false, "   w\n\n   y\n\n"), "", {}, "failed, 12.1 failed 1+2"},
        {start + warning + bad("12.1", false, "   w\n\n   y\n\n"), "", 0, "warning, 12.1 warning 1+2"},
        {start + warning + open + bad("12.1", false, "   y\n\n"), "", 0, "failed, 12.1 failed 2+1"},
        {start + warning + error + bad("12.1", false, "   y\n\n"), "", 0, "failed, 12.1 failed 2+1"},
        // an entry that is its check's closing line
        {start + bad("12.1", false, closing + "\n"), "", 0, "failed, 12.1 failed 0+1"},
        // a list behind a good verdict
        {start + passed + good() + message(MSG_FAILURES_FOLLOW) + "\n   w\n", "", {}, "failed, 12.1 failed 1+1"},
        // two results in one block, the second also behind the verdict
        {start + error + message(MSG_CHECK_PASSED) + "\n" + good(), "", {}, "failed, 12.1 failed 1+0"},
        {start + passed + good() + closing, "", {}, "failed, 12.1 failed 1+0"},
        // Only the list has a line about the check. A check that passed cannot have written it.
        {start + silent + bad("12.1", false, missing), "", {}, "warning, 12.1 warning 1+1"},
        {start + checkOf("ksh", "") + warning + bad("12.1", false, missing), "", {}, "failed, 12.1 failed 2+1"},
        // a fault of the level's own stands outside of a check
        {start + fault + bad("12.1", false, fault), "", 0, "failed, 12.1 failed 1+1"},
    });
}

TEST(ReportReader, ShowsWhatWasCutOff) {
    useCatalog();
    const string start = startOf("12.1");
    const string passed = checkOf("a", "x");
    const string warning = checkOf("b", "y", MSG_SEVERITY_WARNING);
    const string error = checkOf("c", "z", MSG_SEVERITY_ERROR);
    const string whole = goodPass("9.8");
    expectJudged({
        // behind a rule, and in one
        {whole + start.substr(0, 77), "", 0, "unknown, 9.8 passed 1+0, ? incomplete 0+0"},
        {whole + start.substr(0, 20), "", 0, "unknown, 9.8 passed 1+0, ? incomplete 0+0"},
        {whole + "==\n=\n\n=", "", 0, "unknown, 9.8 passed 1+0, ? incomplete 0+0"},
        {start.substr(60) + passed + good(), "", 0, "unknown, 12.1 incomplete 1+0"},
        // in a check
        {start + passed.substr(0, 20), "", 0, "unknown, 12.1 incomplete 1+0"},
        {start + error + passed.substr(0, 20), "", {}, "failed, 12.1 failed 2+0"},
        // in the verdict, and in its list
        {start + passed + good().substr(0, 20), "", 0, "unknown, 12.1 incomplete 1+0"},
        // a good verdict on neither client nor server, which today's program does not write
        {start + passed + message(MSG_LEVEL_PASSED, {"", "", "12.1"}) + "\n", "", 0, "unknown, 12.1 incomplete 1+0"},
        {start + warning + bad("12.1", false, ""), "", 0, "unknown, 12.1 incomplete 1+0"},
        {start + error + bad("12.1", false, ""), "", 0, "failed, 12.1 failed 1+0"},
        {start + warning + bad("12.1", false, "   y\n\n   half of an en"), "", {}, "unknown, 12.1 incomplete 1+2"},
        // only the last line break is gone: a shell takes it away
        {start + passed + message(MSG_LEVEL_PASSED, {"Server", "", "12.1"}), "", {}, "passed, 12.1 passed 1+0"},
        // and another run appended
        {start + passed + "   Required ker" + whole, "", 0, "unknown, 12.1 incomplete 1+0, 9.8 passed 1+0"},
        {start.substr(0, 20) + whole, "", 0, "unknown, ? incomplete 0+0, 9.8 passed 1+0"},
        {start.substr(0, 77) + whole, "", 0, "unknown, ? incomplete 0+0, 9.8 passed 1+0"},
        // the beginning is missing, or what stood between two passes
        {start + passed + bad("9.8", false, "   y\n\n"), "", 0, "unknown, 12.1 incomplete 1+0, 9.8 incomplete 0+1"},
        {passed + good(), "", 0, "unknown, 12.1 incomplete 1+0"},
        {warning + bad("12.1", false, "   y\n\n") + whole, "", 0, "unknown, 12.1 incomplete 1+1, 9.8 passed 1+0"},
        {error + bad("12.1", false, "   z\n\n"), "", {}, "failed, 12.1 failed 1+1"},
        {message(MSG_LIBAIO_MISSING) + "\n" + whole.substr(77), "", 0, "unknown, ? incomplete 1+0, 9.8 passed 1+0"},
        // a trace in front of the first level is none of its text
        {"System locale => C\n" + whole, "", 0, "passed, 9.8 passed 2+0"},
    });
}

TEST(ReportReader, ReadsEachPassByItself) {
    useCatalog();
    const auto failedIn = [](const char *pLocale) { return inGerman(pLocale, [] { return failedPass("12.1"); }); };
    const string german = failedIn("de_DE.UTF8");
    const string english = goodPass("9.8");
    const string codeSets = failedIn("de_DE.ISO88591") + goodPass("11.5") + failedIn("de_DE.850") + english;
    const string cut = german.substr(0, german.find("   z")) + "\n";
    const string rest = checkOf("b", "y", MSG_SEVERITY_WARNING) + bad("12.1", false, "   y\n\n");
    expectJudged({
        // the last pass of a level and kind counts, unless it was cut off
        {failedPass("12.1") + goodPass("12.1"), "", {}, "passed, 12.1 passed 1+0"},
        {goodPass("12.1") + startOf("12.1"), "", {}, "unknown, 12.1 incomplete 0+0"},
        {failedPass("12.1") + startOf("12.1"), "", {}, "failed, 12.1 failed 1+1, 12.1 incomplete 0+0"},
        {failedPass("12.1") + replaced(warnedPass("12.1"), {{"\n", "\r\n"}}), "", {}, "warning, 12.1 warning 2+1"},
        // a verdict without a banner replaces nothing
        {failedPass("12.1") + good(), "", {}, "failed, 12.1 failed 1+1, 12.1 incomplete 0+0"},
        {goodPass("12.1") + good(), "", 0, "unknown, 12.1 incomplete 0+0"},
        {goodPass("12.1") + checkOf("a", "x") + good(), "", 0, "unknown, 12.1 incomplete 1+0"},
        {failedPass("12.1") + rest, "", {}, "failed, 12.1 failed 1+1, 12.1 incomplete 1+1"},
        // another language in front, behind, in another code set, and without a rule between
        {german + english, "", {}, "failed, 12.1 failed 1+1, 9.8 passed 1+0"},
        {english + german, "", {}, "failed, 9.8 passed 1+0, 12.1 failed 1+1"},
        {codeSets, "", {}, "failed, 11.5 passed 1+0, 12.1 failed 1+1, 9.8 passed 1+0"},
        {cut + good() + english, "", {}, "unknown, 12.1 incomplete 1+0, 12.1 incomplete 0+0, 9.8 passed 1+0"},
    });
}

TEST(ReportReader, TakesStandardErrorAsEvidence) {
    useCatalog();
    const string whole = goodPass("12.1");
    const string warned = bad("12.1", false, "   y\n\n");
    const string germanWarned = inGerman("de_DE.UTF8", [] { return bad("12.1", false, "   y\n\n"); });
    const string stopped = "Ended, because it took more than 30 seconds: rpm -q ksh\n";
    const vector<string> notDone = {
        "ERROR: \n   The 'strings' utility that is used to detect prerequisite libraries\n   is not present [...]\n",
        "ERROR: \n   Unable to determine if the 'strings' utility exists: Cannot allocate memory\n",
        message(MSG_REPORT_NOT_WRITABLE, {"/r"}) + "\n",
        message(MSG_FILE_NOT_OPENED, {"/f"}) + "\n",
        inGerman("de_DE.ISO88591", [] { return message(MSG_FILE_NOT_OPENED, {"/f"}) + "\n"; }),
        "Cannot create /tmp/kvxprereqcheck.1: No space left on device\n",
        "Cannot write all of /tmp/kvxprereqcheck.1: No space left on device\n",
        "The path in KVXTMPDIR is too long: no command that writes a file there is run\n",
    };
    for (const string &line : notDone)
        expectJudged({
            {whole, line, 0, "unknown, 12.1 passed 1+0"},
            {"", line, 0, "unknown"},
        });
    expectJudged({
        {whole, stopped, {}, "warning, 12.1 passed 1+0"},
        {"", stopped, 0, "warning"},
        {whole + notDone[0], "", 0, "unknown, 12.1 passed 1+0"}, // both were written to one file
        // verdicts of a run whose report shows another
        {whole, warned, {}, "unknown, 12.1 passed 1+0"},
        {whole, warned, 0, "warning, 12.1 passed 1+0"},
        {whole, germanWarned + good(), 0, "warning, 12.1 passed 1+0"},
        {failedPass("12.1"), good(), 0, "failed, 12.1 failed 1+1"}, // of an earlier run, perhaps
        // verdicts alone, in one language and in two
        {"", warned, {}, "unknown, 12.1 incomplete 0+1"},
        {"", warned, 0, "warning, 12.1 warning 0+1"},
        {"trace\n", warned, 3, "failed, 12.1 failed 1+1"},
        {"", good(), {}, "unknown, 12.1 incomplete 0+0"},
        {"", good(), 0, "passed, 12.1 passed 0+0"},
        {"", germanWarned + good(), {}, "unknown, 12.1 incomplete 0+1, 12.1 incomplete 0+0"},
        {"", good() + warnedPass("9.8"), 0, "warning, 12.1 passed 0+0, 9.8 warning 2+1"},
        {startOf("12.1").substr(0, 77), warned, 0, "unknown, ? incomplete 0+0, 12.1 warning 0+1"},
        // a good verdict names no level: it is the plain one of the clustered pass behind it
        {"", good() + "\n" + bad("12.1", true, "   y\n"), 0, "warning, 12.1 passed 0+0, 12.1 clustered warning 0+1"},
    });
}

TEST(ReportReader, TakesTheStatusWhereNothingElseIsKnown) {
    useCatalog();
    expectJudged({
        {"", "", 0, "passed"}, // -l
        {"", "", {}, "unknown"},
        {"\n", "", 0, "unknown"},
        {"", "something else\n", 0, "unknown"},
        {"", message(MSG_LEVEL_UNSUPPORTED, {"9.8"}) + "\n", 0, "passed"},
        {message(MSG_USAGE_FIRST), "", 0, "unknown, ? incomplete 1+0"}, // -h
        {"no\nlanguage\n", "", {}, "unknown, ? incomplete 1+0"},
        {goodPass("12.1"), "", 3, "failed, 12.1 passed 1+0"},
    });
    const string client = startOf("1") + message(MSG_LEVEL_PASSED, {"Client", "", "1"}) + "\n";
    EXPECT_EQ(read(client).passes[0].client, true);
    const report::host missing = readHost({"db1", {}, "", 0, {}}, knownLanguages());
    EXPECT_EQ(described(missing), "unknown");
}

TEST(ReportReader, SaysWhatIsNotKnown) {
    useCatalog();
    const string passed = checkOf("a", "x");
    const string clustered = startOf("12.1", true);
    const string stringsMissing = "ERROR: \n   The 'strings' utility that is used to detect prerequisite libraries\n";
    const vector<reportCase> cases = {
        {goodPass("9.8") + startOf("12.1").substr(0, 77), "", 0, "The report was cut off between two levels."},
        {"a\nb\n", "", {}, "There is no report, or .*"},
        {"", "something else\n", 0, "No level was checked."},
        {passed + bad("12.1", false, "   y\n\n"), "", 0, "The beginning of a part of the report was cut off."},
        {startOf("12.1") + passed, "", 0, "Level 12.1 has no verdict: .*"},
        {clustered + passed, "", 0, "Level 12.1 with the clustered feature has no verdict: .*"},
        {startOf("12.1") + bad("12.1", false, ""), "", 0, "The report on level 12.1 is not complete."},
        {clustered + bad("12.1", true, ""), "", 0,
         "The report on level 12.1 with the clustered feature is not complete."},
        {"", "", {}, "No level was checked."},
        {"", "Cannot create /f: full\n", 0, "Something was not checked or not written: Cannot create /f: full"},
        {goodPass("12.1"), stringsMissing, 0, "Something was .*: The 'strings' utility is missing."},
        {goodPass("12.1"), bad("12.1", false, "   y\n"), {}, "Standard error has a bad verdict. .*"},
        {"", bad("12.1", false, "   y\n"), {}, "Standard error has a bad verdict. .*"},
        {"", good(), {}, "Standard error has a good verdict. .*"},
    };
    for (const reportCase &one : cases) {
        const vector<report::note> doubts = read(one.report, one.errors, one.status).doubts;
        ASSERT_EQ(doubts.size(), 1U) << one.expected;
        EXPECT_TRUE(std::regex_match(doubts[0].in(report::english()), std::regex(one.expected)))
            << doubts[0].in(report::english());
    }
    EXPECT_EQ(readHost({"db1", {}, "", 0, {}}, knownLanguages()).doubts[0].message, report::Message::noReport);
}

// Whatever is cut off or appended, and in whatever language: what was bad in a whole pass stays bad, and a pass that is
// not whole is no good one.
TEST(ReportReader, IsNeverBetterThanTheReport) {
    useCatalog();
    const auto failedRun = [] { return failedPass("12.1") + failedPass("11.5"); };
    const auto warnedRun = [] { return warnedPass("12.1"); };
    const string other = goodPass("9.8");
    for (const char *pLocale : {"en_US.UTF8", "de_DE.ISO88591", "ja_JP.UTF8"}) {
        const string failed = inGerman(pLocale, failedRun);
        const string warned = inGerman(pLocale, warnedRun);
        const size_t firstResult = failed.find("\n", failed.find("   z")) + 1;
        const size_t firstEnd = failed.find('\n', firstResult);
        for (size_t cut = 2; cut < failed.size(); cut++) {
            const auto expected = cut < firstEnd ? report::HostResult::unknown : report::HostResult::failed;
            EXPECT_GE(read(failed.substr(0, cut), "", 0).result, expected) << pLocale << cut;
            EXPECT_GE(read(failed.substr(0, cut) + other, "", 0).result, expected) << pLocale << cut;
            EXPECT_GE(read(other + failed.substr(0, cut), "", 0).result, expected) << pLocale << cut;
        }
        for (size_t cut = 1; cut < failed.size(); cut++)
            EXPECT_GE(read(failed.substr(cut), "", 0).result, report::HostResult::unknown) << pLocale << cut;
        const size_t lastLine = warned.rfind("   y");
        for (size_t cut = 2; cut < lastLine; cut++)
            EXPECT_GE(read(warned.substr(0, cut) + other, "", 0).result, report::HostResult::unknown) << pLocale << cut;
    }
}

// A line of the program that no catalog of the code set explains tells which one it is.
TEST(ReportReader, TakesACodeSetThatHoldsTheBytes) {
    useCatalog();
    const string text =
        inGerman("de_DE.ISO88591", [] { return startOf("12.1") + "Erf\xFCllt\n" + checkOf("\u00fc", "x") + good(); });
    const report::host host = read(text);
    EXPECT_EQ(host.passes[0].checks[0].lines[0].text, "Erf\u00fcllt");
    EXPECT_EQ(host.passes[0].checks[1].title, "\u00fc"); // a name of the host, which is in UTF-8
    EXPECT_EQ(host.passes[0].language, "de-DE");
    // no text of the program has an accent here
    const string ascii = inGerman("it_IT.ISO88591", [] { return startOf("12.1") + "qualit\xE0\n"; });
    EXPECT_EQ(read(ascii).passes[0].checks[0].lines[0].text, "qualit\u00e0");
}

// --- Messages ---

// The numbers of the messages by their names, and behind each the comment of the header.
static std::map<string, std::pair<int, string>> messagesOfHeader() {
    const string header = readFile(KVX_SOURCE_DIR "/engn/include/sqloPrereqCheck.h");
    const std::regex row("MSG_(\\w+) = (\\d{5}), +// ([^\n]*)");
    std::map<string, std::pair<int, string>> messages;
    for (std::sregex_iterator found(header.begin(), header.end(), row), end; found != end; ++found)
        messages[(*found)[1]] = {std::stoi((*found)[2]), (*found)[3]};
    return messages;
}

static bool fits(const string &text, const string &pattern) {
    return std::regex_search(text, std::regex(pattern));
}

// Words and titles are parts of other lines, and reports have no usage text. All other messages are lines.
TEST(ReportMessages, AreLinesWordsOrTitles) {
    const report::catalog english(KVX_PROGRAM_DIR "/locale/en_US.iso88591/kvxistring.cat", "utf8");
    // with each of the words that they can have
    const std::map<int, size_t> several = {
        {MSG_CHECK_FAILED, 3}, {MSG_LEVEL_FAILED, 4}, {MSG_LEVEL_PASSED, 4}, {MSG_SELINUX_STATE, 2}};
    for (const auto &[name, row] : messagesOfHeader()) {
        const auto &[number, comment] = row;
        const bool bPart = fits(name, "^(USAGE|TITLE|SYMBOL)_") || fits(comment, "a token of");
        EXPECT_EQ(english.patternsOf(number).size(), bPart                       ? 0
                                                     : several.count(number) > 0 ? several.at(number)
                                                                                 : 1)
            << name;
        EXPECT_EQ(english.titleMessage(english.text(number)) == number, name.find("TITLE_") == 0) << name;
    }
}

// The build asks this of each catalog.
TEST(ReportMessages, ThatCannotBeReadAreFaults) {
    const auto check = [](const string &arguments) {
        int status = 0;
        const string command = KVX_PROGRAM_DIR "/catalog-check " + arguments;
        const printed got = capture([&] { status = system(command.c_str()); });
        return std::to_string(WEXITSTATUS(status)) + " " + got.err;
    };
    const vector<std::pair<std::map<int, string>, string>> cases = {
        {{{MSG_CHECK_PASSED, "a"},
          {MSG_TITLE_GLIBC, "b %1%2\nb"},
          {MSG_CHECK_HEADING, "a %1 b %2"},
          {MSG_LIBAIO_MISSING, "%1"},
          {MSG_LIBNUMA_MISSING, "%2"}},
         "0 "},
        {{{MSG_CHECK_PASSED, "\u00e4"}}, "1 .*: message 30054 is not in the catalog's code set\n"},
        {{{MSG_CHECK_PASSED, "a\nb"}}, "1 .*: message 30054 has more than one line\n"},
        {{{MSG_TITLE_GLIBC, "a"}, {MSG_TITLE_LIBAIO, "a"}}, "1 .*: message 30026 is the same title as 30025\n"},
        {{{MSG_CHECK_PASSED, "a %1%2"}}, "1 .*: message 30054 has two tokens side by side\n"},
        {{{MSG_CHECK_PASSED, "a %1"}, {MSG_LIBAIO_MISSING, "%1 b"}, {MSG_LIBNUMA_MISSING, "a %2"}},
         "1 .*: message 30054 and 33609 can have written the same line\n.*33609 and 30054 can .*\n"},
        {{{MSG_CHECK_PASSED, "   .bashrc Check - Passed."}},
         "1 .*: message 30054 and the program's own \".bashrc Check - Passed....\" can have .*\n.*\n"},
    };
    for (const auto &[texts, expected] : cases) {
        useTexts(texts);
        const string catalog = string(szRuntimePath) + "/locale/en_US.iso88591/kvxistring.cat";
        EXPECT_TRUE(std::regex_match(check(catalog + " ASCII"), std::regex(expected)))
            << expected << check(catalog + " ASCII");
    }
    EXPECT_EQ(check("/dev/null utf8"), "2 catalog-check: no message catalog: /dev/null\n");
    EXPECT_EQ(check("/dev/null"), "2 usage: catalog-check CATALOG CODESET\n");
}

// These tell the language, and where standard error has them they tell something of the run.
TEST(ReportMessages, TellTheLanguage) {
    useCatalog();
    for (const auto &[name, row] : messagesOfHeader()) {
        const int number = row.first;
        const string german = inGerman("de_DE.UTF8", [=] { return message(number, {"Server", "", "1"}); });
        const bool bTelling =
            fits(name, "^(LEVEL_(BANNER.*|FAILED|PASSED|UNSUPPORTED)|REPORT_NOT_WRITABLE|FILE_NOT_OPENED)$");
        EXPECT_EQ(knownLanguages().tellingMessage(german), bTelling ? number : 0) << name;
    }
}

// In a list without blank lines, a requirement and the line below it are one entry. Two messages are never in a list.
TEST(ReportMessages, AreRequirementsWithASecondLine) {
    useCatalog();
    for (const auto &[name, row] : messagesOfHeader()) {
        if (fits(name, "^(LEVEL_(BANNER|FAILED|PASSED)|CHECK_HEADING|USAGE)"))
            continue;
        const string lines = message(row.first, {"1", "2", "3"}) + "\n" + message(MSG_LIBAIO_MISSING) + "\n";
        const auto passes = read("", bad("12.1", false, lines)).passes;
        const bool bOne = fits(name, "REQUIRED|^REPORT_NOT_WRITABLE$|^LEVEL_UNSUPPORTED$");
        EXPECT_EQ(passes[0].entries.size(), bOne ? 1U : 2U) << name;
    }
}

TEST(ReportMessages, HaveAdvice) {
    useCatalog();
    const std::map<int, const char *> kinds = {{MSG_KERNEL_REQUIRED, "kernel level"},
                                               {MSG_KERNEL_LEVEL_MALFORMED, "kernel level"},
                                               {MSG_LIBSTDCXX_REQUIRED, "C++ runtime library (libstdc++)"},
                                               {MSG_GLIBC_REQUIRED, "C library (glibc)"},
                                               {MSG_LIBAIO_MISSING, "asynchronous I/O library (libaio)"},
                                               {MSG_LIBPAM_32BIT_MISSING, "32-bit PAM library"},
                                               {MSG_SELINUX_ENABLED, "SELinux"},
                                               {MSG_FREE_SPACE_SHORT, "free space"},
                                               {MSG_FREE_SPACE_LOW, "free space"},
                                               {MSG_CHECK_FAILED, "umask"},
                                               {MSG_TIME_SERVICE_MISSING, "time service"},
                                               {MSG_REQUIRED_WITH_RELEASE, "packages"},
                                               {MSG_REQUIRED_VERSION, "packages"},
                                               {MSG_PACKAGE_NOT_INSTALLED, "packages"},
                                               {MSG_REQUIREMENT_NOT_MET, "packages"}};
    const auto kindOf = [](int number, const string &text) {
        const report::advice *pAdvice = report::adviceOn(number, text);
        // the text with the advice is the next one
        EXPECT_TRUE(pAdvice == nullptr || static_cast<int>(pAdvice->text) == static_cast<int>(pAdvice->kind) + 1)
            << text;
        return pAdvice == nullptr ? "" : report::english().text(pAdvice->kind);
    };
    for (const auto &[name, row] : messagesOfHeader())
        EXPECT_EQ(kindOf(row.first, name), kinds.count(row.first) ? kinds.at(row.first) : "") << name;
    // what a requirement names
    EXPECT_EQ(kindOf(MSG_REQUIRED_WITH_RELEASE, "UMASK 022"), "umask");
    for (const char *pName : {"/usr/sbin/chronyd", "ntp"})
        EXPECT_EQ(kindOf(MSG_REQUIRED_VERSION, pName), "time service");
    EXPECT_EQ(kindOf(MSG_REQUIREMENT_NOT_MET, "C library (glibc)"), "C library (glibc)");
    for (const string literal : ppszLiterals)
        EXPECT_EQ(kindOf(0, literal), fits(literal, " Number - |a service -") ? "ports"
                                      : fits(literal, "ERROR: ")              ? "instance user"
                                                                              : "")
            << literal;
    EXPECT_EQ(kindOf(0, szStringsMissing), "strings");
}

// --- Exit statuses ---

// Behind 128 there are signals, as a shell counts them.
TEST(ReportStatuses, AreExplained) {
    std::map<int, string> words;
    std::istringstream rows(
        "1 kernel level;2 not be started;3 tool or library;6 command line;7 -v;8 prerequisites file;"
        "9 -o or -gui;10 memory;11 network;12 network;13 network;14 network;124 timeout;"
        "126 not be started;127 not found;255 free space;"
        "129 1, SIGHUP, .*: its terminal;130 2, SIGINT, .*: somebody interrupted;"
        "131 3, SIGQUIT, .*: somebody interrupted;132 4, SIGILL, ended the program$;"
        "134 6, SIGABRT, ended the program$;135 7, SIGBUS, ended the program$;"
        "136 8, SIGFPE, ended the program$;137 9, SIGKILL, .*: somebody killed;"
        "139 11, SIGSEGV, ended the program$;141 13, SIGPIPE, .*: nobody read;"
        "142 14, SIGALRM, ended the program$;143 15, SIGTERM, .*: somebody ended");
    for (string row; std::getline(rows, row, ';');)
        words[std::stoi(row)] = row.substr(row.find(' ') + 1);
    for (int status = 1; status < 256; status++) {
        const bool bSignal = status > 128 && status <= 128 + 64;
        const string other = bSignal ? "signal " + std::to_string(status - 128) + " ended" : "no such exit status";
        const string text = report::meaningOf(status, report::english());
        EXPECT_PRED2(fits, text, words.count(status) > 0 ? words.at(status) : other) << status;
    }
}

// --- Forms ---

typedef std::unique_ptr<report::writer> (*writerMaker)(std::ostream &);

static std::unique_ptr<report::writer> plainTable(std::ostream &out) {
    static const report::encoder utf8("utf8");
    return report::tableWriter(out, false, report::english(), utf8);
}

static std::unique_ptr<report::writer> englishPage(std::ostream &out) {
    return report::htmlWriter(out, report::english());
}

static string shown(writerMaker makeWriter, const vector<report::host> &hosts) {
    std::ostringstream out;
    const auto writer = makeWriter(out);
    for (const report::host &one : hosts)
        writer->add(one);
    writer->finish();
    return out.str();
}

static report::host named(const string &name, report::host host) {
    host.name = name;
    return host;
}

TEST(ReportWriters, LoseNothingAndObeyNothing) {
    useCatalog();
    const string hostile = "<i>&\"\\\x1b[31m\xff\t\u202e\u00fc";
    const string megabyte(1 << 20, 'm');
    const report::host host =
        read(startOf("12.1") + checkOf(hostile, "ksh", MSG_SEVERITY_ERROR) + "late\n" + message(MSG_CHECK_PASSED) +
                 "\n" + checkOf("p", "The p Number - 5 is available for \u00fc to use.", MSG_SEVERITY_ERROR) +
                 bad("12.1", false, hostile + "\n\n" + megabyte + "\n"),
             "one\ntwo\n", 255);
    const string escaped = "<i>&\\\"\\\\\\u001b[31m\\\\xFF\\u0009\u202e\u00fc";
    EXPECT_EQ(
        shown(report::jsonWriter, {host}),
        "{\"schema\": 2, \"hosts\": [\n{\"host\": \"db1\", \"status\": 255, \"result\": \"failed\", \"reason\": null, "
        "\"errors\": [\"one\", \"two\"], \"passes\": [{\"level\": \"12.1\", \"clustered\": false, \"client\": false, "
        "\"time\": \"Sun Nov 22 01:00:00 2026\", \"result\": \"failed\", \"checks\": [{\"id\": \"" +
            escaped + "\", \"title\": \"" + escaped +
            "\", \"result\": \"error\", \"waived\": null, \"lines\": [{\"message\": null, \"tokens\": [], "
            "\"text\": \"ksh\"}, {\"message\": null, \"tokens\": [], \"text\": \"late\"}, {\"message\": 30054, "
            "\"tokens\": [], \"text\": \"" +
            message(MSG_CHECK_PASSED).substr(3) +
            "\"}], \"advice\": null}, {\"id\": \"p\", "
            "\"title\": \"p\", \"result\": \"error\", \"waived\": null, \"lines\": [{\"message\": null, "
            "\"tokens\": [\"p\", \"5\", \"\u00fc\"], \"text\": \"The p Number - 5 is available for \u00fc to use.\"}], "
            "\"advice\": null}], \"entries\": [{\"text\": \"" +
            escaped + "\", \"severity\": null}, {\"text\": \"" + megabyte +
            "\", \"severity\": null}]}]}\n], \"changes\": null}\n");
    for (const writerMaker makeWriter : {report::junitWriter, englishPage}) {
        const string markup = shown(makeWriter, {host});
        // in front of the check that follows it
        EXPECT_LT(markup.find("&lt;i&gt;&amp;&quot;\\\\x1B[31m\\xFF \\u202E\u00fc"), markup.find("The p Number"));
        EXPECT_EQ(markup.find("<i>"), string::npos);
        EXPECT_NE(markup.find(megabyte), string::npos);
    }
}

// In a summary there are no checks: an entry is a finding with advice of its own.
TEST(ReportWriters, ShowEntriesOfASummary) {
    useCatalog();
    const string closing = message(MSG_CHECK_FAILED, {message(MSG_SEVERITY_ERROR), ": umask 0077"});
    const report::host told = read("", bad("12.1", false, closing + "\n\n"), 255);
    const string advised = "error</span> <b>" + closing.substr(3) + "</b>\n<p><a href=\"#advice-1\">What to do: umask<";
    EXPECT_NE(shown(englishPage, {told}).find(advised), string::npos) << shown(englishPage, {told});
    EXPECT_NE(shown(report::junitWriter, {told}).find("<failure message=\"prerequisites not met"), string::npos);
}

TEST(ReportWriters, ShowAdviceAndSeveritiesInJson) {
    useCatalog();
    const string missing = message(MSG_REQUIREMENT_NOT_MET, {"", "ksh"}).substr(3);
    const string shownToo = message(MSG_REQUIREMENT_NOT_MET, {"", "awk"}).substr(3); // in its check, and in the list
    const string user = "ERROR: Failed to find the user entry for the user - u.";
    const string checks = checkOf("ksh", "", MSG_SEVERITY_ERROR) + checkOf("awk", shownToo, MSG_SEVERITY_WARNING) +
                          checkOf("u", user, MSG_SEVERITY_ERROR);
    const string list = bad("1", false, missing + "\n\n" + shownToo + "\n\n");
    const string json = shown(report::jsonWriter, {read(startOf("1") + checks + list)});
    const vector<string> parts = {"\"advice\": {\"kind\": \"packages\"",
                                  "[\"u\"], \"text\": \"" + user + "\"}], \"advice\": {\"kind\": \"instance user\"",
                                  "\"commands\": {\"RHEL\": \"dnf install PACKAGE\"",
                                  "[{\"text\": \"" + missing + "\", \"severity\": \"error\"}, {\"text\": \"" +
                                      shownToo + "\", \"severity\": \"warning\"}]",
                                  "\"lines\": [{\"message\": 30095, \"tokens\": [\"\", \"awk\"], \"text\": \"" +
                                      shownToo + "\"}], \"advice\""};
    for (const string &part : parts)
        EXPECT_NE(json.find(part), string::npos) << part << json;
}

TEST(ReportWriters, KeepTablesTo80Columns) {
    useCatalog();
    string text;
    for (int i = 0; i < 12; i++) {
        const string title = string(i * 20, 'c') + " c";
        const string detail = "a long detail " + string(i * 20, 'd') + "\u65e5\u672c";
        text += startOf(std::to_string(i), i % 2) + checkOf(title, detail, MSG_SEVERITY_ERROR);
    }
    const report::host host = named(string(100, 'h'), read(text, string(100, 'e'), 1));
    const string table = shown(plainTable, {host});
    std::istringstream lines(table);
    int count = 0;
    for (string line; std::getline(lines, line); count++)
        EXPECT_LE(report::columns(line), line.find('h') == 0 ? 100U : 80U) << line; // a name is never cut
    EXPECT_GT(count, 12 * 3);
    EXPECT_EQ(table.find('\033'), string::npos);
}

// The first and the last of each range of characters that are not shown as they are, and the neighbours of these.
TEST(ReportText, ShowsHiddenCharacters) {
    for (const string hidden : {"\u0080", "\u009f", "\u061c", "\u200b", "\u200f", "\u2028", "\u202e", "\u2060",
                                "\u206f", "\ufeff", "\ufffe", "\uffff", "\U0001fffe"})
        EXPECT_EQ(report::visible(hidden).find("\\u"), 0U) << report::visible(hidden);
    for (const string seen : {" ", "~", "\u00a0", "\u061b", "\u061d", "\u200a", "\u2010", "\u2027", "\u202f", "\u205f",
                              "\u2070", "\ufefe", "\uff00", "\ufffd"})
        EXPECT_EQ(report::visible(seen), seen);
    EXPECT_EQ(report::visible("\x1f\x7f\t"), "\\x1F\\x7F ");
    // a combining mark takes no column, and a wide character takes two
    EXPECT_EQ(report::columns("\u0300\u036f"), 0U);
    EXPECT_EQ(report::columns("\u02ff\u0370\u10ff\u1160"), 4U);
    EXPECT_EQ(report::columns("\u1100\u115f\uac00\ud7a3"), 8U);
}

struct wrappedText {
    string text;
    size_t width;
    string lines; // with a bar between them
};

TEST(ReportText, EndsLinesWhereWordsEnd) {
    const vector<wrappedText> cases = {
        {"ab cd  ", 5, "ab cd"},
        {"ab cd", 4, "ab|cd"},
        {"ab  cd", 3, "ab|cd"},
        {"abcde", 2, "ab|cd|e"},
        // between two characters of Chinese or Japanese, but not between those of Korean
        {"a\u65e5\u672c", 4, "a\u65e5|\u672c"},
        {"a \uac00\ud7a3\uac00", 6, "a|\uac00\ud7a3\uac00"},
        {"a \u1100\u115f\u1100", 6, "a|\u1100\u115f\u1100"},
        // not behind an opening sign, nor in front of a closing one
        {"\u65e5\uff08\u672c", 5, "\u65e5|\uff08\u672c"},
        {"\u65e5\u672c\u3002", 5, "\u65e5|\u672c\u3002"},
        // Behind a wide full stop, or the line would end within the last word of the sentence. Not in front of a narrow
        // one.
        {"\u65e5\u672c\u8a9e\u3002Ubuntu", 9, "\u65e5\u672c\u8a9e\u3002|Ubuntu"},
        {"\u65e5\u672c\u3002)", 6, "\u65e5|\u672c\u3002)"},
        {"\u65e5", 1, "\u65e5"},
    };
    for (const wrappedText &one : cases) {
        string lines;
        for (const string &line : report::wrap(one.text, one.width))
            lines += (lines.empty() ? "" : "|") + line;
        EXPECT_EQ(lines, one.lines) << one.text;
    }
}

TEST(ReportText, OrdersLevels) {
    const vector<string> levels = {"12.1.10", "12.1.9", "12.1.0", "12.1", "12.01", "11.10", "11.9", "9.8", "x"};
    for (size_t i = 0; i < levels.size(); i++)
        for (size_t j = 0; j < levels.size(); j++)
            EXPECT_EQ(report::isNewerLevel(levels[i], levels[j]), i < j) << levels[i] << " " << levels[j];
}

static vector<string> wordsOf(const string &text) {
    std::istringstream in(text);
    return {std::istream_iterator<string>(in), {}};
}

TEST(ReportNames, FormRanges) {
    const vector<std::pair<string, string>> cases = {
        // two names are no range
        {"db1 db0 db", "db, db0, db1"},
        {"db db3 db1 db2", "db, db1 to db3"},
        {"1 2 3 5", "1 to 3, 5"},
        // as many digits, or one more without a zero in front
        {"db10 db9 db11", "db9 to db11"},
        {"db09 db10 db11", "db09 to db11"},
        {"db009 db10 db11 db012", "db009, db10, db11, db012"},
        // the last number of the first label, with the same text around it
        {"r1-a.2 r2-a.2 r3-a.2", "r1-a.2 to r3-a.2"},
        {"a1.1 a1.2 a1.3", "a1.1, a1.2, a1.3"},
        {"a1.x a2.x a3.y", "a1.x, a2.x, a3.y"},
        {"a a a", "a, a, a"},
        // at most nine digits
        {"n123456788 n123456789 n123456790", "n123456788 to n123456790"},
        {"n1234567888 n1234567889 n1234567890", "n1234567888, n1234567889, n1234567890"},
        // at most 20 parts
        {"a b c d e f g h i j k l m n o p q r s1 s2 s3 t u v",
         "a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, q, r, s1 to s3, t and 2 more"},
    };
    for (const auto &[hosts, expected] : cases)
        EXPECT_EQ(report::namesOf(wordsOf(hosts), report::english()), expected);
}

// At most 40 names in a list, 10 in a heading, 40 doubts and passes; at most 20 hosts of a page are unfolded.
TEST(ReportNames, AreNotTooMany) {
    useCatalog();
    vector<string> names;
    string text;
    for (int i = 10; i <= 50; i++) {
        names.push_back(std::to_string(i));
        text += startOf(names.back()) + "==\nx\n";
    }
    const auto ends = [](const string &list) { return list.substr(list.rfind(", ") + 2); };
    EXPECT_EQ(ends(report::listOf(names, report::english())), "49 and 1 more");
    names.pop_back();
    EXPECT_EQ(ends(report::listOf(names, report::english())), "49");
    names.resize(11);
    const report::advice *pPackages = report::adviceOn(MSG_PACKAGE_NOT_INSTALLED, "");
    EXPECT_EQ(ends(headingOf({pPackages, names}, report::english())), "19 and 1 more)");
    const report::host host = read(text);
    EXPECT_EQ(host.doubts.size(), 41U);
    EXPECT_EQ(read(text.substr(text.find(startOf("12")))).doubts.size(), 40U);
    EXPECT_EQ(host.doubts.back().in(report::english()), "More passes like these: 2."); // 41 levels, and no level
    const string page = shown(englishPage, vector<report::host>(21, host));
    const std::regex unfolded(" open>\n<summary><h3>");
    EXPECT_EQ(std::distance(std::sregex_iterator(page.begin(), page.end(), unfolded), {}), 20);
    EXPECT_NE(page.find("Passes not shown: 2<"), string::npos); // of a level, and without one
}

TEST(ReportWriters, NameNoLanguageOfSeveral) {
    useCatalog();
    const string german = inGerman("de_DE.UTF8", [] { return failedPass("12.1"); });
    const string page = shown(englishPage, {read(german + failedPass("11.5"))});
    EXPECT_NE(page.find("<b>c</b> <span class=\"where\">(all passes)</span>"), string::npos) << page;
}

// Bad levels go first, however old they are.
TEST(ReportWriters, ShowAtMost40Levels) {
    useCatalog();
    string text = failedPass("1.1") + startOf("1.2");
    for (int i = 100; i < 200; i++)
        text += goodPass("2." + std::to_string(i));
    const report::host host = read(text);
    const string table = shown(plainTable, {host});
    EXPECT_NE(table.find("\n" + string(28, ' ') + "2.163   2.162   1.2     1.1\n"), string::npos) << table;
    EXPECT_EQ(table.find("2.161"), string::npos);
    EXPECT_EQ(shown(plainTable, {host, host}).find("[1]"), string::npos); // two hosts are not several
    EXPECT_NE(table.find("Levels not shown: 62; failed or incomplete on a host: 0."), string::npos);
    EXPECT_EQ(shown(englishPage, {host}).find("2.161"), string::npos);
    EXPECT_NE(shown(report::jsonWriter, {host}).find("2.161"), string::npos);
}

// A trace of the program stands around the time.
TEST(ReportWriters, GiveAPassItsTime) {
    useCatalog();
    string traced = goodPass("12.1");
    traced.insert(traced.find("Sun"), "a trace\n");
    traced.insert(traced.find("Checking"), "another\n");
    const report::host host = read(traced);
    EXPECT_EQ(host.passes[0].time, "Sun Nov 22 01:00:00 2026");
    EXPECT_NE(shown(report::junitWriter, {host}).find(" timestamp=\"2026-11-22T01:00:00\""), string::npos);
}

// --- Waivers ---

struct waiverCase {
    string waivers;
    reportCase judged;
    string complaint; // a part of it
};

static string joined(const vector<string> &texts) {
    string all;
    for (const string &text : texts)
        all += text + "\n";
    return all;
}

TEST(ReportWaivers, HoldForWarningsOnly) {
    useCatalog();
    const string warning = checkOf("b", "y", MSG_SEVERITY_WARNING);
    const string warned = warnedPass("12.1");
    const string told = bad("12.1", false, "   y\n");
    const string clustered = startOf("12.1", true) + warning + bad("12.1", true, "   y\n\n");
    const string directories = startOf("12.1") + checkOf("d", "of /a", MSG_SEVERITY_WARNING) +
                               checkOf("d", "of /a/b", MSG_SEVERITY_WARNING) +
                               bad("12.1", false, "   of /a/b\n\n   of /a\n\n");
    const string numbered = startOf("12.1") + checkOf(message(MSG_TITLE_LIBAIO), "y", MSG_SEVERITY_WARNING) + good();
    const string open = message(MSG_CHECK_HEADING, {"b"}) + "\n";
    const string outside = startOf("12.1") + warning + bad("12.1", false, "   w\n\n   y\n\n");
    const string listed = bad("12.1", false, "   y\n\n");
    const string twice = startOf("12.1") + warning + checkOf("e", "y", MSG_SEVERITY_WARNING) + listed;
    const string hiding = startOf("12.1") + warning + checkOf("e", "").substr(0, 20) + listed;
    const string silent = startOf("12.1") + checkOf("ksh", "", MSG_SEVERITY_WARNING);
    const string missing = message(MSG_REQUIREMENT_NOT_MET, {"", "ksh"}) + "\n\n";
    const string none = "line 1: this waiver meets no warning: ";
    const string libaio = std::to_string(MSG_TITLE_LIBAIO);
    const vector<waiverCase> cases = {
        {"* * b =19\" r", {warned, "", {}, "passed, 12.1 passed 2+1"}, ""},
        {"d[a-c]1 12.? b r", {warned, "", {}, "passed, 12.1 passed 2+1"}, ""},
        // both passes of a level
        {"* 12.1 b r", {warned + clustered, "", {}, "passed, 12.1 passed 2+1, 12.1 clustered passed 1+1"}, ""},
        // another host, level, check
        {"db * b r", {warned, "", {}, "warning, 12.1 warning 2+1"}, none + "no host matches db"},
        {"* 1.1 b r", {warned, "", {}, "warning, 12.1 warning 2+1"}, none + "no level matches 1.1"},
        {"* * x r", {warned, "", {}, "warning, 12.1 warning 2+1"}, none + "no check has the id x"},
        {"* * a r\n* * a text=y r",
         {warned, "", {}, "warning, 12.1 warning 2+1"},
         none + "check a has no warning now, on hosts *, level *: remove this line\n"
                "w, line 2: this waiver meets no warning: check a has no warning now"},
        // a title of the catalog goes by its number
        {"* * " + libaio + " r", {numbered, "", {}, "passed, 12.1 passed 1+0"}, ""},
        {"* * \"" + message(MSG_TITLE_LIBAIO) + "\" r",
         {numbered, "", {}, "warning, 12.1 warning 1+0"},
         none + message(MSG_TITLE_LIBAIO) + " has the id " + libaio},
        // one of several checks with a title: the pattern is for a whole line
        {"* * d \"text=of /a\" until=\"2027-02-01\" r\n* * d text=*/b r",
         {directories, "", 0, "passed, 12.1 passed 2+2"},
         ""},
        {"* * d text=\"of /a\" r", {directories, "", 0, "warning, 12.1 warning 2+2"}, ""},
        {"* * d text=/a r", {directories, "", 0, "warning, 12.1 warning 2+2"}, none + "text= matches no line"},
        // a line that only the list of the verdict has
        {"* * b text=\"not y\" r",
         {startOf("12.1") + warning + bad("12.1", false, "   y\nnot y\n\n"), "", {}, "passed, 12.1 passed 1+1"},
         ""},
        // a line that names its check, and that only the list has
        {"* * ksh r", {silent + bad("12.1", false, missing), "", {}, "passed, 12.1 passed 1+1"}, ""},
        // until the end of a day
        {"* * b until=2027-01-31 r", {warned, "", {}, "passed, 12.1 passed 2+1"}, ""},
        {"* * b until=2027-01-30 r",
         {warned, "", {}, "warning, 12.1 warning 2+1"},
         "1: this waiver ended on 2027-01-30"},
        // an error, and what was not checked
        {"* * c r",
         {failedPass("12.1"), "", {}, "failed, 12.1 failed 1+1"},
         "error is not waived: db1, level 12.1, c\n"},
        {"* * b r", {startOf("12.1") + open, "", {}, "unknown, 12.1 incomplete 1+0"}, "without a result is not waived"},
        {"* * b r",
         {startOf("12.1") + warning + good() + open, "", 0, "unknown, 12.1 passed 1+0, ? incomplete 1+0"},
         "without a result is not waived"},
        // an open check may hide the error that a bad verdict means
        {"* * b r", {hiding, "", 0, "failed, 12.1 failed 2+1"}, ""},
        {"* * c r",
         {failedPass("12.1") + failedPass("11.5"), "", {}, "failed, 12.1 failed 1+1, 11.5 failed 1+1"},
         "c, and 1 more"},
        // an entry of no check
        {"* * b r", {outside, "", 0, "warning, 12.1 warning 1+2"}, ""},
        {"* * b r", {outside, "", {}, "failed, 12.1 failed 1+2"}, ""},
        // the same line in a check that is not waived
        {"* * b r", {twice, "", {}, "warning, 12.1 warning 2+1"}, ""},
        // the exit status, and standard error: it may repeat the verdict
        {"* * b r", {warned, "", 3, "failed, 12.1 passed 2+1"}, ""},
        {"* * b r", {warned, told, {}, "passed, 12.1 passed 2+1"}, ""},
        {"* * b r", {warned, bad("12.1", false, "   w\n   y\n"), 0, "warning, 12.1 passed 2+1"}, ""},
        {"* * b r", {warned, bad("11.5", false, "   y\n"), {}, "unknown, 12.1 passed 2+1"}, ""},
        {"* * b r", {warned, told + bad("12.1", true, "   y\n"), 0, "warning, 12.1 passed 2+1"}, ""},
        {"* * b r", {"", told, 0, "warning, 12.1 warning 0+1"}, none + "no check has"},
    };
    for (const waiverCase &one : cases) {
        report::waiverList waivers("w", one.waivers, "2027-01-31");
        report::host host = read(one.judged.report, one.judged.errors, one.judged.status);
        waivers.apply(host);
        EXPECT_EQ(described(host), one.judged.expected) << one.waivers << one.judged.report;
        // a host with nothing but waived warnings needs no advice
        if (host.result == report::HostResult::passed) {
            EXPECT_EQ(shown(report::jsonWriter, {host}).find("\"kind\""), string::npos) << one.waivers;
            EXPECT_EQ(shown(englishPage, {host}).find("id=\"advice-"), string::npos) << one.waivers;
        }
        const string complaints = joined(waivers.complaints());
        EXPECT_NE(complaints.find(one.complaint), string::npos) << one.waivers << complaints;
        EXPECT_EQ(complaints.empty(), one.complaint.empty()) << one.waivers << complaints;
    }
}

// All texts of these letters up to a length.
static vector<string> textsOf(const string &letters, size_t longest) {
    vector<string> texts = {""};
    for (size_t i = 0; i < texts.size() && texts[i].size() < longest; i++)
        for (const char letter : letters)
            texts.push_back(texts[i] + letter);
    return texts;
}

TEST(ReportWaivers, HavePatternsAsShellsHave) {
    const vector<string> texts = textsOf("ab]", 3);
    for (const string &pattern : textsOf("a*?[]!^\\", 5)) {
        const report::shellPattern made(pattern);
        // a backslash at the end has no character to protect
        if (pattern.empty() || pattern.back() != '\\')
            for (const string &text : texts)
                EXPECT_EQ(made.matches(text), fnmatch(pattern.c_str(), text.c_str(), 0) == 0) << pattern << " " << text;
    }
    EXPECT_TRUE(report::shellPattern("?\u00fc*").matches("\u00e4\u00fc\u00df"));
    EXPECT_FALSE(report::shellPattern("??").matches("\u00e4"));
    EXPECT_TRUE(report::shellPattern("[[:digit:]][!]]").matches("1a"));
    EXPECT_TRUE(report::shellPattern("a\\").matches("a\\"));
}

TEST(ReportWaivers, AreReadLineByLine) {
    useCatalog();
    report::waiverList waivers(
        "w", "# first\r\n\n  \"*\"\t* \"b\"  until=2028-02-29 known, \"see \\\"#1\\\\\" 19\" \"a=1\" # and\r\n",
        "2027-01-31");
    report::host host = read(warnedPass("12.1"));
    waivers.apply(host);
    const auto &waived = host.passes[0].checks[1].waived;
    EXPECT_EQ(waived ? waived->reason : "none", "known, see \"#1\\ 19\" a=1");
    EXPECT_EQ(textOf({"r", {}}, report::english()), "Waived: r");
    const string form = "a waiver is HOST LEVEL CHECK";
    const vector<std::pair<string, string>> faults = {
        {"*", "LEVEL, CHECK and REASON are missing: " + form},
        {"* * b", "REASON is missing: " + form},
        {"* * b until=2027-01-31 # no reason", form},
        {"* * \"b r\\\"", "a quotation mark is not closed"},
        {"* * b until=2027-02-29 r", "until=2027-02-29 is no date"},
        {"* * b until=2027-1-31 r", "is no date"},
        {"* * b text=1 text=2 r", "text= is given twice"},
        // a date behind the reason, or misspelt, must not become part of the reason
        {"* * b r Until=2027-01-31", "come before the reason"},
        {"* * b u=2027-01-31 r", "come before the reason"},
        // every bad line is named
        {"* * b\n*", "\nw, line 3: LEVEL"},
    };
    for (const auto &[line, fault] : faults)
        try {
            report::waiverList("w", "* * b r\n" + line + "\n", "2027-01-31");
            ADD_FAILURE() << line;
        } catch (const std::runtime_error &error) {
            EXPECT_EQ(string(error.what()).find("w, line 2: "), 0U) << error.what();
            EXPECT_NE(string(error.what()).find(fault), string::npos) << error.what();
        }
}

// --- Comparison ---

// Hosts as their changes: "db1 worse passed>failed", and with them "b worse passed>error in 12.1, 11.5"; at the end the
// exit status.
static string described(const report::comparison &compared) {
    string text;
    const auto arrow = [](const std::optional<string> &before, const std::optional<string> &now) {
        return " " + before.value_or("") + ">" + now.value_or("");
    };
    const auto word = [](std::optional<report::HostResult> result) {
        return result ? std::optional<string>(report::nameOf(*result)) : std::nullopt;
    };
    for (const report::hostChange &host : compared.hosts()) {
        text += host.name + " " + report::nameOf(host.kind) + arrow(word(host.before), word(host.now)) + "\n";
        for (const report::checkChange &one : host.checks) {
            string passes;
            for (const report::passName &pass : one.passes)
                passes += (passes.empty() ? " in " : ", ") + report::nameOf(pass);
            text += "  " + (one.bPass ? "pass" : one.title) + " " + report::nameOf(one.kind) +
                    arrow(one.before, one.now) + (one.bAllPasses ? " in all" : passes) + "\n";
        }
    }
    return text + (compared.isWorse() ? "1" : compared.isUnknown() ? "2" : "0");
}

static string compared(const string &json, vector<report::host> hosts, const string &waivers = "") {
    report::waiverList list("w", waivers, "2027-01-31");
    report::comparison made("old", readEarlier("old", json, list, knownLanguages()), knownLanguages());
    for (report::host &one : hosts) {
        list.apply(one);
        made.add(one);
    }
    made.finish();
    return described(made);
}

struct comparedCase {
    vector<report::host> before;
    vector<report::host> now;
    string expected;
    string waivers = "";
};

TEST(ReportComparison, ShowsWhatChanged) {
    useCatalog();
    const string warning = checkOf("b", "y", MSG_SEVERITY_WARNING);
    const report::host passed = read(goodPass("12.1"));
    const report::host warned = read(warnedPass("12.1"));
    const report::host failed = read(failedPass("12.1"));
    const report::host cut = read(startOf("12.1") + message(MSG_CHECK_HEADING, {"a"}) + "\n", "", 0);
    const auto passOf = [](const string &checks) { return read(startOf("12.1") + checks + good()); };
    const auto state = [&](int word) { return passOf(checkOf("b", message(MSG_SELINUX_STATE, {message(word)}))); };
    const report::host stateInGerman = inGerman("de_DE.UTF8", [&] { return state(MSG_STATE_ENABLED); });
    const auto titled = [&] { return passOf(checkOf(message(MSG_TITLE_LIBAIO), "x", MSG_SEVERITY_WARNING)); };
    const string stoppedLine = "Ended, because it took more than 30 seconds: rpm -q ksh\n";
    const auto stopped = [&](const string &report) { return read(report, stoppedLine); };
    const string toldWarned = bad("12.1", false, "   y\n");
    report::waiverList waiveAll("w", "* * b r", "");
    report::host waived = warned;
    waiveAll.apply(waived);
    const vector<comparedCase> cases = {
        {{passed, warned, failed}, {passed, warned, failed}, "0"},
        {{warned}, {passed}, "db1 better warning>passed\n  b went warning> in 12.1\n2"},
        {{passOf(warning)},
         {passOf(checkOf("b", "y"))},
         "db1 better warning>passed\n  b better warning>passed in 12.1\n0"},
        {{passOf(checkOf("b", "y"))},
         {passOf(warning)},
         "db1 worse passed>warning\n  b worse passed>warning in 12.1\n1"},
        // a host that fails as before, with one error more
        {{failed},
         {read(startOf("12.1") + checkOf("c", "z", MSG_SEVERITY_ERROR) + checkOf("d", "", MSG_SEVERITY_ERROR) +
               good())},
         "db1 same failed>failed\n  d came >error in 12.1\n1"},
        // the same, with a check without a result more
        {{failed},
         {read(startOf("12.1") + checkOf("c", "z", MSG_SEVERITY_ERROR) + message(MSG_CHECK_HEADING, {"d"}) + "\n")},
         "db1 same failed>failed\n  d came >open in 12.1\n2"},
        // the same, with a level more that was cut off
        {{failed},
         {read(failedPass("12.1") + startOf("13.1"))},
         "db1 same failed>failed\n  pass came >incomplete in 13.1\n2"},
        // a warning that came is no worse than one of a new host
        {{warned},
         {passOf(checkOf("a", "x") + warning + checkOf("d", "y", MSG_SEVERITY_WARNING))},
         "db1 same warning>warning\n  d came >warning in 12.1\n0"},
        // hosts that came and went
        {{}, {passed, warned}, "db1 came >passed\ndb1 came >warning\n0"},
        {{}, {failed}, "db1 came >failed\n1"},
        {{}, {cut}, "db1 came >unknown\n1"},
        {{passed, failed}, {passed}, "db1 went failed>\n2"},
        // not known now, and not known before
        {{passed}, {cut}, "db1 unknown passed>unknown\n  a unknown passed>open in 12.1\n2"},
        {{cut}, {cut}, "db1 unknown unknown>unknown\n  a unknown open>open in 12.1\n2"},
        {{cut}, {passed}, "db1 better unknown>passed\n  a better open>passed in 12.1\n0"},
        {{cut},
         {passOf(checkOf("a", "x", MSG_SEVERITY_ERROR))},
         "db1 worse unknown>failed\n  a worse open>error in 12.1\n1"},
        {{read("")},
         {warned},
         "db1 better unknown>warning\n  pass came >warning in 12.1\n  b came >warning in 12.1\n0"},
        // a level that came, in both passes; the pass speaks for its good checks
        {{passed},
         {read(goodPass("12.1") + startOf("13.1") + checkOf("a", "") + warning + good("13.1") + startOf("13.1", true) +
               warning + bad("13.1", true, "   y\n\n"))},
         "db1 worse passed>warning\n  pass came >warning in 13.1, 13.1 clustered\n"
         "  b came >warning in 13.1, 13.1 clustered\n1"},
        // the verdict alone is another one
        {{read("", good(), 0)},
         {read("", bad("12.1", false, "   y\n"), 3)},
         "db1 worse passed>failed\n  pass worse passed>failed in 12.1\n1"},
        // a change that all levels show
        {{read(goodPass("12.1") + goodPass("11.5"))},
         {read(startOf("12.1") + checkOf("a", "x", MSG_SEVERITY_ERROR) + good() + startOf("11.5") +
               checkOf("a", "x", MSG_SEVERITY_ERROR) + good("11.5"))},
         "db1 worse passed>failed\n  a worse passed>error in all\n1"},
        // levels and changes from new to old
        {{read(goodPass("9.8") + goodPass("11.5") + goodPass("12.1"))},
         {read(startOf("9.8") + checkOf("a", "x", MSG_SEVERITY_WARNING) + checkOf("d", "") + good("9.8") +
               goodPass("11.5") + startOf("12.1") + checkOf("a", "x", MSG_SEVERITY_WARNING) + checkOf("e", "") +
               good())},
         "db1 worse passed>warning\n  a worse passed>warning in 12.1, 9.8\n"
         "  e came >passed in 12.1\n  d came >passed in 9.8\n1"},
        // the second of two checks with one title
        {{passOf(checkOf("d", "1") + checkOf("d", "2"))},
         {passOf(checkOf("d", "1") + checkOf("d", "2", MSG_SEVERITY_ERROR))},
         "db1 worse passed>failed\n  d worse passed>error in 12.1\n1"},
        // two checks with one title came in one of two passes, which is named once
        {{read(goodPass("12.1") + goodPass("11.5"))},
         {read(startOf("12.1") + checkOf("a", "x") + checkOf("d", "1") + checkOf("d", "2") + good() +
               goodPass("11.5"))},
         "db1 same passed>passed\n  d came >passed in 12.1\n0"},
        // the state of SELinux, a word
        {{state(MSG_STATE_ENABLED)},
         {state(MSG_STATE_DISABLED)},
         "db1 same passed>passed\n  b changed Found: SELinux is enabled>Found: SELinux is disabled in 12.1\n0"},
        // in another language: words and titles differ, what they mean does not
        {{stateInGerman}, {state(MSG_STATE_ENABLED)}, "0"},
        {{inGerman("de_DE.UTF8", [&] { return state(MSG_STATE_DISABLED); })}, {state(MSG_STATE_DISABLED)}, "0"},
        {{inGerman("de_DE.UTF8", titled)}, {titled()}, "0"},
        // waivers count today on both sides, whatever they were then
        {{waived}, {warned}, "0"},
        {{warned}, {passOf(checkOf("a", "x") + checkOf("b", "y"))}, "0", "* * b r"},
        {{warned},
         {passOf(checkOf("a", "x") + checkOf("b", "y", MSG_SEVERITY_ERROR))},
         "db1 worse passed>failed\n  b worse waived>error in 12.1\n1",
         "* * b r"},
        {{stopped(warnedPass("12.1"))}, {stopped(warnedPass("12.1"))}, "0", "* * b r"},
        {{stopped(goodPass("12.1"))}, {stopped(goodPass("12.1"))}, "0"},
        // both were written to one file
        {{read(stoppedLine + warnedPass("12.1"))}, {read(stoppedLine + warnedPass("12.1"))}, "0", "* * b r"},
        // standard error repeats a bad verdict that the waiver makes good
        {{read(warnedPass("12.1"), toldWarned, 0)}, {read(warnedPass("12.1"), toldWarned, 0)}, "0", "* * b r"},
        {{read(startOf("12.1") + warning + bad("12.1", false, "   w\n\n   y\n\n"), "", 0)},
         {read(startOf("12.1") + warning + bad("12.1", false, "   w\n\n   y\n\n"), "", 0)},
         "0",
         "* * b r"},
    };
    for (const comparedCase &one : cases)
        EXPECT_EQ(compared(shown(report::jsonWriter, one.before), one.now, one.waivers), one.expected)
            << shown(report::jsonWriter, one.before) << shown(report::jsonWriter, one.now);
}

// The manual names the values.
TEST(ReportComparison, ComparesValues) {
    useCatalog();
    for (const auto &[name, row] : messagesOfHeader()) {
        const auto with = [number = row.first](const string &token) {
            return read(startOf("12.1") + checkOf("a", message(number, {token, token, token})) + good());
        };
        const string changes = compared(shown(report::jsonWriter, {with("1")}), {with("2")});
        const bool bValue =
            fits(name, "^((KERNEL|DISTRIBUTION|VERSION|GLIBC|UBUNTU)_FOUND|PACKAGE_FOUND_RELEASE|SELINUX_STATE)$");
        EXPECT_EQ(changes.find(" changed ") != string::npos, bValue) << name << changes;
    }
}

TEST(ReportComparison, ReadsJsonOfBothSchemas) {
    useCatalog();
    const report::host failed = read(failedPass("12.1"), "one\n", 3);
    const string json = shown(report::jsonWriter, {failed});
    const string first =
        std::regex_replace(json, std::regex("\"(waived|advice)\": null, |, \"(advice|changes)\": null"), "");
    const auto without = [&](const string &part, const string &other) {
        return std::regex_replace(first, std::regex(part), other);
    };
    EXPECT_EQ(first.find("waived"), string::npos);
    EXPECT_EQ(compared(without("\"schema\": 2", "\"schema\": 1"), {failed}), "0");
    const vector<std::pair<string, string>> faults = {
        {first + string(1, '\0'), "zero byte"},
        {first.substr(0, 100), "is not JSON"},
        {"\"\xff\"", "is not JSON"},
        {string(1000000, '['), "is not JSON"},
        {"[]", "\"schema\""},
        {without("\"schema\": 2", "\"schema\": null"), "old: schema 0: not 1 or 2"},
        {without("\"status\": 3", "\"status\": \"3\""), "\"status\" is \"3\""},
        {without("\"schema\": 2", "\"schema\": 3"), "old: schema 3: written by a newer version; write it again"},
        {without("\"hosts\": \\[", "\"hosts\": [1, "), "\"host\" is missing"},
        {without("\"failed\"", '"' + string(41, 'b') + '"'), "\"result\" is \"" + string(40, 'b') + "\";"},
        {without("\"text\": \"z\"", "\"text\": null"), "host db1: level 12.1: \"text\" is null"},
        {without("\"id\": \"c\"", "\"id\": null"), "\"id\" is null"},
        {without("\"clustered\": false", "\"clustered\": 0"), "\"clustered\" is 0"},
        {without("\"errors\": \\[\"one\"\\]", "\"errors\": 1"), "\"errors\" is 1"},
    };
    for (const auto &[text, fault] : faults)
        try {
            compared(text, {});
            ADD_FAILURE() << fault;
        } catch (const std::runtime_error &error) {
            EXPECT_EQ(string(error.what()).find("old: "), 0U) << error.what();
            EXPECT_NE(string(error.what()).find(fault), string::npos) << error.what();
        }
}

// --- Whole forms ---

static std::unique_ptr<report::writer> colouredTable(std::ostream &out) {
    static const report::encoder utf8("utf8");
    return report::tableWriter(out, true, report::english(), utf8);
}

// Hosts of two days, with each kind of result, change and note. The expected forms are in tests/report. There, colours
// have names, and the markup is left out where no decision of the program shows in it.
TEST(ReportForms, ShowTwoDaysOfAllKindsOfHosts) {
    useCatalog();
    const auto kernel = [](const string &release) {
        return checkOf(message(MSG_TITLE_OS_LEVEL), message(MSG_KERNEL_FOUND, {"5", release, "0"}));
    };
    const string required = message(MSG_REQUIRED_VERSION, {"ksh", "93"});
    const auto ksh = [&](const string &more, int severity) { return checkOf("ksh", required + more, severity); };
    const string title = "a title that is so long, that a line of the table should end in it, ";
    const string open = message(MSG_CHECK_HEADING, {title + "d"}) + "\n";
    const string common = checkOf("<b>", "y", MSG_SEVERITY_WARNING);
    const string umask = checkOf("umask ", message(MSG_REQUIRED_WITH_RELEASE, {"UMASK", "022"}), MSG_SEVERITY_WARNING);
    const vector<report::host> before = {
        named(
            "app1.example.server",
            read(startOf("12.1") + ksh("", 0) + checkOf(title + "d", "") + startOf("12.1", true) + ksh("", 0), "", 3)),
        named("<app\n2>", read(warnedPass("12.1"))),
        named("db4", read(startOf("12.1") + checkOf("a", "") + checkOf("a", "") + common + good())),
        named("db5", read(goodPass("9.7") + startOf("9.8") + common + kernel("1") + good("9.8"))),
        named("db6", read(startOf("12.1") + checkOf("<b>", "y", MSG_SEVERITY_ERROR) + good())),
    };
    // Names are at most 18 columns wide in front of other columns.
    vector<report::host> now = {
        // Both passes have a check. In one it has a line of its own, in the other one that only the list has.
        named("app1.example.server", read(startOf("12.1") + open + ksh("", MSG_SEVERITY_ERROR) +
                                              bad("12.1", false, required + "\n   listed\n") + startOf("12.1", true) +
                                              ksh("\n   z", MSG_SEVERITY_ERROR),
                                          "The 'strings' utility <x>\nThe 'strings' utility <x>\n", 3)),
        // failed by its status alone; with two checks of one name, and a warning that three hosts have
        named("db4", read(startOf("12.1") + checkOf("a", "") + checkOf("a", "x") + common + good(), "", 137)),
        // a waived warning and another kernel level
        named("db5", read(startOf("9.8") + umask + kernel("2") + common + good("9.8"))),
        // a command that took too long, and a trace
        named("db6", read("trace\n" + startOf("12.1") + common + good(),
                          "Ended, because it took more than 30 seconds: rpm\n", 0)),
        // no report, but a trace and a summary on standard error
        readHost({"db7.example.server", {}, "trace\n" + bad("12.1", false, required + "\n"), {}, "unreachable"},
                 knownLanguages()),
    };
    report::waiverList waivers("w", "db5 * umask until=2027-06-30 <known>", "2027-01-31");
    report::comparison made("<old>", readEarlier("old", shown(report::jsonWriter, before), waivers, knownLanguages()),
                            knownLanguages());
    for (report::host &one : now) {
        waivers.apply(one);
        made.add(one);
    }
    made.finish();
    const auto formOf = [&](writerMaker makeWriter) {
        std::ostringstream out;
        const auto writer = makeWriter(out);
        writer->compareWith(made);
        for (const report::host &one : now)
            writer->add(one);
        writer->finish();
        return out.str();
    };
    const fileList colours = {{"\033\\[31m", "{red}"},
                              {"\033\\[32m", "{green}"},
                              {"\033\\[33m", "{yellow}"},
                              {"\033\\[1m", "{bold}"},
                              {"\033\\[0m", "{}"}};
    const fileList page = {
        {" (aria-(hidden|labelledby|describedby)|role|tabindex|scope)=\"[^\"]*\"", ""},
        {" class=\"([^\"]*)\"", " $1"},
        {"<style>[^]*</style>|</(?!ul)[^>]*>", ""},
        {"<(head|body|header|main|table|thead|tbody|details|div|ul|p|b|span)( find[a-z]*| word)?>", ""},
        {"\n+", "\n"},
        {"\n(?=</ul>|<li>|<a |<div |<tr><th>L|<p |[A-Z])", " "}};
    const fileList junit = {{" (classname|hostname|time|type)=\"[^\"]*\"|</testcase>|</testsuite>\n", ""}};
    const fileList changes = {{"[^]*\"changes\"", "\"changes\""}};
    const vector<std::pair<string, string>> forms = {
        {"table", replaced(formOf(colouredTable), colours)},
        {"page", replaced(formOf(englishPage), page)},
        {"onePage", replaced(replaced(shown(englishPage, {read("", "", 0)}), page), {{"[^]*(?=<h1)", ""}})},
        {"junit", replaced(formOf(report::junitWriter), junit)},
        {"changes", replaced(formOf(report::jsonWriter), changes)},
    };
    for (const auto &[name, text] : forms) {
        EXPECT_EQ(text, readFile(KVX_SOURCE_DIR "/tests/report/" + name));
    }
}

// --- The command ---

struct commandCase {
    string arguments;
    int status;
    string expected; // host, result and reason of each host
    string errors;   // a part of what standard error has
};

TEST(ReportCommand, TakesReportsAndDirectories) {
    useCatalog();
    onHost({}, [] {});
    const string ok = goodPass("12.1");
    const string failed = failedPass("12.1");
    privateHost host;
    host.hostName = "dbhost";
    host.binds = {KVX_PROGRAM_DIR};
    host.files = {
        {"/ok", ok},
        {"/bad", failed},
        {"/g/h1/report", ok},
        {"/g/h1/status", " 0 \n"}, // blanks do not matter
        {"/g/.x/report", failed},
        {"/b/h1/report", failed},
        {"/b/h2/reason", "unreachable\nby ssh\n"},
        {"/b/h3/status", "x"},
        {"/b/h3/report", ok},
        {"/b/h4/status", "-0"},
        {"/b/h5/status", "0"},
        {"/u/h/reason", "r"},
        {"/e/x", "r"},
        {"/warned", warnedPass("12.1")},
        {"/waivers", "* * b until=2000-01-01 r\n* * b r\n* * none r\n"},
        {"/marked", "\xEF\xBB\xBF* * b r\n"}, // with a byte order mark
    };
    const string noStatus = "\"file status holds no exit status\"";
    const vector<commandCase> cases = {
        {"/ok", 0, "ok passed null", ""},
        {"--status=3 /ok", 1, "ok failed null", ""},
        {"--host=n --format json < /bad", 1, "n failed null", ""},
        {"/g", 0, "h1 passed null", ""},
        {"/b", 1,
         "h1 failed null, h2 unknown \"unreachable\", h3 unknown " + noStatus + ", h4 unknown " + noStatus +
             ", h5 unknown \"There is no report.\"",
         ""},
        {"/u", 2, "h unknown \"r\"", ""},
        {"< /ok", 0, "dbhost passed null", ""},
        // without standard input the first file that is opened has its number
        {"/g <&-", 0, "h1 passed null", ""},
        {"--waivers=/marked /warned <&-", 0, "warned passed null", ""},
        {"--errors=/u/h/reason /ok", 0, "ok passed null", ""},
        {"--errors=/bad --status=0 /dev/null", 1, "null failed null", ""},
        {"--errors=/none /ok", 2, "", "/none: No such file"},
        {"/g/h1", 2, "", "is one host's directory"},
        {"--host=x /g", 2, "", "are for one report"},
        {"--status=0 /g", 2, "", "are for one report"},
        {"--errors=/ok /g", 2, "", "are for one report"},
        {"--status=255 /ok", 1, "ok failed null", ""},
        {"--status=256 /ok", 2, "", "--status is a number"},
        {"--status=1x /ok", 2, "", "--status is a number"},
        {"--output= /ok", 2, "", "an option's value is empty"},
        {"--waivers=/marked --waivers=/marked /ok", 2, "", "--waivers is given twice"},
        {"--compare=- /ok", 2, "", "--compare needs a regular file"},
        {"--waivers=/marked --output=/marked /ok", 2, "", "--output would replace the file of --waivers"},
        {"--compare=/ok --output=/ok /ok", 2, "", "--output would replace the file of --compare"},
        {"--none", 2, "", "Try kvxprereqreport --help"},
        {"-h | grep -q 'Usage: kvxprereqreport '", 0, "", ""},
        {"--version | grep -q 'kvxprereqreport [0-9]'", 0, "", ""},
        {"--format=xml /ok", 2, "", "--format is table"},
        {"/ok /bad", 2, "", "more than one report"},
        {"/none", 2, "", "/none: No such file"},
        {"/e", 2, "", "no directory of a host"},
        {"--help > /dev/full", 2, "", "standard output"},
        {"--waivers=/waivers /warned", 0, "warned passed null", "/waivers, line 3: this waiver meets no warning"},
        {"--waivers=/ok /warned", 2, "", "/ok, line 2: LEVEL, CHECK and REASON are missing"},
        {"--waivers=/none /warned", 2, "", "/none: No such file"},
        {"--host=ok /bad >/old; kvxprereqreport --compare=/old --format=json /ok", 2, "ok passed null", ""},
        {"--host=ok /bad >/old; kvxprereqreport --compare=/old --format=json --host=ok /bad", 0, "ok failed null", ""},
        {"/ok >/old; kvxprereqreport --compare=/old --format=json --host=ok /bad", 1, "ok failed null", ""},
        {"/ok >/old; kvxprereqreport --compare=/old --format=json --host=new /ok", 2, "new passed null", ""},
        {"--compare=/bad /ok", 2, "", "/bad: is not JSON"},
        {"--compare=/bad --format=junit /ok", 2, "", "--compare is for table, json and html"},
        {"--output=/new /ok <&-; cat /new*", 0, "ok passed null", ""},
        {"--output=/dev/stdout /ok", 0, "ok passed null", ""},
        {"--output=/no/new /ok", 2, "", "/no/new"},
        {"/ok > /dev/full", 2, "", "standard output"},
        {"--output=/dev/full /ok", 2, "", "/dev/full: No space"},
        // a terminal shows colours, unless its user wants none
        {"/ok; mkdir -p /dev/pts; mount -t devpts -o ptmxmode=666 none /dev/pts; ln -sf pts/ptmx /dev/ptmx; "
         "for i in NO_COLOR= ''; do script -qc \"env $i kvxprereqreport /ok\" /x >/y; grep -c '\\[32m' /x >&2; done",
         0, "ok passed null", "0\n1\n"},
        // the output lies among the hosts, the second time as a file that is there
        {"--output=/g/o /g && kvxprereqreport --format=json --output=/g/o /g; cat /g/o*", 0, "h1 passed null", ""},
        // what came from a host is not followed: a link, a pipe
        {"/l; rm /l/h/report; mkfifo /l/h/report; kvxprereqreport --format=json /l", 2,
         "h unknown \"/l/h/report: is a link, which is not followed\", h unknown \"/l/h/report: not a regular file\"",
         ""},
        // what stands where hosts should
        {"/ok > /none; mkdir -p /d/a/report; cd /d; ln -s b b; mkfifo c; ln -s /none/x d; ln -s /g/h1 e; >f; >g; "
         "kvxprereqreport --format=json /d",
         2,
         "a unknown \"/d/a/report: not a regular file\", b unknown \"/d/b: Too many levels of symbolic links\", "
         "c unknown \"/d/c: not a directory\", d unknown \"/d/d: is a link to nothing\", e passed null",
         "/d/f: not a directory, so not a host\nkvxprereqreport: /d/g: not"},
        // a name may be percent-encoded; neither it nor a reason need be characters
        {"/ok >/none; mkdir -p '/p/%2E.%2Fh%25FF%ff%2z%%4a'; cd /p/*; printf 'n\\377' >reason; "
         "kvxprereqreport --format=json /p",
         2, "../h%FF\\\\xFF%2z%J unknown \"n\\\\xFF\"", ""},
    };
    for (const commandCase &one : cases) {
        const string script = "PATH=$PATH:" KVX_PROGRAM_DIR "; mkdir -p /l/h; ln -s /ok /l/h/report; ";
        const runResult got =
            runProgram(host, {"/bin/bash", "-c", script + "kvxprereqreport --format=json " + one.arguments});
        const std::regex shape(
            "\"host\": \"([^\"]*)\", \"status\": \\w+, \"result\": \"(\\w+)\", \"reason\": (null|\"[^\"]*\")");
        string found;
        for (std::sregex_iterator i(got.out.begin(), got.out.end(), shape), end; i != end; ++i)
            found += (found.empty() ? "" : ", ") + i->format("$1 $2 $3");
        EXPECT_EQ(found, one.expected) << one.arguments << got.err;
        // a refused run prints nothing, not even the beginning of a document
        EXPECT_TRUE(!found.empty() || got.out.empty()) << one.arguments << got.out;
        EXPECT_EQ(got.status, one.status) << one.arguments;
        EXPECT_NE(got.err.find(one.errors), string::npos) << one.arguments << got.err;
        EXPECT_EQ(got.err.empty(), one.errors.empty()) << one.arguments << got.err;
    }
    const string keeping = "cp /ok /old; chown 12:34 /old; chmod 4640 /old; " KVX_PROGRAM_DIR
                           "/kvxprereqreport --output=/old /ok; stat -c '%u %g %a' /old; umask 0; " KVX_PROGRAM_DIR
                           "/kvxprereqreport --output=/new /ok; stat -c %a /new";
    EXPECT_EQ(runProgram(host, {"/bin/bash", "-c", keeping}).out, "12 34 4640\n666\n");
}

TEST(ReportCommand, IsDocumentedAsItIs) {
    const auto optionsIn = [](const string &command) {
        const string text = capture([&] { EXPECT_EQ(system(("cd " KVX_SOURCE_DIR " && " + command).c_str()), 0); }).out;
        const std::regex option("-(-[a-z]+=?)");
        return std::set<string>(std::sregex_token_iterator(text.begin(), text.end(), option, 1), {});
    };
    const auto options = optionsIn(KVX_PROGRAM_DIR "/kvxprereqreport --help | grep '^  '");
    EXPECT_EQ(options.size(), 10U);
    EXPECT_EQ(optionsIn("sed -n 's/^.It Fl \\(h , Fl \\)*-/--/;s/ Ns = .*/=/;/^--/p' man/kvxprereqreport.1"), options);
    EXPECT_EQ(optionsIn("grep compgen.*help completions/kvxprereqreport"), options);
}
