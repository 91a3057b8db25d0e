// SPDX-License-Identifier: GPL-3.0-or-later
/* A simulated card on a private mount point, for one test. */
#ifndef TROVIK_TESTS_CARDSIM_PRACTICE_MOUNT_H
#define TROVIK_TESTS_CARDSIM_PRACTICE_MOUNT_H

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "support/folder.h"
#include "support/process.h"

/* Runs trovik-cardsim with these words and waits for its end. */
test_support::process_result run_cardsim(std::vector<std::string> words);

/* True if the page cache kept the data that the attempt wrote, as the attempt returns. The
 * kernel may evict unused pages at any time, even with free memory. So a failed attempt is
 * repeated, at most twice, if the kernel's count of evicted pages that were read again has
 * grown. The count covers the whole machine: under memory pressure an intermittent fault may
 * pass unnoticed, a constant one cannot. */
bool page_cache_kept_it(const std::function<bool()> &attempt);

/* Skips the test if mounting is impossible. Creates a private folder with the mount point,
 * and unmounts it when the test ends. */
class practice_mount : public testing::Test {
 protected:
    void SetUp() override;
    void TearDown() override;

    /* Mounts a card with these options; fails the test if that fails. */
    void mount_card(std::vector<std::string> options);

    /* True if the card is mounted. */
    bool is_mounted() const;

    /* fusermount3 -u; true when it succeeded. */
    bool unmount() const;

    std::string path(const std::string &name) const { return m_mount + "/" + name; }
    const std::string &mount_point() const { return m_mount; }
    std::string beside(const std::string &name) const { return m_folder->file(name); }

 private:
    std::optional<test_support::private_folder> m_folder;
    std::string m_mount;
};

/* Closes its descriptor. */
class open_file {
 public:
    open_file(const std::string &path, int flags);
    ~open_file();
    open_file(const open_file &) = delete;
    open_file &operator=(const open_file &) = delete;
    int fd() const { return m_fd; }

 private:
    int m_fd;
};

/* Writes all bytes in pieces of 1 KiB, like a test file. Returns 0 or the error number;
 * *written counts the bytes written. */
int write_in_small_pieces(int fd, const std::vector<std::byte> &bytes, size_t *written);

/* Reads from the file's start to its end or to an error. Returns 0 or the error number, with
 * the bytes read in *bytes. */
int read_to_end(const std::string &path, std::vector<std::byte> *bytes);

#endif
