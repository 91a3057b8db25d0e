// SPDX-License-Identifier: GPL-3.0-or-later
/* The two ways in which the engine ends the process: a broken invariant, and a failure of
 * the file system other than lack of space.
 *
 * Both work in every build type. A broken invariant prints condition, function and source
 * module and aborts. A failure prints the program's name, the message and the system's text
 * for the error, and exits with the error number. */
#ifndef TROVIK_MODEL_FATAL_H
#define TROVIK_MODEL_FATAL_H

#ifdef __cplusplus
#define ENGINE_NORETURN [[noreturn]]
extern "C" {
#else
#define ENGINE_NORETURN _Noreturn
#endif

/* Receives the full message (one line, no line break) and the exit status, or -1 before an
 * abort. Runs on the thread that failed, before the message goes to standard error. It can
 * show and save things but not prevent the end. If it fails itself, it is not called
 * again. */
typedef void (*engine_fatal_handler)(const char *message, int exit_status);

/* Registers the host's handler; null removes it. */
void engine_set_fatal_handler(engine_fatal_handler handler);

/* Ends the process because `condition` does not hold. */
ENGINE_NORETURN void engine_assertion_failed(const char *condition, const char *function,
                                             const char *module);

/* Ends the process with exit status `error` (an error number) and the message
 * "<what> <path>: <the system's text>". A path that is too long ends in "...". */
ENGINE_NORETURN void engine_fatal_exit(int error, const char *what, const char *path);

/* Ends the process unless `holds`, naming `function`: for helpers that check a condition on
 * behalf of another function. */
#define ENGINE_REQUIRE_IN(function, holds, condition, module)           \
    do {                                                                \
        if (!(holds))                                                   \
            engine_assertion_failed((condition), (function), (module)); \
    } while (0)

/* Ends the process unless `holds`; `condition` is the text that is printed. */
#define ENGINE_REQUIRE_AS(holds, condition, module) \
    ENGINE_REQUIRE_IN(__func__, holds, condition, module)

/* The same with the condition's own source text. */
#define ENGINE_REQUIRE(holds, module) ENGINE_REQUIRE_AS(holds, #holds, module)

#ifdef __cplusplus
}
#endif
#endif
