// Ends a run, or one of its commands, from outside: by signals, time limits, the terminal.
#include "support.h"

#include <csignal>

// A clustered pass of the installed program on a host with these tools; "strike SIGNAL" sends the program a signal
// and prints its process id.
static runResult run(const fileList &tools, const string &shell = "exec \"$@\"", const string &strike = "") {
    privateHost host;
    host.layers = {KVX_SOURCE_DIR "/samples/hosts/rhel"};
    host.binds = {KVX_SOURCE_DIR, KVX_PROGRAM_DIR};
    host.files = {{"/fakes/strike", "#!/bin/sh\np=$$; until grep -qx kvxprereqcheck /proc/$p/comm; do "
                                    "p=$(cut -d' ' -f4 /proc/$p/stat); done; echo $p; kill -$1 $p\n"},
                  {"/fakes/linger", "#!/bin/sh\ntrap '' TERM; echo $$ >> /lingering; while :; do sleep 1; done\n"}};
    for (const auto &[name, body] : tools)
        host.files.emplace_back("/fakes/" + name, "#!/bin/sh\n" + body + "\n");
    const string end =
        "\nstatus=$?; for id in $(cat /lingering); do grep -q '^[^)]*) [^Z]' /proc/$id/stat && echo left\n"
        "done 2> /dev/null; rm -f /lingering; exit $status";
    return runProgram(host,
                      {"/bin/bash", "-c", "(" + shell + ")" + end, "run", KVX_PROGRAM_DIR "/kvxprereqcheck", "-v",
                       "12.1", "-f", KVX_SOURCE_DIR "/samples/KVXprereqs.xml"},
                      {{"LD_PRELOAD", KVX_PROGRAM_DIR "/tests/libsignals-preload.so"}, {"STRIKE", strike}});
}

// The signal arrives in a command that ignores it, in a pipe, and between two commands. The run ends by the signal, its
// command ends, and nothing is left.
TEST(Signals, EndTheRunWithItsCommand) {
    for (int number : {SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGPIPE, SIGALRM})
        for (const fileList &tools : {fileList{{"rpm", "strike $NUMBER; linger & linger"}},
                                      {{"which", "strike $NUMBER; exec sleep 1000"}},
                                      {}}) {
            const string which = std::to_string(number);
            const runResult r = run(tools, "export NUMBER=" + which + "; exec \"$@\"", tools.empty() ? which : "");
            EXPECT_EQ(r.status, 128 + number);
            EXPECT_EQ(r.out.find("left"), string::npos) << r.out;
            EXPECT_EQ(r.changed, std::set<string>());
        }
}

// SIGTERM asks the command to end; it has a second for what it does then.
TEST(Signals, LetTheCommandTidyUp) {
    const runResult r = run({{"rpm", "trap 'touch /tidied; exit' TERM; strike INT; sleep 1000 & wait"}});
    EXPECT_EQ(r.changed, std::set<string>{"/tidied"}) << r.err;
}

TEST(Signals, ThatWereIgnoredAtTheStartStaySo) {
    const runResult r = run({{"rpm", "strike HUP; exit 1"}}, "trap '' HUP; exec \"$@\"");
    EXPECT_LT(r.status, 128) << r.err;
}

// Process 1 of a container ignores the signal that it sends itself.
TEST(Signals, EndTheRunOfProcess1) {
    const runResult r = run({{"rpm", "strike TERM"}}, "unshare -mpf --propagation unchanged sh -c "
                                                      "'mount -t proc proc /proc; exec \"$@\"' sh \"$@\"");
    EXPECT_EQ(r.status, 128 + SIGTERM) << r.err;
}

TEST(Signals, AlarmOfTheCallerEndsTheRun) {
    const runResult r = run({{"strings", "exec sleep 1000"}}, "exec perl -e 'alarm 1; exec @ARGV' \"$@\"");
    EXPECT_EQ(r.status, 128 + SIGALRM) << r.err;
}

// The command ends while the program is stopped, or later.
TEST(Stops, DoNotCountForTheCommand) {
    const string stop = "[ -e /once.${0##*/} ] && exit; touch /once.${0##*/}\n"
                        "id=$(strike STOP); (sleep 2; kill -CONT $id) > /dev/null 2>&1 &\n";
    const runResult r = run({{"which", stop + "echo /bin/true"}, {"strings", stop + "sleep 2.1"}});
    EXPECT_EQ(r.err.find("more than"), string::npos) << r.err;
    EXPECT_EQ(r.err.find("not present"), string::npos) << r.err;
}

// Some that sleep, of which the first one's output is read from a pipe, and one that does not listen; what a tool that
// ended left running goes on.
TEST(HungTools, CountAsFailed) {
    const string once = "[ -e /once.${0##*/} ] && exit 1; touch /once.${0##*/}; "; // one of each kind is enough
    const runResult r = run({{"which", once + "exec sleep 1000"},
                             {"strings", once + "exec sleep 1000"},
                             {"df", once + "linger"},
                             {"rpm", "(sleep 2; touch /late) & exit 1"}},
                            "\"$@\"; s=$?; sleep 2; exit $s");
    EXPECT_EQ(r.status, 255); // free space
    EXPECT_NE(r.err.find("more than 300 seconds: which kvx"), string::npos) << r.err;
    EXPECT_NE(r.err.find("more than 30 seconds: strings"), string::npos) << r.err;
    EXPECT_NE(r.err.find("more than 30 seconds: df"), string::npos) << r.err;
    EXPECT_EQ(r.out.find("left"), string::npos) << r.out;
    EXPECT_EQ(r.changed.count("/late"), 1U);
}

// The output of a hung tool may be incomplete: it is not read, and the tool is not called again for the C library.
TEST(HungTools, GiveNoAnswer) {
    const runResult r =
        run({{"strings", "case $1 in *libc.*) echo 'release version 99.9.9, x'; exec sleep 1000; esac"}});
    EXPECT_NE(r.out.find("The C library cannot be judged"), string::npos) << r.out;
    EXPECT_EQ(r.out.find("99.9.9"), string::npos) << r.out;
    EXPECT_EQ(r.err.find("seconds: strings"), r.err.rfind("seconds: strings")) << r.err;
}

// A local command is in the background of the terminal: it may use it all the same, whatever that wants. Ctrl-Z may
// still reach it before it has a group of its own, and nothing would continue it.
TEST(Terminal, DoesNotStopACommand) {
    const runResult r =
        run({{"rpm", "kill -TSTP $$; echo x > /dev/tty; read x < /dev/tty; touch /reached; exit 1"}},
            "mkdir -p /dev/pts; mount -t devpts -o newinstance,ptmxmode=666 none /dev/pts; ln -sf pts/ptmx /dev/ptmx\n"
            "printf '\"%s\" ' \"$@\" > /command; script -qec 'stty tostop; sh /command' /log < /dev/null");
    EXPECT_EQ(r.changed.count("/reached"), 1U) << r.out << r.err;
    EXPECT_EQ(r.out.find("more than"), string::npos) << r.out;
}
