#include "markup.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "../common/utf8.h"

namespace lint {

namespace {

constexpr std::string_view commentBegin = "<!--", commentEnd = "-->";
constexpr std::size_t FARTHEST_PART = 1000; // parts of a long line behind it are ignored

bool beginsAt(std::string_view line, std::size_t position, std::string_view text) {
    return line.compare(position, text.size(), text) == 0;
}

bool isNameStart(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || (static_cast<unsigned char>(c) & 0x80) != 0;
}

std::size_t nameEnd(std::string_view line, std::size_t position) {
    return std::min(line.find_first_of(" \t<>='\"", position), line.size());
}

// Finds the ">" that ends a tag: the first one outside quotes, or the last one of the line where a quote is not closed.
// Returns npos if the line has no such ">", or if another tag begins before it.
std::size_t tagEnd(std::string_view line, std::size_t position) {
    const std::size_t start = position;
    char quote = '\0';
    for (; position < line.size(); position++) {
        char c = line[position];
        if (quote != '\0')
            quote = c == quote ? '\0' : quote;
        else if (c == '"' || c == '\'')
            quote = c;
        else if (c == '>')
            return position;
        else if (c == '<')
            return npos;
    }
    std::size_t last = quote == '\0' ? npos : line.rfind('>');
    return last == npos || last < start ? npos : last;
}

// Returns the place behind a declaration, "<!...>". A document type may hold other declarations between brackets.
std::size_t declarationEnd(std::string_view line, std::size_t position) {
    if (line[std::min(line.find_first_of("[>", position), line.size() - 1)] == '[')
        position = std::min(line.find(']', position), line.size());
    const std::size_t end = line.find('>', position);
    return end == npos ? line.size() : end + 1;
}

// Finds the comments of a file that have no end, in the order of the file. An end belongs to the last open comment
// above it, so a comment around others is closed. A second beginning on the same line is text of the first comment.
std::vector<const char *> commentsWithoutEnd(std::string_view file) {
    std::vector<const char *> open;
    std::size_t position = 0;
    while ((position = file.find("--", position)) != npos) {
        const char *pDashes = file.data() + position;
        if (position >= 2 && file.compare(position - 2, 4, commentBegin) == 0) {
            if (open.empty() ||
                std::memchr(open.back(), '\n', static_cast<std::size_t>(pDashes - open.back())) != nullptr)
                open.push_back(pDashes - 2);
            position += 2;
        } else if (beginsAt(file, position, commentEnd)) {
            if (!open.empty())
                open.pop_back();
            position += commentEnd.size();
        } else
            position++;
    }
    return open;
}

// Joins each opening tag and the next closing tag of its name to an element, even if a comment begins or ends between
// them, because the program reads it. If there is no closing tag of its name, an opening tag without attributes is
// joined with a closing tag of another name right behind it.
void joinElements(std::string_view line, std::vector<markup> &parts) {
    for (auto opening = parts.begin(); opening != parts.end(); ++opening) {
        if (opening->kind != MarkupKind::opening || !opening->complete)
            continue;
        auto closing = std::find_if(opening + 1, parts.end(), [&](const markup &part) {
            return part.kind == MarkupKind::closing && part.name == opening->name;
        });
        if (closing == parts.end() && opening->attributes.empty() && opening + 1 != parts.end() &&
            opening[1].kind == MarkupKind::closing && opening[1].comment == opening->comment)
            closing = opening + 1;
        if (closing == parts.end()) {
            if (!opening->closedBy.empty())
                opening->kind = MarkupKind::element; // an empty element, such as <ksh/>
            continue;
        }
        const std::size_t begin = tagEnd(line, opening->column) + 1;
        opening->kind = MarkupKind::element;
        opening->text = line.substr(begin, closing->column - 1 - begin);
        opening->closedBy = closing->name;
        opening->end = closing->end;
        opening->complete = closing->complete;
        opening->plain = opening->plain && closing->plain;
        parts.erase(opening + 1, closing + 1);
    }
}

// Notes the column of the first character between two places that is not blank, unless one is noted already.
void noteText(std::string_view line, std::size_t begin, std::size_t end, std::size_t &column) {
    while (column == 0 && begin < end) {
        if (!isBlank(line[begin]))
            column = begin + 1;
        begin++;
    }
}

} // namespace

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r';
}

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && isBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

