#include "text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>

#include "../common/utf8.h"
#include "../common/words.h"

namespace report {

static bool isAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0x80U) == 0; });
}

static std::string escapedByte(char c) {
    std::array<char, 8> buffer{};
    std::snprintf(buffer.data(), buffer.size(), "\\x%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
    return buffer.data();
}

// Copies a text and escapes the bytes that are not UTF-8. Returns whether there were none.
static bool copyUtf8(std::string_view text, std::string &result) {
    bool bValid = true;
    while (!text.empty()) {
        const size_t length = utf8::characterLength(text);
        if (length == 0)
            result += escapedByte(text[0]);
        else
            result.append(text, 0, length);
        bValid = bValid && length > 0;
        text.remove_prefix(std::max<size_t>(length, 1));
    }
    return bValid;
}

// The name that iconv has for the code set of a directory.
static std::string iconvName(const std::string &name) {
    static constexpr std::array<std::array<const char *, 2>, 4> names{
        {{"cp943", "IBM943"}, {"cp1386", "GBK"}, {"koi8t", "KOI8-T"}, {"georgianps", "GEORGIAN-PS"}}};
    for (const auto &[pDirectory, pIconv] : names)
        if (name == pDirectory)
            return pIconv;
    return name;
}

static bool isUtf8Name(const std::string &name) {
    return common::sameLetters(name, "utf8") || common::sameLetters(name, "UTF-8");
}

codeSet::codeSet(const std::string &name) {
    if (!isUtf8Name(name))
        converter = iconv_open("UTF-8", iconvName(name).c_str());
}

codeSet::~codeSet() {
    iconv_close(converter); // which refuses one that is not open
}

// Converts a text. Where the converter stops, `skip` gets the rest of the text and returns how many bytes to leave out.
template <typename Skip>
static void convertAll(iconv_t converter, std::string_view text, std::string &result, Skip skip) {
    auto *pFrom = const_cast<char *>(text.data()); // iconv's interface; it does not write there
    size_t left = text.size();
    const auto convert = [&](char **ppFrom, size_t *pLeft) {
        std::array<char, 1024> buffer{};
        char *pTo = buffer.data();
        size_t room = buffer.size();
        const bool bStopped = iconv(converter, ppFrom, pLeft, &pTo, &room) == static_cast<size_t>(-1) && errno != E2BIG;
        result.append(buffer.data(), buffer.size() - room);
        return bStopped;
    };
    while (left > 0) {
        if (convert(&pFrom, &left)) {
            const size_t skipped = skip(std::string_view(pFrom, left));
            pFrom += skipped;
            left -= skipped;
        }
    }
    convert(nullptr, nullptr); // a converter may keep a character that can combine with the next one
}

bool codeSet::convert(std::string_view text, std::string &result) const {
    if (converter == iconv_t(-1))
        return copyUtf8(text, result);
    bool bValid = true;
    convertAll(converter, text, result, [&](std::string_view left) {
        result += escapedByte(left[0]);
        bValid = false;
        return size_t(1);
    });
    return bValid;
}

std::string codeSet::toUtf8(std::string_view text) const {
    std::string result;
    if (isAscii(text))
        result = text;
    else
        convert(text, result);
    return result;
}

std::string codeSet::hostTextToUtf8(std::string_view text) const {
    std::string result;
    if (isAscii(text) || copyUtf8(text, result))
        return std::string(text);
    return toUtf8(text);
}

bool codeSet::holds(std::string_view text) const {
    std::string ignored;
    return isAscii(text) || convert(text, ignored);
}

encoder::encoder(const std::string &name) {
    if (!isUtf8Name(name))
        converter = iconv_open((iconvName(name) + "//TRANSLIT").c_str(), "UTF-8");
}

encoder::~encoder() {
    iconv_close(converter);
}

std::string encoder::encode(std::string_view text) const {
    if (converter == iconv_t(-1) || isAscii(text))
        return std::string(text);
    std::string result;
    convertAll(converter, text, result, [&](std::string_view left) {
        result += '?';
        return utf8::lengthAt(left);
    });
    return result;
}

bool encoder::holds(std::string_view text) const {
    const auto questionsIn = [](std::string_view one) { return std::count(one.begin(), one.end(), '?'); };
    return questionsIn(encode(text)) == questionsIn(text);
}

// Is it a character that changes the direction of writing, or one that cannot be seen?
static bool isHiddenControl(char32_t code) {
    return (code >= 0x80 && code < 0xA0) || code == 0x061C || (code >= 0x200B && code <= 0x200F) ||
           (code >= 0x2028 && code <= 0x202E) || (code >= 0x2060 && code <= 0x206F) || code == 0xFEFF ||
           (code & 0xFFFEU) == 0xFFFE;
}

std::string visible(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const size_t length = utf8::characterLength(text);
        const char32_t code = length == 0 ? 0 : utf8::decode(text.substr(0, length));
        if (code == '\t')
            result += ' ';
        else if (code < 0x20 || code == 0x7F)
            result += escapedByte(text[0]);
        else if (isHiddenControl(code)) {
            std::array<char, 12> buffer{};
            std::snprintf(buffer.data(), buffer.size(), "\\u%04X", static_cast<unsigned>(code));
            result += buffer.data();
        } else
            result.append(text, 0, length);
        text.remove_prefix(std::max<size_t>(length, 1));
    }
    return result;
}

