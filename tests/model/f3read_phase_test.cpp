// SPDX-License-Identifier: GPL-3.0-or-later
/* The read phase over many files: totals, missing files, verdict, speed, published texts,
 * and the streams that they go to. */
#include <gtest/gtest.h>
#include <sys/mount.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "model/engine_results.h"
#include "model/engine_status.h"
#include "model/f3read.h"
#include "model/fatal.h"
#include "staged_clock.h"
#include "support.h"

using model_tests::child_outcome;
using model_tests::drained_log;
using model_tests::private_folder;
using model_tests::read_results;
using model_tests::reference_sectors;
using model_tests::run_in_child;
using model_tests::set_file_content;
using model_tests::stage;

namespace {

using f3read_phase = model_tests::staged_test;

constexpr size_t mebibyte = 1U << 20U;

std::string name_of(int index) {
    return std::to_string(index + 1) + ".fff";
}

std::string content_of(int index, size_t size) {
    return reference_sectors(static_cast<uint64_t>(index) << 30U, size);
}

/* The four lines on standard error. */
std::string sums(const char *verdict, uint64_t from_size, uint64_t counted) {
    return std::string("dd: assert ") + verdict +
           "\n"
           "dd: tot_size / SECTOR_SIZE                                 : " +
           std::to_string(from_size) +
           "\n"
           "dd: tot_ok + tot_corrupted + tot_changed + tot_overwritten : " +
           std::to_string(counted) + "\n";
}

const char *const fits = "== true, size:seems to be ok";
const char *const strange = "!= true, size:somthing is strange";

/* The published values of a phase as one text. */
std::string published() {
    return std::to_string(get_volume_intact()) + " ok " + get_data_ok_text() + " lost " +
           get_data_lost_text() + " corrupted " + get_data_corrupted_text() + " changed " +
           get_data_changed_text() + " overwritten " + get_data_overwritten_text();
}

/* A handler for the child: prints the published values at the process's end. */
void print_published(const char * /*message*/, int /*exit_status*/) {
    fputs(published().c_str(), stdout);
    fflush(stdout);
}

/* Runs a phase with its streams captured. */
struct phase {
    std::string out;
    std::string err;

    phase(const std::string &folder, std::vector<int> files, int start_at = 0,
          uint32_t progress = 0) {
        files.push_back(-1);
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        f3read_iterate_files(folder.c_str(), files.data(), start_at, progress);
        out = testing::internal::GetCapturedStdout();
        err = testing::internal::GetCapturedStderr();
    }
};

void write_files(const private_folder &folder, const std::vector<int> &indexes,
                 size_t size = mebibyte) {
    for (const int index : indexes)
        set_file_content(folder.file(name_of(index)), content_of(index, size));
}

}  // namespace

TEST_F(f3read_phase, finds_three_intact_files_intact) {
    const private_folder folder;
    write_files(folder, {0, 1, 2});
    const phase it(folder.path(), {0, 1, 2});
    EXPECT_EQ(it.out, "\n\n\n");
    EXPECT_EQ(it.err, sums(fits, 6144, 6144));
    EXPECT_EQ(published(),
              "1 ok 3.000000 MB lost 0.000000 Byte corrupted 0.000000 Byte "
              "changed 0.000000 Byte overwritten 0.000000 Byte");
    EXPECT_EQ(drained_log(),
              "Sectors:     OK,corrupted,changed,overwritten\n"
              "Validating file number 1 ... \nValidating file number 2 ... \n"
              "Validating file number 3 ... \n");
    const engine_read_results results = read_results();
    EXPECT_EQ(results.bytes_read, 3U * mebibyte);
    EXPECT_EQ(results.ok, 6144U);
    EXPECT_EQ(results.files, 3U);
    EXPECT_EQ(results.files_cut, 0U);
    EXPECT_EQ(results.missing, 0U);
    EXPECT_EQ(results.counts_agree, 1);
    EXPECT_EQ(results.finished, 1);
    EXPECT_EQ(results.current_index, 2);
    EXPECT_EQ(engine_results_phase(), ENGINE_PHASE_IDLE);
}

TEST_F(f3read_phase, passes_progress_to_every_file) {
    const private_folder folder;
    write_files(folder, {0, 1}, 1024);
    const phase it(folder.path(), {0, 1}, 0, 1);
    const std::string blanks(33, ' ');
    EXPECT_EQ(drained_log(),
              "Sectors:     OK,corrupted,changed,overwritten\n"
              "Validating file number 1 ... " +
                  blanks +
                  "\n"
                  "      1,        0,      0,      0\n"
                  "Validating file number 2 ... " +
                  blanks +
                  "\n"
                  "      1,        0,      0,      0\n");
}

