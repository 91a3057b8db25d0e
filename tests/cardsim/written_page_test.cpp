// SPDX-License-Identifier: GPL-3.0-or-later
/* Small writes joined to pages. */
#include "tools/cardsim/written_page.h"

#include <gtest/gtest.h>

#include "test_bytes.h"

using cardsim::HOST_PAGE_SIZE;
using cardsim::written_bytes;
using cardsim::written_page;

namespace {

void write_whole(written_page &page, uint64_t offset, const std::vector<std::byte> &bytes) {
    EXPECT_FALSE(page.before_write(offset, bytes.size()));
    page.after_write(offset, bytes, bytes.size());
}

/* A page of four writes of 1 KiB. */
std::vector<std::byte> write_page(written_page &page, uint64_t offset, uint32_t seed) {
    std::vector<std::byte> all;
    for (uint32_t i = 0; i < 4; ++i) {
        const auto part = test_bytes(1024, seed + i);
        write_whole(page, offset + uint64_t{i} * 1024, part);
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

}  // namespace

TEST(written_page, joins_small_writes_to_page_that_next_write_returns) {
    written_page page;
    const auto all = write_page(page, 8192, 1);
    const std::optional<written_bytes> handed = page.before_write(12288, 1024);
    ASSERT_TRUE(handed);
    EXPECT_EQ(handed->offset, 8192U);
    EXPECT_EQ(handed->bytes, all);
    EXPECT_FALSE(page.before_write(16384, 1024));
}

TEST(written_page, flush_returns_complete_page_and_end_of_file) {
    written_page page;
    write_page(page, 0, 1);
    EXPECT_TRUE(page.at_flush(100000));
    write_whole(page, 4096, test_bytes(1000, 5));
    const auto handed = page.at_flush(5096);
    ASSERT_TRUE(handed);
    EXPECT_EQ(handed->bytes, test_bytes(1000, 5));
    write_whole(page, 8192, test_bytes(1000, 6));
    EXPECT_FALSE(page.at_flush(100000));
}

TEST(written_page, write_into_complete_page_drops_it) {
    for (const uint64_t offset : {0U, 1024U, 4095U}) {
        written_page page;
        write_page(page, 0, 1);
        EXPECT_FALSE(page.before_write(offset, 10));
        EXPECT_FALSE(page.before_write(4096, 10));
        EXPECT_FALSE(page.at_flush(4096));
    }
}

TEST(written_page, write_across_complete_page_drops_it) {
    written_page page;
    write_page(page, 4096, 1);
    EXPECT_FALSE(page.before_write(0, 16384));
    EXPECT_FALSE(page.at_flush(8192));
}

TEST(written_page, gap_between_writes_makes_no_page) {
    written_page page;
    write_whole(page, 0, test_bytes(1024, 1));
    write_whole(page, 2048, test_bytes(2048, 2));
    EXPECT_FALSE(page.before_write(4096, 1024));
    EXPECT_FALSE(page.at_flush(4096));
}

TEST(written_page, write_from_middle_of_page_makes_no_page) {
    written_page page;
    write_whole(page, 1024, test_bytes(3072, 1));
    EXPECT_FALSE(page.before_write(4096, 1024));
}

TEST(written_page, short_write_drops_page) {
    written_page page;
    write_whole(page, 0, test_bytes(3072, 1));
    EXPECT_FALSE(page.before_write(3072, 1024));
    page.after_write(3072, test_bytes(512, 2), 1024);
    EXPECT_FALSE(page.at_flush(3584));
}

TEST(written_page, leaves_whole_pages_to_kernel) {
    written_page page;
    write_whole(page, 0, test_bytes(HOST_PAGE_SIZE * 2, 1));
    EXPECT_FALSE(page.before_write(8192, 4096));
    EXPECT_FALSE(page.at_flush(8192));
}

TEST(written_page, cutting_file_drops_page) {
    written_page page;
    write_page(page, 0, 1);
    page.forget();
    EXPECT_FALSE(page.at_flush(0));
    EXPECT_FALSE(page.before_write(4096, 1));
}
