#include "report/fill_verdict.h"

#include <gtest/gtest.h>

#include "example_run.h"

static run_snapshot filled_run() {
    run_snapshot run = intact_run();
    run.scope.has_read = false;
    run.read = {};
    run.files.clear();
    return run;
}

TEST(fill_verdict, a_volume_that_is_full_is_filled) {
    const fill_verdict verdict = fill_verdict_judge(filled_run());
    EXPECT_TRUE(verdict.filled);
    EXPECT_TRUE(verdict.reasons.empty());
    EXPECT_EQ(verdict.sentence, "Filled: 3 test files with 2.5 GB to be read back.");
    EXPECT_EQ(fill_verdict_exit_status(verdict), 0);
}

TEST(fill_verdict, what_speaks_against_a_whole_run_speaks_against_filling) {
    run_snapshot not_ended = filled_run();
    not_ended.write.end = ENGINE_WRITE_NOT_ENDED;
    run_snapshot space_left = filled_run();
    space_left.write.free_at_end = gib;
    run_snapshot no_space = filled_run();
    no_space.write = {};
    no_space.write.end = ENGINE_WRITE_NO_FREE_SPACE;
    run_snapshot no_data = filled_run();
    no_data.write.bytes_written = 0;
    run_snapshot old_files = filled_run();
    old_files.scope.removal_listing_error = 5;
    for (const run_snapshot &run : {not_ended, space_left, no_space, no_data, old_files}) {
        const fill_verdict verdict = fill_verdict_judge(run);
        EXPECT_FALSE(verdict.filled);
        EXPECT_EQ(verdict.reasons.size(), 1U);
        EXPECT_EQ(fill_verdict_exit_status(verdict), 74);
    }
}

TEST(fill_verdict, space_below_one_percent_is_a_note) {
    run_snapshot run = filled_run();
    run.write.free_at_end = 4096;
    const fill_verdict verdict = fill_verdict_judge(run);
    EXPECT_TRUE(verdict.filled);
    EXPECT_EQ(verdict.notes.size(), 1U);
}
