/* Of the characters of UTF-8 only the second set of control characters matters to a
 * terminal; it is written as 0xC2 and one more byte. All others stay as they are. */
#include "model/plain_text.h"

#include <cstdio>

static bool is_control(unsigned char byte) {
    return byte < 0x20 || byte == 0x7F;
}

void plain_text_print(FILE *stream, const char *text) {
    for (; *text != '\0'; ++text) {
        const auto byte = static_cast<unsigned char>(*text);
        const auto next = static_cast<unsigned char>(text[1]);
        if (byte == 0xC2 && next >= 0x80 && next < 0xA0) {
            std::fprintf(stream, "\\x%02X\\x%02X", byte, next);
            ++text;
        } else if (is_control(byte)) {
            std::fprintf(stream, "\\x%02X", byte);
        } else {
            std::fputc(*text, stream);
        }
    }
}
