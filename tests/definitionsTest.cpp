// Tags, versions, conditions, and the reader of the prerequisites file.
#include "support.h"

#include <ctime>
#include <regex>

using std::string;
typedef std::vector<std::pair<string, string>> cases;

TEST(Tags, StandInTheirOrder) {
    string members = readFile(KVX_SOURCE_DIR "/engn/include/sqloPrereqCheck.h");
    members.erase(0, members.find("enum Tag {") + 10);
    members = std::regex_replace(members.substr(0, members.find('}')), std::regex(R"(/\*.*?\*/|\s)"), "") + ",";
    for (int tag = 0; tag <= LastTag; members.erase(0, members.find(',') + 1), tag++)
        EXPECT_TRUE(members.substr(0, members.find(',')) == ppszTagName[tag] || (tag >= 76 && tag <= 78)) << tag;
    EXPECT_TRUE(perlPackage == 76 && patchPackage == 77 && libgccPackage == 78); // the names stand in another order
    // clang-format off
    const std::map<string, int> rows = {
        {"KVXLevel", 0}, {"RHELVersion", 7}, {"MinOSVersion", 20}, {"shareGrid", 53}, {"patchPackage", 76},
        {"libgccPackage", 77}, {"perlPackage", 78}, {"UMASK", 80}, {"CommonInfinibandSupportPackage", 100},
        {"MinRoceCX2ROM", 132}, {"LastTag", -1}, {"kvxlevel", -1}, {"UMASK ", -1}, {"", -1}};
    // clang-format on
    for (const auto &[element, tag] : rows)
        EXPECT_EQ(sqloGetTagIndex(element.c_str()), tag) << element;
    EXPECT_EQ(sqloGetTagIndex(nullptr), -1);
}

TEST(Versions, CompareFieldByField) {
    const string ten = "1.1.1.1.1.1.1.1.1.1.", zeros(300, '0');
    // clang-format off
    const std::vector<std::tuple<string, string, int>> rows = {
        {"2.17", "2.17", 1}, {"2.17", "2.28", 0}, {"2.17", "2.5", 2}, {"2.17", "abc", 3}, {"", "1.0", 0}, {"2", "", 3},
        {"x", "x", 0}, {" 1", "2", 0}, {"1.2.0", "1.2", 2}, {"1.2", "1.2.0", 0}, {"7a", "7", 1}, {"1..2", ".1.2.", 1},
        {"1.x.3", "1.y.4", 1}, {"1.-5", "1.3", 0}, {"1.3", "1.-5", 2}, {"1", "99999999999", 0}, {"99999999999", "1", 2},
        {ten + "1", ten + "2", 0}, {ten + "2", ten + "1", 2}, {ten + "1.1", ten + "1.2", 1},
        {ten + "1", ten + "1.2", 1}, {zeros, "0", 1}, {"1." + zeros + "9", "1.0", 1}};
    // clang-format on
    for (const auto &[required, found, order] : rows)
        EXPECT_EQ(sqloCompareVersionStrings(required.c_str(), found.c_str()), order) << required << " " << found;
    EXPECT_EQ(sqloCompareVersionStrings(nullptr, nullptr), VERSION_HIGHER);
    EXPECT_EQ(sqloCompareVersionStrings("1", nullptr), VERSION_UNREADABLE);
}

TEST(Conditions, DecideWhetherASectionIsSkipped) {
    setValue(LinuxDistro, "RHEL"), setValue(RHELVersion, "8"), setValue(RHELSP, "4x");
    // clang-format off
    const std::vector<string> met = {
        "LinuxDistro = RHEL RHELVersion >= 8", "RHELVersion < 9", "RHELVersion > 7", "RHELVersion >= 8",
        "RHELVersion = 8", "RHELVersion < 99999999999", "RHELSP = 4x", "RHELSP < 5", "SLESVersion < 1",
        "SLESVersion = SUSE", "RHELVersion <= 1", "RHELVersion != 8", "RHELVersion < 7.5", "RHELVersion > -1", "", " ",
        "Foo", "Foo =", "LinuxDistro = RHEL Foo =", "  LinuxDistro   =  RHEL ", "LinuxDistro\t=\tSUSE",
        "RHELSP = 4x\" and=\"Foo = 1"};
    const std::vector<string> failed = {
        "RHELVersion < 8", "RHELVersion > 8", "RHELVersion >= 9", "RHELVersion = 08", "LinuxDistro = SUSE", "Foo = 1",
        "LinuxDistro = rhel", "RHELSP < 4", "RHELSP = 4", "LastTag = 1", "Foo ? 1",
        "LinuxDistro = SUSE RHELVersion >= 8", "LinuxDistro = RHEL RHELVersion < 8"};
    // clang-format on
    for (const auto &[expected, conditions] : {std::pair(0, met), std::pair(1, failed)})
        for (const string &condition : conditions)
            EXPECT_EQ(sqloProcessConditionStmt(("<RHEL value=\"" + condition + "\">").c_str(), RHEL), expected)
                << condition;
    EXPECT_EQ(sqloProcessConditionStmt("<RHEL value='LinuxDistro = RHEL'>", RHEL), 1);
    EXPECT_EQ(sqloProcessConditionStmt("<RHEL value=\"Foo = 1>", RHEL), 0);
    const char *const words[][3] = {{nullptr, "=", "1"}, {"Foo", nullptr, "1"}, {"Foo", "=", nullptr}};
    for (const auto &[pOperand, pOperator, pValue] : words)
        EXPECT_EQ(sqloEvaluateCondition(pOperand, pOperator, pValue), 0);
    EXPECT_TRUE(sqloCheckIsNumber("") && sqloCheckIsNumber("012") && !sqloCheckIsNumber("-1") &&
                !sqloCheckIsNumber("1.5"));
}

