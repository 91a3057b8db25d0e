// SPDX-License-Identifier: GPL-3.0-or-later
/* The write phase with a staged clock: periods across files, published speeds, the
 * average. */
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "model/engine_results.h"
#include "model/engine_status.h"
#include "model/f3write.h"
#include "staged_clock.h"
#include "support.h"

using model_tests::child_outcome;
using model_tests::drained_log;
using model_tests::new_flow;
using model_tests::private_folder;
using model_tests::private_volume;
using model_tests::requests_of;
using model_tests::run_in_child;
using model_tests::stage;
using model_tests::write_results;

namespace {

constexpr uint64_t kibibyte = 1024;

using f3write_clock = model_tests::staged_test;

}  // namespace

TEST_F(f3write_clock, fast_volume_doubles_blocks_with_one_flush_per_period) {
    const private_folder folder;
    write_flow fw = new_flow(31 * kibibyte);
    EXPECT_EQ(create_and_fill_file(folder.c_path(), 0, 31 * kibibyte, &fw), 1);
    /* Periods of 1, 2, 4, 8 and 16 blocks, then the end of the file. */
    EXPECT_EQ(stage.requests, "CFCRCFCRCFCRCFCRCFCRCFR");
    EXPECT_EQ(drained_log(),
              "Creating test file number 1 ...\n"
              "3.23% @ 2.00 KB/s\n"
              "9.68% @ 4.00 KB/s\n"
              "22.58% @ 8.00 KB/s\n"
              "48.39% @ 16.00 KB/s\n"
              "100.00% @ 32.00 KB/s\n"
              "Test file written.\n");
    EXPECT_EQ(fw.bpd, 32);
    EXPECT_EQ(fw.bpd_step, 32);
    EXPECT_EQ(fw.state, INC);
    EXPECT_EQ(fw.periods_measured, 0U);
}

TEST_F(f3write_clock, does_not_time_unfinished_period) {
    const private_folder folder;
    write_flow fw = new_flow(1U << 20U);
    fw.bpd = 4;
    fw.bpd_step = 4;
    create_and_fill_file(folder.c_path(), 0, 3 * kibibyte, &fw);
    EXPECT_EQ(stage.requests, "CFR");
    EXPECT_EQ(fw.period_blocks, 3);
    EXPECT_EQ(drained_log(), "Creating test file number 1 ...\nTest file written.\n");
}

TEST_F(f3write_clock, continues_measurement_in_next_file) {
    const private_folder folder;
    write_flow fw = new_flow(1U << 20U);
    create_and_fill_file(folder.c_path(), 0, 3 * kibibyte, &fw);
    EXPECT_EQ(fw.bpd, 4);
    create_and_fill_file(folder.c_path(), 1, 4 * kibibyte, &fw);
    EXPECT_EQ(fw.bpd, 8);
    EXPECT_EQ(fw.bytes_written, 7U * 1024);
}

/* The clock advances by a second at each reading, so each period takes exactly one second.
 * A volume of 4 MiB takes periods of 1, 2, 2, 3, 3, ... blocks; 63 pairs and the first one
 * are 1 + 2 * (2 + ... + 64) - 64 blocks. */
TEST_F(f3write_clock, average_is_block_rate_of_counted_periods) {
    const private_volume volume("size=4m");
    SKIP_WITHOUT(volume);
    stage.step_us = 1000000;
    uint64_t blocks = 0;
    uint64_t periods = 0;
    for (uint64_t next = 1; blocks + next <= 4096; next = 1 + ++periods / 2)
        blocks += next;
    const double speed = f3write_fill_fs(volume.c_path(), 0, 1);
    const double average = 1024.0 * static_cast<double>(blocks) / static_cast<double>(periods);
    EXPECT_DOUBLE_EQ(speed, average / 1024);
    EXPECT_DOUBLE_EQ(get_write_speed(), average / 1024);
    char line[81];
    snprintf(line, sizeof line, "Average writing speed: %.2f KB/s\n", average / 1024);
    const std::string log = drained_log();
    EXPECT_EQ(log.substr(log.size() - std::string(line).size()), line);
    EXPECT_EQ(write_results().average_known, 1);
    EXPECT_DOUBLE_EQ(write_results().average_bytes_per_s, average);
    EXPECT_EQ(write_results().bytes_written, 4U << 20U);
}

/* The first period takes one second and settles the flow at 1 block; the second counts. After
 * that, periods take no time: the block count doubles past 1 MB/s and no period counts. */
TEST_F(f3write_clock, keeps_unit_of_last_period) {
    const private_volume volume("size=2m");
    SKIP_WITHOUT(volume);
    stage.times = {{1000, 0}, {1001, 0}};
    const double speed = f3write_fill_fs(volume.c_path(), 0, 1);
    EXPECT_EQ(speed, 1.0);
    EXPECT_EQ(get_write_speed(), 1.0);
    EXPECT_STREQ(get_write_speed_unit(), "MB");
    const std::string log = drained_log();
    EXPECT_NE(log.find(" @ 1.00 MB/s\n"), std::string::npos) << log;
    EXPECT_NE(log.find("Free space on device: 0.00 Byte\nAverage writing speed: "
                       "1.00 KB/s\n"),
              std::string::npos)
        << log;
    EXPECT_EQ(write_results().average_bytes_per_s, 1024.0);
}

