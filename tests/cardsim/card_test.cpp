// SPDX-License-Identifier: GPL-3.0-or-later
/* Faults of sectors. */
#include "tools/cardsim/card.h"

#include <gtest/gtest.h>

#include <bit>

#include "test_bytes.h"

using cardsim::card;
using cardsim::card_beyond;
using cardsim::CARD_SECTOR_SIZE;
using cardsim::card_traits;

namespace {

card make_card(const card_traits &traits) {
    return {traits, cardsim::sector_store_in_memory()};
}

card_traits traits_of(uint64_t real_sectors, card_beyond beyond) {
    card_traits traits;
    traits.real_sectors = real_sectors;
    traits.beyond = beyond;
    return traits;
}

std::vector<std::byte> read_sectors(card &device, uint64_t first, uint64_t count) {
    std::vector<std::byte> bytes(count * CARD_SECTOR_SIZE, std::byte{0x5A});
    EXPECT_EQ(device.read(first * CARD_SECTOR_SIZE, bytes), 0);
    return bytes;
}

void write_sectors(card &device, uint64_t first, const std::vector<std::byte> &bytes) {
    ASSERT_EQ(device.write(first * CARD_SECTOR_SIZE, bytes), 0);
}

unsigned bits_that_differ(const std::vector<std::byte> &a, const std::vector<std::byte> &b) {
    unsigned count = 0;
    for (size_t i = 0; i < a.size(); ++i) {
        count += static_cast<unsigned>(std::popcount(std::to_integer<unsigned>(a[i] ^ b[i])));
    }
    return count;
}

}  // namespace

TEST(card, sound_card_keeps_written_bytes) {
    card device = make_card(traits_of(1000, card_beyond::drop_00));
    const auto bytes = test_bytes(1000 * CARD_SECTOR_SIZE, 1);
    write_sectors(device, 0, bytes);
    EXPECT_EQ(read_sectors(device, 0, 1000), bytes);
}

TEST(card, dropped_sectors_read_as_zero) {
    card device = make_card(traits_of(10, card_beyond::drop_00));
    const auto bytes = test_bytes(4 * CARD_SECTOR_SIZE, 2);
    write_sectors(device, 8, bytes);
    const auto seen = read_sectors(device, 8, 4);
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.begin() + 1024, seen.begin()));
    EXPECT_EQ(std::vector(seen.begin() + 1024, seen.end()), equal_bytes(1024, 0x00));
}

TEST(card, dropped_sectors_can_read_as_erased_flash) {
    card device = make_card(traits_of(10, card_beyond::drop_ff));
    write_sectors(device, 10, test_bytes(CARD_SECTOR_SIZE, 3));
    EXPECT_EQ(read_sectors(device, 10, 1), equal_bytes(CARD_SECTOR_SIZE, 0xFF));
}

TEST(card, wraps_sectors_modulo_real_size) {
    card device = make_card(traits_of(10, card_beyond::wrap));
    const auto bytes = test_bytes(25 * CARD_SECTOR_SIZE, 4);
    write_sectors(device, 0, bytes);
    // Sectors 20 to 24 overwrote 0 to 4 last, sectors 15 to 19 overwrote 5 to 9.
    const auto seen = read_sectors(device, 0, 10);
    EXPECT_TRUE(std::equal(seen.begin(), seen.begin() + 2560, bytes.begin() + sectors(20)));
    EXPECT_TRUE(std::equal(seen.begin() + 2560, seen.end(), bytes.begin() + sectors(15)));
    EXPECT_EQ(read_sectors(device, 1230, 1), read_sectors(device, 0, 1));
}

TEST(card, wrap_last_spares_beginning) {
    card_traits traits = traits_of(10, card_beyond::wrap_last);
    traits.wrap_last_sectors = 4;
    card device = make_card(traits);
    const auto bytes = test_bytes(15 * CARD_SECTOR_SIZE, 5);
    write_sectors(device, 0, bytes);
    const auto seen = read_sectors(device, 0, 10);
    EXPECT_TRUE(std::equal(seen.begin(), seen.begin() + sectors(6), bytes.begin()));
    // Sectors 10 and then 14 overwrote 6, 11 overwrote 7, 12 overwrote 8, 13 overwrote 9.
    EXPECT_TRUE(std::equal(seen.begin() + sectors(6), seen.begin() + sectors(7),
                           bytes.begin() + sectors(14)));
    EXPECT_TRUE(std::equal(seen.begin() + sectors(7), seen.end(), bytes.begin() + sectors(11)));
}

TEST(card, garbage_depends_on_sector_and_seed_only) {
    card_traits traits = traits_of(10, card_beyond::garbage);
    traits.seed = 1;
    card device = make_card(traits);
    write_sectors(device, 10, test_bytes(2 * CARD_SECTOR_SIZE, 6));
    const auto ten = read_sectors(device, 10, 1);
    EXPECT_EQ(read_sectors(device, 10, 1), ten);
    EXPECT_NE(read_sectors(device, 11, 1), ten);
    traits.seed = 2;
    card other = make_card(traits);
    EXPECT_NE(read_sectors(other, 10, 1), ten);
    std::vector<std::byte> part(100);
    ASSERT_EQ(device.read(10 * CARD_SECTOR_SIZE + 33, part), 0);
    EXPECT_TRUE(std::equal(part.begin(), part.end(), ten.begin() + 33));
}

