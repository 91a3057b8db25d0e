// SPDX-License-Identifier: GPL-3.0-or-later
// Compares sectors made with SIMD with the generator.
#ifndef TROVIK_TESTS_MODEL_GENERATOR_COMPARISON_H
#define TROVIK_TESTS_MODEL_GENERATOR_COMPARISON_H

#include <gtest/gtest.h>

#include <array>
#include <random>

#include "model/sector_lanes.h"
#include "model/test_sector.h"

namespace model_tests {

using sector = std::array<uint64_t, SECTOR_WORDS>;

// The sector by the generator, step by step.
inline sector step_by_step(uint64_t offset) {
    sector words{};
    struct rng_state state;
    words[0] = offset;
    rng_seed(offset, &state);
    for (size_t word = 1; word < words.size(); ++word)
        rng_next(&state, &words[word]);
    return words;
}

// A random multiple of the sector's size, often close to the wrap of the seed.
inline uint64_t random_offset(std::mt19937_64 &random) {
    const uint64_t offset = random() & ~uint64_t{SECTOR_SIZE - 1};
    if (random() % 8 != 0)
        return offset;
    return (offset & ~uint64_t{0xFFFFFFFF}) + 0x100000000 - SECTOR_SIZE * (random() % 8);
}

// Fills runs of sectors at random offsets with every width that this processor supports, and
// compares each with the generator.
inline void compare_all_forms_with_generator(uint64_t sectors, uint64_t seed) {
    constexpr size_t longest_run = 26;  // groups, and single sectors before and behind
    std::mt19937_64 random(seed);
    std::array<sector, longest_run> expected{};
    std::array<sector, longest_run> filled{};
    for (uint64_t done = 0; done < sectors;) {
        const size_t count = 1 + random() % longest_run;
        const uint64_t offset = random_offset(random);
        for (size_t i = 0; i < count; ++i)
            expected[i] = step_by_step(offset + i * SECTOR_SIZE);
        char *const bytes = reinterpret_cast<char *>(filled.data());
        for (size_t i = 0; const sector_lanes_functions *form = sector_lanes_usable(i); ++i) {
            filled = {};
            ASSERT_EQ(form->fill(bytes, count, offset), offset + count * SECTOR_SIZE);
            for (size_t at = 0; at < count; ++at)
                ASSERT_EQ(filled[at], expected[at])
                    << form->name << ", sector " << at << " from " << offset << ", seed " << seed;
            ASSERT_EQ(form->intact(bytes, count, offset), count)
                << form->name << ", from " << offset << ", seed " << seed;
        }
        done += count;
    }
}

}  // namespace model_tests

#endif
