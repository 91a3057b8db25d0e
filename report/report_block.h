// SPDX-License-Identifier: GPL-3.0-or-later
// The report: a head, twelve numbered lines, a tail, each with its own time stamp. Users and their
// scripts compare these lines with earlier reports, so the text is fixed, uneven dots and blanks
// included. All functions: any thread.
#ifndef TROVIK_REPORT_REPORT_BLOCK_H
#define TROVIK_REPORT_REPORT_BLOCK_H

#include <array>
#include <cstddef>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "report/report_facts.h"

// Returns the time for the next line; called once per line.
using report_clock = std::function<std::time_t()>;

// The system's clock.
std::time_t report_clock_system();

// One of the numbered lines, without its time stamp and line break.
struct report_row {
    const char *key;    // the value's name in the JSON document
    const char *label;  // from the number to the colon and blank
    std::string value;
};

constexpr std::size_t report_row_count = 12;

// The numbered lines in order.
std::array<report_row, report_row_count> report_block_rows(const report_facts &facts);

// Head, twelve lines, tail; each ends in a line break.
std::vector<std::string> report_block_lines(const report_facts &facts,
                                            const report_clock &clock = report_clock_system);

// The line before the report, printed after the test files were removed.
std::string report_block_all_done(const report_clock &clock = report_clock_system);

// Three lines without time stamps. For a summary of several tests, the caller concatenates them.
std::string report_block_summary(const report_facts &facts);

#endif
