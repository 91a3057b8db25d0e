// SPDX-License-Identifier: GPL-3.0-or-later
// The results of one run, copied from the engine at one moment. The verdict and the JSON document
// are made from one copy, so that they agree. Tests make their own.
//
// The engine keeps its records until the same phase starts again. A phase that was not part of the
// run is therefore left empty here; the engine's record of it belongs to an earlier run. All
// functions: any thread.
#ifndef TROVIK_REPORT_RUN_SNAPSHOT_H
#define TROVIK_REPORT_RUN_SNAPSHOT_H

#include <cstdint>
#include <string>
#include <vector>

#include "model/engine_results.h"

// Facts that the shell knows and the engine does not.
struct run_scope {
    bool has_write = false;  // the write phase was started
    bool has_read = false;   // the read phase, or the listing before it, was started
    // The run reads exactly the files it wrote.
    bool expects_all_written = false;
    std::int32_t start_index = 0;  // of the first requested test file
    // Error of listing the folder while old test files were removed, else 0. The engine keeps only
    // the error of its last listing.
    std::int32_t removal_listing_error = 0;
    bool volume_gone = false;         // unmounted or replaced during the run
    bool may_rest_on_memory = false;  // some data may have been read from memory, not the medium
};

struct run_snapshot {
    run_scope scope;
    std::uint64_t full_file_bytes = 1073741824;  // of every test file but the last
    bool volume_intact = false;                  // the engine's flag; false without a read phase
    engine_write_results write{};
    engine_read_results read{};
    std::vector<engine_file_result> files;  // in the order of reading
    // Indexes missing before or between the files; run_snapshot_missing adds those behind them.
    std::vector<engine_missing_range> missing;
};

// Copies the engine's results. While the engine is running (the handler of a process-ending failure
// calls this), the copy holds the records so far.
run_snapshot run_snapshot_collect(const run_scope &scope);

// All missing test files: those in the engine's record, and those that this run wrote behind the
// last one read.
std::vector<engine_missing_range> run_snapshot_missing(const run_snapshot &run);

// Their number. May exceed the sum of the ranges: the engine records a limited number of ranges.
std::uint64_t run_snapshot_missing_count(const run_snapshot &run);

// Whether at least one sector was read.
bool run_snapshot_tested(const run_snapshot &run);

// Whether any sector did not come back as it was written.
bool run_snapshot_lost_data(const run_snapshot &run);

// Whether the file was read to its end but is shorter than a full test file, which only the last
// one may be.
bool run_snapshot_is_cut_short(const run_snapshot &run, const engine_file_result &file);

// Whether the read phase finished, so that the totals are final.
bool run_snapshot_read_finished(const run_snapshot &run);

// "3.fff" for index 2.
std::string run_snapshot_file_name(std::int32_t index);

#endif