TEST_F(f3read_phase, names_missing_file_and_keeps_verdict) {
    const private_folder folder;
    write_files(folder, {0, 2}, 1024);
    const phase it(folder.path(), {0, 2});
    EXPECT_EQ(it.out,
              "\nERR: Missing file 2.fff\n\nERR: WARNING: Not all files "
              "are available\n");
    EXPECT_EQ(it.err, sums(fits, 4, 4));
    EXPECT_EQ(get_volume_intact(), 1U);
    EXPECT_EQ(read_results().missing, 1U);
    engine_missing_range range = {};
    ASSERT_EQ(engine_results_missing_count(), 1U);
    ASSERT_EQ(engine_results_missing(0, &range), 1);
    EXPECT_EQ(range.first_index, 1);
    EXPECT_EQ(range.last_index, 1);
    EXPECT_EQ(drained_log().find("ERR"), std::string::npos);
}

TEST_F(f3read_phase, counts_numbers_before_first_file_as_missing) {
    const private_folder folder;
    write_files(folder, {5}, 512);
    const phase it(folder.path(), {5}, 2);
    EXPECT_EQ(it.out,
              "ERR: Missing file 3.fff\nERR: Missing file 4.fff\nERR: "
              "Missing file 5.fff\n\n"
              "ERR: WARNING: Not all files are available\n"
              "ERR: WARNING: Not all files were tested due to parameter "
              "--start-at=3\n");
    EXPECT_EQ(read_results().missing, 3U);
    ASSERT_EQ(engine_results_missing_count(), 1U);
    engine_missing_range range = {};
    ASSERT_EQ(engine_results_missing(0, &range), 1);
    EXPECT_EQ(range.first_index, 2);
    EXPECT_EQ(range.last_index, 4);
}

TEST_F(f3read_phase, warns_about_start_as_parameter_counts) {
    const private_folder folder;
    write_files(folder, {4}, 512);
    const phase it(folder.path(), {4}, 4);
    EXPECT_EQ(it.out,
              "\nERR: WARNING: Not all files were tested due to "
              "parameter --start-at=5\n");
}

TEST_F(f3read_phase, warns_about_repeated_or_lower_number_without_name) {
    const private_folder folder;
    write_files(folder, {0}, 512);
    const phase repeated(folder.path(), {0, 0});
    EXPECT_EQ(repeated.out, "\n\nERR: WARNING: Not all files are available\n");
    EXPECT_EQ(repeated.err, sums(fits, 2, 2));
    EXPECT_EQ(read_results().files, 2U);
    const phase lower(folder.path(), {0}, 3);
    EXPECT_EQ(lower.out,
              "\nERR: WARNING: Not all files are available\n"
              "ERR: WARNING: Not all files were tested due to "
              "parameter --start-at=4\n");
}

TEST_F(f3read_phase, publishes_zeros_and_intact_volume_for_empty_list) {
    stage.step_us = 1000;
    const phase it("/nowhere", {});
    EXPECT_EQ(it.out, "");
    EXPECT_EQ(it.err, sums(fits, 0, 0));
    EXPECT_EQ(published(),
              "1 ok 0.000000 Byte lost 0.000000 Byte corrupted 0.000000 Byte "
              "changed 0.000000 Byte overwritten 0.000000 Byte");
    EXPECT_EQ(get_read_speed(), 0.0);
    EXPECT_STREQ(get_read_speed_unit(), "Byte");
    EXPECT_EQ(drained_log(), "Sectors:     OK,corrupted,changed,overwritten\n");
}

TEST_F(f3read_phase, any_negative_number_ends_list) {
    const private_folder folder;
    write_files(folder, {0}, 512);
    const phase it(folder.path(), {0, -7, 1});
    EXPECT_EQ(it.err, sums(fits, 1, 1));
}

