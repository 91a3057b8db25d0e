// SPDX-License-Identifier: GPL-3.0-or-later
// The table of the matrix. Each cell appends lines to the file that the environment
// variable TROVIK_MATRIX_CELLS names, as CTest gives every cell a process of its own;
// scripts/matrix_table.awk makes one table of them.
#ifndef TROVIK_TESTS_SYSTEM_MATRIX_CELL_TABLE_H
#define TROVIK_TESTS_SYSTEM_MATRIX_CELL_TABLE_H

#include <string>

#include "../cli_run.h"

namespace system_tests {

// What one cell comes to, as long as the test lives. The last line counts: "no outcome"
// stays of a test that died, "skipped" of one that skipped itself without a note.
class table_cell {
 public:
    table_cell(std::string row, std::string column);
    ~table_cell();
    table_cell(const table_cell &) = delete;
    table_cell &operator=(const table_cell &) = delete;
    void note(const std::string &what) { m_outcome = what; }

 private:
    void append(const std::string &what) const;

    std::string m_row;
    std::string m_column;
    std::string m_outcome;
};

// "data_lost (65)", or how the process ended when there is no report.
std::string table_words(const cli_result &run);

}  // namespace system_tests

#endif
