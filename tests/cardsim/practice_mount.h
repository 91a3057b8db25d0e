/* A simulated card on a private mount point, for one test. */
#ifndef TROVIK_TESTS_CARDSIM_PRACTICE_MOUNT_H
#define TROVIK_TESTS_CARDSIM_PRACTICE_MOUNT_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

/* What running the program printed and how it ended. */
struct program_result {
    int status = -1;  // exit status; -1: ended by a signal or not started
    std::string output;
    std::string errors;
};

/* Runs trovik-cardsim with these words and waits for its end. */
program_result run_cardsim(const std::vector<std::string> &words);

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
    std::string beside(const std::string &name) const { return m_folder + "/" + name; }

 private:
    std::string m_folder;
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
