// Messages, locale and report sinks: what reaches whom, to the byte.
#include "support.h"

#include <climits>
#include <cstdlib>
#include <filesystem>
#include <set>

using std::string;
using std::vector;

void printAsFormat(FILE *pFile, const char *pText);

static const string notLoaded = "Could not load the resource library ";

TEST(Messages, TokensTakeTheirPlaces) {
    const vector<const char *> eleven = {"1", "2", "3", "4", "5", "6", "7", "8", "9", "ten", "eleven"};
    // clang-format off
    const vector<std::tuple<string, vector<const char *>, int, string>> rows = {
        {"%1-%2", {"A", nullptr, "B"}, 256, "A-B"}, {"[%3]%2%1%1", {"A", "B"}, 256, "[]BAA"},
        {"%10 [%11] [%12]", eleven, 256, "ten [] []"}, {"[%4294967297]", {"A"}, 256, "[]"}, {"%%1", {"A"}, 256, "A"},
        {"100%, %s of %d", {"A"}, 256, "100, s of d"}, {"%1", {"%2", "B"}, 256, "%2"}, {"%1 %0", {"A"}, 256, "%1 %0"},
        {"a%1", {"12345"}, 9, "a12345"}, {"a%1", {"123456"}, 9, "a%1"}, // one short of the size, and reaching it
        {"%2%1", {"", "123456"}, 10, "%2%1"}, {"%1 cut", {"A"}, 6, "%1 cu"}, {"full", {}, 5, "full"}};
    // clang-format on
    for (const auto &[text, tokens, size, expected] : rows) {
        useTexts({{1, text}});
        string buffer(300, 'x');                  // nobody terminates a buffer before a fetch
        for (int round = 0; round < 2; round++) { // the second finds its own text in the buffer
            for (const char *pToken : tokens)
                addToken(pToken);
            EXPECT_EQ(sqloGetString(1, buffer.data(), size), expected) << text;
            EXPECT_EQ(buffer[size], 'x') << text;
            EXPECT_TRUE(totalTokens == 0 && ppszTokens[0] == nullptr) << text;
        }
    }
    addNumToken(INT_MIN);
    EXPECT_STREQ(getTokenAt(0), "-2147483648");
}

TEST(Messages, FallBackToTextsOfTheirOwn) {
    useTexts({{1, "twenty characters..."}});
    const string catalog = szRuntimePath + string("/locale/en_US.iso88591/kvxistring.cat");
    vector<std::tuple<string, int, int, int, string>> rows = {
        {catalog, 1, 21, RC_OK, "twenty characters..."},
        {catalog, 1, 20, RC_MESSAGE_TRUNCATED, "twenty characters.."},
        {catalog, 2, 256, RC_MESSAGE_MISSING, "Unable to find the string resource 2"},
        {catalog, -5, 10, RC_MESSAGE_MISSING, "Unable to"},
        {"/absent", 1, 40, RC_CATALOG_UNOPENED, notLoaded + "/ab"}};
    const string tooLong = string(400, '/') + "%s";
    rows.emplace_back(tooLong, 1, 256, RC_CATALOG_UNOPENED, (notLoaded + tooLong).substr(0, 255));
    for (const auto &[path, number, size, status, expected] : rows) {
        string buffer(300, 'x');
        EXPECT_EQ(sqloRetrieveNLString(number, buffer.data(), size, path.c_str()), status) << path;
        EXPECT_EQ(buffer.c_str(), expected);
        EXPECT_EQ(buffer[size], 'x');
    }
    message(2, {"A"});
    EXPECT_EQ(totalTokens, 0);
}

TEST(Messages, CatalogIsFoundInItsOrder) {
    // clang-format off
    const std::map<char, string> places = {
        {'b', "/bin/locale/de_DE.utf8"}, {'f', "/bin/locale/fr_FR.utf8"}, {'i', "/install/locale/de_DE.utf8"},
        {'j', "/bin/../install/locale/de_DE.utf8"}, {'m', "/inst/msg/de_DE.utf8"}, {'e', "/inst/msg/en_US.iso88591"}};
    const vector<std::tuple<string, string, char>> rows = { // present; the program's directory; found
        {"bime", "/bin", 'b'}, {"fime", "/bin", 'm'}, {"ime", "/bin", 'j'}, {"me", "/bin", 'm'}, {"bme", "", 'm'},
        {"e", "/bin", 'e'}, {"", "/bin", 'e'}, {"e", "/" + string(900, 'r'), 'e'}};
    // clang-format on
    for (const auto &[present, runtime, found] : rows) {
        const scratchDirectory scratch;
        std::filesystem::create_directory(scratch.path + "/bin");
        for (const char place : present)
            writeFile(scratch.path + places.at(place) + "/kvxistring.cat", "");
        setText(szLocale, "de_DE.UTF-8");
        setText(szRuntimePath, runtime.empty() ? "" : scratch.path + runtime);
        setText(szPrereqCatFilePath, scratch.path + "/inst");
        EXPECT_EQ(message(1), notLoaded + scratch.path + places.at(found) + "/kvxistring.cat");
    }
    setText(szRuntimePath, "/" + string(1023, 'r'));
    setText(szPrereqCatFilePath, string(255, 'p'));
    EXPECT_EQ(message(1), (notLoaded + szPrereqCatFilePath).substr(0, 255));
}

