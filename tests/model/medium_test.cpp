// SPDX-License-Identifier: GPL-3.0-or-later
/* The medium's services succeed on a file and return the system's error numbers. */
#include "model/medium.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/magic.h>
#include <sys/mman.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>
#include <vector>

#include "support.h"

using model_tests::private_folder;
using model_tests::set_file_content;
using test_support::within_a_minute;

namespace {

/* Resident pages of the file, by mincore on a mapping that touches none. */
size_t pages_in_memory(int fd, size_t size) {
    void *mapping = mmap(nullptr, size, PROT_READ, MAP_SHARED, fd, 0);
    EXPECT_NE(mapping, MAP_FAILED);
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    std::vector<unsigned char> resident(size / page, 0);
    EXPECT_EQ(mincore(mapping, size, resident.data()), 0);
    munmap(mapping, size);
    size_t count = 0;
    for (const unsigned char each : resident)
        count += each & 1U;
    return count;
}

}  // namespace

TEST(medium, flush_release_and_read_ahead_succeed_on_file) {
    const private_folder folder;
    set_file_content(folder.file("f"), std::string(4096, 'x'));
    const int fd = open(folder.file("f").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(medium_flush(fd), 0);
    EXPECT_EQ(medium_release(fd), 0);
    EXPECT_EQ(medium_read_ahead(fd), 0);
    close(fd);
}

TEST(medium, flush_and_release_drop_file_from_page_cache) {
    constexpr size_t size = 1U << 20U;
    const private_folder folder;
    struct statfs system = {};
    ASSERT_EQ(statfs(folder.c_path(), &system), 0);
    if (system.f_type == TMPFS_MAGIC)
        GTEST_SKIP() << "the folder for temporary files lies in memory";
    const std::string content(size, 'x');
    set_file_content(folder.file("f"), content);
    const int fd = open(folder.file("f").c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    /* Retries: the kernel may drop pages by itself, and other programs may read the file. */
    EXPECT_TRUE(within_a_minute([&] {
        EXPECT_EQ(pwrite(fd, content.data(), size, 0), static_cast<ssize_t>(size));
        EXPECT_EQ(medium_flush(fd), 0);
        const size_t before = pages_in_memory(fd, size);
        EXPECT_EQ(medium_release(fd), 0);
        return before > 0 && pages_in_memory(fd, size) == 0;
    }));
    close(fd);
}

TEST(medium, returns_error_numbers) {
    EXPECT_EQ(medium_flush(-1), EBADF);
    EXPECT_EQ(medium_release(-1), EBADF);
    EXPECT_EQ(medium_read_ahead(-1), EBADF);
    EXPECT_EQ(medium_bypass_cache(-1), EBADF);
    std::array<int, 2> ends = {};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    EXPECT_EQ(medium_flush(ends[1]), EINVAL);
    EXPECT_EQ(medium_release(ends[0]), ESPIPE);
    close(ends[0]);
    close(ends[1]);
}
