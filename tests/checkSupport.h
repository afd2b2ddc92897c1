// What the drivers of faults and hostile words share.
#ifndef CHECK_SUPPORT_H
#define CHECK_SUPPORT_H

#include "support.h"

typedef std::function<int()> checkCall;

// Lines of a fake tool that end it, and the shells that run it, by a signal.
string endedBy(const string &signal);

// Whether this process may do what a file's mode forbids. Programs that it starts once it might not never may again.
void overrideModes(bool bAllowed);

// Compares a report with tests/reports/NAME.txt.
void expectReport(const string &name, string report);

// Compares what the cases of a file in tests/reports, its lines with a "$", answer with what stands below each.
void expectCases(const string &name, const std::function<string(const string &)> &answer);

#endif