TEST(card, flips_only_given_bits) {
    card_traits traits = traits_of(100, card_beyond::drop_00);
    traits.flips = {{7, 0}, {7, 4095}, {8, 13}};
    card device = make_card(traits);
    const auto bytes = test_bytes(100 * CARD_SECTOR_SIZE, 7);
    write_sectors(device, 0, bytes);
    auto expected = bytes;
    expected[sectors(7)] ^= std::byte{0x01};
    expected[sectors(7) + 511] ^= std::byte{0x80};
    expected[sectors(8) + 1] ^= std::byte{0x20};
    EXPECT_EQ(read_sectors(device, 0, 100), expected);
    std::vector<std::byte> part(2);
    ASSERT_EQ(device.read(sectors(8) + 1, part), 0);
    EXPECT_EQ(part[0], expected[sectors(8) + 1]);
}

TEST(card, flip_rate_flips_that_share_of_sectors_repeatably) {
    card_traits traits = traits_of(10000, card_beyond::drop_00);
    traits.flip_rate = 0.1;
    traits.seed = 3;
    card device = make_card(traits);
    const auto seen = read_sectors(device, 0, 10000);
    const unsigned flipped = bits_that_differ(seen, equal_bytes(seen.size(), 0));
    EXPECT_GT(flipped, 850U);
    EXPECT_LT(flipped, 1150U);
    EXPECT_EQ(read_sectors(device, 0, 10000), seen);
    for (uint64_t sector = 0; sector < 10000; ++sector) {
        const auto at = seen.begin() + static_cast<std::ptrdiff_t>(sector * CARD_SECTOR_SIZE);
        ASSERT_LE(bits_that_differ({at, at + CARD_SECTOR_SIZE}, equal_bytes(CARD_SECTOR_SIZE, 0)),
                  1U);
    }
}

TEST(card, flip_rate_of_one_flips_every_sector_and_of_zero_none) {
    card_traits traits = traits_of(500, card_beyond::drop_00);
    traits.flip_rate = 1;
    card worn = make_card(traits);
    const auto zeros = equal_bytes(500 * CARD_SECTOR_SIZE, 0);
    EXPECT_EQ(bits_that_differ(read_sectors(worn, 0, 500), zeros), 500U);
    traits.flip_rate = 0;
    card sound = make_card(traits);
    EXPECT_EQ(read_sectors(sound, 0, 500), zeros);
}

TEST(card, read_and_write_errors_are_independent) {
    card_traits traits = traits_of(100, card_beyond::drop_00);
    traits.read_errors.add(10, 12);
    traits.write_errors.add(20, 20);
    const card device = make_card(traits);
    EXPECT_TRUE(device.readable(0, 10));
    EXPECT_FALSE(device.readable(12, 1));
    EXPECT_TRUE(device.readable(20, 1));
    EXPECT_FALSE(device.writable(13, 8));
    EXPECT_TRUE(device.writable(10, 10));
}

TEST(card, flips_beyond_real_size_by_host_number) {
    card_traits traits = traits_of(10, card_beyond::drop_ff);
    traits.flips = {{15, 8}};
    card device = make_card(traits);
    auto expected = equal_bytes(CARD_SECTOR_SIZE, 0xFF);
    expected[1] = std::byte{0xFE};
    EXPECT_EQ(read_sectors(device, 15, 1), expected);
}

TEST(card, combines_flips_and_wrapping) {
    card_traits traits = traits_of(4, card_beyond::wrap);
    traits.flips = {{5, 0}};
    card device = make_card(traits);
    const auto bytes = test_bytes(CARD_SECTOR_SIZE, 8);
    write_sectors(device, 5, bytes);
    EXPECT_EQ(read_sectors(device, 1, 1), bytes);
    EXPECT_EQ(bits_that_differ(read_sectors(device, 5, 1), bytes), 1U);
}

TEST(card, misread_sector_returns_another_and_keeps_its_own) {
    card_traits traits = traits_of(10, card_beyond::wrap);
    traits.misreads = {{2, 7}, {3, 15}};  // sector 15 wraps to 5
    card device = make_card(traits);
    const auto bytes = test_bytes(10 * CARD_SECTOR_SIZE, 11);
    write_sectors(device, 0, bytes);
    auto expected = bytes;
    std::copy_n(bytes.begin() + sectors(7), CARD_SECTOR_SIZE, expected.begin() + sectors(2));
    std::copy_n(bytes.begin() + sectors(5), CARD_SECTOR_SIZE, expected.begin() + sectors(3));
    EXPECT_EQ(read_sectors(device, 0, 10), expected);
    // A read that begins and ends within a misread sector.
    std::vector<std::byte> part(100);
    EXPECT_EQ(device.read(2 * CARD_SECTOR_SIZE + 50, part), 0);
    EXPECT_TRUE(std::equal(part.begin(), part.end(), bytes.begin() + sectors(7) + 50));
}
