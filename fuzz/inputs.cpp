// The inputs of fuzz-replay: those made of the project's own files, and those that cannot be made of them.
#include "fakeHost.h"

#include <fstream>
#include <iterator>
#include <regex>

#include "sqloPrereqCheck.h"

using std::string;

static string readFile(const string &path) {
    std::ifstream file(KVX_SOURCE_DIR "/" + path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

static const string sample = readFile("samples/KVXprereqs.xml");
static const string x250(250, 'x');
static const string x255(255, 'x');
static const string x300(300, 'x');
static const string x600(600, 'x');
static const string x4096(4096, 'x');

// A target, and an input as fakeHost.h explains it. An input that a fuzzer failed on belongs here, too.
static const std::pair<const char *, string> kept[] = {
    {"prerequisites", "0 LinuxDistro=SUSE 011\n"
                      "1.2 1.10 2 RHELSP 5\n"
                      "<RHEL value=\"RHELSP < 4 Foo = 1\">"
                      "\036<KVXLevel value=\"9.8\">\n"
                      "<KVXLevel value=\"10.5\">\n"
                      "<KVXLevel value=\"x\">\n"
                      "<KVXLevel value=\"\">\n"
                      "<KVXLevel value=\"" +
                          x300 + "\">"},
    {"prerequisites", "0 RHELSP=4x\n"
                      "1.1.1.1.1.1.1.1.1.1.1 1..2 1.x.3 RHELSP 3\n"
                      "<" +
                          x300 + " value=\"LinuxDistro = " + x300 +
                          "\">"
                          "\036" +
                          sample},
    {"messages", "0 KVXLANG=de_DE.utf-8@euro\n" + x300 +
                     " 8 longer\n"
                     "abc %1 %0, 100%% %12 %x " +
                     x300},
    {"hosts", "0 MinCNTVersion=7 MinCNTSP=2\n"
              "RHEL\n"
              "CentOS Linux release 7.9.2009 (Core)\n"
              "\036CentOS Linux release 7.9.2009 (Core)\n"
              "\036DISTRIB_RELEASE=7\n"
              "\0365.14.0-1.el9.x86_64\n"},
    {"hosts", "10 MinRHELVersion=9 MinRHELSP=4 MinOSVersion=5 MinOSRelease=14\n\n"
              "Red Hat Enterprise Linux release 9.4 (Plow)\n"},
    {"hosts", "110\n\n"
              "SUSE Linux\n"
              "VERSION = 11\n"
              "PATCHLEVEL = 4\n"},
    {"hosts", "11110 01\n\n"
              "Inspur K-UX 3.2 (x)\n"},
    {"hosts", "1110\n"
              "SUSE 14.04 one two.site three\n"
              "DISTRIB_ID=Ubuntu\n"
              "DISTRIB_RELEASE=22.04\n"
              "\0365.15.0\n"
              "\03610.0.0.1 one.site one # first\n"
              "10.0.0.2\ttwo " +
                  x300 +
                  "\n"
                  "10.0.0.2 three one\n"},
    {"checks", "a0 CPPVersionString=CXXABI_1.3.8\n\n"
               "7f00-7f01 r-xp 0 08:01 42 /usr/lib/libstdc++.so.6\n"
               "\036ELF 64-bit\n"
               "\036CXXABI_1.3\n"
               "CXXABI_1.3.8\n"},
    {"checks", "a0\n\n"
               "7f00-7f01 r-xp 0 08:01 42 /" +
                   x250 + "/libstdc++.so.6\n"},
    {"checks", "b0 LibCVersion=2 LibCMajorRelease=17\n\n"
               "7f02 r-xp 0 08:01 4 /lib/libc.so.6\n"
               "\036GNU C Library stable release version 2.36.\n"},
    {"checks", "c0\n\n"
               "libpam.so: ELF 32-bit\n"},
    {"checks", "d0 0000001\n"
               "kernel-devel\n"
               "ignored\n"
               "\0365.14.0-1\n"
               "\0365.14.0-1.x86_64\n"},
    {"checks", "d0\n"
               "ksh /bin/" +
                   x4096 +
                   " 93 2\n"
                   "ksh\n"
                   "93\n"
                   "2.el9\n"},
    {"checks", "e0 ntpPackage=ntpd\n"
               "ntpd 4.2\n"
               "/usr/sbin/ntpd\n"
               "\036ntp\n"
               "4.2.6p5\n"
               "1\n"},
    {"checks", "g0 KVXMLNXOFED=TRUE\n\n"
               "x\n"
               "MLNX_OFED_LINUX-5.0\n"},
    {"checks", "j0\n\n"
               "openibd 3:off\n"},
    {"checks", "k0\n" + x255 +
                   "\n"
                   "someuser:x:1001:100::/home/someuser:/bin/sh\n"
                   "\036grp:x:100:\n"},
    {"checks", "m0 KVXTMPDIR=" + x4096 +
                   "\n"
                   "/var 2000\n"
                   "Avail\n"
                   "1999\n"},
    {"checks", "n0 SLESVersion=11 2\n\n"
               "#options log_mtts_per_seg=7\n"
               "options a log_mtts_per_seg=3"},
    {"checks", "u0 LinuxDistro=" + x300 +
                   " 1000000000000001\n"
                   "one.site two\n"
                   "report line\n\n"
                   "next\n"},
    {"checks", "w0 00000001\n"
               "/dev/sda1/ disk / /" +
                   x300 +
                   "\n"
                   "scsi-1,../../sda1\n"
                   "\036/dev/sdb scsi\n"},
    {"checks", "x0\n"
               "/" +
                   x300 +
                   " one here\n"
                   "ID-1\n"
                   "\036ID-1 ../../sdd\n"},
    {"checks", "y0\n"
               "one /dev/sda id\n" +
                   x600 + "\n"},
    {"run", "0 KVXINSTANCE=" + x300 +
                "\n"
                "kvxprereqcheck -d -vastdw -usrname u -sqllib -service 50000 -svcename s -partitions 4\n"
                "/opt/kvx/sqllib/bin/kvx\n"
                "\036" +
                sample},
};

// An input for each match in a file, at its place among other text.
static void addMatches(strings *pInputs, const string &path, const char *pPattern, const string &before,
                       const string &behind) {
    const string content = readFile(path);
    const std::regex pattern(pPattern);
    for (std::sregex_iterator match(content.begin(), content.end(), pattern), end; match != end; ++match)
        pInputs->push_back(before + (*match)[1].str() + behind);
}

strings inputsOf(const string &target) {
    strings inputs;
    for (const auto &[name, input] : kept)
        if (target == name)
            inputs.push_back(input);
    if (target == "prerequisites")
        addMatches(&inputs, "samples/KVXprereqs.xml", "(<\\w+ value=.*>)", "0 LinuxDistro=RHEL\n1 2 3 RHELVersion 7\n",
                   "\036" + sample);
    if (target == "messages")
        addMatches(&inputs, "locale/en_US.iso88591/kvxistring.msg", "\"(.*)\"", "0\nde_DE 255 one two three\n", "");
    if (target == "run")
        addMatches(&inputs, "engn/sqo/sqloPrereqCheck.cpp", "\"(-[^ \"]+)\"", "0\n/opt/kvx ",
                   " 12.1 -v 12.1\n/opt/kvx\n\036" + sample);
    for (char check = 'a'; target == "checks" && check <= 'z'; check++)
        for (const char *pDecisions : {"0", "1111"})
            inputs.push_back(string(1, check) + pDecisions + "\none /dev/sda two\n4.2\n\0365.1\n");
    for (const prereqlmap_t &row : prereqLocmap)
        if (target == "messages")
            inputs.push_back(string("0\n") + row.name);
    return inputs;
}
