// SPDX-License-Identifier: GPL-3.0-or-later
/* The engine's message log: carries the engine's user lines to a shell (the command line,
 * the window).
 *
 * The oldest text is kept. No text is returned twice, and no append is split between two
 * drains unless the log was full. Text beyond ENGINE_LOG_SIZE pending bytes is dropped
 * silently, which bounds the engine's memory.
 *
 * One thread appends at a time (the test's), one thread drains at a time (the shell's);
 * the two need no lock. */
#ifndef TROVIK_MODEL_ENGINE_LOG_H
#define TROVIK_MODEL_ENGINE_LOG_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Bytes that the log and its drained copy can hold. */
#define ENGINE_LOG_SIZE 8192

/* Drained text with its length, at most ENGINE_LOG_SIZE bytes; it may lack a terminator.
 * Valid until the next drain. */
struct engine_log_view {
    const char *text;
    size_t length;
};

/* Appends NUL-terminated `text`; drops the part that does not fit. Out of memory, drops all
 * of it and writes "ERR: malloc failed!" to standard error. Called on the test's thread. */
void engine_log_append(const char *text);

/* Empties the log and returns its text, padded with NULs to ENGINE_LOG_SIZE bytes. A full
 * log has no terminator: stop after ENGINE_LOG_SIZE bytes. Owned by the engine, valid until
 * the next drain. Called by one shell thread at a time. */
const char *engine_log_take(void);

/* As engine_log_take, with the text's length. */
struct engine_log_view engine_log_take_view(void);

/* Prints `text` on standard output and appends it to the log. */
void engine_print(const char *text);

#ifdef __cplusplus
}
#endif
#endif
