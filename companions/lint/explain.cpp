#include "explain.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <map>
#include <stdexcept>
#include <string.h>
#include <unistd.h>
#include <unordered_map>

#include "conditions.h"
#include "output.h"
#include "sqloPrereqDefs.h"
#include "sqloText.h"
#include "tags.h"

namespace lint {

namespace {

using std::string;
using std::string_view;

string_view firstLine(string_view &file) {
    const std::size_t end = std::min(file.find('\n'), file.size());
    const string_view line = file.substr(0, end);
    file.remove_prefix(std::min(end + 1, file.size()));
    return line;
}

/* --- Files without a name --- */

// Opens an unlinked temporary file. memfd_create is no alternative: it needs C library 2.27 and a later kernel than
// that of RHEL 7. Returns -1 on a failure; the caller's first write then fails.
int openNameless() {
    FILE *pFile = std::tmpfile();
    if (pFile == nullptr)
        return -1;
    const int own = fcntl(fileno(pFile), F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    fclose(pFile);
    return own;
}

// A file without a name that holds a text, for operations of the program that take a path.
class namelessFile {
public:
    explicit namelessFile(string_view text);
    ~namelessFile();
    namelessFile(const namelessFile &) = delete;
    namelessFile &operator=(const namelessFile &) = delete;

    string path() const;

private:
    int descriptor;
};

namelessFile::namelessFile(string_view text) : descriptor(openNameless()) {
    while (!text.empty()) {
        const ssize_t written = write(descriptor, text.data(), text.size());
        if (written <= 0) {
            close(descriptor);
            throw std::runtime_error("a temporary file cannot be written");
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

namelessFile::~namelessFile() {
    close(descriptor);
}

string namelessFile::path() const {
    return "/proc/self/fd/" + std::to_string(descriptor);
}

/* --- The host --- */

// Fills the program's table of values with what the program stores about the described host, and empties it at the end.
class hostTable {
public:
    explicit hostTable(const describedHost &describedHost) : host(describedHost) {
        linuxDistro = distributionOf(host.distribution)->distribution;
        beginRun();
    }
    ~hostTable() {
        forget(0);
        linuxDistro = DISTRO_UNKNOWN;
    }
    hostTable(const hostTable &) = delete;
    hostTable &operator=(const hostTable &) = delete;

    // Stores what the program knows about the host when a run begins, and nothing else.
    void beginRun() const {
        forget(0);
        store(MHCA, "FALSE");
        store(HCANetwork, "Undefined");
        storeRelease();
        storeKernel();
    }

    // Does what the program does before it reads a level: the host's texts stay as an earlier pass left them.
    void beginPass(const string &level, bool bClustered) const {
        forget(FIRST_LEVEL_SLOT);
        bShareGrid = bClustered;
        store(KVXLevel, level);
        store(platform, "Linux");
        store(Processor, "");
        store(LinuxDistro, host.distribution);
    }

private:
    static void forget(int first) {
        for (int slot = first; slot < LastTag; slot++) {
            std::free(ppszPREREQ[slot]);
            ppszPREREQ[slot] = nullptr;
        }
    }

    static void store(int tag, const string &text) {
        std::free(ppszPREREQ[tag]);
        if (setPrereq(tag, text.c_str()) != RC_OK)
            throw std::bad_alloc();
    }

    static void readReleaseFile(int distribution, const string &text) {
        const int own = linuxDistro;
        linuxDistro = distribution;
        sqloGetSUSERHELRelease(namelessFile(text).path().c_str(), SEVERITY_ERROR, 0);
        linuxDistro = own;
    }

    void storeRelease() const {
        switch (linuxDistro) {
        case DISTRO_SUSE: storeSuseRelease(); break;
        case DISTRO_UBUNTU: break; // the program does not store its release
        default:
            readReleaseFile(linuxDistro, (linuxDistro == DISTRO_INSPUR ? "K-UX " : "release ") + host.release + "\n");
            if (!host.servicePack.empty())
                store(distributionOf(host.distribution)->servicePack, host.servicePack);
        }
    }

    // A host with a separate service pack has /etc/SuSE-release. Other hosts have /etc/os-release: the program splits
    // that release like the others', but its last part keeps the line break.
    void storeSuseRelease() const {
        if (!host.servicePack.empty()) {
            readReleaseFile(DISTRO_SUSE, "VERSION = " + host.release + "\nPATCHLEVEL = " + host.servicePack + "\n");
            return;
        }
        readReleaseFile(DISTRO_RHEL, "release " + host.release + "\n");
        std::swap(ppszPREREQ[SLESVersion], ppszPREREQ[RHELVersion]);
        std::swap(ppszPREREQ[SLESSP], ppszPREREQ[RHELSP]);
        const Tag last = ppszPREREQ[SLESSP] != nullptr ? SLESSP : SLESVersion;
        if (ppszPREREQ[last] != nullptr)
            store(last, string(ppszPREREQ[last]) + "\n");
    }

    void storeKernel() const {
        string release = host.kernel;
        char *pRest = release.data();
        for (auto [tag, pEnd] :
             {std::pair(OSVersion, "."), std::pair(OSRelease, "."), std::pair(OSMinorRelease, "-")}) {
            const char *pPart = strsep(&pRest, pEnd);
            if (pPart != nullptr && *pPart != '\0')
                store(tag, pPart);
        }
    }

    const describedHost &host;
};

/* --- Reading the level as the host would --- */

struct readLevel {
    int place = PLACE_FILE;
    std::map<int, std::vector<givenValue>> values; // by tag; the values of a tag in the order of their lines
    std::vector<skippedSection> skipped;
};

// Says why the program skips the section that a line opens.
string skipReason(const prereqReader &reader, string_view line) {
    if (reader.tag == shareGrid && !bShareGrid)
        return "it is for the clustered pass";
    const std::optional<string_view> text = quotedText(line);
    if (!text)
        return "its condition is not in double quotes";
    for (const triple &triple : readCondition(*text).triples) {
        const string operand(triple.operand), operation(triple.operation), wanted(triple.value);
        if (!sqloEvaluateCondition(operand.c_str(), operation.c_str(), wanted.c_str()))
            continue;
        if (triple.tag < 0)
            return operand + " is not a tag";
        string reason = operand + " is " + ppszPREREQ[triple.tag] + ", not ";
        if (operation != "=")
            reason += operation + " ";
        return reason += wanted;
    }
    return "its condition fails";
}

class levelReader {
public:
    explicit levelReader(const string &level) {
        sqloBeginPrereqLines(&reader, level.c_str());
    }

    readLevel run(string_view file) {
        while (!file.empty() && reader.place != PLACE_BEHIND) {
            string_view line = firstLine(file);
            number++;
            do {
                take(line.substr(0, PREREQ_LINE_SIZE - 1));
                line.remove_prefix(std::min<std::size_t>(line.size(), PREREQ_LINE_SIZE - 1));
            } while (!line.empty());
        }
        level.place = reader.place;
        return std::move(level);
    }

private:
    void take(string_view line) {
        const bool bSkipping = reader.bSkipping;
        if (sqloTakePrereqLine(&reader, string(line).c_str()) != RC_OK)
            throw std::bad_alloc();
        if (reader.effect == LINE_VALUE)
            level.values[reader.tag].push_back({number, ppszPREREQ[reader.tag]});
        else if (reader.effect == LINE_SKIP_BEGINS && !bSkipping)
            level.skipped.push_back(
                {number, 0, string(line.substr(std::min(line.find('<'), line.size()))), skipReason(reader, line)});
        else if (reader.effect == LINE_SKIP_ENDS)
            level.skipped.back().end = number;
    }

    prereqReader reader;
    std::size_t number = 0;
    readLevel level;
};

// Reads a level as a run with -v does: the clustered pass follows the first pass, except on Ubuntu.
readLevel readPasses(string_view file, const string &level, const describedHost &host, const hostTable &table) {
    const bool bBoth = host.bClustered && host.distribution != ppszDistroName[DISTRO_UBUNTU];
    table.beginPass(level, host.bClustered && !bBoth);
    readLevel read = levelReader(level).run(file);
    if (!bBoth)
        return read;
    table.beginPass(level, true);
    return levelReader(level).run(file);
}

/* --- What becomes of what was read --- */

class explainer {
public:
    explainer(const readLevel &level, explanation &explained)
        : level(level), host(explained.host), explained(explained) {
    }

    void run() {
        addNotes();
        addChecks();
        explained.everyLevel.emplace_back("strings is there");
        if (!host.bClient)
            explained.everyLevel.emplace_back("libaio.so.1 loads");
        explained.everyLevel.emplace_back("32-bit PAM library (warning)");
        if (host.bClustered)
            explained.everyLevel.insert(
                explained.everyLevel.end(),
                {"SELinux is disabled", "free space in /var, /usr and the temporary directory"});
        addUnread("Read in the clustered pass only",
                  [&](Reading read) { return read == Reading::clusteredPass && !host.bClustered; });
        addUnread("Read only by checks that no option selects", [](Reading read) { return read == Reading::dormant; });
        addUnread("Read by no check", [](Reading read) { return read == Reading::nothing || read == Reading::host; });
        explained.skipped = level.skipped;
    }

private:
    // Notes the levels and passes that the program leaves out on Ubuntu.
    void addNotes() {
        if (host.distribution != ppszDistroName[DISTRO_UBUNTU])
            return;
        if (explained.level.find("9.8") != string::npos)
            explained.notes.emplace_back(
                "the program checks a level whose name holds 9.8 on UBUNTU only with -l, or with "
                "-i and without -v");
        if (host.bClustered)
            explained.notes.emplace_back("on UBUNTU only -l runs the clustered pass");
    }

    bool isAsked(Reading read) const {
        return read == Reading::everyPass || (read == Reading::clusteredPass && host.bClustered);
    }

    bool isGiven(int tag) const {
        return level.values.find(tag) != level.values.end();
    }

    void addChecks() {
        for (const auto &[tag, given] : level.values) { // in the order of the tags
            const tagUse &use = useOf(tag);
            auto &checks = explained.checks;
            const bool bThere = std::any_of(checks.begin(), checks.end(),
                                            [&](const shownCheck &check) { return check.name == use.check; });
            if (isAsked(use.read) && !bThere)
                checks.push_back(checkOf(tag));
        }
    }

    shownCheck checkOf(int tag) const {
        shownCheck check;
        check.name = useOf(tag).check;
        check.note = noteOn(tag);
        for (const auto &[other, texts] : level.values)
            if (isAsked(useOf(other).read) && useOf(other).check == check.name)
                check.values.push_back(shown(other, texts));
        for (const auto &parts : levelParts)
            if (useOf(parts[0]).check == check.name)
                check.level = levelOf(parts);
        if (!check.note.empty())
            return check;
        for (const dependence &pair : dependences)
            if (useOf(pair.tag).check == check.name && isGiven(pair.tag) && !isGiven(pair.needed))
                check.lacking.push_back(string(ppszTagName[pair.needed]) +
                                        " is not given: " + string(pair.consequence));
        return check;
    }

    // Says why a check does not run although the level gives values for it; empty when it runs.
    string noteOn(int tag) const {
        const string_view check = useOf(tag).check;
        if ((check == useOf(kshPackage).check || check == useOf(ntpPackage).check) &&
            (!isGiven(kshPackage) || !isGiven(ntpPackage)))
            return "kshPackage and ntpPackage are not both given";
        if (check == useOf(CPPLibName).check && !isGiven(CPPLibName))
            return "no CPPLibName is given";
        return "";
    }

    static string levelOf(const Tag (&parts)[3]) {
        string text;
        for (const Tag part : parts)
            text += (text.empty() ? "" : ".") + std::to_string(leadingNumber(minimumOrZero(part)));
        return text;
    }

    template <typename Test> void addUnread(const char *pReason, Test belongs) {
        unreadValues unread = {pReason, {}};
        for (const auto &[tag, given] : level.values)
            if (belongs(useOf(tag).read))
                unread.values.push_back(shown(tag, given));
        if (!unread.values.empty())
            explained.unread.push_back(std::move(unread));
    }

    static shownValue shown(int tag, const std::vector<givenValue> &given) {
        return {tag, given.back(), {given.rbegin() + 1, given.rend()}};
    }

    const readLevel &level;
    const describedHost &host;
    explanation &explained;
};

/* --- The kernel and all levels --- */

// Finds where the line of each level begins, so that the whole file need not be read for each level.
std::unordered_map<string, std::size_t> levelLines(string_view file) {
    static constexpr string_view begin = "<KVXLevel value=\"";
    std::unordered_map<string, std::size_t> places;
    for (std::size_t at = 0; (at = file.find(begin, at)) != string_view::npos; at++) {
        const std::size_t name = at + begin.size();
        const std::size_t line = file.rfind('\n', at) + 1; // npos + 1 is 0: the first line
        const std::size_t end = std::min(file.find('"', name), file.size());
        places.emplace(file.substr(name, end - name), line);
    }
    return places;
}

void judgeKernel(string_view file, const std::vector<string> &levels, const hostTable &table, explanation &explained) {
    const auto places = levelLines(file);
    const std::array<string, 3> parts = {ppszPREREQ[OSVersion], ppszPREREQ[OSRelease], ppszPREREQ[OSMinorRelease]};
    const threePartLevel kernel = {{parts[0].c_str(), parts[1].c_str(), parts[2].c_str()}};
    describedHost host = explained.host;
    host.bClustered = false;
    bool bHostChanged = true;
    for (const string &level : levels) {
        if (bHostChanged)
            table.beginRun();
        const auto place = places.find(level);
        const readLevel read = readPasses(file.substr(place == places.end() ? 0 : place->second), level, host, table);
        (meetsMinimum(kernel, levelParts[0]) ? explained.kernelMeets : explained.kernelFails).push_back(level);
        bHostChanged = !read.values.empty() && read.values.begin()->first < FIRST_LEVEL_SLOT;
    }
}

string someOf(const std::vector<string> &levels) {
    constexpr std::size_t MOST_NAMED = 10;
    string names;
    for (std::size_t i = 0; i < std::min(levels.size(), MOST_NAMED); i++)
        names += (i == 0 ? "" : ", ") + printable(levels[i]);
    return names + (levels.size() > MOST_NAMED ? ", ..." : "");
}

} // namespace

bool isKnownDistribution(const string &name) {
    return distributionOf(name) != nullptr;
}

std::vector<string> levelsOf(string_view file) {
    const namelessFile copy(file);
    std::snprintf(szInputXMLFile, sizeof szInputXMLFile, "%s", copy.path().c_str());
    std::vector<string> levels;
    if (sqloRetrieveSupportedVersion() == RC_OK)
        for (const versionList *pNode = preqVersionList; pNode != nullptr; pNode = pNode->next)
            levels.emplace_back(pNode->szVersion, strnlen(pNode->szVersion, sizeof pNode->szVersion));
    return levels;
}

explanation explain(string_view file, const std::vector<string> &levels, const string &level,
                    const describedHost &host) {
    const string name = printable(level);
    if (std::find(levels.begin(), levels.end(), level) == levels.end())
        throw std::runtime_error("level " + name + " is not offered, so -v refuses it; the file offers " +
                                 someOf(levels));
    explanation explained;
    explained.level = level;
    explained.host = host;
    const hostTable table(host);
    const readLevel read = readPasses(file, level, host, table);
    const string outcome =
        ", so the program checks level " + name + " as a level without requirements: run kvxprereqlint on the file";
    if (read.place == PLACE_FILE)
        throw std::runtime_error("no line holds <KVXLevel value=\"" + name + "\"> letter by letter" + outcome);
    if (read.place == PLACE_LEVEL)
        throw std::runtime_error("no line below the level's holds <platform value=\"Linux\"> letter by letter" +
                                 outcome);
    explainer(read, explained).run();
    if (!host.kernel.empty()) {
        table.beginRun();
        judgeKernel(file, levels, table, explained);
    }
    return explained;
}

} // namespace lint