std::string_view lineMark(std::string_view line) {
    const std::string_view text = trimmed(line);
    for (const std::string_view mark : {"#", "//", ";", "/*"})
        if (beginsAt(text, 0, mark))
            return mark;
    return {};
}

// Reads the tag at a "<", adds it to the parts, and moves the position behind it.
void markupReader::readTag(std::string_view line, std::size_t &position, markedLine &marked) const {
    const std::size_t start = position;
    const bool bClosing = beginsAt(line, start, "</");
    const std::size_t opened = start + (bClosing ? 2 : 1);
    const std::size_t nameStart = std::min(line.find_first_not_of(" \t", opened), line.size());
    const std::size_t behindName = nameEnd(line, nameStart);
    position = start + 1;
    if (nameStart == line.size() || !isNameStart(line[nameStart]) || start > FARTHEST_PART)
        return;
    const std::size_t end = tagEnd(line, behindName);
    const bool bBlank = nameStart != opened; // a "<" in front of a blank may be text
    if (bBlank && end == npos)
        return;
    const std::size_t stop = end != npos ? end : std::min(line.find('<', behindName), line.size());
    markup part = {};
    part.kind = bClosing ? MarkupKind::closing : MarkupKind::opening;
    part.name = line.substr(nameStart, behindName - nameStart);
    part.attributes = trimmed(line.substr(behindName, stop - behindName));
    part.column = start + 1;
    part.comment = hidden ? comments : 0;
    part.complete = end != npos;
    part.end = part.complete ? end + 1 : stop;
    part.plain = part.complete && !bBlank && (end == behindName || (!bClosing && !part.attributes.empty()));
    if (part.name.back() == '/' || part.attributes == "/") {
        part.name.remove_suffix(part.name.back() == '/');
        part.attributes = {};
        part.plain = false;
        part.closedBy = part.name;
    }
    marked.parts.push_back(part);
    position = part.end;
}

// Reads the tags in a comment or the like, up to its terminator or the end of the line. Returns the place behind that.
std::size_t markupReader::readHidden(std::string_view line, std::size_t begin, std::string_view terminator,
                                     markedLine &marked) {
    const std::size_t end = line.find(terminator, begin);
    const std::string_view text = line.substr(0, end);
    hidden = true;
    std::size_t position = begin;
    while ((position = text.find('<', position)) != npos)
        readTag(text, position, marked);
    hidden = false;
    return end == npos ? line.size() : end + terminator.size();
}

bool markupReader::isNeverClosed(const char *pComment) {
    if (neverClosed.empty() || neverClosed.back() != pComment)
        return false;
    neverClosed.pop_back();
    return true;
}

// Reads the comment, declaration or tag that begins at a "<" outside comments. Returns the place behind it.
std::size_t markupReader::readMarkup(std::string_view line, std::size_t begin, markedLine &marked) {
    std::size_t position = begin;
    if (beginsAt(line, begin, commentBegin)) {
        comments++;
        if (isNeverClosed(line.data() + begin)) {
            marked.openComment = begin + 1;
            return readHidden(line, begin + commentBegin.size(), "->", marked);
        }
        inComment = true;
        return begin + commentBegin.size();
    }
    if (beginsAt(line, begin, "<?") || beginsAt(line, begin, "<!-")) {
        comments++;
        return readHidden(line, begin + 2, line[begin + 1] == '?' ? "?>" : "->", marked);
    }
    if (beginsAt(line, begin, "<!"))
        return declarationEnd(line, begin);
    hidden = behindMark;
    readTag(line, position, marked);
    hidden = false;
    return position;
}

markupReader::markupReader(std::string_view file) : neverClosed(commentsWithoutEnd(file)) {
    std::reverse(neverClosed.begin(), neverClosed.end());
}

