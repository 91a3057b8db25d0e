// SPDX-License-Identifier: GPL-3.0-or-later
// Runs of trovik-cli and what must hold for all of them.
#ifndef TROVIK_TESTS_SYSTEM_CLI_RUN_H
#define TROVIK_TESTS_SYSTEM_CLI_RUN_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "sector_oracle.h"
#include "support/process.h"
#include "support/volumes.h"

namespace system_tests {

using namespace test_support;

struct cli_result : process_result {
    nlohmann::json json;  // the report, null when there is none
};

// The program with these words, and with --medium-is-memory for "test" and "read" (the first word):
// the simulated cards keep their sectors in memory.
std::vector<std::string> cli_command(std::vector<std::string> words);

// Runs cli_command(words).
process_result run_cli(std::vector<std::string> words, process_options options = {});

// Runs "test" or "read" (the first word) with a JSON report in a file.
cli_result run_cli_with_report(std::vector<std::string> words, process_options options = {});

// The report that such a run writes while the test does something else.
class report_file {
 public:
    std::string option() const { return "--json=" + path(); }
    std::string path() const { return m_folder.path() + "/report.json"; }
    // The document; null when there is none.
    nlohmann::json read() const;

 private:
    private_folder m_folder;
};

// Counts of all files, or of the file with this number.
sector_tally tally_of(const nlohmann::json &report);
sector_tally tally_of_file(const nlohmann::json &report, int number);

// Whether one of the texts in the list contains this one.
bool any_contains(const nlohmann::json &list, const std::string &text);

std::vector<std::string> lines_of(const std::string &text);

// The run reached its report: the text has all lines, in their order, with the
// JSON's values, and the JSON's numbers agree with each other.
void expect_whole_report(const nlohmann::json &report, const std::string &text);

// An independent reading of the kept test files agrees with the report.
void expect_oracle_agrees(const volume &where, const nlohmann::json &report);

// The engine ended the process by abort(3) in this condition, and the JSON says so.
void expect_aborted_at(const cli_result &run, const std::string &condition);

// The command in the text that removes the left files; empty if there is none.
std::string removal_command(const std::string &text);

// Runs that command as typed into a shell.
process_result run_removal_command(const std::string &command);

}  // namespace system_tests

#endif
