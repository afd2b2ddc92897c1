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
    const string path = testing::TempDir() + "lint" + std::to_string(getpid()) + ".xml";
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
    const commandResult other = run("/nowhere " + bad);
    EXPECT_EQ(other.status, 2);
    EXPECT_TRUE(holds(other.out, "kvxprereqlint: /nowhere: No such file or directory\n")) << other.out;
    EXPECT_TRUE(holds(other.out, ":4:1: error: ")) << "the other file is judged all the same";
    EXPECT_TRUE(holds(run(writeFile("<!x <KVXLevel \"12\">\n")).out, ":1:5: error: level 12 is offered"))
        << "the program offers a level even in a declaration";
}

TEST(LintCommand, WeighsFindingsAsItIsAsked) {
    const string file = levelOf("<UMASK></UMASK>\n<UMASK>022</UMASK>\n<ksh>1</ksh>\n<m4Package>m4</m4Package>");
    EXPECT_EQ(run(file).status, 1);
    EXPECT_EQ(run("--fail-on=error " + file).status, 0) << "a warning";
    EXPECT_EQ(run("--exclude=letter-case,empty " + file).status, 0);
    const commandResult unread = run("--unread --exclude=empty " + file);
    EXPECT_TRUE(holds(unread.out, ":5:1: note: no check reads ksh (a label) [unread]")) << unread.out;
    EXPECT_TRUE(holds(unread.out, ":6:1: note: no check reads m4Package (a package that ")) << unread.out;
    EXPECT_EQ(unread.status, 0) << "a note is for information";
    EXPECT_TRUE(holds(run(levelOf("")).out, ":1:1: warning: no check reads anything")) << "not an error";
}

TEST(LintCommand, WritesForProgramsToo) {
    const string file =
        levelOf("<!-- \u00e4 --> <Umask>1</Umask> <UMASK>022</UMASK>\n<Umask>%</Umask>\n<UMASK>022</UMASK>");
    const string json = run("--format=json " + file).out;
    EXPECT_TRUE(holds(
        json,
        "{\"file\": \"" + file +
            "\", \"line\": 4, \"column\": 1, \"severity\": \"error\", "
            "\"rule\": \"letter-case\", \"text\": \"upper and lower case matter, so the program ignores the line: "
            "write UMASK in both tags\"}"))
        << json;
    EXPECT_TRUE(holds(json, "\"errors\": 2, \"warnings\": 0, \"notes\": 0, \"suppressed\": 0, \"files\": 1}\n"))
        << json;
    const string github = run("--format=github " + file).out;
    EXPECT_TRUE(holds(github, "::error file=" + file + ",line=4,col=1,title=letter-case::upper and lower")) << github;
    const string sarif = run("--format=sarif " + file).out;
    EXPECT_TRUE(holds(sarif, "\"uri\": \"file://" + file + "\"}, \"region\": {\"startLine\": 3, \"startColumn\": 12}"))
        << "columns are those of characters: " << sarif;
}

TEST(LintCommand, RefusesOptionsThatMakeNoSense) {
    const string file = levelOf("<UMASK>022</UMASK>");
    const string explain = "--explain 1.0 --distribution ";
    for (const string &arguments : std::vector<string>{
             "",
             "--levels",
             "--list-rules " + file,
             "--levels --unread " + file,
             "--fail-on=note " + file,
             "--exclude=nothing " + file,
             "--format=xml " + file,
             "--levels --format=json " + file,
             "--explain 1.0 " + file,
             "--frob",
             "/",
             "--clustered " + file,
             "--list-rules >/dev/full",
             explain + "RHEL --release nine " + file,
             explain + "RHEL --release 9 --service-pack x " + file,
             explain + "RHEL --release 9.4 --service-pack 7 " + file,
             explain + "RHEL --release 9.4 --kernel 5.14 " + file,
             explain + "RHEL --release 9.4 --format=sarif " + file,
         })
        EXPECT_EQ(run(arguments).status, 2) << arguments;
}

