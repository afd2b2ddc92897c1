// Tests kvxprereqlint with usual mistakes in the sample and with files without mistakes.

#include <algorithm>
#include <array>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "lint.h"
#include "mistakes.h"
#include "output.h"
#include "tags.h"

using std::string;

static string readFile(const string &path) {
    std::ifstream file(path, std::ios::binary);
    return string(std::istreambuf_iterator<char>(file), {});
}

static const string sample = KVX_SOURCE_DIR "/samples/KVXprereqs.xml";

// The sample with one text replaced, the first one behind its opening comment, and the line of the first difference.
struct changedSample {
    string file;
    long line;

    changedSample(const string &good, const string &changed) : file(readFile(sample)) {
        const std::size_t at = file.find(good, file.find("<KVXprereqs>"));
        EXPECT_NE(at, string::npos) << good;
        const auto same = std::mismatch(good.begin(), good.end(), changed.begin(), changed.end()).second;
        file.replace(std::min(at, file.size()), good.size(), changed);
        std::replace(file.begin(), file.end(), '\1', '\0');
        line = 1 + std::count(file.begin(), file.begin() + (long)at + (same - changed.begin()), '\n');
    }
};

// A finding with its whole text.
struct foundText {
    std::size_t line, column;
    string rule;
    lint::Severity severity;
    string text;
};

static std::vector<foundText> found(const string &file, const lint::judgeOptions &options = {}) {
    const lint::judgement judged = lint::judge(file, options);
    std::vector<foundText> all;
    for (const lint::finding &one : judged.findings.all) {
        const lint::ruleEntry &rule = lint::entryOf(one.id);
        all.push_back({one.line, one.column, string(rule.name), rule.severity, judged.findings.textOf(one)});
    }
    return all;
}

static string rulesOf(const std::vector<foundText> &findings) {
    string rules;
    for (const foundText &one : findings)
        rules += (rules.empty() ? "" : " ") + one.rule;
    return rules;
}

static string textsOf(const std::vector<foundText> &findings) {
    string texts;
    for (const foundText &one : findings)
        texts += "\n" + std::to_string(one.line) + ":" + std::to_string(one.column) + " " + one.rule + ": " + one.text;
    return texts;
}

// The texts that a finding says to write letter by letter.
static std::vector<string> advisedTexts(const string &text) {
    static const std::regex patterns[] = {
        std::regex("(?:write|here and|version in) (<(?:\"[^\"]*\"|[^<>\"])*>(?:[^<> ]*</[^<>]*>)?)"),
        std::regex("write \"([^\"]*)\""), std::regex("write ([\\w.+]+)$")};
    std::vector<string> texts;
    for (const std::regex &pattern : patterns)
        for (std::sregex_iterator i(text.begin(), text.end(), pattern); i != std::sregex_iterator(); ++i)
            texts.push_back(i->str(1));
    return texts;
}

// The text of a line, from 1 on, without the blanks in front of it.
static string lineOf(const string &file, long number) {
    std::istringstream in(file);
    string line;
    for (long i = 0; i < number; i++)
        std::getline(in, line);
    const size_t start = line.find_first_not_of(' ');
    return line.substr(std::min(start, line.size()));
}

// Puts the text of a line in the place of its number, so that a longer sample does not change what is expected.
static string withLineTexts(string text, const string &file) {
    static const std::regex number("line (\\d+)");
    for (std::smatch found; std::regex_search(text, found, number);) {
        const string line = lineOf(file, std::stol(found[1]));
        text.replace(found.position(0), found.length(0), "{" + line + "}");
    }
    return text;
}

// Places a finding: by the distance of its line from the change, or by the text of a far line.
static string placeOf(const foundText &finding, const changedSample &bad) {
    constexpr long far = 10;
    const long below = (long)finding.line - bad.line;
    if (below == 0)
        return "";
    if (std::labs(below) >= far)
        return "{" + lineOf(bad.file, (long)finding.line) + "}:";
    return (below > 0 ? "+" : "") + std::to_string(below) + ":";
}

// Describes findings as a row of the mistakes does, but with whole texts.
static std::vector<string> describe(const std::vector<foundText> &findings, const changedSample &bad) {
    std::vector<string> all;
    for (const foundText &one : findings) {
        const string text = withLineTexts(one.text, bad.file);
        all.push_back(placeOf(one, bad) + std::to_string(one.column) + " " + one.rule + ": " + text);
    }
    return all;
}

