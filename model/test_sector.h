// SPDX-License-Identifier: GPL-3.0-or-later
/* The format of a test sector: 512 self-describing bytes.
 *
 * Word 0 (64 bits, little-endian) is the sector's offset: its position if all test files,
 * each test_file_size long, were laid end to end. Words 1 to 63 follow from the offset's
 * low 32 bits alone: the sequence of srand48/lrand48 with that seed, each 31-bit value in a
 * 64-bit word. So every sector can be checked alone, and a misplaced one still shows where
 * it came from. */
#ifndef TROVIK_MODEL_TEST_SECTOR_H
#define TROVIK_MODEL_TEST_SECTOR_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Bytes of a sector, and its 64-bit words. */
#define SECTOR_SIZE 512
#define SECTOR_WORDS (SECTOR_SIZE / 8)

/* State of the generator. Each caller has its own. */
struct rng_state {
    uint16_t x[3];     /* 48-bit state, least significant piece first */
    uint16_t old_x[3]; /* room for a previous state, unused */
    uint16_t c;        /* addend */
    uint16_t init;     /* 1 once multiplier and addend are set */
    uint64_t a;        /* multiplier */
};

/* Seeds the generator with the low 32 bits of `seed`. Returns 0. */
int rng_seed(uint64_t seed, struct rng_state *state);

/* Writes the next 31-bit value as a whole 64-bit word to `*slot`. Returns 0. */
int rng_next(struct rng_state *state, uint64_t *slot);

/* Fills `size` bytes (a whole number of sectors, at least one) with consecutive sectors,
 * the first with `offset`. Returns the offset behind the last. Any other size ends the
 * process. */
uint64_t fill_buffer(void *buffer, size_t size, uint64_t offset);

#ifdef __cplusplus
}
#endif
#endif