TEST(Locale, ComesFromTheEnvironment) {
    const string tooLong(300, 'x');
    const vector<std::tuple<const char *, const char *, string, string>> rows = {
        {"de_DE.utf8", "fr_FR", "de_DE.utf8", " Retriving from KVXLANG => de_DE.utf8\n"},
        {"", "fr_FR", "", " Retriving from KVXLANG => \n"},
        {nullptr, "fr_FR", "fr_FR", " Retriving from LANG => fr_FR\n"},
        {nullptr, nullptr, "en_US", "Set default language to English."},
        {tooLong.c_str(), nullptr, tooLong.substr(0, 255), " Retriving from KVXLANG => " + tooLong + "\n"}};
    debug = 1;
    for (const auto &[pKvxLang, pLang, locale, trace] : rows) {
        pKvxLang ? setenv("KVXLANG", pKvxLang, 1) : unsetenv("KVXLANG");
        pLang ? setenv("LANG", pLang, 1) : unsetenv("LANG");
        EXPECT_EQ(capture([] { sqloInitLocale(nullptr); }).out, trace + "System locale => " + locale + "\n");
        EXPECT_EQ(szLocale, locale);
    }
}

TEST(Locale, NameLeadsToItsDirectory) {
    const string english = "en_US.iso88591", german = "de_DE.utf8";
    // clang-format off
    const std::map<string, string> rows = {
        {"de_DE.utf-8", german}, {"de_DE.UTF-8@euro", german}, {"de_DE.utf.8", german}, {"de_DE.\xe4utf8", german},
        {"de_DE." + string(40, '-') + "utf8", german}, {german + string(40, 'x'), english}, {string(40, 'x'), english},
        {"de_DE", "de_DE.iso88591"}, {"de_DE@euro.UTF-8", english}, {"DE_DE.UTF8", english}, {"de_DE.", english},
        {"en_US.UTF-8@euro", english}, {"C", english}, {"POSIX", english}, {"xx_YY", english}, {"", english}};
    // clang-format on
    for (const auto &[locale, directory] : rows)
        EXPECT_EQ(sqloNormalizedLocaleDir(locale.c_str()), directory) << locale;
    EXPECT_EQ(sqloNormalizedLocaleDir(nullptr), english);
    for (int c = 0; c < 256; c++)
        EXPECT_EQ(sqlocmap2[c], c >= 'a' && c <= 'z' ? c - 32 : c);
}

TEST(Locale, TableHoldsTogether) {
    std::set<string> names, rows;
    std::map<string, string> directories;
    for (const prereqlmap_t &row : prereqLocmap) {
        const string locale = row.name, map = row.map, encode = row.encode;
        EXPECT_TRUE(names.insert(locale).second) << locale << " stands twice";
        EXPECT_EQ(map.substr(0, map.find('.')), row.shortmap) << locale;
        EXPECT_EQ(map.find(".utf8") != map.npos, encode == "UTF8") << locale;
        const string language = locale.substr(0, locale.find_first_of("_.@"));
        const string territory = language == "zh" || language == "pt" ? row.shortmap : "";
        EXPECT_EQ(directories.emplace(language + territory + encode, map).first->second, map) << locale;
        rows.insert(locale + " " + map + " " + std::to_string(row.cs) + " " + encode + " " + row.shortmap);
    }
    EXPECT_EQ(names.size(), 814U);
    for (const char *pRow : {"ES_AR.UTF8 es_ES.utf8 2 UTF8 es_ES", "ja_JP.EUCJP ja_JP.eucJP 2 EUCJIS ja_JP",
                             "en_US.UTF8 en_US.iso88591 2 ASCII en_US", "ar_EG.ISO88596 ar_AA.iso88596 1 8859_6 ar_AA"})
        EXPECT_EQ(rows.count(pRow), 1U) << pRow;
}

