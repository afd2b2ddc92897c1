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

// The line that is being judged, and the list to which its findings go.
class judgedLine {
public:
    std::string_view text;
    std::string_view below; // the text of the file from this line on
    std::size_t number = 0;
    markedLine marked;
    // The last opening tag with a condition that the program does not read because a comment begins in front of it.
    struct {
        std::size_t comment = 0, line = 0;
        std::string_view name;
    } hiddenSection;
    findingList &findings;

    explicit judgedLine(findingList &list) : findings(list) {
    }

    // Add a finding on this line, or on another one. Each "\1" in the message means the argument: a word of the file,
    // or a number.
    template <typename... Argument>
    void report(Rule id, std::size_t column, const std::string &message, Argument... argument) {
        findings.add(id, number, column, message, argument...);
    }
    template <typename... Argument>
    void reportAt(Rule id, std::size_t atLine, std::size_t column, const std::string &message, Argument... argument) {
        findings.add(id, atLine, column, message, argument...);
    }
    // The column of a word, which must be a part of the line's text.
    std::size_t columnOf(std::string_view word) const;
    // Reports a part that counts although it is in a comment. The message begins with `what`.
    void reportComment(const markup &part, const std::string &what);
    void noteHiddenSection();
    // Finds the first part of a kind and name outside comments, or else in one. Null without one.
    const markup *find(MarkupKind kind, std::string_view name) const;
};

class sectionJudge {
public:
    sectionJudge(judgedLine &line, const lineReader &reader, bool bUnread);

    void begin(const std::string &level);
    void takeLine(const lineEffect &effect);
    // Takes a line that cannot be judged: only notes the sections that it opens and closes.
    void passLine();
    // Closes the open section of a name, whose closing tag lacks its "<". Returns false if no section of that name is
    // open.
    bool closeText(std::string_view name);
    void end();
    // Reports what only the level as a whole shows: values that are missing or do not fit together.
    void judgeLevel(std::size_t levelLine, std::size_t levelColumn);

private:
    struct openSection {
        std::string_view name;
        testList tests;
        int tag; // -1: the program does not take it as a section
        std::uint32_t line, column;
        std::uint32_t innerLine, innerColumn; // where a section of the same tag opens in it; 0: nowhere
        bool bUnknown;                        // its condition is mistaken
        bool bGrid, bReported;

        // Is it to be reported when nothing closes it?
        bool isOpen() const {
            return !bReported || innerLine != 0;
        }
    };
    struct seenValue {
        std::uint32_t line, column;
        std::uint32_t section; // the line of the innermost section around it; 0: none
        std::uint32_t around;  // the index of the list of tests of all sections around it
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
    // Each of these reports at most one finding for a part without effect. They also take the part as its author means
    // it, so that the lines below are judged right: they open or close the section that the author wanted.
    void explain(const markup &part);
    void explainUnknown(const markup &part, int nearest);
    void explainName(const markup &part, int nearest, bool bSection);
    void explainElement(const markup &part);
    void explainOpening(const markup &part);
    void explainUnended(const markup &part, std::string_view text);
    void explainClosing(const markup &part);
    void explainStray(const markup &part);
    std::string elementEndedBy(const markup &part) const;
    void open(const markup &part, int tag, bool bCondition);
    void openUnread(const markup &part);
    void pass(const markup &part);
    void noteMeant(int tag);
    static void disregard(openSection &section);
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
    static void forgetCondition(openSection &section);
    bool inGrid() const;

    judgedLine &line;
    const lineReader &reader;
    const bool bUnread;
    std::string level;
    std::deque<openSection> sections;
    std::deque<testList> arounds; // the tests around the values of the level
    std::array<std::deque<seenValue>, LastTag> values;
    struct replacement {
        std::uint32_t line, column, by;
        int tag;
    };
    std::vector<replacement> replacements; // wait to be reported
    std::array<bool, LastTag> meant{};     // tags that the author gives in elements that the program ignores
    bool bRequires = false;
    std::size_t lastContinued = 0; // the last line of the last tag that was reported on its first line
};

} // namespace lint

#endif
