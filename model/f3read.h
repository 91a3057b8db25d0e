/* The read phase: reads every test file back, sorts each sector into one of
 * four classes, and publishes what became of the data.
 *
 * The classes and the verdict rest on sector counts alone; files that are
 * missing or could not be read to their end are reported beside them. All
 * functions but the classification run on the test's thread. */
#ifndef TROVIK_MODEL_F3READ_H
#define TROVIK_MODEL_F3READ_H

#include <stddef.h>
#include <stdint.h>
#include <sys/time.h>

#ifdef __cplusplus
extern "C" {
#endif

/* What became of a sector. */
enum sector_class {
    SECTOR_OK,          /* right place, right data */
    SECTOR_CORRUPTED,   /* more words differ than the tolerance allows */
    SECTOR_CHANGED,     /* right place, some words differ, within the tolerance */
    SECTOR_OVERWRITTEN, /* valid data of another place, within the tolerance */
};

/* Words of a sector that may differ while it still counts as changed and not as
 * corrupted. */
#define SECTOR_TOLERANCE 2

/* Classifies the SECTOR_SIZE bytes at `sector` (any alignment) that were read
 * where the sector keyed to `expected_offset` was written. Any thread. */
enum sector_class f3read_classify_sector(const void *sector, uint64_t expected_offset);

/* The same for `count` sectors in a row, the first one keyed to `expected_offset`:
 * their classes go to `classes`. */
void f3read_classify_sectors(const void *sectors, size_t count, uint64_t expected_offset,
                             enum sector_class *classes);

/* Reads the test file with index `number` in folder `path`. Sets the four sector
 * counts, `*size` (bytes read) and `*read_all` (nonzero when the end of the file
 * was reached, 0 when an input/output error stopped the reading), and adds the
 * reading time to `*elapsed`. `progress` nonzero: a line of counts in the log,
 * at most one per 200 ms. A file that cannot be opened ends the process. */
void f3read_validate_file(const char *path, int number, uint64_t *ok, uint64_t *corrupted,
                          uint64_t *changed, uint64_t *overwritten, uint64_t *size, int *read_all,
                          struct timeval *elapsed, uint32_t progress);

/* Reads all files of the list `files` (ascending indexes ended by a negative
 * number; `start_at` is the first one expected) and publishes the results. The
 * caller keeps the list. */
void f3read_iterate_files(const char *path, const int *files, int start_at, uint32_t progress);

#ifdef __cplusplus
}
#endif
#endif
