// The run: where the program is, its command line, which levels it checks how often, and how it ends.
#include "checkSupport.h"

#include <filesystem>
#include <regex>
#include <sstream>
#include <sys/personality.h>

using std::vector;
namespace fs = std::filesystem;
typedef std::pair<string, string> laidFile;

int kvxMain(int argc, char **argv);

static const string programDir = KVX_PROGRAM_DIR, inputFile = programDir + "/KVXprereqs.xml",
                    noInput = "KVXprereqs.xml";
static const laidFile rhel = {"/etc/redhat-release", "Red Hat release 9.4 (Plow)\n"},
                      centos = {"/etc/centos-release", "CentOS release 7.9 (Core)\n"},
                      ubuntu = {"/etc/lsb-release", "DISTRIB_ID=Ubuntu\n"},
                      debian = {"/etc/os-release", "NAME=Debian\n"};

// Cases that run the whole program, which needs a private host.
struct CommandLine : testing::Test {
    void SetUp() override {
        useCatalog();
        onHost({}, [] {});
    }
};
typedef CommandLine Instance, Selection, Settings;

static vector<string> words(const string &text) {
    std::istringstream in(text);
    return {std::istream_iterator<string>(in), {}};
}

static privateHost hostWith(const vector<laidFile> &files) {
    return {{}, "", {programDir}, false, false, {}, files};
}

// Starts the program in its directory, with the report of "-o /report" to be read.
static runResult run(const vector<laidFile> &files, const string &arguments, const std::map<string, string> &env = {},
                     const std::function<void()> &hook = {}) {
    return runProgram(hostWith(files), words("./kvxprereqcheck " + arguments), env, programDir, {"/report"}, hook);
}

// Runs it in this process, a child made for it, where the input file is in the current directory.
static int runHere(const string &arguments) {
    vector<string> all = words(programDir + "/kvxprereqcheck " + arguments);
    vector<char *> argv;
    for (string &argument : all)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    return kvxMain(static_cast<int>(all.size()), argv.data());
}

static string line(int number, const vector<string> &tokens = {}) {
    return number == 0 ? "" : message(number, tokens) + "\n";
}

static string usage() {
    return capture(displayHelp).out;
}

static string input(const vector<string> &levels, const string &lines = "") {
    string text;
    for (const string &level : levels)
        text +=
            "<KVXLevel value=\"" + level + "\">\n<platform value=\"Linux\">\n" + lines + "</platform>\n</KVXLevel>\n";
    return text;
}

TEST(RuntimeLocation, IsTheDirectoryInFrontOfTheName) {
    const string here = fs::current_path().string();
    // clang-format off
    const vector<std::pair<string, string>> rows = {
        {"/opt/x/bin/kvxprereqcheck", "/opt/x/bin"}, {"kvxprereqcheck", here}, {"./bin/kvxprereqcheck_exe", "./bin"},
        {"./kvxprereqcheck", here}, {"../kvxprereqcheck", ".."}, {"kvxprereqcheck_exe", here}, {"/kvxprereqcheck", ""},
        {"./kvxprereqcheck_exe", here}, {"/" + string(1990, 'd') + "/kvxprereqcheck", "/" + string(1023, 'd')},
        {"/a/kvxprereqcheck/b/kvxprereqcheck", "/a"}, {"kvxprereqcheck.old", here}, {"/usr/bin/x", here}, {"", here}};
    // clang-format on
    for (const auto &[path, expected] : rows) {
        sqloSetRuntimeLocation(path.c_str());
        EXPECT_EQ(string(szRuntimePath), expected) << path;
    }
    setText(szRuntimePath, string(1000, 'r'));
    char szCopy[sizeof szRuntimePath];
    EXPECT_STREQ(sqloGetRuntimeLocation(szCopy), szRuntimePath);
    EXPECT_EQ(string(sqloGetRuntimeLocation(nullptr)), string(256, 'r'));

    {
        const scratchDirectory gone;
        fs::current_path(gone.path);
    }
    debug = 1;
    EXPECT_EQ(capture([] { sqloSetRuntimeLocation("./kvxprereqcheck"); }).err,
              "Failed to open output file from ./kvxprereqcheck\n");
    EXPECT_EQ(string(szRuntimePath), string(1000, 'r'));
    fs::current_path("/");
    sqloSetRuntimeLocation(nullptr);
    EXPECT_STREQ(szRuntimePath, "/");
}

