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
#include "privateHost.h"
#include "sqloPrereqDefs.h"

using std::string;

static string readFile(const string &path) {
    std::ifstream file(path, std::ios::binary);
    return string(std::istreambuf_iterator<char>(file), {});
}

static const string sample = KVX_SOURCE_DIR "/samples/KVXprereqs.xml";

// The sample with the first such text behind its opening comment replaced, and the line of the first difference.
static string changedSample(const string &good, const string &bad, long &line) {
    string file = readFile(sample);
    const std::size_t at = file.find(good, file.find("<KVXprereqs>"));
    EXPECT_NE(at, string::npos) << good;
    const auto same = std::mismatch(good.begin(), good.end(), bad.begin(), bad.end()).second - bad.begin();
    file.replace(std::min(at, file.size()), good.size(), bad);
    line = 1 + std::count(file.begin(), file.begin() + (long)at + same, '\n');
    return file;
}

// The rules of all findings, and those on one line.
static std::pair<string, string> rulesFound(const string &file, std::size_t line, bool bUnread = false) {
    string all, onLine;
    for (const lint::finding &found : lint::judge(file, bUnread)) {
        const string name(lint::entryOf(found.id).name);
        all += (all.empty() ? "" : " ") + name;
        onLine += found.line == line ? name + " " : "";
    }
    return {all, onLine};
}

struct mistake {
    string rules;      // of all findings; the first one's line is that of the change
    string good, bad;  // the first such text behind the sample's opening comment, and what it becomes
    int linesDown = 0; // where the line of the first one's finding is, seen from the change
};

