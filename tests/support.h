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
    string out, err;
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
// Where they lie then; and the whole usage text in them, as a pattern.
const string &namedTextsDirectory();
extern const string usageNames;
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

// An operation that a case can name: the title and the marker in the GUI report that its block has, if it has any ("%"
// is the first word; "?" stands before a marker that is left out at the end of a failed check), and its call. A result
// of NO_STATUS is not shown.
const int NO_STATUS = 1000;
// The title of operations that make many checks.
extern const char MANY_CHECKS[];
struct namedOperation {
    const char *pTitle, *pMarker;
    int (*call)(char **ppszWords);
};
extern const std::map<string, namedOperation> namedOperations;

// An operation and its words, done in this process; NULL is a null pointer.
int perform(const std::vector<string> &words);
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

// What a case comes to: a call is settings, an operation and its words, done in this process (answers.cpp).
string answerHere(const string &call, bool bWholeText);

// Shell lines that start hosts with an sshd, a name and a /tmp of their own, of which gamma refuses the key and delta
// is down; and that stop them and tell what is left there.
extern const string startHosts, stopHosts;

#endif
