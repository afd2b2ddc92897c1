// Runs kvxprereqlint as its users do: options, formats, exit statuses and explanations.

#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <regex>
#include <set>
#include <unistd.h>

#include "privateHost.h"
#include "rules.h"

using std::string;

static const string sample = KVX_SOURCE_DIR "/samples/KVXprereqs.xml";
static const string ownFiles = KVX_SOURCE_DIR "/tests/lint/";

static string readFile(const string &path) {
    std::ifstream file(path, std::ios::binary);
    return string(std::istreambuf_iterator<char>(file), {});
}

static string writeFile(const string &text) {
    const string path = testing::TempDir() + "lint," + std::to_string(getpid()) + ".xml";
    std::ofstream(path) << text;
    return path;
}

// Writes a file of one level. The first of the given lines is line 3.
static string levelOf(const string &lines) {
    return writeFile("<KVXLevel value=\"1.0\">\n<platform value=\"Linux\">\n" + lines + "\n</platform>\n</KVXLevel>\n");
}

struct commandResult {
    string out;
    int status;
};

// Runs a command. Standard output and standard error are one text, in the order of their writing.
static commandResult run(const string &arguments) {
    commandResult result;
    FILE *pOutput = popen((KVX_LINT " " + arguments + " 2>&1").c_str(), "r");
    for (int c; (c = fgetc(pOutput)) != EOF;)
        result.out += (char)c;
    result.status = WEXITSTATUS(pclose(pOutput));
    return result;
}

static bool holds(const string &text, const string &part) {
    return text.find(part) != string::npos;
}

static std::vector<string> allMatches(const string &text, const std::regex &pattern) {
    std::vector<string> found;
    for (std::sregex_iterator i(text.begin(), text.end(), pattern); i != std::sregex_iterator(); ++i)
        found.push_back(i->str(1));
    return found;
}

TEST(LintCommand, TellsFindingsCountsAndWhatCannotBeRead) {
    EXPECT_EQ(run(sample).out, "kvxprereqlint: 1 file: 0 errors, 0 warnings, 0 notes\n");
    EXPECT_EQ(run(sample).status, 0);
    const string bad = levelOf("<UMASK>022</UMASK>\n<X\x1b>1</X\x1b>");
    const string expected =
        bad + ":4:1: error: X\\x1B is not a tag, so the program ignores the line: take one of the tags in the manual "
              "KVXprereqs.xml(5) [unknown-element]\nkvxprereqlint: 1 file: 1 error, 0 warnings, 0 notes\n";
    EXPECT_EQ(run(bad).out, expected);
    EXPECT_EQ(run(bad).status, 1);
    EXPECT_TRUE(holds(run("- <" + bad).out, "<stdin>:4:1: error: ")) << "standard input is judged as a file";
    EXPECT_TRUE(holds(run(sample + " " + bad).out, "kvxprereqlint: 2 files: 1 error, 0 warnings, 0 notes\n"));
    const commandResult other = run("/nowhere " + bad);
    EXPECT_EQ(other.status, 2);
    EXPECT_TRUE(holds(other.out, "kvxprereqlint: /nowhere: No such file or directory\n")) << other.out;
    EXPECT_TRUE(holds(other.out, ":4:1: error: ")) << "the other file is judged all the same";
    EXPECT_TRUE(holds(run(writeFile("<!x <KVXLevel \"12\">\n")).out, ":1:5: error: level 12 is offered"))
        << "the program offers a level even in a declaration";
}

TEST(LintCommand, WeighsFindingsAsItIsAsked) {
    const string file = levelOf("<UMASK></UMASK>\n<UMASK>022</UMASK>\n<ksh>1</ksh>\n<MinIASP>1</MinIASP>");
    EXPECT_EQ(run(file).status, 1);
    EXPECT_EQ(run("--fail-on=error " + file).status, 0) << "a warning";
    EXPECT_EQ(run("--exclude=letter-case,empty " + file).status, 0);
    const commandResult unread = run("--unread --exclude=empty " + file);
    EXPECT_TRUE(holds(unread.out, ":5:1: note: no check reads ksh (a label) [unread]")) << unread.out;
    EXPECT_TRUE(holds(unread.out, ":6:1: note: only a check that no option selects reads MinIASP (level of "))
        << unread.out;
    EXPECT_EQ(unread.status, 0) << "a note is for information";
    EXPECT_TRUE(holds(run(levelOf("")).out, ":1:1: warning: no check reads anything")) << "not an error";
    const string suppressed = levelOf("<!-- kvxprereqlint disable=empty -->\n<UMASK></UMASK>\n<UMASK>022</UMASK>");
    EXPECT_EQ(run(suppressed).out, "kvxprereqlint: 1 file: 0 errors, 0 warnings, 0 notes, 1 suppressed\n");
}