// Is a finding the one that a row describes, with the words of the row in its text?
static bool isDescribed(const string &finding, const string &described) {
    const string place = described.substr(0, described.find(": "));
    const string words = described.substr(std::min(place.size() + 2, described.size()));
    return finding.substr(0, place.size() + 2) == place + ": " && finding.find(words, place.size()) != string::npos;
}

TEST(Lint, FindsEveryMistakeAtItsPlace) {
    static const std::regex between("; ");
    std::set<string> shown;
    for (const mistake &row : mistakes) {
        const changedSample bad(row.good, row.bad);
        const auto findings = found(bad.file);
        const auto described = describe(findings, bad);
        const std::vector<string> expected(
            std::sregex_token_iterator(row.findings.begin(), row.findings.end(), between, -1), {});
        EXPECT_TRUE(std::equal(described.begin(), described.end(), expected.begin(), expected.end(), isDescribed))
            << row.bad << "\nexpected: " << row.findings << "\nfound: " << testing::PrintToString(described);
        shown.insert(findings.empty() ? "" : findings[0].rule);
    }
    // tests below cover the rules for the file as a whole and those that need an option
    shown.insert({"no-level", "encoding", "unread", "suppression", "unused-suppression"});
    for (int i = 0; i < (int)lint::Rule::count; i++)
        EXPECT_EQ(shown.count(string(lint::entryOf((lint::Rule)i).name)), 1) << i;
}

TEST(Lint, FindsNothingWhereItsAdviceWasFollowed) {
    for (const mistake &row : mistakes) {
        const string &advised = row.advised.empty() ? row.good : row.advised;
        const auto left = found(changedSample(row.good, advised).file);
        EXPECT_EQ(rulesOf(left), "") << advised << textsOf(left);
        const auto findings = found(changedSample(row.good, row.bad).file);
        const string file = changedSample(row.good, advised).file;
        for (const foundText &one : findings)
            for (const string &text : advisedTexts(one.text)) // a row with "..." says what cannot be known
                EXPECT_TRUE(file.find(text) != string::npos || row.findings.find("...") != string::npos)
                    << row.bad << "\n"
                    << one.text;
    }
}

// The manual lists the tags in sections, by what reads them.
TEST(Lint, ReadsEachTagAsTheManualSays) {
    static const std::map<string, lint::Reading> headings = {
        {".Ss Level and host", lint::Reading::host},
        {".Ss Sections", lint::Reading::nothing},
        {".Ss Read in every pass", lint::Reading::everyPass},
        {".Ss Read in the clustered pass", lint::Reading::clusteredPass},
        {".Ss Read only by checks that no option selects", lint::Reading::dormant},
        {".Ss Tags that nothing reads", lint::Reading::nothing},
    };
    std::istringstream manual(readFile(KVX_SOURCE_DIR "/man/KVXprereqs.xml.5"));
    auto heading = headings.end();
    std::set<string> shown;
    for (string line; std::getline(manual, line);) {
        if (line == ".Sh EXAMPLES")
            break;
        heading = headings.count(line) == 0 ? heading : headings.find(line);
        std::istringstream words(line);
        for (string word; heading != headings.end() && words >> word;)
            if (lint::isTag(word)) {
                EXPECT_EQ(lint::useOf(lint::tagOf(word)).read, heading->second) << word;
                shown.insert(word);
            }
    }
    EXPECT_EQ(shown.size(), LastTag);
}

