// SPDX-License-Identifier: GPL-3.0-or-later
#include "report/verdict_reasons.h"

#include <gtest/gtest.h>

#include "example_run.h"
#include "report/verdict.h"

using reasons = std::vector<std::string>;

TEST(verdict_reasons, names_most_important_first) {
    const reasons found = verdict_judge(counterfeit_run()).reasons;
    ASSERT_EQ(found.size(), 6U);
    EXPECT_EQ(found[0],
              "Data lost: 1.0 GB of the 2.5 GB that were read did not come back as written, first "
              "in 2.fff.");
    EXPECT_EQ(found[1],
              "Corrupted: 1048576 sectors (512.0 MB), no longer recognizable as test data.");
    EXPECT_EQ(found[2],
              "Overwritten: 1048576 sectors (512.0 MB), holding what was written to another "
              "place, as on a volume that claims more than it has.");
    EXPECT_EQ(found[3], "3.fff could be read only up to byte 536870912: input/output error.");
    EXPECT_EQ(found[4], "Missing: 4.fff.");
    EXPECT_EQ(found[5], "Of 3489660928 bytes written, 2684354560 were read back (768.0 MB less).");
}

TEST(verdict_reasons, uses_singular_for_one_sector) {
    run_snapshot run = intact_reading();
    run.read.changed = 1;
    run.files[2].changed = 1;
    EXPECT_EQ(verdict_judge(run).reasons,
              (reasons{"Data lost: 512.0 Byte of the 2.5 GB that were read did not come back as "
                       "written, first in 3.fff.",
                       "Changed: 1 sector (512.0 Byte), differing in one or two words from what "
                       "was written."}));
}

TEST(verdict_reasons, explains_nothing_tested) {
    EXPECT_EQ(verdict_judge(run_snapshot()).reasons,
              reasons{"Nothing was tested: no test file was read back."});
    run_snapshot run;
    run.scope.has_read = true;
    run.read.finished = run.read.counts_agree = 1;
    run.volume_intact = true;
    EXPECT_EQ(verdict_judge(run).reasons,
              reasons{"Nothing was tested: there was no test file to read back."});
    run.read.files = run.read.files_cut = 1;
    run.files = {{0, 0, 0, 0, 0, 0, 0}};
    EXPECT_EQ(verdict_judge(run).reasons,
              (reasons{"Nothing was tested: no sector could be read back.",
                       "1.fff could be read only up to byte 0: input/output error."}));
}

TEST(verdict_reasons, early_end_gives_bytes_done) {
    run_snapshot run;
    run.scope.has_write = true;
    run.write.write_error = 5;
    run.write.current_index = 1;
    run.write.bytes_written = 3 * gib / 2;
    EXPECT_EQ(verdict_judge(run).reasons,
              (reasons{"Nothing was tested: no test file was read back.",
                       "Writing failed in 2.fff: Input/output error.",
                       "Filling the volume did not finish; 1.5 GB were written."}));
    run_snapshot reading = intact_reading();
    reading.read.finished = 0;
    EXPECT_EQ(verdict_judge(reading).reasons,
              reasons{"Reading back did not finish; 2.5 GB were read."});
}

TEST(verdict_reasons, names_first_and_last_missing_file) {
    run_snapshot run = intact_reading();
    run.missing = {{0, 0}, {3, 6}};
    run.read.missing = 5;
    EXPECT_EQ(verdict_judge(run).reasons,
              (reasons{"Missing: 1.fff.", "Missing: 4.fff to 7.fff (4 test files)."}));
}

TEST(verdict_reasons, long_lists_end_with_a_count) {
    run_snapshot run = intact_reading();
    run.files.clear();
    run.missing.clear();
    for (std::int32_t i = 0; i < 50; ++i) {
        run.files.push_back({2 * i, 0, 512, 1, 0, 0, 0});
        run.missing.push_back({2 * i + 1, 2 * i + 1});
    }
    run.read.files = run.read.files_cut = 60;
    run.read.missing = 21;
    const reasons found = verdict_judge(run).reasons;
    ASSERT_EQ(found.size(), 2 * (verdict_names_max + 1));
    EXPECT_EQ(found[20], "More files that could not be read to their end: 40.");
    EXPECT_EQ(found[21], "Missing: 2.fff.");
    EXPECT_EQ(found[41], "More files that are missing: 1.");
}