// East Asian characters take two columns, combining marks none.
static size_t columnsOf(char32_t code) {
    struct range {
        char32_t first, last;
    };
    static constexpr std::array<range, 9> wide{{{0x1100, 0x115F},
                                                {0x2E80, 0x303E},
                                                {0x3041, 0xA4CF},
                                                {0xAC00, 0xD7A3},
                                                {0xF900, 0xFAFF},
                                                {0xFE30, 0xFE6F},
                                                {0xFF00, 0xFF60},
                                                {0xFFE0, 0xFFE6},
                                                {0x1F300, 0x3FFFD}}};
    if (code >= 0x300 && code < 0x370)
        return 0;
    return std::any_of(wide.begin(), wide.end(), [=](range r) { return code >= r.first && code <= r.last; }) ? 2 : 1;
}

size_t columns(std::string_view text) {
    size_t sum = 0;
    while (!text.empty()) {
        const size_t length = utf8::lengthAt(text);
        sum += columnsOf(utf8::decode(text.substr(0, length)));
        text.remove_prefix(length);
    }
    return sum;
}

static constexpr std::u32string_view closingSigns = U"\u3001\u3002\u300b\u300d\u300f\u3011\u3015\u30fb\u30fc"
                                                    U"\uff01\uff09\uff0c\uff0e\uff1a\uff1b\uff1f";

static bool isClosing(char32_t code) {
    return closingSigns.find(code) != std::u32string_view::npos;
}

// May a line begin with a character in the middle of a text? So it is in writings without blanks between words, except
// with closing signs. Hangul has blanks.
static bool canBeginLine(char32_t code) {
    const bool bHangul = (code >= 0x1100 && code <= 0x115F) || (code >= 0xAC00 && code <= 0xD7A3);
    return columnsOf(code) == 2 && !bHangul && !isClosing(code);
}

// A Latin word, option or path directly behind a wide full stop, comma or closing parenthesis.
static bool beginsBehindSign(char32_t code, char32_t before) {
    static constexpr std::u32string_view narrowSigns = U")]},.:;!?";
    return isClosing(before) && code < 0x80 && narrowSigns.find(code) == std::u32string_view::npos;
}

static bool canEndLine(char32_t code) {
    static constexpr std::u32string_view opening = U"([{\u300a\u300c\u300e\u3010\u3014\uff08";
    return opening.find(code) == std::u32string_view::npos;
}

std::vector<std::string> wrap(std::string_view text, size_t width) {
    std::vector<std::string> lines;
    text = text.substr(0, text.find_last_not_of(' ') + 1);
    while (!text.empty()) {
        size_t end = 0;
        size_t taken = 0;
        size_t lastBreak = 0;
        char32_t before = U' ';
        while (end < text.size()) {
            const size_t length = utf8::lengthAt(text.substr(end));
            const char32_t code = utf8::decode(text.substr(end, length));
            if (code == U' ' || (canBeginLine(code) && canEndLine(before)) || beginsBehindSign(code, before))
                lastBreak = end;
            if (taken + columnsOf(code) > width)
                break;
            taken += columnsOf(code);
            end += length;
            before = code;
        }
        if (end < text.size() && lastBreak > 0)
            end = lastBreak;
        end = std::max(end, utf8::lengthAt(text));
        const std::string_view line = text.substr(0, end);
        lines.emplace_back(line.substr(0, line.find_last_not_of(' ') + 1));
        text = withoutLeadingBlanks(text.substr(end));
    }
    return lines;
}

std::string_view withoutLeadingBlanks(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    return text;
}

bool isBlank(std::string_view text) {
    return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

std::optional<std::tm> timeOf(const std::string &text) {
    std::tm time{};
    const char *pEnd = strptime(text.c_str(), "%a %b %d %H:%M:%S %Y", &time);
    if (pEnd == nullptr || *pEnd != '\0')
        return std::nullopt;
    return time;
}

bool isNewerLevel(const std::string &a, const std::string &b) {
    const auto numbersOf = [](const std::string &name) {
        std::vector<std::string> numbers; // as texts, which may be longer than any number
        for (size_t at = 0; (at = name.find_first_of("0123456789", at)) != std::string::npos;) {
            const size_t start = std::min(name.find_first_not_of('0', at), name.size());
            at = std::min(name.find_first_not_of("0123456789", start), name.size());
            numbers.push_back(name.substr(start, at - start));
        }
        return numbers;
    };
    const std::vector<std::string> left = numbersOf(a), right = numbersOf(b);
    for (size_t i = 0; i < std::min(left.size(), right.size()); i++)
        if (left[i] != right[i])
            return std::make_pair(left[i].size(), left[i]) > std::make_pair(right[i].size(), right[i]);
    return std::make_pair(left.size(), a) > std::make_pair(right.size(), b);
}

} // namespace report
