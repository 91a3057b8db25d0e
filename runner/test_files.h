// SPDX-License-Identifier: GPL-3.0-or-later
// The entries of a folder that have a test file's name, and those among them that are not ours.
#ifndef TROVIK_RUNNER_TEST_FILES_H
#define TROVIK_RUNNER_TEST_FILES_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct test_file_scan {
    // Numbers of the test files, ascending.
    std::vector<int> numbers;
    // Their sizes, added up.
    std::uint64_t bytes = 0;
    // Entries that the engine would list but cannot have written, each as "'name' (reason)".
    std::vector<std::string> foreign;
};

// Finds the entries with a number above `start_index`. Follows no link. Returns false with a reason
// when the folder cannot be read to its end.
bool test_files_scan(const std::string &folder, int start_index, test_file_scan &scan,
                     std::string &error);

// The names of the test files with a number above `start_index`, ascending. Returns false with a
// reason when the folder cannot be read to its end; `names` then holds those found until there.
bool test_files_names(const std::string &folder, int start_index, std::vector<std::string> &names,
                      std::string &error) noexcept;

// "'1.fff' (a folder), '2.fff' (a link) and 3 more"; names five at most.
std::string test_files_foreign_text(const std::vector<std::string> &foreign);

// "1.fff to 3.fff, 7.fff"; five ranges at most, then the number of other files. Empty without
// numbers. `numbers` is ascending.
std::string test_files_text(const std::vector<int> &numbers);

// The same for the test files in `folder` with a number above `start_index`. nullopt when the
// folder cannot be read to its end. Waits for the volume. Any thread.
std::optional<std::string> test_files_text_of(const std::string &folder, int start_index);

#endif
