// Paths in messages: one line without control characters, from which the path can be had back.
#include <cerrno>
#include <string>

#include "fuzz.h"
#include "volume/path_text.h"

static std::string without_octal_escapes(const std::string &text) {
    std::string bytes;
    for (size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '\\') {
            FUZZ_REQUIRE(text.find_first_not_of("01234567", at + 1) - at > 3);
            bytes += static_cast<char>(std::stoi(text.substr(at + 1, 3), nullptr, 8));
            at += 3;
        } else {
            bytes += text[at];
        }
    }
    return bytes;
}

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string path = fuzz_input(data, size).rest();
    const std::string shown = path_text_printable(path);
    for (const char character : shown) {
        const auto byte = static_cast<uint8_t>(character);
        FUZZ_REQUIRE(byte >= 0x20 && byte != 0x7F);
    }
    FUZZ_REQUIRE(without_octal_escapes(shown) == path);
    if (path.find_first_of("\\\x7F") == std::string::npos && shown.size() == path.size())
        FUZZ_REQUIRE(shown == path);
    const std::string message = path_text_error(path, "cannot be read", ENOENT);
    FUZZ_REQUIRE(message.starts_with(shown + ": cannot be read: "));
    FUZZ_REQUIRE(message.find('\n') == std::string::npos);
    return 0;
}
