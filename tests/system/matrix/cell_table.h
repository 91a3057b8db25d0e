// The table that a run of several cells prints at its end.
#ifndef TROVIK_TESTS_SYSTEM_MATRIX_CELL_TABLE_H
#define TROVIK_TESTS_SYSTEM_MATRIX_CELL_TABLE_H

#include <string>

#include "../cli_run.h"

namespace system_tests {

// Keeps what one cell came to. Rows and columns stand in the order of their first
// cell.
void table_note(const std::string &row, const std::string &column, const std::string &what);

// "data_lost (65)", or how the process ended when there is no report.
std::string table_words(const cli_result &run);

}  // namespace system_tests

#endif
