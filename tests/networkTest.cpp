// Kernel module options, RDMA services, adapters and connectivity.
#include "support.h"

#include <filesystem>
#include <regex>
#include <sstream>

using std::string;
using std::vector;

namespace fs = std::filesystem;

typedef vector<std::pair<string, string>> textPairs;

static const string suseFile = "/etc/modprobe.conf.local", commonFile = "/etc/modprobe.d/modprobe.conf";
static const string option = "options mlx4_core log_mtts_per_seg=", seven = option + "7\n", three = option + "3\n";

// A host without what the machine may have of the files that are looked for, with fake tools first in PATH and with
// texts that leave the order of lines and tokens to look at; those without a token show one that slipped into them.
static void onNetworkHost(const textPairs &files, const std::function<void()> &body) {
    // clang-format off
    useTexts({{30017, "W%1"}, {30018, "E%1"}, {30053, "check %1"}, {30054, "ok%1"}, {30055, "bad %1"},
              {33601, "no %1 %2"}, {30125, "has %1 %2"}, {30127, "on %1 %2"}, {30155, "ib %1 %2"},
              {30156, "10ge %1 %2"}, {30159, "other %1 %2"}, {30180, "test %1"}, {33506, "killed%1"},
              {33546, "no file %1"}, {33564, "missing %1 %2"}, {33566, "off %1 %2"}, {33580, "no dat %1"},
              {33607, "see %1"}, {33588, "unset %1 %2"}, {33593, "three %1"}, {33598, "unfit %1 %2"},
              {33599, "odd %1 %2"}, {33600, "faulty %1 %2"}});
    // clang-format on
    privateHost host;
    host.hostName = "dbhost";
    host.binds = {szRuntimePath, KVX_SOURCE_DIR "/tests/reports"};
    host.bindsWritable = getenv("KVX_UPDATE_REPORTS") != nullptr;
    host.removed = {suseFile, "/etc/modprobe.d", "/usr/bin/ofed_info", "/etc/dat.conf", "/etc/ofed", "/etc/rdma"};
    host.files = files;
    onHost(host, [&] {
        setenv("PATH", (string("/fakes:") + getenv("PATH")).c_str(), 1);
        fs::create_directory_symlink(szRuntimePath, "/program");
        setText(szRuntimePath, "/program");
        setText(IIHName, "dbhost");
        bCustomReportFile = bGUIReportFile = 1; // one file: a line that goes to both stands there twice
        setText(szReportFile, "/seen");
        setText(szGUIReportFile, "/seen");
        body();
    });
}

// A check's status and its lines inside the heading and the markers for the GUI: '|' ends a line, '+' repeats it. Then
// the failures recorded in brackets, "=" when they are among those lines, and in braces what was printed.
static string judged(const std::function<int()> &check) {
    int status = 1;
    string all, last;
    fs::remove("/seen");
    pErrorList = nullptr;
    const printed shown = capture([&] { status = check(); });
    EXPECT_EQ(totalTokens, 0);
    std::istringstream lines(readFile("/seen"));
    for (string line; std::getline(lines, line); last = line)
        all += line == last && line[0] != '<' ? "+" : line + "|";
    all = std::regex_replace(all, std::regex("^   \\|check [^|]+\\|(<[^|]+>\\|)(.*)\\1$"), "$2");
    for (const string &entry : errorEntries())
        all += all.find(entry.substr(0, entry.find('\n')) + "|") == string::npos ? "[" + entry + "]" : "[=]";
    all += shown.out + shown.err == "" ? "" : "{" + shown.out + shown.err + "}";
    return std::to_string(status) + " " + all;
}

// Compares what a run with the trace on prints, the tools' log and the GUI report with a file. Leaves the trace on.
static void expectTrace(const string &name, const std::function<int()> &check) {
    bCustomReportFile = 0;
    debug = 1;
    fs::remove("/seen");
    fs::remove("/fakes/log");
    const string trace = capture([&] { check(); }).out, log = readFile("/fakes/log"), seen = readFile("/seen");
    expectReport("network-" + name, std::regex_replace(trace, std::regex(" \\d+ : Cateory file path => .*\n"), "") +
                                        "== tools run\n" + log + "== GUI report\n" + seen);
}

