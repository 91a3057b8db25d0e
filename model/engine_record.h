// SPDX-License-Identifier: GPL-3.0-or-later
/* The writers' side of engine_results.h, for the engine's own phases. Called on
 * the test's thread only. */
#ifndef TROVIK_MODEL_ENGINE_RECORD_H
#define TROVIK_MODEL_ENGINE_RECORD_H

#include <stdint.h>

#include "model/engine_results.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Enters a phase. Returns the previous one, to be restored by nested phases. */
enum engine_phase record_phase(enum engine_phase phase);

/* Write part, in the order of a write phase. */
void record_write_start(uint64_t free_bytes, int32_t first_index);
void record_block_size(int32_t bytes);
void record_write_file(int32_t index);
void record_bytes_written(uint64_t bytes);
void record_write_error(int32_t error);
void record_write_end(enum engine_write_end end);
void record_write_average(double bytes_per_s);
void record_free_at_end(uint64_t bytes, int32_t known);

/* Listing part: 0 when a listing starts or was complete. */
void record_listing_error(int32_t error);

/* Read part, in the order of a read phase. */
void record_read_start(void);
void record_reading_file(int32_t index);
void record_bytes_read(uint64_t bytes);
void record_missing(int32_t first_index, int32_t last_index);
void record_file(const struct engine_file_result *file);
void record_read_end(int32_t counts_agree, double reading_s, double bytes_per_s);

#ifdef __cplusplus
}
#endif
#endif
