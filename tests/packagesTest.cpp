// Package queries, answered by a real rpm with packages built for the tests (rpm/make-rpms).
#include "checkSupport.h"

#include <filesystem>
#include <regex>
#include <sys/utsname.h>

using std::string;
using std::vector;

namespace fs = std::filesystem;

static void onRpmHost(const fileList &files, const std::function<void()> &body) {
    onSoftwareHost(files, body, {KVX_PROGRAM_DIR "/tests/rpm-host"});
}

// The checks, to be called.
static checkCall package(const char *pPackage, const char *pFile, const char *pVersion = nullptr,
                         const char *pRelease = nullptr, int msgLevel = 1, int emitErrors = 1) {
    return std::bind(sqloCheckPackageLINUX, pPackage, pFile, pVersion, pRelease, msgLevel, emitErrors);
}
static checkCall command(const char *pCommand, const char *pVersion) {
    return std::bind(sqlocheckNtpChronyKsh, pCommand, pVersion, nullptr);
}
static checkCall hca(const char *pGroup, const char *pPackage, int b32Bit, int msgLevel, int emitErrors) {
    return std::bind(sqloCheckHCAPackageLINUX, pGroup, pPackage, b32Bit, msgLevel, emitErrors);
}
static checkCall mellanox(const char *pPackage, int b32Bit, int msgLevel, int emitErrors) {
    return std::bind(sqloCheckMellanoxPackageLINUX, "L", pPackage, b32Bit, msgLevel, emitErrors);
}
static checkCall presence(const char *pPackage, int b32Bit) {
    return std::bind(sqloCheckPackagePresenceLinux, "G", pPackage, b32Bit);
}
static checkCall sg(const char *pPackage, const char *pFile, int msgLevel, int emitErrors) {
    return std::bind(sqloCheckSGPackageLINUX, pPackage, pFile, msgLevel, emitErrors);
}

typedef vector<std::pair<checkCall, string>> judgedCalls;

static void expectJudged(const judgedCalls &rows) {
    for (const auto &[call, expected] : rows)
        EXPECT_EQ(judged(call), expected);
}

TEST(Packages, AreJudgedByVersionAndRelease) {
    const char *const pFile = "/usr/bin/kvx-tool", *const pNone = nullptr;
    const string release = "have 4.10 12.el8|", cut = "have 7." + string(97, '0') + "|";
    const auto tool = [](const string &lines) { return outcome("tool", lines); };
    const auto none = [](const string &lines) { return outcome("none", lines); };
    // clang-format off
    const judgedCalls rows = {
        {package("tool", pNone, "4.2"), tool("need # 4.2|have 4.10|ok|")}, {package("tool", pNone, "4.10"), tool("need # 4.10|ok|")},
        {package("tool", pNone, "4.11"), tool(recorded("need # 4.11|have 4.10|"))},
        {package("tool", pNone, "4.11", "1"), tool(recorded("need # 4.11 1|have 4.10|"))},
        {package("tool", pNone, "4.9", "99"), tool("need # 4.9 99|have 4.10|ok|")},
        {package("tool", pNone, "4.10", "9.el7"), tool("need # 4.10 9.el7|" + release + "ok|")},
        {package("tool", pNone, "4.10", "12"), tool("need # 4.10 12|" + release + "ok|")},
        {package("tool", pNone, "4.10", "13"), tool(recorded("need # 4.10 13|" + release))},
        {package(pNone, pFile, "4.11"), outcome(pFile, recorded("need # 4.11|have 4.10|"))},
        {package("none", pFile, "4.10"), none("need # 4.10|ok|")}, {package("none", pFile), none("found /usr/bin/kvx-tool|ok|")},
        {package("tool", pNone, pNone, "99"), tool("found #|ok|")}, {package("none", pNone), none(recorded("no package #|"))},
        {package("none", pNone, "1", pNone, 2, 0), none("need # 1|bad W|[need # 1|unmet #]")},
        {package("none", pNone, "1", pNone, 2, 1), none("need # 1|no package #|bad W|[need # 1|no package #|]")},
        {package("tool", "/usr/bin/none"), tool(recorded("no package #|"))},
        {package(pNone, "/etc/passwd", pNone, pNone, 1, 0), outcome("/etc/passwd", "bad E|[unmet ]")},
        {package("tool", pNone, "1", pNone, 0), tool("bad |[unmet #]")}, {package("tool", pNone, "1", pNone, 3), tool("bad |[unmet #]")},
        {package("longed", pNone, "7"), outcome("longed", "need # 7|" + cut + "ok|")},
        {package("kernel-devel", pNone, "4.18"), outcome("kernel-devel", "need # 4.18|have 4.18.0|ok|")},
        {package("chrony", pNone, "1"), outcome("chrony", "need # 1|unreadable|of #||bad E|[need # 1|unmet #]")},
        {package("worded", pNone, "1.0", "1"), outcome("worded", "need # 1.0 1|unreadable|of #||bad E|[need # 1.0 1|unmet #]")},
        {package("tool", pNone, "4.10a"), tool("need # 4.10a|ok|")}};
    // From the first check of a shell or time service on: equal versions by their texts, others by the release.
    const judgedCalls byText = {
        {package("tool", pNone, "4.2"), tool("need # 4.2|have 4.10|ok|")}, {package("tool", pNone, "4.010"), tool("need # 4.010|ok|")},
        {package("tool", pNone, "4.10", "12"), tool("need # 4.10 12|" + release + "ok|")},
        {package("tool", pNone, "4.10a"), tool(recorded("need # 4.10a|have 4.10|"))},
        {package("chrony", pNone, "1"), outcome("chrony", "need # 1|ok|")},
        {package("chrony", pNone, "1", "8"), outcome("chrony", recorded("need # 1 8|have snapshot 7.el8|"))}};
    // clang-format on
    onRpmHost({}, [&] {
        expectJudged(rows);
        kshntp = 1;
        expectJudged(byText);
    });
}

