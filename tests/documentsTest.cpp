// Compares header, catalog, usage, manual pages, completion and sample with the program.
#include "support.h"

#include <algorithm>
#include <regex>
#include <set>

typedef std::set<string> words;

// Returns the output of a command that runs in the source directory.
static string shell(const string &command) {
    return capture([&] { EXPECT_NE(system(("cd '" KVX_SOURCE_DIR "' && " + command).c_str()), -1); }).out;
}

static words found(const string &text, const char *pPattern, const char *pFormat = "$1") {
    const std::regex pattern(pPattern);
    words all;
    for (std::sregex_iterator match(text.begin(), text.end(), pattern), end; match != end; ++match)
        all.insert(match->format(pFormat));
    return all;
}

static const char *const header = "cat engn/include/*.h", *const english = "cat locale/en_US.iso88591/kvxistring.msg";

TEST(Messages, StandInHeaderAndCatalogWithTheSameTokens) {
    const words inHeader = found(shell(header), "(MSG_\\w+) = (\\d+), *// ([^\n]*)", "$1 $2 $3");
    EXPECT_GT(inHeader.size(), 100U);
    EXPECT_EQ(found(shell(english), "\n\\$ (MSG_\\w+): ([^\n]*)\n(?:\\$[^\n]*\n)*(\\d+) \"", "$1 $3 $2"), inHeader);
    EXPECT_EQ(found(shell(english), "\n(\\d+) \""), found(shell(header), "MSG_\\w+ = (\\d+),"));
}

TEST(Messages, ShowTokensThatTheyHaveAndFitTheirBuffers) {
    useCatalog();
    for (const string &row : found(shell(header), "MSG_(\\w+) = (\\d+), *// ([^\n]*)", "$2 $3; $1")) {
        const string tokens = row.substr(6);
        const string text = message(std::stoi(row), std::vector<string>(9, string(1, 1)));
        const long stated = tokens.rfind("none", 0) == 0 ? 0 : 1 + std::count(tokens.begin(), tokens.end(), ',');
        const long shown = std::count(text.begin(), text.end(), 1);
        EXPECT_LE(shown, stated) << row;
        EXPECT_LT(text.size() + 40 * static_cast<size_t>(shown), row.find("; USAGE_") == row.npos ? 256U : 1000U)
            << row;
        EXPECT_TRUE(std::regex_match(text, std::regex("[\1 -~\n]*[\1-~]"))) << row; // ASCII, no newline at the end
    }
}

TEST(Messages, OfTheHelpAreInTheOrderOfTheManual) {
    onHost({}, [] {
        useNamedTexts();
        EXPECT_EQ(replaced(capture(displayHelp).out, {{"\\s+", " "}}),
                  "USAGE_FIRST USAGE_ARGUMENTS USAGE_SELECTION USAGE_CLUSTERED USAGE_FILES_GIVEN USAGE_OUTPUT "
                  "USAGE_INSTANCE USAGE_INSTANCE_USER USAGE_INSTANCE_PORTS USAGE_GENERAL USAGE_FILES "
                  "USAGE_ENVIRONMENT USAGE_EXIT_STATUS USAGE_LAST ");
    });
}

// There is no token 0: a text with %0 is shown as it is in the catalog.
TEST(Messages, AreShownAsTheyStandWhateverTheyHold) {
    onHost({}, [] {
        useTexts({{30099, "%n%s %0"}, {30053, "%n%s %0"}, {30054, "%1 %d %0"}});
        EXPECT_EQ(capture(displayHelp).out.substr(0, 8), "%n%s %0\n");
        EXPECT_EQ(capture([] { checkPingTest(); }).out, "   \n%n%s %0\n%1 %d %0\n");
    });
}

// The names 76 to 78 are in another order than their members, which definitions.txt tests.
TEST(Tags, StandInTheOrderOfTheirMembers) {
    string members = shell("sed -n '/^enum Tag {/,/}/p' engn/include/*.h");
    members = std::regex_replace(members, std::regex(R"(/\*.*?\*/|enum Tag \{|[\s}])"), "");
    for (int tag = 0; tag < LastTag; tag++) {
        const string member = members.substr(0, members.find(','));
        EXPECT_TRUE(member == ppszTagName[tag] || (tag >= 76 && tag <= 78)) << tag << " " << member;
        members.erase(0, member.size() + 1);
    }
}

