// The fuzz target of kvxprereqlint: it judges any text as a prerequisites file. If the linter finds no error, the
// program must read every element in the clustered pass of a host without any stored text, where all conditions hold.
#include <algorithm>
#include <cstdlib>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "explain.h"
#include "lint.h"
#include "mustHold.h"
#include "output.h"
#include "sqloPrereqDefs.h"

using std::string;
typedef std::vector<string> strings;

static void forgetValues() {
    for (char *&pText : ppszPREREQ) {
        free(pText);
        pText = nullptr;
    }
}

// Is a line an element of a known tag, and nothing else?
static bool isElement(const string &line) {
    const size_t begin = line.find_first_not_of(' ');
    const size_t end = line.find('>');
    if (begin == string::npos || line[begin] != '<' || end == string::npos)
        return false;
    const string name = line.substr(begin + 1, end - begin - 1);
    const string text = line.substr(end + 1);
    return sqloGetTagIndex(name.c_str()) > platform && text.find('<') > 0 && text.find('<') != string::npos &&
           text.substr(text.find('<')) == "</" + name + ">";
}

// Splits a file into lines as the program does: a long line into pieces, and each line only up to a NUL character.
static strings linesOf(const string &file) {
    strings lines;
    std::istringstream read(file);
    for (string line; std::getline(read, line);)
        for (size_t at = 0; at == 0 || at < line.size(); at += PREREQ_LINE_SIZE - 1)
            lines.emplace_back(line.substr(at, PREREQ_LINE_SIZE - 1).c_str());
    return lines;
}

static strings levelsOf(const strings &lines) {
    strings levels;
    for (const string &line : lines) {
        const size_t begin = line.find('"');
        const size_t end = begin == string::npos ? begin : line.find('"', begin + 1);
        if (line.find("<KVXLevel") != string::npos && end != string::npos)
            levels.push_back(line.substr(begin + 1, end - begin - 1));
    }
    return levels;
}

// Counts the elements of a file without comments that the program does not read.
static long elementsLost(const strings &lines) {
    long lost = std::count_if(lines.begin(), lines.end(), isElement);
    bShareGrid = 1;
    for (const string &level : levelsOf(lines)) {
        prereqReader reader;
        sqloBeginPrereqLines(&reader, level.c_str());
        for (const string &line : lines) {
            sqloTakePrereqLine(&reader, line.c_str());
            lost -= reader.effect == LINE_VALUE && isElement(line);
            forgetValues();
        }
    }
    bShareGrid = 0;
    return lost;
}

static size_t lengthOfLine(const string &file, size_t number) {
    size_t begin = 0;
    for (; number > 1 && begin < file.size(); number--)
        begin = file.find('\n', begin) == string::npos ? file.size() : file.find('\n', begin) + 1;
    return number > 1 ? 0 : std::min(file.find('\n', begin), file.size()) - begin;
}

// Returns the values of a level on a host, read line by line with the program's reader.
static std::map<string, string> valuesRead(const strings &lines, const string &level, const lint::describedHost &host) {
    forgetValues();
    setPrereq(KVXLevel, level.c_str());
    setPrereq(LinuxDistro, host.distribution.c_str());
    setPrereq(RHELVersion, host.release.c_str());
    setPrereq(RHELSP, host.servicePack.c_str());
    prereqReader reader;
    sqloBeginPrereqLines(&reader, level.c_str());
    std::map<string, string> values;
    for (const string &line : lines) {
        sqloTakePrereqLine(&reader, line.c_str());
        if (reader.effect == LINE_VALUE && reader.tag >= MinOSVersion)
            values[ppszTagName[reader.tag]] = ppszPREREQ[reader.tag];
    }
    forgetValues();
    return values;
}

static std::map<string, string> valuesExplained(const lint::explanation &explained) {
    std::map<string, string> values;
    const auto add = [&](const std::vector<lint::shownValue> &shown) {
        for (const lint::shownValue &value : shown)
            if (value.tag >= MinOSVersion)
                values[ppszTagName[value.tag]] = value.counted.text;
    };
    for (const lint::shownCheck &check : explained.checks)
        add(check.values);
    for (const lint::unreadValues &unread : explained.unread)
        add(unread.values);
    return values;
}

static void explainLevel(const string &file, const strings &lines, const string &level) {
    lint::describedHost host;
    host.distribution = "RHEL";
    host.release = std::to_string(file.size() % 12);
    host.servicePack = std::to_string(lines.size() % 10);
    std::ostringstream printed;
    try {
        const lint::explanation explained = lint::explain(file, {level}, level, host);
        lint::printText(explained, printed);
        lint::printJson(explained, printed);
        MUST_HOLD(valuesExplained(explained) == valuesRead(lines, level, host));
    } catch (const std::runtime_error &) { // the program does not find the level's section
        MUST_HOLD(valuesRead(lines, level, host).empty());
    }
}

static void lintFile(const string &file) {
    const strings lines = linesOf(file);
    const strings levels = levelsOf(lines);
    size_t line = 1;
    bool bError = false;
    lint::judgeOptions options;
    options.bUnread = true;
    const lint::judgement judged = lint::judge(file, options);
    for (const lint::finding &found : judged.findings.all) {
        const bool bInside = found.column <= lengthOfLine(file, found.line) + 1;
        MUST_HOLD(found.line >= line && found.column > 0 && bInside && !judged.findings.textOf(found).empty());
        line = found.line;
        bError = bError || lint::entryOf(found.id).severity == lint::Severity::error ||
                 found.id == lint::Rule::otherPlatform; // the program reads none of its elements
    }
    std::ostringstream printed;
    for (const char *pForm : {"gcc", "github", "json", "sarif"})
        lint::makeWriter(pForm, printed)->add("file", file, judged.findings);
    if (!levels.empty())
        explainLevel(file, lines, levels.front());
    const bool bHidden = file.find("<!-") != string::npos || file.find("<?") != string::npos ||
                         file.find("kvxprereqlint") != string::npos;
    MUST_HOLD(bError || bHidden || elementsLost(lines) <= 0);
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *pData, size_t size) {
    lintFile(string(reinterpret_cast<const char *>(pData), size));
    return 0;
}
