// Control characters and bidirectional marks, recognized by their bytes. The engine recognizes them
// by their code points.
#ifndef TROVIK_TESTS_FUZZ_HIDDEN_MODEL_H
#define TROVIK_TESTS_FUZZ_HIDDEN_MODEL_H

#include <cstdint>
#include <string_view>

// Whether a character (valid UTF-8) must be escaped.
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