TEST(ModProbe, LastDecidingLineOfReleasesFileDecides) {
    const string met = "0 ok|", absent = "-1 unset dbhost 1|+bad E|[=]", wrong = "-1 three dbhost|+bad E|[=]",
                 unset = "-1 unset dbhost 2|+bad E|[=]", x231(231, 'x'),
                 many = std::regex_replace(string(300, 'x'), std::regex("x"), "alias net-pf-9 off\n");
    const int rhel = DISTRO_RHEL, suse = DISTRO_SUSE, ubuntu = DISTRO_UBUNTU;
    const string ofed = "#!/bin/sh\n[ \"$STACK$(cat /asked)\" = O ] || echo MLNX_OFED_LINUX-5.8\necho 1 > /asked\n";
    // What the files set, SUSE's own one first, '-' without it; then, with its validation enabled, whether the Mellanox
    // tool names its stack: 'M', or only when asked again 'O'.
    // clang-format off
    const vector<std::tuple<int, const char *, string, string>> choices = {
        {suse, "11", "33O", met}, {rhel, nullptr, "33M", "0 "}, {suse, "15", "--M", "0 "},
        {ubuntu, nullptr, "33M", met}, {rhel, nullptr, "37", met}, {rhel, "11", "73", wrong},
        {suse, "10", "77", absent}, {suse, "11", "73", met}, {suse, "11\n", "37", wrong}, {suse, "11", "-7", absent},
        {suse, "11.4", "77", absent}, {suse, "12", "37", met}, {suse, "12.5", "37", met}, {suse, "15", "73", wrong},
        {suse, "15", "7-", absent}, {suse, "abc", "77", absent}, {suse, nullptr, "77", absent},
        {DISTRO_CENTOS, "11", "33", met}, {rhel, "15", "7-", absent}};
    const textPairs texts = {
        {three + seven, met}, {seven + three, wrong}, {option + "70\n", met}, {option + "5\n", unset},
        {seven + option + "5\n", met}, {three + option + "17\n", wrong}, {"#" + seven, unset},
        {three + "#" + seven, wrong}, {" #" + seven, met}, {"log_mtts_per_seg=7 options\n", met},
        {"log_mtts_per_seg=7\n", unset}, {"options mlx4_core\nlog_mtts_per_seg=7\n", unset},
        {"options log_mtts_per_seg=3 log_mtts_per_seg=7\n", met}, {seven + option + "3", wrong},
        // A line is judged by its first 256 characters; what follows is a line of its own.
        {"options" + x231 + "log_mtts_per_seg=7\n", met}, {"options " + x231 + "log_mtts_per_seg=7\n", unset},
        {"#" + x231 + string(24, 'x') + seven, met}, {many + three + many + seven + many, met},
        {many + seven + many + three + many, wrong}, {"", unset}, {"\n\n", unset},
        {string("\0\n", 2) + seven + string("a\0b\n\0", 5), met}};
    // clang-format on
    onNetworkHost({{"/usr/bin/ofed_info", ofed}, {suseFile, ""}, {commonFile, ""}}, [&] {
        for (const auto &[distribution, pRelease, settings, expected] : choices) {
            linuxDistro = distribution;
            ppszPREREQ[SLESVersion] = const_cast<char *>(pRelease);
            setenv("STACK", settings.substr(2).c_str(), 1);
            setenv("KVXMLNXOFED", settings.size() > 2 ? "TRUE" : "FALSE", 1);
            for (const string &path : {suseFile, commonFile}) {
                writeFile(path, option + settings[path == commonFile] + "\n");
                if (settings[path == commonFile] == '-')
                    fs::remove(path);
            }
            EXPECT_EQ(judged(sqloValidateModProbe), expected) << distribution << " " << settings;
        }
        for (const auto &[text, expected] : texts) {
            writeFile(commonFile, text);
            EXPECT_EQ(judged(sqloValidateModProbe), expected) << text;
        }
        EXPECT_EQ(judged([] { return chkModProbeFile("/etc"); }), "-1 unset dbhost 2|+[=]");
        EXPECT_EQ(judged([] { return chkModProbeFile("/none"); }), "-1 unset dbhost 2|+[=]{Error }");
        writeFile(commonFile, "a\n\n" + x231 + x231 + "\nb");
        EXPECT_EQ(sqoFlipFile(commonFile.c_str()), "b\n" + string(206, 'x') + "\n" + string(256, 'x') + "\n\na\n");
        writeFile(commonFile, seven + three + "\n#" + seven + "log_mtts_per_seg=7\n" + option + "5\n");
        expectTrace("modprobe", sqloValidateModProbe);
    });
}

