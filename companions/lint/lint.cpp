#include "lint.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <stdexcept>

#include "../common/words.h"
#include "meant.h"
#include "section.h"
#include "suppressions.h"
#include "tags.h"

namespace lint {

namespace {

using std::string;
using std::string_view;

using common::holds;
using common::sameLetters;

constexpr string_view levelStart = "<KVXLevel", platformName = "platform", supported = "Linux", shortLevel = "level";
constexpr std::size_t MOST_BYTES = std::numeric_limits<std::uint32_t>::max();
constexpr std::size_t LEVEL_ROOM = sizeof(versionList::szVersion);

string levelLine(const string &level) {
    return string(levelStart) + " value=\"" + level + "\">";
}

// Tells UTF-16 and UTF-32, which the program cannot read, by the byte order mark or the first "<"; empty for other
// files.
string_view wideEncoding(string_view file) {
    static constexpr string_view utf32[] = {{"\xff\xfe\0\0", 4}, {"\0\0\xfe\xff", 4}, {"<\0\0\0", 4}, {"\0\0\0<", 4}};
    static constexpr string_view utf16[] = {"\xff\xfe", "\xfe\xff", {"<\0", 2}, {"\0<", 2}};
    if (std::find(std::begin(utf32), std::end(utf32), file.substr(0, 4)) != std::end(utf32))
        return "UTF-32";
    return std::find(std::begin(utf16), std::end(utf16), file.substr(0, 2)) != std::end(utf16) ? "UTF-16" : "";
}

// Does every line end in a carriage return alone?
bool hasOldLineEnds(string_view file) {
    return holds(file, "\r") && !holds(file, "\n");
}

class fileJudge {
public:
    fileJudge(string_view text, const judgeOptions &options, findingList &list)
        : file(text), lastPlatform(text.rfind(platformLine())), lastPlatformEnd(text.rfind("</platform>")),
          findings(list), line(list), markups(text), section(line, reader, options.bUnread) {
    }

    // Judges the file. Returns the number of suppressed findings.
    std::size_t run(const ruleSet &silent) {
        const string encoding(wideEncoding(file));
        if (!encoding.empty())
            findings.add(Rule::encoding, 1, 1,
                         "the file is in " + encoding + ", which the program cannot read: save it as UTF-8");
        else if (hasOldLineEnds(file))
            findings.add(Rule::encoding, 1, 1,
                         "the lines end in a carriage return (CR) alone, so the file is one line: save it with line "
                         "ends LF");
        else
            judgeLines();
        return suppressions.apply(findings, silent);
    }

private:
    void judgeLines() {
        for (string_view rest = file; !rest.empty();) {
            const std::size_t end = std::min(rest.find('\n'), rest.size());
            line.below = rest;
            takeLine(rest.substr(0, end));
            rest.remove_prefix(std::min(end + 1, rest.size()));
        }
        endLevel();
        if (!bAnyLevel)
            findings.add(Rule::noLevel, 1, 1, "no line offers a level: write " + levelLine("12.1"));
        reportTwice();
    }

    void takeLine(string_view text) {
        line.number++;
        markups.read(text, line.marked);
        if (text.size() >= PREREQ_LINE_SIZE && endsAsItLooks(text))
            text = text.substr(0, PREREQ_LINE_SIZE - 1);
        line.text = text;
        suppressions.take(text, line.number, !bAnyLevel, findings);
        if (holds(text, string_view("\0", 1)))
            line.report(Rule::nul, text.find('\0') + 1,
                        "the program does not read this line behind its NUL character: delete that character");
        if (judgeConflict())
            return;
        if (line.marked.openComment != 0)
            line.report(Rule::comment, line.marked.openComment, "this comment has no end: write --> where it ends");
        const markup *pLevel = levelPart();
        if (text.size() >= PREREQ_LINE_SIZE)
            takeLongLine();
        else if (pLevel != nullptr && closesLevel(*pLevel))
            reportLevelEnd(pLevel->column);
        else if (offersLevel() || pLevel != nullptr || beginsLevelAsText())
            takeLevelLine(pLevel);
        else if (reader.place() == PLACE_SECTION)
            takeSectionLine();
        else if (reader.place() == PLACE_LEVEL)
            takeLineOfLevel();
        else
            judgeOutside();
        bLevelClosed = bLevelClosed || line.find(MarkupKind::closing, "KVXLevel") != nullptr;
    }

