// The host's distribution, release, kernel level and word size.
#include "support.h"

#include <filesystem>

using std::string;
using std::vector;

// What detection answers, the distribution that it found, and everything that it stored.
static string detected() {
    string all = std::to_string(sqloGetLinuxDistributions());
    all += string(" ") + ppszDistroName[linuxDistro];
    for (int tag = RHELVersion; tag <= CNTSP; tag++)
        if (ppszPREREQ[tag] != nullptr)
            all += string(" ") + ppszTagName[tag] + "=" + ppszPREREQ[tag];
    return all;
}

TEST(Platform, FindsDistributionAndRelease) {
    const string centos = "/etc/centos-release", redhat = "/etc/redhat-release", suse = "/etc/SuSE-release",
                 lsb = "/etc/lsb-release", inspur = "/etc/inspur-release", os = "/etc/os-release",
                 rhel7 = "Red Hat Enterprise Linux Server release 7.9 (Maipo)\n", kux = "Inspur K-UX-Server 3.1 (x)\n",
                 suse15 = "PRETTY_NAME=\"SUSE Linux 15 SP3\"\nVERSION_ID=\"15.3\"\n";
    // clang-format off
    const vector<std::pair<vector<std::pair<string, string>>, string>> rows = {
        {{{redhat, rhel7}}, "0 RHEL RHELVersion=7 RHELSP=9"}, {{{inspur, kux}}, "0 INSPUR IAVersion=3 IASP=1"},
        {{{centos, "CentOS Linux release 7.9.2009 (Core)\n"}}, "0 CENTOS CNTVersion=7 CNTSP=9"},
        {{{suse, "SUSE Linux 11 (x86_64)\nVERSION = 11\nPATCHLEVEL = 4\n"}}, "0 SUSE SLESVersion=11 SLESSP=4"},
        {{{lsb, "DISTRIB_ID=Ubuntu\nDISTRIB_RELEASE=22.04\n"}}, "0 UBUNTU"}, {{}, "8 "},
        {{{os, suse15}}, "0 SUSE SLESVersion=15 SLESSP=3\n"}, {{{os, "PRETTY_NAME=Debian\nNAME=SUSE\n"}}, "8 "},
        // The first file decides.
        {{{redhat, rhel7}, {centos, "CentOS release 6.5\n"}}, "0 CENTOS CNTVersion=6 CNTSP=5"},
        {{{suse, "VERSION = 11\n"}, {redhat, rhel7}}, "0 RHEL RHELVersion=7 RHELSP=9"},
        {{{lsb, "DISTRIB_ID=Ubuntu\n"}, {suse, "VERSION = 11\n"}}, "0 SUSE SLESVersion=11"},
        {{{inspur, kux}, {lsb, "DISTRIB_ID=Ubuntu\n"}}, "0 UBUNTU"},
        {{{inspur, kux}, {lsb, "DISTRIB_ID=Debian\n"}, {os, suse15}}, "8 "},
        {{{inspur, kux}, {lsb, "DISTRIB_RELEASE=3\n"}, {os, suse15}}, "0 INSPUR IAVersion=3 IASP=1"},
        // Words of a release line; a long line comes in pieces of 255 characters.
        {{{redhat, ""}}, "0 RHEL"}, {{{redhat, "Red Hat 9.4\n"}}, "0 RHEL"}, {{{redhat, "Release 9.4\n"}}, "0 RHEL"},
        {{{redhat, "Red Hat releases 10 (X)\n"}}, "0 RHEL RHELVersion=10"}, {{{redhat, "a release\n9.4\n"}}, "0 RHEL"},
        {{{redhat, "Red Hat\n  release  8.10.1  \n"}}, "0 RHEL RHELVersion=8 RHELSP=10"},
        {{{redhat, "release 9.4 (Plow)\r\n"}}, "0 RHEL RHELVersion=9 RHELSP=4"},
        {{{redhat, "release 9.4"}}, "0 RHEL RHELVersion=9 RHELSP=4"},
        {{{redhat, string("\177ELF\0\377\n release\0", 16)}}, "0 RHEL"},
        {{{redhat, string(300, 'x') + " release 9.4 (Plow)\n"}}, "0 RHEL RHELVersion=9 RHELSP=4"},
        {{{redhat, string(251, 'x') + " release 9.4 (Plow)\n"}}, "0 RHEL"},
        // "key = value" lines.
        {{{suse, "VERSION=11\nVERSION =  12\nPATCHLEVEL = \n"}}, "0 SUSE SLESVersion= 12 SLESSP="},
        {{{suse, "VERSION 11\nNO VERSION PATCHLEVEL = 5=6\n"}}, "0 SUSE SLESVersion=5=6"},
        // Ubuntu is every beginning of the word, and nothing else.
        {{{lsb, "DISTRIB_ID=uBu\n"}}, "0 UBUNTU"}, {{{lsb, "DISTRIB_ID=\n"}}, "0 UBUNTU"},
        {{{lsb, "DISTRIB_ID=\"Ubuntu\"\n"}}, "8 "}, {{{lsb, "DISTRIB_ID=Ubuntu Core\n"}}, "8 "},
        {{{lsb, "DISTRIB_ID\nX=DISTRIB_ID=Debian\nMY_DISTRIB_IDS=u\nDISTRIB_ID=Debian\n"}}, "0 UBUNTU"},
        // SUSE by /etc/os-release, which the shell reads.
        {{{os, "PRETTY_NAME='openSUSE Leap'\nVERSION_ID=15\n"}}, "0 SUSE SLESVersion=15\n"},
        {{{os, "PRETTY_NAME=SUSE\nVERSION_ID=15.5.1\n"}}, "0 SUSE SLESVersion=15 SLESSP=5"},
        {{{os, "PRETTY_NAME=SUSE\n"}}, "0 SUSE"},
        {{{os, "PRETTY_NAME='$(touch /ran); `touch /ran` SUSE'\nVERSION_ID='15.3;touch /ran'\n"}},
         "0 SUSE SLESVersion=15 SLESSP=3;touch /ran\n"}};
    // clang-format on
    useCatalog();
    const string unsupported = message(MSG_DISTRIBUTION_UNSUPPORTED) + "\n";
    for (const auto &[files, expected] : rows) {
        privateHost host;
        host.removed = {os};
        host.files = files;
        onHost(host, [&, expected = expected] {
            string found;
            const printed shown = capture([&] { found = detected(); });
            EXPECT_EQ(found, expected);
            EXPECT_EQ(shown.out + shown.err, expected == "8 " ? unsupported : "") << expected;
            EXPECT_FALSE(sqloFileExists("/ran"));
        });
    }
}