TEST(Report, EverySinkGetsItsText) {
    const scratchDirectory scratch;
    const string report = scratch.path + "/report", gui = scratch.path + "/gui", twice = "line\nremoteline\nremote";
    const string error = "no file: " + scratch.path;
    useTexts({{MSG_REPORT_NOT_WRITABLE, "no file: %1"}});
    // Report, GUI report, -s, -l; what then is on standard output, on standard error and in the two files.
    // clang-format off
    const vector<std::tuple<string, string, int, int, string>> rows = {
        {"", "", 0, 0, "line\nremote|||"}, {"", "", 1, 0, "|||"}, {"", "", 0, 1, "|||"},
        {report, "", 0, 0, "||line\nremote|"}, {report, gui, 1, 1, "||" + twice + "|gui"},
        {"", gui, 0, 0, "line\nremote||" + twice + "|guigui"},
        {scratch.path, "/dev/full", 0, 0, "|" + error + "\n" + error + "no file: /dev/full\n|" + twice + "|guigui"}};
    // clang-format on
    for (const auto &[reportGiven, guiGiven, bSilent, bLatest, reached] : rows) {
        bCustomReportFile = !reportGiven.empty(), bGUIReportFile = !guiGiven.empty();
        setText(szReportFile, reportGiven);
        setText(szGUIReportFile, guiGiven);
        bPrintSummary = bSilent, bCheckLatestRelease = bLatest;
        char szLine[8] = "line";
        const printed got = capture([&] { logMessage(szLine), logRemoteMessage("remote"), logGUIMessage("gui"); });
        EXPECT_EQ(got.out + "|" + got.err + "|" + readFile(report) + "|" + readFile(gui), reached);
        EXPECT_STREQ(szLine, "line\n");
    }
    EXPECT_TRUE(logMessage(nullptr) == -1 && logRemoteMessage(nullptr) == -1 && logGUIMessage(nullptr) == -1);
    EXPECT_EQ(capture([] { printAsFormat(stdout, "100%% %s %n%d 5%"); }).out, "100% %s %n%d 5%");
}

static void useSummaryTexts() {
    useTexts({{30137, "V %1%2 %3"}, {30161, " CL"}, {30082, "F %1."}, {33533, "GOOD"}});
}

TEST(Report, SummaryOfALevelGoesWhereItIsAskedFor) {
    const string bad = "V Server 11.5", line = bad + "\n", report = line + "F .\nB\n\nA\n\n";
    const string failures = "\nF .\nB\nA\n", reported = "\n\nF .\n\nB\n\nA\n\n"; // the report adds newlines of its own
    // The options, with an x for a bad level; what then is on standard output and error, in the file and in the node.
    // clang-format off
    const vector<std::pair<string, string>> rows = {
        {"x", report + "|||" + line}, {"xs", "|||" + line}, {"xls", "|||" + bad}, 
        {"xl", "|" + bad + failures + "||" + bad}, {"xlo", "|" + bad + reported + "|" + report + "|" + line},
        {"xo", "||" + report + "|" + line}, {"xso", "||" + report + "|" + line}, {"xlso", "||" + report + "|" + line},
        {"xlc", "|V Client 11.5" + failures + "||V Client 11.5"},
        {"xlg", "|V Server CL 11.5" + failures + "||V Server CL 11.5"}, {"", "GOOD\n|||GOOD\n"}, {"s", "|||GOOD\n\n"},
        {"l", "|||GOOD"}, {"ls", "|||GOOD"}, {"lo", "||GOOD\n|GOOD\n"}, {"o", "||GOOD\n|GOOD\n"},
        {"so", "||GOOD\n\n|GOOD\n\n"}, {"lso", "||GOOD\n\n|GOOD\n\n"}};
    // clang-format on
    useSummaryTexts();
    for (const auto &row : rows) {
        const scratchDirectory scratch;
        const auto given = [&row](char option) { return row.first.find(option) != string::npos; };
        setText(szReportFile, scratch.path + "/report");
        bCheckLatestRelease = given('l'), bPrintSummary = given('s'), bCustomReportFile = given('o');
        bClient = given('c'), bShareGrid = given('g');
        pPrereqSummaryList = nullptr;
        if (given('x'))
            sqloUpdateErrorList("A"), sqloUpdateErrorList("B");
        const printed got = capture([] { sqloWriteSummaryToReport("11.5"); });
        ASSERT_NE(pPrereqSummaryList, nullptr);
        const string verdict = pPrereqSummaryList->szSummary;
        EXPECT_EQ(got.out + "|" + got.err + "|" + readFile(szReportFile) + "|" + verdict, row.second) << row.first;
        EXPECT_TRUE(pErrorList == nullptr && (pPrereqSummaryList->pPrereqErrorList != nullptr) == given('x'));
    }
    EXPECT_EQ(sqloWriteSummaryToReport(nullptr), -1);
}

TEST(Report, ErrorsAreListedFromTheNewest) {
    useSummaryTexts();
    bPrintSummary = 1;
    const string exact(512, 'b'), longer(600, 'c');
    for (const char *pText : {"A", exact.c_str(), longer.c_str()})
        EXPECT_EQ(sqloUpdateErrorList(pText), 0);
    EXPECT_EQ(sqloUpdateErrorList(nullptr), -1);
    EXPECT_EQ(errorEntries(), vector<string>({longer.substr(0, 512), exact, "A"}));
    sqloWriteSummaryToReport("1234567890.5"); // the node keeps ten characters
    sqloWriteSummaryToReport("11.5");
    sqloUpdateErrorList("C");
    sqloWriteSummaryToReport("12.1");
    const printed got = capture([] { sqloPrintSummary(); });
    const string first = "V Server 1234567890.5\nF 1234567890." + longer.substr(0, 512) + "\n" + exact + "\nA\n\n";
    EXPECT_EQ(got.out + got.err, first + "GOOD\n\nV Server 12.1\nF 12.1.C\n\n");
}
