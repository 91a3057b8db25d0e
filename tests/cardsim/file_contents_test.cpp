// SPDX-License-Identifier: GPL-3.0-or-later
/* Files on the card's sectors. */
#include "tools/cardsim/file_contents.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "test_bytes.h"

using cardsim::card_room;
using cardsim::card_traits;
using cardsim::file_contents;

namespace {

card_room make_room(uint64_t sectors, card_traits traits = {}) {
    if (traits.real_sectors == 0) {
        traits.real_sectors = sectors;
    }
    return {cardsim::card(std::move(traits), cardsim::sector_store_in_memory()),
            cardsim::sector_allocator(sectors)};
}

void write_all(card_room &room, file_contents &file, uint64_t offset,
               const std::vector<std::byte> &bytes) {
    uint64_t accepted = 0;
    ASSERT_EQ(file.write(room, offset, bytes, &accepted), 0);
    ASSERT_EQ(accepted, bytes.size());
}

std::vector<std::byte> read_all(card_room &room, const file_contents &file) {
    std::vector<std::byte> bytes(file.size(), std::byte{0x5A});
    EXPECT_EQ(file.read(room, 0, bytes), 0);
    return bytes;
}

uint64_t sector_of(const file_contents &file, uint64_t file_sector) {
    uint64_t sector = 0;
    EXPECT_TRUE(file.card_sector(file_sector, &sector));
    return sector;
}

}  // namespace

TEST(file_contents, allocates_sectors_in_order_of_writing) {
    card_room room = make_room(100);
    file_contents one;
    file_contents two;
    write_all(room, one, 0, test_bytes(1024, 1));
    write_all(room, two, 0, test_bytes(512, 2));
    write_all(room, one, 1024, test_bytes(1024, 3));
    write_all(room, two, 2048, test_bytes(512, 4));
    EXPECT_EQ(sector_of(one, 0), 0U);
    EXPECT_EQ(sector_of(one, 1), 1U);
    EXPECT_EQ(sector_of(two, 0), 2U);
    EXPECT_EQ(sector_of(one, 2), 3U);
    EXPECT_EQ(sector_of(two, 4), 5U);
    uint64_t none = 0;
    EXPECT_FALSE(two.card_sector(1, &none));
    EXPECT_EQ(two.sectors(), 2U);
    EXPECT_EQ(room.space.taken(), 6U);
}

TEST(file_contents, overwriting_keeps_sectors) {
    card_room room = make_room(100);
    file_contents file;
    write_all(room, file, 0, test_bytes(2048, 1));
    write_all(room, file, 512, test_bytes(1024, 2));
    EXPECT_EQ(room.space.taken(), 4U);
    auto expected = test_bytes(2048, 1);
    const auto over = test_bytes(1024, 2);
    std::copy(over.begin(), over.end(), expected.begin() + 512);
    EXPECT_EQ(read_all(room, file), expected);
}

TEST(file_contents, write_that_fits_in_part_is_short) {
    card_room room = make_room(3);
    file_contents file;
    const auto bytes = test_bytes(2048, 1);
    uint64_t accepted = 0;
    ASSERT_EQ(file.write(room, 0, bytes, &accepted), 0);
    EXPECT_EQ(accepted, 1536U);
    EXPECT_EQ(file.size(), 1536U);
    EXPECT_EQ(file.write(room, 1536, bytes, &accepted), ENOSPC);
    EXPECT_EQ(accepted, 0U);
    EXPECT_EQ(file.write(room, 0, bytes, &accepted), 0);
    EXPECT_EQ(accepted, 1536U) << "overwriting needs no room";
}

TEST(file_contents, holes_read_as_zero_and_take_no_sectors) {
    card_room room = make_room(100);
    file_contents file;
    write_all(room, file, 10000, test_bytes(100, 1));
    EXPECT_EQ(file.size(), 10100U);
    EXPECT_EQ(file.sectors(), 1U);
    auto expected = equal_bytes(10000, 0);
    const auto tail = test_bytes(100, 1);
    expected.insert(expected.end(), tail.begin(), tail.end());
    EXPECT_EQ(read_all(room, file), expected);
}

TEST(file_contents, zeroes_rest_of_partly_written_new_sector) {
    card_room room = make_room(1);
    file_contents old;
    write_all(room, old, 0, equal_bytes(512, 0xEE));
    ASSERT_EQ(old.resize(room, 0), 0);
    file_contents fresh;
    write_all(room, fresh, 100, equal_bytes(10, 0x11));
    ASSERT_EQ(fresh.resize(room, 512), 0);
    auto expected = equal_bytes(512, 0);
    std::fill_n(expected.begin() + 100, 10, std::byte{0x11});
    EXPECT_EQ(read_all(room, fresh), expected);
}

