// SPDX-License-Identifier: GPL-3.0-or-later
#include "report/printable.h"

#include <cstddef>
#include <cstdint>
#include <system_error>

#include "model/plain_text.h"

std::string printable_text(std::string_view text) {
    std::string result(PLAIN_TEXT_ROOM(text.size()), '\0');
    result.resize(plain_text_escape(text.data(), text.size(), result.data()));
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

// std::strerror shares one buffer between threads; the error category does not.
std::string error_text(int error_number) {
    return std::generic_category().message(error_number);
}
