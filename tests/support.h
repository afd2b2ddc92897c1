// Shared by the tests. Anything that changes the program's state runs in a child process: a case does, and onHost.
#ifndef SUPPORT_H
#define SUPPORT_H

#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

#include "privateHost.h"
#include "sqloPrereqCheck.h"

using std::string;
typedef std::vector<std::pair<string, string>> fileList;

struct printed {
    string out;
    string err;
};

// A directory that vanishes with its record.
struct scratchDirectory {
    string path;
    scratchDirectory();
    ~scratchDirectory();
};

// Runs `body` in a forked child on a private host that also sees the program's directory. The test fails if an
// expectation fails there. If the system does not permit private hosts, the test is skipped; with CI set it fails.
void onHost(const privateHost &host, const std::function<void()> &body);

// On a private host: removes the prefix that the kernel shows in this process's memory map in a chroot, where packages
// are built.
void showOwnFiles();

// Returns the output of `body` and of its commands. Keep expectations outside: their messages would be captured too.
printed capture(const std::function<void()> &body);

string readFile(const string &path);
void writeFile(const string &path, const string &text);

// Replaces, rule by rule, each match of the first text by the second.
string replaced(string text, const fileList &rules);

// Lets the program use its English texts.
void useCatalog();
// Lets it use these texts only, from a catalog that is compiled for the test beside a link to the program.
void useTexts(const std::map<int, string> &texts);
// Lets every message be its name with its tokens; or with bMachine "=" where they differ from machine to machine.
void useNamedTexts(bool bMachine = true);
// The directory of that catalog.
const string &namedTextsDirectory();
// Returns the program's text of a number with its tokens.
string message(int number, const std::vector<string> &tokens = {});

// Stores a value as if host or file had given it.
void setValue(Tag tag, const string &text);
// The failures recorded for the level, newest first.
std::vector<string> errorEntries();

// Copies a text into a run setting or another array.
template <size_t N> void setText(char (&szSetting)[N], const string &text) {
    ASSERT_LT(text.size(), N);
    szSetting[text.copy(szSetting, N)] = '\0';
}

// --- Operations (operations.cpp) ---

// The form of an operation's answer.
enum answerKind {
    LINES,     // its output and its status
    ONE_CHECK, // one check's block
    CHECKS,    // the blocks of many checks
    RUN,       // those of levels
    OPTIONS,   // the same, and the settings that changed
};

// An operation that a case can name: its parameters, separated by blanks, or "..." for any number of words; the title
// of its block, with "%" for the first argument; and the marker of its section in the GUI report, if it has one. A
// result of NO_STATUS is not shown.
const int NO_STATUS = 1000;
struct namedOperation {
    answerKind kind;
    const char *pParameters;
    int (*call)(char **ppszWords);
    const char *pTitle = nullptr;
    const char *pMarker = nullptr;
};
extern const std::map<string, namedOperation> namedOperations;

// Performs an operation in this process. An argument is TEXT or NAME=TEXT. The text NULL is a null pointer, and so is a
// missing argument.
int perform(const std::vector<string> &given);
// Returns the title of an operation's block with these arguments.
string usualTitle(const std::vector<string> &given);
// Whether a word is a setting, NAME=TEXT.
bool isSetting(const string &word);
// Applies a setting of the run, of the environment or of the process, or a value of the level.
void applySetting(const string &setting);
// The settings of the run and the values of the level.
std::map<string, string> settings();

// The shell commands for "setup:", which cases/README lists.
extern const string prelude;

// A part of an answer: "fails: A, B" has a head and two items.
struct answerPart {
    string head;
    std::vector<string> items;
};
typedef std::vector<answerPart> answer;

// Performs a call, an operation with its arguments and settings, in this process and returns its answer (answers.cpp):
// a line for each part, and a line with a leading tab for each of its items; or the whole text.
string answerHere(const string &call, bool bWholeText);

// Shell lines that start hosts, each with an sshd, a name and a /tmp of its own, of which gamma refuses the key and
// delta is down; and shell lines that stop them and print what is left there.
extern const string startHosts, stopHosts;

#endif
