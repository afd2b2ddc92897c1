// What the tests share. What changes the program's state is done in a child process: by a case, or by onHost.
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

// Runs `body` as a forked child in a private host that also sees the program's directory; a failure in there is one
// here. Where private hosts are not permitted the test is skipped, or fails when the environment has CI set.
void onHost(const privateHost &host, const std::function<void()> &body);

// On a private host: lets the memory map of this process name the files that it uses as they are named there. In a
// chroot, where packages are built, the kernel names them from outside of it.
void showOwnFiles();

// What `body` and the commands that it runs print. An expectation that fails inside is caught too: keep them outside.
printed capture(const std::function<void()> &body);

string readFile(const string &path);
void writeFile(const string &path, const string &text);

// Puts, rule by rule, the second text for each match of the first.
string replaced(string text, const fileList &rules);

// Lets the program fetch its English texts, as it does beside its catalogs.
void useCatalog();
// Lets it fetch these texts by number and no others, from a catalog compiled for the test, which lies beside a link to
// the program.
void useTexts(const std::map<int, string> &texts);
// Lets every message be its name with its tokens; or with bMachine "=" where they differ from machine to machine.
void useNamedTexts(bool bMachine = true);
// Where they lie then.
const string &namedTextsDirectory();
// The text that the program has for a number with its tokens.
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

// What an operation answers with.
enum answerKind {
    LINES,     // what it prints, and its status
    ONE_CHECK, // one check's block
    CHECKS,    // the blocks of many checks
    RUN,       // those of levels
    OPTIONS,   // the same, and the settings that changed
};

// An operation that a case can name: its parameters, parted by blanks, or "..." where all its words are of one kind;
// the title of its block, with "%" for the first argument; and the marker of its section in the GUI report, if it has
// any. A result of NO_STATUS is not shown.
const int NO_STATUS = 1000;
struct namedOperation {
    answerKind kind;
    const char *pParameters;
    int (*call)(char **ppszWords);
    const char *pTitle = nullptr;
    const char *pMarker = nullptr;
};
extern const std::map<string, namedOperation> namedOperations;

// An operation and its arguments, done in this process. An argument is TEXT or NAME=TEXT, the text NULL a null pointer;
// those that are not given are null pointers too.
int perform(const std::vector<string> &given);
// The title that the block of an operation has with these arguments.
string usualTitle(const std::vector<string> &given);
// Whether a word is a setting, NAME=TEXT.
bool isSetting(const string &word);
// Takes a setting of the run or of the environment, or a value of the level.
void applySetting(const string &setting);
// The settings of the run and the values of the level.
std::map<string, string> settings();

// What shell lines that set up a host can call: "put FILE TEXT" and "script FILE LINES" lay files, "fake NAME LINES" a
// tool and "logged NAME LINES" one whose calls the answer shows, "many N TEXT" repeats, "host NAME" lays an example
// host; "$killed" in lines ends them, and the shell that waits, by a signal.
extern const string prelude;

// A part of an answer: "fails: A, B" has a head and two items.
struct answerPart {
    string head;
    std::vector<string> items;
};
typedef std::vector<answerPart> answer;

// What a case comes to: a call is an operation with its arguments and settings, done in this process (answers.cpp). The
// lines are the parts of the answer, the items of each behind its head with a tab in front; or the whole text.
string answerHere(const string &call, bool bWholeText);

// Shell lines that start hosts with an sshd, a name and a /tmp of their own, of which gamma refuses the key and delta
// is down; and that stop them and tell what is left there.
extern const string startHosts, stopHosts;

#endif
