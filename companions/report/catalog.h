// A message catalog as a set of patterns: finds the message, and its tokens, that a line of a report was made from.
#ifndef KVX_REPORT_CATALOG_H
#define KVX_REPORT_CATALOG_H

#include "text.h"

#include <array>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace report {

// The texts of a catalog with these numbers. Leaves out a text that a damaged file truncates. Throws when the file is
// not a catalog.
std::map<int, std::string> readCatalog(const std::string &path, int first, int last);

// A text that a line may be made from: literal parts with tokens between them.
struct pattern {
    int message;                       // 0: a text of the program itself
    std::vector<std::string> literals; // one more than there are free tokens
    std::vector<size_t> places;        // the index of each free token among the message's tokens
    std::vector<std::string> tokens;   // those that are fixed; the others empty
    size_t literalLength = 0;
};

// Whether a line that begins with this byte can match a pattern.
bool beginsWith(const pattern &one, char byte);
// Whether a line has the literal parts of a pattern in their order. Each token takes as few bytes as it can.
bool matches(const pattern &one, std::string_view line, std::vector<std::string_view> &tokens);

// The explanation of a line: its pattern and its tokens.
struct explanation {
    const pattern *pPattern = nullptr;
    std::vector<std::string_view>
        tokens;              // in the order of the message's tokens, in the bytes of the line or the catalog
    std::vector<bool> fixed; // which of them are words of the catalog
};

class catalog {
public:
    // Throws when the file is not a catalog.
    catalog(const std::string &path, const std::string &codeSetName);

    // Finds the text that wrote a line, which is given without its leading blanks. Of several texts the one with the
    // longest literal part counts. The pattern is null if there is no such text.
    explanation explain(std::string_view line) const;
    // The literal length of that text, 0 if there is no such text.
    size_t weigh(std::string_view line) const;

    const std::string &text(int message) const;
    // A message has several patterns if one of its tokens is always one of a few words.
    std::vector<const pattern *> patternsOf(int message) const;
    // The message with the title of a check, or 0 when the title is not a message.
    int titleMessage(std::string_view title) const;

    const codeSet &encoding() const {
        return ownCodeSet;
    }

    // The reasons why reports cannot be read by this catalog, a sentence each.
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
