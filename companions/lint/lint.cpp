#include "lint.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <map>

#include "section.h"
#include "tags.h"

namespace lint {

namespace {

using std::string;
using std::string_view;

constexpr auto npos = string_view::npos;
constexpr string_view levelStart = "<KVXLevel", platformName = "platform", supported = "Linux";
constexpr std::size_t LEVEL_ROOM = sizeof(versionList::szVersion);

bool holds(string_view text, string_view part) {
    return text.find(part) != npos;
}

string lowered(string_view text) {
    string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
    return lower;
}

string levelLine(const string &level) {
    return string(levelStart) + " value=\"" + level + "\">";
}

bool sameLetters(string_view left, string_view right) {
    return left.size() == right.size() && (left == right || lowered(left) == lowered(right));
}

// UTF-16, by its byte order mark or by the file's first "<".
bool isWide(string_view file) {
    static constexpr string_view beginnings[] = {"\xff\xfe", "\xfe\xff", {"<\0", 2}, {"\0<", 2}};
    return std::find(std::begin(beginnings), std::end(beginnings), file.substr(0, 2)) != std::end(beginnings);
}

// Digits and points, each number between two of them.
bool isLevelName(string_view name) {
    return !name.empty() && name.find_first_not_of("0123456789.") == npos && !holds("." + string(name) + ".", "..");
}

class fileJudge {
public:
    explicit fileJudge(bool bUnread) : section(line, reader, bUnread) {
    }

    std::vector<finding> run(string_view file) {
        if (isWide(file))
            return {{1, 1, Rule::noLevel, true, "the file is in UTF-16, which is not read: save it as UTF-8"}};
        while (!file.empty()) {
            const std::size_t end = std::min(file.find('\n'), file.size());
            takeLine(file.substr(0, end));
            file.remove_prefix(std::min(end + 1, file.size()));
        }
        endLevel();
        if (!bAnyLevel)
            line.reportAt(Rule::noLevel, 1, 1, "no line offers a level: write " + levelLine("12.1"));
        std::stable_sort(line.findings.begin(), line.findings.end(), [](const finding &left, const finding &right) {
            return std::pair(left.line, left.column) < std::pair(right.line, right.column);
        });
        return std::move(line.findings);
    }

private:
    void takeLine(string_view text) {
        line.number++;
        line.text = text;
        markups.read(text, line.marked);
        if (holds(text, string_view("\0", 1)))
            line.report(Rule::nulByte, text.find('\0') + 1,
                        "a NUL character: what follows on this line is not read; take it out");
        const markup *pLevel = levelPart();
        if (text.size() >= PREREQ_LINE_SIZE)
            takeLongLine();
        else if (holds(text, levelStart) || pLevel != nullptr)
            takeLevelLine(pLevel);
        else if (reader.place() == PLACE_SECTION)
            takeSectionLine();
        else if (reader.place() == PLACE_LEVEL)
            takeLineOfLevel();
        else
            judgeOutside();
    }

    // The first part outside comments, or else in one, for which a test holds.
    template <typename Test> const markup *findPart(Test test) const {
        const markup *pFound = nullptr;
        for (const markup &part : line.marked.parts)
            if ((pFound == nullptr || (pFound->comment != 0 && part.comment == 0)) && test(part))
                pFound = &part;
        return pFound;
    }

    // The tag of a level; outside comments also a misspelled one.
    const markup *levelPart() const {
        return findPart([&](const markup &part) {
            if (part.kind == MarkupKind::closing || part.name == "KVXLevel")
                return part.kind != MarkupKind::closing;
            return part.comment == 0 && (sameLetters(part.name, "KVXLevel") ||
                                         (reader.place() != PLACE_SECTION && nearestTag(part.name) == KVXLevel));
        });
    }

    // Something that stands beside what the line is for.
    void judgeOthers(const markup *pCounted, const char *pWhat) {
        for (const markup &part : line.marked.parts)
            if (&part != pCounted && part.comment == 0 && part.name != "KVXLevel" && part.name != "KVXprereqs") {
                line.report(Rule::several, part.column,
                            string("only ") + pWhat + " counts on this line: give <" + string(part.name) +
                                "> a line of its own");
                return;
            }
    }

    void takeLongLine() {
        const bool bElements = findPart([](const markup &part) { return part.comment == 0; }) != nullptr;
        line.report(Rule::longLine, PREREQ_LINE_SIZE,
                    string("the line has more than 255 characters; what follows is read as a line of its own") +
                        (bElements ? ", and elements may be lost: break it into lines" : ": break the line"));
        if (reader.place() == PLACE_SECTION)
            section.passLine();
    }

