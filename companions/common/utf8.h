// Reads characters of UTF-8 texts.
#ifndef KVX_COMMON_UTF8_H
#define KVX_COMMON_UTF8_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace utf8 {

// The code point of a character. The text holds its bytes and nothing else.
inline char32_t decode(std::string_view character) {
    const auto lead = static_cast<unsigned char>(character[0]);
    const unsigned leadBits = lead < 0x80 ? 0x7F : lead < 0xE0 ? 0x1F : lead < 0xF0 ? 0x0F : 0x07;
    char32_t code = lead & leadBits;
    for (const char c : character.substr(1))
        code = code << 6U | (static_cast<unsigned char>(c) & 0x3FU);
    return code;
}

// The number of bytes that the first byte of a character announces; 0 when no character begins with that byte.
inline std::size_t announcedLength(unsigned char lead) {
    if (lead < 0x80)
        return 1;
    if (lead < 0xC2 || lead >= 0xF5)
        return 0;
    return lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
}

// The number of bytes of the character at the start of a text; 0 when it is not valid.
inline std::size_t characterLength(std::string_view text) {
    static constexpr std::array<char32_t, 5> smallest{0, 0, 0x80, 0x800, 0x10000};
    const std::size_t length = text.empty() ? 0 : announcedLength(static_cast<unsigned char>(text[0]));
    if (length == 0 || text.size() < length)
        return 0;
    const std::string_view character = text.substr(0, length);
    const auto isContinuation = [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80; };
    if (!std::all_of(character.begin() + 1, character.end(), isContinuation))
        return 0;
    const char32_t code = decode(character);
    return code < smallest[length] || code > 0x10FFFF || (code >= 0xD800 && code < 0xE000) ? 0 : length;
}

// The same, but a byte that is not part of a character counts as one.
inline std::size_t lengthAt(std::string_view text) {
    return std::max<std::size_t>(characterLength(text), 1);
}

} // namespace utf8

#endif
