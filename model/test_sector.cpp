// SPDX-License-Identifier: GPL-3.0-or-later
/* The generator step by step, and buffers of sectors by closed forms of the same sequence. */
#include "model/test_sector.h"

#include <bit>
#include <cstring>

#include "model/fatal.h"
#include "model/sector_lanes.h"
#include "model/sector_pattern.h"

static_assert(std::endian::native == std::endian::little,
              "sectors are little-endian and stored in the machine's byte order");

static void set_constants(struct rng_state *state) {
    state->a = sector_pattern::multiplier;
    state->c = static_cast<uint16_t>(sector_pattern::addend);
    state->init = 1;
}

int rng_seed(uint64_t seed, struct rng_state *state) {
    state->x[0] = static_cast<uint16_t>(sector_pattern::low_seed);
    state->x[1] = static_cast<uint16_t>(seed);
    state->x[2] = static_cast<uint16_t>(seed >> 16);
    set_constants(state);
    return 0;
}

int rng_next(struct rng_state *state, uint64_t *slot) {
    if (state->init == 0)
        set_constants(state);
    const uint64_t now = (static_cast<uint64_t>(state->x[2]) << 32) |
                         (static_cast<uint64_t>(state->x[1]) << 16) | state->x[0];
    const uint64_t next = (state->a * now + state->c) & sector_pattern::modulus_mask;
    state->x[0] = static_cast<uint16_t>(next);
    state->x[1] = static_cast<uint16_t>(next >> 16);
    state->x[2] = static_cast<uint16_t>(next >> 32);
    *slot = (next >> sector_pattern::result_shift) & 0x7FFFFFFF;
    return 0;
}

/* Offsets that are no multiple of SECTOR_SIZE; no test file has any. */
static uint64_t fill_unaligned(char *sector, size_t count, uint64_t offset) {
    for (; count > 0; --count, sector += SECTOR_SIZE, offset += SECTOR_SIZE) {
        const uint64_t state = sector_pattern::seeded_state(offset);
        uint64_t words[SECTOR_WORDS];
        words[0] = offset;
        for (int i = 0; i < sector_pattern::body_words; ++i)
            words[i + 1] = sector_pattern::body_word(state, i);
        std::memcpy(sector, words, SECTOR_SIZE);
    }
    return offset;
}

uint64_t fill_buffer(void *buffer, size_t size, uint64_t offset) {
    ENGINE_REQUIRE(size > 0, "model/test_sector");
    ENGINE_REQUIRE(size % SECTOR_SIZE == 0, "model/test_sector");
    char *const sectors = static_cast<char *>(buffer);
    if (offset % SECTOR_SIZE != 0)
        return fill_unaligned(sectors, size / SECTOR_SIZE, offset);
    return sector_lanes_best().fill(sectors, size / SECTOR_SIZE, offset);
}
