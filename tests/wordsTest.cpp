// No word from outside becomes shell syntax: a tool gets it as one word, here and on another host, or nothing runs.
#include "support.h"

#include <filesystem>
#include <regex>
#include <set>
#include <unistd.h>

#include "sqloCommand.h"

using std::vector;
namespace fs = std::filesystem;

// If a shell reads one of these words as syntax, the file "ran" is created.
static const string plain = "plainwd";
static const vector<string> hostileWords = {
    "$(>ran)",         "`>ran`",  "a;>ran", "a|b&>ran", "a b\tc",     "a\n>ran\n",  "*",
    "?[a-z]",          "{a,b}!#", "#",      "~",        "x=1",        "-rq",        "a\\",
    "%s%n%",           "$IFS",    "'\"",    "';>ran;'", "\";>ran;\"", "'\";>ran #", "'''''''",
    "\xc3\xa4\xff\x01"};

// A tool that writes its words to a file, a NUL behind each. As the remote shell it writes only the host, and runs the
// other words.
static const string tool = R"sh(#!/bin/sh
case ${0##*/} in ssh) while case $1 in -o) ;; *) false; esac; do shift 2; done; host=$1; shift
    printf '%s\0' ssh "$host" >/calls/$$; eval "$*";;
*) printf '%s\0' "${0##*/}" "$@" >/calls/$$;; esac
case ${0##*/} in which) echo "/bin/$1";; rpm) printf 'p\n9\n1\n';; getent) printf '%s:x:7:8::/t:/bin/sh\n' "$2";;
df) echo a b c d; echo 1 1 1 9;; strings) echo GLIBCXX_3; echo release version 2.9.9,;; getenforce) echo Disabled; esac
)sh";

typedef std::multiset<string> traces;

static string put(string all, const string &part, const string &other) {
    for (size_t at = 0; (at = all.find(part, at)) != all.npos; at += other.size())
        all.replace(at, part.size(), other);
    return all;
}

static traces with(const traces &seen, const string &word) {
    traces all;
    for (const string &each : seen)
        all.insert(put(each, plain, word));
    return all;
}

// Returns the calls of tools and the new files, after acting in /t.
static traces look(const string &word, const std::function<void()> &act) {
    fs::current_path("/");
    for (const char *pName : {"/t", "/calls"}) {
        fs::remove_all(pName);
        fs::create_directory(pName);
    }
    for (const string name : {"kvxprereqcheckoss", "kvxrocmc"})
        fs::create_symlink("/fakes/tool", "/t/" + name);
    if (!fs::exists(fs::symlink_status("/fakes/" + word)))
        fs::create_symlink("/fakes/tool", "/fakes/" + word); // where it is the command's name
    fs::current_path("/t");
    rememberHost();
    act();
    traces seen;
    for (const auto &call : fs::directory_iterator("/calls"))
        seen.insert(readFile(call.path()));
    for (const string &path : filesChangedOnHost())
        if (!std::regex_search(path, std::regex("^/(calls|tmp|run|root/[.])")))
            seen.insert("+ " + replaced(path, {{"\\.\\d+$", ".PID"}}));
    return seen;
}

// Whether everything that was seen is wanted.
static bool isWithin(const traces &seen, const traces &wanted) {
    return std::includes(wanted.begin(), wanted.end(), seen.begin(), seen.end());
}

static privateHost toolHost() {
    privateHost host;
    host.hostName = "here";
    host.ownNetwork = true;
    host.files = {{"/fakes/tool", tool}, {"/etc/redhat-release", "Red Hat release 9.4\n"}, {"/usr/bin/sg_persist", ""}};
    return host;
}

static void linkTools() {
    for (const string name : {"df",  "which", "getent", "rpm",  "file",      "uname",     "lsattr", "strings", "grep",
                              "ssh", "scp",   "ping",   "tar",  "rm",        "ls",        "cp",     "cat",     "mkdir",
                              "awk", "rev",   "cut",    "head", "chkconfig", "dmidecode", "ldd"})
        fs::create_symlink("/fakes/tool", "/fakes/" + name);
    for (const char *pPath : {"/usr/lib/udev/scsi_id", "/usr/bin/file", "/usr/sbin/getenforce"}) {
        fs::remove(pPath);
        fs::create_directories(fs::path(pPath).parent_path());
        fs::create_symlink("/fakes/tool", pPath);
    }
    setenv("PATH", "/fakes", 1);
}

// Returns the formats of all commands in the sources.
static std::set<string> formatsOfSources() {
    std::set<string> formats;
    for (const auto &entry : fs::directory_iterator(KVX_SOURCE_DIR "/engn/sqo")) {
        if (entry.path().extension() != ".cpp")
            continue;
        const fileList joinLines = {{"'\\\\?\"'", ""}, {"\"\\s*\n\\s*\"", ""}, {"\n *", " "}};
        const string code = replaced(readFile(entry.path()), joinLines);
        static const std::regex call(
            "(format(Remote)?Command|captureOutput|compose\\w+|fetchReport|runRemotely)\\([^;]*;");
        static const std::regex text("\"((?:[^\"\\\\]|\\\\.)*%s(?:[^\"\\\\]|\\\\.)*)\"");
        for (std::sregex_iterator found(code.begin(), code.end(), call), end; found != end; ++found) {
            const string words = (*found)[0];
            for (std::sregex_iterator word(words.begin(), words.end(), text); word != end; ++word)
                formats.insert(replaced((*word)[1], {{"\\\\\"", "\""}, {"\\\\\\\\n", "\\n"}}));
        }
    }
    return formats;
}

