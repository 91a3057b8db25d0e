// Decodes by the table of well-formed sequences: the first byte gives the
// length, the value says whether the form was the shortest and the code allowed.
#include "report/utf8.h"

#include <array>

utf8_character utf8_first_character(std::string_view text) {
    if (text.empty())
        return {};
    const auto byte_at = [text](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    const unsigned char first = byte_at(0);
    if (first < 0x80)
        return {first, 1};
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC0 || first > 0xF7 || text.size() < length)
        return {};
    auto code = static_cast<char32_t>(first & (0x7F >> length));
    for (std::size_t at = 1; at < length; ++at) {
        if ((byte_at(at) & 0xC0) != 0x80)
            return {};
        code = (code << 6) | (byte_at(at) & 0x3FU);
    }
    static constexpr std::array<char32_t, 5> smallest = {0, 0, 0x80, 0x800, 0x10000};
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    if (code < smallest.at(length) || code > 0x10FFFF || surrogate)
        return {};
    return {code, length};
}

std::string utf8_replace_invalid(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const std::size_t length = utf8_first_character(text).length;
        if (length == 0)
            result += "\xEF\xBF\xBD";
        else
            result += text.substr(0, length);
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return result;
}

std::string utf8_percent_escape(std::string_view text) {
    static constexpr std::string_view kept =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
    static constexpr std::string_view digits = "0123456789ABCDEF";
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (kept.find(c) != std::string_view::npos)
            result += c;
        else
            result += {'%', digits[byte >> 4], digits[byte & 0xF]};
    }
    return result;
}
