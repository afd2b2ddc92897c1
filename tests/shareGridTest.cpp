// The clustered feature's sequence: which checks it makes, in which order, to what status; and free space.
#include "checkSupport.h"

#include <iostream>
#include <sstream>

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

// What the sequence comes to: each check with its closing line, "?" for a package that only rpm was asked for, in the
// order in which report and tools log them into one file; then the status and the number of errors.
static string sequenceUnder(const string &words) {
    const string tool = "#!/bin/sh\nfor last; do :; done\ngiven() { case $GIVEN in *\" $1 \"*) ;; *) false; esac; }\n",
                 space = "echo $last >> /log; case $GIVEN in *\" $last:\"*) free=${GIVEN#*\" $last:\"};;\n"
                         "*) free=9999999; esac; echo a b c d; echo 1 1 1 ${free%% *}\n";
    privateHost host;
    host.binds = {szRuntimePath};
    host.files = {{"/usr/sbin/getenforce", tool + "given enforcing && echo Enforcing || echo Disabled\n"},
                  {"/usr/bin/ofed_info", tool + "echo ofed >> /log; given MLNX && echo MLNX_OFED_LINUX-5\n"},
                  {"/fakes/strings", "#!/bin/sh\necho release version 2.36.\n"},
                  {"/fakes/rpm", tool + "echo \"?$last\" >> /log; given $last && printf 'name\\n2\\n1\\n'\n"},
                  {"/fakes/df", tool + space}};
    for (const string name : {"which", "ssh", "ping", "dmidecode", "chkconfig", "ls"})
        host.files.emplace_back("/fakes/" + name, "#!/bin/sh\nexit 1\n");
    const auto body = [&] {
        setenv("PATH", (string("/fakes:") + getenv("PATH")).c_str(), 1);
        setenv("GIVEN", (" " + words + " ").c_str(), 1);
        setText(szReportFile, "/log");
        setText(szInputHome, "/home");
        setText(szInputInstallPath, "/opt");
        bCustomReportFile = linuxDistro = 1;
        std::istringstream stream(words);
        for (string word; stream >> word;)
            if (word.find('=') != string::npos)
                applySetting(word);
            else if (word == "full")
                updateHostList("x"), updateUserList("x", 0, 0, 0), updateNetNames("x"), updateDiskList("/x", "", 0);
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
    return replaced(capture([&] { onHost(host, body); }).out, rules);
}

TEST_F(ShareGrid, MakesTheseChecks) {
    expectCases("clustered-sequence", sequenceUnder);
}

TEST_F(ShareGrid, CountsFreeSpace) {
    useNamedTexts(false);
    expectCases("clustered-space", checked("mkdir '/small;>ran'; mount -t tmpfs -o size=1024k tmpfs '/small;>ran'\n"
                                           "echo fills a page >'/small;>ran/file'"));
}

TEST_F(ShareGrid, ReportsAsExpected) {
    expectCases("clustered-reports", runInShell);
}
