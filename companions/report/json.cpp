// The machine's form. kvxprereqreport(1) describes it; a member is added only with a new schema number.
#include "outline.h"
#include "writers.h"

#include <array>
#include <cstdio>
#include <string_view>

namespace report {

namespace {

constexpr int schema = 1;

void append(std::string &json, std::string_view text) {
    json += '"';
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            json += '\\';
            json += c;
        } else if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
            std::array<char, 8> escape{};
            std::snprintf(escape.data(), escape.size(), "\\u%04x",
                          static_cast<unsigned>(static_cast<unsigned char>(c)));
            json += escape.data();
        } else
            json += c;
    }
    json += '"';
}

void append(std::string &json, bool bYes) {
    json += bYes ? "true" : "false";
}

void append(std::string &json, int number) {
    json += std::to_string(number);
}

template <typename Value> void append(std::string &json, const std::optional<Value> &value) {
    if (value)
        append(json, *value);
    else
        json += "null";
}

// A member's name, with what stands in front of it.
void name(std::string &json, const char *pText) {
    if (json.back() != '{')
        json += ", ";
    json += '"';
    json += pText;
    json += "\": ";
}

template <typename Value> void member(std::string &json, const char *pName, const Value &value) {
    name(json, pName);
    append(json, value);
}

void member(std::string &json, const char *pName, const char *pText) {
    name(json, pName);
    append(json, std::string_view(pText));
}

template <typename Values, typename Append>
void list(std::string &json, const char *pName, const Values &values, Append appendOne) {
    name(json, pName);
    json += '[';
    for (const auto &value : values) {
        if (&value != &values.front())
            json += ", ";
        appendOne(json, value);
    }
    json += ']';
}

void appendText(std::string &json, const std::string &text) {
    append(json, std::string_view(text));
}

void appendLine(std::string &json, const line &one) {
    json += '{';
    member(json, "message", one.message == 0 ? std::nullopt : std::optional(one.message));
    list(json, "tokens", one.tokens, appendText);
    member(json, "text", std::string_view(one.text));
    json += '}';
}

void appendCheck(std::string &json, const check &one) {
    json += '{';
    if (one.titleMessage != 0)
        member(json, "id", one.titleMessage);
    else
        member(json, "id", std::string_view(one.title));
    member(json, "title", std::string_view(one.title));
    member(json, "result", nameOf(one.result));
    list(json, "lines", one.lines, appendLine);
    json += '}';
}

void appendEntry(std::string &json, const entry &one) {
    json += '{';
    member(json, "text", std::string_view(one.text));
    name(json, "severity");
    if (one.severity)
        append(json, std::string_view(nameOf(*one.severity)));
    else
        json += "null";
    json += '}';
}

void appendPass(std::string &json, const pass &one) {
    json += '{';
    member(json, "level", one.level);
    member(json, "clustered", one.clustered);
    member(json, "client", one.client);
    member(json, "time", one.time);
    member(json, "result", nameOf(one.result));
    list(json, "checks", one.checks, appendCheck);
    list(json, "entries", one.entries, appendEntry);
    json += '}';
}

class jsonOutput : public writer {
public:
    explicit jsonOutput(std::ostream &stream) : out(stream) {
        out << "{\"schema\": " << schema << ", \"hosts\": [";
    }

    void add(host one) override {
        std::string json = "{";
        member(json, "host", std::string_view(one.name));
        member(json, "status", one.status);
        member(json, "result", nameOf(one.result));
        member(json, "reason", reasonOf(one));
        list(json, "errors", one.errors, appendText);
        list(json, "passes", one.passes, appendPass);
        json += '}';
        out << (bFirst ? "\n" : ",\n") << json;
        bFirst = false;
    }

    void finish() override {
        out << "\n]}\n";
    }

private:
    std::ostream &out;
    bool bFirst = true;
};

} // namespace

std::unique_ptr<writer> jsonWriter(std::ostream &out) {
    return std::make_unique<jsonOutput>(out);
}

} // namespace report
