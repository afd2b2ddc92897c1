#include "earlier.h"

#include "judge.h"
#include "reader.h"
#include "text.h"

#include <algorithm>
#include <array>
#include <rapidjson/document.h>
#include <rapidjson/error/en.h>
#include <stdexcept>

namespace report {

namespace {

using rapidjson::Value;

// --- Members ---

// Names a value for a message.
std::string shown(const Value &value) {
    constexpr size_t longest = 40;
    if (value.IsString())
        return '"' + visible(std::string_view(value.GetString(), value.GetStringLength()).substr(0, longest)) + '"';
    if (value.IsInt())
        return std::to_string(value.GetInt());
    static constexpr std::array kinds{"null", "false", "true", "an object", "a list", "a text", "a number"};
    return kinds[value.GetType()];
}

std::runtime_error missing(const char *pName) {
    return std::runtime_error(std::string("\"") + pName + "\" is missing");
}

std::runtime_error fault(const char *pName, const Value &found) {
    return std::runtime_error(std::string("\"") + pName + "\" is " + shown(found));
}

const Value &member(const Value &object, const char *pName) {
    if (!object.IsObject())
        throw missing(pName);
    const auto found = object.FindMember(pName);
    if (found == object.MemberEnd())
        throw missing(pName);
    return found->value;
}

std::string textOf(const Value &value, const char *pName) {
    if (!value.IsString())
        throw fault(pName, value);
    return {value.GetString(), value.GetStringLength()};
}

std::optional<std::string> textOrNull(const Value &object, const char *pName) {
    const Value &value = member(object, pName);
    return value.IsNull() ? std::nullopt : std::optional(textOf(value, pName));
}

std::optional<bool> flagOrNull(const Value &object, const char *pName) {
    const Value &value = member(object, pName);
    if (!value.IsNull() && !value.IsBool())
        throw fault(pName, value);
    return value.IsNull() ? std::nullopt : std::optional(value.GetBool());
}

std::optional<int> numberOrNull(const Value &object, const char *pName) {
    const Value &value = member(object, pName);
    if (!value.IsNull() && !value.IsInt())
        throw fault(pName, value);
    return value.IsNull() ? std::nullopt : std::optional(value.GetInt());
}

Value::ConstArray listIn(const Value &object, const char *pName) {
    const Value &value = member(object, pName);
    if (!value.IsArray())
        throw fault(pName, value);
    return value.GetArray();
}

// Finds a result by its name.
template <typename Result> Result resultIn(const Value &object, const char *pName = "result") {
    const Value &value = member(object, pName);
    const std::string name = textOf(value, pName);
    for (int i = 0; i < 4; i++)
        if (name == nameOf(static_cast<Result>(i)))
            return static_cast<Result>(i);
    throw fault(pName, value);
}

// Calls read(). A fault in it gets a name of the place.
template <typename Read> auto readAt(const std::string &place, Read read) {
    try {
        return read();
    } catch (const std::runtime_error &error) {
        throw std::runtime_error(place + ": " + error.what());
    }
}

// --- Records ---

line lineIn(const Value &value) {
    line made;
    made.message = numberOrNull(value, "message").value_or(0);
    made.text = textOf(member(value, "text"), "text");
    for (const Value &token : listIn(value, "tokens"))
        made.tokens.push_back(textOf(token, "tokens"));
    return made;
}

check checkIn(const Value &value) {
    check made;
    const Value &id = member(value, "id");
    if (id.IsInt())
        made.titleMessage = id.GetInt();
    else
        textOf(id, "id");
    made.title = textOf(member(value, "title"), "title");
    made.result = resultIn<CheckResult>(value);
    for (const Value &one : listIn(value, "lines"))
        made.lines.push_back(lineIn(one));
    return made;
}

entry entryIn(const Value &value) {
    entry made;
    made.text = textOf(member(value, "text"), "text");
    if (textOrNull(value, "severity"))
        made.severity = resultIn<CheckResult>(value, "severity");
    return made;
}

pass passIn(const Value &value) {
    pass made;
    made.level = textOrNull(value, "level");
    made.clustered = flagOrNull(value, "clustered");
    return readAt("level " + visible(nameOf(made)), [&] {
        made.result = resultIn<PassResult>(value);
        for (const Value &one : listIn(value, "checks"))
            made.checks.push_back(checkIn(one));
        for (const Value &one : listIn(value, "entries"))
            made.entries.push_back(entryIn(one));
        return made;
    });
}

host hostIn(const Value &value) {
    host made;
    made.name = textOf(member(value, "host"), "host");
    return readAt("host " + visible(made.name), [&] {
        made.status = numberOrNull(value, "status");
        made.result = resultIn<HostResult>(value);
        for (const Value &one : listIn(value, "errors"))
            made.errors.push_back(textOf(one, "errors"));
        for (const Value &one : listIn(value, "passes"))
            made.passes.push_back(passIn(one));
        return made;
    });
}

std::vector<host> hostsIn(const Value &document) {
    const int schema = numberOrNull(document, "schema").value_or(0);
    if (schema < 1 || schema > 2)
        throw std::runtime_error("schema " + std::to_string(schema) +
                                 (schema > 2 ? ": written by a newer version" : ": not 1 or 2"));
    std::vector<host> hosts;
    for (const Value &one : listIn(document, "hosts"))
        hosts.push_back(hostIn(one));
    return hosts;
}

// The text may nest deeply, so the parser must not be recursive. It stops at a zero byte: a text with one would be read
// in part only.
void parse(rapidjson::Document &document, std::string &text) {
    constexpr unsigned flags = rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag;
    if (text.find('\0') != std::string::npos)
        throw std::runtime_error("is not JSON: it has a zero byte");
    document.ParseInsitu<flags>(text.data());
    if (document.HasParseError())
        throw std::runtime_error("is not JSON: " + std::string(GetParseError_En(document.GetParseError())) +
                                 " At byte " + std::to_string(document.GetErrorOffset()));
}

} // namespace

std::vector<host> readEarlier(const std::string &fileName, std::string text, const waiverList &waivers,
                              languages &known) {
    try {
        rapidjson::Document document;
        parse(document, text);
        std::vector<host> hosts = hostsIn(document);
        for (host &one : hosts) {
            if (waivers.mark(one))
                findEvidenceAgain(one, known);
            judgeEarlier(one);
        }
        return hosts;
    } catch (const std::runtime_error &error) {
        throw std::runtime_error(fileName + ": " + error.what() + "; write it again with --format=json");
    }
}

} // namespace report
