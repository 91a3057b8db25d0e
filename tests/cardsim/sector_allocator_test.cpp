// SPDX-License-Identifier: GPL-3.0-or-later
/* Free sectors. */
#include "tools/cardsim/sector_allocator.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

using cardsim::sector_allocator;
using cardsim::sector_run;

TEST(sector_allocator, allocates_fresh_card_in_order) {
    sector_allocator space(100);
    EXPECT_EQ(space.take(2).first, 0U);
    EXPECT_EQ(space.take(3).first, 2U);
    EXPECT_EQ(space.take(1).first, 5U);
    EXPECT_EQ(space.taken(), 6U);
}

TEST(sector_allocator, allocates_short_run_at_end_then_none) {
    sector_allocator space(10);
    space.take(8);
    EXPECT_EQ(space.take(5).count, 2U);
    EXPECT_EQ(space.take(5).count, 0U);
    EXPECT_EQ(space.taken(), 10U);
}

TEST(sector_allocator, card_without_sectors_is_full) {
    sector_allocator space(0);
    EXPECT_EQ(space.take(1).count, 0U);
}

TEST(sector_allocator, reuses_freed_sectors_lowest_first) {
    sector_allocator space(100);
    space.take(50);
    space.give_back({30, 2});
    space.give_back({10, 1});
    EXPECT_EQ(space.take(5).first, 10U);
    const sector_run second = space.take(5);
    EXPECT_EQ(second.first, 30U);
    EXPECT_EQ(second.count, 2U);
    EXPECT_EQ(space.take(5).first, 50U);
}

TEST(sector_allocator, merges_neighbours_in_any_order) {
    sector_allocator space(30);
    space.take(30);
    space.give_back({10, 5});
    space.give_back({20, 5});
    space.give_back({15, 5});
    const sector_run merged = space.take(30);
    EXPECT_EQ(merged.first, 10U);
    EXPECT_EQ(merged.count, 15U);
}

TEST(sector_allocator, agrees_with_plain_set_in_long_random_run) {
    constexpr uint64_t sectors = 300;
    sector_allocator space(sectors);
    std::set<uint64_t> free;
    std::set<uint64_t> used;
    for (uint64_t s = 0; s < sectors; ++s) {
        free.insert(s);
    }
    std::mt19937 chance(7);  // NOLINT(cert-msc32-c,cert-msc51-cpp): repeatable
    for (int step = 0; step < 20000; ++step) {
        if (chance() % 2 == 0) {
            const sector_run run = space.take(chance() % 9 + 1);
            ASSERT_EQ(run.count == 0, free.empty());
            for (uint64_t s = run.first; s < run.first + run.count; ++s) {
                ASSERT_EQ(*free.begin(), s);
                free.erase(s);
                used.insert(s);
            }
        } else if (!used.empty()) {
            const auto at = used.lower_bound(chance() % sectors);
            const uint64_t sector = at == used.end() ? *used.begin() : *at;
            space.give_back({sector, 1});
            used.erase(sector);
            free.insert(sector);
        }
        ASSERT_EQ(space.taken(), used.size());
    }
}