TEST(Texts, StayInTheirBuffers) {
    const vector<std::tuple<string, string, string, string>> rows = {
        {"abc", "de", "abcde", "de"},     {"abc", "defgh", "abcdefg", "defgh"},     {"abcdefg", "h", "abcdefg", "h"},
        {"abcdefgh", "", "abcdefgh", ""}, {"", "abcdefghij", "abcdefg", "abcdefg"}, {"abcdefgh", "i", "abcdefgh", "i"}};
    for (const auto &[start, added, appended, copied] : rows) {
        char szText[] = "\0\0\0\0\0\0\0\0#"; // a buffer of 8 bytes and a guard
        start.copy(szText, 8);
        EXPECT_EQ(safeStrNCat(szText, added.c_str(), 8), szText);
        EXPECT_EQ(string(szText, strnlen(szText, 8)), appended);
        EXPECT_EQ(iStrncpy(szText, added.c_str(), 8), szText);
        EXPECT_EQ(string(szText, strnlen(szText, 8)) + szText[8], copied + "#");
    }
    const scratchDirectory scratch;
    const string path = scratch.path + "/file", q = "\"";
    writeFile(path, "");
    fs::create_symlink(path, path + ".link");
    for (const string &name : {path, q + path + q, q + path, path + q, path + ".link"})
        EXPECT_EQ(sqloFileExists(name.c_str()), 1) << name;
    for (const string &name : {path + "x", string(), scratch.path, q, q + q, q + q + path, path + string(5000, '/')})
        EXPECT_EQ(sqloFileExists(name.c_str()), 0) << name;
    EXPECT_EQ(sqloFileExists(nullptr), 0);
}

TEST(Levels, AreListedNewestFirstAndFoundByTheirText) {
    const string v = "<KVXLevel value=", ten = "1.2.3.4.56", forty = ten + string(30, '7');
    const vector<std::pair<string, string>> rows = {
        {v + "\"10.5\">\n" + v + "\"11.1\">\n" + v + "\"10.05\">\n", "0 11.1 10.5 10.05"},
        {v + "\"9.10\">\r\n" + v + "\"10\">\r\n  x " + v + "\"9.9\">", "0 10 9.10 9.9"},
        {v + "10.5>\n" + v + "\"10.5>\n</KVXLevel \"1\">\nvalue=\"1\"\n<KVXLEVEL value=\"1\">", "8"},
        {"<KVXLevel name=\"7.1\" value=\"10.5\">\n" + v + "\"1.1\"> " + v + "\"2.1\">\n", "0 7.1 1.1"},
        {string(300, ' ') + v + "\"1.1\">\n", "0 1.1"},
        {"", "8"},
        {v + "\"" + ten + "\">\n" + v + "\"" + forty + "\">\n" + v + "\"1.3\">\n", "0 1.3 1.2.3.4.56 1.2.3.4.56"}};
    const scratchDirectory scratch;
    setText(szInputXMLFile, scratch.path + "/input");
    EXPECT_EQ(sqloRetrieveSupportedVersion() + sqloGetLatestRelease() + sqloUpdatePreqVersionList(nullptr), 8 + 8 - 1);
    debug = 1;
    EXPECT_EQ(capture([] { EXPECT_EQ(validateInputVersion(), 7); }).out, "KVX version list is EMPTY");
    for (const auto &[text, expected] : rows) {
        writeFile(szInputXMLFile, text);
        preqVersionList = nullptr;
        string found = std::to_string(sqloRetrieveSupportedVersion());
        for (const versionList *pNode = preqVersionList; pNode != nullptr; pNode = pNode->next)
            found += " " + string(pNode->szVersion, strnlen(pNode->szVersion, sizeof pNode->szVersion));
        EXPECT_EQ(found, expected);
    }
    for (const string level : {"1.3", "1.2.3.4.56", "1.3.0", "1.30", "1.2.3.4.567", "1.3 ", ""}) {
        setText(szInputVersion, level);
        EXPECT_EQ(validateInputVersion(), level == "1.3" || level == ten ? 0 : 7) << level;
    }
    EXPECT_EQ(sqloGetLatestRelease(), 0);
    EXPECT_STREQ(szInputVersion, "1.3");

    for (char *&pValue : ppszPREREQ)
        pValue = szInputVersion;
    EXPECT_EQ(sqloPreparePrereqCheck(), 0);
    EXPECT_EQ(std::count(ppszPREREQ, ppszPREREQ + 20, szInputVersion), 20);
    EXPECT_EQ(std::count(ppszPREREQ + 20, ppszPREREQ + 150, nullptr), 130);
    EXPECT_STREQ(szPlatform, "Linux");
}

