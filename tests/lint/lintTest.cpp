// kvxprereqlint: usual mistakes put into the sample, files without any, and generated files against the program's
// reader.

#include <algorithm>
#include <array>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <random>
#include <regex>
#include <set>

#include "explain.h"
#include "lint.h"
#include "mistakes.h"
#include "privateHost.h"
#include "sqloPrereqDefs.h"

using std::string;

static string readFile(const string &path) {
    std::ifstream file(path, std::ios::binary);
    return string(std::istreambuf_iterator<char>(file), {});
}

static const string sample = KVX_SOURCE_DIR "/samples/KVXprereqs.xml";

// The sample with the first such text behind its opening comment replaced, and the line of the first difference.
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

static string rulesOf(const std::vector<lint::finding> &findings) {
    string rules;
    for (const lint::finding &found : findings)
        rules += (rules.empty() ? "" : " ") + string(lint::entryOf(found.id).name);
    return rules;
}

static string rulesFound(const string &file) {
    return rulesOf(lint::judge(file, false));
}

static string textsOf(const std::vector<lint::finding> &findings) {
    string texts;
    for (const lint::finding &found : findings)
        texts += "\n" + std::to_string(found.line) + ": " + found.text;
    return texts;
}

// What a finding says to write, as far as it says it letter by letter.
static std::vector<string> advisedTexts(const string &text) {
    static const std::regex patterns[] = {std::regex("write (<[^<>]*>(?:[^<> ]*</[^<>]*>)?)"),
                                          std::regex("write \"([^\"]*)\""), std::regex("write (\\w+)$")};
    std::vector<string> texts;
    for (const std::regex &pattern : patterns)
        for (std::sregex_iterator i(text.begin(), text.end(), pattern); i != std::sregex_iterator(); ++i)
            if (i->str(1).find("...") == string::npos)
                texts.push_back(i->str(1));
    return texts;
}

TEST(Lint, FindsEveryMistakeOnItsLine) {
    std::set<string> shown;
    for (const mistake &row : mistakes) {
        const changedSample bad(row.good, row.bad);
        const auto findings = lint::judge(bad.file, false);
        const string first = row.rules.substr(0, row.rules.find(' '));
        shown.insert(first);
        EXPECT_EQ(rulesOf(findings), row.rules) << row.bad << textsOf(findings);
        const auto isMeant = [&](const lint::finding &found) {
            return lint::entryOf(found.id).name == first && (long)found.line == bad.line + row.linesDown;
        };
        EXPECT_TRUE(std::any_of(findings.begin(), findings.end(), isMeant)) << row.bad << textsOf(findings);
    }
    // what the file as a whole lacks, and what is asked for, is tested below
    shown.insert({"no-level", "encoding", "unread"});
    for (int i = 0; i < (int)lint::Rule::count; i++)
        EXPECT_EQ(shown.count(string(lint::entryOf((lint::Rule)i).name)), 1) << i;
}

TEST(Lint, FindsNothingWhereItsAdviceWasFollowed) {
    for (const mistake &row : mistakes) {
        const string &advised = row.advised.empty() ? row.good : row.advised;
        const auto left = lint::judge(changedSample(row.good, advised).file, false);
        EXPECT_EQ(rulesOf(left), "") << advised << textsOf(left);
        const auto findings = lint::judge(changedSample(row.good, row.bad).file, false);
        const string file = changedSample(row.good, advised).file;
        for (const lint::finding &found : findings)
            for (const string &text : advisedTexts(found.text))
                EXPECT_NE(file.find(text), string::npos) << row.bad << "\n" << found.text;
    }
}

TEST(Lint, IsSilentOnWhatIsFine) {
    for (const fineChange &row : fineChanges) {
        const auto findings = lint::judge(changedSample(row.good, row.changed).file, false);
        EXPECT_EQ(rulesOf(findings), "") << row.changed << textsOf(findings);
    }
    const string crLf = "\xef\xbb\xbf" + std::regex_replace(readFile(sample), std::regex("\n"), "\r\n");
    EXPECT_EQ(rulesFound(crLf), "");
    EXPECT_EQ(rulesFound(crLf.substr(0, crLf.size() - 20)), "") << "the last line has no end";
}