TEST_F(f3read_phase, adds_up_bad_sectors_of_each_class) {
    const private_folder folder;
    std::string first = content_of(0, size_t{16} * 512);
    for (size_t sector = 2; sector < 7; ++sector)
        first.replace(sector * 512, 512, std::string(512, '\0'));
    first[512 + 100] = static_cast<char>(first[512 + 100] ^ 1);
    set_file_content(folder.file("1.fff"), first);
    std::string second = content_of(1, size_t{8} * 512);
    second.replace(512, 512, second.substr(0, 512));
    second.replace(1024, 512, content_of(0, 512));
    set_file_content(folder.file("2.fff"), second);
    const phase it(folder.path(), {0, 1});
    EXPECT_EQ(it.out, "\n\n");
    EXPECT_EQ(it.err, sums(fits, 24, 24));
    EXPECT_EQ(published(),
              "0 ok 8.000000 KB lost 4.000000 KB corrupted 2.500000 KB "
              "changed 512.000000 Byte overwritten 1.000000 KB");
    engine_file_result file = {};
    ASSERT_EQ(engine_results_file(1, &file), 1);
    EXPECT_EQ(file.ok, 6U);
    EXPECT_EQ(file.overwritten, 2U);
    EXPECT_EQ(file.size, 4096U);
}

TEST_F(f3read_phase, one_bad_sector_of_any_class_fails_volume) {
    const private_folder folder;
    const std::string good = content_of(0, 1024);
    std::string changed = good;
    changed[600] = static_cast<char>(changed[600] ^ 1);
    for (const std::string &content : {changed, good.substr(0, 512) + std::string(512, '\0'),
                                       good.substr(0, 512) + good.substr(0, 512)}) {
        set_file_content(folder.file("1.fff"), content);
        const phase it(folder.path(), {0});
        EXPECT_EQ(get_volume_intact(), 0U);
        EXPECT_STREQ(get_data_lost_text(), "512.000000 Byte");
        EXPECT_EQ(it.err, sums(fits, 2, 2));
    }
    set_file_content(folder.file("1.fff"), good);
    const phase it(folder.path(), {0});
    EXPECT_EQ(get_volume_intact(), 1U);
}

TEST_F(f3read_phase, ignores_one_partial_sector) {
    const private_folder folder;
    set_file_content(folder.file("1.fff"), content_of(0, 1024) + std::string(511, 'x'));
    const phase it(folder.path(), {0});
    EXPECT_EQ(it.err, sums(fits, 2, 2));
    EXPECT_EQ(get_volume_intact(), 1U);
    EXPECT_EQ(read_results().bytes_read, 1535U);
}

TEST_F(f3read_phase, sums_that_disagree_fail_volume) {
    const private_folder folder;
    set_file_content(folder.file("1.fff"), content_of(0, 1024) + std::string(256, 'x'));
    set_file_content(folder.file("2.fff"), content_of(1, 512) + std::string(256, 'x'));
    const phase it(folder.path(), {0, 1});
    EXPECT_EQ(it.err, sums(strange, 4, 3));
    EXPECT_EQ(get_volume_intact(), 0U);
    EXPECT_STREQ(get_data_ok_text(), "1.500000 KB");
    EXPECT_STREQ(get_data_lost_text(), "0.000000 Byte");
    EXPECT_EQ(read_results().counts_agree, 0);
}

TEST_F(f3read_phase, warns_last_about_error_and_keeps_verdict) {
    const private_folder folder;
    if (!model_tests::enter_private_mounts().empty())
        GTEST_SKIP() << model_tests::enter_private_mounts();
    write_files(folder, {0, 2}, 1024);
    const child_outcome outcome = run_in_child([&] {
        const std::string bad = folder.file("1.fff");
        model_tests::mount_file_with_an_error_behind(bad, 8192);
        const int files[] = {0, 2, -1};
        f3read_iterate_files(folder.c_path(), files, 0, 0);
        umount2(bad.c_str(), MNT_DETACH);
        engine_file_result cut = {};
        engine_results_file(0, &cut);
        printf("%u %d %d %d %s\n", get_volume_intact(), static_cast<int>(read_results().files_cut),
               cut.read_all, static_cast<int>(cut.size), get_data_ok_text());
    });
    if (outcome.exited_with(125))
        GTEST_SKIP() << "needs to map the lowest addresses and to mount over a file";
    EXPECT_TRUE(outcome.exited_with(0));
    EXPECT_EQ(outcome.out,
              "\nERR: Missing file 2.fff\n\n"
              "ERR: WARNING: Not all files are available\n"
              "ERR: WARNING: Not all data was read due to I/O error(s)\n"
              "1 1 0 8192 9.000000 KB\n");
    EXPECT_EQ(outcome.err, sums(fits, 18, 18));
}

