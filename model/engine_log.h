/* The engine's message log: the one way by which the engine's user lines reach
 * a shell (the command line, the window).
 *
 * Guarantees: the oldest text is kept, no text is handed out twice, none is
 * handed out torn between two drains. Not guaranteed: that everything fits.
 * Text beyond ENGINE_LOG_SIZE pending bytes is dropped without a word, which
 * bounds the engine's memory whatever a shell does.
 *
 * One thread appends at a time (the test's), one thread drains at a time (the
 * shell's); the two need no lock. */
#ifndef TROVIK_MODEL_ENGINE_LOG_H
#define TROVIK_MODEL_ENGINE_LOG_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Bytes that the log and its drained copy can hold. */
#define ENGINE_LOG_SIZE 8192

/* Drained text with its length: at most ENGINE_LOG_SIZE bytes, no terminator
 * promised. Valid until the next drain. */
struct engine_log_view {
    const char *text;
    size_t length;
};

/* Appends NUL-terminated `text`. What does not fit is dropped. When the heap is
 * exhausted the whole text is dropped and "ERR: malloc failed!" goes to
 * standard error. Called on the test's thread. */
void engine_log_append(const char *text);

/* Empties the log and returns its text, filled up with NULs to ENGINE_LOG_SIZE
 * bytes. A full log has no terminator: readers stop after ENGINE_LOG_SIZE
 * bytes. Valid until the next drain; owned by the engine. Called by one shell
 * thread at a time. */
const char *engine_log_take(void);

/* As engine_log_take, with the length found by that rule. */
struct engine_log_view engine_log_take_view(void);

/* Prints `text` on standard output and appends it to the log. */
void engine_print(const char *text);

#ifdef __cplusplus
}
#endif
#endif