TEST(Packages, MatchRunningKernel) {
    const auto none = [](const string &kernel) {
        return "no kernel " + kernel + "|bad E|[unmet #][no kernel " + kernel + "|]";
    };
    const string el8 = "4.18.0-305.el8.x86_64";
    utsname running;
    uname(&running);
    // clang-format off
    const std::pair<string, string> rows[] = { // what uname does
        {"echo " + el8, "kernel " + el8 + " for " + el8 + "|ok|"}, {"exec /bin/uname -r", none(running.release)},
        {"echo 4.18.0-305.el8", "kernel " + el8 + " for 4.18.0-305.el8|ok|"}, {"echo " + el8 + "9", none(el8 + "9")},
        {"echo 4.18.0-3050", none("4.18.0-3050")}};
    // clang-format on
    for (const auto &[kernel, end] : rows) {
        const judgedCalls calls = {{package("kernel-devel", nullptr), outcome("kernel-devel", "found #|" + end)}};
        onRpmHost({fakeTool("uname", kernel)}, [&] { expectJudged(calls); });
    }
}

TEST(Packages, AreFoundThroughCommands) {
    const string ntp = "/usr/sbin/ntpd", ksh = "/usr/bin/ksh", tie = "need # 4.2.6p6|have 4.2.6p5|";
    // clang-format off
    const std::tuple<const char *, checkCall, string, string> rows[] = { // with ntpPackage; and what waits for the alternative
        {"ntpd", command("ksh", nullptr), outcome(ksh, "found #|ok|"), ""},
        {"ntpd", command("ksh", "20120802"), outcome(ksh, "need # 20120802|have 20120801|bad W|[need # 20120802|have 20120801|]"), ""},
        {"chronyd", command("ntpd", "5"), outcome(ntp, "need # 5|have 4.2.6p5|bad W|[need # 5|have 4.2.6p5|]"), ""},
        {"ntpd", command("ntpd", "5"), outcome(ntp, "need # 5|have 4.2.6p5|bad W|"), "need /usr/sbin/ntpd 5\nhave 4.2.6p5\n"},
        {"tool", command("tool", "4"), outcome("tool", "need # 4|bad W|"), "need tool 4\nunmet "},
        {"ntpd", command("ntpd", "4.2.6"), outcome(ntp, "need # 4.2.6|ok|"), ""},
        {"", command("ntpd", "4.2.6p6"), outcome(ntp, tie + "bad W|[" + tie + "]"), ""},
        {"", command("chronyd", "3.5"), outcome("/usr/sbin/chronyd", "need # 3.5|ok|"), ""}};
    // clang-format on
    onRpmHost({}, [&] {
        for (const auto &[pNtp, call, expected, waiting] : rows) {
            setValue(ntpPackage, pNtp);
            EXPECT_EQ(judged(call), expected);
            EXPECT_EQ(string(szNTPMessages), waiting);
            EXPECT_TRUE(kshntp == 1 && isNTP == 0);
        }
    });
}

TEST(Packages, HaveTheirArchitecture) {
    const std::tuple<int, const char *, string> rows[] = {
        {DISTRO_RHEL, "5", "p.i386"}, {DISTRO_RHEL, "6", "p.i686"},     {DISTRO_RHEL, "10.1", "p.i686"},
        {DISTRO_RHEL, "x", "p.i386"}, {DISTRO_RHEL, nullptr, "p.i386"}, {DISTRO_SUSE, "7", "p.i386"}};
    onRpmHost({fakeTool("dmidecode", "echo Manufacturer: VMware, Inc.")}, [&] {
        for (const auto &[distribution, pRelease, name] : rows) {
            linuxDistro = distribution;
            ppszPREREQ[RHELVersion] = const_cast<char *>(pRelease);
            const string expected = outcome("L: " + name, "bad |[unmet " + name + "]"); // no query for this severity
            expectJudged({{hca("L", "p", 1, 0, 1), expected}, {mellanox("p", 1, 3, 1), expected}});
        }
    });
}