// Runs the linter with a format. FILE stands for the file's path, ESCAPED for it without a comma, and TEXT for the text
// of the rule letter-case.
static string written(const string &form, const string &file) {
    const string escaped = std::regex_replace(file, std::regex(","), "%2C");
    string out = std::regex_replace(run("--format=" + form + " " + file).out, std::regex(file), "FILE");
    out = std::regex_replace(out, std::regex(escaped), "ESCAPED");
    return std::regex_replace(out, std::regex("upper and lower case matter[^\"\n]*"), "TEXT");
}

TEST(LintCommand, WritesForProgramsToo) {
    const string file =
        levelOf("<!-- \u00e4 --> <Umask>1</Umask> <UMASK>022</UMASK>\n<Umask>%</Umask>\n<UMASK>022</UMASK>");
    const string counts = "kvxprereqlint: 1 file: 2 errors, 0 warnings, 0 notes\n";
    EXPECT_EQ(written("json", file), R"({"schema": 1, "findings": [
{"file": "FILE", "line": 3, "column": 13, "severity": "error", "rule": "letter-case", "text": "TEXT"},
{"file": "FILE", "line": 4, "column": 1, "severity": "error", "rule": "letter-case", "text": "TEXT"}
], "errors": 2, "warnings": 0, "notes": 0, "suppressed": 0, "files": 1}
)" + counts);
    EXPECT_EQ(written("github", file), "::error file=ESCAPED,line=3,col=13,title=letter-case::TEXT\n"
                                       "::error file=ESCAPED,line=4,col=1,title=letter-case::TEXT\n" +
                                           counts);
    const string sarif = written("sarif", file);
    EXPECT_TRUE(holds(run("--format=sarif - <" + file).out, "{\"uri\": \"%3Cstdin%3E\"}"));
    EXPECT_EQ(allMatches(sarif, std::regex("\n(.)\"id\": ")).size(), lint::RULES);
    // without the rules behind the first one; columns are those of characters
    EXPECT_EQ(std::regex_replace(sarif, std::regex(",\n\\{\"id\"[^\n]*\\}(?=,\n|\\])"), ""),
              R"({"version": "2.1.0", )"
              R"("runs": [{"columnKind": "unicodeCodePoints", "tool": {"driver": {"name": "kvxprereqlint", "rules": [
{"id": "unknown-element", "shortDescription": {"text": "the name of an element is not a tag"}, )"
              R"("defaultConfiguration": {"level": "error"}}]}}, "results": [
{"ruleId": "letter-case", "ruleIndex": 1, "level": "error", "message": {"text": "TEXT"}, "locations": )"
              R"([{"physicalLocation": {"artifactLocation": {"uri": "file://ESCAPED"}, )"
              R"("region": {"startLine": 3, "startColumn": 12}}}]},
{"ruleId": "letter-case", "ruleIndex": 1, "level": "error", "message": {"text": "TEXT"}, "locations": )"
              R"([{"physicalLocation": {"artifactLocation": {"uri": "file://ESCAPED"}, )"
              R"("region": {"startLine": 4, "startColumn": 1}}}]}
]}]}
)" + counts);
}

