// SPDX-License-Identifier: GPL-3.0-or-later
/* The write phase on real folders and small volumes: the files, the log, the records. Speeds
 * need a staged clock and are in f3write_clock_test.cpp; failures are in
 * f3write_refusal_test.cpp. */
#include "model/f3write.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <string>

#include "model/engine_results.h"
#include "model/engine_status.h"
#include "support.h"

using model_tests::child_outcome;
using model_tests::drained_log;
using model_tests::exists;
using model_tests::expect_assertion;
using model_tests::file_content;
using model_tests::file_size;
using model_tests::new_flow;
using model_tests::private_folder;
using model_tests::private_volume;
using model_tests::reference_sectors;
using model_tests::run_in_child;
using model_tests::set_file_content;
using model_tests::write_results;

namespace {

class f3write : public testing::Test {
 protected:
    void SetUp() override { drained_log(); }
};

/* The log without progress lines, whose numbers depend on the real clock. */
std::string log_without_progress() {
    const std::string log = drained_log();
    std::string kept;
    for (size_t at = 0; at < log.size();) {
        const size_t end = log.find('\n', at) + 1;
        const std::string line = log.substr(at, end - at);
        if (line.find("% @ ") == std::string::npos)
            kept += line;
        at = end;
    }
    return kept;
}

/* Fills the file with this index and expects the sectors from `offset` on. */
void expect_file_of_sectors(const private_folder &folder, int index, size_t size, uint64_t offset) {
    write_flow fw = new_flow(1U << 20U);
    EXPECT_EQ(create_and_fill_file(folder.c_path(), index, size, &fw), 1);
    EXPECT_EQ(file_content(folder.file(std::to_string(index + 1) + ".fff")),
              reference_sectors(offset, size));
    EXPECT_EQ(fw.bytes_written, size);
}

/* 256 pages. */
constexpr uint64_t small_volume = 1U << 20U;
const char *const small_options = "size=1m";

}  // namespace

TEST_F(f3write, file_holds_consecutive_sectors_from_its_index_on) {
    const private_folder folder;
    for (const int index : {0, 1, 4})
        expect_file_of_sectors(folder, index, 65536, static_cast<uint64_t>(index) << 30U);
}

TEST_F(f3write, offsets_have_64_bits) {
    const private_folder folder;
    write_flow fw = new_flow(1U << 20U);
    EXPECT_EQ(create_and_fill_file(folder.c_path(), 5000, 2048, &fw), 1);
    EXPECT_EQ(file_content(folder.file("5001.fff")),
              reference_sectors(UINT64_C(5000) << 30U, 2048));
}

TEST_F(f3write, files_around_2_tb_and_last_of_all_have_own_offsets) {
    const private_folder folder;
    for (const int index : {2047, 2048, 2147483645})
        expect_file_of_sectors(folder, index, 2048, static_cast<uint64_t>(index) * 1073741824);
}

TEST_F(f3write, logs_two_lines_per_file) {
    const private_folder folder;
    write_flow fw = new_flow(1U << 20U);
    fw.show_progress = 0;
    EXPECT_EQ(create_and_fill_file(folder.c_path(), 6, 4096, &fw), 1);
    EXPECT_EQ(drained_log(), "Creating test file number 7 ...\nTest file written.\n");
}

