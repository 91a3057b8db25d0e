// UTF-8 as the rest of the room needs it: where a text is valid and what its
// characters are. A volume's name is whatever bytes somebody wrote on it.
#ifndef TROVIK_REPORT_UTF8_H
#define TROVIK_REPORT_UTF8_H

#include <cstddef>
#include <string>
#include <string_view>

struct utf8_character {
    char32_t code = 0;
    std::size_t length = 0;  // bytes; 0: what stands there is not UTF-8
};

// The character at the start of `text`. Overlong forms, surrogates, codes above
// U+10FFFF and cut sequences are not UTF-8. Any thread.
utf8_character utf8_first_character(std::string_view text);

// `text` with every byte that is not part of valid UTF-8 replaced by U+FFFD.
std::string utf8_replace_invalid(std::string_view text);

// `text` in percent escapes: letters, digits and "-._~/" stay, every other byte
// becomes "%NN" (RFC 3986). From this the bytes can be had back.
std::string utf8_percent_escape(std::string_view text);

#endif
