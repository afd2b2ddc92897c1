// No word from outside becomes syntax: a tool gets it as the one word that it is, here and on another host, or is not
// run.
#include "checkSupport.h"

#include <filesystem>
#include <iostream>
#include <regex>
#include <sstream>
#include <unistd.h>

using std::string;
namespace fs = std::filesystem;

extern const string startHosts, stopHosts;

// Words of which nobody may take more than a word, or there will be a file "ran". Those in front, one of each kind that
// the program tells from others, stand for the rest where the same code composes.
// clang-format off
static const string plain = "plainwd", hostileWords[] = {
    "$(>ran)", "a\n>ran\n", "*", "-rq", "%(touch ran)", "x=1", "\";>ran;\"", "'\";>ran #", string(255, 'x'),
    string(255, '\''), "a b", "a'b", "a\"b", "`b`", "a;b", "a|b", "a&b", ">ran", "a\tb", "?[a-z]", "--eval=%(touch ran)", "~",
    "%s%n", "\xc3\xa4\xff\x01", "a\\", "';>ran;'", "$IFS", "'$(>ran)'", "\"$(>ran)\""};
// clang-format on

// Every tool: a call is a file, each of its words ended by a NUL. It fails where one holds FAIL.
static const string tool = R"sh(#!/bin/sh
printf '%s\0' "${0##*/}" "$@" "in $PWD" >/calls/$$
case $* in *"$FAIL"*) exit 2; esac
case ${0##*/} in
df) echo a b c d; echo 1 1 1 9 ;;
which | scsi_id) printf '%s\n' "${ANSWER-/bin/$1}" ;;
getent) printf '%s:x:7:8::/t:/bin/sh\n' "$2" ;;
rpm) [ -z "$REAL" ] || /usr/bin/rpm "$@" >/dev/null 2>&1; printf 'p\n9\n1\n' ;;
file) echo 32 ;;
uname) echo p ;;
lsattr) echo reserve_policy no_reserve ;;
strings) echo GLIBCXX_3; echo release version 2.9.9, ;;
getenforce) echo Disabled ;;
ofed_info) echo MLNX_OFED_LINUX ;;
grep) exec /bin/grep "$@" ;;
ssh | scp) [ ! -e /run/alpha.pid ] || exec /usr/bin/${0##*/} "$@"
    while case $1 in -*) ;; *) false; esac; do shift 2; done; shift; [ ${0##*/} = scp ] || eval "$*" ;;
esac
)sh";

// The whole program, with the word wherever one can be given.
static const string wholeProgram = R"sh(#!/bin/sh
cd "/t/$W" && ln -s /program/kvxprereqcheck . && exec >in
echo '<KVXLevel value="1">'; echo '<platform value="Linux">'
for tag in LinuxDistro ntpPackage ntpVersion chronyPackage chronyVersion kshPackage kshVersion kshRelease mkshPackage \
    UMASK CPPLibName CPPVersionString; do printf '%s\n' "<$tag>$W</$tag>"; done
echo '</platform>'; echo '</KVXLevel>'
export KVXINSTANCE="$W" KVXLANG="$W" LANG="$W" KVXTMPDIR="/t/$W"
"/t/$W/kvxprereqcheck" -f "/t/$W/in" -o "/t/$W/o" -gui "/t/$W/g" -vastdw -usrname "$W" -service 9 -svcename "$W")sh";

// The host with its tools, and what lies there anew for each word.
static const string layTools =
    R"sh(echo 'Red Hat release 9.4' >/etc/redhat-release; echo 'hosts: files' >/etc/nsswitch.conf
