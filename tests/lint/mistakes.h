// Changes to the sample: mistakes, each beside the text that its finding advises, and changes without a finding.
#ifndef KVX_TESTS_MISTAKES_H
#define KVX_TESTS_MISTAKES_H

#include <string>
#include <vector>

struct mistake {
    std::string
        rules; // of all findings, in the order of their lines; the first rule must be found on the line of the change
    std::string good;         // a text of the sample: its first place behind the opening comment is changed
    std::string bad;          // the mistake
    std::string advised = {}; // the text that the finding advises; empty: the good text
    int linesDown = 0;        // how many lines below the change the first rule is found
};

extern const std::vector<mistake> mistakes;

struct fineChange {
    std::string good;
    std::string changed;
};

extern const std::vector<fineChange> fineChanges;

#endif
