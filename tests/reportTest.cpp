// kvxprereqreport: what it reads out of reports, what it makes of them, and its command line.
#include "support.h"

#include "reader.h"
#include "writers.h"

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
            results += number == MSG_CHECK_PASSED ? "passed " : line == "@30055@30017" ? "warning " : "error ";
        else if (number == MSG_LEVEL_PASSED || number == MSG_LEVEL_FAILED)
            results += "verdict ";
        else if (!line.empty())
            lines += line + "\n";
    }
    return lines + results;
}

static string flattened(const report::line &line) {
    if (line.message == 0)
        return line.text + "\n";
    string text = "@" + std::to_string(line.message);
    for (const string &token : line.tokens)
        text += "@" + token;
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

static string good() {
    return message(MSG_LEVEL_PASSED) + "\n";
}

static string bad(const string &level, bool bClustered, const string &entries) {
    return message(MSG_LEVEL_FAILED, {"Server", bClustered ? message(MSG_CLUSTERED_LABEL) : "", level}) + "\n" +
           message(MSG_FAILURES_FOLLOW, {level}) + "\n" + entries;
}

// Passes of a level: what their names say is in them.
static string goodPass(const string &level) {
    return startOf(level) + checkOf("a", "x") + good();
}

static string warnedPass(const string &level) {
    return startOf(level) + checkOf("a", "x") + checkOf("b", "y", MSG_SEVERITY_WARNING) + bad(level, false, "   y\n\n");
}

static string failedPass(const string &level) {
    return startOf(level) + checkOf("c", "z", MSG_SEVERITY_ERROR) + bad(level, false, "   z\n\n");
}

template <typename Make> static string inGerman(const char *pLocale, Make make) {
    setText(szLocale, pLocale);
    const string text = make();
    setText(szLocale, "en_US.UTF8");
    return text;
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
    const string open = message(MSG_CHECK_HEADING, {"d"}) + "\n";
    const string fault = message(MSG_REQUIRED_VERSION, {"ksh", "93"}) + "\n";
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
        {start + bad("12.1", false, message(MSG_CHECK_FAILED, {message(MSG_SEVERITY_ERROR)}) + "\n\n"), "", 0,
         "failed, 12.1 failed 0+1"},
        // a list behind a good verdict
        {start + passed + good() + message(MSG_FAILURES_FOLLOW) + "\n   w\n", "", {}, "failed, 12.1 failed 1+1"},
        // two results in one block, the second also behind the verdict
        {start + error + message(MSG_CHECK_PASSED) + "\n" + good(), "", {}, "failed, 12.1 failed 1+0"},
        {start + passed + good() + message(MSG_CHECK_FAILED, {message(MSG_SEVERITY_ERROR)}) + "\n",
         "",
         {},
         "failed, 12.1 failed 1+0"},
        // a fault of the level's own stands outside of a check
        {start + fault + bad("12.1", false, fault), "", {}, "failed, 12.1 failed 1+1"},
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
        {start.substr(60) + passed + good(), "", 0, "unknown, 12.1 incomplete 1+0"},
        // in a check
        {start + passed.substr(0, 20), "", 0, "unknown, 12.1 incomplete 1+0"},
        {start + error + passed.substr(0, 20), "", {}, "failed, 12.1 failed 2+0"},
        // in the verdict, and in its list
        {start + passed + good().substr(0, 20), "", 0, "unknown, 12.1 incomplete 1+0"},
        {start + warning + bad("12.1", false, ""), "", 0, "unknown, 12.1 incomplete 1+0"},
        {start + error + bad("12.1", false, ""), "", 0, "failed, 12.1 failed 1+0"},
        {start + warning + bad("12.1", false, "   y\n\n   half of an en"), "", 0, "unknown, 12.1 incomplete 1+2"},
        // only the last line break is gone: a shell takes it away
        {start + passed + message(MSG_LEVEL_PASSED), "", {}, "passed, 12.1 passed 1+0"},
        // and another run appended
        {start + passed + "   Required ker" + whole, "", 0, "unknown, 12.1 incomplete 1+0, 9.8 passed 1+0"},
        {start.substr(0, 20) + whole, "", 0, "unknown, ? incomplete 0+0, 9.8 passed 1+0"},
        {start.substr(0, 77) + whole, "", 0, "unknown, ? incomplete 0+0, 9.8 passed 1+0"},
        // the beginning is missing
        {passed + good(), "", 0, "unknown, ? incomplete 1+0"},
        {warning + bad("12.1", false, "   y\n\n") + whole, "", 0, "unknown, 12.1 incomplete 1+1, 9.8 passed 1+0"},
        {error + bad("12.1", false, "   z\n\n"), "", {}, "failed, 12.1 failed 1+1"},
        {message(MSG_LIBAIO_MISSING) + "\n" + whole, "", 0, "unknown, ? incomplete 1+0, 9.8 passed 1+0"},
        // a trace in front of the first level is none of its text
        {"System locale => C\n" + whole, "", 0, "passed, 9.8 passed 2+0"},
    });
}

