// Writes JSON, member by member, into a text.
#ifndef KVX_COMMON_JSON_H
#define KVX_COMMON_JSON_H

#include <array>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

namespace json {

inline void append(std::string &json, std::string_view text) {
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

inline void append(std::string &json, const char *pText) {
    append(json, std::string_view(pText));
}

template <typename Number> std::enable_if_t<std::is_integral_v<Number>> append(std::string &json, Number number) {
    if constexpr (std::is_same_v<Number, bool>)
        json += number ? "true" : "false";
    else
        json += std::to_string(number);
}

template <typename Value> void append(std::string &json, const std::optional<Value> &value) {
    if (value)
        append(json, *value);
    else
        json += "null";
}

// Writes the name of a member, with the comma that may be needed in front of it.
inline void name(std::string &json, const char *pText) {
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

template <typename Values, typename Append>
void list(std::string &json, const char *pName, const Values &values, Append appendOne) {
    name(json, pName);
    json += '[';
    bool bFirst = true;
    for (const auto &value : values) {
        if (!bFirst)
            json += ", ";
        bFirst = false;
        appendOne(json, value);
    }
    json += ']';
}

inline void appendText(std::string &json, const std::string &text) {
    append(json, std::string_view(text));
}

} // namespace json

#endif
