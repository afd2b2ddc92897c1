// kvxprereqreport: what it reads out of reports, what it makes of them, and its command line.
#include "support.h"

#include "reader.h"
#include "writers.h"

#include <regex>
#include <sstream>

using std::vector;

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
    string lines, results;
    bool bEntries = false, bBlank = false;
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

static string flattened(const report::host &host) {
    string lines, results;
    for (const report::pass &pass : host.passes) {
        lines += (*pass.clustered ? "@30150@" : "@30041@") + pass.level.value_or("") + "@Linux\n";
        for (const report::check &check : pass.checks) {
            lines += "@30053@" + (check.titleMessage ? std::to_string(check.titleMessage) : check.title) + "\n";
            for (const report::line &line : check.lines) {
                lines += line.message == 0 ? line.text : "@" + std::to_string(line.message);
                for (size_t i = 0; line.message != 0 && i < line.tokens.size(); i++)
                    lines += "@" + line.tokens[i];
                lines += "\n";
            }
            results += report::nameOf(check.result) + string(" ");
        }
        results += "verdict ";
        for (size_t i = 0; i < pass.entries.size(); i++)
            results += "entry ";
        EXPECT_EQ(pass.time.value_or("").size(), strlen("Sun Nov 22 01:00:00 2026"));
    }
    return lines + results;
}

static report::host read(const string &text, const string &errors = "", std::optional<int> status = {}) {
    report::languages languages(KVX_PROGRAM_DIR "/locale");
    return readHost({"db1", text, errors, status, {}}, languages);
}

TEST(ReportRoundTrip, GivesWhatTheRunDid) {
    onHost({}, [] {});
    const string instance = " -vastdw -usrname root -sqllib -service 22 -svcename inst1 -fcmstartport 60000";
    const string sample = readFile(KVX_SOURCE_DIR "/samples/KVXprereqs.xml");
    const string unmet =
        "<KVXLevel value=\"11.5\">\n<platform value=\"Linux\">\n<CPPLibName>libstdc++.so.6</CPPLibName>\n"
        "<CPPVersionString>GLIBCXX_9.9.9</CPPVersionString>\n<MinOSVersion>99</MinOSVersion>\n</platform>\n";
    const string runs[][4] = {{"rhel", sample, "", "C"},
                              {"suse", sample, "", "de_DE.ISO-8859-1"},
                              {"centos", sample, " -c", "ja_JP.SJIS"},
                              {"ubuntu", sample, instance, "zh_CN.GB18030"},
                              {"rhel", unmet, instance, "ko_KR.eucKR"}};
    const string numbers = numbersOnly();
    for (const auto &[name, input, options, language] : runs) {
        privateHost host;
        host.hostName = "dbhost";
        host.binds = {KVX_PROGRAM_DIR};
        host.layers = {KVX_SOURCE_DIR "/samples/hosts/" + name};
        host.files = {{"/levels.xml", input}};
        if (name == "rhel")
            host.files.insert(host.files.end(), {fakeTool("ldd", ""), fakeTool("file", "echo 32-bit")});
        const vector<string> command = {"/bin/sh", "-c", "./kvxprereqcheck -f /levels.xml" + options};
        const runResult shown = runProgram(host, command, {{"KVXLANG", language}}, KVX_PROGRAM_DIR);
        host.files.emplace_back(KVX_PROGRAM_DIR "/locale/en_US.iso88591/kvxistring.cat", numbers);
        const runResult numbered = runProgram(host, command, {}, KVX_PROGRAM_DIR);
        EXPECT_NE(numbered.out.find("@30053@30021"), string::npos);
        EXPECT_EQ(flattened(read(shown.out)), flattened(numbered.out)) << name << " in " << language;
        EXPECT_EQ(read(shown.out, "", shown.status).result == report::HostResult::failed, shown.status != 0) << name;
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

static string described(const report::host &host) {
    string text = report::nameOf(host.result);
    for (const report::pass &pass : host.passes)
        text += ", " + report::nameOf(pass) + " " + report::nameOf(pass.result) + " " +
                std::to_string(pass.checks.size()) + "+" + std::to_string(pass.entries.size());
    return text;
}

TEST(ReportReader, JudgesPassesAndHosts) {
    useCatalog();
    const string start = startOf("12.1"), passed = checkOf("a", "x"), warning = checkOf("b", "y", MSG_SEVERITY_WARNING),
                 error = checkOf("c", "z", MSG_SEVERITY_ERROR), whole = start + passed + good();
    const string warned = startOf("12.1", true) + passed + warning + bad("12.1", true, "   y\n\n");
    const string failed = start + warning + error + bad("12.1", false, "   z\n\n   y\n\n");
    const string two = message(MSG_REQUIRED_VERSION, {"ksh", "93"}) + "\n   w\n",
                 one = message(MSG_LIBAIO_MISSING) + "\n";
    const string last = message(MSG_REPORT_NOT_WRITABLE, {"/r"}) + "\n",
                 fault = message(MSG_FILE_NOT_OPENED, {"/f"}) + "\n";
    const vector<std::tuple<string, string, std::optional<int>, string>> rows = {
        {whole, "", {}, "passed, 12.1 passed 1+0"},
        {whole + warned, "", 0, "warning, 12.1 passed 1+0, 12.1 clustered warning 2+1"},
        {failed, "", 0, "failed, 12.1 failed 2+2"}, // of an earlier run, perhaps
        {whole, "ERROR: no strings\n", 3, "failed, 12.1 passed 1+0"},
        // cut off: behind a rule, in a check, in a verdict's list
        {whole + start.substr(0, 77), "", {}, "unknown, 12.1 passed 1+0, ? incomplete 0+0"},
        {start + passed.substr(0, 20), "", {}, "unknown, 12.1 incomplete 1+0"},
        {start + warning + bad("12.1", false, ""), "", 0, "unknown, 12.1 incomplete 1+0"},
        {error + bad("12.1", false, "   z\n\n"), "", {}, "failed, 12.1 failed 1+1"}, // its head is missing
        // appended runs, and a level's fault outside of a check
        {failed + startOf("9.8") + good() + whole, "", {}, "passed, 9.8 passed 0+0, 12.1 passed 1+0"},
        {start + fault + bad("12.1", false, fault), "", {}, "failed, 12.1 failed 1+1"},
        // summaries, without blank lines between entries, and with a lost report
        {"", good() + "\n" + bad("12.1", true, one + two + two + one) + last, 0,
         "warning, 12.1 passed 0+0, 12.1 clustered warning 0+4"},
        {"trace\n", bad("12.1", false, one), 3, "failed, 12.1 failed 1+1"},
        {"", good(), {}, "passed, ? passed 0+0"},
        // no report at all
        {"", "", {}, "unknown"},
        {"", "", 0, "passed"}, // -l
        {message(MSG_USAGE_FIRST), "", 0, "unknown, ? incomplete 1+0"},
        {"no\nlanguage\n", "", {}, "unknown, ? incomplete 1+0"}};
    for (const auto &[text, errors, status, expected] : rows)
        EXPECT_EQ(described(read(text, errors, status)), expected) << text << "==" << errors;
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
