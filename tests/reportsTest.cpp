// Whole reports, compared with the texts in tests/reports. KVX_UPDATE_REPORTS=1 in the environment writes them anew.
#include "support.h"

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
    {"withoutLibraries", "suse", "tests/reports/withoutLibraries.xml", " -i"},
    {"summary", "rhel", oneOfTwo, " -i -s"}, {"debug", "rhel", oneOfTwo, " -d -i -v 12.1"}};
// clang-format on

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
    std::map<string, string> env;
    if (scenario.name == "withoutLibraries") {
        host.files.emplace_back("/broken/libaio.so.1", "no library");
        env["LD_LIBRARY_PATH"] = "/broken";
    }
    const runResult result = runProgram(host, {"/bin/sh", "-c", command}, env, KVX_PROGRAM_DIR, {"/report", "/gui"});
    string text = "$ " + command + "\n" + result.out + "== standard error\n" + result.err;
    for (const auto &[path, content] : result.files)
        text += "== " + path + "\n" + content;
    return text + "== exit status " + std::to_string(result.status) + "\n";
}

struct Reports : testing::TestWithParam<reportScenario> {
    void SetUp() override {
        onHost({}, [] {});
    }
};

TEST_P(Reports, AreAsExpected) {
    expectReport(GetParam().name, reportOf(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Whole, Reports, testing::ValuesIn(scenarios), testing::PrintToStringParamName());
