// SPDX-License-Identifier: GPL-3.0-or-later
/* Faults as a program sees them, through the kernel and the page cache. */
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <thread>

#include "practice_mount.h"
#include "test_bytes.h"

using test_support::within_a_minute;

namespace {

class fuse_io : public practice_mount {
 protected:
    /* Writes a new file in pieces of 1 KiB. */
    int write_file(const std::string &name, const std::vector<std::byte> &bytes, size_t *written) {
        const open_file file(path(name), O_WRONLY | O_CREAT | O_TRUNC);
        return write_in_small_pieces(file.fd(), bytes, written);
    }
    void write_whole_file(const std::string &name, const std::vector<std::byte> &bytes) {
        size_t written = 0;
        ASSERT_EQ(write_file(name, bytes, &written), 0);
    }
    /* True if the bytes can be read while the file is still open for writing. */
    bool write_flush_and_look(const std::string &name, const std::vector<std::byte> &bytes) {
        const open_file file(path(name), O_RDWR | O_CREAT);
        size_t written = 0;
        EXPECT_EQ(write_in_small_pieces(file.fd(), bytes, &written), 0);
        EXPECT_EQ(fdatasync(file.fd()), 0);
        return seen_in(name) == bytes;
    }
    void write_at_once(const std::string &name, const std::vector<std::byte> &bytes) {
        const open_file file(path(name), O_WRONLY | O_CREAT);
        ASSERT_EQ(write(file.fd(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    /* Makes later reads go to the card. */
    void flush_and_release(const std::string &name) {
        const open_file file(path(name), O_RDWR);
        ASSERT_EQ(fdatasync(file.fd()), 0);
        ASSERT_EQ(posix_fadvise(file.fd(), 0, 0, POSIX_FADV_DONTNEED), 0);
    }
    std::vector<std::byte> seen_in(const std::string &name) {
        std::vector<std::byte> bytes;
        EXPECT_EQ(read_to_end(path(name), &bytes), 0);
        return bytes;
    }
};

std::vector<std::byte> first_half_then(const std::vector<std::byte> &bytes, unsigned fill) {
    auto expected = bytes;
    std::fill(expected.begin() + static_cast<std::ptrdiff_t>(bytes.size() / 2), expected.end(),
              static_cast<std::byte>(fill));
    return expected;
}

}  // namespace

TEST_F(fuse_io, small_writes_stay_in_page_cache_until_dropped) {
    const auto bytes = test_bytes(MIB, 1);
    EXPECT_TRUE(page_cache_kept_it([&] {
        mount_card({"--size=8M", "--real-size=512K", "--beyond=drop-ff"});
        bool kept = write_flush_and_look("a", bytes);
        kept = seen_in("a") == bytes && kept;  // also after the file was opened again
        flush_and_release("a");
        EXPECT_TRUE(seen_in("a") == first_half_then(bytes, 0xFF)) << "read from the page cache";
        EXPECT_TRUE(unmount());
        return kept;
    })) << "read from the card";
}

TEST_F(fuse_io, large_writes_stay_in_page_cache_until_dropped) {
    const auto bytes = test_bytes(MIB, 1);
    EXPECT_TRUE(page_cache_kept_it([&] {
        mount_card({"--size=8M", "--real-size=512K"});
        write_at_once("a", bytes);
        const bool kept = seen_in("a") == bytes;
        flush_and_release("a");
        EXPECT_TRUE(seen_in("a") == first_half_then(bytes, 0x00)) << "read from the page cache";
        EXPECT_TRUE(unmount());
        return kept;
    })) << "read from the card";
}

TEST_F(fuse_io, page_cache_never_shows_older_state) {
    mount_card({"--size=8M"});
    auto bytes = test_bytes(size_t{64} * 1024, 1);
    const open_file file(path("a"), O_RDWR | O_CREAT);
    size_t written = 0;
    ASSERT_EQ(write_in_small_pieces(file.fd(), bytes, &written), 0);
    // Rewrites a part of each page when it is complete, or later.
    for (uint32_t round = 0; round < 200; ++round) {
        const auto page = test_bytes(4096, round + 2);
        const size_t at = size_t{round * 7 % 16} * 4096;
        for (size_t part = 0; part < 4096; part += 1024) {
            ASSERT_EQ(pwrite(file.fd(), page.data() + part, 1024, static_cast<off_t>(at + part)),
                      1024);
        }
        std::copy(page.begin(), page.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
        const size_t again = at + size_t{round % 4} * 1000;
        const auto patch = test_bytes(500, round + 1000);
        ASSERT_EQ(pwrite(file.fd(), patch.data(), patch.size(), static_cast<off_t>(again)), 500);
        std::copy(patch.begin(), patch.end(), bytes.begin() + static_cast<std::ptrdiff_t>(again));
        ASSERT_TRUE(seen_in("a") == bytes) << round;
    }
    flush_and_release("a");
    EXPECT_TRUE(seen_in("a") == bytes);
}

TEST_F(fuse_io, reads_growing_file) {
    mount_card({"--size=16M"});
    const auto bytes = test_bytes(4 * MIB, 1);
    std::thread writer([&] { write_whole_file("a", bytes); });
    bool equal = true;
    for (int round = 0; round < 50; ++round) {
        const int fd = open(path("a").c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) {
            continue;  // not created yet
        }
        std::vector<std::byte> seen(bytes.size());
        const ssize_t got = read(fd, seen.data(), seen.size());
        equal = equal && got >= 0 && std::equal(seen.begin(), seen.begin() + got, bytes.begin());
        posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
        close(fd);
    }
    writer.join();
    EXPECT_TRUE(equal);
    EXPECT_TRUE(seen_in("a") == bytes);
}

TEST_F(fuse_io, reads_all_pages_before_bad_sector) {
    // Sector 1001 is in the page of the sectors 1000 to 1007.
    mount_card({"--size=8M", "--read-error=1001"});
    const auto bytes = test_bytes(MIB, 1);
    write_whole_file("a", bytes);
    flush_and_release("a");
    std::vector<std::byte> seen;
    EXPECT_EQ(read_to_end(path("a"), &seen), EIO);
    EXPECT_EQ(seen.size(), 1000U * 512);
    EXPECT_TRUE(std::equal(seen.begin(), seen.end(), bytes.begin()));
    const open_file file(path("a"), O_RDONLY);
    std::vector<std::byte> after(4096);
    ASSERT_EQ(pread(file.fd(), after.data(), after.size(), sectors(1008)), 4096);
    EXPECT_TRUE(std::equal(after.begin(), after.end(), bytes.begin() + sectors(1008)));
    errno = 0;
    EXPECT_EQ(pread(file.fd(), after.data(), 1, sectors(1000)), -1);
    EXPECT_EQ(errno, EIO);
}

TEST_F(fuse_io, small_reads_and_streams_get_as_far_as_large_ones) {
    mount_card({"--size=8M", "--read-error=1001"});
    const auto bytes = test_bytes(MIB, 1);
    write_whole_file("a", bytes);
    flush_and_release("a");
    {
        const open_file file(path("a"), O_RDONLY);
        std::vector<std::byte> piece(1024);
        size_t total = 0;
        ssize_t got = 0;
        while ((got = read(file.fd(), piece.data(), piece.size())) > 0) {
            total += static_cast<size_t>(got);
        }
        EXPECT_EQ(errno, EIO);
        EXPECT_EQ(got, -1);
        EXPECT_EQ(total, 1000U * 512);
    }
    flush_and_release("a");
    FILE *stream = fopen(path("a").c_str(), "rbe");
    ASSERT_NE(stream, nullptr);
    std::vector<std::byte> sector(512);
    size_t sectors = 0;
    while (fread(sector.data(), sector.size(), 1, stream) == 1) {
        ++sectors;
    }
    EXPECT_NE(ferror(stream), 0);
    fclose(stream);
    EXPECT_EQ(sectors, 1000U);
}

TEST_F(fuse_io, flips_bits_in_their_sector) {
    mount_card({"--size=8M", "--flip=100:9"});
    auto bytes = test_bytes(MIB, 1);
    write_whole_file("a", bytes);
    flush_and_release("a");
    bytes[sectors(100) + 1] ^= std::byte{2};
    EXPECT_TRUE(seen_in("a") == bytes);
}

TEST_F(fuse_io, bad_sector_fails_write) {
    mount_card({"--size=8M", "--write-error=100"});
    size_t written = 0;
    EXPECT_EQ(write_file("a", test_bytes(MIB, 1), &written), EIO);
    EXPECT_EQ(written, 50U * 1024);
    struct stat facts = {};
    ASSERT_EQ(stat(path("a").c_str(), &facts), 0);
    EXPECT_EQ(facts.st_size, 50 * 1024);
}

TEST_F(fuse_io, full_card_takes_what_fits) {
    mount_card({"--size=100K"});
    const auto bytes = test_bytes(MIB, 1);
    size_t written = 0;
    EXPECT_EQ(write_file("a", bytes, &written), ENOSPC);
    EXPECT_EQ(written, 100U * 1024);
    struct statvfs facts = {};
    ASSERT_EQ(statvfs(mount_point().c_str(), &facts), 0);
    EXPECT_EQ(facts.f_bavail, 0U);
    flush_and_release("a");
    EXPECT_TRUE(seen_in("a") == std::vector(bytes.begin(), bytes.begin() + sectors(200)));
}

TEST_F(fuse_io, write_that_fits_in_part_is_short) {
    mount_card({"--size=1536"});
    const open_file file(path("a"), O_WRONLY | O_CREAT);
    const auto bytes = test_bytes(1024, 1);
    EXPECT_EQ(write(file.fd(), bytes.data(), 1024), 1024);
    EXPECT_EQ(write(file.fd(), bytes.data(), 1024), 512);
    errno = 0;
    EXPECT_EQ(write(file.fd(), bytes.data(), 1024), -1);
    EXPECT_EQ(errno, ENOSPC);
}

TEST_F(fuse_io, card_can_be_full_earlier_and_later_than_announced) {
    mount_card({"--size=1M", "--full-at=300K"});
    size_t written = 0;
    EXPECT_EQ(write_file("a", test_bytes(MIB, 1), &written), ENOSPC);
    EXPECT_EQ(written, 300U * 1024);
    struct statvfs facts = {};
    ASSERT_EQ(statvfs(mount_point().c_str(), &facts), 0);
    EXPECT_EQ(facts.f_bavail * facts.f_frsize, 724U * 1024);
    ASSERT_TRUE(unmount());
    mount_card({"--size=300K", "--full-at=1M"});
    const auto bytes = test_bytes(MIB, 1);
    write_whole_file("a", bytes);
    ASSERT_EQ(statvfs(mount_point().c_str(), &facts), 0);
    EXPECT_EQ(facts.f_bavail, 0U);
    flush_and_release("a");
    EXPECT_TRUE(seen_in("a") == bytes);
}

TEST_F(fuse_io, flush_can_fail_after_successful_writes) {
    mount_card({"--fsync-fails"});
    const open_file file(path("a"), O_WRONLY | O_CREAT);
    ASSERT_EQ(write(file.fd(), "x", 1), 1);
    errno = 0;
    EXPECT_EQ(fdatasync(file.fd()), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(fsync(file.fd()), -1);
}

TEST_F(fuse_io, locked_card_can_only_be_read) {
    mount_card({"--size=8M", "--lock-after=200K"});
    const auto bytes = test_bytes(MIB, 1);
    size_t written = 0;
    EXPECT_EQ(write_file("a", bytes, &written), EROFS);
    EXPECT_EQ(written, 200U * 1024);
    errno = 0;
    EXPECT_EQ(unlink(path("a").c_str()), -1);
    EXPECT_EQ(errno, EROFS);
    EXPECT_EQ(open(path("b").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644), -1);
    EXPECT_EQ(errno, EROFS);
    EXPECT_EQ(rename(path("a").c_str(), path("b").c_str()), -1);
    EXPECT_EQ(errno, EROFS);
    EXPECT_TRUE(seen_in("a") == std::vector(bytes.begin(), bytes.begin() + sectors(400)));
}

TEST_F(fuse_io, card_unplugged_while_writing_fails_every_call) {
    mount_card({"--size=8M", "--unplug-after-written=200K"});
    {
        const open_file file(path("a"), O_WRONLY | O_CREAT);
        size_t written = 0;
        EXPECT_EQ(write_in_small_pieces(file.fd(), test_bytes(MIB, 1), &written), ENODEV);
        EXPECT_EQ(written, 200U * 1024);
        errno = 0;
        EXPECT_EQ(fdatasync(file.fd()), -1);
        EXPECT_EQ(errno, ENODEV);
    }
    struct stat facts = {};
    struct statvfs space = {};
    EXPECT_EQ(stat(path("a").c_str(), &facts), -1);
    EXPECT_EQ(errno, ENODEV);
    EXPECT_EQ(statvfs(mount_point().c_str(), &space), -1);
    EXPECT_EQ(errno, ENODEV);
    EXPECT_EQ(unlink(path("a").c_str()), -1);
    EXPECT_EQ(errno, ENODEV);
    EXPECT_EQ(open(mount_point().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC), -1);
    EXPECT_EQ(errno, ENODEV);
    EXPECT_TRUE(unmount());
    EXPECT_FALSE(is_mounted());
}

TEST_F(fuse_io, card_unplugged_while_reading_returns_bytes_before) {
    mount_card({"--size=8M", "--unplug-after-read=512K", "--unplug-error=EIO"});
    const auto bytes = test_bytes(MIB, 1);
    write_whole_file("a", bytes);
    flush_and_release("a");
    std::vector<std::byte> seen;
    EXPECT_EQ(read_to_end(path("a"), &seen), EIO);
    EXPECT_LE(seen.size(), 512U * 1024);
    EXPECT_GE(seen.size(), 256U * 1024);
    EXPECT_TRUE(std::equal(seen.begin(), seen.end(), bytes.begin()));
    EXPECT_EQ(access(path("a").c_str(), F_OK), -1);
}

TEST_F(fuse_io, card_can_be_unplugged_after_some_time) {
    mount_card({"--size=8M", "--unplug-after=0.05"});
    write_whole_file("a", test_bytes(1024, 1));
    EXPECT_TRUE(within_a_minute([&] { return access(path("a").c_str(), F_OK) != 0; }));
    EXPECT_EQ(errno, ENODEV);
}

TEST_F(fuse_io, backing_file_holds_sector_n_at_byte_n_times_512) {
    mount_card({"--size=8M", "--real-size=1M", "--backing=" + beside("backing")});
    const auto one = test_bytes(1024, 1);
    const auto two = test_bytes(2048, 2);
    write_whole_file("one", one);
    write_whole_file("two", two);
    std::vector<std::byte> cells(MIB);
    std::ifstream backing(beside("backing"), std::ios::binary);
    backing.read(reinterpret_cast<char *>(cells.data()), static_cast<std::streamsize>(MIB));
    ASSERT_EQ(backing.gcount(), static_cast<std::streamsize>(MIB));
    EXPECT_TRUE(std::equal(one.begin(), one.end(), cells.begin()));
    EXPECT_TRUE(std::equal(two.begin(), two.end(), cells.begin() + 1024));
}

TEST_F(fuse_io, slow_card_is_no_faster_than_its_rate) {
    mount_card({"--size=8M", "--write-rate=1M", "--read-rate=2M"});
    const auto begin = std::chrono::steady_clock::now();
    write_whole_file("a", test_bytes(size_t{300} * 1024, 1));
    flush_and_release("a");
    const auto written = std::chrono::steady_clock::now();
    // Only lower limits, which hold on any machine: 293 ms and 146 ms, less the credit of 25 ms.
    EXPECT_GE(written - begin, std::chrono::milliseconds(265));
    seen_in("a");
    EXPECT_GE(std::chrono::steady_clock::now() - written, std::chrono::milliseconds(118));
}
