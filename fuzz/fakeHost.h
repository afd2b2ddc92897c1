// The host that a fuzzed program sees: it runs and touches nothing real, and takes every answer from the input.
//
// An input is two lines of words, and behind them the outputs of commands and the texts of files, in the order in which
// they are read, with the byte 1e between; the last one stays. The first line begins with the decisions: one character
// a question that the program asks the host, in the order of asking; '0', also at the end, is the good answer. Then
// come settings: NAME=TEXT of a tag or of the environment, or a digit for each flag that applySetting lists. The second
// line holds a target's arguments.
#ifndef FAKE_HOST_H
#define FAKE_HOST_H

#include <string>
#include <vector>

#include "mustHold.h"

// The linker replaces the program's calls by these functions; CMakeLists.txt lists their names.
#define FAKE(RESULT, NAME, PARAMETERS, ANSWER)                                                                         \
    RESULT __wrap_##NAME PARAMETERS {                                                                                  \
        return ANSWER;                                                                                                 \
    }
// A fuzzing or profiling library makes some of these calls too: they go to the real functions.
#define FAKE_OWN(RESULT, NAME, PARAMETERS, ARGUMENTS, OWN, ANSWER)                                                     \
    RESULT __real_##NAME PARAMETERS;                                                                                   \
    FAKE(RESULT, NAME, PARAMETERS, (OWN) ? (ANSWER) : __real_##NAME ARGUMENTS)

extern std::string catalogText; // of every message

void startRun(const std::string &input);
// Checks the rules that hold after any operation, and resets everything. openAllowed files may still be open.
void endRun(size_t openAllowed);

char decision();
const char *word(); // the next argument, null behind the last
const std::string &output();

// Checks that the shell reads each word of the command as the one word that was composed into it.
void checkCommand(const char *pCommand);

typedef std::vector<std::string> strings;
strings inputsOf(const std::string &target);

// Runs a target. Returns false if no target has that name.
bool runTarget(const std::string &name, const std::string &input);

#endif
