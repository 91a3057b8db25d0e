// SPDX-License-Identifier: GPL-3.0-or-later
/* Results beyond the status values: the running phase, and the outcome of each file. The
 * engine records them while it works, so no shell has to read the volume again.
 *
 * Written by the test's thread with plain stores, readable from any thread at any time: a
 * record is complete once it is counted. The write part is reset when a write phase starts,
 * the listing part when a listing starts, the read part when a read phase starts. */
#ifndef TROVIK_MODEL_ENGINE_RESULTS_H
#define TROVIK_MODEL_ENGINE_RESULTS_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum engine_phase {
    ENGINE_PHASE_IDLE,     /* nothing has run yet, or between phases */
    ENGINE_PHASE_REMOVING, /* test files are being removed */
    ENGINE_PHASE_WRITING,
    ENGINE_PHASE_LISTING,
    ENGINE_PHASE_READING,
};

/* Why a write phase ended. */
enum engine_write_end {
    ENGINE_WRITE_NOT_ENDED,     /* still running, never started, or the process ended in it */
    ENGINE_WRITE_NO_FREE_SPACE, /* the volume reported no free space at the start */
    ENGINE_WRITE_FULL_AT_FILE,  /* a new test file could not be created: no space left */
    ENGINE_WRITE_FULL_IN_FILE,  /* a write was refused: no space left */
};

/* The most files, and the most gaps, that are recorded one by one: test files for 32 TiB.
 * Later ones only count in the totals. */
#define ENGINE_RESULTS_FILES_MAX 32768

struct engine_write_results {
    uint64_t free_at_start;     /* bytes */
    uint64_t free_at_end;       /* bytes; 0 until the phase has ended */
    int32_t free_at_end_known;  /* 1 when the file system answered at the end */
    uint64_t bytes_written;     /* so far */
    int32_t first_index;        /* of the phase's first test file */
    int32_t current_index;      /* of the test file being written, or the last one */
    int32_t block_size;         /* bytes per write call */
    int32_t files_created;      /* so far, empty ones included */
    int32_t write_error;        /* error number of a failed write, else 0 */
    int32_t end;                /* enum engine_write_end */
    int32_t average_known;      /* 1 when a period counted for the average */
    double average_bytes_per_s; /* average write speed, unscaled */
};

struct engine_read_results {
    uint64_t bytes_read;   /* so far, all files */
    int32_t current_index; /* of the test file being read, or the last one */
    uint64_t ok;           /* sectors, all finished files */
    uint64_t corrupted;    /* sectors */
    uint64_t changed;      /* sectors */
    uint64_t overwritten;  /* sectors */
    uint64_t files;        /* files read, to their end or not */
    uint64_t files_cut;    /* of these, stopped by an input/output error */
    uint64_t missing;      /* numbers missing before or between the files */
    int32_t listing_error; /* error number if reading the folder stopped early, else 0 */
    int32_t finished;      /* 1 once the phase has ended and the totals are final */
    int32_t counts_agree;  /* 1 when the sector counts add up to the bytes read */
    double reading_s;      /* seconds spent reading */
    double bytes_per_s;    /* average read speed, unscaled */
};

/* One test file that was read. */
struct engine_file_result {
    int32_t index;
    int32_t read_all;     /* 0: an input/output error stopped the reading at `size` */
    uint64_t size;        /* bytes read */
    uint64_t ok;          /* sectors */
    uint64_t corrupted;   /* sectors */
    uint64_t changed;     /* sectors */
    uint64_t overwritten; /* sectors */
};

/* A range of missing test files. */
struct engine_missing_range {
    int32_t first_index;
    int32_t last_index;
};

enum engine_phase engine_results_phase(void);
void engine_results_write(struct engine_write_results *out);
void engine_results_read(struct engine_read_results *out);

/* Number of recorded files or gaps, and one of them: 1 and the record, or 0 if there is
 * none at that position (yet). */
size_t engine_results_file_count(void);
int engine_results_file(size_t position, struct engine_file_result *out);
size_t engine_results_missing_count(void);
int engine_results_missing(size_t position, struct engine_missing_range *out);

#ifdef __cplusplus
}
#endif
#endif
