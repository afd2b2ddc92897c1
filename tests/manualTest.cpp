// Manual pages and completion in step with the program.
#include "support.h"

#include <regex>
#include <set>

using std::string;
typedef std::set<string> words;

// What a command prints that is run in the source directory.
static string shell(const string &command) {
    return capture([&] { EXPECT_NE(system(("cd " KVX_SOURCE_DIR " && " + command).c_str()), -1); }).out;
}

static words found(const string &text, const char *pPattern, const char *pFormat = "$1") {
    const std::regex pattern(pPattern);
    words all;
    for (std::sregex_iterator match(text.begin(), text.end(), pattern), end; match != end; ++match)
        all.insert(match->format(pFormat));
    return all;
}

// The spellings in the rows of the option table that a rule is found in.
static words spellings(const string &rule) {
    return found(shell("grep '{{\"-.*" + rule + "' engn/sqo/sqloPrereqCheck.cpp"), "\"-([^\"]+)");
}

TEST(Manual, AgreesWithCode) {
    EXPECT_EQ(shell("mandoc -Tlint -Wall man/* 2>&1 | grep -v -e 'manual not found' -e mandoc.db"), "");
    EXPECT_GE(spellings("").size(), 30U);
    const std::pair<string, string> options[] = {{"", ""}, {" Ar ", "[YE]_VALUE"}, {"any case", "ANY_CASE"}};
    for (const auto &[mark, rule] : options)
        EXPECT_EQ(found(shell("grep '^.It Fl.*" + mark + "' man/*.1"), R"(Fl (?:\\&)?(\S+))"), spellings(rule)) << rule;
    words statuses = found(shell("cat engn/include/*.h"), "RC_\\w+ = (1?\\d),");
    statuses.insert("255"); // RC_FAILED; those from 21 on do not get out
    EXPECT_EQ(found(shell("sed '1,/Sh EXIT/d' man/*.1"), "\\.It (\\d+)"), statuses);
    EXPECT_EQ(found(shell("grep 'It Ev' man/*.1"), "(\\w+)\n"), found(shell("cat engn/sqo/*"), "getenv\\(\"(\\w+)"));
}

TEST(Manual, HasEveryTagWhereItBelongs) {
    const words tags(ppszTagName, ppszTagName + LastTag);
    const char *const pNames = "(?:\\.Va|It Va| ,) (\\w+)";
    EXPECT_EQ(found(shell("sed '1,/Sh TAGS/d' man/*.5"), pNames), tags);
    words unread = tags; // code without its strings and comments
    const string code = shell("sed 's/\"[^\"]*\"//g;s|//.*||;s|/\\*.*\\*/||;s|/\\*.*||;/^ \\* /d' engn/sqo/*.cpp");
    for (const string &word : found(code, "(\\w+)"))
        unread.erase(word);
    EXPECT_EQ(found(shell("sed '1,/that nothing reads/d;/Sh EXAM/,$d' man/*.5"), pNames), unread);
}

TEST(Manual, ExampleRunsAsStated) {
    onHost({}, [] {});
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

// What the last word of a command line is completed to.
static words completed(const string &line) {
    const string call = "COMP_WORDS=(p \"$@\"); COMP_CWORD=$#; _kvxprereqcheck; echo \"${COMPREPLY[@]}\"";
    return found(shell("bash -c '. completions/kvxprereqcheck; " + call + "' bash " + line), "(\\S+)");
}

TEST(Completion, KnowsOptionsAndLevels) {
    for (const string &spelling : spellings(""))
        EXPECT_EQ(completed("'-" + spelling + "'").count("-" + spelling), 1U) << spelling;
    EXPECT_EQ(completed("-SERV"), words{"-service"});
    const scratchDirectory directory; // a level is no command
    writeFile(directory.path + "/f", "<KVXLevel value=\"2.1\">\n<KVXLevel value=\"$(id)\">\n");
    EXPECT_EQ(completed("-f " + directory.path + "/f -v ''"), words{"2.1"});
}
