// SPDX-License-Identifier: GPL-3.0-or-later
/* Locking and unplugging, with staged time. */
#include "tools/cardsim/card_life.h"

#include <gtest/gtest.h>

using cardsim::card_life;
using cardsim::life_traits;
using std::chrono::seconds;

namespace {

const card_life::time_point START{seconds(1000)};

}  // namespace

TEST(card_life, sound_card_has_no_end) {
    card_life life({});
    uint64_t accepted = 0;
    EXPECT_EQ(life.write_begin(START, 1024, &accepted), 0);
    EXPECT_EQ(accepted, 1024U);
    life.write_done(accepted);
    EXPECT_EQ(life.read_begin(START, 1 << 30), 0);
    EXPECT_EQ(life.presence(START + seconds(100000)), 0);
    EXPECT_EQ(life.change(START), 0);
}

TEST(card_life, locks_after_exact_number_of_bytes) {
    life_traits traits;
    traits.lock_after = 1500;
    card_life life(traits);
    uint64_t accepted = 0;
    ASSERT_EQ(life.write_begin(START, 1024, &accepted), 0);
    life.write_done(accepted);
    EXPECT_EQ(life.change(START), 0);
    ASSERT_EQ(life.write_begin(START, 1024, &accepted), 0);
    EXPECT_EQ(accepted, 476U);
    life.write_done(accepted);
    EXPECT_EQ(life.write_begin(START, 1024, &accepted), EROFS);
    EXPECT_EQ(life.change(START), EROFS);
    EXPECT_EQ(life.presence(START), 0);
    EXPECT_EQ(life.read_begin(START, 1024), 0);
}

TEST(card_life, card_locked_after_0_bytes_takes_none) {
    life_traits traits;
    traits.lock_after = 0;
    card_life life(traits);
    uint64_t accepted = 0;
    EXPECT_EQ(life.write_begin(START, 1, &accepted), EROFS);
}

TEST(card_life, unplugged_after_writing_fails_every_call) {
    life_traits traits;
    traits.unplug_after_written = 1024;
    card_life life(traits);
    uint64_t accepted = 0;
    ASSERT_EQ(life.write_begin(START, 4096, &accepted), 0);
    EXPECT_EQ(accepted, 1024U);
    EXPECT_EQ(life.presence(START), 0);
    life.write_done(accepted);
    EXPECT_EQ(life.presence(START), ENODEV);
    EXPECT_EQ(life.change(START), ENODEV);
    EXPECT_EQ(life.read_begin(START, 1), ENODEV);
    EXPECT_EQ(life.write_begin(START, 1, &accepted), ENODEV);
}

TEST(card_life, bytes_not_written_do_not_count) {
    life_traits traits;
    traits.unplug_after_written = 1024;
    card_life life(traits);
    uint64_t accepted = 0;
    for (int i = 0; i < 5; ++i) {
        ASSERT_EQ(life.write_begin(START, 1024, &accepted), 0);
        life.write_done(0);  // the card was full
    }
    EXPECT_EQ(life.presence(START), 0);
}

TEST(card_life, read_across_limit_fails_as_a_whole) {
    life_traits traits;
    traits.unplug_after_read = 8192;
    traits.unplug_error = EIO;
    card_life life(traits);
    EXPECT_EQ(life.read_begin(START, 4096), 0);
    EXPECT_EQ(life.presence(START), 0);
    EXPECT_EQ(life.read_begin(START, 4097), EIO);
    EXPECT_EQ(life.read_begin(START, 1), EIO);
    EXPECT_EQ(life.presence(START), EIO);
}

TEST(card_life, card_is_gone_after_last_byte_read) {
    life_traits traits;
    traits.unplug_after_read = 4096;
    card_life life(traits);
    EXPECT_EQ(life.read_begin(START, 4096), 0);
    EXPECT_EQ(life.presence(START), ENODEV);
}

TEST(card_life, time_counts_from_first_read_or_write) {
    life_traits traits;
    traits.unplug_after = std::chrono::milliseconds(1500);
    card_life life(traits);
    EXPECT_EQ(life.presence(START + seconds(1000)), 0);
    uint64_t accepted = 0;
    EXPECT_EQ(life.write_begin(START + seconds(1000), 1, &accepted), 0);
    EXPECT_EQ(life.presence(START + seconds(1001)), 0);
    EXPECT_EQ(life.presence(START + seconds(1002)), ENODEV);
}

TEST(card_life, first_limit_wins) {
    life_traits traits;
    traits.lock_after = 1000;
    traits.unplug_after_written = 2000;
    traits.unplug_after = seconds(10);
    card_life life(traits);
    uint64_t accepted = 0;
    ASSERT_EQ(life.write_begin(START, 4096, &accepted), 0);
    EXPECT_EQ(accepted, 1000U);
    life.write_done(accepted);
    EXPECT_EQ(life.change(START), EROFS);
    EXPECT_EQ(life.change(START + seconds(11)), ENODEV);
}

TEST(card_life, unplugs_at_first_listing_after_write) {
    life_traits traits;
    traits.unplug_at = cardsim::life_moment::list;
    card_life life(traits);
    life.doing(cardsim::life_moment::list);
    life.doing(cardsim::life_moment::remove);
    EXPECT_EQ(life.presence(START), 0);
    life.write_done(1);
    EXPECT_EQ(life.presence(START), 0);
    life.doing(cardsim::life_moment::list);
    EXPECT_EQ(life.presence(START), ENODEV);
}

TEST(card_life, unplugs_at_first_removal) {
    life_traits traits;
    traits.unplug_at = cardsim::life_moment::remove;
    card_life life(traits);
    life.doing(cardsim::life_moment::list);
    EXPECT_EQ(life.presence(START), 0);
    life.doing(cardsim::life_moment::remove);
    EXPECT_EQ(life.presence(START), ENODEV);
}