    // Is the line a mark of a merge conflict? Reports the conflict once, at its first mark.
    bool judgeConflict() {
        if (!isConflictMark(line.text) || (line.text[0] != '<' && !bConflict))
            return false;
        if (line.text[0] == '<')
            line.report(Rule::text, 1,
                        "a conflict of two versions that were merged: delete one side, and the lines that begin with "
                        "<<<<<<<, =======, >>>>>>> or |||||||");
        bConflict = line.text[0] != '>';
        return true;
    }

    // Does the part of a long line behind 255 characters hold only blanks and comments? Then cutting it changes
    // nothing.
    bool endsAsItLooks(string_view text) const {
        for (std::size_t at = PREREQ_LINE_SIZE - 1; (at = text.find('<', at)) != npos; at++)
            if (text.compare(at, 4, "<!--") != 0)
                return false;
        return std::all_of(line.marked.parts.begin(), line.marked.parts.end(),
                           [](const markup &part) { return part.end < PREREQ_LINE_SIZE; }) &&
               (line.marked.textColumn == 0 || line.marked.textColumn < PREREQ_LINE_SIZE);
    }

    // Finds the first part outside comments for which a test holds; without one, the first such part in a comment.
    template <typename Test> const markup *findPart(Test test) const {
        const markup *pFound = nullptr;
        for (const markup &part : line.marked.parts)
            if ((pFound == nullptr || (pFound->comment != 0 && part.comment == 0)) && test(part))
                pFound = &part;
        return pFound;
    }

    // Does the program find a level's name on the line?
    bool offersLevel() const {
        return holds(line.text, levelStart) && quotedText(line.text);
    }

    // Finds the opening tag of a level. In a comment only one that offers a level counts; elsewhere it may be
    // misspelled.
    const markup *levelPart() const {
        return findPart([&](const markup &part) {
            if (part.kind == MarkupKind::closing)
                return false;
            if (part.comment != 0)
                return part.name == "KVXLevel" && offersLevel();
            return part.name == "KVXLevel" || isLevelMeant(part);
        });
    }

    bool isLevelMeant(const markup &part) const {
        const string_view ending = part.name.substr(part.name.size() - std::min(part.name.size(), shortLevel.size()));
        if (reader.place() == PLACE_SECTION && foreignCharacter(part.name).empty() && !sameLetters(ending, shortLevel))
            return false;
        const string name = latinized(part.name);
        if (sameLetters(name, "KVXLevel") || (reader.place() != PLACE_SECTION && nearestTag(name) == KVXLevel))
            return true;
        return !isTag(name) && name.size() >= shortLevel.size() &&
               sameLetters(string_view(name).substr(name.size() - shortLevel.size()), shortLevel) &&
               isLevelName(valueOf(part));
    }

    // Reads the quoted text of the attribute "value", or of the first attribute without it.
    static string_view valueOf(const markup &part) {
        const std::size_t name = part.attributes.find("value");
        const string_view from = part.attributes.substr(name == npos ? 0 : name);
        const std::size_t opened = from.find_first_of("\"'");
        if (opened == npos)
            return {};
        return from.substr(opened + 1, from.find(from[opened], opened + 1) - opened - 1);
    }

    // Does the author mean to close the level with an opening tag that names no level?
    bool closesLevel(const markup &part) const {
        return bLevel && !bLevelClosed && part.attributes.empty() && !holds(line.text, "\"");
    }

    void reportLevelEnd(std::size_t column) {
        line.report(Rule::closing, column, "this does not close the level: write </KVXLevel>");
        bLevelClosed = true;
    }

    // Reports the first other tag or element on a line of which the program reads only one.
    void judgeOthers(const markup *pCounted, const char *pWhat, const markup *pAlso = nullptr) {
        for (const markup &part : line.marked.parts)
            if (&part != pCounted && &part != pAlso && part.comment == 0 && part.name != "KVXLevel" &&
                part.name != "KVXprereqs") {
                line.report(Rule::several, part.column,
                            string("only ") + pWhat + " counts on this line: give <\1> a line of its own " +
                                (pCounted != nullptr && part.column < pCounted->column ? "above" : "below") +
                                " this one",
                            part.name);
                return;
            }
    }

