// Whole reports, compared with the texts in tests/reports. KVX_UPDATE_REPORTS=1 in the environment writes them anew.
#include "support.h"

#include <regex>

using std::string;

// A run on an example host with an input file; what it writes is /report and /gui.
struct reportScenario {
    string name, host, input, arguments;
};

void PrintTo(const reportScenario &scenario, std::ostream *pStream) {
    *pStream << scenario.name;
}

static const string sample = "samples/KVXprereqs.xml", oneOfTwo = "tests/reports/oneOfTwo.xml"; // one level fails

// clang-format off
static const reportScenario scenarios[] = {
    {"allLevels", "rhel", sample, ""}, {"allLevelsOnUbuntu", "ubuntu", sample, ""},
    {"oneLevel", "rhel", sample, " -v 11.5"}, {"oneLevelOnSuse", "suse", sample, " -v 12.1"},
    {"client", "centos", sample, " -c -v 11.1"}, {"reportFile", "centos", sample, " -v 10.5 -i -o /report"},
    {"guiReport", "rhel", sample, " -v 11.5 -gui /gui"}, {"unsupportedHost", "debian", sample, ""},
    {"latest", "rhel", oneOfTwo, " -l"}, {"latestInReportFile", "rhel", oneOfTwo, " -l -i -o /report"},
    {"summary", "rhel", oneOfTwo, " -i -s"}, {"debug", "rhel", oneOfTwo, " -d -i -v 12.1"}};
// clang-format on

// Takes away what differs from run to run and from machine to machine.
static string masked(string text) {
    static const std::pair<const char *, const char *> masks[] = {
        {"[A-Z][a-z]{2} [A-Z][a-z]{2} [ 1-3]\\d \\d\\d:\\d\\d:\\d\\d \\d{4}", "DATE"},
        {"(kvxprereqcheck[ab]?\\.|/proc/)\\d+", "$1PID"},
        {"(Found (?:kernel|C library) level: )\\S+", "$1LEVEL"},
        {"(library in use: )\\S+", "$1PATH"},
        {"(^|\n)( ?)\\d+( ?): ", "$1$2LINE$3: "},
    };
    for (size_t at; (at = text.find(KVX_PROGRAM_DIR)) != string::npos;)
        text.replace(at, strlen(KVX_PROGRAM_DIR), "PROGRAM");
    for (const auto &[pPattern, pMask] : masks)
        text = std::regex_replace(text, std::regex(pPattern), pMask);
    return text;
}

static string reportOf(const reportScenario &scenario) {
    const string source = KVX_SOURCE_DIR "/", command = "./kvxprereqcheck" + scenario.arguments;
    privateHost host;
    host.hostName = "dbhost";
    host.binds = {KVX_PROGRAM_DIR};
    host.files = {{KVX_PROGRAM_DIR "/KVXprereqs.xml", readFile(source + scenario.input)}};
    if (scenario.host == "debian")
        host.files.emplace_back("/etc/os-release", "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\n");
    else
        host.layers = {source + "samples/hosts/" + scenario.host};
    if (scenario.host == "rhel") // the one example host with 32-bit libraries, which this machine has not
        host.files.insert(host.files.end(),
                          {fakeTool("ldd", ""), fakeTool("file", "echo ELF 32-bit LSB shared object")});
    const runResult result = runProgram(host, {"/bin/sh", "-c", command}, {}, KVX_PROGRAM_DIR, {"/report", "/gui"});
    string text = "$ " + command + "\n" + result.out + "== standard error\n" + result.err;
    for (const auto &[path, content] : result.files)
        text += "== " + path + "\n" + content;
    return masked(text + "== exit status " + std::to_string(result.status) + "\n");
}

struct Reports : testing::TestWithParam<reportScenario> {
    void SetUp() override {
        onHost({}, [] {});
    }
};

TEST_P(Reports, AreAsExpected) {
    const string path = string(KVX_SOURCE_DIR "/tests/reports/") + GetParam().name + ".txt",
                 report = reportOf(GetParam());
    if (getenv("KVX_UPDATE_REPORTS") != nullptr) {
        writeFile(path, report);
        GTEST_SKIP() << "written anew: " << path;
    }
    EXPECT_EQ(report, readFile(path)) << path;
}

INSTANTIATE_TEST_SUITE_P(Whole, Reports, testing::ValuesIn(scenarios), testing::PrintToStringParamName());