TEST(Packages, AreFoundByGroup) {
    const char *const pIb = "Infiniband Support Package", *const pHpn = "High Performance Networking Package",
                      *const pRdma = "RDMA Infiniband Package", *const pPersist = "/usr/bin/sg_persist";
    const string ib = string(pIb) + ": ", hpn = string(pHpn) + ": ", rdma = string(pRdma) + ": ", p64 = "p.x86_64",
                 unable = "| The kvxprereqcheck utility was unable to find the following Mellanox package: p.x86_64||";
    // clang-format off
    const judgedCalls rows = {
        {hca(pIb, "librdmacm", 0, 1, 1), outcome(ib + "librdmacm.x86_64", "found librdmacm.x86_64|ok|")},
        {hca(pRdma, "libmlx4", 1, 1, 1), outcome(rdma + "libmlx4.i686", "found libmlx4.i686|ok|")},
        {hca(pHpn, "ibutils", 2, 1, 1), outcome(hpn + "ibutils.noarch", "found ibutils.noarch|ok|")},
        {hca(pIb, "libmlx4", 0, 1, 1), outcome(ib + "libmlx4.x86_64", recorded("no ib libmlx4.x86_64|"))},
        {hca(pHpn, "p", 0, 2, 1), outcome(hpn + p64, "no hpn p.x86_64|bad W|[no hpn p.x86_64|]")},
        {hca(pRdma, "p", 2, 1, 1), outcome(rdma + "p.noarch", recorded("no rdma p.noarch|"))},
        {hca(pIb, "p", 0, 1, 0), outcome(ib + p64, "bad E|[unmet p.x86_64]")},
        {mellanox("libmlx4", 1, 1, 1), outcome("L: libmlx4.i686", "found libmlx4.i686|ok|")},
        {mellanox("p", 0, 1, 1), outcome("L: p.x86_64", recorded(unable))},
        {mellanox("p", 0, 1, 0), outcome("L: p.x86_64", "bad E|[unmet p.x86_64]")},
        {presence("libmlx4", 1), "0 "}, {presence("libmlx4", 0), "-1 "},
        {sg("tool", nullptr, 1, 1), outcome("tool", "found tool|ok|")}, {sg("sg", pPersist, 1, 1), outcome("sg", "found /usr/bin/sg_persist|ok|")},
        {[&] { return writeFile(pPersist, "changed"), sqloCheckSGPackageLINUX("sg", pPersist, 1, 1); },
         "11    |check sg|no package sg|bad E|[bad E|]"},
        {sg("sg", "/usr/bin/kvx-tool", 2, 1), outcome("sg", "found /usr/bin/kvx-tool|ok|")},
        {sg("sg", "/none", 2, 0), "11    |check sg|bad W|[bad W|]"}, {sg("tool", nullptr, 0, 1), "11    |check tool|bad |[bad |]"}};
    // clang-format on
    onRpmHost({fakeTool("dmidecode", "exit 1")}, [&] {
        linuxDistro = DISTRO_RHEL;
        setValue(RHELVersion, "7");
        expectJudged(rows);
    });
}

TEST(Packages, TellOfedStack) {
    const string named = "echo MLNX_OFED_LINUX-5.8", tool = "/usr/bin/ofed_info";
    // clang-format off
    const std::tuple<const char *, string, string> rows[] = { // KVXMLNXOFED, what the tool does
        {nullptr, named, "-1 not run"}, {"false", named, "-1 not run"}, {"TRUEX", named, "-1 not run"},
        {"", named, "0 "}, {"t", named, "0 "}, {"tRuE", named, "0 "}, {"TRUE", "", "-1 not run"},
        {"TRUE", "echo OFED-5", "-1 "}, {"TRUE", "echo; " + named, "0 "}, {"TRUE", "echo; echo; " + named, "-1 "},
        {"TRUE", named + "; exit 1", "0 "}};
    // clang-format on
    for (const auto &row : rows) {
        const string &body = std::get<1>(row);
        onRpmHost(body.empty() ? fileList{} : fileList{{tool, "#!/bin/sh\ntouch /ran\n" + body + "\n"}}, [&row] {
            if (std::get<0>(row) != nullptr)
                setenv("KVXMLNXOFED", std::get<0>(row), 1);
            const string all = judged(sqloCheckMellanoxLINUX);
            EXPECT_EQ(all + (fs::exists("/ran") ? "" : "not run"), std::get<2>(row));
        });
    }
}