// Texts that leave the order of lines and tokens to look at.
static void useShortTexts() {
    // clang-format off
    useTexts({{30018, "ERROR"}, {30021, "kernel"}, {30022, "distribution"}, {30046, "need %1.%2.%3"}, {30054, "ok"},
              {30047, "have %1.%2.%3"}, {30050, "need %1 %2 %3"}, {30051, "have %1 %2"}, {30053, "check %1"},
              {30055, "bad %1"}, {30095, "nothing"}, {30096, "have %1"}, {30097, "need %1 %2"}, {33501, "no file %1"},
              {33508, "unreadable"}, {33509, "in %1"}, {33544, "malformed"}, {33555, "unfit %1"},
              {33596, "%1 not %2 on %3"}});
    // clang-format on
}

// A check's status, its lines of the report and, in brackets, the failures that it recorded, "=" when they are among
// those lines as they stand; '|' ends a line.
static string judged(const std::function<int()> &check) {
    int status = 1;
    pErrorList = nullptr;
    string all = capture([&] { status = check(); }).out;
    for (const string &entry : errorEntries())
        all += all.find(entry) == string::npos ? "[" + entry + "]" : "[=]";
    for (char &c : all)
        c = c == '\n' ? '|' : c;
    return std::to_string(status) + " " + all;
}

