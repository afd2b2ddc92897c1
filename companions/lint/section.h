// Judges the lines of a level's platform section: elements and their texts, sections and their conditions.
#ifndef KVX_LINT_SECTION_H
#define KVX_LINT_SECTION_H

#include <array>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "conditions.h"
#include "findings.h"
#include "markup.h"
#include "reader.h"
#include "rules.h"
#include "tags.h"

namespace lint {

// The line being judged, and what is found on it and on others.
class judgedLine {
public:
    std::string_view text;
    std::string_view below; // the file from this line on
    std::size_t number = 0;
    markedLine marked;
    // The last opening tag with a condition that does not count because it is in a comment.
    struct {
        std::size_t comment = 0, line = 0;
        std::string_view name;
    } hiddenSection;
    findingList &findings;

    explicit judgedLine(findingList &list) : findings(list) {
    }

    // In the message a word of the file, or a number, stands for each "\1".
    template <typename... Argument>
    void report(Rule id, std::size_t column, const std::string &message, Argument... argument) {
        findings.add(id, number, column, message, argument...);
    }
    template <typename... Argument>
    void reportAt(Rule id, std::size_t atLine, std::size_t column, const std::string &message, Argument... argument) {
        findings.add(id, atLine, column, message, argument...);
    }
    // The column of a word of the line's text.
    std::size_t columnOf(std::string_view word) const;
    // Reports that something counts which looks commented out.
    void reportComment(const markup &part, const std::string &what);
    void noteHiddenSection();
    // The first part of a kind and name; those in comments only when there is no other. Null when there is none.
    const markup *find(MarkupKind kind, std::string_view name) const;
};

class sectionJudge {
public:
    sectionJudge(judgedLine &line, const lineReader &reader, bool bUnread);

    void begin(const std::string &level);
    void takeLine(const lineEffect &effect);
    // A line of which nothing can be told.
    void passLine();
    // Closes a section whose closing tag has lost its "<". False when none of this name is open.
    bool closeText(std::string_view name);
    void end();
    // What can be said only of the level as a whole.
    void judgeLevel(std::size_t levelLine, std::size_t levelColumn);

private:
    struct openSection {
        std::string_view name;
        testList tests;
        int tag; // -1: none, or no section for the program
        std::uint32_t line, column;
        std::uint32_t innerLine, innerColumn; // where one of the same tag opens in it; 0: none does
        bool bUnknown;                        // its condition is mistaken
        bool bGrid, bReported;

        // Is it a finding that it is not closed?
        bool isOpen() const {
            return !bReported || innerLine != 0;
        }
    };
    struct seenValue {
        std::uint32_t line, column;
        std::uint32_t section; // the line of the innermost one around it; 0: none
        std::uint32_t around;  // which of the lists of tests is that of all sections around it
        const char *pText;
        std::uint16_t length;
        bool bGrid, bReplaced;

        std::string_view text() const {
            return {pText, length};
        }
    };

    const markup *partThatCounts(const lineEffect &effect);
    const markup *countedValue(const lineEffect &effect);
    const markup *countedOpening(int tag);
    const markup *countedClosing(const lineEffect &effect);
    bool beginsGrid(const lineEffect &effect) const;
    void judgeOthers(const markup *pCounted);
    void explain(const markup &part);
    void explainUnknown(const markup &part, int nearest);
    void explainName(const markup &part, int nearest, bool bSection);
    void explainElement(const markup &part);
    void explainOpening(const markup &part);
    void explainUnended(const markup &part, std::string_view text);
    void explainClosing(const markup &part);
    void explainStray(const markup &part);
    void open(const markup &part, int tag, bool bCondition);
    void openUnread(const markup &part);
    void pass(const markup &part);
    void noteMeant(int tag);
    void disregard(openSection &section);
    void judgeNesting(const markup &part, int tag);
    void reportNested(const openSection &outer);
    void judgeCondition(const markup &part, openSection &section);
    void judgeQuotes(const markup &part);
    bool judgeAttributes(const markup &part);
    static bool isValueMeant(const markup &part, int tag);
    void closeTo(std::size_t depth);
    void reportReplaced();
    std::size_t depthOf(std::string_view name) const;
    void judgeValue(const markup &part, const lineEffect &effect);
    void judgeText(const markup &part, int tag, const std::string &text);
    void remember(const markup &part, int tag);
    void judgeDependence(const dependence &pair);
    void judgeParts(const Tag (&parts)[3]);
    void judgeRaised(const Tag (&parts)[3], std::size_t part, const seenValue &given);
    const seenValue *valueBeside(Tag tag, const seenValue &given) const;
    static std::deque<seenValue>::const_iterator firstFrom(const std::deque<seenValue> &seen, std::size_t atLine);
    bool isGivenBelow(Tag tag, const seenValue &given) const;
    bool isReplacedBy(const seenValue &earlier, const seenValue &given) const;
    const testList &testsAround(const seenValue &given) const;
    const seenValue *firstValueOn(std::string_view distribution, Tag tag) const;
    testList enclosingTests() const;
    std::uint32_t keepEnclosing();
    void forgetCondition(openSection &section);
    bool inGrid() const;

    judgedLine &line;
    const lineReader &reader;
    const bool bUnread;
    std::string level;
    std::deque<openSection> sections;
    std::deque<testList> arounds; // the tests around the level's values, each list once for the values in a row
    bool bAroundKept = false;     // the last list is that of the open sections
    std::array<std::deque<seenValue>, LastTag> values;
    struct replacement {
        std::uint32_t line, column, by;
        int tag;
    };
    std::vector<replacement> replacements; // not reported yet
    std::array<bool, LastTag> meant{};     // by elements that are lost
    bool bRequires = false;
    std::size_t lastContinued = 0; // the last line of a tag or an element that was reported on its first line
};

} // namespace lint

#endif
