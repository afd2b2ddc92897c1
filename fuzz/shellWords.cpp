// Composed commands, as a shell reads them.
#include <cstring>
#include <vector>

#include "fakeHost.h"
#include "sqloCommand.h"
#include "sqloMessages.h"
#include "sqloPrereqDefs.h"

using std::string;

static bool isLive(char c, char quote, bool bFirst, bool bCommandName) {
    if (quote != '\0')
        return quote == '"' && strchr("$`", c) != nullptr;
    return strchr("$`*?[]{}!", c) != nullptr || (bFirst && strchr("~#", c) != nullptr) || (bCommandName && c == '=');
}

// The words of a command, and its operators with a NUL in front. No character in it may have the shell do more.
static std::vector<string> readAsShell(const string &command) {
    std::vector<string> words;
    char quote = '\0';
    bool bInWord = false;
    for (const char *p = command.c_str(); *p != '\0'; p++) {
        bool bFirst = !bInWord, bOperator = quote == '\0' && strchr("|&;<>()\n", *p) != nullptr;
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
        else {
            MUST_HOLD(!isLive(*p, quote, bFirst, words.size() == 1));
            words.back() += *p;
        }
    }
    MUST_HOLD(quote == '\0');
    return words;
}

// The command has each text where the pattern has a mark, and is the pattern otherwise. Where a mark stands among
// blanks, inside quotes, another shell reads the word once more.
static const char MARK[] = "\x7f";

static void compareReadings(const string &command, const string &pattern, const string *pText) {
    const std::vector<string> words = readAsShell(command);
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

// Formats as the program has them, with the number of their words; inside quotes only a plain one can stand.
static const struct {
    const char *pFormat;
    int wordCount, bInside;
} formats[] = {
    {"which %s >> /dev/null  2>&1  > %s", 2, 0},
    {"df -Pk  %s | awk '{ print $4}' >> /dev/null 2>&1 > %s", 2, 0},
    {"rpm -q --qf \"%%{NAME}\\n%{VERSION}\\n\" -f %s >> /dev/null  2>&1  > %s", 2, 0},
    {"(chkconfig --list | grep -i %s) >> /dev/null 2>&1 > %s", 2, 0},
    {"%s/vexha/prereqVEX > /dev/null 2>&1", 1, 0},
    {"./kvxprereqcheckoss -tbcheck %s,%s,/dev/%s,%s,%s", 5, 0},
    {"ls -l /dev/disk/by-id/%s | grep -w ../../%s | rev >> /dev/null 2>&1 > %s", 3, 0},
    {"scp /tmp/k.tar  %s %s:/tmp/k 2>/dev/null && ssh %s 'mkdir /tmp/k /tmp/v' && cd %s%s", 5, 0},
    {"ssh %s \"/lib/udev/scsi_id -u -g %s \" > %s", 3, 1},
    {"ssh %s \"ls -l /dev/disk/by-id | grep -w %s  | rev |  cut -d ' ' -f1,3 | rev \" >> %s", 3, 1},
    {"ssh %s \"lsattr -El %s | grep -E \"reserve_policy\" | cut -d' ' -f3  2>&1 \"  >> %s", 3, 1},
};

void composeWords() {
    const auto &format = formats[static_cast<unsigned char>(decision() - 'a') % std::size(formats)];
    static commandText szCommand, szPattern;
    string texts[5];
    shellWord words[5], marks[5];
    bool bMustFit = !format.bInside;
    for (int i = 0; i < format.wordCount; i++) {
        texts[i] = output().c_str();
        words[i] = toWord(texts[i].c_str());
        marks[i] = patternWord(MARK);
        bMustFit = bMustFit && texts[i].size() < 500 && texts[i][0] != '-';
    }
    int bDone = composeCommand(szCommand, format.pFormat, words, format.wordCount);
    MUST_HOLD(bDone == (szCommand[0] != '\0') && (bDone || !bMustFit));
    if (bDone && composeCommand(szPattern, format.pFormat, marks, format.wordCount))
        compareReadings(szCommand, szPattern, texts);
}