// With a level below, the program reads that level's lines; the last level of a file has nothing to read instead.
TEST(Lint, SaysWhatIsReadInsteadOfAPlatformSection) {
    const string bad = "<KVXLevel value=\"1.0\">\n<platform value=\"linux\">\n";
    const string open = "<KVXLevel value=\"1.0\">\n<platform value=\"Linux\">\n";
    const string level = open + "<UMASK>022</UMASK>\n</platform>\n";
    EXPECT_NE(textsOf(found(bad)).find("section and checks the level without"), string::npos);
    EXPECT_NE(textsOf(found(bad)).find("\n2:1 unclosed: the platform section is not closed before its level ends: put"),
              string::npos);
    EXPECT_NE(textsOf(found(bad + level)).find("section and reads the next one below"), string::npos);
    EXPECT_NE(textsOf(found(level + bad)).find("section and checks the level without"), string::npos);
    EXPECT_NE(textsOf(found(open)).find("down to the end of the file"), string::npos);
    EXPECT_NE(textsOf(found("<KVXLevel value=\"1.0\"> <platform value=\"Linux\">\n")).find("\n1:1 unclosed"),
              string::npos);
    EXPECT_EQ(rulesOf(found(open + "</KVXprereqs>\n")), "no-requirement unclosed");
    EXPECT_EQ(rulesOf(found("<KVXLevel value=\"1.0\">\n<os value=\"Linux\">\n</os>\n")),
              "no-requirement platform-form");
    EXPECT_NE(textsOf(found(open + level)).find("down to the next </platform>"), string::npos);
}

TEST(Lint, IsSilentOnWhatIsFine) {
    for (const fineChange &row : fineChanges) {
        const auto findings = found(changedSample(row.good, row.changed).file);
        EXPECT_EQ(rulesOf(findings), "") << row.changed << textsOf(findings);
    }
    const string crLf = "\xef\xbb\xbf" + std::regex_replace(readFile(sample), std::regex("\n"), "\r\n");
    EXPECT_EQ(rulesOf(found(crLf)), "");
    EXPECT_EQ(rulesOf(found(crLf.substr(0, crLf.size() - 20))), "") << "the last line has no end";
}

TEST(Lint, TellsWhyNothingOfAFileIsRead) {
    EXPECT_EQ(rulesOf(found("<!--\n")), "comment no-level");
    EXPECT_EQ(textsOf(found("<!--\n")), "\n1:1 comment: this comment has no end: write --> where it ends"
                                        "\n1:1 no-level: no line offers a level: write <KVXLevel value=\"12.1\">");
    const std::vector<std::pair<string, string>> encodings = {
        {string("\xff\xfe<\0K\0", 6), "UTF-16"},
        {string("\0\0\0<\0\0\0K", 8), "UTF-32"},
        {string("\xff\xfe\0\0<\0\0\0", 8), "UTF-32"},
        {string("\0\0\xfe\xff\0\0\0<", 8), "UTF-32"},
        {string("<\0\0\0K\0\0\0", 8), "UTF-32"},
        {string("\xfe\xff\0<", 4), "UTF-16"},
        {string("\0<\0K", 4), "UTF-16"},
        {string("<\0K\0", 4), "UTF-16"},
        {"<KVXprereqs>\r<UMASK>\r", "\\(CR\\)"},
    };
    for (const auto &[file, name] : encodings) {
        const auto findings = found(file);
        EXPECT_EQ(rulesOf(findings), "encoding");
        EXPECT_TRUE(std::regex_match(textsOf(findings), std::regex("\n1:1 encoding: .*" + name + ".*")))
            << textsOf(findings);
    }
}

TEST(Lint, FindsValuesThatAreReplacedOnEveryHost) {
    const string level = "<KVXLevel value=\"1.0\">\n<platform value=\"Linux\">\n";
    const string open = "<RHEL value=\"LinuxDistro = RHEL RHELVersion ";
    const string value = "\">\n<UMASK>022</UMASK>\n</RHEL>\n";
    // the releases of two sections: on which hosts does the second one replace the value of the first one?
    const std::vector<std::array<string, 3>> rows = {
        {">= 9", "> 8", "replaced"},
        {"> 8", ">= 9", "replaced"},
        {">= 8", ">= 9", ""},
        {"< 9", "< 10", "replaced"},
        {"< 10", "< 9", ""},
        {"= 9", ">= 9", "replaced"},
        {"= 9", "> 9", ""},
        {"= 9", "< 10", "replaced"},
        {"= 9", "< 9", ""},
        {"= 9", "= 9", "replaced"},
        {">= 9", "= 9", ""},
        {">= 9", "! 8", "operator-name"},
        // a condition that always holds on other distributions is known, one with a mistaken number is not
        {">= 9 SLESVersion > 1", ">= 9 SLESVersion > 1", "distribution replaced distribution"},
        {">= 9 OSVersion > x", ">= 9 OSVersion > x", "whole-number whole-number"}};
    for (const auto &[first, second, rules] : rows)
        EXPECT_EQ(rulesOf(found(level + open + first + value + open + second + value + "</platform>\n")), rules)
            << first << ", " << second;
    // a value that is replaced twice is reported once
    EXPECT_EQ(rulesOf(found(level + open + "= 9" + value + open + "= 9" + value + open + "> 8" + value)),
              "unclosed replaced replaced");
    // one section too many: the last value is compared with 300 others
    string file = level;
    for (int i = 0; i < 301; i++)
        file += open + "= " + std::to_string(i) + value;
    EXPECT_EQ(found(file + "<UMASK>022</UMASK>\n</platform>\n").size(), 300);
}

