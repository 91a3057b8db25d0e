// SPDX-License-Identifier: GPL-3.0-or-later
#include "report/verdict.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>

#include "example_run.h"

using change = std::function<void(run_snapshot &)>;

struct verdict_case {
    const char *name;
    run_snapshot run;
    change make;
    run_verdict verdict;
};

static void clear_read(run_snapshot &run) {
    run.read = {};
    run.read.finished = 1;
    run.read.counts_agree = 1;
    run.files.clear();
}

static std::vector<verdict_case> cases() {
    const run_snapshot filled = intact_run();
    const run_snapshot reading = intact_reading();
    const auto intact = run_verdict::intact;
    const auto lost = run_verdict::data_lost;
    const auto incomplete = run_verdict::incomplete;
    const auto nothing = run_verdict::nothing_tested;
    return {
        {"filled and read", filled, [](run_snapshot &) {}, intact},
        {"only read", reading, [](run_snapshot &) {}, intact},
        {"counterfeit", counterfeit_run(), [](run_snapshot &) {}, lost},
        {"full when creating a file", filled,
         [](auto &run) { run.write.end = ENGINE_WRITE_FULL_AT_FILE; }, intact},
        {"an empty last file", filled,
         [](auto &run) {
             run.files.push_back({3, 1, 0, 0, 0, 0, 0});
             run.read.files = 4;
             run.read.current_index = 3;
             run.write.current_index = 3;
             run.write.files_created = 4;
             run.files[2].size = gib;
             run.files[2].ok = sectors_per_gib;
             run.read.bytes_read = run.write.bytes_written = 3 * gib;
         },
         intact},
        {"started at the fifth file", filled,
         [](auto &run) {
             run.scope.start_index = run.write.first_index = 4;
             run.write.current_index = run.read.current_index = 6;
             for (engine_file_result &file : run.files)
                 file.index += 4;
         },
         intact},
        {"perhaps read from memory", filled, [](auto &run) { run.scope.may_rest_on_memory = true; },
         run_verdict::unproven},
        {"perhaps read from memory, only read", reading,
         [](auto &run) { run.scope.may_rest_on_memory = true; }, run_verdict::unproven},
        {"perhaps read from memory, and bad", counterfeit_run(),
         [](auto &run) { run.scope.may_rest_on_memory = true; }, lost},
        {"perhaps read from memory, a file missing", filled,
         [](auto &run) {
             run.scope.may_rest_on_memory = true;
             run.missing.push_back({1, 1});
             run.read.missing = 1;
         },
         incomplete},
        {"volume gone", filled, [](auto &run) { run.scope.volume_gone = true; }, incomplete},
        // one bad sector of each class
        {"a corrupted sector", filled, [](auto &run) { run.read.corrupted = 1; }, lost},
        {"a changed sector", filled, [](auto &run) { run.read.changed = 1; }, lost},
        {"an overwritten sector", filled, [](auto &run) { run.read.overwritten = 1; }, lost},
        {"bad sectors alone", reading,
         [](auto &run) {
             run.read.ok = 0;
             run.read.corrupted = 5;
         },
         lost},
        {"a bad sector before reading ended", filled,
         [](auto &run) {
             run.read.changed = 1;
             run.read.finished = 0;
         },
         lost},
        {"a bad sector and an intact flag", filled,
         [](auto &run) {
             run.read.changed = 1;
             run.volume_intact = true;
         },
         lost},
        {"a bad sector and all other faults", filled,
         [](auto &run) {
             run.read.changed = 1;
             run.read.files_cut = 1;
             run.read.missing = 1;
             run.read.listing_error = 5;
             run.read.counts_agree = 0;
             run.write.free_at_end = gib;
         },
         lost},
        // not everything read
        {"a stopped file", reading,
         [](auto &run) {
             run.files[1].read_all = 0;
             run.read.files_cut = 1;
         },
         incomplete},
        {"a stopped file beyond the records", reading, [](auto &run) { run.read.files_cut = 1; },
         incomplete},
        {"a missing file", reading,
         [](auto &run) {
             run.missing = {{1, 1}};
             run.read.missing = 1;
         },
         incomplete},
        {"a missing file beyond the records", reading, [](auto &run) { run.read.missing = 1; },
         incomplete},
        {"the last written file missing", filled, [](auto &run) { run.write.current_index = 3; },
         incomplete},
        {"fewer bytes read than written", filled, [](auto &run) { run.write.bytes_written += 1; },
         incomplete},
        {"more bytes read than written", filled, [](auto &run) { run.write.bytes_written -= 1; },
         incomplete},
        {"files of another run, other bytes", filled,
         [](auto &run) {
             run.scope.expects_all_written = false;
             run.write.bytes_written -= 1;
         },
         intact},
        {"a listing error", reading, [](auto &run) { run.read.listing_error = 5; }, incomplete},
        {"a listing error while removing", filled,
         [](auto &run) { run.scope.removal_listing_error = 5; }, incomplete},
        {"counts that do not agree", reading,
         [](auto &run) {
             run.read.counts_agree = 0;
             run.volume_intact = false;
         },
         incomplete},
        {"a cleared intact flag without a reason", reading,
         [](auto &run) { run.volume_intact = false; }, incomplete},
        {"a short first file", reading, [](auto &run) { run.files[0].size = gib / 2; }, incomplete},
        {"the only file, short", reading,
         [](auto &run) {
             run.files = {{0, 1, 512, 1, 0, 0, 0}};
             run.read.files = 1;
             run.read.current_index = 0;
             run.read.ok = 1;
             run.read.bytes_read = 512;
         },
         intact},
        {"a last file that ends inside a sector", reading,
         [](auto &run) { run.files[2].size += 100; }, incomplete},
        {"reading not finished", reading, [](auto &run) { run.read.finished = 0; }, incomplete},
        // filling
        {"filling not finished", filled, [](auto &run) { run.write.end = ENGINE_WRITE_NOT_ENDED; },
         incomplete},
        {"a failed write", filled, [](auto &run) { run.write.write_error = 5; }, incomplete},
        {"the free space at the end unknown", filled,
         [](auto &run) { run.write.free_at_end_known = 0; }, incomplete},
        {"no free space, but a file read", filled,
         [](auto &run) {
             run.write.end = ENGINE_WRITE_NO_FREE_SPACE;
             run.write.free_at_end_known = 0;
         },
         incomplete},
        // nothing tested
        {"an empty run", run_snapshot(), [](auto &) {}, nothing},
        {"no files to read", reading, clear_read, nothing},
        {"only written", filled,
         [](auto &run) {
             clear_read(run);
             run.scope.has_read = false;
         },
         nothing},
        {"no free space", filled,
         [](auto &run) {
             clear_read(run);
             run.write = {};
             run.write.end = ENGINE_WRITE_NO_FREE_SPACE;
         },
         nothing},
        {"the first sector unreadable", reading,
         [](auto &run) {
             clear_read(run);
             run.files = {{0, 0, 0, 0, 0, 0, 0}};
             run.read.files = run.read.files_cut = 1;
         },
         nothing},
        {"less than a sector", reading,
         [](auto &run) {
             clear_read(run);
             run.files = {{0, 1, 511, 0, 0, 0, 0}};
             run.read.files = 1;
             run.read.bytes_read = 511;
         },
         nothing},
        {"all written files missing", filled, clear_read, nothing},
    };
}