void markupReader::read(std::string_view line, markedLine &marked) {
    marked.parts.clear();
    marked.textColumn = marked.openComment = 0;
    std::size_t textColumn = 0;
    std::size_t position = 0;
    behindMark = !inComment && !lineMark(line).empty();
    comments += behindMark;
    while (position < line.size()) {
        if (inComment) {
            inComment = line.find(commentEnd, position) == npos;
            position = readHidden(line, position, commentEnd, marked);
            continue;
        }
        const std::size_t mark = std::min(line.find('<', position), line.size());
        noteText(line, position, mark, textColumn);
        position = mark == line.size() ? mark : readMarkup(line, mark, marked);
    }
    joinElements(line, marked.parts);
    if (std::none_of(marked.parts.begin(), marked.parts.end(), [](const markup &part) { return part.comment == 0; }))
        marked.textColumn = textColumn;
}

/* --- Characters --- */

std::string_view foreignCharacter(std::string_view text) {
    std::size_t begin = 0;
    while (begin < text.size() && (static_cast<unsigned char>(text[begin]) & 0x80) == 0)
        begin++;
    std::size_t end = std::min(begin + 1, text.size());
    while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80)
        end++;
    return text.substr(begin, end - begin);
}

std::string codePoint(std::string_view character) {
    char name[16];
    std::snprintf(name, sizeof name, "U+%04lX", static_cast<unsigned long>(utf8::decode(character)) & 0x1fffff);
    return name;
}

std::string latinized(std::string_view text) {
    static constexpr struct {
        unsigned long code;
        char letter;
    } likenesses[] = {
        // Cyrillic
        {0x405, 'S'},
        {0x406, 'I'},
        {0x408, 'J'},
        {0x410, 'A'},
        {0x412, 'B'},
        {0x415, 'E'},
        {0x41a, 'K'},
        {0x41c, 'M'},
        {0x41d, 'H'},
        {0x41e, 'O'},
        {0x420, 'P'},
        {0x421, 'C'},
        {0x422, 'T'},
        {0x425, 'X'},
        {0x430, 'a'},
        {0x435, 'e'},
        {0x43e, 'o'},
        {0x440, 'p'},
        {0x441, 'c'},
        {0x443, 'y'},
        {0x445, 'x'},
        {0x455, 's'},
        {0x456, 'i'},
        {0x458, 'j'},
        {0x474, 'V'},
        {0x475, 'v'},
        {0x501, 'd'},
        {0x51b, 'q'},
        {0x51d, 'w'},
        // Greek
        {0x391, 'A'},
        {0x392, 'B'},
        {0x395, 'E'},
        {0x396, 'Z'},
        {0x397, 'H'},
        {0x399, 'I'},
        {0x39a, 'K'},
        {0x39c, 'M'},
        {0x39d, 'N'},
        {0x39f, 'O'},
        {0x3a1, 'P'},
        {0x3a4, 'T'},
        {0x3a5, 'Y'},
        {0x3a7, 'X'},
        {0x3bd, 'v'},
        {0x3bf, 'o'},
        // Latin letters that are not ASCII
        {0x131, 'i'},
        {0x251, 'a'},
        {0x261, 'g'},
        {0x2113, 'l'},
    };
    std::string latin;
    while (!text.empty()) {
        const std::string_view foreign = foreignCharacter(text);
        if (foreign.empty())
            return latin.append(text);
        const char32_t code = utf8::decode(foreign);
        latin.append(text, 0, static_cast<std::size_t>(foreign.data() - text.data()));
        text = text.substr(static_cast<std::size_t>(foreign.data() - text.data()) + foreign.size());
        const auto *const like = std::find_if(std::begin(likenesses), std::end(likenesses),
                                              [&](const auto &likeness) { return likeness.code == code; });
        if (code > 0xff00 && code < 0xff5f)
            latin += static_cast<char>(code - 0xff00 + ' '); // a letter of full width
        else if (like != std::end(likenesses))
            latin += like->letter;
        else
            latin.append(foreign);
    }
    return latin;
}

} // namespace lint
