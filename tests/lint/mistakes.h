// Changes to the sample: mistakes, each beside the text that its finding advises, and changes without a finding.
#ifndef KVX_TESTS_MISTAKES_H
#define KVX_TESTS_MISTAKES_H

#include <string>
#include <vector>

struct mistake {
    // All findings, in the order of their lines, with "; " between them. A finding is "COLUMN RULE" or "COLUMN RULE:
    // WORDS", with words of its text. "+LINES:" or "-LINES:" in front places it below or above the line of the change,
    // "{TEXT}:" on a far line with that text. Words have a line's text, in braces, in place of "line" and its number.
    std::string findings;
    std::string good;         // a text of the sample: its first place behind the opening comment is changed
    std::string bad;          // the mistake
    std::string advised = {}; // the text that the finding advises; empty: the good text
};

extern const std::vector<mistake> mistakes;

struct fineChange {
    std::string good;
    std::string changed;
};

extern const std::vector<fineChange> fineChanges;

#endif
