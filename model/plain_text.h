/* Paths on the process's standard streams, which may be a terminal. */
#ifndef TROVIK_MODEL_PLAIN_TEXT_H
#define TROVIK_MODEL_PLAIN_TEXT_H

#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Prints the text on one line, whatever is in it: control characters, which could
 * reprogram a terminal or pass for lines of their own, as "\xNN". */
void plain_text_print(FILE *stream, const char *text);

#ifdef __cplusplus
}
#endif
#endif
