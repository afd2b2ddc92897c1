// What the tests of single checks share: a host with fake tools and short texts, and what a check does there in one
// line.
#ifndef CHECK_SUPPORT_H
#define CHECK_SUPPORT_H

#include "support.h"

typedef std::vector<std::pair<std::string, std::string>> fileList;
typedef std::function<int()> checkCall;

// Lines of a fake tool that end it, and the shells that run it, by a signal.
std::string endedBy(const std::string &signal);

// Lets every message be its name with its tokens, but "=" where they differ from machine to machine.
void useNamedTexts();

// Whether this process may do what a file's mode forbids. Programs that it starts once it might not never may again.
void overrideModes(bool bAllowed);

// A host with the test's texts and with fake tools first in PATH, but without what the machine may have of the tools
// that are looked for in one place only.
void onSoftwareHost(const fileList &files, const std::function<void()> &body,
                    const std::vector<std::string> &layers = {});

// A check's status and lines of the report; then its entries in the error list in brackets, what went to standard error
// in braces and to the GUI report in parentheses, and whether it left its capture file in /tmp. '|' ends a line.
std::string judged(const checkCall &check);

// What is judged of a check with a title, for which '#' stands in the lines. A line that says "bad" fails it.
std::string outcome(const std::string &title, const std::string &lines);

// Lines that are reported, and then recorded as an error.
std::string recorded(const std::string &lines);

// Puts, rule by rule, the second text for each match of the first.
std::string replaced(std::string text, const fileList &rules);

// Compares what the cases of a file in tests/reports, its lines with a "$", answer with what stands below each.
void expectCases(const std::string &name, const std::function<std::string(const std::string &)> &answer);

// A case is an example host that meets all, and a command there: `run`, or `after FAULT`, which shows what that
// changes.
std::string runInShell(const std::string &line);

#endif