    void takeLongLine() {
        const bool bElements = findPart([](const markup &part) { return part.comment == 0; }) != nullptr;
        line.report(
            Rule::longLine, PREREQ_LINE_SIZE,
            string("the program reads the line behind 255 characters as a line of its own") +
                (bElements ? ", and may ignore elements: give each element a line of its own" : ": break the line"));
        if (reader.place() == PLACE_SECTION)
            section.passLine();
    }

    /* --- Levels --- */

    void takeLevelLine(const markup *pPart) {
        const markup *pClosing = endPlatformBefore(pPart);
        endLevel();
        const string_view offered = quotedText(line.text).value_or("");
        const string_view meant = nameMeant(pPart, offered);
        const string name(meant);
        firstOfLevel = findings.all.size();
        levelAt = {line.number, pPart != nullptr              ? pPart->column
                                : line.marked.textColumn != 0 ? line.marked.textColumn
                                                              : line.text.find(levelStart) + 1};
        bPlatformClosed = bOtherPlatform = bOutsideReported = bLevelClosed = false;
        bLevel = true;
        reader.beginLevel(string(offered));
        reader.take(line.text);
        const bool bFound = reader.place() == PLACE_LEVEL;
        bAnyLevel = true;        // even if its line is mistaken, which is reported there
        reader.beginLevel(name); // judge the lines of the level even if its own line is mistaken
        reader.take(levelLine(name));
        section.begin(name);

        if (pPart != nullptr && pPart->comment != 0)
            line.reportComment(*pPart, "this level is offered");
        else if (!bFound)
            judgeLevelForm(pPart, meant, offersLevel() ? &offered : nullptr);
        else
            judgeLevelName(meant);
        judgeOthers(pPart, "the level", pClosing);
        if (platformPart() != nullptr) { // the program ignores it on this line, but its lines are judged
            reader.take(platformLine());
            beginPlatform();
        }
    }

    // Guesses the name that the author gives the level: the quoted one, or one without quotes.
    string_view nameMeant(const markup *pPart, string_view offered) const {
        const string_view quoted = pPart == nullptr ? string_view() : valueOf(*pPart);
        if (!quoted.empty())
            return quoted;
        if (!offered.empty() || pPart == nullptr)
            return offered;
        return levelMeant(line.below, line.text, pPart->attributes);
    }

    // Ends a platform section whose closing tag is on the line of the next level, in front of it. Returns that tag or
    // null.
    const markup *endPlatformBefore(const markup *pLevel) {
        const markup *pClosing = line.find(MarkupKind::closing, platformName);
        if (reader.place() != PLACE_SECTION || pLevel == nullptr || pClosing == nullptr ||
            pClosing->column > pLevel->column || reader.take(line.text).effect != LINE_OUTSIDE)
            return nullptr;
        section.end();
        return pClosing;
    }

    // Has the opening tag of a level lost its "<"?
    bool beginsLevelAsText() const {
        return line.marked.textColumn != 0 &&
               trimmed(line.text).substr(0, levelStart.size() - 1) == levelStart.substr(1) && holds(line.text, "\"");
    }

