// A message catalog turned round: its texts are the patterns by which the lines of a report are read back.
#ifndef KVX_REPORT_CATALOG_H
#define KVX_REPORT_CATALOG_H

#include "text.h"

#include <array>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace report {

// The texts of a catalog that have these numbers. One that is not whole in a torn file is left out. Throws when the
// file is no catalog.
std::map<int, std::string> readCatalog(const std::string &path, int first, int last);

// A text that may stand in a line: literal parts with tokens between them.
struct pattern {
    int message;                       // 0: a text of the program itself
    std::vector<std::string> literals; // one more than there are free tokens
    std::vector<size_t> places;        // the index of each free token among the message's tokens
    std::vector<std::string> tokens;   // those that are fixed; the others empty
    size_t literalLength = 0;
};

// Whether a line that begins with this byte can be a pattern's.
bool beginsWith(const pattern &one, char byte);
// Whether a pattern's literal parts stand in a line in their order; each token takes as little as it can.
bool matches(const pattern &one, std::string_view line, std::vector<std::string_view> &tokens);

// What a line was found to be.
struct explanation {
    const pattern *pPattern = nullptr;
    std::vector<std::string_view>
        tokens;              // in the order of the message's tokens, in the bytes of the line or the catalog
    std::vector<bool> fixed; // which of them are words of the catalog
};

class catalog {
public:
    // Throws when the file is no catalog.
    catalog(const std::string &path, const std::string &codeSetName);

    // Explains a line, without its leading blanks, by the text with the longest literal part. Nothing explains
    // a line: a null pattern.
    explanation explain(std::string_view line) const;
    // The literal length of that text.
    size_t weigh(std::string_view line) const;

    const std::string &text(int message) const;
    // A message may have several: some of its tokens are one of a few words.
    std::vector<const pattern *> patternsOf(int message) const;
    // The message that a check's title is, 0 when it is none.
    int titleMessage(std::string_view title) const;

    const codeSet &encoding() const {
        return ownCodeSet;
    }

    // What keeps reports from being read by this catalog, a sentence each.
    std::vector<std::string> faults() const;

private:
    void addPatterns(int message);
    void addPattern(int message, std::string_view text, const std::map<int, std::string> &fixed);
    void addLiterals();
    const pattern *find(std::string_view line, std::vector<std::string_view> &tokens) const;

    codeSet ownCodeSet;
    std::map<int, std::string> texts;
    std::vector<pattern> patterns;                         // the longest literal part first
    std::array<std::vector<const pattern *>, 256> byFirst; // those that may explain a line that begins with a byte
};

} // namespace report

#endif
