// What one run has shown, copied out of the engine at one moment: the verdict
// and the JSON document are made from this copy, so that both speak of the same
// run, and so that runs can be made up in tests.
//
// The engine never resets its records before a phase starts anew. A phase that
// was not part of the run is therefore left empty here instead of showing the
// run before.
#ifndef TROVIK_REPORT_RUN_SNAPSHOT_H
#define TROVIK_REPORT_RUN_SNAPSHOT_H

#include <cstdint>
#include <string>
#include <vector>

#include "model/engine_results.h"

// What only the shell that started the run knows.
struct run_scope {
    bool has_write = false;  // the write phase was started
    bool has_read = false;   // the read phase, or the listing before it, was started
    // The files to be read are exactly those that this run wrote.
    bool expects_all_written = false;
    std::int32_t start_index = 0;  // of the first test file asked for
    // Error number when the folder could not be read to its end while old test
    // files were being removed, else 0. The engine keeps only the last listing's.
    std::int32_t removal_listing_error = 0;
    // The volume was unmounted or replaced during the run.
    bool volume_gone = false;
    // What was read may have come from the computer's memory and not from the
    // volume's medium.
    bool may_rest_on_memory = false;
};

struct run_snapshot {
    run_scope scope;
    std::uint64_t full_file_bytes = 1073741824;  // of every test file but the last
    bool volume_intact = false;                  // the engine's word; true only after a read phase
    engine_write_results write{};
    engine_read_results read{};
    std::vector<engine_file_result> files;  // in the order of reading
    // Numbers missing in front of or between the files; not yet those behind them.
    std::vector<engine_missing_range> missing;
};

// Copies the engine's results. Complete once the engine rests; while it works
// (the handler of a process-ending failure calls this) the copy holds what has
// been recorded so far. Any thread.
run_snapshot run_snapshot_collect(const run_scope &scope);

// All test files that should have been read and are not there: those of the
// engine's record, and those that this run wrote behind the last one read.
std::vector<engine_missing_range> run_snapshot_missing(const run_snapshot &run);

// Their number; may exceed the ranges, of which the engine records a limited
// number.
std::uint64_t run_snapshot_missing_count(const run_snapshot &run);

// Whether at least one sector was read and judged.
bool run_snapshot_tested(const run_snapshot &run);

// Whether any sector did not come back as it was written.
bool run_snapshot_lost_data(const run_snapshot &run);

// Whether the file was read to its end and yet is shorter than every file but a
// run's last one is.
bool run_snapshot_is_cut_short(const run_snapshot &run, const engine_file_result &file);

// Whether the read phase reached its end, so that the totals are final.
bool run_snapshot_read_finished(const run_snapshot &run);

// "3.fff" for index 2.
std::string run_snapshot_file_name(std::int32_t index);

#endif
