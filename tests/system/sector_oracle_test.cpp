// SPDX-License-Identifier: GPL-3.0-or-later
// The second opinion itself: it would be worth nothing if it agreed by being blind.
#include "sector_oracle.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace system_tests;

TEST(sector_oracle, has_published_words_of_three_sectors) {
    const auto word = [](const std::vector<unsigned char> &sector, size_t number) {
        std::uint64_t value = 0;
        std::memcpy(&value, sector.data() + number * sizeof value, sizeof value);
        return value;
    };
    EXPECT_EQ(word(oracle_sector(0), 1), 0x15DDB16EU);
    EXPECT_EQ(word(oracle_sector(0), 63), 0x11B3A5FAU);
    EXPECT_EQ(word(oracle_sector(512), 2), 0x400732C0U);
    EXPECT_EQ(word(oracle_sector(oracle_file_bytes), 3), 0x2C55E80AU);
    EXPECT_EQ(word(oracle_sector(4 * oracle_file_bytes), 0), 0x100000000U);
    EXPECT_EQ(word(oracle_sector(4 * oracle_file_bytes), 1), 0x15DDB16EU);
}

TEST(sector_oracle, tells_four_classes_apart) {
    std::vector<unsigned char> sector = oracle_sector(4096);
    EXPECT_EQ(oracle_judge(sector.data(), 4096), sector_kind::ok);
    EXPECT_EQ(oracle_judge(sector.data(), 512), sector_kind::overwritten);
    sector[8] ^= 1;
    sector[511] ^= 1;
    EXPECT_EQ(oracle_judge(sector.data(), 4096), sector_kind::changed);
    EXPECT_EQ(oracle_judge(sector.data(), 512), sector_kind::overwritten);
    sector[100] ^= 1;
    EXPECT_EQ(oracle_judge(sector.data(), 4096), sector_kind::corrupted);
    EXPECT_EQ(oracle_judge(sector.data(), 512), sector_kind::corrupted);
}