TEST(verdict_reasons, names_short_files_with_size) {
    run_snapshot run = intact_reading();
    run.files[1].size = 1000;
    run.files[2].size = 1025;
    EXPECT_EQ(verdict_judge(run).reasons,
              (reasons{"2.fff ends at byte 1000 instead of 1073741824: the rest is missing.",
                       "3.fff ends inside a sector: its last 1 byte could not be judged."}));
}

TEST(verdict_reasons, long_list_of_short_files_ends_with_a_count) {
    run_snapshot run = intact_reading();
    run.files.assign(25, {0, 1, 512, 1, 0, 0, 0});
    const reasons found = verdict_judge(run).reasons;
    ASSERT_EQ(found.size(), verdict_names_max + 1);
    EXPECT_EQ(found.back(), "More files that end too early: 5.");
}

TEST(verdict_reasons, gives_exact_byte_difference) {
    run_snapshot run = intact_run();
    run.write.bytes_written += 1024;
    EXPECT_EQ(verdict_judge(run).reasons,
              reasons{"Of 2684355584 bytes written, 2684354560 were read back (1.0 KB less)."});
    run.write.bytes_written -= 2048;
    EXPECT_EQ(verdict_judge(run).reasons,
              reasons{"Of 2684353536 bytes written, 2684354560 were read back (1.0 KB more)."});
}

TEST(verdict_reasons, reports_wrong_counts_and_flag) {
    run_snapshot run = intact_reading();
    run.volume_intact = false;
    EXPECT_EQ(verdict_judge(run).reasons,
              reasons{"The engine reports the data as not intact and gives no reason."});
    run.read.counts_agree = 0;
    EXPECT_EQ(verdict_judge(run).reasons,
              reasons{"The sectors that were counted do not add up to the bytes read."});
}

TEST(verdict_reasons, listing_error_has_system_text) {
    run_snapshot run = intact_reading();
    run.read.listing_error = 5;
    run.scope.removal_listing_error = 19;
    EXPECT_EQ(verdict_judge(run).reasons,
              (reasons{"The folder could not be listed completely (Input/output error): there may "
                       "be test files that were not read.",
                       "The folder could not be listed completely (No such device) when old test "
                       "files were removed: some may still take up space."}));
}

TEST(verdict_reasons, gives_space_left_with_percentage) {
    run_snapshot run = intact_run();
    run.write.free_at_start = 100 * gib;
    run.write.free_at_end = 5 * gib;
    EXPECT_EQ(verdict_judge(run).reasons,
              reasons{"5.0 GB (5.0 %) of the 100.0 GB that were free could not be filled and were "
                      "not tested. On ext4 the usual reasons are blocks reserved for the "
                      "super-user (run as root to test them) and, on a small volume, for the file "
                      "system itself."});
    run.scope.volume_gone = true;
    EXPECT_EQ(verdict_judge(run).reasons,
              reasons{"The volume was unmounted or replaced during the run."});
    run.scope.volume_gone = false;
    run.write.free_at_end = gib / 2;
    EXPECT_EQ(verdict_judge(run).notes,
              reasons{"512.0 MB of free space could not be filled and were not tested; this is "
                      "below 1 %."});
    run.write.free_at_end_known = 0;
    EXPECT_EQ(verdict_judge(run).reasons,
              reasons{"How much space was left untested is unknown: the file system did not report "
                      "its free space at the end."});
    run.write.end = ENGINE_WRITE_NO_FREE_SPACE;
    EXPECT_EQ(verdict_judge(run).reasons,
              reasons{"Nothing was written: the volume had no free space, or its file system did "
                      "not report it."});
}

TEST(verdict_reasons, tells_recovered_error_from_stopped_file) {
    run_snapshot run = intact_reading();
    run.read.files_cut = 1;
    run.files[0].read_all = 0;
    EXPECT_EQ(verdict_judge(run).reasons,
              reasons{"1.fff was read to its end, but only after an input/output error."});
    EXPECT_EQ(verdict_judge(run).verdict, run_verdict::incomplete);
}
