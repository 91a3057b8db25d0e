/* User lines of the engine: formatted into a buffer of 81 bytes, then appended
 * to the message log. */
#ifndef TROVIK_MODEL_LOG_LINE_H
#define TROVIK_MODEL_LOG_LINE_H

/* 80 characters and the terminator: a line of a classic terminal. */
#define LOG_LINE_SIZE 81

#ifdef __cplusplus
extern "C" {
#endif

/* Appends a line; one that is longer than the buffer ends the process. Returns
 * its length in characters. */
__attribute__((format(printf, 1, 2))) int log_line_whole(const char *format, ...);

/* Appends a line; one that is longer than the buffer is cut. */
__attribute__((format(printf, 1, 2))) void log_line_cut(const char *format, ...);

#ifdef __cplusplus
}
#endif
#endif