// The settings that are not as they were, but for where and how the program was started.
static string changedSince(const std::map<string, string> &before) {
    string all;
    for (const auto &[name, text] : settings())
        if (text != before.at(name) && name != "IIHName" && name != "szRuntimePath")
            all += name + "=" + text + " ";
    return all;
}

// Without an input file every good command line ends there.
TEST_F(CommandLine, SetsSettings) {
    // clang-format off
    const vector<std::tuple<string, string, string>> rows = {
        {"", "bCheckForAllKVXVesion=1 ", noInput}, {"-f /x -f X", "bCustomInputFile=1 ", "X"},
        {"-c -d -strict -vastdw -usrname u -sqllib -service 5 -fcmstartport 6 -partitions 7 -svcename n -F X",
         "bClient=1 bCustomInputFile=1 debug=1 fcmstart=6 isPort=1 isfcmstart=1 issvcnm=1 partitions=7 servicePort=5 "
         "sqllib=1 strictFlag=1 svcnm=n uname1=u usname=1 vastdw=1 ", "X"},
        {"-C -D -sTRICT -VASTDW -Usrname -x -SQLlib -Service a -FCMSTARTPORT -6 -PARTITIONS z -SVCename -h -i -s -l",
         "bCheckLatestRelease=1 bClient=1 bNonShareGrid=1 bPrintSummary=1 debug=1 fcmstart=-6 isPort=1 isfcmstart=1 "
         "issvcnm=1 partitions=0 sqllib=1 strictFlag=1 svcnm=-h uname1=-x usname=1 vastdw=1 ", noInput},
        {"-debug -I -S -L", "bCheckLatestRelease=1 bNonShareGrid=1 bPrintSummary=1 debug=1 ", noInput},
        {"-v 1 -V -l -o q -O r -gui g", "bCheckSpecificRelease=1 bCustomReportFile=1 bGUIReportFile=1 "
         "szGUIReportFile=g szInputVersion=-l szReportFile=r ", noInput},
        {"-usrname " + string(300, 'u') + " -svcename " + string(300, 's') + " -o " + string(300, 'o') + " -gui " +
         string(300, 'g') + " -v " + string(300, 'v') + " -f " + string(300, 'f'),
         "bCheckSpecificRelease=1 bCustomInputFile=1 bCustomReportFile=1 bGUIReportFile=1 issvcnm=1 svcnm=" +
         string(254, 's') + " szGUIReportFile=" + string(255, 'g') + " szInputVersion=" + string(29, 'v') +
         " szReportFile=" + string(255, 'o') + " uname1=" + string(254, 'u') + " usname=1 ", string(255, 'f')}};
    // clang-format on
    for (const auto &[arguments, changed, path] : rows) {
        const runResult result = run({}, arguments);
        EXPECT_EQ(result.status, 8) << arguments;
        EXPECT_EQ(result.err, path.size() > 200 ? line(33501, {"%1"}) : line(33501, {path}));
        if (changed.find("debug") == string::npos)
            EXPECT_EQ(result.out, usage());
        onHost({}, [&, arguments = arguments, changed = changed, path = path] {
            const auto before = settings();
            capture([&] { runHere(arguments); });
            EXPECT_EQ(changedSince(before), changed);
            EXPECT_EQ(string(szInputXMLFile), path);
        });
    }
}

