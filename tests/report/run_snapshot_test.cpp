// SPDX-License-Identifier: GPL-3.0-or-later
#include "report/run_snapshot.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "example_run.h"
#include "model/engine_publish.h"
#include "model/engine_record.h"

using range_list = std::vector<std::pair<std::int32_t, std::int32_t>>;

static range_list missing_of(const run_snapshot &run) {
    range_list list;
    for (const engine_missing_range &range : run_snapshot_missing(run))
        list.emplace_back(range.first_index, range.last_index);
    return list;
}

// The records of a run that wrote 5.fff and 6.fff, missed the first when reading and stopped inside
// the second.
static void record_a_run() {
    record_write_start(3 * gib, 4);
    record_write_file(4);
    record_write_file(5);
    record_bytes_written(gib + 1024);
    record_write_average(1000.0);
    record_write_end(ENGINE_WRITE_FULL_IN_FILE);
    record_free_at_end(77, 1);
    record_listing_error(5);
    record_read_start();
    record_missing(4, 4);
    const engine_file_result file = {5, 0, 1024, 1, 0, 1, 0};
    record_reading_file(5);
    record_file(&file);
    record_bytes_read(1024);
    publish_volume_intact(1);
    record_read_end(1, 2.0, 512.0);
}

TEST(run_snapshot, copies_engine_records) {
    record_a_run();
    const run_snapshot run = run_snapshot_collect({true, true, true, 4, 13});
    EXPECT_TRUE(run.scope.expects_all_written);
    EXPECT_EQ(run.scope.start_index, 4);
    EXPECT_EQ(run.scope.removal_listing_error, 13);
    EXPECT_EQ(run.full_file_bytes, gib);
    EXPECT_TRUE(run.volume_intact);
    EXPECT_EQ(run.write.bytes_written, gib + 1024);
    EXPECT_EQ(run.write.files_created, 2);
    EXPECT_EQ(run.write.free_at_end, 77U);
    EXPECT_EQ(run.read.listing_error, 5);
    EXPECT_EQ(run.read.files_cut, 1U);
    ASSERT_EQ(run.files.size(), 1U);
    EXPECT_EQ(run.files[0].index, 5);
    EXPECT_EQ(run.files[0].size, 1024U);
    EXPECT_EQ(run.files[0].changed, 1U);
    EXPECT_EQ(missing_of(run), (range_list{{4, 4}}));
}

TEST(run_snapshot, phase_outside_the_run_is_empty) {
    record_a_run();
    const run_snapshot only_write = run_snapshot_collect({true, false, false, 0, 0});
    EXPECT_EQ(only_write.write.files_created, 2);
    EXPECT_EQ(only_write.read.bytes_read, 0U);
    EXPECT_EQ(only_write.read.finished, 0);
    EXPECT_FALSE(only_write.volume_intact);
    EXPECT_TRUE(only_write.files.empty());
    EXPECT_TRUE(only_write.missing.empty());
    const run_snapshot only_read = run_snapshot_collect({false, true, false, 0, 0});
    EXPECT_EQ(only_read.write.files_created, 0);
    EXPECT_EQ(only_read.files.size(), 1U);
}

TEST(run_snapshot, unfinished_read_phase_is_not_intact) {
    record_a_run();
    publish_volume_intact(1);
    record_read_start();
    EXPECT_FALSE(run_snapshot_collect({false, true, false, 0, 0}).volume_intact);
}

TEST(run_snapshot, written_files_behind_last_read_are_missing) {
    run_snapshot run = intact_run();
    EXPECT_EQ(missing_of(run), range_list{});
    run.write.current_index = 3;
    EXPECT_EQ(missing_of(run), (range_list{{3, 3}}));
    run.write.current_index = 9;
    EXPECT_EQ(missing_of(run), (range_list{{3, 9}}));
    EXPECT_EQ(run_snapshot_missing_count(run), 7U);
    run.missing = {{0, 1}};
    run.read.missing = 2;
    EXPECT_EQ(missing_of(run), (range_list{{0, 1}, {3, 9}}));
    EXPECT_EQ(run_snapshot_missing_count(run), 9U);
}

