// A backslash stays a backslash: people look for the name they know. The result
// is for eyes; the JSON document has the bytes.
#include "report/printable.h"

#include "report/utf8.h"

static bool is_control(char32_t code) {
    const bool c0 = code < 0x20;
    const bool delete_or_c1 = code >= 0x7F && code <= 0x9F;
    const bool separator = code == 0x2028 || code == 0x2029;
    // Embeddings, overrides and isolates; what follows them reads backwards.
    const bool turns_text =
        (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
    return c0 || delete_or_c1 || separator || turns_text;
}

static std::string escaped(std::string_view bytes) {
    static constexpr std::string_view digits = "0123456789ABCDEF";
    std::string result;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        result += {'\\', 'x', digits[byte >> 4], digits[byte & 0xF]};
    }
    return result;
}

std::string printable_text(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const utf8_character first = utf8_first_character(text);
        const std::size_t length = first.length == 0 ? 1 : first.length;
        const std::string_view bytes = text.substr(0, length);
        if (first.length == 0 || is_control(first.code))
            result += escaped(bytes);
        else
            result += bytes;
        text.remove_prefix(length);
    }
    return result;
}

std::string printable_lines(std::string_view text) {
    std::string shown;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        shown += printable_text(text.substr(0, end));
        if (end == std::string_view::npos)
            break;
        shown += '\n';
        text.remove_prefix(end + 1);
    }
    return shown;
}