TEST(LintCommand, RefusesOptionsThatMakeNoSense) {
    const string file = levelOf("<UMASK>022</UMASK>");
    const string explain = "--explain 1.0 --distribution ";
    const std::vector<std::pair<string, string>> refusals = {
        {"", "no file is given"},
        {"--levels", "no file is given"},
        {"--levels / " + file, "take one file"},
        {"--list-rules " + file, "takes no file"},
        {"--levels --unread " + file, "exclude each other"},
        {"--levels --fail-on=error " + file, "exclude each other"},
        {"--fail-on=note " + file, "--fail-on is error or warning\nTry kvxprereqlint --help"},
        {"--exclude=text,nothing " + file, "there is no rule \"nothing\""},
        {"--format=xml " + file, "--format is gcc"},
        {"--levels --format=json " + file, "does not go with --levels"},
        {"--list-rules --format=json", "does not go with --levels"},
        {"--explain 1.0 " + file, "--distribution is missing"},
        {"--frob", "Try kvxprereqlint --help"},
        {"/", "/: Is a directory"},
        {"--levels /dev/null", "/dev/null: offers no level"},
        {"--clustered " + file, "go with --explain only"},
        {"--distribution RHEL " + file, "go with --explain only"},
        {"--list-rules >/dev/full", ""},
        {explain + "DEBIAN --release 9 " + file, "--distribution is RHEL, SUSE"},
        {explain + "RHEL " + file, "--release is missing"},
        {explain + "RHEL --release nine " + file, "--release begins with a digit"},
        {explain + "RHEL --release 9 --service-pack x " + file, "--service-pack is a whole number"},
        {explain + "RHEL --release 9 --service-pack= " + file, "--service-pack is a whole number"},
        {explain + "RHEL --release 9.4 --service-pack 7 " + file, "holds the service pack"},
        {explain + "SUSE --release 15 --service-pack 5 " + file, "give --release 15.5 without --service-pack"},
        {explain + "RHEL --release 9.4 --kernel 5.14 " + file, "--kernel is three numbers"},
        {explain + "RHEL --release 9.4 --kernel 5.14. " + file, "--kernel is three numbers"},
        {explain + "RHEL --release 9.4 --format=sarif " + file, "--format is text or json"},
        {explain + "RHEL --release 9.4 --clustered --client " + file, "--clustered does not go with --client"},
    };
    for (const auto &[arguments, reason] : refusals) {
        const commandResult answer = run(arguments);
        EXPECT_EQ(answer.status, 2) << arguments;
        EXPECT_TRUE(holds(answer.out, reason)) << arguments << "\n" << answer.out;
    }
}

TEST(LintCommand, ListsLevelsAndRules) {
    const string file = writeFile("<KVXLevel value=\"1.0\">\n<KVXLevel value=\"1.10\">\n<KVXLevel value=\"1.9\">\n");
    EXPECT_EQ(run("-h").out.substr(0, 21), "Usage: kvxprereqlint ");
    EXPECT_EQ(run("--version").status, 0);
    EXPECT_EQ(run("--levels " + file).out, "1.10\n1.9\n1.0\n");
    EXPECT_EQ(run("--levels - <" + file).out, "1.10\n1.9\n1.0\n");
    const string manual = readFile(KVX_SOURCE_DIR "/man/kvxprereqlint.1");
    for (int i = 0; i < (int)lint::Rule::count; i++)
        EXPECT_TRUE(holds(manual, "\n.It Sy " + string(lint::entryOf((lint::Rule)i).name) + "\n")) << i;
    // a warning reports what the author may mean; what the program ignores is an error
    const std::vector<string> warnings = {"empty",          "text",        "level-name",         "other-platform",
                                          "no-requirement", "unset",       "requirement-tested", "line-break",
                                          "second-part",    "host",        "together",           "replaced",
                                          "mixed-level",    "suppression", "unused-suppression"};
    const string listed = run("--list-rules").out;
    EXPECT_EQ(allMatches(listed, std::regex("([\\w-]+) +warning +\\w")), warnings);
    EXPECT_EQ(allMatches(listed, std::regex("([\\w-]+) +note +\\w")), std::vector<string>{"unread"});
    EXPECT_EQ(allMatches(listed, std::regex("([\\w-]+) +error +\\w")).size(), lint::RULES - warnings.size() - 1);
}

/* --- Explanations --- */

TEST(LintCommand, ExplainsALevel) {
    const string options = "--explain 1.0 --distribution RHEL --release 9.4 --kernel 5.14.0-1 --client ";
    EXPECT_EQ(run(options + ownFiles + "level.xml").out, readFile(ownFiles + "explained.txt"));
    const string json = std::regex_replace(readFile(ownFiles + "explained.json"), std::regex("\n(?=.)"), "");
    EXPECT_EQ(run(options + "--format=json " + ownFiles + "level.xml").out, json) << "without the line breaks";
    EXPECT_EQ(run(options + "--format=text - <" + ownFiles + "level.xml").out, readFile(ownFiles + "explained.txt"));
}

