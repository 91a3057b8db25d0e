// SPDX-License-Identifier: GPL-3.0-or-later
// Runs of trovik-cli, with pipes and in a pseudo-terminal, and looks at what they print.
#ifndef TROVIK_TESTS_CLI_SUPPORT_H
#define TROVIK_TESTS_CLI_SUPPORT_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "support/folder.h"
#include "support/process.h"
#include "support/volumes.h"

namespace cli_tests {

using outcome = test_support::process_result;
using test_support::exists;
using test_support::file_content;
using test_support::file_size;
using test_support::private_folder;
using test_support::process_options;
using test_support::run_body;
using test_support::run_program;
using test_support::set_file_content;
using test_support::signal_at;
using private_bind = test_support::bind_volume;
using private_volume = test_support::tmpfs_volume;

// No file of the child grows beyond 64 KiB: its writes fail with EFBIG, without a signal.
process_options with_a_file_size_limit();

// trovik-cli with these words.
outcome run_cli(const std::vector<std::string> &words, const process_options &options = {});

// trovik-cli, or a function of the test, in a pseudo-terminal.
outcome run_cli_in_terminal(const std::vector<std::string> &words,
                            const process_options &options = {});
outcome run_body_in_terminal(const std::function<void()> &body,
                             const process_options &options = {});

// Sets an environment variable for its lifetime.
class private_variable {
 public:
    private_variable(const std::string &name, const std::string &value);
    ~private_variable();
    private_variable(const private_variable &) = delete;
    private_variable &operator=(const private_variable &) = delete;

 private:
    std::string m_name;
    std::optional<std::string> m_before;
};

// Names of the entries, sorted.
std::vector<std::string> entries(const std::string &folder);

size_t line_count(const std::string &text);
// How often `part` occurs.
size_t occurrences(const std::string &text, const std::string &part);
bool contains(const std::string &text, const std::string &part);

}  // namespace cli_tests

#endif
