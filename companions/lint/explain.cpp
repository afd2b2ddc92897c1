#include "explain.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <map>
#include <stdexcept>
#include <string.h>
#include <unistd.h>
#include <vector>

#include "conditions.h"
#include "sqloPrereqDefs.h"
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

// A text as a file without a name, for an operation that takes a path.
class namelessFile {
public:
    explicit namelessFile(const string &text) {
        int ends[2];
        if (text.size() > MOST_TEXT || pipe(ends) != 0)
            throw std::runtime_error("a release or service pack that is too long");
        descriptor = ends[0];
        const bool bWritten = write(ends[1], text.data(), text.size()) == (ssize_t)text.size();
        close(ends[1]);
        if (!bWritten)
            throw std::runtime_error("a pipe cannot be written");
    }
    ~namelessFile() {
        close(descriptor);
    }
    namelessFile(const namelessFile &) = delete;
    namelessFile &operator=(const namelessFile &) = delete;
    string path() const {
        return "/proc/self/fd/" + std::to_string(descriptor);
    }

private:
    static constexpr std::size_t MOST_TEXT = 512; // less than any pipe holds
    int descriptor = -1;
};

/* --- The host --- */

// The program's table as it is on the described host when a level begins.
class hostTable {
public:
    hostTable(const string &level, const describedHost &host) {
        forget();
        linuxDistro =
            (int)(std::find(ppszDistroName, ppszDistroName + DISTRO_COUNT, host.distribution) - ppszDistroName);
        bShareGrid = host.bClustered;
        store(KVXLevel, level);
        store(platform, "Linux");
        store(Processor, "");
        store(LinuxDistro, host.distribution);
        store(MHCA, "FALSE");
        store(HCANetwork, "Undefined");
        storeRelease(host);
        storeKernel(host.kernel);
    }
    ~hostTable() {
        forget();
        linuxDistro = DISTRO_UNKNOWN;
        bShareGrid = 0;
    }
    hostTable(const hostTable &) = delete;
    hostTable &operator=(const hostTable &) = delete;

private:
    static void forget() {
        for (char *&pText : ppszPREREQ) {
            std::free(pText);
            pText = nullptr;
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

    static void storeRelease(const describedHost &host) {
        switch (linuxDistro) {
        case DISTRO_SUSE: storeSuseRelease(host); break;
        case DISTRO_UBUNTU: break; // its release is not stored
        default:
            readReleaseFile(linuxDistro, (linuxDistro == DISTRO_INSPUR ? "K-UX " : "release ") + host.release + "\n");
            if (!host.servicePack.empty())
                store(distributionOf(host.distribution)->servicePack, host.servicePack);
        }
    }

    // A service pack of its own stands in /etc/SuSE-release. Otherwise the release is that of /etc/os-release: cut like
    // that of other distributions, but the last part keeps the line's end.
    static void storeSuseRelease(const describedHost &host) {
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

    static void storeKernel(const string &kernel) {
        string release = kernel;
        char *pRest = release.data();
        for (auto [tag, pEnd] :
             {std::pair(OSVersion, "."), std::pair(OSRelease, "."), std::pair(OSMinorRelease, "-")}) {
            const char *pPart = strsep(&pRest, pEnd);
            if (pPart != nullptr && *pPart != '\0')
                store(tag, pPart);
        }
    }
};

/* --- Reading the level as the host would --- */

struct givenValue {
    std::size_t line;
    string text;
};

struct skippedSection {
    std::size_t begin, end; // 0: it ends with the platform section
    string opening, reason;
};

struct readLevel {
    int place = PLACE_FILE;
    std::map<int, std::vector<givenValue>> values; // by tag, each in the order of its lines
    std::vector<skippedSection> skipped;
};

// Why the section that a line opens is skipped.
string skipReason(const prereqReader &reader, string_view line) {
    bool bQuotes = false;
    const string_view text = quotedText(line, bQuotes);
    if (reader.tag == shareGrid && !bShareGrid && !bNonIB)
        return "it is for the clustered pass";
    if (!bQuotes)
        return "its condition does not stand in double quotes";
    for (const triple &triple : readCondition(text).triples) {
        const string operand(triple.operand), operation(triple.operation), wanted(triple.value);
        if (!sqloEvaluateCondition(operand.c_str(), operation.c_str(), wanted.c_str()))
            continue;
        if (triple.tag < 0)
            return operand + " is no tag";
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

/* --- Printing --- */

class explanation {
public:
    explanation(const readLevel &level, const describedHost &host, std::ostream &out)
        : level(level), host(host), out(out) {
    }

    void print(const string &name) const {
        out << "Level " << printable(name) << " on " << host.distribution << ' ' << printable(host.release)
            << (host.servicePack.empty() ? "" : " service pack " + printable(host.servicePack))
            << (host.kernel.empty() ? ", kernel not given" : ", kernel " + printable(host.kernel))
            << (host.bClient ? ", client" : "") << (host.bClustered ? ", clustered pass" : "") << "\n";
        printNotes(name);
        printChecks();
        printRest("Read in the clustered pass only",
                  [&](Reading read) { return read == Reading::clusteredPass && !host.bClustered; });
        printRest("Read only by checks that no option selects", [](Reading read) { return read == Reading::dormant; });
        printRest("Read by no check", [](Reading read) { return read == Reading::nothing || read == Reading::host; });
        printSkipped();
    }

private:
    // The program decides by the host, before it reads a level, whether to check it there.
    void printNotes(const string &name) const {
        if (host.distribution != ppszDistroName[DISTRO_UBUNTU])
            return;
        if (name.find("9.8") != string::npos)
            out << "Note: a level whose name holds 9.8 is not for UBUNTU: -v refuses it, a run of all levels passes over "
                   "it; only -i without -v, and -l, check it\n";
        if (host.bClustered)
            out << "Note: on UBUNTU only -l makes the clustered pass\n";
    }

    bool isAsked(Reading read) const {
        return read == Reading::everyPass || (read == Reading::clusteredPass && host.bClustered);
    }

    bool isGiven(int tag) const {
        return level.values.find(tag) != level.values.end();
    }

    void printChecks() const {
        std::vector<string_view> checks; // in the order of their tags
        for (const auto &[tag, given] : level.values) {
            const tagUse &use = useOf(tag);
            if (!isAsked(use.read) || std::find(checks.begin(), checks.end(), use.check) != checks.end())
                continue;
            checks.push_back(use.check);
            out << "\nCheck: " << use.check << noteOn(tag) << "\n";
            for (const auto &[other, texts] : level.values)
                if (isAsked(useOf(other).read) && useOf(other).check == use.check)
                    printValue(other, texts);
            if (noteOn(tag).empty())
                printLacking(use.check);
        }
        out << "\nChecks of every level: strings is there" << (host.bClient ? "" : ", libaio.so.1 loads")
            << ", 32-bit PAM library (warning)"
            << (host.bClustered ? ", SELinux is disabled, free space in /var, /usr and the temporary directory" : "")
            << "\n";
    }

    // What a check is made without, though it is given what makes no sense alone.
    void printLacking(string_view check) const {
        for (const dependence &pair : dependences)
            if (useOf(pair.tag).check == check && isGiven(pair.tag) && !isGiven(pair.needed))
                out << "  " << ppszTagName[pair.needed] << " is not given: " << pair.consequence << "\n";
    }

    // A check that does not run in spite of what it is given.
    string noteOn(int tag) const {
        const string_view check = useOf(tag).check;
        if ((check == useOf(kshPackage).check || check == useOf(ntpPackage).check) &&
            (!isGiven(kshPackage) || !isGiven(ntpPackage)))
            return ", not made: kshPackage and ntpPackage are not both given";
        if (check == useOf(CPPLibName).check && !isGiven(CPPLibName))
            return ", not made: no CPPLibName is given";
        return "";
    }

    template <typename Test> void printRest(const char *pTitle, Test belongs) const {
        bool bTitle = false;
        for (const auto &[tag, given] : level.values) {
            if (!belongs(useOf(tag).read))
                continue;
            if (!bTitle)
                out << "\n" << pTitle << "\n";
            bTitle = true;
            printValue(tag, given);
        }
    }

    void printValue(int tag, const std::vector<givenValue> &given) const {
        out << "  line " << given.back().line << ": " << ppszTagName[tag] << " = " << printable(given.back().text);
        for (auto earlier = given.rbegin() + 1; earlier != given.rend(); ++earlier)
            out << (earlier == given.rbegin() + 1 ? ", instead of " : ", ") << printable(earlier->text) << " in line "
                << earlier->line;
        out << "\n";
    }

    void printSkipped() const {
        if (!level.skipped.empty())
            out << "\nSkipped\n";
        for (const skippedSection &section : level.skipped) {
            out << "  lines " << section.begin << " to ";
            if (section.end == 0)
                out << "the platform's end";
            else
                out << section.end;
            out << ": " << printable(section.opening) << "\n    " << printable(section.reason) << "\n";
        }
    }

    const readLevel &level;
    const describedHost &host;
    std::ostream &out;
};

} // namespace

string printable(string_view text) {
    static constexpr char digits[] = "0123456789abcdef";
    string shown;
    for (std::size_t i = 0; i < text.size(); i++) {
        const char c = text[i];
        const unsigned code = (unsigned char)c;
        if (text.substr(i, noBreakSpace.size()) == noBreakSpace) {
            shown += "U+00A0";
            i += noBreakSpace.size() - 1;
        } else if (c == '\n')
            shown += "\\n";
        else if (code < ' ' || code == 0x7f)
            shown += {'\\', 'x', digits[code >> 4], digits[code & 15]};
        else
            shown += c;
    }
    return shown;
}

bool isKnownDistribution(const string &name) {
    return distributionOf(name) != nullptr;
}

bool explain(string_view file, const string &level, const describedHost &host, std::ostream &out) {
    const hostTable table(level, host);
    const readLevel read = levelReader(level).run(file);
    if (read.place < PLACE_SECTION)
        return false;
    explanation(read, host, out).print(level);
    return true;
}

bool listLevels(const string &path, std::ostream &out) {
    if (path.size() >= sizeof szInputXMLFile)
        return false;
    szInputXMLFile[path.copy(szInputXMLFile, path.size())] = '\0';
    if (sqloRetrieveSupportedVersion() != RC_OK)
        return false;
    for (const versionList *pNode = preqVersionList; pNode != nullptr; pNode = pNode->next)
        out << printable({pNode->szVersion, strnlen(pNode->szVersion, sizeof pNode->szVersion)}) << "\n";
    return true;
}

} // namespace lint
