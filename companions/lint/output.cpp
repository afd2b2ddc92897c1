#include "output.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

#include "../common/json.h"
#include "../common/utf8.h"
#include "markup.h"

namespace lint {

namespace {

using std::string;
using std::string_view;

constexpr int schema = 1;

string hexadecimal(char mark, char c) {
    static constexpr char digits[] = "0123456789ABCDEF";
    const auto code = static_cast<unsigned char>(c);
    return {mark, digits[code >> 4], digits[code & 15]};
}

void addFinding(string &json, const findingList &findings, const finding &found) {
    json::member(json, "line", found.line);
    json::member(json, "column", found.column);
    json::member(json, "severity", nameOf(entryOf(found.id).severity));
    json::member(json, "rule", entryOf(found.id).name);
    json::member(json, "text", printable(findings.textOf(found)));
}

class gccWriter : public writer {
public:
    explicit gccWriter(std::ostream &stream) : out(stream) {
    }

    void add(const string &path, string_view, const findingList &findings) override {
        for (const finding &found : findings.all) {
            const ruleEntry &rule = entryOf(found.id);
            out << path << ':' << found.line << ':' << found.column << ": " << nameOf(rule.severity) << ": "
                << printable(findings.textOf(found)) << " [" << rule.name << "]\n";
        }
    }

    void finish(const findingCounts &) override {
    }

private:
    std::ostream &out;
};

// Writes workflow commands: a service that reads them shows each finding beside its line.
class githubWriter : public writer {
public:
    explicit githubWriter(std::ostream &stream) : out(stream) {
    }

    void add(const string &path, string_view, const findingList &findings) override {
        static constexpr string_view commands[] = {"error", "warning", "notice"};
        for (const finding &found : findings.all) {
            const ruleEntry &rule = entryOf(found.id);
            out << "::" << commands[static_cast<std::size_t>(rule.severity)] << " file=" << escaped(path, "%\r\n:,")
                << ",line=" << found.line << ",col=" << found.column << ",title=" << rule.name
                << "::" << escaped(printable(findings.textOf(found)), "%\r\n") << '\n';
        }
    }

    void finish(const findingCounts &) override {
    }

private:
    static string escaped(string_view text, string_view special) {
        string escaped;
        for (const char c : text)
            if (special.find(c) == string_view::npos)
                escaped += c;
            else
                escaped += hexadecimal('%', c);
        return escaped;
    }

    std::ostream &out;
};

class jsonWriter : public writer {
public:
    explicit jsonWriter(std::ostream &stream) : out(stream) {
        out << "{\"schema\": " << schema << ", \"findings\": [";
    }

    void add(const string &path, string_view, const findingList &findings) override {
        for (const finding &found : findings.all) {
            string json = "{";
            json::member(json, "file", printable(path));
            addFinding(json, findings, found);
            out << (bFirst ? "\n" : ",\n") << json << '}';
            bFirst = false;
        }
    }

    void finish(const findingCounts &counts) override {
        string json = "{";
        for (const Severity severity : {Severity::error, Severity::warning, Severity::note})
            json::member(json, (string(nameOf(severity)) + 's').c_str(), counts.of(severity));
        json::member(json, "suppressed", counts.suppressed);
        json::member(json, "files", counts.files);
        out << "\n], " << json.substr(1) << "}\n";
    }

private:
    std::ostream &out;
    bool bFirst = true;
};

// Converts the columns of findings from bytes to characters. Ask in the order of the lines.
class characterColumns {
public:
    explicit characterColumns(string_view text) : file(text) {
    }

    std::size_t of(const finding &found) {
        for (; line < found.line; line++)
            file.remove_prefix(file.find('\n') + 1);
        const string_view before = file.substr(0, found.column - 1);
        return 1 + static_cast<std::size_t>(std::count_if(before.begin(), before.end(), [](char c) {
                   return (static_cast<unsigned char>(c) & 0xC0U) != 0x80;
               }));
    }

private:
    string_view file;
    std::size_t line = 1;
};

class sarifWriter : public writer {
public:
    explicit sarifWriter(std::ostream &stream) : out(stream) {
        string rules = "{";
        json::member(rules, "name", "kvxprereqlint");
        json::name(rules, "rules");
        for (std::size_t id = 0; id < RULES; id++)
            rules += (id == 0 ? "[\n" : ",\n") + ruleText(entryOf(static_cast<Rule>(id)));
        out << "{\"version\": \"2.1.0\", \"runs\": [{\"columnKind\": \"unicodeCodePoints\", \"tool\": {\"driver\": "
            << rules << "]}}, \"results\": [";
    }

