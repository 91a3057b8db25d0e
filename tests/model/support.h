/* What the engine's tests share: a child process whose end and whose output can
 * be looked at, folders and volumes of their own, the log, and the sector
 * pattern as the C library's own generator gives it. */
#ifndef TROVIK_TESTS_MODEL_SUPPORT_H
#define TROVIK_TESTS_MODEL_SUPPORT_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "model/engine_results.h"
#include "model/f3write.h"

namespace model_tests {

/* How a child process ended, and all that it wrote. */
struct child_outcome {
    bool timed_out = false;
    int wait_status = 0;
    std::string out;
    std::string err;

    bool exited_with(int status) const;
    bool aborted() const;
};

/* Runs `body` in a forked child with standard output and standard error in
 * files (so that output which the engine does not flush in time is really
 * missing). A child that blocks is killed after 20 seconds. A body that returns
 * ends the child with status 0. */
child_outcome run_in_child(const std::function<void()> &body);

/* The program's name as the engine prints it. */
std::string own_program_name();

/* The line that a broken invariant prints. */
std::string assertion_line(const std::string &condition, const std::string &function,
                           const std::string &module);

/* The line that a refused file operation prints. */
std::string refusal_line(const std::string &message, int error);

/* Expects that the child aborted with exactly this invariant on standard error,
 * after whatever else it had to say. */
void expect_assertion(const child_outcome &outcome, const std::string &condition,
                      const std::string &function, const std::string &module);

/* Expects an exit with the error number as status and the message on standard
 * error. */
void expect_refusal(const child_outcome &outcome, const std::string &message, int error);

/* A folder that is removed with all that is in it. */
class private_folder {
 public:
    private_folder();
    ~private_folder();
    private_folder(const private_folder &) = delete;
    private_folder &operator=(const private_folder &) = delete;

    const std::string &path() const { return m_path; }
    const char *c_path() const { return m_path.c_str(); }
    std::string file(const std::string &name) const { return m_path + "/" + name; }

 private:
    std::string m_path;
};

/* A small volume of its own (tmpfs with `options`), mounted where only this
 * process sees it: nothing stays behind even when the process is killed.
 * `reason()` says why there is none when mounted() is false. */
class private_volume {
 public:
    explicit private_volume(const std::string &options);
    ~private_volume();
    private_volume(const private_volume &) = delete;
    private_volume &operator=(const private_volume &) = delete;

    bool mounted() const { return m_reason.empty(); }
    const std::string &reason() const { return m_reason; }
    const std::string &path() const { return m_folder.path(); }
    const char *c_path() const { return m_folder.c_path(); }
    std::string file(const std::string &name) const { return m_folder.file(name); }

 private:
    private_folder m_folder;
    std::string m_reason;
};

/* Puts this process into a mount namespace of its own, once. Empty on success,
 * else the reason. */
std::string enter_private_mounts();

/* Empties the log and returns its text. */
std::string drained_log();

std::string file_content(const std::string &path);
void set_file_content(const std::string &path, const std::string &content);
bool exists(const std::string &path);
uint64_t file_size(const std::string &path);

/* `size` bytes of test sectors, the first one at `offset`, made with
 * srand48/lrand48. */
std::string reference_sectors(uint64_t offset, size_t size);

/* The 64-bit word at byte `at`. */
uint64_t word_at(const std::string &bytes, size_t at);
void set_word_at(std::string &bytes, size_t at, uint64_t value);

/* For a child after enter_private_mounts(): puts a file in the place of `path`
 * that gives `good_bytes` (whole pages) of good sectors from offset 0 and then
 * EIO. It is this process's own memory, whose lowest addresses the super-user
 * may map. Ends the child with status 125 when the system does not allow it. */
void mount_file_with_an_error_behind(const std::string &path, size_t good_bytes);

/* A measurement as a write phase starts it. */
write_flow new_flow(uint64_t space_total);

/* The records of the phases as they are now. */
engine_write_results write_results();
engine_read_results read_results();

/* A seed for random cases: TROVIK_TEST_SEED when set, else fresh. Put it into a
 * SCOPED_TRACE. */
uint32_t random_seed();

/* Leaves the current test when there is no `volume`, with the reason. */
#define SKIP_WITHOUT(volume)                   \
    do {                                       \
        if (!(volume).mounted())               \
            GTEST_SKIP() << (volume).reason(); \
    } while (0)

}  // namespace model_tests

#endif