TEST_F(CommandLine, IsRefusedOrHelped) {
    // clang-format off
    const vector<std::tuple<int, int, vector<string>>> rows = {
        {0, 0, {"-h", "-H", "-?", "-help", "-c -c -h", "-h -x", "-usrname", "-service", "-fcmstartport", "-partitions",
                "-svcename", "-c -SERVICE"}},
        {6, 33503, {"-x -h", "-HELP", "-Help", "-DEBUG", "-Debug", "-GUI g", "-Gui g", "-Vastdw", "-cc", "--help", "-p",
                    "-", "/h", "abc", "-i abc", "-c -c -x", "-l -v 1 -x"}},
        {6, 33558, {"-c -C", "-c -l -c -v 1"}}, {6, 33529, {"-l -v 1"}}, {7, 33527, {"-v", "-l -v"}},
        {8, 33528, {"-f", "-f -o"}}, {9, 33526, {"-o", "-O -l", "-gui", "-gui -"}}};
    // clang-format on
    for (const auto &[status, number, all] : rows)
        for (const string &arguments : all) {
            const runResult result = run({{inputFile, input({"1"})}}, arguments);
            EXPECT_EQ(result.status, status) << arguments;
            EXPECT_EQ(result.err, line(number, {"-l and -v"})) << arguments;
            EXPECT_EQ(result.out, usage()) << arguments;
        }
    EXPECT_EQ(runProgram(hostWith({}), {"./kvxprereqcheck", ""}, {}, programDir).err, line(33503));
}

// The input file to be found holds no level, which tells it from one that is not found.
TEST_F(Instance, IsFoundByUserOrCommand) {
    const laidFile user = {"/etc/passwd", "root:x:0:0::/:/bin/sh\ni:x:5000:5000::/home/i:/bin/sh\n"},
                   here = {inputFile, ""}, home = {"/home/i/sqllib/cfg/KVXprereqs.xml", ""},
                   opt = {"/opt/k/sqllib/cfg/KVXprereqs.xml", ""}, kvx = {"/opt/k/sqllib/bin/kvx", "#!/bin/sh\n"},
                   bareHome = {"/home/i/sqllib/cfg/x", ""}, whichKvx = fakeTool("which", "echo /opt/k/sqllib/bin/kvx");
    const std::map<string, string> byUser = {{"KVXINSTANCE", "i"}}, unknown = {{"KVXINSTANCE", "ii"}},
                                   inPath = {{"PATH", "/opt/k/sqllib/bin:/usr/bin:/bin"}};
    // clang-format off
    const vector<std::tuple<std::map<string, string>, vector<laidFile>, int, string>> rows = {
        {byUser, {user, home}, 1, ""}, {inPath, {kvx, opt}, 1, ""}, {unknown, {user, home}, 0, ""},
        {byUser, {user, here}, 1, ""}, {byUser, {user, home}, 0, "-f none"}, {byUser, {user, bareHome, here}, 1, ""},
        {byUser, {user, whichKvx, opt}, 1, ""}, {byUser, {user, bareHome, whichKvx, opt}, 0, ""},
        {unknown, {user, whichKvx, opt}, 1, ""}, {{}, {whichKvx, here}, 1, ""}, {{}, {whichKvx}, 0, ""},
        {{}, {fakeTool("which", "echo /opt/k"), {"/opt/k/cfg/KVXprereqs.xml", ""}}, 1, ""},
        {{}, {fakeTool("which", "echo '/a b/sqllib/bin/kvx'"), {"/a b/sqllib/cfg/KVXprereqs.xml", ""}}, 0, ""},
        {{}, {fakeTool("which", "echo 'no kvx in (/bin)'"), opt}, 0, ""},
        {{}, {fakeTool("which", "echo /" + string(3000, 'k') + "/sqllib"), opt}, 0, ""}};
    // clang-format on
    for (const auto &[env, files, bFound, arguments] : rows) {
        const string missing = line(33501, {arguments.empty() ? noInput : "none"});
        EXPECT_EQ(run(files, arguments, env).err, bFound ? line(33525) : missing) << testing::PrintToString(files);
    }
    for (const auto &[env, base] : {std::pair(byUser, "/home/i/sqllib"), {inPath, "/opt/k/sqllib/sqllib"}}) {
        const string catalog = "/en_US.iso88591/kvxistring.cat", text = readFile(programDir + "/locale" + catalog);
        privateHost host = hostWith({user, home, kvx, opt, {string(base) + "/msg" + catalog, text}});
        host.removed = {programDir + "/locale"};
        EXPECT_EQ(runProgram(host, {"./kvxprereqcheck", "-x"}, env, programDir).err, line(33503)) << base;
    }
}

