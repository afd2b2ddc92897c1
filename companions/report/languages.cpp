#include "languages.h"

#include "sqloLiterals.h"
#include "sqloPrereqCheck.h"

#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>

namespace report {

namespace fs = std::filesystem;

// --- Catalogs ---

static const char *const pEnglish = "en_US.iso88591";
static const char *const pCatalogName = "kvxistring.cat";

// A directory is named LANGUAGE_TERRITORY.CODESET. The English texts are ASCII, so they do not tell the code set of the
// host; it is taken as UTF-8.
void languages::open(const fs::path &directory) {
    const std::string name = directory.filename();
    const size_t dot = name.find('.');
    const std::string codeSetName = name == pEnglish ? "utf8" : name.substr(dot + 1);
    language made{name.substr(0, dot), nullptr};
    std::replace(made.name.begin(), made.name.end(), '_', '-');
    try {
        made.texts = std::make_unique<catalog>(directory / pCatalogName, codeSetName);
    } catch (const std::runtime_error &) {
        return;
    }
    opened.push_back(std::move(made));
    addTellingTexts(opened.size() - 1);
}

static std::string contentOf(const fs::path &file) {
    std::ostringstream content;
    content << std::ifstream(file, std::ios::binary).rdbuf();
    return content.str();
}

// Opens English first, then the catalogs in UTF-8, then the others, each group in the order of their names. If several
// catalogs explain a text equally well the first one is taken, and UTF-8 is the most likely code set.
languages::languages(const fs::path &place) {
    std::vector<fs::path> directories;
    std::error_code failed;
    for (const auto &one : fs::directory_iterator(place, failed))
        directories.push_back(one.path());
    const auto rankOf = [](const fs::path &one) {
        return one.filename() == pEnglish ? 0 : one.extension() == ".utf8" ? 1 : 2;
    };
    std::sort(directories.begin(), directories.end(), [&](const fs::path &a, const fs::path &b) {
        return std::make_pair(rankOf(a), a) < std::make_pair(rankOf(b), b);
    });
    std::set<std::string> contents;
    for (const fs::path &directory : directories)
        if (opened.size() < most && contents.insert(contentOf(directory / pCatalogName)).second)
            open(directory);
}

// --- Telling lines ---

// Messages that are in every report or decide its result. One such line is enough to know the language.
static constexpr std::array tellingMessages{MSG_LEVEL_BANNER,     MSG_LEVEL_BANNER_CLUSTERED, MSG_LEVEL_FAILED,
                                            MSG_LEVEL_PASSED,     MSG_REPORT_NOT_WRITABLE,    MSG_FILE_NOT_OPENED,
                                            MSG_LEVEL_UNSUPPORTED};

void languages::addTellingTexts(size_t number) {
    const auto add = [&](std::vector<tellingText> &texts, const pattern *pOne) {
        const auto known = std::find_if(texts.begin(), texts.end(), [&](const tellingText &one) {
            return one.pPattern->message == pOne->message && one.pPattern->literals == pOne->literals;
        });
        if (known == texts.end())
            texts.push_back({pOne, languageSet().set(number)});
        else
            known->in.set(number);
    };
    for (const int message : tellingMessages)
        for (const pattern *pOne : opened[number].texts->patternsOf(message))
            for (size_t byte = 0; byte < telling.size(); byte++)
                if (beginsWith(*pOne, static_cast<char>(byte)))
                    add(telling[byte], pOne);
}

// Of several texts the one with the longest literal part counts, as in a single catalog.
const languages::tellingText *languages::findTelling(std::string_view line) const {
    const tellingText *pBest = nullptr;
    std::vector<std::string_view> ignored;
    if (!line.empty())
        for (const tellingText &one : telling[static_cast<unsigned char>(line[0])])
            if ((pBest == nullptr || one.pPattern->literalLength > pBest->pPattern->literalLength) &&
                matches(*one.pPattern, line, ignored))
                pBest = &one;
    return pBest;
}

int languages::tellingMessage(std::string_view line) const {
    const tellingText *pFound = findTelling(withoutLeadingBlanks(line));
    return pFound == nullptr ? 0 : pFound->pPattern->message;
}

int languages::stateMessage(std::string_view word) const {
    for (const int message : {MSG_STATE_ENABLED, MSG_STATE_DISABLED})
        for (const language &one : opened)
            if (one.texts->encoding().toUtf8(one.texts->text(message)) == word)
                return message;
    return 0;
}

// --- Splitting ---

std::string_view nextLine(std::string_view &text) {
    const size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (!line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    return line;
}

static Rule ruleOf(std::string_view line) {
    static const std::string_view rule(szReportRule + 1, sizeof szReportRule - 3);
    if (line.empty() || line.find_first_not_of('=') != std::string_view::npos)
        return Rule::none;
    return line == rule ? Rule::whole : Rule::torn;
}

// The program prints a line break in front of each rule. It does not end a line of the text, unless that was cut off.
static std::string_view withoutLineBreak(std::string_view text) {
    for (const char c : {'\n', '\r'})
        if (!text.empty() && text.back() == c)
            text.remove_suffix(1);
    return text;
}

std::vector<piece> languages::split(std::string_view text) {
    std::vector<piece> pieces;
    piece current;
    languageSet possible;
    size_t start = 0;
    const auto end = [&](size_t at, bool bRuleFollows) {
        current.text = text.substr(start, at - start);
        if (bRuleFollows)
            current.text = withoutLineBreak(current.text);
        current.pLanguage = choose(current.text, possible);
        if (current.rule != Rule::none || !isBlank(current.text))
            pieces.push_back(current);
        current = piece();
        possible.reset();
        start = at;
    };
    for (std::string_view left = text; !left.empty();) {
        const size_t at = text.size() - left.size();
        const std::string_view line = nextLine(left);
        if (const Rule rule = ruleOf(line); rule != Rule::none) {
            // Torn rules without text between them are one: millions of them would be millions of passes.
            if (rule != Rule::torn || current.rule != Rule::torn || !isBlank(text.substr(start, at - start)))
                end(at, true);
            current.rule = rule;
            start = text.size() - left.size();
        } else if (const tellingText *pFound = findTelling(withoutLeadingBlanks(line)); pFound != nullptr) {
            if (possible.any() && (possible & pFound->in).none())
                end(at, false);
            possible = possible.any() ? possible & pFound->in : pFound->in;
        }
    }
    end(text.size(), false);
    return pieces;
}

// --- Choosing ---

// The literal length of the text that explains a line, for each language. It is kept, because most lines are the same
// on all hosts.
const std::vector<size_t> &languages::weigh(std::string_view line) {
    constexpr size_t mostKept = 20000;
    if (weights.size() > mostKept)
        weights.clear();
    const auto [known, bNew] = weights.try_emplace(std::string(line));
    if (bNew)
        for (const language &one : opened)
            known->second.push_back(one.texts->weigh(line));
    return known->second;
}

// The first lines of a text, each once. A longer line was not written by a catalog.
static std::set<std::string_view> sampleOf(std::string_view text) {
    constexpr size_t size = 8000, longest = 1000;
    std::set<std::string_view> lines;
    for (std::string_view left = text.substr(0, size); !left.empty();)
        if (const std::string_view line = withoutLeadingBlanks(nextLine(left)); line.size() < longest)
            lines.insert(line);
    return lines;
}

// The language that explains most of the first lines. If several explain them equally well, it is the first one in
// whose code set all bytes of the text are characters.
const language *languages::choose(std::string_view text, const languageSet &possible) {
    if (possible.count() == 1) {
        size_t only = 0;
        while (!possible[only])
            only++;
        return &opened[only];
    }
    std::vector<size_t> sums(opened.size());
    for (const std::string_view line : sampleOf(text)) {
        const std::vector<size_t> &one = weigh(line);
        for (size_t i = 0; i < sums.size(); i++)
            sums[i] += possible.none() || possible[i] ? one[i] : 0;
    }
    const size_t heaviest = sums.empty() ? 0 : *std::max_element(sums.begin(), sums.end());
    const language *pFirst = nullptr;
    for (size_t i = 0; i < sums.size(); i++) {
        if (sums[i] != heaviest || (possible.none() ? heaviest == 0 : !possible[i]))
            continue;
        if (opened[i].texts->encoding().holds(text))
            return &opened[i];
        pFirst = pFirst == nullptr ? &opened[i] : pFirst;
    }
    return pFirst;
}

} // namespace report
