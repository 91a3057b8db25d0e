// SPDX-License-Identifier: GPL-3.0-or-later
// UTF-8 by the table of well-formed byte sequences in the Unicode standard (table 3-7). The engine
// decodes the code point and checks its range.
#ifndef TROVIK_TESTS_FUZZ_UTF8_MODEL_H
#define TROVIK_TESTS_FUZZ_UTF8_MODEL_H

#include <cstdint>
#include <string_view>

// Length of the character at the start of `text` in bytes; 0 when there is no valid one.
inline size_t utf8_model_length(std::string_view text) {
    struct row {
        uint8_t first_from, first_to, second_from, second_to;
        size_t length;
    };
    static constexpr row rows[] = {
        {0x00, 0x7F, 0x00, 0xFF, 1}, {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3},
        {0xE1, 0xEC, 0x80, 0xBF, 3}, {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3},
        {0xF0, 0xF0, 0x90, 0xBF, 4}, {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4}};
    const auto is_within = [&](size_t at, uint8_t from, uint8_t to) {
        const auto byte = static_cast<uint8_t>(text[at]);
        return byte >= from && byte <= to;
    };
    for (const row &each : rows) {
        if (text.empty() || !is_within(0, each.first_from, each.first_to))
            continue;
        bool well_formed = text.size() >= each.length &&
                           (each.length < 2 || is_within(1, each.second_from, each.second_to));
        for (size_t at = 2; well_formed && at < each.length; ++at)
            well_formed = is_within(at, 0x80, 0xBF);
        return well_formed ? each.length : 0;
    }
    return 0;
}

inline bool utf8_model_is_valid(std::string_view text) {
    while (!text.empty()) {
        const size_t length = utf8_model_length(text);
        if (length == 0)
            return false;
        text.remove_prefix(length);
    }
    return true;
}

// Whether a character (valid UTF-8) must be escaped: control characters and bidirectional marks,
// recognized by their bytes. The engine recognizes them by their code points.
inline bool is_hidden(std::string_view bytes) {
    if (bytes.size() == 1)
        return static_cast<uint8_t>(bytes[0]) < 0x20 || bytes[0] == 0x7F;
    if (bytes.size() == 2 && bytes[0] == '\xC2')  // U+0080 to U+009F
        return static_cast<uint8_t>(bytes[1]) < 0xA0;
    static constexpr std::string_view marks[] = {"\u061C", "\u200E", "\u200F", "\u2028", "\u2029",
                                                 "\u202A", "\u202B", "\u202C", "\u202D", "\u202E",
                                                 "\u2066", "\u2067", "\u2068", "\u2069"};
    for (const std::string_view each : marks) {
        if (bytes == each)
            return true;
    }
    return false;
}

#endif