TEST(verdict, matches_table_of_cases) {
    for (verdict_case &each : cases()) {
        each.make(each.run);
        EXPECT_STREQ(verdict_word(verdict_judge(each.run).verdict), verdict_word(each.verdict))
            << each.name;
    }
}

TEST(verdict, has_reasons_unless_intact) {
    for (verdict_case &each : cases()) {
        each.make(each.run);
        const verdict_result result = verdict_judge(each.run);
        EXPECT_EQ(result.reasons.empty(), result.verdict == run_verdict::intact) << each.name;
        for (const std::string &reason : result.reasons) {
            EXPECT_EQ(reason.find('\n'), std::string::npos) << reason;
            EXPECT_EQ(reason.back(), '.') << reason;
        }
    }
}

TEST(verdict, two_faults_are_never_better_than_one) {
    const auto rank = [](run_verdict verdict) {
        return verdict == run_verdict::intact ? 0 : verdict == run_verdict::data_lost ? 2 : 1;
    };
    const std::vector<change> faults = {
        [](auto &run) { run.read.corrupted += 1; },
        [](auto &run) { run.read.overwritten += 1; },
        [](auto &run) { run.read.missing += 1; },
        [](auto &run) { run.read.files_cut += 1; },
        [](auto &run) { run.read.listing_error = 5; },
        [](auto &run) { run.read.counts_agree = 0; },
        [](auto &run) { run.read.finished = 0; },
        [](auto &run) { run.write.free_at_end = gib; },
        [](auto &run) { run.write.free_at_end_known = 0; },
        [](auto &run) { run.write.end = ENGINE_WRITE_NOT_ENDED; },
        [](auto &run) { run.write.bytes_written += 512; },
        clear_read,
    };
    const auto judged = [&](const std::vector<std::size_t> &which) {
        run_snapshot run = intact_run();
        for (const std::size_t i : which)
            faults[i](run);
        return rank(verdict_judge(run).verdict);
    };
    // The last fault erases the ones before it, so it is only tried as the first of a pair.
    for (std::size_t a = 0; a < faults.size(); ++a) {
        for (std::size_t b = 0; b + 1 < faults.size(); ++b)
            EXPECT_GE(judged({a, b}), std::max(judged({b}), 1)) << a << " " << b;
    }
}

struct space_case {
    std::uint64_t at_start;
    std::uint64_t at_end;
    run_verdict verdict;
    std::size_t notes;
};