    void judgeLevelForm(const markup *pPart, string_view name, const string_view *pOffered) {
        const string meant(name.empty() ? "12.1" : name);
        const string argument = name.empty() ? meant : "\1"; // "\1" means the name
        const string fix = ": write " + levelLine(argument);
        const string outcome = pOffered == nullptr
                                   ? "the level is not offered"
                                   : "level " + (*pOffered == name ? argument : string(*pOffered)) +
                                         " is offered, but the program does not find its section and checks it "
                                         "as a level without requirements";
        const std::size_t behind = levelAt.second + levelStart.size() - 1;
        const bool bOtherName = pPart != nullptr && pPart->name != "KVXLevel";
        if (bOtherName && !foreignCharacter(pPart->name).empty())
            line.report(Rule::lookAlike, levelAt.second,
                        string(pPart->name) + " holds " + codePoint(foreignCharacter(pPart->name)) + ", " + outcome +
                            fix,
                        name);
        else if (bOtherName && sameLetters(pPart->name, "KVXLevel"))
            line.report(Rule::letterCase, levelAt.second, "upper and lower case matter, " + outcome + fix, name);
        else if (bOtherName)
            line.report(Rule::unknownElement, levelAt.second, string(pPart->name) + " is not a tag, " + outcome + fix,
                        name);
        else if (behind < line.text.size() && line.text[behind] == '\t')
            line.report(Rule::tabulator, behind + 1, "there is a tabulator behind the tag, so " + outcome + fix, name);
        else if (pOffered == nullptr && holds(line.text, "'"))
            line.report(Rule::quotes, levelAt.second, "the name is not in double quotes, so " + outcome + fix, name);
        else if (holds(line.text, levelLine(meant)))
            line.report(Rule::levelForm, levelAt.second,
                        "the first quoted text of a level's line is its name, so " + outcome + ": give " +
                            levelLine(argument) + " a line of its own below this one",
                        name);
        else
            line.report(Rule::levelForm, levelAt.second, outcome + fix, name);
    }

    void judgeLevelName(string_view name) {
        if (name.size() > LEVEL_ROOM)
            line.report(Rule::levelName, levelAt.second,
                        "a level has at most " + std::to_string(LEVEL_ROOM) +
                            " characters, so the program leaves this one out: shorten its name");
        else if (isLevelName(trimmed(name)) && !isLevelName(name))
            line.report(Rule::levelName, levelAt.second,
                        "the blank is a part of the level's name, so users must type it behind -v: write \"" +
                            string(trimmed(name)) + "\"");
        else if (!isLevelName(name))
            line.report(Rule::levelName, levelAt.second,
                        "levels are ordered by numbers, and users type them behind -v: write numbers between points, "
                        "such as 12.1");
        levels.push_back({name, line.number, levelAt.second});
    }

    // Reports levels of the same name: the program reads the first of them each time.
    void reportTwice() {
        std::stable_sort(levels.begin(), levels.end(),
                         [](const offeredLevel &left, const offeredLevel &right) { return left.name < right.name; });
        for (std::size_t i = 1; i < levels.size(); i++) {
            if (levels[i].name != levels[i - 1].name)
                continue;
            findings.add(
                Rule::levelTwice, levels[i].line, levels[i].column,
                "line \1 has a level of this name already, and the program reads that one twice: give this one a name "
                "of its "
                "own, or delete one of them",
                levels[i - 1].line);
            levels[i].line = levels[i - 1].line;
        }
    }

    void endLevel() {
        if (!bLevel)
            return;
        if (reader.place() == PLACE_LEVEL)
            reportNoPlatform();
        else {
            if (reader.place() == PLACE_SECTION) {
                reportOpenPlatform();
                section.end();
            }
            section.judgeLevel(levelAt.first, levelAt.second);
        }
        reader.leave();
        bLevel = false;
    }

    void reportNoPlatform() {
        const auto begin = findings.all.begin() + static_cast<std::ptrdiff_t>(firstOfLevel);
        findings.all.erase(std::remove_if(begin, findings.all.end(),
                                          [&](const finding &found) { // they have the same cause
                                              return found.id == Rule::outside;
                                          }),
                           findings.all.end());
        line.reportAt(Rule::noPlatform, levelAt.first, levelAt.second,
                      "the level has no platform section, so the program " + readInstead() + ": write " +
                          platformLine() + " and </platform>");
    }

    void takeLineOfLevel() {
        reader.take(line.text);
        const markup *pPlatform = platformPart();
        if (reader.place() == PLACE_SECTION) {
            if (pPlatform != nullptr && pPlatform->comment != 0)
                line.reportComment(*pPlatform, "the platform section counts");
            beginPlatform();
            bPlatformFound = true;
            judgeOthers(pPlatform, "the platform");
        } else if (pPlatform != nullptr && pPlatform->comment == 0)
            judgePlatformForm(*pPlatform);
        else
            judgeOutside();
    }

    /* --- Platform sections --- */

    static string platformLine() {
        return "<" + string(platformName) + " value=\"" + string(supported) + "\">";
    }

