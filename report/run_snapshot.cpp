// SPDX-License-Identifier: GPL-3.0-or-later
#include "report/run_snapshot.h"

#include <algorithm>
#include <array>
#include <optional>

#include "model/engine_status.h"
#include "model/utils.h"

static void collect_read_part(run_snapshot &run) {
    engine_results_read(&run.read);
    // The engine publishes the flag at the end of the phase; until then it is an earlier run's.
    run.volume_intact = run.read.finished != 0 && get_volume_intact() != 0;
    const std::size_t file_count = engine_results_file_count();
    run.files.reserve(file_count);
    engine_file_result file{};
    for (std::size_t i = 0; i < file_count && engine_results_file(i, &file) != 0; ++i)
        run.files.push_back(file);
    const std::size_t missing_count = engine_results_missing_count();
    engine_missing_range range{};
    for (std::size_t i = 0; i < missing_count && engine_results_missing(i, &range) != 0; ++i)
        run.missing.push_back(range);
}

run_snapshot run_snapshot_collect(const run_scope &scope) {
    run_snapshot run;
    run.scope = scope;
    run.full_file_bytes = test_file_size;
    if (scope.has_write)
        engine_results_write(&run.write);
    if (scope.has_read)
        collect_read_part(run);
    return run;
}

bool run_snapshot_read_finished(const run_snapshot &run) {
    return run.scope.has_read && run.read.finished != 0;
}

// The files written behind the last one read.
static std::optional<engine_missing_range> missing_at_end(const run_snapshot &run) {
    const bool knows_last = run.scope.has_write && run.scope.expects_all_written &&
                            run.write.files_created > 0 && run_snapshot_read_finished(run);
    if (!knows_last)
        return std::nullopt;
    if (run.read.files == 0)
        return engine_missing_range{run.write.first_index, run.write.current_index};
    if (run.read.current_index >= run.write.current_index)
        return std::nullopt;
    return engine_missing_range{run.read.current_index + 1, run.write.current_index};
}

static std::uint64_t range_count(const engine_missing_range &range) {
    return static_cast<std::uint64_t>(static_cast<std::int64_t>(range.last_index) -
                                      range.first_index + 1);
}

std::vector<engine_missing_range> run_snapshot_missing(const run_snapshot &run) {
    std::vector<engine_missing_range> missing = run.missing;
    if (const auto range = missing_at_end(run))
        missing.push_back(*range);
    return missing;
}

std::uint64_t run_snapshot_missing_count(const run_snapshot &run) {
    const auto range = missing_at_end(run);
    return run.read.missing + (range ? range_count(*range) : 0);
}

bool run_snapshot_lost_data(const run_snapshot &run) {
    // The sum could wrap to 0.
    return run.read.corrupted != 0 || run.read.changed != 0 || run.read.overwritten != 0;
}

bool run_snapshot_tested(const run_snapshot &run) {
    return run.read.ok != 0 || run_snapshot_lost_data(run);
}

bool run_snapshot_is_cut_short(const run_snapshot &run, const engine_file_result &file) {
    if (file.read_all == 0 || file.size >= run.full_file_bytes)
        return false;
    // The last file is as long as the free space allowed. A run that wrote knows its index;
    // otherwise it is the last file found.
    const bool knows_last = run.scope.has_write && run.scope.expects_all_written;
    const std::int32_t last_index = knows_last ? run.write.current_index : run.read.current_index;
    return file.index < last_index;
}

std::string run_snapshot_file_name(std::int32_t index) {
    std::array<char, ENGINE_PATH_MAX> path{};
    const char *name = nullptr;
    full_fn_from_number(path.data(), &name, "", index);
    return name;
}