TEST(Statuses, StandInHeaderUsageAndManual) {
    words statuses = found(shell(header), "RC_\\w+ = (1?\\d),");
    statuses.insert("255"); // RC_FAILED; those from 21 on do not get out
    const string manual = shell("sed '1,/Sh EXIT/d;/Sh EXAM/,$d' man/kvxprereqcheck.1");
    EXPECT_EQ(found(manual, "\\.It (\\d+)"), statuses);
    const string rendered =
        "mandoc -Tascii man/kvxprereqcheck.1 | sed 's/.\b//g' | sed -n '/^EXIT/,/These come/p' | tr -s ' \n' ' '";
    const auto lower = [](string text) {
        std::transform(text.begin(), text.end(), text.begin(), tolower);
        return text;
    };
    useCatalog();
    EXPECT_EQ(found(lower(message(MSG_USAGE_EXIT_STATUS)), "\n +(\\d+) +([^\n]*)", "$1 $2"),
              found(lower(shell(rendered)), " (\\d+) ([^.]*)\\.", "$1 $2"));
}

// Returns the spellings of the option table's rows that have a rule.
static words spellings(const string &rule) {
    return found(shell("grep '{{\"-.*" + rule + "' engn/sqo/sqloPrereqCheck.cpp"), "\"-([^\"]+)");
}

TEST(Manual, AgreesWithCode) {
    EXPECT_EQ(shell("mandoc -Tlint -Wall man/* 2>&1 | grep -v -e 'manual not found' -e mandoc.db"), "");
    EXPECT_GE(spellings("").size(), 30U);
    const std::pair<string, string> options[] = {{"", ""}, {" Ar ", "[YE]_VALUE"}, {"any case", "ANY_CASE"}};
    for (const auto &[mark, rule] : options)
        EXPECT_EQ(found(shell("grep '^.It Fl.*" + mark + "' man/kvxprereqcheck.1"), R"(Fl (?:\\&)?(\S+))"),
                  spellings(rule))
            << rule;
    EXPECT_EQ(found(shell("grep 'It Ev' man/kvxprereqcheck.1"), "(\\w+)\n"),
              found(shell("cat engn/sqo/*"), "getenv\\(\"(\\w+)"));
}

TEST(Manual, HasEveryTagWhereItBelongs) {
    const words tags(ppszTagName, ppszTagName + LastTag);
    const char *const pNames = "(?:\\.Va|It Va| ,) (\\w+)";
    EXPECT_EQ(found(shell("sed '1,/Sh TAGS/d' man/*.5"), pNames), tags);
    words unread = tags; // code without its strings and comments
    const string code = shell("sed 's/\"[^\"]*\"//g;s|//.*||;s|/\\*.*\\*/||;s|/\\*.*||;/^ \\* /d' engn/sqo/*");
    for (const string &word : found(code, "(\\w+)"))
        unread.erase(word);
    EXPECT_EQ(found(shell("sed '1,/that nothing reads/d;/Sh EXAM/,$d' man/*.5"), pNames), unread);
}

TEST(Manual, ExampleRunsAsStated) {
    onHost({}, [] {});
    if (IsSkipped())
        return;
    const string example = shell("mandoc -Tascii man/*.5 | sed -n '/<KVXpre/,/<.KVXpre/p'");
    words ends;
    for (const string name : {"rhel", "suse"}) {
        const privateHost host = {
            {KVX_SOURCE_DIR "/samples/hosts/" + name}, "", {KVX_PROGRAM_DIR}, false, false, {}, {{"/f", example}}};
        const runResult got = runProgram(host, {KVX_PROGRAM_DIR "/kvxprereqcheck", "-f", "/f", "-i", "-v", "11.5"});
        ends.insert(std::to_string(got.status) + (name == "rhel" ? " on RHEL" : " on SUSE"));
    }
    EXPECT_EQ(ends, found(shell("tr '\\n' ' ' <man/KVXprereqs.xml.5"), "status (\\d+ on [A-Z]+)"));
}

