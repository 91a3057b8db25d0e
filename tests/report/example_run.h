// Runs made up for the tests.
#ifndef TROVIK_TESTS_REPORT_EXAMPLE_RUN_H
#define TROVIK_TESTS_REPORT_EXAMPLE_RUN_H

#include <cstdint>

#include "report/report_json.h"
#include "report/run_snapshot.h"

constexpr std::uint64_t gib = 1073741824;
constexpr std::uint64_t sectors_per_gib = gib / 512;

// A run that filled a volume with 2.5 GiB free and read everything back intact:
// 1.fff and 2.fff in full, half of 3.fff. Nothing is left free.
run_snapshot intact_run();

// The same files, read without having been written in this run.
run_snapshot intact_reading();

// A counterfeit: 3.25 GiB were free and were written as four files. The second
// half of 2.fff was overwritten, 3.fff is corrupted and stops in its middle, 4.fff
// is not there.
run_snapshot counterfeit_run();

// The document of the counterfeit's run, as docs/report-json.md shows it.
report_json_input counterfeit_document();

#endif