// The passes over levels that a report holds, in order, clustered ones with a plus sign.
static string passesOf(const string &report) {
    std::istringstream in(report);
    string all;
    for (string text; std::getline(in, text);)
        for (const string level : {"19.8.1", "11.1", "10.5", "9.8"})
            for (const auto &[banner, sign] : {std::pair(MSG_LEVEL_BANNER, " "), {MSG_LEVEL_BANNER_CLUSTERED, "+ "}})
                all += text == message(banner, {level, "Linux"}) ? level + sign : "";
    return all;
}

TEST_F(Selection, ChecksEachLevelAsOftenAsWanted) {
    const string three = input({"9.8", "11.1", "10.5"}), twice = input({"10.5", "11.1", "10.5"});
    const string all = "11.1 11.1+ 10.5 10.5+ 9.8 9.8+ ", normal = "11.1 10.5 9.8 ", newest = "11.1 11.1+ ";
    // clang-format off
    const vector<std::tuple<laidFile, int, string, string, string, int, string>> rows = { // the second: 32 bits?
        {rhel, 0, three, "", all, 0, ""}, {centos, 0, three, "", all, 0, ""}, {rhel, 0, three, "-i", normal, 0, ""},
        {rhel, 0, three, "-c", normal, 0, ""}, {rhel, 0, three, "-v 10.5", "10.5 10.5+ ", 0, ""},
        {rhel, 0, three, "-v 10.5 -i", "10.5 ", 0, ""}, {rhel, 0, three, "-l", newest, 0, ""},
        {rhel, 0, three, "-l -i", "11.1 ", 0, ""}, {rhel, 0, three, "-l -c", "11.1 ", 0, ""},
        {rhel, 0, twice, "", "11.1 11.1+ 10.5 10.5+ 10.5 10.5+ ", 0, ""}, {rhel, 0, three, "-v 11", "", 33527, ""},
        {rhel, 1, three, "", "11.1 10.5 ", 33555, "9.8"}, {rhel, 1, three, "-i", normal, 0, ""},
        {rhel, 1, three, "-v 9.8", "", 33555, "9.8"}, {rhel, 1, three, "-v 11.1", "11.1 ", 0, ""},
        {rhel, 1, three, "-l", newest, 0, ""}, {ubuntu, 0, three, "", "11.1 10.5 ", 33555, "9.8"},
        {ubuntu, 0, three, "-i", normal, 0, ""}, {ubuntu, 0, three, "-v 10.5", "10.5 ", 0, ""},
        {ubuntu, 0, three, "-v 9.8 -i", "", 33555, "9.8"}, {ubuntu, 0, three, "-l", newest, 0, ""},
        {ubuntu, 0, input({"19.8.1"}), "", "", 33555, "19.8.1"}, {debian, 0, three, "", "", 33505, ""}};
    // clang-format on
    for (const auto &[release, b32, text, arguments, expected, number, token] : rows) {
        const runResult result = run({release, {inputFile, text}}, "-o /report " + arguments, {},
                                     [b32 = b32] { personality(b32 ? PER_LINUX32 : PER_LINUX); });
        SCOPED_TRACE(release.first + std::to_string(b32) + arguments);
        EXPECT_EQ(passesOf(result.files.count("/report") ? result.files.at("/report") : ""), expected);
        for (const int other : {33505, 33527, 33555})
            EXPECT_EQ(result.err.find(line(other, {token})) != string::npos, other == number) << other;
        if (expected.empty())
            EXPECT_EQ(result.status, number == 33505 ? 8 : arguments.empty() ? 0 : 7);
    }
}