TEST(Platform, JudgesReleaseOfDistributionFound) {
    const vector<vector<Tag>> tags = {
        {}, {MinRHELVersion, MinRHELSP, RHELVersion, RHELSP}, {MinSLESVersion, MinSLESSP, SLESVersion, SLESSP},
        {}, {MinIAVersion, MinIASP, IAVersion, IASP},         {MinCNTVersion, MinCNTSP, CNTVersion, CNTSP}};
    // clang-format off
    const vector<std::tuple<int, vector<const char *>, string>> rows = { // the minimums, then what was found
        {DISTRO_RHEL, {"7", "6", "8", nullptr}, "0 |need RHEL 7 6|have 8 |ok|"},
        {DISTRO_RHEL, {"9", "6", "10", "1"}, "0 |need RHEL 9 6|have 10 1|ok|"},
        {DISTRO_RHEL, {"7", "6", "7", "10"}, "0 |need RHEL 7 6|have 7 10|ok|"},
        {DISTRO_RHEL, {"7", nullptr, "7", nullptr}, "0 |need RHEL 7 |have 7 |ok|"},
        {DISTRO_RHEL, {nullptr, nullptr, "7", "1"}, "0 |need RHEL  |have 7 1|ok|"},
        {DISTRO_RHEL, {"7", "6", "6", "9"}, "-1 |need RHEL 7 6|have 6 9|bad ERROR|[=]"},
        {DISTRO_RHEL, {"7", "6", "7", "5"}, "-1 |need RHEL 7 6|have 7 5|bad ERROR|[=]"},
        {DISTRO_RHEL, {"7", "6", "7", nullptr}, "-1 |need RHEL 7 6|have 7 |bad ERROR|[=]"},
        {DISTRO_RHEL, {"7", "6", "x", "6"}, "-1 |need RHEL 7 6|have x 6|unreadable|bad ERROR|[=]"},
        {DISTRO_SUSE, {"15", "5", "15", "5\n"}, "0 |need SUSE 15 5|have 15 5||ok|"},
        {DISTRO_SUSE, {"15", "5", "15", "4\n"}, "-1 |need SUSE 15 5|have 15 4||bad ERROR|[=]"},
        {DISTRO_INSPUR, {"3", "2", "3", "1"}, "-1 |need INSPUR 3 2|have 3 1|bad ERROR|[=]"},
        {DISTRO_INSPUR, {nullptr, nullptr, "3", "1"}, "-1 |unfit 11.5|bad ERROR|[=]"},
        {DISTRO_CENTOS, {nullptr, "6", "7", "9"}, "-1 |unfit 11.5|bad ERROR|[=]"},
        {DISTRO_CENTOS, {"7", "6", "7", "5"}, "-1 |need CENTOS 7 6|have 7 5|bad ERROR|[=]"}};
    // clang-format on
    useShortTexts();
    setValue(KVXLevel, "11.5");
    setText(IIHName, "dbhost");
    for (auto [distribution, values, expected] : rows) {
        setValue(LinuxDistro, ppszDistroName[linuxDistro = distribution]);
        for (size_t i = 0; i < 4; i++)
            ppszPREREQ[tags[distribution][i]] = const_cast<char *>(values[i]);
        expected.insert(expected.find('|'), "check distribution");
        EXPECT_EQ(judged(sqloCheckLinuxDistributions), expected);
    }
    for (const string given : {"centos", "RHEL"}) {
        setText(szInputDistro, given);
        const string mismatch = given == "RHEL" ? "RHEL not CENTOS on dbhost|" : "";
        EXPECT_EQ(judged(sqloCheckLinuxDistributions).rfind("-1 " + mismatch + "check", 0), 0U) << given;
    }
    // A caller that wants no report of what cannot be read; then a severity that is none.
    linuxDistro = DISTRO_RHEL;
    EXPECT_EQ(judged([] { return sqloCheckSUSERHELRelease("7", "6", nullptr, nullptr, 1, 0); }),
              "-1 need CENTOS 7 6|have  |bad ERROR|[=]");
    EXPECT_EQ(judged([] { return sqloGetSUSERHELRelease("/none", 2, 1); }), "-1 no file /none|");
    EXPECT_EQ(judged([] { return sqloGetSUSERHELRelease("/none", 1, 0); }), "-1 ");
    EXPECT_EQ(judged([] { return sqloGetSUSERHELRelease("/none", 3, 1); }), "-1 ");
}

TEST(Platform, JudgesUbuntuRelease) {
    // clang-format off
    const vector<std::tuple<const char *, string, int, int, string>> rows = {
        {"DISTRIB_ID=Ubuntu\nDISTRIB_RELEASE=22.04\n", "22.04", 1, 1, "0 need UBUNTU 22.04|have 22.04|ok|"},
        {"DISTRIB_RELEASE=14.04", "12.04", 1, 1, "0 need UBUNTU 12.04|have 14.04|ok|"},
        {"DISTRIB_RELEASE=13.10\n", "13.10", 1, 0, "0 need UBUNTU 13.10|have 13.10|ok|"},
        {"DISTRIB_RELEASE=9.10\nDISTRIB_RELEASE=22.04\n", "1", 1, 0, "0 need UBUNTU 1|have 9.10|ok|"},
        {"DISTRIB_RELEASE=9.10\n", "14.04", 1, 0, "-1 need UBUNTU 14.04|have 9.10|bad ERROR|[=]"},
        {"DISTRIB_RELEASE=x\n", "1", 0, 0, "-1 need UBUNTU 1|have x|unreadable|in lsb|bad ERROR|[=]"},
        {"X=DISTRIB_RELEASE=2\n", "1", 1, 0, "-1 need UBUNTU 1|unreadable|in lsb|bad ERROR|[need UBUNTU 1|nothing]"},
        {"DISTRIB_RELEASE 2\n", "1", 0, 0, "-1 need UBUNTU 1|ok|"}, {nullptr, "1", 0, 0, "-1 need UBUNTU 1|ok|"},
        {nullptr, "1", 1, 0, "-1 need UBUNTU 1|no file lsb|ok|"}};
    // clang-format on
    useShortTexts();
    const scratchDirectory scratch;
    std::filesystem::current_path(scratch.path);
    for (auto [pText, minimum, bReport, bIs14, expected] : rows) {
        remove("lsb");
        if (pText != nullptr)
            writeFile(scratch.path + "/lsb", pText);
        isUbuntu14 = 0;
        expected.insert(expected.find(' ') + 1, "   |check distribution|");
        EXPECT_EQ(judged(std::bind(sqloCheckLSBRelease, "lsb", minimum.c_str(), 1, bReport)), expected);
        EXPECT_EQ(isUbuntu14, bIs14) << expected;
    }
    std::filesystem::current_path("/");
    linuxDistro = DISTRO_UBUNTU;
    setValue(MinUBUNTUVersion, "20.04");
    for (const string found : {"22.04", "18.04"}) {
        privateHost host;
        host.files = {{"/etc/lsb-release", "DISTRIB_RELEASE=" + found + "\n"}};
        onHost(host, [&] { capture([&] { EXPECT_EQ(sqloCheckLinuxDistributions(), found == "22.04" ? 0 : -1); }); });
    }
}