TEST(verdict, one_percent_of_free_space_is_the_limit) {
    constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();
    constexpr auto intact = run_verdict::intact;
    constexpr auto incomplete = run_verdict::incomplete;
    for (const space_case &each : {
             space_case{10000, 0, intact, 0},
             {10000, 1, intact, 1},
             {10000, 99, intact, 1},
             {10000, 100, incomplete, 0},
             {10001, 100, intact, 1},
             {10099, 100, intact, 1},
             {10100, 101, incomplete, 0},
             {100, 1, incomplete, 0},
             {101, 1, intact, 1},
             {99, 1, incomplete, 0},
             {1, 1, incomplete, 0},
             {1, 0, intact, 0},
             {0, 0, intact, 0},
             {0, 1, incomplete, 0},
             {10000, 20000, incomplete, 0},
             {largest, largest / 100, intact, 1},
             {largest, largest / 100 + 1, incomplete, 0},
             {largest, largest, incomplete, 0},
             {largest - 15, largest / 100, incomplete, 0},
             {largest - 14, largest / 100, intact, 1},
         }) {
        run_snapshot run = intact_run();
        run.write.free_at_start = each.at_start;
        run.write.free_at_end = each.at_end;
        const verdict_result result = verdict_judge(run);
        EXPECT_EQ(result.verdict, each.verdict) << each.at_end << " of " << each.at_start;
        EXPECT_EQ(result.notes.size(), each.notes) << each.at_end << " of " << each.at_start;
    }
}

TEST(verdict, largest_volume_does_not_overflow) {
    constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();
    run_snapshot run = intact_run();
    run.read.ok = largest / 512;
    run.read.bytes_read = run.write.bytes_written = run.write.free_at_start = largest - 511;
    EXPECT_EQ(verdict_judge(run).verdict, run_verdict::intact);
    run.read.overwritten = 1;
    EXPECT_EQ(verdict_judge(run).verdict, run_verdict::data_lost);
}

TEST(verdict, has_fixed_exit_status) {
    EXPECT_EQ(verdict_exit_status(run_verdict::intact), 0);
    EXPECT_EQ(verdict_exit_status(run_verdict::data_lost), 65);
    EXPECT_EQ(verdict_exit_status(run_verdict::incomplete), 74);
    EXPECT_EQ(verdict_exit_status(run_verdict::nothing_tested), 74);
    EXPECT_EQ(verdict_exit_status(run_verdict::unproven), 75);
}

TEST(verdict, has_fixed_words) {
    EXPECT_STREQ(verdict_word(run_verdict::intact), "intact");
    EXPECT_STREQ(verdict_word(run_verdict::data_lost), "data_lost");
    EXPECT_STREQ(verdict_word(run_verdict::incomplete), "incomplete");
    EXPECT_STREQ(verdict_word(run_verdict::nothing_tested), "nothing_tested");
    EXPECT_STREQ(verdict_word(run_verdict::unproven), "unproven");
}

TEST(verdict, sentences_differ) {
    std::vector<std::string> sentences;
    for (const run_verdict verdict :
         {run_verdict::intact, run_verdict::data_lost, run_verdict::incomplete,
          run_verdict::nothing_tested, run_verdict::unproven}) {
        const std::string sentence = verdict_sentence(verdict);
        EXPECT_EQ(std::count(sentences.begin(), sentences.end(), sentence), 0);
        sentences.push_back(sentence);
    }
}

TEST(verdict, notes_that_read_run_ignores_free_space) {
    EXPECT_EQ(verdict_judge(intact_reading()).notes,
              std::vector<std::string>{"This run did not fill the volume: it covers the test "
                                       "files, not the free space."});
    EXPECT_TRUE(verdict_judge(intact_run()).notes.empty());
}

TEST(verdict, notes_skipped_files) {
    run_snapshot run = intact_run();
    run.scope.start_index = 4;
    EXPECT_EQ(verdict_judge(run).notes,
              std::vector<std::string>{
                  "Test files before 5.fff were not part of this run, as requested."});
}

static run_snapshot filled_run() {
    run_snapshot run = intact_run();
    run.scope.has_read = false;
    run.read = {};
    run.files.clear();
    return run;
}

TEST(verdict, fill_passes_on_full_volume) {
    const fill_verdict verdict = fill_verdict_judge(filled_run());
    EXPECT_TRUE(verdict.filled);
    EXPECT_TRUE(verdict.reasons.empty());
    EXPECT_EQ(verdict.sentence, "Filled: 3 test files with 2.5 GB to be read back.");
    EXPECT_EQ(fill_verdict_exit_status(verdict), 0);
}

TEST(verdict, fill_fails_for_reasons_of_a_whole_run) {
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

TEST(verdict, fill_notes_space_below_one_percent) {
    run_snapshot run = filled_run();
    run.write.free_at_end = 4096;
    const fill_verdict verdict = fill_verdict_judge(run);
    EXPECT_TRUE(verdict.filled);
    EXPECT_EQ(verdict.notes.size(), 1U);
}
