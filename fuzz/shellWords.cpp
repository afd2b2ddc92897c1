// Every command that the program composes is also read as a shell reads it.
#include <cstring>

#include "fakeHost.h"
#include "sqloCommand.h"

using std::string;

static bool isLive(char c, char quote, bool bFirst, bool bCommandName) {
    if (quote != '\0')
        return quote == '"' && strchr("$`", c) != nullptr;
    return strchr("$`*?[]{}!", c) != nullptr || (bFirst && strchr("~#", c) != nullptr) || (bCommandName && c == '=');
}

// Splits a command into words. A NUL marks an operator, and any other character that is shell syntax.
static strings readAsShell(const string &command) {
    strings words;
    char quote = '\0';
    bool bInWord = false;
    for (const char *p = command.c_str(); *p != '\0'; p++) {
        const bool bFirst = !bInWord;
        const bool bOperator = quote == '\0' && strchr("|&;<>()\n", *p) != nullptr;
        bInWord = !bOperator && (quote != '\0' || strchr(" \t", *p) == nullptr);
        if (bOperator)
            words.push_back({'\0', *p});
        if (!bInWord)
            continue;
        if (bFirst)
            words.emplace_back();
        if (*p == '\\' && (quote == '\0' || (quote == '"' && strchr("$`\"\\", p[1]) != nullptr)))
            words.back() += *++p;
        else if (quote == '\0' ? strchr("\"'", *p) != nullptr : *p == quote)
            quote = quote == '\0' ? *p : '\0';
        else
            words.back().append(isLive(*p, quote, bFirst, words.size() == 1), '\0') += *p;
    }
    MUST_HOLD(quote == '\0');
    return words;
}

// Checks that the command equals the pattern, with a text in place of each mark. If a word with a mark has blanks, it
// was quoted for another shell, which reads it once more.
static const char MARK[] = "\x7f";

static void compareReadings(const string &command, const string &pattern, const string *pText) {
    const strings words = readAsShell(command);
    auto word = words.begin();
    for (const string &expected : readAsShell(pattern)) {
        const string *const pFirst = pText;
        string filled;
        for (char c : expected)
            filled += c == MARK[0] ? *pText++ : string(1, c);
        if (filled.empty())
            continue; // an empty text leaves nothing
        MUST_HOLD(word != words.end() && *word++ == filled);
        MUST_HOLD(expected[0] != MARK[0] || filled[0] != '-'); // no option
        if (pText != pFirst && expected.find(' ') != expected.npos)
            compareReadings(filled, expected, pFirst);
    }
    MUST_HOLD(word == words.end());
}

static commandText szComposed;
static commandText szPattern;
static strings texts;

void checkCommand(const char *pCommand) {
    if (strcmp(pCommand, szComposed) == 0 && strchr(pCommand, MARK[0]) == nullptr)
        compareReadings(pCommand, szPattern, texts.data());
}

// composeCommand, as the linker knows it.
#define COMPOSE_PARAMETERS (commandText & szCommand, const char *pFormat, const shellWord *pWords, int wordCount)
extern "C" int __real__Z14composeCommandRA16384_cPKcPK9shellWordi COMPOSE_PARAMETERS;

static int noteCommand COMPOSE_PARAMETERS {
    std::vector<shellWord> marks(pWords, pWords + wordCount);
    texts.clear();
    for (shellWord &mark : marks)
        if (!mark.bPattern) {
            texts.push_back(textOrEmpty(mark.pText));
            mark = patternWord(MARK);
        }
    __real__Z14composeCommandRA16384_cPKcPK9shellWordi(szPattern, pFormat, marks.data(), wordCount);
    int bDone = __real__Z14composeCommandRA16384_cPKcPK9shellWordi(szCommand, pFormat, pWords, wordCount);
    MUST_HOLD(bDone == (szCommand[0] != '\0'));
    copyText(szComposed, szCommand);
    return bDone;
}

extern "C" {
FAKE_OWN(int, _Z14composeCommandRA16384_cPKcPK9shellWordi, COMPOSE_PARAMETERS, (szCommand, pFormat, pWords, wordCount),
         true, noteCommand(szCommand, pFormat, pWords, wordCount))
}