TEST(ReportReader, ReadsEachPassByItself) {
    useCatalog();
    const auto failedIn = [](const char *pLocale) { return inGerman(pLocale, [] { return failedPass("12.1"); }); };
    const string german = failedIn("de_DE.UTF8");
    const string english = goodPass("9.8");
    expectJudged({
        // the last pass of a level and kind counts, unless it was cut off
        {failedPass("12.1") + goodPass("12.1"), "", {}, "passed, 12.1 passed 1+0"},
        {goodPass("12.1") + startOf("12.1"), "", {}, "unknown, 12.1 incomplete 0+0"},
        {failedPass("12.1") + startOf("12.1"), "", {}, "failed, 12.1 failed 1+1, 12.1 incomplete 0+0"},
        {failedPass("12.1") + warnedPass("12.1"), "", {}, "warning, 12.1 warning 2+1"},
        // a verdict without a banner replaces nothing
        {failedPass("12.1") + good(), "", {}, "failed, 12.1 failed 1+1, ? incomplete 0+0"},
        {goodPass("12.1") + good(), "", 0, "unknown, 12.1 passed 1+0, ? incomplete 0+0"},
        {goodPass("12.1") + checkOf("a", "x") + good(), "", 0, "unknown, 12.1 passed 1+0, ? incomplete 1+0"},
        {failedPass("12.1") + checkOf("b", "y", MSG_SEVERITY_WARNING) + bad("12.1", false, "   y\n\n"),
         "",
         {},
         "failed, 12.1 failed 1+1, 12.1 incomplete 1+1"},
        // another language in front, behind, in another code set, and without a rule between
        {german + english, "", {}, "failed, 12.1 failed 1+1, 9.8 passed 1+0"},
        {english + german, "", {}, "failed, 9.8 passed 1+0, 12.1 failed 1+1"},
        {failedIn("de_DE.ISO88591") + goodPass("11.5") + failedIn("de_DE.850") + english,
         "",
         {},
         "failed, 11.5 passed 1+0, 12.1 failed 1+1, 9.8 passed 1+0"},
        {german.substr(0, german.find("   z")) + "\n" + good() + english,
         "",
         {},
         "unknown, 12.1 incomplete 1+0, ? incomplete 0+0, 9.8 passed 1+0"},
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
            {whole, line, {}, "unknown, 12.1 passed 1+0"},
            {whole, line, 0, "unknown, 12.1 passed 1+0"},
            {whole, line, 3, "failed, 12.1 passed 1+0"},
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
        {"", good(), {}, "unknown, ? incomplete 0+0"},
        {"", good(), 0, "passed, ? passed 0+0"},
        {"", germanWarned + good(), {}, "unknown, 12.1 incomplete 0+1, ? incomplete 0+0"},
        {"", good() + failedPass("9.8"), 0, "failed, ? passed 0+0, 9.8 failed 1+1"},
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
        {"", "", 3, "failed"},
        {"\n", "", 0, "unknown"},
        {"", "something else\n", 0, "unknown"},
        {"", message(MSG_LEVEL_UNSUPPORTED, {"9.8"}) + "\n", 0, "passed"},
        {message(MSG_USAGE_FIRST), "", 0, "unknown, ? incomplete 1+0"}, // -h
        {"no\nlanguage\n", "", {}, "unknown, ? incomplete 1+0"},
        {goodPass("12.1"), "", 3, "failed, 12.1 passed 1+0"},
    });
    const report::host missing = readHost({"db1", {}, "", 0, {}}, knownLanguages());
    EXPECT_EQ(described(missing), "unknown");
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
    const string text = inGerman("de_DE.ISO88591", [] { return startOf("12.1") + "Erf\xFCllt\n" + good(); });
    const report::host host = read(text);
    EXPECT_EQ(host.passes[0].checks[0].lines[0].text, "Erf\u00fcllt");
    EXPECT_EQ(host.passes[0].language, "de-DE");
}

