// SPDX-License-Identifier: GPL-3.0-or-later
/* Names of test files: makes the path of an index, recognises test files by their names,
 * lists them.
 *
 * An index counts from 0, the number in a file's name from 1 (index 0 is 1.fff). The type
 * of an entry (file, folder, symlink) does not matter here. Numbers wrap silently at 32
 * bits. No shared state: callable from any thread. */
#ifndef TROVIK_MODEL_UTILS_H
#define TROVIK_MODEL_UTILS_H

#include <dirent.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The engine's own limit for a full path, terminator included. */
#define ENGINE_PATH_MAX 1024

/* The number of the file with this index, and the index behind it: index + 1. */
int number_of_index(int index);
int next_index(int index);

/* Writes "path/<num + 1>.fff" into `full_fn` (ENGINE_PATH_MAX bytes) and points
 * `*filename` at the name behind the slash. A longer path ends the process. */
void full_fn_from_number(char *full_fn, const char **filename, const char *path, int num);

/* 1 when `filename` is one or more digits followed by exactly ".fff", else 0
 * (also for a null pointer). */
int is_my_file(const char *filename);

/* The number in a test file's name. Any other name ends the process. */
int number_from_filename(const char *filename);

/* Lists the test files in folder `path` with an index of at least `start_at`: ascending
 * indexes, then -1. One allocation, which the caller frees. A folder that cannot be opened
 * ends the process. */
int *ls_my_files(const char *path, int start_at);

/* The worker of ls_my_files: reads `dir` to its end, closes it, and returns the indexes in
 * directory order, then -1. Adds the number of indexes to `*count`; sets `*my_index` to -1,
 * the position before the first. */
int *__ls_my_files(DIR *dir, int start_at, int *count, int *my_index);

/* Parses "--start-at=N" and returns the index N - 1. Returns -1 for any other text, and if
 * N is 0, negative or too large. */
int parse_start_at(const char *argument);

#ifdef __cplusplus
}
#endif
#endif
