// SPDX-License-Identifier: GPL-3.0-or-later
// Text from outside (names and paths from a volume, reasons from the system) made fit for
// terminals and documents.
//
// A volume's name or path can hold line breaks, escape sequences and bytes that are not UTF-8.
// Unescaped, they could forge lines of a report or reprogram the terminal. model/plain_text.h
// decides which characters are valid and which are safe, so that the engine's lines and these
// texts agree. All functions: any thread.
#ifndef TROVIK_REPORT_PRINTABLE_H
#define TROVIK_REPORT_PRINTABLE_H

#include <string>
#include <string_view>

// `text` for a terminal, with these bytes as "\xNN": control characters (C0 with tab and line
// break, DEL, C1), line and paragraph separators, marks that change the direction of text, and
// bytes that are not UTF-8. All other characters stay. For a name or a path, not for a whole
// line: the line break at its end would be escaped too.
std::string printable_text(std::string_view text);

// The same for whole lines: line breaks stay.
std::string printable_lines(std::string_view text);

// `text` as valid UTF-8: every byte that is not part of a valid character becomes U+FFFD.
std::string utf8_replace_invalid(std::string_view text);

// `text` in percent escapes (RFC 3986): letters, digits and "-._~/" stay, every other byte
// becomes "%NN". Unlike utf8_replace_invalid this loses nothing.
std::string utf8_percent_escape(std::string_view text);

// The system's text for an error number: "Input/output error" for EIO.
std::string error_text(int error_number);

#endif