// Characters that are invisible or change the direction of writing, and their neighbours, which stay.
TEST(Lint, ShowsHiddenCharactersByTheirNumbers) {
    EXPECT_EQ(lint::printable("\u00ad\u061c\u200b\u200f\u2028\u202e\u2060\u206f\ufeff"),
              "U+00ADU+061CU+200BU+200FU+2028U+202EU+2060U+206FU+FEFF");
    EXPECT_EQ(lint::printable("\xc2\x80\u00a0\n\x1f\x7f\xff\xff"), "U+0080U+00A0\\n\\x1F\\x7F\\xFF\\xFF");
    EXPECT_EQ(lint::printable("\x7f"), "\\x7F");
    const string shown = " ~\u00a1\u200a\u2010\u2027\u202f\u205f\u2070";
    EXPECT_EQ(lint::printable(shown), shown);
}

// The linter says this of a comment that is no suppression.
static string noSuppression(const string &place) {
    return "\n" + place +
           " suppression: this suppresses nothing: write <!-- kvxprereqlint disable=RULE --> alone on the line above";
}

TEST(Lint, IsSilentWhereItIsTold) {
    const string level = "<KVXLevel value=\"1.0\">\n<platform value=\"Linux\">\n<UMASK>022</UMASK>\n";
    const string comment = "<!-- kvxprereqlint disable=";
    const string empty = "<UMASK></UMASK>\n";
    const string end = "</platform>\n";
    const std::vector<std::pair<string, string>> rows = {
        {level + empty + end,
         "\n4:1 empty: <UMASK> is empty, and what an earlier line gave stays: write a text, or delete the line"},
        // only the line below
        {level + comment + "empty -->\n" + empty + empty + end,
         "\n6:1 empty: <UMASK> is empty, and what an earlier line gave stays: write a text, or delete the line"},
        {level + " " + comment + "text,empty --> \n" + empty + end,
         "\n4:1 unused-suppression: there is no finding of text to suppress: delete this one"},
        // suppressions on consecutive lines count for the line below the last one
        {level + comment + "empty -->\n" + comment + "text -->\nx " + empty + end,
         "\n5:1 unused-suppression: there is no finding of text to suppress: delete this one"},
        // in front of the first level a suppression counts for the whole file
        {"\n" + comment + "unknown-element,empty -->\n" + level + empty + "<Umsk>1</Umsk>\n" + empty + end, ""},
        {comment + "empty -->\n" + comment + "empty -->\n" + level + empty + end,
         "\n2:1 unused-suppression: there is no finding of empty to suppress: delete this one"},
        {comment + "empty -->\n" + level + end,
         "\n1:1 unused-suppression: there is no finding of empty to suppress: delete this one"},
        {level + comment + "emty -->\n" + end,
         "\n4:1 suppression: there is no rule emty: take one that --list-rules prints"},
        {level + comment + "unused-suppression -->\n" + end, ""},
        // other forms
        {level + "<!-- see kvxprereqlint disable=empty -->\n<!-- kvxprereqlint disable empty -->\n" + comment +
             "empty text -->\n" + comment + "empty\n-->\n" + end,
         noSuppression("4:10") + noSuppression("5:6") + noSuppression("6:6") + noSuppression("7:6")},
        // without --unread there are no findings that show whether this one is used
        {level + comment + "unread -->\n<ksh>1</ksh>\n" + end, ""},
        // a suppression on the line of an element
        {level + "<UMASK></UMASK> " + comment + "empty -->\n" + end,
         "\n4:1 empty: <UMASK> is empty, and what an earlier line gave stays: write a text, or delete the line" +
             noSuppression("4:22")},
    };
    for (const auto &[file, texts] : rows)
        EXPECT_EQ(textsOf(found(file)), texts) << file;
}
