/* The words of a sector's body, each computed on its own.
 *
 * The generator is a linear congruence, so its k-th state is an affine function
 * of the first one: state k = (multiplier^k * start + constant k) mod 2^48. With
 * the powers and constants worked out at compile time, the words of a sector do
 * not wait for one another. */
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

/* The state that the low 32 bits of an offset seed. */
constexpr uint64_t seeded_state(uint64_t offset) {
    return ((offset & 0xFFFFFFFF) << 16) | low_seed;
}

/* Body word `position` (0 to 62) of the sector seeded with `state`. */
constexpr uint64_t body_word(uint64_t state, int position) {
    const step &to = body_steps[static_cast<size_t>(position)];
    return ((to.multiplier * state + to.addend) & modulus_mask) >> result_shift;
}

}  // namespace sector_pattern

#endif
