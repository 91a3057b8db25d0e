// SPDX-License-Identifier: GPL-3.0-or-later
/* Sets of bad sectors. */
#include "tools/cardsim/sector_ranges.h"

#include <gtest/gtest.h>

#include <limits>

using cardsim::sector_ranges;

TEST(sector_ranges, empty_set_overlaps_nothing) {
    const sector_ranges ranges;
    EXPECT_TRUE(ranges.empty());
    EXPECT_FALSE(ranges.overlap(0, std::numeric_limits<uint64_t>::max()));
}

TEST(sector_ranges, range_includes_both_ends) {
    sector_ranges ranges;
    ranges.add(10, 20);
    EXPECT_FALSE(ranges.overlap(0, 10));
    EXPECT_TRUE(ranges.overlap(0, 11));
    EXPECT_TRUE(ranges.overlap(20, 1));
    EXPECT_FALSE(ranges.overlap(21, 100));
    EXPECT_FALSE(ranges.overlap(15, 0));
}

TEST(sector_ranges, accepts_overlapping_ranges_in_any_order) {
    sector_ranges ranges;
    ranges.add(50, 60);
    ranges.add(10, 20);
    ranges.add(15, 30);
    ranges.add(31, 31);
    EXPECT_TRUE(ranges.overlap(31, 1));
    EXPECT_TRUE(ranges.overlap(25, 1));
    EXPECT_FALSE(ranges.overlap(32, 18));
    EXPECT_TRUE(ranges.overlap(32, 19));
}

TEST(sector_ranges, largest_number_does_not_wrap) {
    constexpr uint64_t last = std::numeric_limits<uint64_t>::max();
    sector_ranges ranges;
    ranges.add(5, last);
    ranges.add(last, last);
    EXPECT_TRUE(ranges.overlap(last, 1));
    EXPECT_FALSE(ranges.overlap(0, 5));
}
