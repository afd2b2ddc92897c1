// The clustered feature's sequence: which checks it makes, in which order, to what status; and free space.
#include "checkSupport.h"

#include <filesystem>
#include <iostream>
#include <regex>
#include <sstream>
#include <sys/mount.h>
#include <unistd.h>

using std::string;
namespace fs = std::filesystem;

struct ShareGrid : testing::Test {
    void SetUp() override {
        onHost({}, [] {});
        // clang-format off
        useTexts({{30017, "W"}, {30018, "E"}, {30025, "libc"}, {30040, "selinux"}, {30053, "%1"}, {30054, "+%1"},
                  {30055, "-%1"}, {30132, "met %1 %2%3"}, {30187, "no time"}, {33546, "no file%1"},
                  {33547, "no answer %1"}, {33571, "short %1 %2 %3 %4%5"}, {33594, "low %1 %2 %3 %4%5"}});
        // clang-format on
    }
};

// NAME=TEXT is a value of the level or of the environment; "full" puts an entry into each list.
static void applyWord(const string &word) {
    // clang-format off
    static const std::map<string, int *> flags = {
        {"shared", &bShareGrid}, {"client", &bClient}, {"nonIB", &bNonIB}, {"mhca", &bMHCA}, {"nets", &bNetName},
        {"custom", &bCustomNetworkType}, {"hosts", &bHostName}, {"disks", &bDiskName}, {"users", &bInstName},
        {"tb", &bTbDiskName}, {"hostList", &bHostList}, {"home", &bInputInstanceHome}, {"path", &bInputInstallPath},
        {"strict", &strictFlag}, {"distro", &linuxDistro}};
    // clang-format on
    const size_t at = word.find('=');
    const string name = word.substr(0, at), text = at == string::npos ? "1" : word.substr(at + 1);
    const int tag = sqloGetTagIndex(name.c_str());
    if (flags.count(name) == 1)
        *flags.at(name) = std::stoi(text);
    else if (tag >= 0)
        setValue(static_cast<Tag>(tag), text);
    else if (at != string::npos)
        setenv(name.c_str(), text.c_str(), 1);
    else if (word == "full")
        updateHostList("x"), updateUserList("x", 0, 0, 0), updateNetNames("x"), updateDiskList("/x", "", 0);
}

// What the sequence comes to: each check with its closing line, "?" for a package that only rpm was asked for, in the
// order in which report and tools log them into one file; then the status and the number of errors.
static string sequenceUnder(const string &words) {
    const string tool = "#!/bin/sh\nfor last; do :; done\ngiven() { case $GIVEN in *\" $1 \"*) ;; *) false; esac; }\n",
                 space = "echo $last >> /log; case $GIVEN in *\" $last:\"*) free=${GIVEN#*\" $last:\"};;\n"
                         "*) free=9999999; esac; echo a b c d; echo 1 1 1 ${free%% *}\n";
    fileList fakes = {{"/usr/sbin/getenforce", tool + "given enforcing && echo Enforcing || echo Disabled\n"},
                      {"/usr/bin/ofed_info", tool + "echo ofed >> /log; given MLNX && echo MLNX_OFED_LINUX-5\n"},
                      {"/fakes/strings", "#!/bin/sh\necho release version 2.36.\n"},
                      {"/fakes/rpm", tool + "echo \"?$last\" >> /log; given $last && printf 'name\\n2\\n1\\n'\n"},
                      {"/fakes/df", tool + space}};
    for (const string name : {"which", "ssh", "ping", "dmidecode", "chkconfig", "ls"})
        fakes.emplace_back("/fakes/" + name, "#!/bin/sh\nexit 1\n");
    const auto body = [&] {
        setenv("GIVEN", (" " + words + " ").c_str(), 1);
        setText(szReportFile, "/log");
        setText(szInputHome, "/home");
        setText(szInputInstallPath, "/opt");
        bCustomReportFile = linuxDistro = 1;
        std::istringstream stream(words);
        for (string word; stream >> word;)
            applyWord(word);
        const int status = sqloCheckPrereqShareGrid();
        std::cout << readFile("/log") << status << " " << errorEntries().size();
    };
    // clang-format off
    const fileList rules = {
        {"(Unable|met|short|low) [^\n]*\n|   \n|free space\n|\n The \\w+ utility was unable to find [^\n]*\n\n", ""},
        {"\n The kvxprereqcheck utility detected HPN package along with Mellanox package. Both the packages cannot "
         "co_exist\n\n", "conflict\n"}, {"Infiniband Support Package: ", "ib "}, {"RDMA Infiniband Package: ", "rdma "},
        {"High Performance Networking Package: ", "hpn "}, {"([ \n])([^ \n?]+)\n\\?\\2\n", "$1$2\n"},
        {"\n([-+]\\w*\n)", "$1"}, {"\n", " "}};
    // clang-format on
    return replaced(capture([&] { onSoftwareHost(fakes, body, {}); }).out, rules);
}

TEST_F(ShareGrid, MakesTheseChecks) {
    expectCases("clustered-sequence", sequenceUnder);
}

// A case is the directory, the kilobytes required, the level, the directory for the capture file, and what df does.
static string spaceUnder(const string &words) {
    std::istringstream stream(words);
    string dir, directory, df;
    int required = 0, level = 0;
    std::getline(stream >> dir >> required >> level >> directory, df);
    const auto body = [&] {
        fs::create_directory("/small;>ran");
        ASSERT_EQ(mount("tmpfs", "/small;>ran", "tmpfs", 0, "size=1024k"), 0);
        writeFile("/small;>ran/file", "fills a page");
        fs::create_directories("/blocked/kvxprereqcheck." + std::to_string(getpid()));
        setenv("KVXTMPDIR", directory.c_str(), 1);
        setText(IIHName, dir.substr(1));
        setText(szGUIReportFile, "/gui");
        bGUIReportFile = 1;
        std::cout << judged([&] { return sqloCheckFreeSpace(dir.c_str(), required, level); }) << " "
                  << readFile("/fakes/log") << (fs::exists("ran") ? "ran" : "");
    };
    return capture([&] { onSoftwareHost({fakeTool(df.empty() ? "none" : "df", df)}, body, {}); }).out;
}

TEST_F(ShareGrid, CountsFreeSpace) {
    expectCases("clustered-space", spaceUnder);
}

TEST_F(ShareGrid, ReportsAsExpected) {
    expectCases("clustered-reports", runInShell);
}