TEST(Services, AreInstalledAndEnabled) {
    const string enabled = "0 has @ dbhost|on @ dbhost|ok|", unlisted = "0 has @ dbhost|ok|",
                 off = "-1 has @ dbhost|off @ dbhost|+bad E|[=]", missing = "-1 missing @ dbhost|+bad E|[=]";
    // clang-format off
    const vector<vector<string>> rows = { // rpm, chkconfig, what the check says, name of a trace; '@' is the service
        {"", "echo '@ 0:off 3:on 5:off'", enabled, "@"}, {"", "echo '@ 0:off'; echo 'my@d 5:on'; exit 1", enabled, ""},
        {"", "echo '@ 0:off 3:off'", off, "@-off"}, {"", "echo '@ on'", off, ""},
        {"", "echo '@' | tr a-z A-Z | sed 's/$/ 3:on/'; echo '@ 3:off'", off, ""},
        {"", "echo network 3:on", unlisted, ""},
        {"", "", unlisted, ""}, {"exit 1", "echo '@ 3:on'", missing, "@-missing"}};
    // clang-format on
    for (const string service : {"rdma-core", "openibd"})
        for (vector<string> row : rows) {
            for (string &text : row)
                text = std::regex_replace(text, std::regex("@"), service);
            textPairs files = {fakeTool("rpm", row[0]), fakeTool("chkconfig", row[1])};
            files.resize(row[1].empty() ? 1 : 2);
            onNetworkHost(files, [&] {
                const auto check = service == "openibd" ? sqloCheckForOpenibdStatus : sqloCheckForRDMAStatus;
                EXPECT_EQ(judged(check), row[2]) << row[0] << row[1];
                if (!row[3].empty())
                    expectTrace(row[3], check);
            });
        }
}

