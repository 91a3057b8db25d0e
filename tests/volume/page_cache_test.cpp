// SPDX-License-Identifier: GPL-3.0-or-later
// Residency of pages, counted on an ext4 of each test's own. Locked pages stay resident whatever
// other programs drop.
#include "volume/page_cache.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <vector>

#include "../support/locked_pages.h"
#include "support.h"

using namespace volume_tests;
using test_support::locked_pages;

namespace {

class page_cache : public testing::Test {
 protected:
    void SetUp() override {
        SKIP_IF_MISSING(m_ext4.missing());
        m_path = m_ext4.folder() + "/file";
        ASSERT_TRUE(std::ofstream(m_path));
    }

    ext4_volume m_ext4;
    std::string m_path;
};

}  // namespace

TEST_F(page_cache, counts_resident_bytes_beyond_one_question) {
    std::filesystem::resize_file(m_path, std::uintmax_t{200} << 20);
    const int fd = open(m_path.c_str(), O_RDWR | O_CLOEXEC);
    const std::string page(4096, 'x');
    const off_t offsets[] = {off_t{100} << 20, off_t{199} << 20};
    for (const off_t offset : offsets)
        EXPECT_EQ(pwrite(fd, page.data(), page.size(), offset), 4096);
    EXPECT_EQ(page_cache_flush(fd), 0);
    const locked_pages first(m_path, offsets[0]);
    const locked_pages second(m_path, offsets[1]);
    page_cache_drop(fd, std::uint64_t{200} << 20);
    int error = 0;
    EXPECT_EQ(page_cache_resident_bytes(fd, 0, std::uint64_t{200} << 20, error), 2 * 4096);
    EXPECT_EQ(
        page_cache_resident_bytes(fd, std::uint64_t{150} << 20, std::uint64_t{50} << 20, error),
        4096);
    close(fd);
}

TEST_F(page_cache, tells_error_for_descriptor_that_cannot_be_mapped) {
    ASSERT_TRUE(std::ofstream(m_path) << std::string(4096, 'x'));
    const int fd = open(m_path.c_str(), O_WRONLY | O_CLOEXEC);
    int error = 0;
    EXPECT_EQ(page_cache_resident_bytes(fd, 0, 4096, error), std::nullopt);
    EXPECT_EQ(error, EACCES);
    close(fd);
}

TEST(page_cache_retry, ends_at_first_no) {
    std::vector<bool> calls;
    EXPECT_FALSE(page_cache_retry([&](bool again) {
        calls.push_back(again);
        return calls.size() < 3;
    }));
    EXPECT_EQ(calls, (std::vector<bool>{false, true, true}));
}

TEST(page_cache_retry, gives_up_after_six_calls) {
    int calls = 0;
    EXPECT_TRUE(page_cache_retry([&](bool /*again*/) { return ++calls > 0; }));
    EXPECT_EQ(calls, 6);
}