TEST_F(f3write_clock, has_no_average_without_counted_period) {
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    stage.step_us = 1000000;
    const double before = f3write_fill_fs(volume.c_path(), 0, 1);
    drained_log();
    f3write_unlink_old_files(volume.c_path(), 0);
    stage.step_us = 0;
    const double speed = f3write_fill_fs(volume.c_path(), 0, 1);
    EXPECT_EQ(speed, before);
    const std::string log = drained_log();
    const std::string last = "ERR: Writing speed not available\n";
    EXPECT_EQ(log.substr(log.size() - last.size()), last);
    /* The last interval's value: 1023 blocks in periods that doubled up to 512.
     */
    EXPECT_EQ(get_write_speed(), 1.0);
    EXPECT_STREQ(get_write_speed_unit(), "MB");
    EXPECT_EQ(write_results().average_known, 0);
}

TEST_F(f3write_clock, progress_is_share_of_free_space_at_start) {
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    f3write_fill_fs(volume.c_path(), 0, 1);
    EXPECT_NEAR(get_write_progress(), 100.0 * 1023 / 1024, 1e-9);
    const std::string log = drained_log();
    EXPECT_NE(log.find("\n0.10% @ 2.00 KB/s\n0.29% @ 4.00 KB/s\n"), std::string::npos) << log;
    EXPECT_NE(log.find("\n99.90% @ 1.00 MB/s\nTest file written.\n"), std::string::npos) << log;
    EXPECT_EQ(requests_of('F'), 10U + 1U);
}

TEST_F(f3write_clock, publishes_no_periods_without_progress) {
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    f3write_fill_fs(volume.c_path(), 0, 0);
    EXPECT_EQ(drained_log(),
              "Free space on device: 1.00 MB\nCreating test file number 1 ...\n"
              "Test file written.\nFree space on device: 0.00 Byte\n"
              "ERR: Writing speed not available\n");
}

TEST_F(f3write_clock, flushes_pending_output_before_writing_file) {
    const private_folder folder;
    const child_outcome outcome = run_in_child([&] {
        fputs("pending", stdout);
        stage.at_request = [] { _exit(66); };
        write_flow fw = new_flow(1U << 20U);
        create_and_fill_file(folder.c_path(), 0, 4096, &fw);
    });
    EXPECT_EQ(outcome.out, "pending");
    EXPECT_TRUE(outcome.exited_with(66));
}

/* Checks the file at each request: it holds whole blocks, and a period's data is complete
 * when it is flushed. */
TEST_F(f3write_clock, writes_whole_period_before_flush) {
    const private_folder folder;
    std::vector<uint64_t> sizes;
    stage.at_request = [&] {
        if (stage.requests.back() == 'F')
            sizes.push_back(model_tests::file_size(folder.file("1.fff")));
    };
    write_flow fw = new_flow(1U << 20U);
    create_and_fill_file(folder.c_path(), 0, 20 * kibibyte, &fw);
    EXPECT_EQ(sizes, (std::vector<uint64_t>{1024, 3072, 7168, 15360, 20480}));
}

/* The values that a shell sees during the phase. */
TEST_F(f3write_clock, shell_can_follow_phase) {
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    std::vector<uint64_t> written;
    stage.at_request = [&] {
        EXPECT_EQ(engine_results_phase(), ENGINE_PHASE_WRITING);
        const engine_write_results now = write_results();
        EXPECT_EQ(now.current_index, 3);
        EXPECT_EQ(now.first_index, 3);
        EXPECT_EQ(now.files_created, 1);
        EXPECT_EQ(now.free_at_start, 1U << 20U);
        EXPECT_TRUE(now.end == ENGINE_WRITE_NOT_ENDED || now.bytes_written == 1U << 20U);
        written.push_back(now.bytes_written);
    };
    f3write_fill_fs(volume.c_path(), 3, 1);
    ASSERT_GT(written.size(), 10U);
    EXPECT_TRUE(std::is_sorted(written.begin(), written.end()));
    EXPECT_EQ(written.back(), 1U << 20U);
    EXPECT_EQ(write_results().end, ENGINE_WRITE_FULL_IN_FILE);
}

TEST_F(f3write_clock, volume_that_cannot_be_flushed_ends_process) {
    const private_folder folder;
    stage.flush_answer = 5;
    const child_outcome outcome = run_in_child([&] {
        write_flow fw = new_flow(1U << 20U);
        create_and_fill_file(folder.c_path(), 0, 4096, &fw);
    });
    model_tests::expect_assertion(outcome, "!fdatasync(fd)", "measure", "model/f3write");
}
