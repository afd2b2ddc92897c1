// What the tests of single checks share: cases in files, each a check on a host of its own and what it does there.
#ifndef CHECK_SUPPORT_H
#define CHECK_SUPPORT_H

#include "support.h"

using std::string;

typedef std::vector<std::pair<string, string>> fileList;
typedef std::function<int()> checkCall;

// Lines of a fake tool that end it, and the shells that run it, by a signal.
string endedBy(const string &signal);

// Lets every message be its name with its tokens; or with bMachine "=" where they differ from machine to machine.
void useNamedTexts(bool bMachine = true);

// Whether this process may do what a file's mode forbids. Programs that it starts once it might not never may again.
void overrideModes(bool bAllowed);

// A case is settings as NAME=TEXT, an operation and its words, which blanks part outside of quotes, and behind " :: "
// shell lines that set the host up. `common` stands before those. The answer is what is judged of it.
typedef std::function<string(const string &)> answerer;
answerer checked(const string &common = "");

// Settings, the operation and its words, done in this process; NULL is a null pointer.
int perform(const std::vector<string> &words);

// Takes a setting of the run or of the environment, or a value of the level.
void applySetting(const string &setting);

// The settings of the run and the values of the level.
std::map<string, string> settings();

// Cases on private hosts, with named texts.
struct Cases : testing::Test {
    void SetUp() override {
        onHost({}, [] {});
        useNamedTexts(false);
    }
};

// What such shell lines can call.
extern const string prelude;

// Puts, rule by rule, the second text for each match of the first.
string replaced(string text, const fileList &rules);

// Compares what the cases of a file in tests/reports, its lines with a "$", answer with what stands below each.
void expectCases(const string &name, const std::function<string(const string &)> &answer);

// A case is an example host that meets all, and a command there: `run`, or `after FAULT`, which shows what that
// changes.
string runInShell(const string &line);

#endif
