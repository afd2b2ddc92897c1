// The fuzz target of kvxprereqlint: any text as a prerequisites file. Where no error is found, the program must read
// every element on the host that knows nothing, in the clustered pass: all conditions hold there.
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <utility>

#include "explain.h"
#include "lint.h"
#include "sqloPrereqCheck.h"

using std::string;

#define MUST_HOLD(CONDITION) ((CONDITION) ? (void)0 : (fprintf(stderr, "does not hold: %s\n", #CONDITION), abort()))

static void forget() {
    for (char *&pText : ppszPREREQ) {
        free(pText);
        pText = nullptr;
    }
    while (preqVersionList != nullptr)
        free(std::exchange(preqVersionList, preqVersionList->next));
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

// Counts the elements of a file that has no comments, and takes away those that the program reads.
static int elementsLost(const string &file, const string &levels) {
    std::istringstream names(levels);
    string level, line;
    int lost = 0;
    std::istringstream lines(file);
    while (std::getline(lines, line))
        lost += isElement(line);
    bShareGrid = 1;
    while (std::getline(names, level)) {
        prereqReader reader;
        sqloBeginPrereqLines(&reader, level.c_str());
        std::istringstream read(file);
        while (std::getline(read, line)) {
            sqloTakePrereqLine(&reader, line.substr(0, PREREQ_LINE_SIZE - 1).c_str());
            lost -= reader.effect == LINE_VALUE && isElement(line);
            forget();
        }
    }
    bShareGrid = 0;
    return lost;
}

static void lintFile(const string &file) {
    const auto findings = lint::judge(file, true);
    size_t line = 1;
    bool bError = false;
    for (const lint::finding &found : findings) {
        MUST_HOLD(found.line >= line && found.column > 0 && !found.text.empty());
        line = found.line;
        bError = bError || found.error;
    }
    std::ostringstream levels, explained;
    lint::listLevels(file, levels);
    forget();
    lint::describedHost host;
    host.distribution = file.size() % 2 == 0 ? "SUSE" : "RHEL";
    host.release = file.substr(0, 5);
    lint::explain(file, levels.str().substr(0, levels.str().find('\n')), host, explained);
    MUST_HOLD(bError || file.find("<!--") != string::npos || elementsLost(file, levels.str()) <= 0);
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *pData, size_t size) {
    lintFile(string(reinterpret_cast<const char *>(pData), size));
    return 0;
}