// Whether the "%s" at a place of a format is the command's name.
static bool isName(const string &format, size_t at) {
    const bool bFirst = at == 0 || format[at - 1] == '(';
    const bool bBehindAnd = at >= 3 && format.compare(at - 3, 3, "&& ") == 0;
    return (bFirst || bBehindAnd) && format[at + 2] == ' ';
}

// Runs a command with a word at one place and plain words elsewhere; ssh stands in for a command's name. Returns false
// if the command was refused.
static bool runFormat(const string &format, size_t slot, const string &word) {
    vector<string> texts;
    for (size_t at = 0; (at = format.find("%s", at)) != format.npos; at += 2)
        texts.push_back(isName(format, at) ? "ssh" : "w" + std::to_string(texts.size()));
    texts[slot] = word;
    vector<shellWord> words;
    for (const string &text : texts)
        words.push_back(toWord(text.c_str()));
    static commandText szCommand;
    if (!composeCommand(szCommand, format.c_str(), words.data(), static_cast<int>(words.size())))
        return false;
    runCommand(szCommand);
    return true;
}

TEST(Words, StayWordsInEveryCommand) {
    const std::set<string> formats = formatsOfSources();
    EXPECT_GE(formats.size(), 40U);
    onHost(toolHost(), [&] {
        linkTools();
        for (const string &format : formats) {
            for (size_t slot = 0, at = 0; (at = format.find("%s", at)) != format.npos; slot++, at++) {
                if (at > 0 && format[at - 1] == '\'')
                    continue; // a remote command, composed of such words before
                const traces good = look(plain, [&] { runFormat(format, slot, plain); });
                for (const string &word : hostileWords) {
                    bool bRun = false;
                    const traces seen = look(word, [&] { bRun = runFormat(format, slot, word); });
                    EXPECT_EQ(seen, bRun ? with(good, word) : traces()) << format << " with " << word << " at " << slot;
                }
            }
        }
    });
}

// Runs the whole program, with the word in every place that takes one.
static const char *const wholeRun = R"sh(PATH=/usr/bin:/bin; mkdir "/t/$W" && cd "/t/$W" && exec >in
printf '%s\n' '<KVXLevel value="1">' '<platform value="Linux">' '<CPPLibName>none</CPPLibName>'
for tag in LinuxDistro ntpPackage ntpVersion chronyPackage chronyVersion kshPackage kshVersion kshRelease mkshPackage \
    UMASK CPPLibName CPPVersionString; do printf '%s\n' "<$tag>$W</$tag>"; done
printf '</platform>\n</KVXLevel>\n'; ln -s )sh" KVX_PROGRAM_DIR
                                    R"sh(/kvxprereqcheck .; export KVXINSTANCE="$W" KVXTMPDIR="/t/$W" PATH=/fakes
KVXLANG="$W" LANG="$W" "/t/$W/kvxprereqcheck" -f "/t/$W/in" -o "/t/$W/o" -gui "/t/$W/g" -vastdw -usrname "$W" \
    -service 9 -svcename "$W" >out 2>&1)sh";

TEST(Words, StayWordsInAWholeRun) {
    onHost(toolHost(), [] {
        linkTools();
        const auto run = [](const string &word) {
            setenv("W", word.c_str(), 1);
            return look(word, [] { EXPECT_NE(system(wholeRun), -1); });
        };
        const traces good = run(plain);
        EXPECT_GT(good.size(), 20U);
        for (const string &word : hostileWords)
            EXPECT_PRED2(isWithin, run(word), with(good, word));
    });
}

TEST(Words, StayWordsOnAnotherHost) {
    if (access("/usr/sbin/sshd", X_OK) != 0) {
        ASSERT_EQ(getenv("CI"), nullptr) << "no sshd";
        GTEST_SKIP() << "no sshd";
    }
    onHost(toolHost(), [] {
        const string there = "ssh alpha 'mkdir /tmp/kvxprereq; ln -s /fakes/tool /tmp/kvxprereq/kvxprereqcheck'";
        EXPECT_EQ(system((startHosts + there).c_str()), 0);
        fs::create_symlink("/fakes/tool", "/usr/lib/udev/scsi_id");
        // the device's name is inside the remote command's quotes, the distribution's is composed before
        for (const vector<string> &call :
             {vector<string>{"device", "alpha", "", "none", "id", "remote"}, {"run-with", "alpha", "", "1"}}) {
            const auto run = [&](const string &word) {
                vector<string> words = call;
                words[2] = word;
                return look(word, [&] { capture([&] { perform(words); }); });
            };
            const traces good = run(plain);
            EXPECT_FALSE(good.empty());
            for (size_t i = 0; i < hostileWords.size(); i += 3)
                EXPECT_PRED2(isWithin, run(hostileWords[i]), with(good, hostileWords[i])) << call[0];
        }
        capture([] { EXPECT_EQ(system((stopHosts + ";:").c_str()), 0); });
    });
}

TEST(Words, ThatDoNotFitAreRefused) {
    static struct {
        commandText szText;
        char guard = '#';
    } room;
    for (const size_t length : {sizeof room.szText - 1, sizeof room.szText}) {
        const string word(length, 'w');
        const shellWord words[] = {toWord(word.c_str())};
        EXPECT_EQ(composeCommand(room.szText, "%s", words, 1), length < sizeof room.szText);
        EXPECT_EQ(room.guard, '#');
    }
}

// A file planted in the place of the output must not count as the answer of a command that did not run.
TEST(Words, ThatAreRefusedGetNoAnswer) {
    onHost(toolHost(), [] {
        writeFile("/tmp/kvxprereqcheck." + std::to_string(getpid()), "p\n9\n1\n");
        EXPECT_NE(perform({"package", "-rq", "NULL", "9", "1", "1", "1"}), 0);
    });
}
