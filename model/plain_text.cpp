// SPDX-License-Identifier: GPL-3.0-or-later
/* A backslash is not escaped: people look for the name they know. The first byte of a UTF-8
 * sequence gives its length; the decoded value shows whether the sequence was the shortest
 * and the code point valid. */
#include "model/plain_text.h"

#include <algorithm>
#include <array>
#include <cstdint>

int plain_text_is_control(uint32_t code) {
    const bool c0 = code < 0x20;
    const bool delete_or_c1 = code >= 0x7F && code <= 0x9F;
    const bool separator = code == 0x2028 || code == 0x2029;
    /* All with the Unicode property Bidi_Control. Invisible, they reorder the text around
     * them. */
    const bool turns_text = code == 0x061C || code == 0x200E || code == 0x200F ||
                            (code >= 0x202A && code <= 0x202E) ||
                            (code >= 0x2066 && code <= 0x2069);
    return c0 || delete_or_c1 || separator || turns_text ? 1 : 0;
}

size_t plain_text_first_character(const char *text, size_t left, uint32_t *code) {
    if (left == 0)
        return 0;
    const auto byte_at = [text](size_t at) { return static_cast<unsigned char>(text[at]); };
    const unsigned char first = byte_at(0);
    *code = first;
    if (first < 0x80)
        return 1;
    const size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC0 || first > 0xF7 || left < length)
        return 0;
    *code = first & (0x7FU >> length);
    for (size_t at = 1; at < length; ++at) {
        if ((byte_at(at) & 0xC0U) != 0x80)
            return 0;
        *code = (*code << 6U) | (byte_at(at) & 0x3FU);
    }
    static constexpr std::array<uint32_t, 5> smallest = {0, 0, 0x80, 0x800, 0x10000};
    const bool surrogate = *code >= 0xD800 && *code <= 0xDFFF;
    const bool allowed = *code >= smallest.at(length) && *code <= 0x10FFFF && !surrogate;
    return allowed ? length : 0;
}

static char *write_escaped(const char *text, size_t length, char *out) {
    static const char digits[] = "0123456789ABCDEF";
    for (size_t at = 0; at < length; ++at) {
        const auto byte = static_cast<unsigned char>(text[at]);
        *out++ = '\\';
        *out++ = 'x';
        *out++ = digits[byte >> 4U];
        *out++ = digits[byte & 0xFU];
    }
    return out;
}

size_t plain_text_escape(const char *text, size_t length, char *out) {
    char *end = out;
    while (length > 0) {
        uint32_t code = 0;
        const size_t known = plain_text_first_character(text, length, &code);
        const size_t taken = std::max<size_t>(known, 1);
        if (known == 0 || plain_text_is_control(code) != 0)
            end = write_escaped(text, taken, end);
        else
            end = std::copy_n(text, taken, end);
        text += taken;
        length -= taken;
    }
    return static_cast<size_t>(end - out);
}
