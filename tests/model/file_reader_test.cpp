// SPDX-License-Identifier: GPL-3.0-or-later
/* Files with a bad sector: on simulated cards, through the page cache and with direct I/O;
 * and on a medium played by this program's own `read`, which takes the place of the
 * system's. */
#include "model/file_reader.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "model/f3read.h"
#include "model/test_sector.h"
#include "support.h"

using model_tests::expect_assertion;
using model_tests::private_folder;
using model_tests::reference_sectors;
using model_tests::run_in_child;
using model_tests::set_file_content;
using test_support::card;
using test_support::missing_for_cards;
using test_support::missing_for_mounts;

namespace {

constexpr uint64_t sector_bytes = SECTOR_SIZE;

/* How the medium behaves, and the sizes of the requests that it was sent. */
struct medium_manners {
    uint64_t bad_byte = 0; /* a request fails when it reaches this byte of the file */
    int errors = std::numeric_limits<int>::max(); /* so often; then it succeeds */
    int error = EIO;
    int later_error = EIO; /* of all requests after the first that failed */
    size_t block = 1;      /* smaller requests are refused with EINVAL, as direct I/O does */
    std::vector<size_t> requests = {};
};

medium_manners *medium = nullptr;

/* The behaviour applies while this lives. */
class medium_that {
 public:
    explicit medium_that(medium_manners &how) { medium = &how; }
    ~medium_that() { medium = nullptr; }
    medium_that(const medium_that &) = delete;
    medium_that &operator=(const medium_that &) = delete;
};

ssize_t system_read(int fd, void *bytes, size_t count) {
    static const auto next =
        reinterpret_cast<ssize_t (*)(int, void *, size_t)>(dlsym(RTLD_NEXT, "read"));
    return next(fd, bytes, count);
}

/* The error of a request from the descriptor's position on, or 0. */
int error_of_request(int fd, size_t count) {
    medium->requests.push_back(count);
    if (count < medium->block)
        return EINVAL;
    const auto position = static_cast<uint64_t>(lseek(fd, 0, SEEK_CUR));
    if (position + count <= medium->bad_byte || medium->errors == 0)
        return 0;
    --medium->errors;
    return std::exchange(medium->error, medium->later_error);
}

struct validation {
    uint64_t ok = 0, corrupted = 0, changed = 0, overwritten = 0, size = 0;
    int read_all = -1;
};

validation validated(const std::string &folder) {
    validation it;
    timeval elapsed = {0, 0};
    testing::internal::CaptureStdout(); /* the newline that ends each file */
    f3read_validate_file(folder.c_str(), 0, &it.ok, &it.corrupted, &it.changed, &it.overwritten,
                         &it.size, &it.read_all, &elapsed, 1);
    testing::internal::GetCapturedStdout();
    return it;
}

void expect_stopped_after(const validation &it, uint64_t sectors) {
    EXPECT_EQ(it.ok, sectors);
    EXPECT_EQ(it.corrupted + it.changed + it.overwritten, 0U);
    EXPECT_EQ(it.size, sectors * sector_bytes);
    EXPECT_EQ(it.read_all, 0);
}

/* Reads a file of 200 sectors from this medium. */
validation validated_on(medium_manners &how) {
    const private_folder folder;
    set_file_content(folder.file("1.fff"), reference_sectors(0, 200 * sector_bytes));
    const medium_that behaves(how);
    return validated(folder.path());
}

std::string read_error(uint64_t sector) {
    return "--read-error=" + std::to_string(sector);
}

/* Within a page, at its start and at its end; first and last of the file. */
const std::vector<uint64_t> bad_sectors = {100, 104, 103, 0, 199};

}  // namespace

extern "C" ssize_t read(int fd, void *bytes, size_t count) {
    const int error = medium == nullptr ? 0 : error_of_request(fd, count);
    if (error == 0)
        return system_read(fd, bytes, count);
    errno = error;
    return -1;
}

