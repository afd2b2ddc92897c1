// What is put into the sample: mistakes, each with what its finding advises, and what is fine.
#ifndef KVX_TESTS_MISTAKES_H
#define KVX_TESTS_MISTAKES_H

#include <string>
#include <vector>

struct mistake {
    std::string rules; // of all findings, in the order of their lines; the first one's line is that of the change
    std::string good;  // the first such text behind the sample's opening comment
    std::string bad;   // what it becomes
    std::string advised = {}; // and what the finding advises; empty: the good text again
    int linesDown = 0;        // where the line of the first rule's finding is, seen from the change
};

extern const std::vector<mistake> mistakes;

struct fineChange {
    std::string good;
    std::string changed;
};

extern const std::vector<fineChange> fineChanges;

#endif