TEST(Kernel, IsIdentified) {
    EXPECT_EQ(sqloGetOSLevel(), 0);
    string level = string(ppszPREREQ[OSVersion]) + "." + ppszPREREQ[OSRelease];
    if (ppszPREREQ[OSMinorRelease] != nullptr)
        level += string(".") + ppszPREREQ[OSMinorRelease];
    EXPECT_EQ((string(name.release) + "-").rfind(level + "-", 0), 0U) << level << " of " << name.release;
    for (const string machine : {"x86_64", "s390x", "ppc64le", "aarch64", "i686", "ppc64", "x86_64h", "X86_64", ""}) {
        setText(name.machine, machine);
        EXPECT_EQ(sqloIsOS64bit(), machine == "x86_64" || machine == "s390x" || machine == "ppc64le") << machine;
    }
}

TEST(Kernel, IsJudgedPartByPart) {
    const string malformed = "-1 need 3.0.0|malformed|bad ERROR|[need 3.0.0|nothing]";
    // clang-format off
    const vector<std::tuple<string, const char *, const char *, const char *, string>> rows = {
        {"4.18.0-305.el8.x86_64", "4", "18", "0", "0 need 4.18.0|have 4.18.0|ok|"},
        {"4.18.0-305.el8.x86_64", "4", "18", "1", "-1 need 4.18.1|have 4.18.0|bad ERROR|[=]"},
        {"4.18.0", "3", "99", "99", "0 need 3.99.99|have 4.18.0|ok|"},
        {"10.0.0-1", "9", "9", "9", "0 need 9.9.9|have 10.0.0|ok|"},
        {"4.18.9", "4", "19", "0", "-1 need 4.19.0|have 4.18.9|bad ERROR|[=]"},
        {"4.18.9", "5", "0", "0", "-1 need 5.0.0|have 4.18.9|bad ERROR|[=]"},
        {"4.18.0", "4", "9", "99", "0 need 4.9.99|have 4.18.0|ok|"},
        {"4.18.0", "4", "18", nullptr, "0 need 4.18.0|have 4.18.0|ok|"},
        {"3.10.9.x-y", "3", "10", "10", "-1 need 3.10.10|have 3.10.9.x|bad ERROR|[=]"},
        {"1.0.0", nullptr, nullptr, nullptr, "0 need 0.0.0|have 1.0.0|ok|"},
        {"99999999999.0.0", "2147483646", "9", "9", "0 need 2147483646.9.9|have 99999999999.0.0|ok|"},
        {"6.1.0", "99999999999", "0", "0", "-1 need 99999999999.0.0|have 6.1.0|bad ERROR|[=]"},
        {"5.4", "3", "0", "0", malformed}, {"", "3", "0", "0", malformed}, {"x.y.z", "3", "0", "0", malformed},
        {"5.4.x86", "3", "0", "0", malformed}, {"5.-4.1", "3", "0", "0", malformed}};
    // clang-format on
    useShortTexts();
    for (auto [release, pVersionText, pReleaseText, pMinorText, expected] : rows) {
        setText(name.release, release);
        ppszPREREQ[MinOSVersion] = const_cast<char *>(pVersionText);
        ppszPREREQ[MinOSRelease] = const_cast<char *>(pReleaseText);
        ppszPREREQ[MinOSMinorRelease] = const_cast<char *>(pMinorText);
        expected.insert(expected.find(' ') + 1, "   |check kernel|");
        EXPECT_EQ(judged(sqloCheckOSLevel), expected);
        EXPECT_EQ(string(name.release), release);
    }
}