TEST(Adapters, AreClassified) {
    const string probe = "#!/bin/sh\nprintf '(%s)\\n' \"$@\" >> /seen\nexit 0$(echo \"$1\" | tr -cd 0-9)\n";
    const string full(254, 'n'), noDat = "no dat dbhost|+bad W|[=][=]",
                                 both = "0 (2)|unfit 2 dbhost|+(1)|ib 1 dbhost|[=]";
    // clang-format off
    const vector<std::tuple<vector<string>, string, int, string>> rows = { // names, dat.conf, bNonIB, names asked about
        {{"0"}, "", 1, "0 (0)|"}, {{"1"}, "", 0, "0 (1)|ib 1 dbhost|"}, {{"3"}, "", 0, "0 (3)|10ge 3 dbhost|"},
        {{"4"}, "", 1, "0 (4)|other 4 dbhost|"}, {{"5"}, "", 1, "0 (5)|odd 5 dbhost|+bad W|[=]"},
        {{"6"}, "", 1, "0 (6)|faulty 6 dbhost|+bad W|[=]"}, {{"7"}, "", 1, "0 (7)|"}, {{"129"}, "", 1, "0 (129)|"},
        {{}, "", -5, "0 "}, {{"2", "1"}, "", 1, "0 (2)|unfit 2 dbhost|+" + noDat},
        {{"2", "1"}, "/etc/dat.conf", 0, both}, {{"2", "1"}, "/etc/ofed/dat.conf", 0, both},
        {{"2", "1"}, "/etc/rdma/dat.conf", 0, both}, {{"2", "1"}, "/etc/dat.conf /etc/rdma/dat.conf", 0, both},
        {{full + "10"}, "", 0, "0 (" + full + "1)|ib " + full + "1 dbhost|"},
        {{"1", "5", "3"}, "", 0, "0 (1)|ib 1 dbhost|(5)|odd 5 dbhost|+(3)|10ge 3 dbhost|bad W|[=]"}};
    // clang-format on
    const auto check = [] { return sqloValidateAdapter(), 0; };
    onNetworkHost({{"/kvxprereqcheckoss", probe}, {"/etc/ofed/x", ""}, {"/etc/rdma/x", ""}}, [&] {
        for (const auto &[names, datConf, bExpected, expected] : rows) {
            ASSERT_EQ(system(("rm -f /etc/dat.conf /etc/*/dat.conf; touch /x " + datConf).c_str()), 0);
            preqNetNames = nullptr;
            for (size_t i = names.size(); i > 0; i--)
                updateNetNames(names[i - 1].c_str());
            bNonIB = -5;
            EXPECT_EQ(judged(check), expected);
            EXPECT_EQ(bNonIB, bExpected) << expected;
        }
        bnoStdRtk = 1;
        expectTrace("adapters-unchecked", check);
    });
}

TEST(Connectivity, IsTested) {
    const string deep = string(250, 'd') + "/" + string(250, 'd') + "/", here = "/x/" + deep,
                 tooDeep = here + deep + deep, longList(300, 'l');
    // clang-format off
    const vector<std::array<string, 3>> rows = { // list file, tool, result; '@' begins a log's name
        {"l", "echo @1.log; exit 128", "0 test l|(l)|ok|"}, {"l", "exit 129", "0 test l|(l)|bad W|"},
        {longList, "", "0 test " + longList + "|(" + longList + ")|ok|"}, {"l", "", "0 test l|(l)|ok|"},
        {"l", "printf /x/@1.log; exit 127", "0 test l|(l)|see /tmp/@1.lo|bad W|[=]"},
        {"l", "echo 1.log; echo @1; echo @1.log >&2; exit 1", "0 test l|(l)|bad W|"},
        {"l", "echo @1.log; echo a.log @2 end; echo @3; exit 2", "0 test l|(l)|see /tmp/@2 end|bad W|[=]"}};
    // clang-format on
    const auto check = [](const string &list) { return sqloValidateAdapterUsingRocmc(list.c_str()), 0; };
    const string tool = "#!/bin/sh\n[ -e /tmp/kvxprereq.tar ] && printf '(%s)\\n' \"$5\" >> /seen\neval \"$DO\"\n";
    const string tar = "#!/bin/sh\necho packed >/tmp/kvxprereq.tar";
    onNetworkHost({{"/fakes/tar", tar}, {here + "kvxrocmc", tool}, {tooDeep + "x", ""}, {"/vexha/x", ""}}, [&] {
        fs::current_path(here);
        for (std::array<string, 3> row : rows) {
            for (string &text : row)
                text = std::regex_replace(text, std::regex("@"), "vurk.kvx.cluster_int-");
            setenv("DO", row[1].c_str(), 1);
            EXPECT_EQ(judged([&] { return check(row[0]); }), row[2]) << row[1];
            EXPECT_EQ(readFile("/tmp/kvxprereq/kvxrocmc"), tool) << row[1];
        }
        expectTrace("connectivity", [&] { return check("list"); });
        fs::current_path(tooDeep);
        expectTrace("connectivity-nowhere", [&] { return check("list"); });
    });
}
