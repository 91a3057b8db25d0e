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

/* Whether memory kept what the attempt wrote. The attempt answers that itself and
 * can be repeated: it is, at most twice, when the answer is no and the kernel counted
 * pages meanwhile that it had evicted and that somebody read again. How long memory
 * keeps an unused page is for the kernel alone, and some kernels page out what is cold
 * however much memory is free. The count is the whole machine's, so on a machine that is
 * short of memory a fault that comes and goes has three chances to hide; one that is
 * always there has none. */
bool memory_kept_it(const std::function<bool()> &attempt);

/* Skips the test where mounting is impossible, makes a folder of its own, and
 * unmounts whatever is there when the test ends, however it ends. */
class practice_mount : public testing::Test {
 protected:
    void SetUp() override;
    void TearDown() override;

    /* Mounts a card with these options; fails the test if that fails. */
    void mount_card(std::vector<std::string> options);

    /* Whether the mount point is one (and not the folder below). */
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

/* A descriptor that closes itself. */
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

/* Writes all bytes in pieces of 1 KiB, as test files are written. Returns 0 or the
 * error number; *written counts what was taken. */
int write_in_small_pieces(int fd, const std::vector<std::byte> &bytes, size_t *written);

/* Reads from the file's start to its end or to an error. Returns 0 or the error
 * number; *bytes is what came before. */
int read_to_end(const std::string &path, std::vector<std::byte> *bytes);

#endif