TEST(LintCommand, ExplainsWhatDiffersFromHostToHost) {
    const string explain = "--explain 1.0 --distribution ";
    const string file = ownFiles + "level.xml";
    const string clustered = run(explain + "SUSE --release 15.5 --clustered " + file).out;
    for (const string part :
         {"Level 1.0 on SUSE 15.5, kernel not given, clustered pass\n", "level: 4.18.0\n\nCheck: C++ runtime\n",
          "\nCheck: C library level\n  line 16: LibCMajorRelease = 28\n  LibCVersion is not "
          "given: the version counts as 0, so every C library passes\n  level: 0.28.0\n\n",
          "Check: shells, not made: kshPackage and ntpPackage are not both given\n  line 15: ",
          "libaio.so.1 loads, 32-bit PAM library (warning), SELinux is disabled, free space in /var, ",
          "\n\nRead only by checks that no option selects\n  line 13: MinRHELVersion = 9\n\nSkipped\n",
          "SLESSP is 5\\n, not 5"})
        EXPECT_TRUE(holds(clustered, part)) << part << clustered;
    const string ubuntu = run("--explain 9.8 --distribution UBUNTU --release 22.04 --clustered " + sample).out;
    EXPECT_TRUE(std::regex_search(ubuntu, std::regex("\nNote: .* 9\\.8 on UBUNTU only .*\nNote: .* only -l ")))
        << ubuntu;
    EXPECT_FALSE(holds(run("--explain 10.5 --distribution UBUNTU --release 22.04 " + sample).out, "Note: "));
    const string suse = run(explain + "SUSE --release 12 --service-pack 5 " + file).out;
    EXPECT_TRUE(holds(suse, "Level 1.0 on SUSE 12 service pack 5, kernel not given\n")) << suse;
    EXPECT_TRUE(holds(suse, "line 8: UMASK")) << suse;
    const std::vector<std::pair<string, string>> skipped = {
        {"IAVersion = 15 IASP = 3", "IASP is 2, not 3"},  {"KVXLevel = 2.0", "KVXLevel is 1.0, not 2.0"},
        {"platform = AIX", "platform is Linux, not AIX"}, {"Processor = x86", "Processor is , not x86"},
        {"MHCA = TRUE", "MHCA is FALSE, not TRUE"},       {"HCANetwork = 10GE", "HCANetwork is Undefined, not 10GE"},
    };
    for (const auto &[condition, reason] : skipped) {
        const string inspur = levelOf("<RHEL value=\"" + condition + "\">\n</RHEL>");
        EXPECT_TRUE(holds(run(explain + "INSPUR --release 15 --service-pack 2 " + inspur).out, reason)) << reason;
    }
    EXPECT_TRUE(
        holds(suse, "Checks of every level: strings is there, libaio.so.1 loads, 32-bit PAM library (warning)\n"))
        << suse;
    const string blanks(255, ' ');
    const string odd = levelOf(blanks + "<CPPVersionString>GCC4</CPPVersionString>\n<SLES value='x'>\n</SLES>\n" +
                               blanks.substr(26) + "<kshVersion>1</kshVersion>\n<SLES value=\"foo = 1\">");
    const string explained = run(explain + "RHEL --release 9 " + odd).out;
    for (const string part : {"C++ runtime, not made: no CPPLibName is given\n  line 3: CPPVersionString = GCC4\n",
                              "Read in the clustered pass only\n  line 6: kshVersion = 1\n",
                              "lines 4 to 5: <SLES value='x'>\n    its condition is not in double quotes\n",
                              "lines 7 to the platform's end: <SLES value=\"foo = 1\">\n    foo is not a tag\n"})
        EXPECT_TRUE(holds(explained, part)) << part << explained;
}

// A release that the file gives in the first pass is still stored in the clustered pass, and decides its sections.
TEST(LintCommand, ExplainsTheClusteredPassAsItFollowsTheOrdinaryOne) {
    const string file = levelOf("<RHEL value=\"LinuxDistro = RHEL RHELVersion < 9\">\n<UMASK>022</UMASK>\n</RHEL>\n"
                                "<RHELVersion>9</RHELVersion>");
    const string explain = "--explain 1.0 --distribution RHEL --release 8.6 ";
    EXPECT_TRUE(holds(run(explain + file).out, "line 4: UMASK"));
    EXPECT_TRUE(holds(run(explain + file).out, "Read by no check\n  line 6: RHELVersion = 9\n"));
    EXPECT_TRUE(holds(run(explain + "--clustered " + file).out, "RHELVersion is 9, not < 9"));
}

