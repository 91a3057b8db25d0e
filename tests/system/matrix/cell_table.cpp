// SPDX-License-Identifier: GPL-3.0-or-later
#include "cell_table.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>

#include "behaviours.h"
#include "device.h"

namespace system_tests {

// Rows and columns have the order of their definitions.
static size_t row_number(const std::string &words) {
    const std::vector<std::string> rows = table_rows();
    return static_cast<size_t>(
        std::distance(rows.begin(), std::find(rows.begin(), rows.end(), words)));
}

static size_t column_number(const std::string &name) {
    const std::vector<file_system> kinds = file_systems();
    const auto found = std::find_if(kinds.begin(), kinds.end(),
                                    [&name](const file_system &kind) { return kind.name == name; });
    return found == kinds.end() ? 0 : static_cast<size_t>(std::distance(kinds.begin(), found)) + 1;
}

table_cell::table_cell(std::string row, std::string column)
    : m_row(std::move(row)), m_column(std::move(column)) {
    append("no outcome");
}

table_cell::~table_cell() {
    if (m_outcome.empty())
        m_outcome = testing::Test::IsSkipped() ? "skipped" : "no outcome";
    append(m_outcome + (testing::Test::HasFailure() ? " FAILED" : ""));
}

// One write(2): other cells append at the same time.
void table_cell::append(const std::string &what) const {
    const char *const path = std::getenv("TROVIK_MATRIX_CELLS");
    if (path == nullptr)
        return;
    const std::string line = std::to_string(row_number(m_row)) + "\t" +
                             std::to_string(column_number(m_column)) + "\t" + m_row + "\t" +
                             m_column + "\t" + what + "\n";
    const int fd = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    EXPECT_EQ(write(fd, line.data(), line.size()), static_cast<ssize_t>(line.size())) << path;
    close(fd);
}

std::string table_words(const cli_result &run) {
    const std::string status = run.signal_number == SIGABRT ? "abort"
                               : run.signal_number != 0
                                   ? "signal " + std::to_string(run.signal_number)
                                   : std::to_string(run.exit_status);
    const bool reported = run.json.is_object() && run.json.at("report").is_object();
    const std::string verdict =
        reported ? run.json.at("verdict").get<std::string>() : std::string("stopped");
    return verdict + " (" + status + ")";
}

}  // namespace system_tests
