// SPDX-License-Identifier: GPL-3.0-or-later
/* The write phase: removes old test files, fills the volume with new ones, and measures
 * the write speed.
 *
 * Speed is measured in periods: write some blocks, flush to the medium, read the clock. The
 * number of blocks adapts until a period takes one second. Lack of space ends the phase
 * normally; any other failure of the file system ends the process, because a tester must
 * not guess.
 *
 * All functions run on the test's thread. */
#ifndef TROVIK_MODEL_F3WRITE_H
#define TROVIK_MODEL_F3WRITE_H

#include <stdint.h>
#include <sys/time.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Values of write_flow.state. */
enum write_flow_state { INC = 0, DEC = 1, SEARCH = 2, STEADY = 3 };

/* The measurement of one write phase, across all its test files. */
struct write_flow {
    uint64_t space_total;      /* bytes expected in the whole phase */
    uint64_t bytes_written;    /* bytes written so far */
    int32_t show_progress;     /* nonzero: publish and log after each period */
    int32_t block_size;        /* bytes per write call */
    int32_t bpd_step;          /* change of bpd while growing or shrinking */
    int32_t bpd;               /* blocks per period */
    int32_t period_ms;         /* target length of a period, milliseconds */
    uint64_t periods_measured; /* periods that count for the average */
    uint64_t blocks_measured;  /* blocks written in those periods */
    int32_t state;             /* enum write_flow_state */
    int32_t erase;             /* characters of the last progress line */
    int32_t period_blocks;     /* blocks since the period started */
    int32_t bpd1;              /* lower bound of the search */
    int32_t bpd2;              /* upper bound of the search */
    struct timeval t1;         /* start of the current period */
    struct timeval t2;         /* end of the period just measured */
};

/* Opens a period: zeroes its blocks, reads the clock. */
void start_measurement(struct write_flow *fw);

/* Closes a period of fw->bpd blocks written to `fd`: flushes, reads the clock,
 * adapts bpd, counts the period if it qualifies, publishes and logs progress. */
void measure(struct write_flow *fw, int fd);

/* Ends a file: flushes and releases it. The unfinished period is not timed. */
void end_measurement(struct write_flow *fw, int fd);

/* Bisects between two block counts, 0 < bpd1 <= bpd2, or settles on their
 * middle when they are at most 3 apart. */
void move_to_search(struct write_flow *fw, int bpd1, int bpd2);

/* Removes every test file of folder `path` with an index of at least
 * `start_at`. A file that cannot be removed ends the process. */
void f3write_unlink_old_files(const char *path, int start_at);

/* Writes test files from index `start_at` on until the volume is full. Returns the average
 * write speed, scaled to its unit (the previous phase's if no period counted), or 1.0 if
 * there was no free space. */
double f3write_fill_fs(const char *path, int start_at, int show_progress);

/* Bytes per write call: the default, which all compared speeds refer to, and the maximum. */
#define F3WRITE_BLOCK_SIZE 1024
#define F3WRITE_BLOCK_SIZE_MAX 16777216

/* The same with `block_size` bytes per write call, a power of two from F3WRITE_BLOCK_SIZE
 * to F3WRITE_BLOCK_SIZE_MAX. Large writes are usually faster. A short write of a larger
 * block is continued until there is no space left; the last file is then cut back to whole
 * sectors. */
double f3write_fill_fs_in_blocks(const char *path, int start_at, int show_progress,
                                 int32_t block_size);

/* Writes the test file with this index, `size` bytes (a multiple of fw->block_size, not
 * 0). Removes an existing file and creates a new one, with its own owner and mode. A
 * read-only folder, a symlink, a FIFO or anything else that is not a regular file with one
 * link ends the process. Returns 1 when all was written, 0 when the volume was full. */
int create_and_fill_file(const char *path, int index, uint64_t size, struct write_flow *fw);

#ifdef __cplusplus
}
#endif
#endif
