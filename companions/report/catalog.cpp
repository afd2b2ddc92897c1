#include "catalog.h"

#include "sqloLiterals.h"
#include "sqloPrereqCheck.h"

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <stdexcept>

#include "../common/files.h"

namespace report {

static constexpr uint32_t messageSet = 1;
static constexpr int firstMessage = 30000;
static constexpr int lastMessage = 39999;

static bool isTitle(int message) {
    static constexpr std::array titles{MSG_TITLE_OS_LEVEL, MSG_TITLE_DISTRIBUTION, MSG_TITLE_LIBSTDCXX, MSG_TITLE_GLIBC,
                                       MSG_TITLE_LIBAIO,   MSG_TITLE_SELINUX,      MSG_TITLE_LIBNUMA};
    return std::count(titles.begin(), titles.end(), message) > 0;
}

// Titles and words appear only as tokens of other messages; the usage text appears in no report.
static bool isLine(int message) {
    static constexpr std::array words{MSG_SEVERITY_WARNING, MSG_SEVERITY_ERROR,    MSG_STATE_ENABLED,
                                      MSG_STATE_DISABLED,   MSG_SYMBOL_NOT_GIVEN,  MSG_SYMBOL_HIGHEST,
                                      MSG_SYMBOL_NONE,      MSG_SYMBOL_UNKNOWN,    MSG_UMASK_TOO_HIGH,
                                      MSG_CLUSTERED_LABEL,  MSG_USAGE_ENVIRONMENT, MSG_USAGE_EXIT_STATUS};
    return !isTitle(message) && std::count(words.begin(), words.end(), message) == 0 &&
           (message < MSG_USAGE_FIRST || message > MSG_USAGE_LAST);
}

static bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// The line of a text: the text without the line breaks around it and the blanks in front of it.
static std::string_view lineOf(std::string_view text) {
    for (size_t at = text.rfind('\n'); at != std::string_view::npos && isBlank(text.substr(at)); at = text.rfind('\n'))
        text = text.substr(0, at);
    text.remove_prefix(std::min(text.find_first_not_of(" \n"), text.size()));
    return text;
}

// A number of four bytes in a catalog.
static uint32_t numberAt(std::string_view bytes, size_t place, bool bLittleEndian) {
    uint32_t number = 0;
    for (size_t i = 0; i < 4; i++)
        number = number << 8U | static_cast<unsigned char>(bytes[place + (bLittleEndian ? 3 - i : i)]);
    return number;
}

// gencat writes three numbers (magic, width and depth of the table), the table in little-endian and then in big-endian
// numbers, and the texts. An entry of the table has the set plus 1, the number of the text and its place. This reads
// the file itself because the C library trusts the table: with a torn file it may read behind the end of the file.
std::map<int, std::string> readCatalog(const std::string &path, int first, int last) {
    constexpr uint32_t magic = 0x960408DE;
    constexpr size_t headSize = 12;
    constexpr size_t entrySize = 12;
    const std::string bytes = common::readFile(path);
    if (bytes.size() < headSize)
        throw std::runtime_error("no message catalog: " + path);
    const bool bLittleEndian = numberAt(bytes, 0, true) == magic;
    if (!bLittleEndian && numberAt(bytes, 0, false) != magic)
        throw std::runtime_error("no message catalog: " + path);
    const uint64_t entries = uint64_t(numberAt(bytes, 4, bLittleEndian)) * numberAt(bytes, 8, bLittleEndian);
    if (entries > (bytes.size() - headSize) / entrySize / 2)
        throw std::runtime_error("torn message catalog: " + path);
    const std::string_view strings = std::string_view(bytes).substr(headSize + entries * entrySize * 2);
    std::map<int, std::string> texts;
    std::string_view table = std::string_view(bytes).substr(headSize, entries * entrySize);
    for (; !table.empty(); table.remove_prefix(entrySize)) {
        const auto number = static_cast<int>(numberAt(table, 4, true));
        const size_t start = numberAt(table, 8, true);
        const size_t end = strings.find('\0', start);
        if (numberAt(table, 0, true) == messageSet + 1 && number >= first && number <= last && end > start &&
            end != std::string_view::npos)
            texts.emplace(number, strings.substr(start, end - start));
    }
    return texts;
}

catalog::catalog(const std::string &path, const std::string &codeSetName)
    : ownCodeSet(codeSetName), texts(readCatalog(path, firstMessage, lastMessage)) {
    for (const auto &[message, text] : texts)
        if (isLine(message))
            addPatterns(message);
    addLiterals();

    std::stable_sort(patterns.begin(), patterns.end(),
                     [](const pattern &a, const pattern &b) { return a.literalLength > b.literalLength; });
    for (const pattern &one : patterns)
        for (size_t byte = 0; byte < byFirst.size(); byte++)
            if (beginsWith(one, static_cast<char>(byte)))
                byFirst[byte].push_back(&one);
}

const std::string &catalog::text(int message) const {
    static const std::string none;
    const auto found = texts.find(message);
    return found == texts.end() ? none : found->second;
}

std::vector<const pattern *> catalog::patternsOf(int message) const {
    std::vector<const pattern *> found;
    for (const pattern &one : patterns)
        if (one.message == message)
            found.push_back(&one);
    return found;
}

int catalog::titleMessage(std::string_view title) const {
    for (const auto &[message, text] : texts)
        if (text == title && isTitle(message))
            return message;
    return 0;
}

// A token that is always one of a few words gets a pattern for each word: the text around it may be too short to tell
// where the token begins.
void catalog::addPatterns(int message) {
    const std::string &own = text(message);
    if (message == MSG_CHECK_FAILED) {
        for (const std::string &severity : {text(MSG_SEVERITY_ERROR), text(MSG_SEVERITY_WARNING), std::string()})
            addPattern(message, own, {{1, severity}});
    } else if (message == MSG_LEVEL_FAILED || message == MSG_LEVEL_PASSED) {
        for (const char *pKind : {szClientWord, szServerWord})
            for (const std::string &label : {text(MSG_CLUSTERED_LABEL), std::string()})
                addPattern(message, own, {{1, pKind}, {2, label}});
    } else if (message == MSG_SELINUX_STATE) {
        for (const int state : {MSG_STATE_ENABLED, MSG_STATE_DISABLED})
            addPattern(message, own, {{1, text(state)}});
    } else
        addPattern(message, own, {});
}

// Reads placeholders as the program does: it drops a per-cent sign that begins none.
void catalog::addPattern(int message, std::string_view text, const std::map<int, std::string> &fixed) {
    pattern made;
    made.message = message;
    made.literals.emplace_back();
    text = lineOf(text);
    for (size_t at = 0; at < text.size();) {
        const char c = text[at++];
        if (c != '%') {
            made.literals.back() += c;
            continue;
        }
        size_t number = 0;
        for (; at < text.size() && isDigit(text[at]) && number < 100; at++)
            number = number * 10 + static_cast<size_t>(text[at] - '0');
        if (number == 0)
            continue;
        made.tokens.resize(std::max(made.tokens.size(), number));
        if (const auto word = fixed.find(static_cast<int>(number)); word != fixed.end()) {
            made.literals.back() += word->second;
            made.tokens[number - 1] = word->second;
        } else {
            made.literals.emplace_back();
            made.places.push_back(number - 1);
        }
    }
    for (const std::string &literal : made.literals)
        made.literalLength += literal.size();
    if (made.literalLength > 0)
        patterns.push_back(std::move(made));
}

void catalog::addLiterals() {
    for (const std::string_view format : ppszLiterals) {
        std::string text;
        int tokens = 0;
        for (size_t at = 0; at < format.size(); at++) {
            text += format[at];
            if (format[at] != '%')
                continue;
            text += std::to_string(++tokens);
            at = format.find_first_of("sd", at);
        }
        addPattern(0, text, {});
    }
}

bool beginsWith(const pattern &one, char byte) {
    return one.literals[0].empty() || one.literals[0][0] == byte;
}

bool matches(const pattern &one, std::string_view line, std::vector<std::string_view> &tokens) {
    const std::string &first = one.literals.front(), &last = one.literals.back();
    if (one.places.empty())
        return line == first;
    if (line.size() < one.literalLength || line.compare(0, first.size(), first) != 0 ||
        line.compare(line.size() - last.size(), last.size(), last) != 0)
        return false;
    line.remove_prefix(first.size());
    line.remove_suffix(last.size());
    std::vector<std::string_view> found;
    for (size_t i = 1; i + 1 < one.literals.size(); i++) {
        const size_t at = line.find(one.literals[i]);
        if (at == std::string_view::npos)
            return false;
        found.push_back(line.substr(0, at));
        line.remove_prefix(at + one.literals[i].size());
    }
    found.push_back(line);
    tokens = std::move(found);
    return true;
}

const pattern *catalog::find(std::string_view line, std::vector<std::string_view> &tokens) const {
    if (!line.empty())
        for (const pattern *pOne : byFirst[static_cast<unsigned char>(line[0])])
            if (matches(*pOne, line, tokens))
                return pOne;
    return nullptr;
}

size_t catalog::weigh(std::string_view line) const {
    std::vector<std::string_view> tokens;
    const pattern *pFound = find(line, tokens);
    return pFound == nullptr ? 0 : pFound->literalLength;
}

explanation catalog::explain(std::string_view line) const {
    std::vector<std::string_view> found;
    explanation result;
    result.pPattern = find(line, found);
    if (result.pPattern == nullptr)
        return result;
    const pattern &one = *result.pPattern;
    result.tokens.assign(one.tokens.begin(), one.tokens.end());
    result.fixed.assign(one.tokens.size(), true);
    for (size_t i = one.places.size(); i-- > 0;) { // of several places of a token the first counts
        result.tokens[one.places[i]] = found[i];
        result.fixed[one.places[i]] = false;
    }
    return result;
}

// The line that the program prints for a text if no character of the tokens is in any text.
static std::string plainLine(const pattern &one) {
    std::string line = one.literals[0];
    for (size_t i = 1; i < one.literals.size(); i++)
        line += '\1' + one.literals[i];
    return line;
}

std::vector<std::string> catalog::faults() const {
    std::vector<std::string> found;
    const auto name = [](const pattern &one) {
        return one.message == 0 ? "the program's own \"" + one.literals[0] + "...\"" : std::to_string(one.message);
    };
    for (const auto &[message, text] : texts) {
        if (!ownCodeSet.holds(text))
            found.push_back(std::to_string(message) + " is not in the catalog's code set");
        if (isLine(message) && lineOf(text).find('\n') != std::string_view::npos)
            found.push_back(std::to_string(message) + " has more than one line");
        if (isTitle(message) && titleMessage(text) != message)
            found.push_back(std::to_string(message) + " is the same title as " + std::to_string(titleMessage(text)));
    }
    std::vector<std::string_view> ignored;
    for (const pattern &one : patterns) {
        for (size_t part = 1; part + 1 < one.literals.size(); part++)
            if (one.literals[part].empty())
                found.push_back(name(one) + " has two tokens side by side");
        for (const pattern &other : patterns)
            if (&other != &one && other.literalLength == one.literalLength && matches(other, plainLine(one), ignored))
                found.push_back(name(one) + " and " + name(other) + " can have written the same line");
    }
    return found;
}

} // namespace report