TEST_F(Selection, EndsWithTheLastFailure) {
    const string text = input({"12.1"}, "<MinOSVersion>99</MinOSVersion>\n") +
                        input({"11.1"}, "<CPPLibName>libnone.so</CPPLibName>\n") + input({"10.5"});
    const auto statusOf = [&](const string &arguments) {
        return run({rhel, {inputFile, text}}, "-i " + arguments).status;
    };
    int last = 0;
    for (const string level : {"12.1", "11.1", "10.5"})
        if (const int status = statusOf("-v " + level))
            last = status;
    EXPECT_NE(statusOf("-v 12.1"), 0);
    EXPECT_EQ(statusOf("-l"), statusOf("-v 12.1"));
    EXPECT_EQ(statusOf(""), last);
}

TEST_F(Selection, TellsThatItsReportIsLost) {
    const runResult lost = runProgram(hostWith({rhel, {inputFile, input({"10.5"})}}),
                                      {"/bin/sh", "-c", "./kvxprereqcheck -i > /dev/full"}, {}, programDir);
    EXPECT_EQ(lost.err, message(MSG_REPORT_NOT_WRITABLE, {"(standard output)"}) + "\n");
}

TEST_F(Selection, OpensStandardDescriptors) {
    const vector<laidFile> files = {rhel, {inputFile, input({"10.5"})}};
    const runResult good = run(files, "-i -o /report");
    const laidFile which = fakeTool("which", "for i in 0 1 2; do [ -e /proc/$$/fd/$i ] && echo $i >> /open; done");
    const runResult closed = runProgram(hostWith({rhel, {inputFile, input({"10.5"})}, which}),
                                        {"/bin/sh", "-c", "exec ./kvxprereqcheck -d -i -o /report <&- >&- 2>&-"}, {},
                                        programDir, {"/report", "/open"});
    EXPECT_EQ(closed.files.at("/open"), "0\n1\n2\n"); // of the commands that it runs
    const std::regex time("\\d\\d:\\d\\d:\\d\\d");
    EXPECT_EQ(std::regex_replace(closed.files.at("/report"), time, ""),
              std::regex_replace(good.files.at("/report"), time, ""));
    EXPECT_EQ(closed.status, good.status);
}

TEST_F(Settings, ThatNoOptionSetsEndTheRun) {
    const string tiebreaker = " Inside -tb-dev, but hostlist option is not specified " + usage();
    // clang-format off
    const vector<std::tuple<vector<int *>, string, laidFile, int, int, int, string>> rows = {
        {{&bTbDiskName}, "", rhel, 0, 6, 33541, tiebreaker}, {{&bMHCA}, "", rhel, 0, 6, 33541, usage()},
        {{&bTbDiskName, &bShareGrid}, "-i", rhel, 0, 6, 33529, usage()}, {{&bNonIB}, "", ubuntu, 0, 1, 33557, ""},
        {{&bMHCA, &bShareGrid}, "", rhel, 0, 6, 33541, usage()}, {{&bUDAPL}, "", centos, 0, 1, 33557, ""},
        {{&bMHCA, &bCustomNetworkType}, "", rhel, 0, 6, 33541, usage()}, {{&bShareGrid}, "", ubuntu, 0, 1, 33557, ""},
        {{&bCustomNetworkType}, "", rhel, 0, 6, 33539, usage()}, {{&bMHCA}, "", ubuntu, 0, 6, 33541, usage()},
        {{&bMHCA}, "", rhel, 1, 1, 33557, ""}};
    // clang-format on
    for (const auto &[set, arguments, release, b32, status, number, out] : rows) {
        onHost(hostWith({release, {"/KVXprereqs.xml", input({"10.5"})}}),
               [&, set = set, arguments = arguments, b32 = b32, status = status, number = number, out = out] {
                   personality(b32 ? PER_LINUX32 : PER_LINUX);
                   for (int *pSetting : set)
                       *pSetting = 1;
                   const printed shown = capture([&] { EXPECT_EQ(runHere(arguments), status); });
                   EXPECT_EQ(shown.err, line(number, {"-i and -p"}));
                   EXPECT_EQ(shown.out, out);
               });
    }
}

