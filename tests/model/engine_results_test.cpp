// SPDX-License-Identifier: GPL-3.0-or-later
/* The records beside the status values are complete once counted, bounded, and reset phase
 * by phase. Their contents are tested with the phases. */
#include "model/engine_results.h"

#include <gtest/gtest.h>

#include "model/engine_record.h"
#include "support.h"

using model_tests::read_results;
using model_tests::write_results;

TEST(engine_results, shows_phase_until_next_one) {
    EXPECT_EQ(record_phase(ENGINE_PHASE_REMOVING), ENGINE_PHASE_IDLE);
    EXPECT_EQ(engine_results_phase(), ENGINE_PHASE_REMOVING);
    EXPECT_EQ(record_phase(ENGINE_PHASE_READING), ENGINE_PHASE_REMOVING);
    EXPECT_EQ(record_phase(ENGINE_PHASE_IDLE), ENGINE_PHASE_READING);
}

TEST(engine_results, write_phase_resets_only_write_part) {
    record_read_start();
    record_bytes_read(512);
    record_write_start(100, 0);
    record_write_file(0);
    record_write_file(1);
    record_bytes_written(77);
    record_write_error(28);
    record_write_end(ENGINE_WRITE_FULL_AT_FILE);
    record_write_average(1.0);
    record_free_at_end(3, 1);
    EXPECT_EQ(write_results().files_created, 2);
    EXPECT_EQ(write_results().current_index, 1);
    record_write_start(200, 5);
    const engine_write_results results = write_results();
    EXPECT_EQ(results.free_at_start, 200U);
    EXPECT_EQ(results.first_index, 5);
    EXPECT_EQ(results.bytes_written, 0U);
    EXPECT_EQ(results.files_created, 0);
    EXPECT_EQ(results.write_error, 0);
    EXPECT_EQ(results.end, ENGINE_WRITE_NOT_ENDED);
    EXPECT_EQ(results.average_known, 0);
    EXPECT_EQ(results.average_bytes_per_s, 0.0);
    EXPECT_EQ(results.free_at_end, 0U);
    EXPECT_EQ(results.free_at_end_known, 0);
    EXPECT_EQ(read_results().bytes_read, 512U);
    record_read_start();
    EXPECT_EQ(read_results().bytes_read, 0U);
    EXPECT_EQ(write_results().free_at_start, 200U);
}

TEST(engine_results, adds_recorded_file_to_totals_and_list) {
    record_read_start();
    const engine_file_result whole = {0, 1, 2048, 1, 1, 1, 1};
    const engine_file_result cut = {3, 0, 1024, 2, 0, 0, 0};
    record_file(&whole);
    record_missing(1, 2);
    record_file(&cut);
    const engine_read_results results = read_results();
    EXPECT_EQ(results.ok, 3U);
    EXPECT_EQ(results.corrupted, 1U);
    EXPECT_EQ(results.changed, 1U);
    EXPECT_EQ(results.overwritten, 1U);
    EXPECT_EQ(results.files, 2U);
    EXPECT_EQ(results.files_cut, 1U);
    EXPECT_EQ(results.missing, 2U);
    EXPECT_EQ(results.finished, 0);
    ASSERT_EQ(engine_results_file_count(), 2U);
    engine_file_result file = {};
    ASSERT_EQ(engine_results_file(1, &file), 1);
    EXPECT_EQ(file.index, 3);
    EXPECT_EQ(file.read_all, 0);
    EXPECT_EQ(file.size, 1024U);
    EXPECT_EQ(file.ok, 2U);
    EXPECT_EQ(engine_results_file(2, &file), 0);
    engine_missing_range range = {};
    ASSERT_EQ(engine_results_missing_count(), 1U);
    ASSERT_EQ(engine_results_missing(0, &range), 1);
    EXPECT_EQ(range.first_index, 1);
    EXPECT_EQ(range.last_index, 2);
    EXPECT_EQ(engine_results_missing(1, &range), 0);
    record_read_start();
    EXPECT_EQ(engine_results_file_count(), 0U);
    EXPECT_EQ(engine_results_missing_count(), 0U);
    EXPECT_EQ(engine_results_file(0, &file), 0);
    EXPECT_EQ(engine_results_missing(0, &range), 0);
}

TEST(engine_results, records_end_of_read_phase_last) {
    record_read_start();
    record_read_end(1, 2.5, 1000.0);
    EXPECT_EQ(read_results().finished, 1);
    EXPECT_EQ(read_results().counts_agree, 1);
    EXPECT_EQ(read_results().reading_s, 2.5);
    EXPECT_EQ(read_results().bytes_per_s, 1000.0);
    record_read_start();
    EXPECT_EQ(read_results().finished, 0);
}

TEST(engine_results, missing_range_may_span_all_indexes) {
    record_read_start();
    record_missing(0, 2147483646);
    EXPECT_EQ(read_results().missing, 2147483647U);
    record_read_start();
}

TEST(engine_results, counts_files_beyond_the_records_in_totals) {
    record_read_start();
    for (int index = 0; index < ENGINE_RESULTS_FILES_MAX + 10; ++index) {
        const engine_file_result file = {index, 1, 512, 1, 0, 0, 0};
        record_file(&file);
        record_missing(index, index);
    }
    EXPECT_EQ(engine_results_file_count(), static_cast<size_t>(ENGINE_RESULTS_FILES_MAX));
    EXPECT_EQ(engine_results_missing_count(), static_cast<size_t>(ENGINE_RESULTS_FILES_MAX));
    EXPECT_EQ(read_results().files, ENGINE_RESULTS_FILES_MAX + 10U);
    EXPECT_EQ(read_results().ok, ENGINE_RESULTS_FILES_MAX + 10U);
    EXPECT_EQ(read_results().missing, ENGINE_RESULTS_FILES_MAX + 10U);
    engine_file_result last = {};
    EXPECT_EQ(engine_results_file(ENGINE_RESULTS_FILES_MAX - 1, &last), 1);
    EXPECT_EQ(last.index, ENGINE_RESULTS_FILES_MAX - 1);
    EXPECT_EQ(engine_results_file(ENGINE_RESULTS_FILES_MAX, &last), 0);
    record_read_start();
}

TEST(engine_results, keeps_listing_error_across_other_phases) {
    record_listing_error(5);
    record_write_start(1, 0);
    EXPECT_EQ(read_results().listing_error, 5);
    record_listing_error(0);
    EXPECT_EQ(read_results().listing_error, 0);
}
