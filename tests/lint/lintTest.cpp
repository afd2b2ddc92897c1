// Tests kvxprereqlint with usual mistakes in the sample, with files without mistakes, and with generated files whose
// values the program's reader must read.

#include <algorithm>
#include <array>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <random>
#include <regex>
#include <set>
#include <sstream>

#include "explain.h"
#include "lint.h"
#include "mistakes.h"
#include "output.h"
#include "privateHost.h"
#include "sqloPrereqDefs.h"
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

// What the linter says of a comment that is no suppression.
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

// Generates a file: levels of elements and sections. Every third file is untouched; the others get one or two mistakes.
class fileMaker {
public:
    explicit fileMaker(unsigned seed) : random(seed) {
    }

    string make() {
        string file;
        for (int i = pick(2); i >= 0; i--)
            file += "<KVXLevel value=\"1" + std::to_string(i) + "." + std::to_string(pick(3)) +
                    "\">\n<platform value=\"Linux\">\n" + body(2) + "</platform>\n</KVXLevel>\n";
        for (int mistakes = pick(3); mistakes > 0; mistakes--)
            spoil(file);
        return file;
    }

private:
    int pick(int count) {
        return (int)(random() % (unsigned)count);
    }
    string oneOf(const std::vector<string> &texts) {
        return texts[(std::size_t)pick((int)texts.size())];
    }

    // Generates lines. Inside a section the conditions test only its own distribution.
    string body(int depth, int outer = -1) {
        static const std::vector<std::array<string, 4>> distributions = {
            {"RHEL", "RHELVersion", "RHELSP", "RHEL"},
            {"SUSE", "SLESVersion", "SLESSP", "SLES"},
            {"CENTOS", "CNTVersion", "CNTSP", "CNTVersion"}};
        string text;
        for (int i = 1 + pick(5); i > 0; i--) {
            const int distribution = outer < 0 ? pick(3) : outer;
            const auto &[name, version, servicePack, tag] = distributions[(std::size_t)distribution];
            const string number = std::to_string(7 + pick(4));
            const string section = depth == 2 ? tag : "UBUNTUVersion";
            const string element =
                oneOf({"MinOSVersion", "MinOSRelease", "kshVersion", "ksh", "perlPackage", "m4Package"});
            if (depth > 0 && pick(3) == 0)
                text += "<" + section + " value=\"LinuxDistro = " + name + " " +
                        oneOf({"", version + " >= " + number, version + " < 12", servicePack + " > " + number}) +
                        "\">\n" + body(depth - 1, distribution) + "</" + section + ">\n";
            else if (depth == 2 && pick(4) == 0)
                text += "<shareGrid>\n" + body(1) + "</shareGrid>\n";
            else
                text += oneOf({"", "  ", "<!-- note -->\n"}) + "<" + element + ">" + number + "</" + element + ">\n";
        }
        return text;
    }

    void spoil(string &file) {
        const std::size_t at = random() % file.size();
        const std::size_t line = file.find('\n', at);
        const std::size_t other = random() % file.size();
        switch (pick(6)) {
        case 0: file.erase(at, 1); break;
        case 1:
            file.insert(at, oneOf({"<", ">", "/", "\"", "'", "=", " ", "\t", "\n", "value", "<!--", "-->", "x"}));
            break;
        case 2: file[at] = oneOf({"<", ">", "/", " ", "x", "X", "9", "\n"})[0]; break;
        case 3: file[at] = (char)(file[at] ^ 0x20); break;
        case 4: file.erase(std::min(line, file.size() - 1), 1); break;
        default: file.insert(file.find('\n', other) + 1, file.substr(at, line == string::npos ? line : line + 1 - at));
        }
    }

    std::mt19937 random;
};