TEST(Lint, TellsWhyNothingOfAFileIsRead) {
    EXPECT_EQ(textsOf(lint::judge("", false)), "\n1: no line offers a level: write <KVXLevel value=\"12.1\">");
    const std::vector<std::pair<string, string>> encodings = {
        {string("\xff\xfe<\0K\0", 6), "UTF-16"},
        {string("\0\0\0<\0\0\0K", 8), "UTF-32"},
        {string("\xff\xfe\0\0<\0\0\0", 8), "UTF-32"},
        {"<KVXprereqs>\r<UMASK>\r", "(CR)"},
    };
    for (const auto &[file, name] : encodings) {
        const auto findings = lint::judge(file, false);
        EXPECT_EQ(rulesOf(findings), "encoding");
        EXPECT_NE(textsOf(findings).find(name), string::npos) << textsOf(findings);
    }
}

// A generated file: levels of elements and sections, every third one untouched, the others with one or two mistakes.
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

    // Within a section only its own distribution is tested.
    string body(int depth, int outer = -1) {
        static const std::vector<std::array<string, 4>> distributions = {
            {"RHEL", "RHELVersion", "RHELSP", "RHEL"},
            {"SUSE", "SLESVersion", "SLESSP", "SLES"},
            {"CENTOS", "CNTVersion", "CNTSP", "CNTVersion"}};
        string text;
        for (int i = 1 + pick(5); i > 0; i--) {
            const int distribution = outer < 0 ? pick(3) : outer;
            const auto &[name, version, servicePack, tag] = distributions[(std::size_t)distribution];
            const string number = std::to_string(7 + pick(4)), section = depth == 2 ? tag : "UBUNTUVersion";
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
        const std::size_t at = random() % file.size(), line = file.find('\n', at), other = random() % file.size();
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

// Every element outside comments, as tag and text, with its line.
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

// Takes away the elements that the program reads for a host: a distribution with version and service pack.
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
    static const std::regex number("[<>=] ([0-9]{1,5})"), level("<KVXLevel value=\"([^\"]*)\""), line("([^\n]*)\n");
    fileMaker maker(2026);
    int withoutError = 0;
    for (int i = 0; i < 10000 && !HasFailure(); i++) {
        const string file = maker.make();
        const auto findings = lint::judge(file, false);
        if (std::any_of(findings.begin(), findings.end(), [](const auto &found) { return found.error; }))
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

static std::pair<string, int> run(const string &arguments) {
    string out;
    FILE *pOutput = popen((KVX_LINT " " + arguments + " 2>&1").c_str(), "r");
    for (int c; (c = fgetc(pOutput)) != EOF;)
        out += (char)c;
    return {out, WEXITSTATUS(pclose(pOutput))};
}

TEST(LintCommand, TellsFindingsAndWhatCannotBeRead) {
    const string bad = testing::TempDir() + "bad.xml";
    std::ofstream(bad)
        << "<KVXLevel value=\"1.0\">\n<platform value=\"Linux\">\n<UMASK>022</UMASK> \n <\x1bX>1</\x1bX>\n"
           "<Umask>022</Umask>\n<ksh>1</ksh>\n</platform>\n</KVXLevel>\n<KVXLevel value=\"1.10\">\n"
           "<platform value=\"Linux\">\n<UMASK>022</UMASK>\n</platform>\n<KVXLevel value=\"1.9\">\n"
           "<platform value=\"Linux\">\n<UMASK>022</UMASK>\n</platform>\n";
    EXPECT_EQ(run(sample), std::pair(string(), 0));
    const string finding = bad + ":5:1: error: letters' case matters, the line is ignored: write UMASK [letter-case]\n";
    EXPECT_EQ(run(sample + " " + bad).second, 1);
    EXPECT_NE(run(bad).first.find(finding), string::npos) << run(bad).first;
    EXPECT_NE(run("--unread " + bad).first.find(":6:1: warning: no check reads ksh (a label) [unread]"), string::npos);
    EXPECT_EQ(run("--levels " + bad), std::pair(string("1.10\n1.9\n1.0\n"), 0));
    const string unreadable = "kvxprereqlint: /nowhere: cannot be read\n";
    EXPECT_EQ(run("/nowhere " + bad), std::pair(unreadable + run(bad).first, 2));
    for (const string &arguments : std::vector<string>{
             "", "--levels", "--levels --unread " + bad, "--explain 1.0 " + bad, "--frob", "/", "--clustered " + bad,
             bad + " > /dev/full", "--explain 2 --distribution RHEL --release 9 " + bad,
             "--explain 1.0 --distribution RHEL --release nine " + bad,
             "--explain 1.0 --distribution RHEL --release 9 --service-pack x " + bad,
             "--explain 1.0 --distribution RHEL --release 9.4 --service-pack 7 " + bad,
             "--explain 1.0 --distribution RHEL --release 9.4 --kernel 5.14 " + bad})
        EXPECT_EQ(run(arguments).second, 2) << arguments;
}

TEST(LintCommand, ExplainsALevel) {
    const string file = testing::TempDir() + "level.xml", explain = "--explain 1.0 --distribution ";
    std::ofstream(file) << "<KVXLevel value=\"1.0\">\n<platform value=\"Linux\">\n<MinOSVersion>4</MinOSVersion>\n"
                           "<RHEL value=\"LinuxDistro = RHEL RHELVersion >= 9 RHELSP >= 4\">\n"
                           "<MinOSVersion>5</MinOSVersion>\n</RHEL>\n<SLES value=\"LinuxDistro = SUSE SLESSP = 5\">\n"
                           "<UMASK>022</UMASK>\n</SLES>\n<CNTVersion value=\"OSMinorRelease > 14\">\n</CNTVersion>\n"
                           "<shareGrid>\n<kshPackage>ksh</kshPackage>\n<LibCMajorRelease>28</LibCMajorRelease>\n"
                           "</shareGrid>\n</platform>\n";
    EXPECT_EQ(
        run(explain + "RHEL --release 9.4 --kernel 5.14.0-1 --client " + file).first,
        "Level 1.0 on RHEL 9.4, kernel 5.14.0-1, client\n\n"
        "Check: kernel level\n  line 5: MinOSVersion = 5, instead of 4 in line 3\n\n"
        "Checks of every level: strings is there, 32-bit PAM library (warning)\n\n"
        "Skipped\n  lines 7 to 9: <SLES value=\"LinuxDistro = SUSE SLESSP = 5\">\n    LinuxDistro is RHEL, not SUSE\n"
        "  lines 10 to 11: <CNTVersion value=\"OSMinorRelease > 14\">\n    OSMinorRelease is 0, not > 14\n"
        "  lines 12 to 15: <shareGrid>\n    it is for the clustered pass\n");
    const string clustered = run(explain + "SUSE --release 15.5 --clustered " + file).first;
    EXPECT_NE(clustered.find("SLESSP is 5\\n, not 5"), string::npos) << clustered;
    EXPECT_NE(clustered.find("LibCVersion is not given: the version counts as 0"), string::npos) << clustered;
    EXPECT_NE(clustered.find("Check: shells, not made: kshPackage and ntpPackage are not both given\n  line 13: "),
              string::npos)
        << clustered;
    const string ubuntu = run("--explain 9.8 --distribution UBUNTU --release 22.04 --clustered " + sample).first;
    EXPECT_TRUE(std::regex_search(ubuntu, std::regex("\nNote: .* 9\\.8 is not for UBUNTU.*\nNote: .* only -l ")))
        << ubuntu;
    EXPECT_NE(run(explain + "SUSE --release 15 --service-pack 5 " + file).first.find("line 8: UMASK"), string::npos);
}

// What the program itself stores on an example host, read from its trace.
TEST(LintCommand, ExplainsWhatTheProgramReadsOnAHost) {
    string why;
    if (!privateHostsPermitted(why) && getenv("CI") == nullptr)
        GTEST_SKIP() << why;
    static const std::regex added("==>Adding  PREREQ\\[([^\n]*)"), explained("  line [0-9]+: (\\w+ = [^,\n]*)");
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
                allMatches(run("--explain " + level + " --distribution " + release + " " + sample).first, explained);
            EXPECT_EQ(std::set<string>(shown.begin(), shown.end()), expected) << name << " " << level;
            EXPECT_FALSE(expected.empty());
        }
}

TEST(LintManual, HasEveryRule) {
    const string manual = readFile(KVX_SOURCE_DIR "/man/kvxprereqlint.1");
    for (int i = 0; i < (int)lint::Rule::count; i++) {
        const string name(lint::entryOf((lint::Rule)i).name);
        EXPECT_NE(manual.find("\n.It Sy " + name + "\n"), string::npos) << name;
    }
}
