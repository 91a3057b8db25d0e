// SPDX-License-Identifier: GPL-3.0-or-later
// Texts for terminals and documents, from any bytes: all control characters are escaped, nothing
// else is changed, and percent escapes decode to the original bytes.
#include <cstdio>
#include <string>
#include <string_view>

#include "fuzz.h"
#include "report/printable.h"
#include "utf8_model.h"

static std::string formatted(const char *format, std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        char escape[8];
        std::snprintf(escape, sizeof escape, format,
                      static_cast<unsigned>(static_cast<uint8_t>(byte)));
        text += escape;
    }
    return text;
}

static std::string without_percent_escapes(const std::string &text) {
    std::string bytes;
    for (size_t at = 0; at < text.size(); ++at) {
        const auto plain = static_cast<uint8_t>(text[at]);
        FUZZ_REQUIRE(plain > 0x20 && plain < 0x7F);
        if (text[at] == '%') {
            bytes += static_cast<char>(std::stoi(text.substr(at + 1, 2), nullptr, 16));
            at += 2;
        } else {
            bytes += text[at];
        }
    }
    return bytes;
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string text = fuzz_input(data, size).rest();
    std::string shown;
    std::string valid;
    for (std::string_view left = text; !left.empty();) {
        const size_t length = utf8_model_length(left);
        const std::string_view bytes = left.substr(0, length == 0 ? 1 : length);
        const bool unescaped = length > 0 && !is_hidden(bytes);
        shown += unescaped ? std::string(bytes) : formatted("\\x%02X", bytes);
        valid += length == 0 ? std::string("\uFFFD") : std::string(bytes);
        left.remove_prefix(bytes.size());
    }
    FUZZ_REQUIRE(printable_text(text) == shown);
    FUZZ_REQUIRE(printable_text(shown) == shown);
    FUZZ_REQUIRE(utf8_replace_invalid(text) == valid);
    FUZZ_REQUIRE(utf8_model_is_valid(valid));
    FUZZ_REQUIRE(without_percent_escapes(utf8_percent_escape(text)) == text);
    return 0;
}