// Every element outside comments: its tag and text, and its line.
static std::map<std::size_t, string> elementsOf(string file) {
    for (std::size_t begin; (begin = file.find("<!--")) != string::npos;) {
        const std::size_t end = std::min(file.find("-->", begin), file.size() - 3) + 3;
        std::replace_if(
            file.begin() + (long)begin, file.begin() + (long)end, [](char c) { return c != '\n'; }, ' ');
    }
    static const std::regex element(
        R"rx(<\s*(?!KVXLevel|platform)([A-Za-z]\w*)(?:"[^"]*"|[^<>"])*>([^<]*[^<\s][^<]*)</)rx");
    std::map<std::size_t, string> found;
    for (std::sregex_iterator i(file.begin(), file.end(), element); i != std::sregex_iterator(); ++i)
        if (i->str(2).find('\n') == string::npos || sqloGetTagIndex(i->str(1).c_str()) >= 0)
            found[1 + (std::size_t)std::count(file.begin(), file.begin() + i->position(), '\n')] =
                i->str(1) + "=" + i->str(2);
    return found;
}

static std::vector<string> allMatches(const string &text, const std::regex &pattern) {
    std::vector<string> found;
    for (std::sregex_iterator i(text.begin(), text.end(), pattern); i != std::sregex_iterator(); ++i)
        found.push_back(i->str(1));
    return found;
}

// Removes the elements that the program reads on a host: a distribution with version and service pack.
static void takeRead(const std::vector<string> &lines, const string &level, int distribution, const string &version,
                     const string &servicePack, std::map<std::size_t, string> &elements) {
    static const Tag tags[][2] = {{RHELVersion, RHELSP}, {SLESVersion, SLESSP}, {CNTVersion, CNTSP}};
    static const char *const names[] = {"RHEL", "SUSE", "CENTOS"};
    std::fill(std::begin(ppszPREREQ), std::end(ppszPREREQ), nullptr);
    setPrereq(LinuxDistro, names[distribution]);
    setPrereq(tags[distribution][0], version.c_str());
    setPrereq(tags[distribution][1], servicePack.c_str());
    bShareGrid = 1;
    prereqReader reader;
    sqloBeginPrereqLines(&reader, level.c_str());
    for (std::size_t i = 0; i < lines.size(); i++) {
        sqloTakePrereqLine(&reader, lines[i].c_str());
        const auto element = elements.find(i + 1);
        if (reader.effect == LINE_VALUE && element != elements.end() &&
            element->second == string(ppszTagName[reader.tag]) + "=" + ppszPREREQ[reader.tag])
            elements.erase(element);
    }
}

TEST(Lint, WhereItFindsNoErrorEveryElementIsReadForSomeHost) {
    static const std::regex number("[<>=] ([0-9]{1,5})");
    static const std::regex level("<KVXLevel value=\"([^\"]*)\"");
    static const std::regex line("([^\n]*)\n");
    fileMaker maker(2026);
    int withoutError = 0;
    for (int i = 0; i < 10000 && !HasFailure(); i++) {
        const string file = maker.make();
        const auto findings = found(file);
        if (std::any_of(findings.begin(), findings.end(),
                        [](const foundText &one) { return one.severity == lint::Severity::error; }))
            continue;
        withoutError++;
        std::set<string> numbers = {"0", "99"}; // on both sides of every number of the file
        for (const string &asked : allMatches(file, number))
            numbers.insert({asked, std::to_string(std::stoi(asked) + 1)});
        auto elements = elementsOf(file);
        const std::vector<string> lines = allMatches(file + "\n", line);
        for (const string &name : allMatches(file, level))
            for (int distribution = 0; distribution < 3; distribution++)
                for (const string &version : numbers)
                    for (const string &servicePack : numbers)
                        if (!elements.empty() && (servicePack == "0" || file.find("SP") != string::npos))
                            takeRead(lines, name, distribution, version, servicePack, elements);
        for (const auto &[at, element] : elements)
            ADD_FAILURE() << "line " << at << ": " << element << "\n" << file;
    }
    EXPECT_GT(withoutError, 2500);
}