rm -f /usr/bin/file /usr/sbin/getenforce; >/usr/bin/sg_persist; >/maps; mount --bind /maps /proc/$PPID/maps; cd /fakes
chmod +x tool; ln -s )sh" KVX_PROGRAM_DIR R"sh( /program
for name in df which getent rpm file uname lsattr strings grep ssh scp ping tar rm ls cp chkconfig dmidecode ldd \
    /lib/udev/scsi_id /usr/sbin/getenforce /usr/bin/ofed_info /usr/bin/file; do ln -s /fakes/tool $name; done
)sh";
static const char *const layWord =
    R"sh(PATH=/bin; rm -rf /t /calls /tmp/kvxprereq* /tmp/vexha*; mkdir -p /calls "/t/$W/vexha"
printf '1-2 r 0 0:0 1 %s\n' "/t/$W/libstdc++.so.6" /t/libc.so.6 >/maps; cd "/t/$W"
for name in ../kvxprereqcheckoss ../kvxrocmc kvxrocmc vexha/prereqVEX; do ln -s /fakes/tool $name; done)sh";
static const char *const compareFunctions = "cd " KVX_SOURCE_DIR R"sh(/tests/reports
sed -n 's/^[$] \([^:]*\): .*/\1/p' words-*.txt | tr ' ' '\n' | sort -u | awk 'NR == FNR { known[$0]; next }
/^[a-z].*[(].*[^;]$/ { name = $0; sub(/[(].*/, "", name); sub(/.*[ *&]/, "", name) }
/^ .*(format(Remote)?Command|captureOutput|composeCaptured|name[A-Za-z]*Capture[A-Za-z]*|nameGetentOutput|firstLineOf|popen|system)[(]/ { used[name] }
END { for (name in used) if (!(name in known)) { print name, "is not in the cases"; bad = 1 }
      for (name in known) if (!(name in used)) { print name, "composes no command"; bad = 1 }; exit bad
}' - $(ls ../../engn/sqo/*.cpp | grep -v sqloCommand))sh";

typedef const string &text;
typedef std::multiset<string> traces;

static string put(string all, text part, text other) {
    for (size_t at = 0; (at = all.find(part, at)) != all.npos; at += other.size())
        all.replace(at, part.size(), other);
    return all;
}

static traces with(const traces &seen, text word) {
    traces all;
    for (text each : seen)
        all.insert(put(each, plain, word));
    return all;
}

// What an operation comes to: its status, the calls of tools, and what it changes on the host. A case is the functions
// of the program that compose the commands, settings of the environment, an operation and its words; "@" is the word.
static traces look(text line, text word) {
    std::vector<string> words;
    std::istringstream in(line.substr(line.find(": ") + 2));
    for (string each; in >> each && each[0] != '(';)
        words.push_back(put(each, "@", word));
    setenv("W", word.c_str(), 1);
    EXPECT_EQ(system(layWord), 0);
    fs::current_path("/t");
    for (; words[0].find('=') != words[0].npos; words.erase(words.begin()))
        applySetting(words[0]);
    preqHostInfo = nullptr, preqNetNames = nullptr, preqDiskInfo = nullptr, pErrorList = nullptr;
    rememberHost();
    traces seen;
    capture([&] { seen = {"(status " + std::to_string(perform(words)) + ")"}; });
    for (const auto &call : fs::directory_iterator("/calls"))
        seen.insert(readFile(call.path()));
    for (text path : filesChangedOnHost())
        if (!std::regex_search(path, std::regex("^/(calls|run|root/[.])")))
            seen.insert("+ " + std::regex_replace(path, std::regex("\\.\\d+$"), ".PID"));
    return seen;
}

// As a line, long words by their lengths.
static string shown(text word) {
    string all;
    for (size_t at = 0, end; at < word.size(); at = end) {
        end = std::min(word.find_first_not_of(word[at], at), word.size());
        all += end - at < 100 ? word.substr(at, end - at) : word.substr(at, 1) + "*" + std::to_string(end - at);
    }
    return put(put(put(put(all, plain, "@"), "\n", "\\n"), "\xff\x01", "\\xff\\1"), string(1, '\0'), "|");
}

// What comes of the words: nothing to tell of one that stands wherever the plain one does. It may be that it was not
// run, as if the tool had failed, or that only some commands were. A case "(line)" takes no newlines, "(name)" no
// blanks, "(all)" the whole list of words.
static string fatesOf(text line) {
    setenv("FAIL", plain.c_str(), 1);
    const traces failed = look(line, plain);
    setenv("FAIL", "nothing", 1);
    const traces good = look(line, plain);
    string all, fates[] = {"not run:", "in part:", "otherwise:"};
    for (text each : good)
        all += shown(each) + "\n";
    int n = 0;
    for (text word : hostileWords) {
        const string unfit = line.find("(name)") != line.npos ? " \t\n" : line.find("(line)") != line.npos ? "\n" : "";
        if (word.find_first_of(unfit) != word.npos || (n++ > 9 && line.find("(all)") == line.npos))
            continue;
        const traces wanted = with(good, word), seen = look(line, word);
        traces allowed = wanted;
        allowed.insert(failed.begin(), failed.end());
        const bool bWithin = std::includes(allowed.begin(), allowed.end(), seen.begin(), seen.end());
        bool bRun = *seen.begin() != *failed.begin();
        string others;
        for (text each : seen) {
            EXPECT_FALSE(std::regex_search(each, std::regex("^[+][^]*/ran$"))) << line << " ran " << word;
            bRun = bRun || (each[0] != '+' && each.find(word) != each.npos);
            others += bWithin || wanted.count(each) ? "" : "\n" + shown(each);
        }
        if (seen != wanted)
            fates[!bWithin ? 2 : bRun] += " " + shown(word) + others;
    }
    for (text fate : fates)
        all += fate.back() == ':' ? "" : fate + "\n";
    return all;
}

struct Words : testing::Test {
    void SetUp() override {
        onHost({}, [] {});
    }
};

static void expectFates(text name, text before = "", text after = "") {
    privateHost host;
    host.hostName = "here";
    host.ownNetwork = true;
    host.files = {{"/fakes/tool", tool}, {"/whole", wholeProgram}, {"/lines", layTools + before + "\n:\n"}};
    const auto body = [&](text line) {
        EXPECT_EQ(system(". /lines"), 0);
        setText(szRuntimePath, "/program");
        setenv("PATH", "/fakes:/usr/sbin:/usr/bin:/sbin:/bin", 1);
        std::cout << fatesOf(line) << std::flush;
        EXPECT_EQ(system(("exec >/log; PATH=/usr/bin:/bin; " + after + "\n:").c_str()), 0);
    };
    expectCases(name, [&](text line) { return capture([&] { onHost(host, std::bind(body, line)); }).out; });
}

TEST_F(Words, StayWords) {
    expectFates("words-here");
}

TEST_F(Words, StayWordsInACluster) {
    expectFates("words-cluster");
}

TEST_F(Words, StayWordsOnAnotherHost) {
    if (access("/usr/sbin/sshd", X_OK) != 0) {
        ASSERT_EQ(getenv("CI"), nullptr) << "no sshd";
        GTEST_SKIP() << "no sshd";
    }
    expectFates("words-elsewhere", startHosts, stopHosts);
}

// The functions of the program that compose a command or name a capture file all stand in the cases.
TEST_F(Words, ComeByKnownWays) {
    EXPECT_EQ(system(compareFunctions), 0);
}

// A text that asks for token 0 stays as it is in the catalog.
TEST(Texts, StandAsTheyAreWhatTheyHold) {
    useTexts({{30099, "%n%s %0"}, {30053, "%n%s %0"}, {30054, "%1 %d %0"}});
    EXPECT_EQ(capture(displayHelp).out.substr(0, 8), "%n%s %0\n");
    EXPECT_EQ(capture([] { checkPingTest(); }).out, "   \n%n%s %0\n%1 %d %0\n");
}
