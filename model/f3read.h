// SPDX-License-Identifier: GPL-3.0-or-later
/* The read phase: reads every test file back, puts each sector into one of four classes,
 * and publishes the results.
 *
 * The verdict depends on the sector counts alone; missing files and input/output errors
 * are reported beside it. All functions but the classification run on the test's
 * thread. */
#ifndef TROVIK_MODEL_F3READ_H
#define TROVIK_MODEL_F3READ_H

#include <stddef.h>
#include <stdint.h>
#include <sys/time.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The state of a sector that was read back. */
enum sector_class {
    SECTOR_OK,          /* right place, right data */
    SECTOR_CORRUPTED,   /* more words differ than the tolerance allows */
    SECTOR_CHANGED,     /* right place, some words differ, within the tolerance */
    SECTOR_OVERWRITTEN, /* valid data of another place, within the tolerance */
};

/* A sector with more differing words is corrupted, not changed. */
#define SECTOR_TOLERANCE 2

/* Classifies the SECTOR_SIZE bytes at `sector` (any alignment), read from the place of
 * the sector with `expected_offset`. Any thread. */
enum sector_class f3read_classify_sector(const void *sector, uint64_t expected_offset);

/* The same for `count` consecutive sectors, the first with `expected_offset`. Writes
 * `count` classes. */
void f3read_classify_sectors(const void *sectors, size_t count, uint64_t expected_offset,
                             enum sector_class *classes);

/* Reads the test file with index `number` in folder `path`. Sets the four sector
 * counts, `*size` (bytes read) and `*read_all` (nonzero when the end of the file was
 * reached, 0 after an input/output error, which ends the file at the sector that fails),
 * and adds the reading time to `*elapsed`. `progress` nonzero: logs a line of counts, at
 * most one per 200 ms. A file that cannot be opened ends the process. */
void f3read_validate_file(const char *path, int number, uint64_t *ok, uint64_t *corrupted,
                          uint64_t *changed, uint64_t *overwritten, uint64_t *size, int *read_all,
                          struct timeval *elapsed, uint32_t progress);

/* Reads all files of `files` (ascending indexes, then a negative number) and publishes the
 * results. `start_at` is the first index expected. The caller keeps the list. */
void f3read_iterate_files(const char *path, const int *files, int start_at, uint32_t progress);

#ifdef __cplusplus
}
#endif
#endif