TEST(file_reader, reads_up_to_bad_sector_through_page_cache) {
    SKIP_IF_MISSING(missing_for_cards());
    for (const uint64_t sector : bad_sectors) {
        const card where({"--size=1M", read_error(sector)});
        set_file_content(where.file("1.fff"), reference_sectors(0, 200 * sector_bytes));
        expect_stopped_after(validated(where.path()), sector);
    }
}

/* The card's image, which is read with direct I/O, takes the place of a test file. */
TEST(file_reader, reads_up_to_bad_sector_with_direct_io) {
    SKIP_IF_MISSING(missing_for_cards());
    SKIP_IF_MISSING(missing_for_mounts());
    for (const uint64_t sector : bad_sectors) {
        const private_folder folder;
        set_file_content(folder.file("sectors"), reference_sectors(0, 200 * sector_bytes));
        set_file_content(folder.file("1.fff"), "");
        const card where({"--image", "--size=" + std::to_string(200 * sector_bytes),
                          "--contents=" + folder.file("sectors"), read_error(sector)});
        const std::string file = folder.file("1.fff");
        ASSERT_EQ(mount(where.file("card.img").c_str(), file.c_str(), nullptr, MS_BIND, nullptr),
                  0);
        const validation it = validated(folder.path());
        EXPECT_EQ(umount2(file.c_str(), MNT_DETACH), 0);
        expect_stopped_after(it, sector);
    }
}

TEST(file_reader, reads_small_pieces_only_after_error) {
    medium_manners sound = {.bad_byte = UINT64_MAX};
    const validation whole = validated_on(sound);
    EXPECT_EQ(whole.ok, 200U);
    EXPECT_NE(whole.read_all, 0);
    EXPECT_EQ(sound.requests, (std::vector<size_t>{65536, 65536, 65536}));

    medium_manners bad = {.bad_byte = 10 * sector_bytes};
    expect_stopped_after(validated_on(bad), 10);
    EXPECT_EQ(bad.requests, (std::vector<size_t>{65536, 4096, 4096, 512, 512, 512}));
}

TEST(file_reader, ends_at_last_good_block_when_device_refuses_sectors) {
    medium_manners how = {.bad_byte = 100 * sector_bytes, .block = 4096};
    expect_stopped_after(validated_on(how), 96);
    EXPECT_EQ(how.requests.back(), sector_bytes);
}

TEST(file_reader, reads_on_after_transient_error_but_reports_it) {
    medium_manners how = {.bad_byte = 100 * sector_bytes, .errors = 2};
    expect_stopped_after(validated_on(how), 200);
    EXPECT_EQ(how.requests.back(), 65536U) << "whole requests again behind the failed one";
}

TEST(file_reader, reads_small_pieces_after_each_error) {
    medium_manners how = {.bad_byte = 150 * sector_bytes, .errors = 1};
    const private_folder folder;
    set_file_content(folder.file("1.fff"), reference_sectors(0, 400 * sector_bytes));
    {
        const medium_that behaves(how);
        expect_stopped_after(validated(folder.path()), 400);
    }
    how = {.bad_byte = 300 * sector_bytes};
    const medium_that behaves(how);
    expect_stopped_after(validated(folder.path()), 300);
}

/* Direct I/O reports a medium error by the block layer's own number. */
TEST(file_reader, ends_file_whatever_error_the_retry_meets) {
    for (const int error : {ENODATA, ETIMEDOUT, ENODEV, ENOTCONN}) {
        medium_manners how = {.bad_byte = 100 * sector_bytes, .later_error = error};
        expect_stopped_after(validated_on(how), 100);
        EXPECT_EQ(how.requests.back(), sector_bytes);
    }
}

TEST(file_reader, returns_other_errors_to_caller) {
    for (const int error : {EINVAL, ENODEV, ENXIO}) {
        medium_manners how = {.bad_byte = 100 * sector_bytes, .error = error, .later_error = error};
        expect_assertion(run_in_child([&] { validated_on(how); }), "*read_all || errno == EIO",
                         "f3read_validate_file", "model/f3read");
    }
}
