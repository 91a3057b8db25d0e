// SPDX-License-Identifier: GPL-3.0-or-later
// Example runs for the tests.
#ifndef TROVIK_TESTS_REPORT_EXAMPLE_RUN_H
#define TROVIK_TESTS_REPORT_EXAMPLE_RUN_H

#include <cstdint>

#include "report/report_json.h"
#include "report/run_snapshot.h"

constexpr std::uint64_t gib = 1073741824;
constexpr std::uint64_t sectors_per_gib = gib / 512;

// Filled a volume of 2.5 GiB free space and read everything back intact: 1.fff and 2.fff with 1
// GiB, 3.fff with half of it. No free space left.
run_snapshot intact_run();

// The same files, read by a run without a write phase.
run_snapshot intact_reading();

// A counterfeit volume: wrote 3.25 GiB as four files. The second half of 2.fff is
// overwritten, 3.fff is corrupted and unreadable from its middle on, 4.fff is missing.
run_snapshot counterfeit_run();

// The document of counterfeit_run(), which docs/report-json.md shows.
report_json_input counterfeit_document();

#endif