    const markup *platformPart() const {
        return findPart([](const markup &part) {
            return part.kind != MarkupKind::closing &&
                   (sameLetters(latinized(part.name), platformName) ||
                    (part.comment == 0 && !isTag(part.name) && sameLetters(valueOf(part), supported)));
        });
    }

    // Is a place of the file on the current line or below it?
    bool isAhead(std::size_t place) const {
        return place != npos && place >= static_cast<std::size_t>(line.below.data() - file.data());
    }

    // Says what the program does with a level whose platform section it does not find.
    string readInstead() const {
        return isAhead(lastPlatform) ? "reads the next one below" : "checks the level without requirements";
    }

    void beginPlatform() {
        platformTag = platformName;
        platformAt = {line.number, std::min(line.text.find('<'), line.text.size()) + 1};
        bOutsideReported = bPlatformFound = false;
    }

    // Does the author mean a section for Linux: one that names no platform, or Linux in another form?
    static bool isMeantForLinux(const markup &part) {
        if (part.kind == MarkupKind::element)
            return sameLetters(trimmed(part.text), supported);
        return attributeText(part.attributes).empty() || holds(common::lowered(part.attributes), "linux");
    }

    void reportOtherPlatform(const markup &part) {
        line.report(Rule::otherPlatform, part.column,
                    "the program reads only " + platformLine() +
                        ": delete this section, or exclude this rule where another program reads it");
        bOtherPlatform = true;
    }

    void judgePlatformForm(const markup &part) {
        if (!isMeantForLinux(part)) {
            reportOtherPlatform(part);
            return;
        }
        const bool bLetters = sameLetters(part.name, platformName);
        const Rule id = !foreignCharacter(part.name).empty()    ? Rule::lookAlike
                        : bLetters && part.name != platformName ? Rule::letterCase
                                                                : Rule::platformForm;
        line.report(
            id, part.column,
            "the program does not find this section and " + readInstead() + ": write " + platformLine() +
                (bLetters && part.kind == MarkupKind::opening ? "" : ", and </platform> where the section ends"));
        reader.take(platformLine()); // judge its lines as if the program read them
        beginPlatform();
        platformTag = part.name;
        bPlatformClosed = part.kind == MarkupKind::element;
    }

    // Says which lines the program takes for a level whose platform section is not closed. It takes none if it does not
    // find the section, which is reported there.
    string takenToo() const {
        if (!bPlatformFound)
            return "";
        return isAhead(lastPlatformEnd) ? ", so the program takes the lines down to the next </platform> for it, too"
                                        : ", so the program takes the lines down to the end of the file for it";
    }

    void reportOpenPlatform() {
        if (!bPlatformClosed)
            line.reportAt(Rule::unclosed, platformAt.first, platformAt.second,
                          "the platform section is not closed before its level ends" + takenToo() +
                              ": put </platform> on a line of its own above </KVXLevel>");
        bPlatformClosed = true;
    }

    void takeSectionLine() {
        const lineEffect &effect = reader.take(line.text);
        const markup *pClosing = findPart([&](const markup &part) {
            return part.kind == MarkupKind::closing &&
                   (nearestTag(latinized(part.name)) == platform || part.name == platformTag);
        });
        if (reader.place() == PLACE_BEHIND) {
            endPlatform(pClosing);
            return;
        }
        if (pClosing != nullptr && pClosing->comment == 0) {
            if (pClosing->name == platformName || pClosing->name != platformTag)
                reportPlatformEnd(*pClosing);
            leavePlatform();
            return;
        }
        if (const markup *pOpening = line.find(MarkupKind::opening, platformName);
            pOpening != nullptr && pOpening->comment == 0 && pOpening->attributes.empty()) {
            line.report(Rule::closing, pOpening->column, "this does not close the platform section: write </platform>");
            leavePlatform();
            return;
        }
        if (closesAsText())
            return;
        if (line.find(MarkupKind::closing, "KVXLevel") != nullptr)
            reportOpenPlatform();
        else
            section.takeLine(effect);
    }

