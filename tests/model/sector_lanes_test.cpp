// Sectors as wide as the processor works, beside the generator step by step.
#include "model/sector_lanes.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <random>
#include <string>

#include "model/test_sector.h"

namespace {

constexpr size_t sector_size = SECTOR_SIZE;

using sector = std::array<uint64_t, SECTOR_WORDS>;

// What the generator says, one step after the other.
sector step_by_step(uint64_t offset) {
    sector words{};
    struct rng_state state;
    words[0] = offset;
    rng_seed(offset, &state);
    for (size_t word = 1; word < words.size(); ++word)
        rng_next(&state, &words[word]);
    return words;
}

// A random multiple of the sector's size, often close to where the seed wraps.
uint64_t random_offset(std::mt19937_64 &random) {
    const uint64_t offset = random() & ~uint64_t{SECTOR_SIZE - 1};
    if (random() % 8 != 0)
        return offset;
    return (offset & ~uint64_t{0xFFFFFFFF}) + 0x100000000 - SECTOR_SIZE * (random() % 8);
}

// Fills runs of sectors at random places and compares each with the generator.
void compare_with_generator(const sector_lanes_functions &lanes, uint64_t sectors, uint64_t seed) {
    constexpr size_t longest_run = 9;
    std::mt19937_64 random(seed);
    std::array<sector, longest_run> filled{};
    for (uint64_t done = 0; done < sectors;) {
        const size_t count = 1 + random() % longest_run;
        const uint64_t offset = random_offset(random);
        lanes.fill(reinterpret_cast<char *>(filled.data()), count, offset);
        for (size_t i = 0; i < count; ++i, ++done) {
            const uint64_t place = offset + i * SECTOR_SIZE;
            ASSERT_EQ(filled[i], step_by_step(place))
                << lanes.name << ", offset " << place << ", seed " << seed;
            ASSERT_TRUE(
                lanes.body_matches(reinterpret_cast<const char *>(filled[i].data()), place));
        }
    }
}

}  // namespace

TEST(sector_lanes, every_processor_can_run_the_baseline) {
    size_t count = 0;
    while (sector_lanes_usable(count) != nullptr)
        ++count;
    ASSERT_GE(count, 1U);
    EXPECT_STREQ(sector_lanes_usable(count - 1)->name, "baseline");
    EXPECT_EQ(&sector_lanes_best(), sector_lanes_usable(0));
}

TEST(sector_lanes, a_million_random_sectors_are_those_of_the_generator) {
    for (size_t i = 0; sector_lanes_usable(i) != nullptr; ++i)
        compare_with_generator(*sector_lanes_usable(i), 1000000, 20261121 + i);
}

TEST(sector_lanes, nothing_is_written_outside_the_sectors) {
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

TEST(sector_lanes, any_single_flipped_bit_of_a_body_is_a_difference) {
    constexpr uint64_t offset = 0x123456789A00;
    for (size_t i = 0; sector_lanes_usable(i) != nullptr; ++i) {
        const sector_lanes_functions &lanes = *sector_lanes_usable(i);
        std::array<char, SECTOR_SIZE> bytes{};
        lanes.fill(bytes.data(), 1, offset);
        for (size_t bit = 0; bit < sector_size * 8; ++bit) {
            const char flip = static_cast<char>(1U << bit % 8);
            bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ flip);
            // The offset itself is not part of the body.
            EXPECT_EQ(lanes.body_matches(bytes.data(), offset) != 0, bit < 64)
                << lanes.name << ", bit " << bit;
            bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ flip);
        }
    }
}

TEST(sector_lanes, the_buffer_may_lie_anywhere) {
    alignas(64) std::array<char, 3 * sector_size> memory{};
    for (size_t i = 0; sector_lanes_usable(i) != nullptr; ++i) {
        for (size_t shift = 0; shift < 64; ++shift) {
            char *const place = memory.data() + shift;
            sector_lanes_usable(i)->fill(place, 2, 512);
            EXPECT_EQ(std::memcmp(place + SECTOR_SIZE, step_by_step(1024).data(), SECTOR_SIZE), 0);
            EXPECT_TRUE(sector_lanes_usable(i)->body_matches(place + SECTOR_SIZE, 1024));
        }
    }
}
