// SPDX-License-Identifier: GPL-3.0-or-later
// The rows of the matrix: a fault of the card, the simulator's options for it, and the program's
// expected outcome, stated before it runs.
//
// As a folder the simulated card gives sectors to files in the order of writing, so
// the expectation is exact. On a real file system allocation decides which sector is
// hit, and damage may be answered with an error; there the expectation is a class.
#ifndef TROVIK_TESTS_SYSTEM_MATRIX_BEHAVIOURS_H
#define TROVIK_TESTS_SYSTEM_MATRIX_BEHAVIOURS_H

#include <functional>
#include <string>
#include <vector>

#include "../cli_run.h"
#include "../sector_oracle.h"

namespace system_tests {

// How a run on the folder ends.
struct folder_outcome {
    std::string verdict = "intact";
    int exit_status = 0;  // or
    int signal_number = 0;
    sector_tally counts = {};
    std::uint64_t bytes_written = 8 * mib;
    std::vector<std::string> lines = {};  // on standard output or standard error
    std::vector<int> files_left = {};
    bool gone = false;  // the card is out of reach
};

// The commands that run between mount and report.
enum class procedure {
    test,           // the whole run
    four_gib_away,  // 1.fff and 5.fff, written one after the other, are read
};

// Sectors of the device that hold test data, in the order of the test files' bytes.
using data_sectors = std::vector<std::uint64_t>;

// The state of the device's file system before the run.
enum class preparation {
    none,
    half_full,      // by a file that ends inside a block
    no_more_files,  // bytes are free, files cannot be created; where that can be had
};

enum class promise {
    intact,          // all came back; the unfilled space decides the rest
    never_intact,    // and the counts are those of the kept files
    gone,            // never intact; there is nothing left to compare with
    after_report,    // all was read before the fault: the verdict remains, the run ends
    nothing_tested,  // and nothing was written
    none,            // has no meaning for a block device, or a test of its own
};

struct behaviour {
    const char *name;   // for the test
    const char *words;  // for the table
    std::vector<std::string> options;
    folder_outcome folder;

    promise image = promise::never_intact;
    // Options for a device whose test data lies there.
    std::function<std::vector<std::string>(const data_sectors &)> image_options = {};
    preparation prepared = preparation::none;
    bool writing_damages = false;  // later writes can hit test files
    const char *kill_after = "";   // the simulator dies when the output says this
    procedure how = procedure::test;
    std::vector<std::string> command_options = {};

    friend void PrintTo(const behaviour &row, std::ostream *out) { *out << row.name; }
};

// Rows for the folder that every check has time for, and the others.
std::vector<behaviour> quick_behaviours();
std::vector<behaviour> slow_behaviours();
// The words of all rows, in their order.
std::vector<std::string> table_rows();
// Those that have a meaning on a block device.
std::vector<behaviour> device_behaviours();

}  // namespace system_tests

#endif
