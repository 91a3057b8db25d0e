// SPDX-License-Identifier: GPL-3.0-or-later
/* Blocks larger than 1024 bytes, on volumes that take all, a part or nothing of a write.
 * This program's own `write` takes the place of the system's and plays the volume. */
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <limits>
#include <string>

#include "model/engine_results.h"
#include "model/f3write.h"
#include "support.h"

using model_tests::expect_assertion;
using model_tests::file_content;
using model_tests::private_folder;
using model_tests::reference_sectors;
using model_tests::run_in_child;

namespace {

constexpr size_t mebibyte = 1U << 20U;

/* How the volume behaves. */
struct volume_manners {
    size_t room = std::numeric_limits<size_t>::max();    /* bytes left */
    size_t at_once = std::numeric_limits<size_t>::max(); /* most bytes per call */
    bool takes_parts = true; /* short write when there is not enough room, else ENOSPC */
    int error = 0;           /* of every write */
};

volume_manners *manners = nullptr;

/* The behaviour applies while this lives. */
class volume_that {
 public:
    explicit volume_that(const volume_manners &how) : m_how(how) { manners = &m_how; }
    ~volume_that() { manners = nullptr; }
    volume_that(const volume_that &) = delete;
    volume_that &operator=(const volume_that &) = delete;

 private:
    volume_manners m_how;
};

ssize_t system_write(int fd, const void *bytes, size_t count) {
    static const auto next =
        reinterpret_cast<ssize_t (*)(int, const void *, size_t)>(dlsym(RTLD_NEXT, "write"));
    return next(fd, bytes, count);
}

ssize_t refuse(int error) {
    errno = error;
    return -1;
}

}  // namespace

extern "C" ssize_t write(int fd, const void *bytes, size_t count) {
    if (manners == nullptr || fd <= STDERR_FILENO)
        return system_write(fd, bytes, count);
    if (manners->error != 0)
        return refuse(manners->error);
    const size_t wanted = std::min(count, manners->at_once);
    if (manners->room == 0 || (wanted > manners->room && !manners->takes_parts))
        return refuse(ENOSPC);
    const ssize_t written = system_write(fd, bytes, std::min(wanted, manners->room));
    manners->room -= static_cast<size_t>(written);
    return written;
}

/* Runs a write phase in a folder and expects a correct test file of `size` bytes. */
static void expect_filled(const volume_manners &how, int32_t block_size, size_t size) {
    const private_folder folder;
    {
        const volume_that behaves(how);
        f3write_fill_fs_in_blocks(folder.c_path(), 0, 1, block_size);
    }
    EXPECT_EQ(std::filesystem::file_size(folder.file("1.fff")), size);
    EXPECT_TRUE(file_content(folder.file("1.fff")) == reference_sectors(0, size));
    engine_write_results written = {};
    engine_results_write(&written);
    EXPECT_EQ(written.bytes_written, size);
    EXPECT_EQ(written.block_size, block_size);
    EXPECT_EQ(written.end, ENGINE_WRITE_FULL_IN_FILE);
    EXPECT_EQ(written.files_created, 1);
}

TEST(f3write_blocks, of_every_size_hold_same_bytes) {
    for (int32_t size = F3WRITE_BLOCK_SIZE; size <= F3WRITE_BLOCK_SIZE_MAX; size *= 2)
        expect_filled({.room = 18 * mebibyte}, size, 18 * mebibyte);
}

TEST(f3write_blocks, continue_after_short_writes) {
    expect_filled({.room = 3 * mebibyte, .at_once = 100001}, 1 << 20, 3 * mebibyte);
    expect_filled({.room = 65536, .at_once = 1}, 2048, 65536);
}

TEST(f3write_blocks, end_with_whole_sector_on_full_volume) {
    for (const size_t rest : {1U, 511U, 512U, 513U, 700U, 5000U, 1048575U})
        expect_filled({.room = 2 * mebibyte + rest}, 1 << 20, 2 * mebibyte + rest - rest % 512);
}

TEST(f3write_blocks, shrink_where_volume_takes_all_or_nothing) {
    for (const size_t rest : {1U, 1023U, 1024U, 5000U, 700000U, 1048575U})
        expect_filled({.room = 2 * mebibyte + rest, .takes_parts = false}, 1 << 20,
                      2 * mebibyte + rest - rest % 1024);
}

TEST(f3write_blocks, of_1024_bytes_end_process_on_short_write) {
    const private_folder folder;
    expect_assertion(run_in_child([&] {
                         const volume_that behaves({.room = 5000});
                         f3write_fill_fs(folder.c_path(), 0, 0);
                     }),
                     "written == fw->block_size", "create_and_fill_file", "model/f3write");
}

TEST(f3write_blocks, end_process_when_write_returns_0) {
    const private_folder folder;
    expect_assertion(run_in_child([&] {
                         const volume_that behaves({.at_once = 0});
                         f3write_fill_fs_in_blocks(folder.c_path(), 0, 0, 1 << 20);
                     }),
                     "written == fw->block_size", "create_and_fill_file", "model/f3write");
}

TEST(f3write_blocks, end_process_with_reason_when_write_fails) {
    const private_folder folder;
    const auto outcome = run_in_child([&] {
        const volume_that behaves({.error = EIO});
        f3write_fill_fs_in_blocks(folder.c_path(), 0, 0, 1 << 20);
    });
    EXPECT_EQ(outcome.out, "Write to file " + folder.file("1.fff") + " failed");
    expect_assertion(outcome, "written == fw->block_size", "create_and_fill_file", "model/f3write");
}

TEST(f3write_blocks, refuse_other_sizes) {
    const private_folder folder;
    for (const int32_t size : {-1024, 0, 1, 512, 1023, 1025, 1536, 3072, 33554432})
        EXPECT_TRUE(
            run_in_child([&] { f3write_fill_fs_in_blocks(folder.c_path(), 0, 0, size); }).aborted())
            << size;
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}