static const string level = "<KVXLevel value=\"11.5\">\n", onLinux = "<platform value=\"Linux\">\n",
                    head = level + onLinux;
static const string one = "<UMASK>1</UMASK>\n", two = "<ksh>2</ksh>\n", endRhel = "</RHEL>\n", end = "</platform>\n";
static const string grid = "<shareGrid>\n", endGrid = "</shareGrid>\n", longest = "CommonInfinibandSupportPackage";

static string section(const string &condition) {
    return "<RHEL value=\"" + condition + "\">\n";
}

static const string failing = section("LinuxDistro = SUSE"), holding = section("LinuxDistro = RHEL");

// Reads a level from a file with this text; all values as "NAME=text ", without those of host and level.
static string valuesRead(const string &text, const char *pLevel = "11.5") {
    const scratchDirectory scratch;
    setText(szInputXMLFile, scratch.path + "/prereqs.xml");
    writeFile(szInputXMLFile, text);
    EXPECT_EQ(sqloReadPrereqFromXML(pLevel), RC_OK);
    string values;
    for (int tag = OSVersion; tag < PREREQ_SLOTS; tag++)
        if (ppszPREREQ[tag] != nullptr && tag != Processor && tag != LinuxDistro)
            values += string(ppszTagName[tag]) + "=" + ppszPREREQ[tag] + " ";
    return values;
}

