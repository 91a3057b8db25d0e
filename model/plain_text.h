// SPDX-License-Identifier: GPL-3.0-or-later
/* Text that is safe on a terminal. Paths can contain line breaks, escape sequences and
 * bytes that are not UTF-8; unescaped, they could forge lines of a report or reprogram the
 * terminal. */
#ifndef TROVIK_MODEL_PLAIN_TEXT_H
#define TROVIK_MODEL_PLAIN_TEXT_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Decodes the first UTF-8 character of the `left` bytes of `text`. Returns its length in
 * bytes, with the code point in `*code`. Returns 0 for an empty or invalid text, with
 * `*code` unspecified: overlong forms, surrogates, code points above U+10FFFF and truncated
 * sequences are invalid. Any thread. */
size_t plain_text_first_character(const char *text, size_t left, uint32_t *code);

/* Nonzero for control characters (C0 with tab and line break, DEL, C1), line and paragraph
 * separators, and bidirectional controls. */
int plain_text_is_control(uint32_t code);

/* The most bytes that a text of `length` bytes takes when escaped. */
#define PLAIN_TEXT_ROOM(length) (4 * (length))

/* Copies the `length` bytes of `text` to `out`, which has PLAIN_TEXT_ROOM(length) bytes.
 * The characters above and bytes that are not UTF-8 become "\xNN" per byte. Returns the
 * bytes written; writes no terminator. Allocates nothing. Any thread. */
size_t plain_text_escape(const char *text, size_t length, char *out);

#ifdef __cplusplus
}
#endif
#endif