    void reportPlatformEnd(const markup &closing) {
        const Rule id = closing.name == platformName              ? Rule::blank
                        : !foreignCharacter(closing.name).empty() ? Rule::lookAlike
                        : sameLetters(closing.name, platformName) ? Rule::letterCase
                                                                  : Rule::closing;
        line.report(id, closing.column, "this does not close the platform section: write </platform>");
    }

    void leavePlatform() {
        section.end();
        reader.leave();
    }

    // Does a line without markup hold a closing tag that lacks its "<"? Reports it, and closes what is open.
    bool closesAsText() {
        string_view name = trimmed(line.text);
        if (line.marked.textColumn == 0 || name.back() != '>')
            return false;
        name.remove_suffix(1);
        name.remove_prefix(name.substr(0, 1) == "/");
        if (name == "KVXLevel") {
            reportLevelEnd(line.marked.textColumn);
            return true;
        }
        if (name == platformName)
            leavePlatform();
        else if (!section.closeText(name))
            return false;
        line.report(Rule::closing, line.marked.textColumn, "this closes nothing: write </" + string(name) + ">");
        return true;
    }

    void endPlatform(const markup *pClosing) {
        if (pClosing != nullptr && pClosing->comment != 0)
            line.reportComment(*pClosing, "</platform> ends the section");
        judgeOthers(pClosing, "</platform>");
        section.passLine();
        section.end();
    }

    // Judges a line that no level reads.
    void judgeOutside() {
        const markup *pPlatform = platformPart();
        if (pPlatform != nullptr && pPlatform->comment == 0) {
            bOtherPlatform = true;
            if (bLevel && !isMeantForLinux(*pPlatform))
                reportOtherPlatform(*pPlatform);
            else if (bLevel)
                line.report(
                    Rule::secondPlatform, pPlatform->column,
                    "the level's platform section ends above, and the program does not read a second one: join them");
            else
                line.report(Rule::outside, pPlatform->column,
                            "the program does not read a platform section outside a level: write " + levelLine("12.1") +
                                " above it");
        }
        if (bLevel)
            closesAsText();
        const markup *pPart = findPart([](const markup &part) {
            return part.kind != MarkupKind::closing && part.name != platformName &&
                   (nearestTag(part.name) >= 0 || holds(part.attributes, "value"));
        });
        if (pPart != nullptr && pPart->comment == 0 && !bOtherPlatform && !bOutsideReported) {
            line.report(Rule::outside, pPart->column,
                        "<" + string(pPart->name) +
                            "> is outside a platform section, so the program does not read it: put it between " +
                            platformLine() + " and </platform>");
            bOutsideReported = true;
        }
        if (line.find(MarkupKind::closing, platformName) != nullptr)
            bOtherPlatform = false;
    }

    typedef std::pair<std::size_t, std::size_t> position; // line and column

    struct offeredLevel {
        string_view name;
        std::size_t line, column;
    };

    const string_view file;
    const std::size_t lastPlatform, lastPlatformEnd; // in the file, in the form that the program reads
    findingList &findings;
    judgedLine line;
    markupReader markups;
    suppressionList suppressions;
    lineReader reader;
    sectionJudge section;
    std::vector<offeredLevel> levels;
    std::size_t firstOfLevel = 0; // the number of findings in front of it
    position levelAt, platformAt;
    string_view platformTag = platformName; // the name that its author gave it
    bool bLevel = false;                    // in a level
    bool bLevelClosed = false;              // its closing tag came
    bool bAnyLevel = false;                 // a line is meant to offer one
    bool bConflict = false;                 // between the marks of a conflict
    bool bPlatformFound = false;            // the program reads the platform section
    bool bPlatformClosed = false;           // or reported as open
    bool bOtherPlatform = false;            // in a platform section that the program does not read
    bool bOutsideReported = false;          // reported once for the lines in a row
};

} // namespace

judgement judge(string_view file, const judgeOptions &options) {
    if (file.size() > MOST_BYTES)
        throw std::runtime_error("the file has more than 4 GB");
    ruleSet silent = options.excluded;
    if (!options.bUnread)
        silent.set(static_cast<std::size_t>(Rule::unread));
    findingList findings(file, options.excluded);
    const std::size_t suppressed = fileJudge(file, options, findings).run(silent);
    return {std::move(findings), suppressed};
}

} // namespace lint
