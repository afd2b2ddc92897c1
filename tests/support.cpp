#include "support.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <sys/mman.h>
#include <unistd.h>

namespace fs = std::filesystem;

scratchDirectory::scratchDirectory() : path("/tmp/kvx-test.XXXXXX") {
    if (mkdtemp(path.data()) == nullptr)
        throw std::runtime_error("no scratch directory");
}

scratchDirectory::~scratchDirectory() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
}

// The failures of the current test, as far as this process knows.
static int failureCount() {
    const testing::TestResult *pResult = testing::UnitTest::GetInstance()->current_test_info()->result();
    int count = 0;
    for (int i = 0; i < pResult->total_part_count(); i++)
        count += pResult->GetTestPartResult(i).failed();
    return count;
}

void onHost(const privateHost &host, const std::function<void()> &body) {
    std::string why;
    if (!privateHostsPermitted(why)) {
        ASSERT_EQ(getenv("CI"), nullptr) << "no private host: " << why;
        GTEST_SKIP() << "no private host: " << why;
    }
    privateHost seen = host;
    seen.binds.push_back(KVX_PROGRAM_DIR);
    const int before = failureCount(); // the child inherits them
    const auto failsInHost = [&] { return body(), failureCount() > before ? 1 : 0; };
    EXPECT_EQ(runOnHost(seen, failsInHost), 0) << "in the host";
}

static std::string captureStream(int stream, const std::function<void()> &body) {
    const int caught = memfd_create("caught", MFD_CLOEXEC), original = dup(stream);
    fflush(nullptr);
    dup2(caught, stream);
    body();
    fflush(nullptr);
    dup2(original, stream);
    const std::string text = readFile("/proc/self/fd/" + std::to_string(caught));
    close(caught);
    close(original);
    return text;
}

printed capture(const std::function<void()> &body) {
    printed got;
    got.out = captureStream(STDOUT_FILENO, [&] { got.err = captureStream(STDERR_FILENO, body); });
    return got;
}

std::string readFile(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void writeFile(const std::string &path, const std::string &text) {
    std::error_code ignored; // the file that then cannot be written tells
    fs::create_directories(fs::path(path).parent_path(), ignored);
    std::ofstream out(path, std::ios::binary);
    out << text << std::flush;
    ASSERT_TRUE(out.good()) << path;
}

void useCatalog() {
    setText(szRuntimePath, KVX_PROGRAM_DIR);
    setText(szLocale, "en_US");
}

void useTexts(const std::map<int, std::string> &texts) {
    static const scratchDirectory directory;
    std::string source = "$set 1\n$quote \"\n";
    for (const auto &[number, text] : texts) {
        source += std::to_string(number) + " \"";
        for (const char c : text)
            source += c == '\n' ? "\\n" : c == '"' || c == '\\' ? std::string("\\") + c : std::string(1, c);
        source += "\"\n";
    }
    const std::string catalog = directory.path + "/locale/en_US.iso88591/kvxistring.cat";
    writeFile(directory.path + "/texts", source);
    writeFile(catalog, "");
    fs::remove(catalog); // gencat adds to a catalog that is there
    ASSERT_EQ(system(("gencat " + catalog + " " + directory.path + "/texts").c_str()), 0);
    setText(szRuntimePath, directory.path);
    setText(szLocale, "en_US");
}

std::string message(int number, const std::vector<std::string> &tokens) {
    char szText[MESSAGE_SIZE];
    for (const std::string &token : tokens)
        addToken(token.c_str());
    return sqloGetString(number, szText, sizeof szText);
}

void expectReport(const std::string &name, std::string report) {
    static const std::pair<const char *, const char *> masks[] = {
        {"[A-Z][a-z]{2} [A-Z][a-z]{2} [ 1-3]\\d \\d\\d:\\d\\d:\\d\\d \\d{4}", "DATE"},
        {"(kvxprereqcheck[ab]?\\.|/proc/|Cannot create \\S*\\.)\\d+", "$1PID"},
        {"(Found (?:kernel|C library) level: )\\S+", "$1LEVEL"},
        {"(library in use: )\\S+", "$1PATH"},
        {"(^|\n|so\\. )( ?)\\d+( ?): ", "$1$2LINE$3: "},
    };
    for (size_t at; (at = report.find(KVX_PROGRAM_DIR)) != std::string::npos;)
        report.replace(at, strlen(KVX_PROGRAM_DIR), "PROGRAM");
    for (const auto &[pPattern, pMask] : masks)
        report = std::regex_replace(report, std::regex(pPattern), pMask);
    const std::string path = KVX_SOURCE_DIR "/tests/reports/" + name + ".txt";
    if (getenv("KVX_UPDATE_REPORTS") != nullptr) {
        writeFile(path, report);
        GTEST_SKIP() << "written anew: " << path;
    }
    EXPECT_EQ(report, readFile(path)) << path;
}

void setValue(Tag tag, const std::string &text) {
    ppszPREREQ[tag] = strdup(text.c_str());
}

std::vector<std::string> errorEntries() {
    std::vector<std::string> entries;
    for (const errorMsg *pError = pErrorList; pError != nullptr; pError = pError->next)
        entries.emplace_back(pError->szMessage, strnlen(pError->szMessage, sizeof pError->szMessage));
    return entries;
}