TEST(LintCommand, SaysWhyALevelCannotBeExplained) {
    const string host = " --distribution RHEL --release 9 ";
    const string file = writeFile("<KVXLevel value = \"12.1\">\n<platform value=\"Linux\">\n</platform>\n</KVXLevel>\n"
                                  "<KVXLevel value=\"1.0\">\n<platform>\n");
    const std::map<string, string> reasons = {
        {"13", "level 13 is not offered, so -v refuses it; the file offers 12.1, 1.0"},
        {"12.1", "no line holds <KVXLevel value=\"12.1\"> letter by letter"},
        {"1.0", "no line below the level's holds <platform value=\"Linux\"> letter by letter"},
    };
    string eleven; // of which ten are named
    for (int i = 11; i > 0; i--)
        eleven += "<KVXLevel value=\"" + std::to_string(i) + "\">\n";
    for (const auto &[level, reason] : reasons) {
        const commandResult answer = run("--explain " + level + host + file);
        EXPECT_TRUE(holds(answer.out, reason)) << answer.out;
        EXPECT_EQ(answer.status, 2);
    }
    EXPECT_TRUE(
        holds(run("--explain 12" + host + writeFile(eleven)).out, "offers 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, ...\n"));
}

// Both levels require a kernel. Their first line requires version 9 of other hosts only. The release that level 2.1
// gives is forgotten before level 2.0, whose section for hosts without that release lowers the version to 5.
TEST(LintCommand, TellsWhichLevelsAKernelMeets) {
    const string options = "--distribution RHEL --release 9.4 --kernel 5.14.2 ";
    const string level =
        "<platform value=\"Linux\">\n<SLES value=\"LinuxDistro = SUSE\">\n<MinOSVersion>9</MinOSVersion>\n"
        "</SLES>\n<MinOSVersion>9</MinOSVersion>\n<CNTVersion value=\"CNTVersion < 8\">\n"
        "<MinOSVersion>5</MinOSVersion>\n"
        "</CNTVersion>\n<MinOSRelease>14</MinOSRelease>\n<MinOSMinorRelease>";
    const string file = writeFile("<KVXLevel value=\"2.0\">\n" + level + "2</MinOSMinorRelease>\n</platform>\n" +
                                  "<KVXLevel value=\"2.1\">\n" + level +
                                  "3</MinOSMinorRelease>\n<CNTVersion>8</CNTVersion>\n</platform>\n");
    const string answer = run("--explain 2.0 " + options + file).out;
    EXPECT_TRUE(holds(answer, "\nThe kernel meets the levels 2.0\n\nThe kernel does not meet the levels 2.1\n"))
        << answer;
}

// Compares with the values that the program itself stores on an example host, as its trace shows them.
TEST(LintCommand, ExplainsWhatTheProgramReadsOnAHost) {
    string why;
    if (!privateHostsPermitted(why) && getenv("CI") == nullptr)
        GTEST_SKIP() << why;
    static const std::regex added("==>Adding  PREREQ\\[([^\n]*)");
    static const std::regex explained("  line [0-9]+: (\\w+ = [^,\n]*)");
    static const std::map<string, string> releases = {{"rhel", "RHEL --release 9.4"},
                                                      {"suse", "SUSE --release 15.5"},
                                                      {"centos", "CENTOS --release 7.9.2009"},
                                                      {"ubuntu", "UBUNTU --release 22.04"}};
    for (const auto &[name, release] : releases)
        for (const string level : {"12.1", "11.1", "10.5"}) {
            privateHost host;
            host.layers = {KVX_SOURCE_DIR "/samples/hosts/" + name};
            host.binds = {KVX_PROGRAM_DIR, KVX_SOURCE_DIR};
            std::map<string, string> stored;
            for (const string &text : allMatches(
                     runProgram(host, {KVX_PROGRAM_DIR "/kvxprereqcheck", "-d", "-i", "-f", sample, "-v", level}).out,
                     added))
                stored[text.substr(0, text.find(']'))] = text.substr(text.find('=') + 1);
            std::set<string> expected;
            for (const auto &[tag, text] : stored)
                expected.insert(tag + " = " + text);
            const auto shown =
                allMatches(run("--explain " + level + " --distribution " + release + " " + sample).out, explained);
            EXPECT_EQ(std::set<string>(shown.begin(), shown.end()), expected) << name << " " << level;
            EXPECT_FALSE(expected.empty());
        }
}
