// SPDX-License-Identifier: GPL-3.0-or-later
// udev's escapes in labels: an escaped label decodes to the original, other text stays unchanged.
#include <cctype>
#include <cstdio>
#include <string>

#include "fuzz.h"
#include "volume/block_device.h"

// A label as udev writes it: ASCII except letters, digits and some marks becomes "\xNN".
static std::string escaped(const std::string &label) {
    std::string text;
    for (const char character : label) {
        const auto byte = static_cast<uint8_t>(character);
        const bool plain = byte >= 0x80 || std::isalnum(byte) != 0 ||
                           std::string("#+-.:=@_").find(character) != std::string::npos;
        char escape[8];
        std::snprintf(escape, sizeof escape, "\\x%02x", byte);
        text += plain ? std::string(1, character) : escape;
    }
    return text;
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string text = fuzz_input(data, size).rest();
    FUZZ_REQUIRE(block_device_decode(escaped(text)) == text);
    const std::string decoded = block_device_decode(text);
    FUZZ_REQUIRE(decoded.size() <= text.size() && (text.size() - decoded.size()) % 3 == 0);
    if (text.find("\\x") == std::string::npos)
        FUZZ_REQUIRE(decoded == text);
    return 0;
}
