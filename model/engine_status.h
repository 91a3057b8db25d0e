// SPDX-License-Identifier: GPL-3.0-or-later
/* The values by which a shell follows a running test: speeds, progress,
 * verdict, result texts, free space.
 *
 * Every value is a plain load or store (relaxed atomics; texts and units are
 * published by a release store and read by an acquire load), so a poller may
 * see one value from one moment and another from the next, but never a torn
 * one. Nothing is ever reset: the values of a test stay until the next test's
 * phases overwrite them. All functions may be called from any thread. */
#ifndef TROVIK_MODEL_ENGINE_STATUS_H
#define TROVIK_MODEL_ENGINE_STATUS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Bytes of one full test file (1 GiB), and the step of the sector pattern from
 * one test file to the next. */
extern const uint64_t test_file_size;

/* Scales a byte count or rate in place by powers of 1024 and returns the unit's name:
 * "Byte", "KB", "MB", "GB", "TB", "PB" or "EB". Leaves negative values and NaN unchanged,
 * in "Byte". */
const char *scale_to_unit(double *value);

/* Free bytes of the file system that holds `path`, blocks reserved for the super-user
 * included: the test can fill them. Returns 1 with the bytes in `*bytes`, or 0 with 0
 * bytes when the file system does not answer. */
int free_space_query(const char *path, uint64_t *bytes);

/* The same for the engine's volume path; 0 without a path or an answer. */
uint64_t engine_free_space(void);

/* The volume for engine_free_space. The engine keeps the pointer: the caller keeps the text
 * alive. */
void set_engine_volume_path(const char *path);
const char *get_engine_volume_path(void);

/* Current write speed in get_write_speed_unit() per second; after the write phase its
 * average, if there is one. 0 and "" before the first measurement. */
double get_write_speed(void);
const char *get_write_speed_unit(void);

/* Share of the write phase that is done, 0 to 100. */
double get_write_progress(void);

/* Average read speed of the last read phase, in get_read_speed_unit() per
 * second; 0 and "" before the first one ends. */
double get_read_speed(void);
const char *get_read_speed_unit(void);

/* 1 if the counts add up and every sector that was read is intact, else 0. Does not cover
 * data that could not be read: see engine_results.h. */
uint32_t get_volume_intact(void);

/* Results of the last read phase as "1.500000 GB"; empty before the first. */
const char *get_data_ok_text(void);
const char *get_data_lost_text(void);
const char *get_data_corrupted_text(void);
const char *get_data_changed_text(void);
const char *get_data_overwritten_text(void);

#ifdef __cplusplus
}
#endif
#endif
