#include "markup.h"

#include <algorithm>

namespace lint {

namespace {

constexpr std::string_view commentBegin = "<!--", commentEnd = "-->";
constexpr auto npos = std::string_view::npos;

bool beginsAt(std::string_view line, std::size_t position, std::string_view text) {
    return line.compare(position, text.size(), text) == 0;
}

bool isNameStart(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

std::size_t nameEnd(std::string_view line, std::size_t position) {
    return std::min(line.find_first_of(" \t<>='\"", position), line.size());
}

// The ">" of a tag, which quotes may hide; where a quote is not closed, the last one of the line. Npos when there is
// none, or when another tag begins before it.
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

// The place behind what is neither element nor comment: "<?...>" and "<!...>".
std::size_t declarationEnd(std::string_view line, std::size_t position) {
    std::size_t end = line.find('>', position);
    return end == npos ? line.size() : end + 1;
}

bool closes(const markup &closing, const markup &opening) {
    return closing.kind == MarkupKind::closing && closing.comment == opening.comment;
}

// An opening tag and the next closing one of its name make an element. Without such a one, so do an opening tag without
// attributes and a closing one right behind it.
void joinElements(std::string_view line, std::vector<markup> &parts) {
    for (auto opening = parts.begin(); opening != parts.end(); ++opening) {
        if (opening->kind != MarkupKind::opening || !opening->complete)
            continue;
        auto closing = std::find_if(opening + 1, parts.end(), [&](const markup &part) {
            return closes(part, *opening) && part.name == opening->name;
        });
        if (closing == parts.end() && opening->attributes.empty() && opening + 1 != parts.end() &&
            closes(opening[1], *opening))
            closing = opening + 1;
        if (closing == parts.end()) {
            if (!opening->closedBy.empty())
                opening->kind = MarkupKind::element; // an empty one, such as <ksh/>
            continue;
        }
        std::size_t begin = line.find('>', opening->column) + 1;
        if (!opening->attributes.empty())
            begin = tagEnd(line, opening->column) + 1;
        opening->kind = MarkupKind::element;
        opening->text = line.substr(begin, closing->column - 1 - begin);
        opening->closedBy = closing->name;
        opening->complete = closing->complete;
        opening->plain = opening->plain && closing->plain;
        parts.erase(opening + 1, closing + 1);
    }
}

// Notes where text outside comments begins, in what stands between two marks.
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

// Reads the tag at a "<" and moves behind it.
void markupReader::readTag(std::string_view line, std::size_t &position, markedLine &marked) const {
    const std::size_t start = position;
    const bool bClosing = beginsAt(line, start, "</");
    const std::size_t opened = start + (bClosing ? 2 : 1);
    const std::size_t nameStart = std::min(line.find_first_not_of(" \t", opened), line.size());
    const std::size_t behindName = nameEnd(line, nameStart), end = tagEnd(line, behindName);
    const bool bBlank = nameStart != opened; // a "<" before a blank may be text, too
    if (nameStart == line.size() || !isNameStart(line[nameStart]) || (bBlank && end == npos)) {
        position = start + 1;
        return;
    }
    const std::size_t stop = end != npos ? end : std::min(line.find('<', behindName), line.size());
    markup part = {};
    part.kind = bClosing ? MarkupKind::closing : MarkupKind::opening;
    part.name = line.substr(nameStart, behindName - nameStart);
    part.attributes = trimmed(line.substr(behindName, stop - behindName));
    part.column = start + 1;
    part.comment = inComment || behindMark ? comments : 0;
    part.complete = end != npos;
    part.plain = part.complete && !bBlank && (end == behindName || (!bClosing && !part.attributes.empty()));
    if (part.name.back() == '/' || part.attributes == "/") {
        part.name.remove_suffix(part.name.back() == '/');
        part.attributes = {};
        part.plain = false;
        part.closedBy = part.name;
    }
    marked.parts.push_back(part);
    position = part.complete ? end + 1 : stop;
}

void markupReader::read(std::string_view line, markedLine &marked) {
    marked.parts.clear();
    marked.textColumn = 0;
    std::size_t textColumn = 0, position = 0;
    behindMark = !lineMark(line).empty();
    comments += behindMark && !inComment;
    while (position < line.size()) {
        const std::size_t mark = std::min(line.find('<', position), line.size());
        const std::size_t end = inComment ? line.find(commentEnd, position) : npos;
        if (end < mark) {
            inComment = false;
            position = end + commentEnd.size();
            continue;
        }
        if (!inComment)
            noteText(line, position, mark, textColumn);
        position = mark;
        if (position == line.size())
            break;
        if (!inComment && beginsAt(line, position, commentBegin)) {
            inComment = true;
            comments++;
            position += commentBegin.size();
        } else if (!inComment && (beginsAt(line, position, "<?") || beginsAt(line, position, "<!")))
            position = declarationEnd(line, position);
        else
            readTag(line, position, marked);
    }
    joinElements(line, marked.parts);
    if (std::none_of(marked.parts.begin(), marked.parts.end(), [](const markup &part) { return part.comment == 0; }))
        marked.textColumn = textColumn;
}

} // namespace lint
