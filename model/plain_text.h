/* Text that a terminal may be shown. Paths and names can hold line breaks, escape
 * sequences and bytes of no encoding; shown as they are they could forge lines of a
 * report or reprogram the terminal. */
#ifndef TROVIK_MODEL_PLAIN_TEXT_H
#define TROVIK_MODEL_PLAIN_TEXT_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* How many bytes the character at the start of the `left` bytes of `text` has, its code in
 * `*code`. 0, and anything in `*code`: nothing stands there, or it is not UTF-8. Overlong
 * forms, surrogates, codes above U+10FFFF and cut sequences are not. Any thread. */
size_t plain_text_first_character(const char *text, size_t left, uint32_t *code);

/* Nonzero for the code of a control character (C0 with tab and line break, DEL, C1), of a line
 * or paragraph separator, and of a mark that turns the direction of the text around it. */
int plain_text_is_control(uint32_t code);

/* Room for a text of `length` bytes, whatever is in it, once it is escaped. */
#define PLAIN_TEXT_ROOM(length) (4 * (length))

/* Writes the `length` bytes of `text` to `out`, with the bytes of those and bytes that are
 * not UTF-8 as "\xNN". All other characters stay. Returns how many bytes were written; no
 * terminator is. `out` has PLAIN_TEXT_ROOM(length) bytes. Allocates nothing. Any thread. */
size_t plain_text_escape(const char *text, size_t length, char *out);

#ifdef __cplusplus
}
#endif
#endif