    /* --- Levels --- */

    void takeLevelLine(const markup *pPart) {
        endLevel();
        bool bQuotes = false;
        const string name(quotedText(line.text, bQuotes));
        levelAt = {line.number, pPart == nullptr ? line.text.find(levelStart) + 1 : pPart->column};
        bPlatformClosed = bOtherPlatform = bOutsideReported = false;
        bLevel = true;
        reader.beginLevel(name);
        reader.take(line.text);
        const bool bFound = reader.place() == PLACE_LEVEL, bOffered = holds(line.text, levelStart) && bQuotes;
        bAnyLevel = bAnyLevel || bOffered;
        reader.beginLevel(name); // the level's lines are judged, whatever its own line is like
        reader.take(levelLine(name));
        section.begin(name);

        if (pPart != nullptr && pPart->comment != 0)
            line.reportComment(*pPart, "this level is offered");
        else if (!bFound || !bQuotes)
            judgeLevelForm(pPart, name, bOffered);
        else
            judgeLevelName(name);
        judgeOthers(pPart, "the level");
        if (platformPart() != nullptr) { // it does not count here; its lines are judged all the same
            reader.take(platformLine());
            beginPlatform();
        }
    }

    void judgeLevelForm(const markup *pPart, const string &name, bool bOffered) {
        const string fix = ": write " + levelLine(name.empty() ? "12.1" : name);
        const string outcome = bOffered ? "the level is offered, but its section is not found, so it is checked as one "
                                          "without requirements"
                                        : "the level is not offered";
        const std::size_t behind = levelAt.second + levelStart.size() - 1;
        if (pPart != nullptr && pPart->name != "KVXLevel" && sameLetters(pPart->name, "KVXLevel"))
            line.report(Rule::letterCase, levelAt.second, "letters' case matters, " + outcome + fix);
        else if (pPart != nullptr && pPart->name != "KVXLevel")
            line.report(Rule::unknownElement, levelAt.second, string(pPart->name) + " is no tag, " + outcome + fix);
        else if (behind < line.text.size() && line.text[behind] == '\t')
            line.report(Rule::tabulator, behind + 1, "a tabulator behind the tag: " + outcome + fix);
        else if (!bOffered && holds(line.text, "'"))
            line.report(Rule::quotes, levelAt.second, "the name stands in double quotes: " + outcome + fix);
        else
            line.report(Rule::levelForm, levelAt.second, outcome + fix);
    }

    void judgeLevelName(const string &name) {
        if (name.size() > LEVEL_ROOM)
            line.report(Rule::levelName, levelAt.second,
                        "a level has at most " + std::to_string(LEVEL_ROOM) +
                            " characters; this one is left out of the list: shorten it");
        else if (isLevelName(trimmed(name)) && !isLevelName(name))
            line.report(Rule::levelName, levelAt.second,
                        "the blank is part of the level's name, and -v must be given it, too: write \"" +
                            string(trimmed(name)) + "\"");
        else if (!isLevelName(name))
            line.report(Rule::levelName, levelAt.second,
                        "a level is numbers between points, as 12.1: by these it is ordered, and that is what users "
                        "type behind -v");
        const auto first = levels.emplace(name, line.number);
        if (!first.second)
            line.report(Rule::levelTwice, levelAt.second,
                        "level " + name + " stands in line " + std::to_string(first.first->second) +
                            " already, and that one is read twice: keep one");
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
        auto &findings = line.findings; // its lines stand outside for the same reason
        findings.erase(std::remove_if(findings.begin(), findings.end(),
                                      [&](const finding &found) {
                                          return found.id == Rule::outside && found.line > levelAt.first;
                                      }),
                       findings.end());
        line.reportAt(Rule::noPlatform, levelAt.first, levelAt.second,
                      "the level has no platform section and gets that of a level further down, or none: write " +
                          platformLine() + " and </platform>");
    }

    void takeLineOfLevel() {
        reader.take(line.text);
        const markup *pPlatform = platformPart();
        if (reader.place() == PLACE_SECTION) {
            if (pPlatform != nullptr && pPlatform->comment != 0)
                line.reportComment(*pPlatform, "the platform section counts");
            beginPlatform();
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
            return part.kind == MarkupKind::opening && sameLetters(part.name, platformName);
        });
    }

    void beginPlatform() {
        platformAt = {line.number, std::min(line.text.find('<'), line.text.size()) + 1};
        bOutsideReported = false;
    }

