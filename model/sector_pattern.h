// SPDX-License-Identifier: GPL-3.0-or-later
/* The words of a sector's body, computed independently of one another.
 *
 * The generator is a linear congruence, so its k-th state is an affine function of the
 * first: state k = (multiplier^k * start + constant k) mod 2^48. Powers and constants are
 * computed at compile time, so no word depends on the one before it. */
#ifndef TROVIK_MODEL_SECTOR_PATTERN_H
#define TROVIK_MODEL_SECTOR_PATTERN_H

#include <array>
#include <cstdint>

#include "model/test_sector.h"

namespace sector_pattern {

constexpr uint64_t multiplier = 0x5DEECE66D; /* of the POSIX 48-bit generator */
constexpr uint64_t addend = 0xB;             /* likewise */
constexpr uint64_t modulus_mask = (UINT64_C(1) << 48) - 1;
constexpr uint64_t low_seed = 0x330E; /* low 16 bits of every seeded state */
constexpr int result_shift = 17;      /* a result is the top 31 bits of a state */
constexpr int body_words = SECTOR_WORDS - 1;

struct step {
    uint64_t multiplier;
    uint64_t addend;
};

/* The steps from the seeded state straight to the states 1 to 63. */
consteval std::array<step, body_words> steps() {
    std::array<step, body_words> result{};
    step now{1, 0};
    for (step &each : result) {
        now.addend = (now.addend * multiplier + addend) & modulus_mask;
        now.multiplier = (now.multiplier * multiplier) & modulus_mask;
        each = now;
    }
    return result;
}

inline constexpr std::array<step, body_words> body_steps = steps();

/* The state seeded with the low 32 bits of an offset. */
constexpr uint64_t seeded_state(uint64_t offset) {
    return ((offset & 0xFFFFFFFF) << 16) | low_seed;
}

/* Body word `position` (0 to 62) of the sector seeded with `state`. */
constexpr uint64_t body_word(uint64_t state, int position) {
    const step &to = body_steps[static_cast<size_t>(position)];
    return ((to.multiplier * state + to.addend) & modulus_mask) >> result_shift;
}

/* The same words for offsets that are a multiple of the sector's size, as in all test
 * files. From one sector to the next the seeded state grows by 512 * 2^16 = 2^25. The low
 * bits that a result drops never change, and nothing carries out of them, so word k of
 * sector n is (first k + n * step k) mod 2^31, in 32-bit arithmetic. The tables hold whole
 * sectors as 32-bit lanes, the low half of each 64-bit word first; the lanes of the offset
 * and all high halves are zero. */
constexpr int sector_lanes = SECTOR_SIZE / 4;
constexpr uint32_t result_mask = 0x7FFFFFFF;

struct lane_tables {
    alignas(64) std::array<uint32_t, sector_lanes> first; /* of the sector at offset 0 */
    alignas(64) std::array<uint32_t, sector_lanes> step;  /* from one sector to the next */
};

consteval lane_tables make_lanes() {
    lane_tables lanes{};
    for (size_t word = 1; word < SECTOR_WORDS; ++word) {
        const int position = static_cast<int>(word) - 1;
        const uint64_t zeroth = body_word(seeded_state(0), position);
        const uint64_t next = body_word(seeded_state(SECTOR_SIZE), position);
        lanes.first[2 * word] = static_cast<uint32_t>(zeroth);
        lanes.step[2 * word] = static_cast<uint32_t>(next - zeroth) & result_mask;
    }
    return lanes;
}

inline constexpr lane_tables lanes = make_lanes();

/* Number of the sector in the sequence of bodies, which repeats after 2^32 bytes. */
constexpr uint32_t sector_number(uint64_t offset) {
    return static_cast<uint32_t>(offset) / SECTOR_SIZE;
}

}  // namespace sector_pattern

#endif
