// The fuzz target of kvxprereqlint: any text as a prerequisites file. Where no error is found, the program must read
// every element on the host that knows nothing, in the clustered pass: all conditions hold there.
#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "explain.h"
#include "lint.h"
#include "mustHold.h"
#include "sqloPrereqCheck.h"

using std::string;
typedef std::vector<string> strings;

static void forgetValues() {
    for (char *&pText : ppszPREREQ) {
        free(pText);
        pText = nullptr;
    }
}

// Whether a line is an element of a known tag and nothing else.
static bool isElement(const string &line) {
    const size_t begin = line.find_first_not_of(' '), end = line.find('>');
    if (begin == string::npos || line[begin] != '<' || end == string::npos)
        return false;
    const string name = line.substr(begin + 1, end - begin - 1), text = line.substr(end + 1);
    return sqloGetTagIndex(name.c_str()) > platform && text.find('<') > 0 && text.find('<') != string::npos &&
           text.substr(text.find('<')) == "</" + name + ">";
}

static strings linesOf(const string &file) {
    strings lines;
    std::istringstream read(file);
    for (string line; std::getline(read, line);)
        lines.push_back(line.substr(0, PREREQ_LINE_SIZE - 1));
    return lines;
}

static strings levelsOf(const strings &lines) {
    strings levels;
    for (const string &line : lines) {
        const size_t begin = line.find('"'), end = begin == string::npos ? begin : line.find('"', begin + 1);
        if (line.find("<KVXLevel") != string::npos && end != string::npos)
            levels.push_back(line.substr(begin + 1, end - begin - 1));
    }
    return levels;
}

// Counts the elements of a file that has no comments, and takes away those that the program reads.
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

static void lintFile(const string &file) {
    const strings lines = linesOf(file), levels = levelsOf(lines);
    size_t line = 1;
    bool bError = false;
    for (const lint::finding &found : lint::judge(file, true)) {
        MUST_HOLD(found.line >= line && found.column > 0 && !found.text.empty());
        line = found.line;
        bError = bError || found.error || found.id == lint::Rule::otherPlatform; // whose elements nobody reads
    }
    std::ostringstream explained;
    lint::describedHost host;
    host.distribution = file.size() % 2 == 0 ? "SUSE" : "RHEL";
    host.release = file.substr(0, 5);
    if (!levels.empty())
        lint::explain(file, levels.front(), host, explained);
    MUST_HOLD(bError || file.find("<!--") != string::npos || elementsLost(lines) <= 0);
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *pData, size_t size) {
    lintFile(string(reinterpret_cast<const char *>(pData), size));
    return 0;
}