TEST_F(Settings, NetworkTypeIsJudgedAndStored) {
    // clang-format off
    const vector<std::tuple<string, int, string>> rows = { // its bMHCA, or -1; the values that are stored
        {"SINGLE_ROCE_PORT_CLUSTER", 0, "10GE TRUE"}, {"MULTI_ROCE_PORT_CLUSTER", 0, "10GE TRUE"},
        {"SINGLE_IB_PORT_CLUSTER", 0, "InfiniBand FALSE"}, {"MULTI_IB_PORT_CLUSTER", 0, "InfiniBand TRUE"},
        {"SINGLE_PORT_CLUSTER", 1, ""}, {"MULTI_PORT_CLUSTER", 1, ""}, {"single_port_cluster", -1, ""}, {"", -1, ""}};
    // clang-format on
    const privateHost host = hostWith({rhel, {"/KVXprereqs.xml", input({"10.5"})}});
    for (const auto &[type, bSeveral, stored] : rows)
        for (const int b : {0, 1})
            onHost(host, [b, type = type, bSeveral = bSeveral, stored = stored] {
                bShareGrid = bCustomNetworkType = 1;
                bMHCA = b;
                setText(szNetworkType, type);
                EXPECT_EQ(capture([] { runHere(""); }).err == line(33538), b != bSeveral) << type << b;
                if (b == 0 && bSeveral == 0)
                    EXPECT_EQ(string(ppszPREREQ[HCANetwork]) + " " + ppszPREREQ[MHCA], stored) << type;
            });
}

TEST_F(Settings, ListFilesAreHandedOnOrRemoved) {
    const string lists[] = {"/tmp/nl.txt", "/tmp/dl.txt", "/tmp/il.txt"};
    const privateHost host =
        hostWith({rhel, {"/KVXprereqs.xml", input({"10.5"})}, {lists[0], ""}, {lists[1], ""}, {lists[2], ""}});
    onHost(host, [] {
        bHostList = bShareGrid = bNetList = bDiskList = bInstName = 1;
        capture([] { runHere("-v 10.5 -gui /g -strict"); });
        EXPECT_STREQ(addCmd, "-o  /tmp/kvxprereq/crptrmt.txt -p -v 10.5  -gui /tmp/kvxprereq/guirmt.txt "
                             "-nfile /tmp/kvxprereq/nl.txt  -dfile /tmp/kvxprereq/dl.txt  "
                             "-ifile /tmp/kvxprereq/il.txt  -strict ");
        EXPECT_STREQ(addFiles, "/tmp/nl.txt  /tmp/dl.txt  /tmp/il.txt  ");
    });
    onHost(host, [] {
        bHostList = 1;
        capture([] { runHere("-l"); });
        EXPECT_EQ(string(addCmd) + addFiles, "-o  /tmp/kvxprereq/crptrmt.txt -l ");
    });
    for (int *const pSetting : {&bNetList, &bDiskList, &bInstName, &bInstList})
        onHost(host, [&] {
            *pSetting = 1;
            capture([] { runHere("-i"); });
            EXPECT_STREQ(szReportFile, "kvxprereqcheck.rpt");
            EXPECT_EQ(sqloFileExists(lists[0].c_str()), !bNetList);
            EXPECT_EQ(sqloFileExists(lists[1].c_str()), !bDiskList);
            EXPECT_EQ(sqloFileExists(lists[2].c_str()), !bInstName);
        });
}