    void add(const string &path, string_view file, const findingList &findings) override {
        characterColumns columns(file);
        const string uri = uriOf(path);
        for (const finding &found : findings.all) {
            out << (bFirst ? "\n" : ",\n") << resultText(uri, columns.of(found), findings, found);
            bFirst = false;
        }
    }

    void finish(const findingCounts &) override {
        out << "\n]}]}\n";
    }

private:
    static string levelOf(Severity severity) {
        return "{\"level\": \"" + string(nameOf(severity)) + "\"}";
    }

    static string ruleText(const ruleEntry &rule) {
        string json = "{";
        json::member(json, "id", rule.name);
        json::name(json, "shortDescription");
        json += '{';
        json::member(json, "text", rule.summary);
        json += '}';
        json::name(json, "defaultConfiguration");
        return json + levelOf(rule.severity) + '}';
    }

    static string resultText(const string &uri, std::size_t column, const findingList &findings, const finding &found) {
        string json = "{";
        json::member(json, "ruleId", entryOf(found.id).name);
        json::member(json, "ruleIndex", static_cast<std::size_t>(found.id));
        json::member(json, "level", nameOf(entryOf(found.id).severity));
        json::name(json, "message");
        json += '{';
        json::member(json, "text", printable(findings.textOf(found)));
        json += '}';
        json::name(json, "locations");
        json += "[{\"physicalLocation\": {\"artifactLocation\": {";
        json::member(json, "uri", uri);
        json += "}, \"region\": {";
        json::member(json, "startLine", found.line);
        json::member(json, "startColumn", column);
        return json + "}}}]}";
    }

    static string uriOf(const string &path) {
        string uri = path.front() == '/' ? "file://" : "";
        for (const char c : path)
            if (std::isalnum(static_cast<unsigned char>(c)) || string_view("-._~/").find(c) != string_view::npos)
                uri += c;
            else
                uri += hexadecimal('%', c);
        return uri;
    }

    std::ostream &out;
    bool bFirst = true;
};

// Is a character that is not ASCII invisible, or does it change the direction of writing?
bool isHidden(string_view character) {
    const char32_t code = utf8::decode(character);
    return code <= 0xA0 || code == 0xAD || code == 0x61C || (code >= 0x200B && code <= 0x200F) ||
           (code >= 0x2028 && code <= 0x202E) || (code >= 0x2060 && code <= 0x206F) || code == 0xFEFF;
}

} // namespace

std::string printable(string_view text) {
    if (std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c < 0x7f; }))
        return string(text);
    string shown;
    while (!text.empty()) {
        const std::size_t length = utf8::characterLength(text);
        const auto code = static_cast<unsigned char>(text[0]);
        if (text[0] == '\n')
            shown += "\\n";
        else if (length == 0 || code < ' ' || code == 0x7f)
            shown += "\\" + hexadecimal('x', text[0]);
        else if (length > 1 && isHidden(text.substr(0, length)))
            shown += codePoint(text.substr(0, length));
        else
            shown += text.substr(0, length);
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return shown;
}

string countsInWords(const findingCounts &counts) {
    string words;
    for (const Severity severity : {Severity::error, Severity::warning, Severity::note}) {
        const std::size_t count = counts.of(severity);
        words += (words.empty() ? "" : ", ") + std::to_string(count) + ' ' + string(nameOf(severity)) +
                 (count == 1 ? "" : "s");
    }
    return words + (counts.suppressed == 0 ? "" : ", " + std::to_string(counts.suppressed) + " suppressed");
}

std::unique_ptr<writer> makeWriter(string_view form, std::ostream &out) {
    if (form == "gcc")
        return std::make_unique<gccWriter>(out);
    if (form == "github")
        return std::make_unique<githubWriter>(out);
    if (form == "json")
        return std::make_unique<jsonWriter>(out);
    if (form == "sarif")
        return std::make_unique<sarifWriter>(out);
    return nullptr;
}

} // namespace lint
