// Which bytes are a character is the engine's to say, so that a path shown by it
// and one in a document agree on what is broken.
#include "report/utf8.h"

#include <cstddef>
#include <cstdint>

#include "model/plain_text.h"

std::string utf8_replace_invalid(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        std::uint32_t code = 0;
        const std::size_t length = plain_text_first_character(text.data(), text.size(), &code);
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