TEST(LintCommand, ListsLevelsAndRules) {
    const string file = writeFile("<KVXLevel value=\"1.0\">\n<KVXLevel value=\"1.10\">\n<KVXLevel value=\"1.9\">\n");
    EXPECT_EQ(run("--levels " + file).out, "1.10\n1.9\n1.0\n");
    EXPECT_EQ(run("--levels - <" + file).out, "1.10\n1.9\n1.0\n");
    const string manual = readFile(KVX_SOURCE_DIR "/man/kvxprereqlint.1");
    const string listed = run("--list-rules").out;
    for (int i = 0; i < (int)lint::Rule::count; i++) {
        const lint::ruleEntry &rule = lint::entryOf((lint::Rule)i);
        EXPECT_TRUE(holds(manual, "\n.It Sy " + string(rule.name) + "\n")) << rule.name;
        EXPECT_TRUE(std::regex_search(
            listed, std::regex("(^|\n)" + string(rule.name) + " +" + string(lint::nameOf(rule.severity)) + " +\\w")))
            << rule.name;
    }
}

/* --- Explanations --- */

TEST(LintCommand, ExplainsALevel) {
    const string options = "--explain 1.0 --distribution RHEL --release 9.4 --kernel 5.14.0-1 --client ";
    EXPECT_EQ(run(options + ownFiles + "level.xml").out, readFile(ownFiles + "explained.txt"));
    const string json = std::regex_replace(readFile(ownFiles + "explained.json"), std::regex("\n(?=.)"), "");
    EXPECT_EQ(run(options + "--format=json " + ownFiles + "level.xml").out, json) << "without the line breaks";
    EXPECT_EQ(run(options + "- <" + ownFiles + "level.xml").out, readFile(ownFiles + "explained.txt"));
}

TEST(LintCommand, ExplainsWhatDiffersFromHostToHost) {
    const string explain = "--explain 1.0 --distribution ";
    const string file = ownFiles + "level.xml";
    const string clustered = run(explain + "SUSE --release 15.5 --clustered " + file).out;
    EXPECT_TRUE(holds(clustered, "SLESSP is 5\\n, not 5")) << clustered;
    EXPECT_TRUE(holds(clustered, "LibCVersion is not given: the version counts as 0")) << clustered;
    EXPECT_TRUE(holds(clustered, "Check: shells, not made: kshPackage and ntpPackage are not both given\n  line 15: "))
        << clustered;
    const string ubuntu = run("--explain 9.8 --distribution UBUNTU --release 22.04 --clustered " + sample).out;
    EXPECT_TRUE(std::regex_search(ubuntu, std::regex("\nNote: .* 9\\.8 on UBUNTU only .*\nNote: .* only -l ")))
        << ubuntu;
    EXPECT_TRUE(holds(run(explain + "SUSE --release 12 --service-pack 5 " + file).out, "line 8: UMASK"));
    EXPECT_TRUE(holds(run(explain + "SUSE --release 15 --service-pack 5 " + file).out, "give --release 15.5 without"));
}

// A release that the file gives in the first pass is still stored in the clustered pass, and decides its sections.
TEST(LintCommand, ExplainsTheClusteredPassAsItFollowsTheOrdinaryOne) {
    const string file = levelOf("<RHEL value=\"LinuxDistro = RHEL RHELVersion < 9\">\n<UMASK>022</UMASK>\n</RHEL>\n"
                                "<RHELVersion>9</RHELVersion>");
    const string explain = "--explain 1.0 --distribution RHEL --release 8.6 ";
    EXPECT_TRUE(holds(run(explain + file).out, "line 4: UMASK"));
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
    for (const auto &[level, reason] : reasons) {
        const commandResult answer = run("--explain " + level + host + file);
        EXPECT_TRUE(holds(answer.out, reason)) << answer.out;
        EXPECT_EQ(answer.status, 2);
    }
}

// Both levels require a kernel. Their first line requires version 9 of other hosts only.
TEST(LintCommand, TellsWhichLevelsAKernelMeets) {
    const string options = "--distribution RHEL --release 9.4 --kernel 5.14.0 ";
    const string level =
        "<platform value=\"Linux\">\n<SLES value=\"LinuxDistro = SUSE\">\n<MinOSVersion>9</MinOSVersion>\n"
        "</SLES>\n<MinOSVersion>5</MinOSVersion>\n<MinOSRelease>1";
    const string file = writeFile("<KVXLevel value=\"2.0\">\n" + level + "4</MinOSRelease>\n</platform>\n" +
                                  "<KVXLevel value=\"2.1\">\n" + level + "5</MinOSRelease>\n</platform>\n");
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