TEST_F(f3write, only_owner_may_read_and_write_file) {
    const mode_t mask = umask(0);
    const private_folder folder;
    write_flow fw = new_flow(1U << 20U);
    create_and_fill_file(folder.c_path(), 0, 1024, &fw);
    umask(mask);
    struct stat status = {};
    ASSERT_EQ(stat(folder.file("1.fff").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

/* The old file is not truncated: a program that holds it open still reads its content. */
TEST_F(f3write, removes_existing_file_and_creates_new_one) {
    const private_folder folder;
    const std::string content(100000, 'x');
    set_file_content(folder.file("1.fff"), content);
    ASSERT_EQ(chmod(folder.file("1.fff").c_str(), 0644), 0);
    const int old = open(folder.file("1.fff").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(old, 0);
    write_flow fw = new_flow(1U << 20U);
    EXPECT_EQ(create_and_fill_file(folder.c_path(), 0, 2048, &fw), 1);
    EXPECT_EQ(file_content(folder.file("1.fff")), reference_sectors(0, 2048));
    struct stat status = {};
    ASSERT_EQ(stat(folder.file("1.fff").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
    std::string kept(content.size() + 1, '\0');
    kept.resize(static_cast<size_t>(read(old, kept.data(), kept.size())));
    EXPECT_EQ(kept, content);
    close(old);
}

TEST_F(f3write, block_size_is_size_of_one_write) {
    const private_folder folder;
    write_flow fw = new_flow(1U << 20U);
    fw.block_size = 512;
    EXPECT_EQ(create_and_fill_file(folder.c_path(), 0, 1536, &fw), 1);
    EXPECT_EQ(file_content(folder.file("1.fff")), reference_sectors(0, 1536));
}

TEST_F(f3write, size_of_0_or_partial_blocks_ends_process) {
    const private_folder folder;
    write_flow fw = new_flow(1U << 20U);
    expect_assertion(run_in_child([&] { create_and_fill_file(folder.c_path(), 0, 0, &fw); }),
                     "size > 0", "create_and_fill_file", "model/f3write");
    for (const uint64_t size : {512U, 1023U, 1536U})
        expect_assertion(run_in_child([&] { create_and_fill_file(folder.c_path(), 0, size, &fw); }),
                         "size % fw->block_size == 0", "create_and_fill_file", "model/f3write");
    EXPECT_FALSE(exists(folder.file("1.fff")));
}

TEST_F(f3write, keeps_partial_file_when_volume_fills) {
    const private_volume volume(small_options);
    SKIP_WITHOUT(volume);
    write_flow fw = new_flow(small_volume);
    fw.show_progress = 0;
    EXPECT_EQ(create_and_fill_file(volume.c_path(), 0, 4 * small_volume, &fw), 0);
    EXPECT_EQ(drained_log(), "Creating test file number 1 ...\nTest file written.\n");
    EXPECT_EQ(fw.bytes_written, small_volume);
    EXPECT_EQ(file_content(volume.file("1.fff")), reference_sectors(0, small_volume));
}

TEST_F(f3write, leaves_empty_last_file_when_volume_fills_at_boundary) {
    const private_volume volume(small_options);
    SKIP_WITHOUT(volume);
    write_flow fw = new_flow(small_volume);
    fw.show_progress = 0;
    EXPECT_EQ(create_and_fill_file(volume.c_path(), 0, small_volume, &fw), 1);
    EXPECT_EQ(create_and_fill_file(volume.c_path(), 1, small_volume, &fw), 0);
    EXPECT_EQ(drained_log(),
              "Creating test file number 1 ...\nTest file written.\n"
              "Creating test file number 2 ...\nTest file written.\n");
    EXPECT_EQ(file_size(volume.file("1.fff")), small_volume);
    EXPECT_EQ(file_size(volume.file("2.fff")), 0U);
    EXPECT_EQ(fw.bytes_written, small_volume);
}

TEST_F(f3write, no_room_for_another_file_ends_phase_normally) {
    const private_volume volume("size=1m,nr_inodes=2");
    SKIP_WITHOUT(volume);
    set_file_content(volume.file("users"), "x");
    write_flow fw = new_flow(small_volume);
    EXPECT_EQ(create_and_fill_file(volume.c_path(), 0, 4096, &fw), 0);
    EXPECT_EQ(drained_log(), "Creating test file number 1 ...\nERR: No space left device.\n");
    EXPECT_FALSE(exists(volume.file("1.fff")));
}

TEST_F(f3write, fills_volume_and_logs_it) {
    const private_volume volume(small_options);
    SKIP_WITHOUT(volume);
    f3write_fill_fs(volume.c_path(), 0, 1);
    const std::string log = log_without_progress();
    const std::string beginning =
        "Free space on device: 1.00 MB\nCreating test "
        "file number 1 ...\nTest file written.\n"
        "Free space on device: 0.00 Byte\n";
    EXPECT_EQ(log.substr(0, beginning.size()), beginning);
    /* Exactly one more line; the real clock decides which. */
    const std::string rest = log.substr(std::min(log.size(), beginning.size()));
    EXPECT_EQ(rest.find('\n'), rest.size() - 1);
    EXPECT_TRUE(rest == "ERR: Writing speed not available\n" ||
                rest.rfind("Average writing speed: ", 0) == 0)
        << rest;
    EXPECT_EQ(file_content(volume.file("1.fff")), reference_sectors(0, small_volume));
    EXPECT_FALSE(exists(volume.file("2.fff")));
    const engine_write_results results = write_results();
    EXPECT_EQ(results.free_at_start, small_volume);
    EXPECT_EQ(results.free_at_end, 0U);
    EXPECT_EQ(results.free_at_end_known, 1);
    EXPECT_EQ(results.bytes_written, small_volume);
    EXPECT_EQ(results.first_index, 0);
    EXPECT_EQ(results.current_index, 0);
    EXPECT_EQ(results.files_created, 1);
    EXPECT_EQ(results.write_error, 0);
    EXPECT_EQ(results.end, ENGINE_WRITE_FULL_IN_FILE);
    EXPECT_EQ(engine_results_phase(), ENGINE_PHASE_IDLE);
}

TEST_F(f3write, prints_free_space_on_standard_error_only) {
    const private_volume volume(small_options);
    SKIP_WITHOUT(volume);
    const child_outcome outcome = run_in_child([&] { f3write_fill_fs(volume.c_path(), 0, 1); });
    EXPECT_TRUE(outcome.exited_with(0));
    EXPECT_EQ(outcome.err, "dd: free_space: 1048576\n");
    EXPECT_EQ(outcome.out, "");
}

TEST_F(f3write, leaves_lower_numbers_when_starting_later) {
    const private_volume volume(small_options);
    SKIP_WITHOUT(volume);
    set_file_content(volume.file("1.fff"), "mine");
    set_file_content(volume.file("4.fff"), "mine too");
    f3write_fill_fs(volume.c_path(), 4, 0);
    EXPECT_EQ(file_content(volume.file("1.fff")), "mine");
    EXPECT_EQ(file_content(volume.file("4.fff")), "mine too");
    const uint64_t size = small_volume - uint64_t{2} * 4096;
    EXPECT_EQ(file_content(volume.file("5.fff")), reference_sectors(UINT64_C(4) << 30U, size));
    const engine_write_results results = write_results();
    EXPECT_EQ(results.first_index, 4);
    EXPECT_EQ(results.current_index, 4);
    EXPECT_EQ(results.bytes_written, size);
}

TEST_F(f3write, writes_nothing_on_full_volume_and_returns_1) {
    const private_volume volume(small_options);
    SKIP_WITHOUT(volume);
    set_file_content(volume.file("users"), std::string(small_volume, 'u'));
    const child_outcome outcome = run_in_child([&] {
        const double speed = get_write_speed();
        const double result = f3write_fill_fs(volume.c_path(), 0, 1);
        printf("%g %d\n%s", result, get_write_speed() == speed ? 1 : 0, drained_log().c_str());
        printf("%d\n", write_results().end);
    });
    EXPECT_EQ(outcome.err, "dd: free_space: 0\n");
    EXPECT_EQ(outcome.out, "1 1\nFree space on device: 0.00 Byte\nERR: No space left on device!\n" +
                               std::to_string(ENGINE_WRITE_NO_FREE_SPACE) + "\n");
    EXPECT_FALSE(exists(volume.file("1.fff")));
}

TEST_F(f3write, treats_volume_without_statistics_as_full) {
    const child_outcome outcome = run_in_child([] {
        const double result = f3write_fill_fs("/does/not/exist", 0, 1);
        printf("%g\n%s", result, drained_log().c_str());
    });
    EXPECT_TRUE(outcome.exited_with(0));
    EXPECT_EQ(outcome.err, "dd: free_space: 0\n");
    EXPECT_EQ(outcome.out, "1\nFree space on device: 0.00 Byte\nERR: No space left on device!\n");
}

TEST_F(f3write, records_end_when_there_is_no_room_for_file) {
    const private_volume volume("size=1m,nr_inodes=2");
    SKIP_WITHOUT(volume);
    set_file_content(volume.file("users"), "");
    f3write_fill_fs(volume.c_path(), 0, 1);
    EXPECT_EQ(drained_log(),
              "Free space on device: 1.00 MB\nCreating test file number 1 ...\n"
              "ERR: No space left device.\nFree space on device: 1.00 MB\n"
              "ERR: Writing speed not available\n");
    EXPECT_EQ(write_results().end, ENGINE_WRITE_FULL_AT_FILE);
    EXPECT_EQ(write_results().files_created, 0);
    EXPECT_EQ(write_results().free_at_end, small_volume);
}

TEST_F(f3write, removes_every_test_file_in_order_and_nothing_else) {
    const private_folder folder;
    for (const char *name :
         {"10.fff", "2.fff", "1.fff", "notes.fff", "3.FFF", "2.fff.old", "0.fff"})
        set_file_content(folder.file(name), name);
    f3write_unlink_old_files(folder.c_path(), 0);
    EXPECT_EQ(drained_log(),
              "Removing old file number 1 ...\nRemoving old file number 2 ...\n"
              "Removing old file number 10 ...\n");
    for (const char *name : {"1.fff", "2.fff", "10.fff"})
        EXPECT_FALSE(exists(folder.file(name))) << name;
    for (const char *name : {"notes.fff", "3.FFF", "2.fff.old", "0.fff"})
        EXPECT_EQ(file_content(folder.file(name)), name);
    EXPECT_EQ(engine_results_phase(), ENGINE_PHASE_IDLE);
}

TEST_F(f3write, removes_from_start_index_on) {
    const private_folder folder;
    for (const char *name : {"1.fff", "2.fff", "3.fff"})
        set_file_content(folder.file(name), "");
    f3write_unlink_old_files(folder.c_path(), 1);
    EXPECT_TRUE(exists(folder.file("1.fff")));
    EXPECT_FALSE(exists(folder.file("2.fff")));
    EXPECT_FALSE(exists(folder.file("3.fff")));
}

TEST_F(f3write, removes_and_logs_nothing_without_test_files) {
    const private_folder folder;
    set_file_content(folder.file("a"), "a");
    const child_outcome outcome = run_in_child([&] {
        f3write_unlink_old_files(folder.c_path(), 0);
        fputs(drained_log().c_str(), stdout);
    });
    EXPECT_TRUE(outcome.exited_with(0));
    EXPECT_EQ(outcome.out + outcome.err, "");
    EXPECT_TRUE(exists(folder.file("a")));
}
