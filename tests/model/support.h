// SPDX-License-Identifier: GPL-3.0-or-later
/* The engine's lines and records for comparisons, and the sector pattern by the C library's
 * generator. */
#ifndef TROVIK_TESTS_MODEL_SUPPORT_H
#define TROVIK_TESTS_MODEL_SUPPORT_H

#include <cstdint>
#include <functional>
#include <string>

#include "model/engine_results.h"
#include "model/f3write.h"
#include "support/folder.h"
#include "support/mounts.h"
#include "support/process.h"
#include "support/volumes.h"

namespace model_tests {

using child_outcome = test_support::process_result;
using test_support::enter_private_mounts;
using test_support::exists;
using test_support::file_content;
using test_support::file_size;
using test_support::private_folder;
using private_volume = test_support::tmpfs_volume;
using test_support::set_file_content;

/* Runs `body` in a forked child. Output that the engine does not flush stays in the child. */
inline child_outcome run_in_child(const std::function<void()> &body) {
    return test_support::run_body(body);
}

/* The program's name as the engine prints it. */
std::string own_program_name();

/* The line that a broken invariant prints. */
std::string assertion_line(const std::string &condition, const std::string &function,
                           const std::string &module);

/* The line that a refused file operation prints. */
std::string refusal_line(const std::string &message, int error);

/* Expects that the child aborted and that this line ends its standard error. */
void expect_assertion(const child_outcome &outcome, const std::string &condition,
                      const std::string &function, const std::string &module);

/* Expects the error number as exit status and the message on standard error. */
void expect_refusal(const child_outcome &outcome, const std::string &message, int error);

/* Empties the log and returns its text. */
std::string drained_log();

/* `size` bytes of test sectors, the first one at `offset`, made with
 * srand48/lrand48. */
std::string reference_sectors(uint64_t offset, size_t size);

/* The 64-bit word at byte `at`. */
uint64_t word_at(const std::string &bytes, size_t at);
void set_word_at(std::string &bytes, size_t at, uint64_t value);

/* For a child after enter_private_mounts(): mounts over `path` a file with `good_bytes`
 * (whole pages) of good sectors from offset 0, then EIO. The file is this process's own
 * memory, whose lowest addresses root may map. Ends the child with status 125 if the system
 * does not allow it. */
void mount_file_with_an_error_behind(const std::string &path, size_t good_bytes);

/* A measurement at the start of a write phase. */
write_flow new_flow(uint64_t space_total);

/* The current records of the phases. */
engine_write_results write_results();
engine_read_results read_results();

/* A seed for random cases: TROVIK_TEST_SEED if set, else fresh. Put it into a SCOPED_TRACE. */
uint32_t random_seed();

}  // namespace model_tests

#endif