    // A section that names no platform, or this one in another form, is meant to be read.
    static bool isMeantForLinux(const markup &part) {
        bool bQuotes = false;
        quotedText(part.attributes, bQuotes);
        return !bQuotes || holds(lowered(part.attributes), "linux");
    }

    void reportOtherPlatform(const markup &part) {
        line.report(Rule::otherPlatform, part.column,
                    "only " + platformLine() + " is read, this platform's section is not");
        bOtherPlatform = true;
    }

    void judgePlatformForm(const markup &part) {
        if (!isMeantForLinux(part)) {
            reportOtherPlatform(part);
            return;
        }
        line.report(part.name == platformName ? Rule::platformForm : Rule::letterCase, part.column,
                    "the section is not found, and the level gets that of one further down: write " + platformLine());
        reader.take(platformLine()); // its lines are judged all the same
        beginPlatform();
    }

    void reportOpenPlatform() {
        if (!bPlatformClosed)
            line.reportAt(
                Rule::unclosed, platformAt.first, platformAt.second,
                "the platform section is not closed before its level ends, so the next level's lines are read "
                "for this one, too: put </platform> on a line of its own");
        bPlatformClosed = true;
    }

    void takeSectionLine() {
        const lineEffect &effect = reader.take(line.text);
        const markup *pClosing = findPart([](const markup &part) {
            return part.kind == MarkupKind::closing && sameLetters(part.name, platformName);
        });
        if (reader.place() == PLACE_BEHIND) {
            endPlatform(pClosing);
            return;
        }
        if (pClosing != nullptr && pClosing->comment == 0) {
            line.report(pClosing->name == platformName ? Rule::blanks : Rule::letterCase, pClosing->column,
                        "this does not close the platform section: write </platform>");
            section.end();
            reader.leave();
            return;
        }
        if (line.find(MarkupKind::closing, "KVXLevel") != nullptr)
            reportOpenPlatform();
        else
            section.takeLine(effect);
    }

    void endPlatform(const markup *pClosing) {
        if (pClosing != nullptr && pClosing->comment != 0)
            line.reportComment(*pClosing, "</platform> ends the section");
        judgeOthers(pClosing, "</platform>");
        section.passLine();
        section.end();
    }

    // A line that no level reads.
    void judgeOutside() {
        const markup *pPlatform = platformPart();
        if (pPlatform != nullptr && pPlatform->comment == 0) {
            bOtherPlatform = true;
            if (bLevel && !isMeantForLinux(*pPlatform))
                reportOtherPlatform(*pPlatform);
            else if (bLevel)
                line.report(Rule::secondPlatform, pPlatform->column,
                            "the level's platform section has ended in a line above, this one is not read: join them");
            else
                line.report(Rule::outside, pPlatform->column,
                            "a platform section outside a level is not read: write " + levelLine("12.1") + " above it");
        }
        if (line.marked.textColumn != 0 && holds(line.text, "KVXLevel"))
            line.report(Rule::levelForm, line.marked.textColumn,
                        "the level's \"<\" is missing, so the level is not offered: write " + levelLine("12.1"));
        const markup *pPart = findPart([](const markup &part) {
            return part.kind != MarkupKind::closing && part.name != platformName &&
                   (nearestTag(part.name) >= 0 || holds(part.attributes, "value"));
        });
        if (pPart != nullptr && pPart->comment == 0 && !bOtherPlatform && !bOutsideReported) {
            line.report(Rule::outside, pPart->column,
                        "<" + string(pPart->name) +
                            "> stands outside a platform section and is not read: put it between " + platformLine() +
                            " and </platform>");
            bOutsideReported = true;
        }
        if (line.find(MarkupKind::closing, platformName) != nullptr)
            bOtherPlatform = false;
    }

    typedef std::pair<std::size_t, std::size_t> position; // line and column

    judgedLine line;
    markupReader markups;
    lineReader reader;
    sectionJudge section;
    std::map<string, std::size_t> levels; // and the line of each
    position levelAt, platformAt;
    bool bLevel = false;           // in a level, or behind its platform section
    bool bAnyLevel = false;        // one was offered
    bool bPlatformClosed = false;  // or said to be open
    bool bOtherPlatform = false;   // in a platform section that is not read
    bool bOutsideReported = false; // once for the lines in a row
};

} // namespace

std::vector<finding> judge(std::string_view file, bool bUnread) {
    return fileJudge(bUnread).run(file);
}

} // namespace lint