TEST(run_snapshot, all_written_files_are_missing_when_none_was_read) {
    run_snapshot run = intact_run();
    run.read = {};
    run.read.finished = 1;
    run.files.clear();
    run.write.first_index = 4;
    run.write.current_index = 6;
    EXPECT_EQ(missing_of(run), (range_list{{4, 6}}));
    run.write.files_created = 0;
    EXPECT_EQ(missing_of(run), range_list{});
}

TEST(run_snapshot, end_is_not_missing_when_unknown) {
    run_snapshot run = intact_run();
    run.write.current_index = 9;
    run_snapshot unfinished = run;
    unfinished.read.finished = 0;
    EXPECT_EQ(missing_of(unfinished), range_list{});
    run_snapshot others = run;
    others.scope.expects_all_written = false;
    EXPECT_EQ(missing_of(others), range_list{});
    run_snapshot reading = run;
    reading.scope.has_write = false;
    EXPECT_EQ(missing_of(reading), range_list{});
}

TEST(run_snapshot, largest_index_does_not_overflow) {
    run_snapshot run = intact_run();
    constexpr std::int32_t largest = std::numeric_limits<std::int32_t>::max();
    run.read.current_index = largest;
    run.write.current_index = largest;
    EXPECT_EQ(missing_of(run), range_list{});
    run.read.files = 0;
    EXPECT_EQ(run_snapshot_missing_count(run), std::uint64_t{1} << 31);
}

TEST(run_snapshot, only_short_files_before_the_last_are_cut_short) {
    run_snapshot run = intact_reading();
    for (const engine_file_result &file : run.files)
        EXPECT_FALSE(run_snapshot_is_cut_short(run, file));
    run.files[1].size = gib - 1;
    EXPECT_TRUE(run_snapshot_is_cut_short(run, run.files[1]));
    run.files[1].size = gib + 1;
    EXPECT_FALSE(run_snapshot_is_cut_short(run, run.files[1]));
    run.files[1].size = 0;
    EXPECT_TRUE(run_snapshot_is_cut_short(run, run.files[1]));
    run.files[1].read_all = 0;
    EXPECT_FALSE(run_snapshot_is_cut_short(run, run.files[1]));
}

TEST(run_snapshot, written_run_knows_its_last_file) {
    run_snapshot run = intact_run();
    EXPECT_FALSE(run_snapshot_is_cut_short(run, run.files[2]));
    run.write.current_index = 3;
    EXPECT_TRUE(run_snapshot_is_cut_short(run, run.files[2]));
}

TEST(run_snapshot, each_sector_class_counts_as_tested) {
    run_snapshot run;
    EXPECT_FALSE(run_snapshot_tested(run));
    EXPECT_FALSE(run_snapshot_lost_data(run));
    for (std::uint64_t engine_read_results::*member :
         {&engine_read_results::corrupted, &engine_read_results::changed,
          &engine_read_results::overwritten}) {
        run_snapshot bad;
        bad.read.*member = 1;
        EXPECT_TRUE(run_snapshot_tested(bad));
        EXPECT_TRUE(run_snapshot_lost_data(bad));
    }
    run.read.ok = 1;
    EXPECT_TRUE(run_snapshot_tested(run));
    EXPECT_FALSE(run_snapshot_lost_data(run));
}

TEST(run_snapshot, lost_data_does_not_wrap_to_zero) {
    run_snapshot run;
    run.read.corrupted = std::uint64_t{1} << 63;
    run.read.changed = std::uint64_t{1} << 63;
    EXPECT_TRUE(run_snapshot_lost_data(run));
}

TEST(run_snapshot, file_names_count_from_one) {
    EXPECT_EQ(run_snapshot_file_name(0), "1.fff");
    EXPECT_EQ(run_snapshot_file_name(32767), "32768.fff");
}
