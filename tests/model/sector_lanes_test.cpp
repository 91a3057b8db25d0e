// SPDX-License-Identifier: GPL-3.0-or-later
// Sectors made and checked with SIMD, compared with the generator.
#include "model/sector_lanes.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>

#include "generator_comparison.h"
#include "model/test_sector.h"

namespace {

constexpr size_t sector_size = SECTOR_SIZE;

using model_tests::step_by_step;

}  // namespace

TEST(sector_lanes, every_processor_runs_baseline) {
    size_t count = 0;
    while (sector_lanes_usable(count) != nullptr)
        ++count;
    ASSERT_GE(count, 1U);
    EXPECT_STREQ(sector_lanes_usable(count - 1)->name, "baseline");
    EXPECT_EQ(&sector_lanes_best(), sector_lanes_usable(0));
}

TEST(sector_lanes, million_random_sectors_match_generator) {
    model_tests::compare_all_forms_with_generator(1000000, 20261121);
}

TEST(sector_lanes, writes_nothing_outside_sectors) {
    std::array<char, 5 * sector_size> memory{};
    for (size_t i = 0; sector_lanes_usable(i) != nullptr; ++i) {
        for (size_t count = 0; count <= 3; ++count) {
            memory.fill('x');
            sector_lanes_usable(i)->fill(memory.data() + SECTOR_SIZE, count, 0);
            for (size_t at = 0; at < memory.size(); ++at) {
                if (at < SECTOR_SIZE || at >= (1 + count) * sector_size) {
                    ASSERT_EQ(memory[at], 'x') << sector_lanes_usable(i)->name << " at " << at;
                }
            }
        }
    }
}

TEST(sector_lanes, any_flipped_bit_ends_run_of_intact_sectors) {
    // A single sector, two whole groups and the beginning of a third.
    constexpr size_t sectors = 20;
    constexpr uint64_t offset = 0x1234FFFFF000;  // the seed wraps among them
    for (size_t i = 0; sector_lanes_usable(i) != nullptr; ++i) {
        const sector_lanes_functions &lanes = *sector_lanes_usable(i);
        std::array<char, sectors * sector_size> bytes{};
        lanes.fill(bytes.data(), sectors, offset);
        for (size_t bit = 0; bit < bytes.size() * 8; ++bit) {
            const char flip = static_cast<char>(1U << bit % 8);
            bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ flip);
            ASSERT_EQ(lanes.intact(bytes.data(), sectors, offset), bit / 8 / sector_size)
                << lanes.name << ", bit " << bit;
            bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ flip);
        }
    }
}

TEST(sector_lanes, run_of_no_sectors_is_empty) {
    const char nothing = 0;
    for (size_t i = 0; sector_lanes_usable(i) != nullptr; ++i)
        EXPECT_EQ(sector_lanes_usable(i)->intact(&nothing, 0, 0), 0U);
}

TEST(sector_lanes, buffer_may_have_any_alignment) {
    alignas(64) std::array<char, 3 * sector_size> memory{};
    for (size_t i = 0; sector_lanes_usable(i) != nullptr; ++i) {
        for (size_t shift = 0; shift < 64; ++shift) {
            char *const place = memory.data() + shift;
            sector_lanes_usable(i)->fill(place, 2, 512);
            EXPECT_EQ(std::memcmp(place + SECTOR_SIZE, step_by_step(1024).data(), SECTOR_SIZE), 0);
            EXPECT_EQ(sector_lanes_usable(i)->intact(place, 2, 512), 2U);
        }
    }
}