// The objects of a JSON text, or of the manual's description of one: of each the names of its members in their order.
static words objectsIn(const string &text) {
    static const std::regex token("\"((?:[^\"\\\\]|\\\\.)*)\"(:?)|[{}]");
    words objects;
    std::vector<string> open;
    for (std::sregex_iterator i(text.begin(), text.end(), token), end; i != end; ++i)
        if (i->str() == "{")
            open.emplace_back();
        else if (i->str() == "}") {
            objects.insert(open.back());
            open.pop_back();
        } else if (i->str(2) == ":")
            open.back() += i->str(1) + " ";
    return objects;
}

// Only a run with a failure, or a warning, and a waived one, compared with one on another kernel, has all members.
TEST(Manual, NamesTheMembersOfTheJson) {
    onHost({}, [] {});
    if (IsSkipped())
        return;
    privateHost host;
    host.layers = {KVX_SOURCE_DIR "/samples/hosts/rhel"};
    host.binds = {KVX_SOURCE_DIR "/samples", KVX_PROGRAM_DIR};
    host.files = {{"/waivers", "h * /lib/libpam.so* until=2999-12-31 known"}};
    const string run =
        "cd " KVX_PROGRAM_DIR "; ./kvxprereqcheck -f " KVX_SOURCE_DIR "/samples/KVXprereqs.xml >/report; "
        "json='./kvxprereqreport --format=json --host=h /report'; "
        "$json | sed 's/\"passed\", \"waived\"/\"error\", \"waived\"/; s/30047, \"tokens\": ./&\"4\", /' >/old; "
        "$json --waivers=/waivers --compare=/old";
    const string manual = shell("sed '/^.Ss JSON/,/^.Ed/!d' man/kvxprereqreport.1");
    EXPECT_EQ(objectsIn(runProgram(host, {"/bin/sh", "-c", run}).out), objectsIn(manual));
}

// Of the report in README: a text that has changed since is one that no message explains.
TEST(Readme, ShowsAReportOfThisVersion) {
    const string report =
        "sed -n '/^## A failing/,/^A block/s/^    //p' README.md | " KVX_PROGRAM_DIR "/kvxprereqreport ";
    const string json = shell(report + "--format=json --host=h --status=3");
    EXPECT_EQ(found(json, "\"result\": \"(error|failed)\"").size(), 2U) << json;
    EXPECT_EQ(found(json, "\"message\": (null)"), words()) << json;
}

// Returns the completions of a command line's last word.
static words completed(const string &line) {
    const string call = "COMP_WORDS=(p \"$@\"); COMP_CWORD=$#; _kvxprereqcheck; echo \"${COMPREPLY[@]}\"";
    return found(shell("bash -c '. completions/kvxprereqcheck; " + call + "' bash " + line), "(\\S+)");
}

// bash, zsh and fish run in a terminal, and complete options of every help, levels, formats and distributions.
TEST(Completion, OffersInEveryShellWhatTheHelpHas) {
    const scratchDirectory directory;
    shell("cmake --install " KVX_PROGRAM_DIR " --prefix '" + directory.path + "'");
    EXPECT_EQ(shell("scripts/check-completions '" + directory.path + "' 2>&1"), "");
}

TEST(Completion, KnowsOptionsAndLevels) {
    for (const string &spelling : spellings(""))
        EXPECT_EQ(completed("'-" + spelling + "'").count("-" + spelling), 1U) << spelling;
    EXPECT_EQ(completed("-SERV"), words{"-service"});
    const scratchDirectory directory; // a level is no command
    writeFile(directory.path + "/f", "<KVXLevel value=\"2.1\">\n<KVXLevel value=\"$(id)\">\n");
    EXPECT_EQ(completed("-f " + directory.path + "/f -v ''"), words{"2.1"});
}