TEST(file_contents, bytes_behind_cut_do_not_come_back) {
    card_room room = make_room(10);
    file_contents file;
    write_all(room, file, 0, equal_bytes(1024, 0xEE));
    ASSERT_EQ(file.resize(room, 100), 0);
    EXPECT_EQ(file.sectors(), 1U);
    EXPECT_EQ(room.space.taken(), 1U);
    ASSERT_EQ(file.resize(room, 300), 0);
    write_all(room, file, 400, equal_bytes(10, 0x11));
    auto expected = equal_bytes(410, 0);
    std::fill_n(expected.begin(), 100, std::byte{0xEE});
    std::fill_n(expected.begin() + 400, 10, std::byte{0x11});
    EXPECT_EQ(read_all(room, file), expected);
}

TEST(file_contents, bad_sector_fails_whole_read) {
    card_traits traits;
    traits.read_errors.add(5, 5);
    card_room room = make_room(100, traits);
    file_contents file;
    write_all(room, file, 0, test_bytes(sectors(10), 1));
    std::vector<std::byte> seen(512);
    EXPECT_EQ(file.read(room, sectors(4), seen), 0);
    EXPECT_EQ(file.read(room, sectors(5) + 511, std::span(seen).first(1)), EIO);
    seen.resize(sectors(10));
    EXPECT_EQ(file.read(room, 0, seen), EIO);
}

TEST(file_contents, retry_of_failed_write_meets_same_sector) {
    card_traits traits;
    traits.write_errors.add(1, 1);
    card_room room = make_room(100, traits);
    file_contents file;
    uint64_t accepted = 0;
    EXPECT_EQ(file.write(room, 0, test_bytes(1024, 1), &accepted), EIO);
    EXPECT_EQ(file.size(), 0U);
    EXPECT_EQ(file.write(room, 0, test_bytes(1024, 1), &accepted), EIO);
    EXPECT_EQ(room.space.taken(), 2U);
    write_all(room, file, 0, test_bytes(512, 1));
    file_contents other;
    write_all(room, other, 0, test_bytes(512, 1));
    EXPECT_EQ(sector_of(other, 0), 2U);
}

TEST(file_contents, combines_counterfeit_flips_and_bad_sectors) {
    card_traits traits;
    traits.real_sectors = 4;
    traits.beyond = cardsim::card_beyond::wrap;
    traits.flips = {{6, 0}};
    traits.read_errors.add(7, 7);
    card_room room = make_room(8, traits);
    file_contents file;
    const auto bytes = test_bytes(sectors(8), 1);
    write_all(room, file, 0, bytes);
    std::vector<std::byte> seen(sectors(7));
    ASSERT_EQ(file.read(room, 0, seen), 0);
    EXPECT_TRUE(std::equal(seen.begin(), seen.begin() + sectors(4), bytes.begin() + sectors(4)));
    EXPECT_EQ(seen[sectors(6)], bytes[sectors(6)] ^ std::byte{1});
    seen.resize(sectors(8));
    EXPECT_EQ(file.read(room, 0, seen), EIO);
}

TEST(file_contents, agrees_with_plain_memory_in_long_random_run) {
    card_room room = make_room(400);
    file_contents files[3];
    std::vector<std::byte> plain[3];
    std::mt19937 chance(11);  // NOLINT(cert-msc32-c,cert-msc51-cpp): repeatable
    for (uint32_t step = 0; step < 4000; ++step) {
        const size_t which = chance() % 3;
        const uint64_t offset = chance() % 40000;
        if (chance() % 4 == 0) {
            ASSERT_EQ(files[which].resize(room, offset), 0);
            plain[which].resize(offset);
        } else {
            const auto bytes = test_bytes(chance() % 3000 + 1, step);
            uint64_t accepted = 0;
            const int error = files[which].write(room, offset, bytes, &accepted);
            ASSERT_TRUE(error == 0 || error == ENOSPC);
            if (accepted > 0) {
                plain[which].resize(std::max<size_t>(plain[which].size(), offset + accepted));
                std::copy_n(bytes.begin(), accepted,
                            plain[which].begin() + static_cast<std::ptrdiff_t>(offset));
            }
        }
        ASSERT_EQ(read_all(room, files[which]), plain[which]) << step;
        ASSERT_EQ(room.space.taken(), files[0].sectors() + files[1].sectors() + files[2].sectors());
    }
}
