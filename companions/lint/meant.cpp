#include "meant.h"

#include <algorithm>
#include <vector>

#include "../common/words.h"
#include "conditions.h"
#include "tags.h"

namespace lint {

using common::holds;
using std::string;
using std::string_view;

static constexpr std::size_t FARTHEST_END = 1000; // how many bytes are searched for the end of a tag

string opening(string_view name) {
    return "<" + string(name) + ">";
}

string closing(string_view name) {
    return "</" + string(name) + ">";
}

string element(string_view name, string_view text) {
    return opening(name) + string(text) + closing(name);
}

string_view attributeText(string_view attributes) {
    const std::size_t quote = attributes.find_first_of("\"'");
    if (quote != npos)
        return attributes.substr(quote + 1, attributes.find(attributes[quote], quote + 1) - quote - 1);
    if (!attributes.empty() && attributes.back() == '/') // of an empty element
        attributes.remove_suffix(1);
    return trimmed(attributes.substr(std::min(attributes.find('=') + 1, attributes.size())));
}

string elementMeant(const markup &part) {
    const string_view text = trimmed(part.text);
    const string_view given = text.empty() ? attributeText(part.attributes) : text;
    return element(part.name, given.empty() ? "..." : given);
}

/* --- Conditions in attributes --- */

// Finds the next "<" that is not an operator: one without a blank behind it.
static std::size_t nextTag(string_view text, std::size_t from) {
    while ((from = text.find('<', from)) != npos && (from + 1 == text.size() || isBlank(text[from + 1])))
        from++;
    return from;
}

string_view wholeAttributes(string_view line, const markup &part) {
    const auto begin = static_cast<std::size_t>(part.attributes.data() - line.data());
    const std::size_t next = nextTag(line, std::min(part.end, line.size()));
    const string_view whole = line.substr(begin, next - begin);
    const std::size_t last = whole.rfind('>');
    return trimmed(whole.substr(0, last));
}

typedef std::vector<string_view> wordList;

// Adds the words of a text to a list. Operators become words of their own; "and" is left out.
static void addWords(string_view text, wordList &words) {
    constexpr string_view operators = "<>=!";
    constexpr string_view blanks = " \t\r\n";
    while (!text.empty()) {
        const bool bOperator = holds(operators, text.substr(0, 1));
        const bool bBlank = holds(blanks, text.substr(0, 1));
        const std::size_t end = bOperator ? text.find_first_not_of(operators)
                                : bBlank  ? text.find_first_not_of(blanks)
                                          : text.find_first_of(" \t\r\n<>=!");
        const string_view word = text.substr(0, end);
        if (!bBlank && word != "and" && word != "AND" && word != "&&" && word != "/")
            words.push_back(word);
        text.remove_prefix(std::min(end, text.size()));
    }
}

// Removes the name of an attribute and its "=" from the end of the words and returns the name. A tag of the program is
// not such a name but the operand of a condition; then it returns an empty name.
static string_view takeAttributeName(wordList &words) {
    const std::size_t count = words.size();
    if (count < 2 || words[count - 1] != "=" || isTag(words[count - 2]))
        return {};
    const string_view name = words[count - 2];
    words.resize(count - 2);
    return name;
}

static string joined(const wordList &words) {
    string all;
    for (const string_view word : words)
        all.append(all.empty() ? "" : " ").append(word);
    return all;
}

string sectionMeant(string_view name, string_view attributes) {
    wordList words, others;
    while (!attributes.empty()) {
        const std::size_t quote = std::min(attributes.find_first_of("\"'"), attributes.size());
        addWords(attributes.substr(0, quote), words);
        attributes.remove_prefix(quote);
        if (attributes.empty())
            break;
        const string_view text = attributes.substr(1, attributes.find(attributes[0], 1) - 1);
        const string_view attribute = takeAttributeName(words);
        const bool bOther = !attribute.empty() && attribute != "value" && readCondition(text).triples.empty();
        if (attribute != "id")
            addWords(text, bOther ? others : words);
        attributes.remove_prefix(std::min(text.size() + 2, attributes.size()));
    }
    if (words.size() > 1 && words[1] == "=" && !isTag(words[0]))
        words.erase(words.begin(), words.begin() + 2); // an attribute without quotes
    const string all = joined(words);
    const condition read = readCondition(all);
    const auto isTest = [](const triple &one) { return one.tag >= 0; };
    if (read.triples.empty() || !std::all_of(read.triples.begin(), read.triples.end(), isTest))
        return "<" + string(name) + " value=\"...\">";
    others.insert(others.begin(), read.rest.begin(), read.rest.end());
    words.resize(words.size() - read.rest.size());
    const string tag = "<" + string(name) + " value=\"" + joined(words);
    return others.empty() ? tag + "\">" : tag + " ...\">, with a triple for \"" + joined(others) + "\" at its end";
}

/* --- What runs over several lines --- */

// Replaces each row of blanks and line ends in a text by one blank.
static string onOne(string_view text) {
    string one;
    for (const char c : trimmed(text))
        if (!isBlank(c) && c != '\n')
            one += c;
        else if (!one.empty() && one.back() != ' ')
            one += ' ';
    return one.substr(0, one.find_last_not_of(' ') + 1);
}

oneLiner onOneLine(string_view file, string_view name) {
    file = file.substr(0, FARTHEST_END);
    const auto upTo = [&](std::size_t end, string text, string_view word, bool bElement) {
        const auto lines = std::count(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(end), '\n');
        return oneLiner{std::move(text), word, static_cast<std::size_t>(lines), bElement};
    };
    const std::size_t attributes = name.size() + 1;
    const std::size_t quote = file.find('"', attributes);
    std::size_t end = file.find('>', attributes);
    if (quote < end)
        end = file.find('>', std::min(file.find('"', quote + 1), file.size()));
    if (end == npos || nextTag(file, attributes) < end)
        return {};
    const string given = onOne(file.substr(attributes, end - attributes));
    if (!given.empty())
        return upTo(end, "<" + string(name) + " " + given + ">", {}, false);
    const std::size_t next = file.find('<', end);
    const string last = closing(name);
    if (next == npos || file.compare(next, last.size(), last) != 0)
        return {};
    const string_view between = file.substr(end + 1, next - end - 1);
    const string text = onOne(between);
    const std::size_t at = between.find(text);
    if (text.empty())
        return {};
    return at == npos ? upTo(next, element(name, text), {}, true)
                      : upTo(next, element(name, "\1"), between.substr(at, text.size()), true);
}

/* --- Levels, conflicts --- */

bool isLevelName(string_view name) {
    return name.find_first_not_of("0123456789.") == npos && !holds("." + string(name) + ".", "..");
}

string_view firstNumber(string_view text) {
    for (std::size_t at = 0; (at = text.find_first_of("0123456789", at)) != npos;) {
        const string_view word = text.substr(at, text.find_first_not_of("0123456789.", at) - at);
        if (isLevelName(word))
            return word;
        at += word.size();
    }
    return {};
}

string_view levelMeant(string_view file, string_view line, string_view attributes) {
    const string_view given = attributeText(attributes);
    if (!given.empty() && given.find_first_of(" =\"'") == npos)
        return given;
    const string_view number = firstNumber(line);
    return number.empty() ? firstNumber(file.substr(0, std::min(file.find('>'), FARTHEST_END))) : number;
}

bool isConflictMark(string_view line) {
    constexpr std::size_t length = 7;
    const string_view mark = line.substr(0, length);
    return mark.size() == length && holds("<=>|", mark.substr(0, 1)) && mark.find_first_not_of(mark[0]) == npos &&
           (line.size() == length || isBlank(line[length]));
}

} // namespace lint
