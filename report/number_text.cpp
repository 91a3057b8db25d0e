// SPDX-License-Identifier: GPL-3.0-or-later
// std::to_chars is specified by printf's rounding in the C locale and, unlike printf, ignores
// the locale that is set.
#include "report/number_text.h"

#include <array>
#include <charconv>
#include <limits>

std::string number_text_fixed(double value, int decimals) {
    constexpr std::size_t sign_point_and_decimals = 20;
    std::array<char, std::numeric_limits<double>::max_exponent10 + 1 + sign_point_and_decimals>
        buffer{};
    const std::to_chars_result end = std::to_chars(buffer.data(), buffer.data() + buffer.size(),
                                                   value, std::chars_format::fixed, decimals);
    return std::string(buffer.data(), end.ptr);
}

std::string size_text_from_value(double bytes) {
    // At most seven divisions; no 64-bit byte count reaches the empty eighth unit.
    static constexpr std::array<const char *, 8> units = {"Byte", "KB", "MB", "GB",
                                                          "TB",   "PB", "EB", ""};
    std::size_t index = 0;
    while (bytes >= 1024.0 && index + 1 < units.size()) {
        bytes *= 0.0009765625;
        ++index;
    }
    return number_text_fixed(bytes, 1) + " " + units.at(index);
}

std::string size_text_from_bytes(std::uint64_t bytes) {
    return size_text_from_value(static_cast<double>(bytes));
}