// clang-format off
static const std::vector<mistake> mistakes = {
    // elements
    {"unknown", "<MinOSRelease>12</MinOSRelease>", "<MinOSRelaese>12</MinOSRelaese>"},
    {"case", "<UMASK>022</UMASK>", "<Umask>022</Umask>"},
    {"not-closed", "<UMASK>022</UMASK>", "<UMASK>\n  022\n  </UMASK>"},
    {"not-closed", "<UMASK>022</UMASK>", "<UMASK>022"},
    {"not-closed", "<UMASK>022</UMASK>", "<UMASK\n  >022</UMASK>"},
    {"blank", "<UMASK>022</UMASK>", "<UMASK>022</UMASK"},
    {"closing", "<UMASK>022</UMASK>", "UMASK>022</UMASK>"},
    {"mismatch", "<MinOSVersion>4</MinOSVersion>", "<MinOSVersion>4</MinOSRelease>"},
    {"several", "</MinOSVersion>\n  <MinOSRelease>", "</MinOSVersion> <MinOSRelease>"},
    {"several", "\n  </RHEL>", "</RHEL>"},
    {"several", "<RHEL value=\"LinuxDistro = RHEL\">\n", "<RHEL value=\"LinuxDistro = RHEL\">"},
    {"several", "\n</platform>", "</platform>"},
    {"blank", "<UMASK>022</UMASK>", "<UMASK >022</UMASK>"},
    {"attribute", "<UMASK>022</UMASK>", "<UMASK base=\"8\">022</UMASK>"},
    {"attribute", "<UMASK>022</UMASK>", "<UMASK value=\"022\"></UMASK>"},
    {"empty", "<UMASK>022</UMASK>", "<UMASK></UMASK>"},
    {"lost", "<UMASK>022</UMASK>", "below </ <UMASK>022</UMASK>"},
    {"value", "<perlPackage>perl<", "<perlPackage>perl-valued<"},
    {"value", "<UMASK>022</UMASK>", "<UMASK>022</UMASK> <!-- the usual value -->"},
    {"value", "  </RHEL>", "  </RHEL> <!-- end of the values -->"},
    {"comment", "<UMASK>022</UMASK>", "<!-- <UMASK>027</UMASK> -->"},
    {"comment", "<UMASK>022</UMASK>", "<UMASK>022</UMASK>\n  <!--\n  <UMASK>027</UMASK>\n  -->", 2},
    {"comment", "<UMASK>022</UMASK>", "# <UMASK>022</UMASK>"},
    {"comment", "  </RHEL>\n", "  <!--\n  </RHEL>\n  -->\n", 1},
    {"comment", "</platform>\n", "<!--\n</platform>\n-->\n</platform>\n", 1},
    {"text", "<UMASK>022</UMASK>", "<UMASK>022</UMASK>\n  UMASK 022", 1},
    {"long-name", "<makePackage>make</makePackage>", "<CommonInfinibandSupportPackage>x</CommonInfinibandSupportPackage>"},
    {"outside", "<platform value=\"Linux\">\n", "<UMASK>022</UMASK>\n<platform value=\"Linux\">\n"},
    // sections
    {"unknown-section", "<RHEL value=\"LinuxDistro = RHEL\">", "<REDHAT value=\"LinuxDistro = RHEL\">"},
    {"case", "<RHEL value=\"LinuxDistro = RHEL\">", "<Rhel value=\"LinuxDistro = RHEL\">"},
    {"case", "</RHEL>", "</Rhel>"},
    {"quotes", "<RHEL value=\"LinuxDistro = RHEL\">", "<RHEL value='LinuxDistro = RHEL'>"},
    {"quotes", "<RHEL value=\"LinuxDistro = RHEL\">", "<RHEL value=\"LinuxDistro = RHEL>"},
    {"tab", "<RHEL value=\"LinuxDistro = RHEL\">", "<RHEL\tvalue=\"LinuxDistro = RHEL\">"},
    {"attribute", "<RHEL value=\"LinuxDistro = RHEL\">", "<RHEL Value=\"LinuxDistro = RHEL\">"},
    {"not-closed", "<RHEL value=\"LinuxDistro = RHEL\">", "<RHEL\n  value=\"LinuxDistro = RHEL\">"},
    {"one-line", "<UMASK>022</UMASK>", "<RHEL value=\"LinuxDistro = RHEL\"><UMASK>022</UMASK></RHEL>"},
    {"attribute", "<RHEL value=\"LinuxDistro = RHEL\">", "<RHEL>"},
    {"blank", "<RHEL value=\"LinuxDistro = RHEL\">", "< RHEL value=\"LinuxDistro = RHEL\">"},
    {"blank", "</RHEL>", "</ RHEL>"},
    {"closing", "</RHEL>", "<RHEL>"},
    {"closing", "<RHEL value=\"LinuxDistro = RHEL\">\n", "", 6},
    {"blank", "<shareGrid>", "<shareGrid >"},
    {"unclosed", "  </RHEL>\n", "", -7},
    {"unclosed", "  </shareGrid>\n", "", -29},
    {"unclosed", "</platform>\n", "", -95},
    {"closing", "  </RHEL>\n", "  </SLES>\n"},
    {"closing", "  </RHEL>\n", "  </RHEL>\n  </RHEL>\n"},
    {"nested", "    <MinRHELSP>8</MinRHELSP>\n", "    <RHEL value=\"LinuxDistro = RHEL\">\n    </RHEL>\n"},
    {"nested", "  <shareGrid>\n", "  <RHEL value=\"LinuxDistro = RHEL\">\n  <shareGrid>\n  </shareGrid>\n  </RHEL>\n  <shareGrid>\n", 1},
    {"nested", "    <MinUBUNTUVersion>", "    <UBUNTUVersion>22</UBUNTUVersion>\n    <MinUBUNTUVersion>"},
    {"case", "</platform>", "</Platform>"},
    // levels
    {"level-form", "<KVXLevel value=\"12.1\">", "<KVXLevel value = \"12.1\">"},
    {"level-form", "<KVXLevel value=\"12.1\">", "<KVXLevel name=\"12.1\">"},
    {"quotes", "<KVXLevel value=\"12.1\">", "<KVXLevel value='12.1'>"},
    {"tab", "<KVXLevel value=\"12.1\">", "<KVXLevel\tvalue=\"12.1\">"},
    {"case", "<KVXLevel value=\"12.1\">", "<KVXlevel value=\"12.1\">"},
    {"level-name", "<KVXLevel value=\"12.1\">", "<KVXLevel value=\"12.1.0.0.0-1\">"},
    {"level-name", "<KVXLevel value=\"12.1\">", "<KVXLevel value=\"V12.1\">"},
    {"level-name", "<KVXLevel value=\"12.1\">", "<KVXLevel value=\"12.1 \">"},
    {"level-twice", "<KVXLevel value=\"11.5\">", "<KVXLevel value=\"12.1\">"},
    {"no-platform", "<platform value=\"Linux\">\n", "", -1},
    {"several", "<KVXLevel value=\"12.1\">\n", "<KVXLevel value=\"12.1\">"},
    {"platform-form", "<platform value=\"Linux\">", "<platform value=\"linux\">"},
    {"platform", "</platform>\n", "</platform>\n<platform value=\"AIX\">\n<UMASK>022</UMASK>\n</platform>\n"},
    {"second-platform", "</platform>\n", "</platform>\n<platform value=\"Linux\">\n<UMASK>022</UMASK>\n</platform>\n"},
    {"no-requirement", "<KVXLevel value=\"11.5\">", "<KVXLevel value=\"12\">\n<platform value=\"Linux\">\n</platform>\n</KVXLevel>\n<KVXLevel value=\"11.5\">"},
    {"comment", "<KVXLevel value=\"11.5\">", "<!-- <KVXLevel value=\"12\"> -->\n<platform value=\"Linux\">\n<UMASK>022</UMASK>\n</platform>\n<KVXLevel value=\"11.5\">"},
    // conditions
    {"operand", "RHELVersion >= 9\">", "RHELversion >= 9\">"},
    {"operator", "RHELVersion >= 9\">", "RHELVersion <= 9\">"},
    {"triple", "RHELVersion >= 9\">", "RHELVersion >=9\">"},
    {"entity", "RHELVersion >= 9\">", "RHELVersion &gt;= 9\">"},
    {"triple", "LinuxDistro = SUSE\">", "LinuxDistro=SUSE\">"},
    {"triple", "LinuxDistro = SUSE\">", "\">"},
    {"triple", "LinuxDistro = SUSE\">", "LinuxDistro\t= SUSE\">"},
    {"triple", "LinuxDistro = SUSE\">", "LinuxDistro\u00a0= SUSE\">"},
    {"triple", "SUSE SLESVersion >= 15\">", "SUSE and SLESVersion >= 15\">"},
    {"whole-number", "RHELVersion >= 9\">", "RHELVersion >= 9.2\">"},
    {"whole-number", "LinuxDistro = SUSE\">", "LinuxDistro >= 8\">"},
    {"contradiction", "RHELVersion >= 9\">", "RHELVersion >= 9 RHELVersion < 8\">"},
    {"contradiction", "      <chronyVersion>4.1</chronyVersion>", "      <SLES value=\"LinuxDistro = SUSE\">\n      </SLES>\n"},
    {"distribution", "LinuxDistro = RHEL RHELVersion >= 9\">", "RHELVersion >= 10\">"},
    {"never", "LinuxDistro = SUSE\">", "LinuxDistro = SLES\">"},
    {"never", "LinuxDistro = RHEL RHELVersion >= 9\">", "LinuxDistro = RHEL RHELVersion = 9.2\">"},
    {"unset", "LinuxDistro = UBUNTU\">", "LinuxDistro = UBUNTU UBUNTUVersion >= 22\">"},
    {"line-break", "LinuxDistro = SUSE SLESVersion >= 15\">", "LinuxDistro = SUSE SLESSP = 5\">"},
    {"second-part", "RHELVersion >= 9\">", "RHELVersion >= 9 RHELSP >= 2\">"},
    // values
    {"number", "<MinOSVersion>4<", "<MinOSVersion>4.12<"},
    {"number", "<UMASK>022<", "<UMASK>u=rwx<"},
    {"number", "<UMASK>022<", "<UMASK>0o22<"},
    {"number", "<chronyVersion>3.5<", "<chronyVersion>3.5 or later<"},
    {"entity", "<CPPLibName>libstdc++.so.6<", "<CPPLibName>libstdc&#43;&#43;.so.6<"},
    {"outer-blank", "<CPPVersionString>CXXABI_1.3.11<", "<CPPVersionString>CXXABI_1.3.11 <"},
    {"package", "<kshPackage>ksh<", "<kshPackage>ksh >= 93<"},
    {"package", "<ntpPackage>ntpd<", "<ntpPackage>$(which ntpd)<"},
    {"markup", "<UMASK>022<", "<UMASK>022<!-- octal --><"},
    {"host", "<UMASK>022</UMASK>", "<UMASK>022</UMASK>\n  <RHELVersion>9</RHELVersion>", 1},
    {"together together", "    <ntpPackage>ntpd</ntpPackage>\n    <ntpVersion>4.2.8</ntpVersion>\n", "", 2},
    {"together", "  <CPPVersionString>CXXABI_1.3.11</CPPVersionString>\n", "", -1},
    {"replaced", "<UMASK>022</UMASK>", "<UMASK>027</UMASK>\n  <UMASK>022</UMASK>"},
    {"replaced replaced", "  </RHEL>\n  <SLES", "  </RHEL>\n  <RHEL value=\"LinuxDistro = RHEL\">\n    <MinRHELSP>9</MinRHELSP>\n  </RHEL>\n  <SLES", -14},
    {"long-line", "<UMASK>022</UMASK>", string(240, ' ') + "<UMASK>022</UMASK>"},
    {"nul", "<UMASK>022</UMASK>", "<UMASK>022</UMASK>\1"},
};
// clang-format on

