// What the in-process tests share. Every TEST has a process of its own, so the program's state starts fresh in it.
#ifndef SUPPORT_H
#define SUPPORT_H

#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "privateHost.h"
#include "sqloPrereqCheck.h"

struct printed {
    std::string out, err;
};

// A directory that vanishes with its record.
struct scratchDirectory {
    std::string path;
    scratchDirectory();
    ~scratchDirectory();
};

// Runs `body` as a forked child in a private host that also sees the program's directory; a failure in there is one
// here. Where private hosts are not permitted the test is skipped, or fails when the environment has CI set.
void onHost(const privateHost &host, const std::function<void()> &body);

// What `body` and the commands that it runs print. An expectation that fails inside is caught too: keep them outside.
printed capture(const std::function<void()> &body);

std::string readFile(const std::string &path);
void writeFile(const std::string &path, const std::string &text);

// Lets the program fetch its English texts, as it does beside its catalogs.
void useCatalog();
// Lets it fetch these texts by number and no others, from a catalog compiled for the test.
void useTexts(const std::map<int, std::string> &texts);
// The text that the program has for a number with its tokens.
std::string message(int number, const std::vector<std::string> &tokens = {});

// Compares a report with tests/reports/NAME.txt, but for what differs from run to run and from machine to machine. With
// KVX_UPDATE_REPORTS in the environment that is written anew.
void expectReport(const std::string &name, std::string report);

// Stores a value as if host or file had given it.
void setValue(Tag tag, const std::string &text);
// The failures recorded for the level, newest first.
std::vector<std::string> errorEntries();

// Copies a text into a run setting or another array.
template <size_t N> void setText(char (&szSetting)[N], const std::string &text) {
    ASSERT_LT(text.size(), N);
    szSetting[text.copy(szSetting, N)] = '\0';
}

#endif