TEST_F(f3read_phase, shell_can_follow_phase) {
    const private_folder folder;
    write_files(folder, {0, 2}, 131072);
    std::vector<std::pair<int, uint64_t>> seen;
    std::vector<uint64_t> bytes;
    stage.at_request = [&] {
        EXPECT_EQ(engine_results_phase(), ENGINE_PHASE_READING);
        EXPECT_EQ(read_results().finished, 0);
        bytes.push_back(read_results().bytes_read);
        if (stage.requests.back() == 'F')
            seen.emplace_back(read_results().current_index, read_results().bytes_read);
    };
    const phase it(folder.path(), {0, 2}, 0, 1);
    EXPECT_EQ(seen, (std::vector<std::pair<int, uint64_t>>{{0, 0}, {2, 131072}}));
    EXPECT_TRUE(std::is_sorted(bytes.begin(), bytes.end()));
    EXPECT_GT(std::count(bytes.begin(), bytes.end(), 65536U), 0)
        << "nothing moves before the first file ends";
    EXPECT_EQ(read_results().bytes_read, 262144U);
    EXPECT_EQ(read_results().finished, 1);
}

TEST_F(f3read_phase, speed_counts_reading_time_only) {
    const private_folder folder;
    write_files(folder, {0, 1}, mebibyte);
    /* Two files of 0.75 s and 1.25 s, with a long pause between them. */
    stage.times = {{100, 900000}, {101, 650000}, {900, 0}, {901, 250000}};
    const phase it(folder.path(), {0, 1});
    EXPECT_DOUBLE_EQ(get_read_speed(), 1.0);
    EXPECT_STREQ(get_read_speed_unit(), "MB");
    EXPECT_DOUBLE_EQ(read_results().reading_s, 2.0);
    EXPECT_DOUBLE_EQ(read_results().bytes_per_s, 1048576.0);
}

TEST_F(f3read_phase, subtracts_negative_microseconds) {
    const private_folder folder;
    write_files(folder, {0}, 1024);
    stage.times = {{100, 900000}, {101, 400000}};
    const phase it(folder.path(), {0});
    EXPECT_DOUBLE_EQ(get_read_speed(), 2.0);
    EXPECT_STREQ(get_read_speed_unit(), "KB");
}

/* A list holds indexes only: "01.fff" is listed as number 1, but "1.fff" is read. */
TEST_F(f3read_phase, reads_file_twice_when_listed_twice) {
    const private_folder folder;
    write_files(folder, {0}, 1024);
    set_file_content(folder.file("01.fff"), std::string(1024, 'x'));
    const phase it(folder.path(), {0, 0});
    EXPECT_STREQ(get_data_ok_text(), "2.000000 KB");
    EXPECT_STREQ(get_data_lost_text(), "0.000000 Byte");
}

TEST_F(f3read_phase, reading_time_of_0_gives_byte_count_as_speed) {
    const private_folder folder;
    write_files(folder, {0}, 1536);
    const phase it(folder.path(), {0});
    EXPECT_EQ(get_read_speed(), 1.5);
    EXPECT_STREQ(get_read_speed_unit(), "KB");
    EXPECT_EQ(read_results().bytes_per_s, 1536.0);
}

TEST_F(f3read_phase, negative_reading_time_ends_process) {
    const private_folder folder;
    write_files(folder, {0}, 512);
    stage.times = {{100, 0}, {99, 999999}};
    model_tests::expect_assertion(run_in_child([&] {
                                      const int files[] = {0, -1};
                                      f3read_iterate_files(folder.c_path(), files, 0, 0);
                                  }),
                                  "ret >= 0", "dt_to_s", "model/f3read");
}

TEST_F(f3read_phase, keeps_published_results_until_next_phase_ends) {
    const private_folder folder;
    write_files(folder, {0}, 1024);
    const phase first(folder.path(), {0});
    const std::string before = published();
    set_file_content(folder.file("1.fff"), std::string(2048, '\0'));
    const child_outcome outcome = run_in_child([&] {
        const int files[] = {0, 1, -1};
        engine_set_fatal_handler(print_published);
        f3read_iterate_files(folder.c_path(), files, 0, 0);
    });
    EXPECT_EQ(outcome.out, "\n" + before);
    const phase second(folder.path(), {0});
    EXPECT_NE(published(), before);
}

TEST_F(f3read_phase, file_that_vanished_after_listing_ends_process) {
    const private_folder folder;
    write_files(folder, {0}, 512);
    const child_outcome outcome = run_in_child([&] {
        const int files[] = {0, 1, -1};
        f3read_iterate_files(folder.c_path(), files, 0, 0);
    });
    model_tests::expect_refusal(outcome, "ERR: Can't open file " + folder.file("2.fff"), 2);
    EXPECT_EQ(outcome.out, "\n");
}