TEST(Reader, TakesTheLinesOfItsLevel) {
    // clang-format off
    cases files = { // file; values
        {"", ""}, {"<KVXLevel value=\"11.55\">\n" + onLinux + one, ""}, {onLinux + one, ""},
        {string(240, ' ') + head + one, ""}, {"<KVXLevel value=\"11.5\">" + onLinux + one, ""}, // cut apart; joined
        {level + one + "<KVXLevel value=\"12.1\">\n" + onLinux + two, "ksh=2 "}, // a later level's platform
        {level + "<platform value=\"Other\">\n" + one + end + onLinux + two, "ksh=2 "},
        {"x" + level + " " + onLinux + one + end + two, "UMASK=1 "}};
    const cases sections = { // what follows the platform's line; values
        {string(255, ' ') + one + string(254, ' ') + two, "UMASK=1 "}, // the second element is cut apart
        {"<UMASK>" + string(293, 'x') + "</UMASK>\n" + two, "ksh=2 "}, {one + "<UMASK></UMASK>\n", "UMASK=1 "},
        {"<UMASK></UMASK>\n<ksh> </ksh>\n", "ksh=  "}, {one + "<UMASK>22</UMASK>", "UMASK=22 "},
        {" <UMASK>22</UMASK>\r\n\xff\xfe" + two, "ksh=2 UMASK=22 "}, {"<perlPackage>p</perlPackage>", "perlPackage=p "},
        {"<" + longest + ">x</" + longest + ">", longest + "=ge>x "},
        {"<" + longest + "></" + longest + ">", longest + "=ge> "},
        {"<a></a>" + one + "</UMASK><UMASK>\n<ksh>value 1</ksh>\n<ksh>value1</ksh>\n", ""},
        {"<ksh>a</ksh><UMASK>b</UMASK>\n<Foo>1</Foo>\n<!-- -->\n", "ksh=a "},
        {holding + one + endRhel + two, "ksh=2 UMASK=1 "}, {failing + one + endRhel + two, "ksh=2 "},
        {section("Foo = 1") + one + endRhel + two, "ksh=2 "}, {"<RHEL value=Foo>\n" + one + endRhel + two, "ksh=2 "},
        {"<RHEL value=\"Foo = 1>\n" + one, "UMASK=1 "}, {"<RHEL value=\"Foo = 1\"></RHEL>\n" + one, "UMASK=1 "},
        {one + section("UMASK = 2") + two, "UMASK=1 "}, {failing + one + endRhel + holding + two + endRhel, "ksh=2 "},
        {failing + "<RHEL>x</RHEL>\n" + one, "UMASK=1 "}, {failing + end + endRhel + one, ""},
        {failing + "<SLES value=\"Foo = 1\">\n" + endRhel + one, "UMASK=1 "}, {grid + one + endGrid + two, "ksh=2 "},
        {grid + grid + one + endGrid + two + endGrid, "ksh=2 "}, {"<shareGrid>x</shareGrid>", "shareGrid=x "},
        {failing + grid + endRhel + one + endGrid + two, "ksh=2 "}, // the inner section takes over
        {"<UMASK\n<UMASK 1</UMASK>\nUMASK\n>\n</\n</UMASK\n<\n\n" + two, "ksh=2 "},
        {"<RHEL\tvalue=\"Foo = 1\">\n<RHELvalue=\"Foo\">\nvalue x\n<value\n" + one, "UMASK=1 "},
        {string("\0\0<ksh>\0\n", 9) + one + string(600, '\0') + "\n" + two, "ksh=2 UMASK=1 "}};
    // clang-format on
    for (const auto &[text, values] : sections)
        files.emplace_back(head + text, values);
    linuxDistro = DISTRO_RHEL;
    bPrintSummary = 1;
    for (const auto &[text, values] : files) {
        std::fill_n(ppszPREREQ, PREREQ_SLOTS, nullptr);
        EXPECT_EQ(valuesRead(text), values) << text;
    }
    for (int *pSetting : {&bNonIB, &bShareGrid}) {
        std::fill_n(ppszPREREQ, PREREQ_SLOTS, nullptr);
        *pSetting = 1;
        EXPECT_EQ(valuesRead(head + grid + one + endGrid + two), "ksh=2 UMASK=1 ");
        *pSetting = 0;
    }
    EXPECT_EQ(string(ppszPREREQ[KVXLevel]) + ppszPREREQ[platform] + ppszPREREQ[Processor] + ppszPREREQ[LinuxDistro],
              "11.5LinuxRHEL");
    EXPECT_STREQ(szPlatform, "Linux");
}

TEST(Reader, LevelsDoNotReachEachOther) {
    bPrintSummary = 1;
    const string text = "<KVXLevel value=\"10.5\">\n" + onLinux + "<MHCA>m</MHCA>\n" + one + grid + end + head + two;
    EXPECT_EQ(valuesRead(text, "10.5"), "MHCA=m UMASK=1 ");
    sqloPreparePrereqCheck();
    EXPECT_EQ(valuesRead(text), "MHCA=m ksh=2 "); // low slots stay; the section that 10.5 left open ends with it
}

TEST(Reader, BannerOpensTheReport) {
    useCatalog();
    const scratchDirectory scratch;
    writeFile(scratch.path + "/empty", "");
    int status = -1;
    for (bShareGrid = 0; bShareGrid < 2; bShareGrid++) {
        setText(szInputXMLFile, scratch.path + (bShareGrid ? "/empty" : "/absent"));
        const string out = capture([&status] { status = sqloReadPrereqFromXML("11.5"); }).out;
        EXPECT_EQ(status, bShareGrid ? RC_OK : RC_INPUT);
        const string rule = "\n" + string(74, '=') + "\n\n";
        struct tm when = {};
        const char *pRest = strptime(out.substr(0, rule.size()) == rule ? out.c_str() + rule.size() : "", "%c", &when);
        EXPECT_EQ(pRest == nullptr ? out : pRest, "\n" + message(bShareGrid ? 30150 : 30041, {"11.5", "Linux"}) + "\n");
    }
}

TEST(Reader, SkipStackHoldsOneLevel) {
    EXPECT_EQ(sqloPopSkipNodeStack(), 0);
    EXPECT_EQ(sqloPushToSkipNodeStack(-1), -1);
    EXPECT_EQ(pStackTop, nullptr);
    EXPECT_EQ(sqloPushToSkipNodeStack(RHEL) + sqloPushToSkipNodeStack(SLES), 0);
    EXPECT_TRUE(pStackTop->xmlNode == SLES && pStackTop->next->xmlNode == RHEL);
    EXPECT_EQ(sqloPopSkipNodeStack(), 0);
    EXPECT_EQ(pStackTop, nullptr); // what lies below is gone
}
