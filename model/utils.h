/* Names of test files: how an index becomes a path, which entries of a folder
 * are test files, and which of them are there.
 *
 * An index counts from 0, the number in a file's name from 1 (index 0 is
 * 1.fff). Entries are recognised by name alone; what an entry is (file, folder,
 * link) is not looked at here. Numbers wrap silently at 32 bits. No shared
 * state: callable from any thread. */
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

/* Indexes of the test files in folder `path` that are at least `start_at`, in
 * ascending order, ended by -1. One allocation, which the caller frees. A folder
 * that cannot be opened ends the process. */
int *ls_my_files(const char *path, int start_at);

/* The worker of ls_my_files: reads `dir` to its end, closes it, and returns the
 * indexes in the folder's order, ended by -1. `*count` grows by the number of
 * indexes; `*my_index` receives the position below the first one, -1. */
int *__ls_my_files(DIR *dir, int start_at, int *count, int *my_index);

/* The index that an argument "--start-at=N" asks for (N - 1), or -1 when it has
 * another beginning, or N is 0, negative or too large to be read. */
int parse_start_at(const char *argument);

#ifdef __cplusplus
}
#endif
#endif