// --- Forms ---

static string shown(std::unique_ptr<report::writer> (*makeWriter)(std::ostream &), const report::host &host) {
    std::ostringstream out;
    const auto writer = makeWriter(out);
    writer->add(host);
    writer->finish();
    return out.str();
}

TEST(ReportWriters, LoseNothingAndObeyNothing) {
    useCatalog();
    const string hostile = "<i>&\"\\\x1b[31m\xff\t\u202e\u00fc", megabyte(1 << 20, 'm');
    const report::host host = read(startOf("12.1") + checkOf(hostile, "ksh", MSG_SEVERITY_ERROR) + "late\n" +
                                       checkOf("ports", "   SUCCESS: All required User checks passed for \u00fc.") +
                                       bad("12.1", false, hostile + "\n\n" + megabyte + "\n"),
                                   "one\ntwo\n", 255);
    const string escaped = "<i>&\\\"\\\\\\u001b[31m\\\\xFF\\u0009\u202e\u00fc";
    EXPECT_EQ(
        shown(report::jsonWriter, host),
        "{\"schema\": 1, \"hosts\": [\n{\"host\": \"db1\", \"status\": 255, \"result\": \"failed\", \"reason\": null, "
        "\"errors\": [\"one\", \"two\"], \"passes\": [{\"level\": \"12.1\", \"clustered\": false, \"client\": false, "
        "\"time\": \"Sun Nov 22 01:00:00 2026\", \"result\": \"failed\", \"checks\": [{\"id\": \"" +
            escaped + "\", \"title\": \"" + escaped +
            "\", \"result\": \"error\", \"lines\": [{\"message\": null, \"tokens\": [], "
            "\"text\": \"ksh\"}, {\"message\": null, \"tokens\": [], \"text\": \"late\"}]}, {\"id\": \"ports\", \"title\": "
            "\"ports\", \"result\": \"passed\", \"lines\": [{\"message\": null, \"tokens\": [\"\u00fc\"], \"text\": "
            "\"SUCCESS: All required User checks passed for \u00fc.\"}]}], \"entries\": [{\"text\": \"" +
            escaped + "\", \"severity\": null}, {\"text\": \"" + megabyte + "\", \"severity\": null}]}]}\n]}\n");
    for (const auto makeWriter : {report::junitWriter, report::htmlWriter}) {
        const string markup = shown(makeWriter, host);
        EXPECT_NE(markup.find("&lt;i&gt;&amp;&quot;\\\\x1B[31m\\xFF \\u202E\u00fc"), string::npos);
        EXPECT_EQ(markup.find("<i>"), string::npos);
        EXPECT_NE(markup.find(megabyte), string::npos);
    }
}

TEST(ReportWriters, KeepTablesTo80Columns) {
    useCatalog();
    string text;
    for (int i = 0; i < 12; i++)
        text += startOf(std::to_string(i), i % 2) + checkOf(string(i * 20, 'c') + " c",
                                                            "a long detail " + string(i * 20, 'd') + "\u65e5\u672c",
                                                            MSG_SEVERITY_ERROR);
    std::ostringstream out;
    const auto writer = report::tableWriter(out, false);
    report::host host = read(text, string(100, 'e'), 1);
    host.name = string(100, 'h');
    writer->add(host);
    writer->finish();
    std::istringstream lines(out.str());
    int count = 0;
    for (string line; std::getline(lines, line); count++)
        EXPECT_LE(report::columns(line), line.find('h') == 0 ? 100U : 80U) << line; // a name is never cut
    EXPECT_GT(count, 12 * 3);
    EXPECT_EQ(out.str().find('\033'), string::npos);
}

// --- The command ---

