// SPDX-License-Identifier: GPL-3.0-or-later
/* See practice_mount.h. */
#include "practice_mount.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fstream>

using test_support::file_content;
using test_support::find_program;
using test_support::process_result;
using test_support::run_program;
using test_support::within_a_minute;

namespace {

constexpr int MOST_ATTEMPTS = 3;

/* Evicted file pages that were read again, since boot; 0 if the kernel does not count them. */
uint64_t refaults() {
    std::ifstream counters("/proc/vmstat");
    std::string name;
    uint64_t count = 0;
    while (counters >> name >> count) {
        if (name == "workingset_refault_file") {
            return count;
        }
    }
    return 0;
}

}  // namespace

process_result run_cardsim(std::vector<std::string> words) {
    words.insert(words.begin(), TROVIK_CARDSIM_PROGRAM);
    return run_program(words);
}

bool page_cache_kept_it(const std::function<bool()> &attempt) {
    for (int attempts = 0; attempts < MOST_ATTEMPTS; ++attempts) {
        const uint64_t before = refaults();
        if (attempt()) {
            return true;
        }
        // The kernel adds up the processors' counters only from time to time.
        if (!within_a_minute([&] { return refaults() != before; })) {
            return false;
        }
    }
    return false;
}

void practice_mount::SetUp() {
    const int device = open("/dev/fuse", O_RDWR | O_CLOEXEC);
    if (device < 0) {
        GTEST_SKIP() << "needs FUSE: /dev/fuse: " << std::strerror(errno);
    }
    close(device);
    if (find_program("fusermount3").empty()) {
        GTEST_SKIP() << "needs the program fusermount3";
    }
    m_folder.emplace();
    m_mount = m_folder->make_folder("card");
}

void practice_mount::TearDown() {
    if (!m_folder) {
        return;
    }
    if (!unmount()) {
        run_program({"fusermount3", "-u", "-z", m_mount});
    }
    EXPECT_FALSE(is_mounted()) << m_mount;
}

void practice_mount::mount_card(std::vector<std::string> options) {
    options.insert(options.begin(), m_mount);
    const process_result result = run_cardsim(options);
    ASSERT_EQ(result.exit_status, 0) << result.err;
    ASSERT_EQ(result.err, "");
    ASSERT_TRUE(is_mounted());
}

bool practice_mount::is_mounted() const {
    // By the mount table: a card that is gone does not answer.
    return file_content("/proc/self/mounts").find(" " + m_mount + " ") != std::string::npos;
}

bool practice_mount::unmount() const {
    return !is_mounted() || run_program({"fusermount3", "-u", m_mount}).exit_status == 0;
}

open_file::open_file(const std::string &path, int flags)
    : m_fd(open(path.c_str(), flags | O_CLOEXEC, 0644)) {
    EXPECT_GE(m_fd, 0) << path << ": " << std::strerror(errno);
}

open_file::~open_file() {
    if (m_fd >= 0) {
        close(m_fd);
    }
}

int write_in_small_pieces(int fd, const std::vector<std::byte> &bytes, size_t *written) {
    *written = 0;
    while (*written < bytes.size()) {
        const size_t length = std::min<size_t>(1024, bytes.size() - *written);
        const ssize_t put = write(fd, bytes.data() + *written, length);
        if (put < 0) {
            return errno;
        }
        *written += static_cast<size_t>(put);
    }
    return 0;
}

int read_to_end(const std::string &path, std::vector<std::byte> *bytes) {
    const open_file file(path, O_RDONLY);
    bytes->clear();
    std::array<std::byte, 65536> piece{};
    for (;;) {
        const ssize_t got = read(file.fd(), piece.data(), piece.size());
        if (got <= 0) {
            return got < 0 ? errno : 0;
        }
        bytes->insert(bytes->end(), piece.begin(), piece.begin() + got);
    }
}
