// UTF-8 as documents need it: valid, and without loss where the bytes matter. A
// volume's name is whatever bytes somebody wrote on it. What is valid is the
// engine's to say: model/plain_text.h.
#ifndef TROVIK_REPORT_UTF8_H
#define TROVIK_REPORT_UTF8_H

#include <string>
#include <string_view>

// `text` with every byte that is not part of valid UTF-8 replaced by U+FFFD.
std::string utf8_replace_invalid(std::string_view text);

// `text` in percent escapes: letters, digits and "-._~/" stay, every other byte
// becomes "%NN" (RFC 3986). From this the bytes can be had back.
std::string utf8_percent_escape(std::string_view text);

#endif