TEST(ReportCommand, TakesReportsAndDirectories) {
    useCatalog();
    onHost({}, [] {});
    const string ok = startOf("12.1") + checkOf("a", "x") + good();
    const string bytes = startOf("12.1") + checkOf("a", "x", MSG_SEVERITY_ERROR) + bad("12.1", false, "x\n\n");
    privateHost host;
    host.binds = {KVX_PROGRAM_DIR};
    host.files = {{"/ok", ok},
                  {"/bad", bytes},
                  {"/g/h1/report", ok},
                  {"/g/h1/status", "0\n"},
                  {"/g/.x/report", bytes},
                  {"/b/h1/report", bytes},
                  {"/b/h2/reason", "unreachable\nby ssh\n"},
                  {"/b/h3/status", "x"},
                  {"/b/h3/report", ok},
                  {"/u/h/reason", "r"},
                  {"/e/x", "r"}};
    const vector<std::tuple<string, int, string>> rows = {
        {"/ok", 0, "ok passed null"},
        {"--status=3 /ok", 1, "ok failed null"},
        {"--host=n --format json < /bad", 1, "n failed null"},
        {"/g", 0, "h1 passed null"},
        {"/b", 1, "h1 failed null, h2 unknown \"unreachable\", h3 unknown \"file status holds no exit status\""},
        {"/u", 2, "h unknown \"r\""},
        {"--host=x /g", 2, ""},
        {"--status=256 /ok", 2, ""},
        {"--format=xml /ok", 2, ""},
        {"/ok /bad", 2, ""},
        {"/none", 2, ""},
        {"/e", 2, ""},
        {"--output=/new /ok; cat /new*", 0, "ok passed null"},
        {"--output=/dev/stdout /ok", 0, "ok passed null"},
        {"--output=/no/new /ok", 2, ""},
        {"/ok > /dev/full", 2, ""},
        // what came from a host is not followed: a link, a pipe
        {"/l; rm /l/h/report; mkfifo /l/h/report; kvxprereqreport --format=json /l", 2,
         "h unknown \"/l/h/report: is a link, which is not followed\", h unknown \"/l/h/report: not a regular file\""},
        // a name may be percent-encoded; neither it nor a reason need be characters
        {"/ok >/none; mkdir -p '/p/%2E.%2Fh%25FF%ff%2z%'; cd /p/*; printf 'n\\377' >reason; kvxprereqreport --format=json /p",
         2, "../h%FF\\\\xFF%2z% unknown \"n\\\\xFF\""}};
    for (const auto &[arguments, status, expected] : rows) {
        const string script = "PATH=$PATH:" KVX_PROGRAM_DIR "; mkdir -p /l/h; ln -s /ok /l/h/report; ";
        const runResult got =
            runProgram(host, {"/bin/bash", "-c", script + "kvxprereqreport --format=json " + arguments});
        const std::regex shape(
            "\"host\": \"([^\"]*)\", \"status\": \\w+, \"result\": \"(\\w+)\", \"reason\": (null|\"[^\"]*\")");
        string found;
        for (std::sregex_iterator i(got.out.begin(), got.out.end(), shape), end; i != end; ++i)
            found += (found.empty() ? "" : ", ") + i->format("$1 $2 $3");
        EXPECT_EQ(found, expected) << arguments << got.err;
        EXPECT_EQ(got.status, status) << arguments;
        EXPECT_EQ(got.err.empty(), !expected.empty()) << arguments << got.err;
    }
}

TEST(ReportCommand, IsDocumentedAsItIs) {
    const auto optionsIn = [](const string &command) {
        const string text = capture([&] { EXPECT_EQ(system(("cd " KVX_SOURCE_DIR " && " + command).c_str()), 0); }).out;
        const std::regex option("-(-[a-z]+=?)");
        return std::set<string>(std::sregex_token_iterator(text.begin(), text.end(), option, 1), {});
    };
    const auto options = optionsIn(KVX_PROGRAM_DIR "/kvxprereqreport --help | grep '^  '");
    EXPECT_EQ(options.size(), 6U);
    EXPECT_EQ(optionsIn("sed -n 's/^.It Fl \\(h , Fl \\)*-/--/;s/ Ns = .*/=/;/^--/p' man/kvxprereqreport.1"), options);
    EXPECT_EQ(optionsIn("grep compgen.*help completions/kvxprereqreport"), options);
}