TEST(Lint, FindsEveryMistakeOnItsLine) {
    std::map<string, int> shown;
    for (const mistake &row : mistakes) {
        long line = 0;
        string file = changedSample(row.good, row.bad, line);
        std::replace(file.begin(), file.end(), '\1', '\0');
        const auto [all, onLine] = rulesFound(file, (std::size_t)(line + row.linesDown));
        const string first = row.rules.substr(0, row.rules.find(' '));
        shown[first]++;
        EXPECT_EQ(all, row.rules) << row.bad;
        EXPECT_NE((" " + onLine).find(" " + first + " "), string::npos) << row.bad << ": " << onLine;
    }
    for (int i = 0; i < (int)lint::Rule::count; i++) // but for what the file as a whole lacks, and what is asked for
        EXPECT_TRUE(shown.count(string(lint::entryOf((lint::Rule)i).name)) || lint::Rule(i) == lint::Rule::noLevel ||
                    lint::Rule(i) == lint::Rule::unread)
            << i;
}

TEST(Lint, IsSilentOnWhatIsFine) {
    // clang-format off
    const std::vector<std::pair<string, string>> rows = {
        {"<UMASK>022</UMASK>", "\t<UMASK>022</UMASK> <!-- the usual one -->  "},
        {"<UMASK>022</UMASK>", "the mask: <UMASK>022</UMASK>"},
        {"<UMASK>022</UMASK>", "<UMASK>022</UMASK>" + string(235, ' ')},
        {"<UMASK>022</UMASK>", "<!-- a value, below 077 -->\n\n<UMASK>022</UMASK>\n<!--\n  several\n  lines\n-->"},
        {"<MinOSVersion>4<", "<MinOSVersion> 4 <"},
        {"<RHEL value=\"LinuxDistro = RHEL\">", "<RHEL value = \"LinuxDistro = RHEL\" > <!-- all of them -->"},
        {"<RHEL value=\"LinuxDistro = RHEL\">", "<RHEL value=\"  LinuxDistro   = RHEL RHELVersion < 9 RHELSP >= 2 \">"},
        {"<RHEL value=\"LinuxDistro = RHEL\">", "<RHEL value=\"LinuxDistro = RHEL MinOSVersion >= 4 KVXLevel = 12.1\">"},
        {"<SLES value=\"LinuxDistro = SUSE\">", "<SLES value=\"LinuxDistro = SUSE OSVersion > 3\">"},
        {"<SLES value=\"LinuxDistro = SUSE\">", "<SLES value=\"LinuxDistro = SUSE SLESVersion = 15 SLESSP >= 3\">"},
        {"  </RHEL>\n", "  </RHEL> <!-- RHEL -->\n"},
        {"<KVXLevel value=\"12.1\">", "<KVXLevel value=\"12.1.0.0.1\">"},
        {"</platform>\n</KVXLevel>", "</platform></KVXLevel>"},
        {"<kshVersion>20120801<", "<kshVersion>20120801-254.el8<"},
        {"<ntpPackage>ntpd<", "<ntpPackage>/usr/sbin/ntpd<"},
    };
    // clang-format on
    for (const auto &[good, bad] : rows) {
        long line = 0;
        const string file = changedSample(good, bad, line);
        EXPECT_EQ(rulesFound(file, 0).first, "") << bad;
    }
    const string crLf = "\xef\xbb\xbf" + std::regex_replace(readFile(sample), std::regex("\n"), "\r\n");
    EXPECT_EQ(rulesFound(crLf, 0).first + rulesFound(crLf.substr(0, crLf.size() - 20), 0).first, "");
    EXPECT_EQ(rulesFound("", 1).second + rulesFound("\xff\xfe<UMASK>\nx", 1).first, "no-level no-level");
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
    const string finding = bad + ":5:1: error: letters' case matters, the line is ignored: write UMASK [case]\n";
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
