// SPDX-License-Identifier: GPL-3.0-or-later
/* Whole runs on small volumes with the real clock and medium, judged by the files and by the
 * values that a shell sees. */
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <string>

#include "model/engine_results.h"
#include "model/engine_status.h"
#include "model/f3read.h"
#include "model/f3write.h"
#include "model/utils.h"
#include "support.h"

using model_tests::child_outcome;
using model_tests::drained_log;
using model_tests::exists;
using model_tests::file_content;
using model_tests::file_size;
using model_tests::private_folder;
using model_tests::private_volume;
using model_tests::read_results;
using model_tests::reference_sectors;
using model_tests::run_in_child;
using model_tests::set_file_content;

namespace {

constexpr uint64_t mebibyte = 1U << 20U;

void list_and_read(const char *volume, int start_at) {
    int *files = ls_my_files(volume, start_at);
    f3read_iterate_files(volume, files, start_at, 1);
    free(files);
}

std::string sector_of_file(const std::string &path, uint64_t offset) {
    std::ifstream stream(path, std::ios::binary);
    stream.seekg(static_cast<std::streamoff>(offset));
    std::string sector(512, '\0');
    stream.read(sector.data(), 512);
    return sector;
}

}  // namespace

TEST(whole_run, finds_intact_volume_intact_and_leaves_other_files) {
    const private_volume volume("size=2m");
    SKIP_WITHOUT(volume);
    set_file_content(volume.file("notes.fff"), "mine");
    set_file_content(volume.file("1.fff"), "an old test file");
    const child_outcome outcome = run_in_child([&] {
        f3write_unlink_old_files(volume.c_path(), 0);
        f3write_fill_fs(volume.c_path(), 0, 1);
        list_and_read(volume.c_path(), 0);
        fprintf(stdout, "%s %s %u %d\n", get_data_ok_text(), get_data_lost_text(),
                get_volume_intact(), read_results().finished);
        f3write_unlink_old_files(volume.c_path(), 0);
    });
    EXPECT_TRUE(outcome.exited_with(0));
    EXPECT_EQ(outcome.out, "\n1.996094 MB 0.000000 Byte 1 1\n");
    EXPECT_EQ(outcome.err,
              "dd: free_space: 2093056\n"
              "dd: assert == true, size:seems to be ok\n"
              "dd: tot_size / SECTOR_SIZE                                 : 4088\n"
              "dd: tot_ok + tot_corrupted + tot_changed + tot_overwritten : 4088\n");
    EXPECT_FALSE(exists(volume.file("1.fff")));
    EXPECT_EQ(file_content(volume.file("notes.fff")), "mine");
}

TEST(whole_run, finds_single_flipped_bit) {
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    drained_log();
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    f3write_fill_fs(volume.c_path(), 0, 1);
    std::string bytes = file_content(volume.file("1.fff"));
    bytes[777316] = static_cast<char>(bytes[777316] ^ 0x10);
    set_file_content(volume.file("1.fff"), bytes);
    list_and_read(volume.c_path(), 0);
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
    drained_log();
    EXPECT_EQ(get_volume_intact(), 0U);
    EXPECT_STREQ(get_data_changed_text(), "512.000000 Byte");
    EXPECT_STREQ(get_data_lost_text(), "512.000000 Byte");
    EXPECT_EQ(read_results().ok, 2047U);
    EXPECT_EQ(read_results().changed, 1U);
}

/* A volume of exactly one test file: the next file is created and stays empty. */
TEST(whole_run, full_test_file_has_2097152_sectors) {
    const private_volume volume("size=1g");
    SKIP_WITHOUT(volume);
    drained_log();
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    f3write_fill_fs(volume.c_path(), 0, 0);
    const std::string log = drained_log();
    list_and_read(volume.c_path(), 0);
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
    drained_log();
    const std::string lines =
        "Free space on device: 1.00 GB\n"
        "Creating test file number 1 ...\nTest file written.\n"
        "Creating test file number 2 ...\nTest file written.\n"
        "Free space on device: 0.00 Byte\n";
    EXPECT_EQ(log.substr(0, lines.size()), lines);
    EXPECT_EQ(file_size(volume.file("1.fff")), test_file_size);
    EXPECT_EQ(file_size(volume.file("2.fff")), 0U);
    for (uint64_t offset = 0; offset < test_file_size; offset += 4096 * 512 - 512)
        ASSERT_EQ(sector_of_file(volume.file("1.fff"), offset), reference_sectors(offset, 512));
    EXPECT_EQ(sector_of_file(volume.file("1.fff"), test_file_size - 512),
              reference_sectors(test_file_size - 512, 512));
    EXPECT_STREQ(get_data_ok_text(), "1.000000 GB");
    EXPECT_EQ(get_volume_intact(), 1U);
    engine_file_result first = {};
    ASSERT_EQ(engine_results_file(0, &first), 1);
    EXPECT_EQ(first.ok, 2097152U);
    EXPECT_EQ(first.size, test_file_size);
    EXPECT_NE(first.read_all, 0);
    engine_file_result second = {};
    ASSERT_EQ(engine_results_file(1, &second), 1);
    EXPECT_EQ(second.size, 0U);
    EXPECT_NE(second.read_all, 0);
}

TEST(whole_run, second_test_keeps_results_of_first_until_its_end) {
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    f3write_fill_fs(volume.c_path(), 0, 1);
    list_and_read(volume.c_path(), 0);
    const std::string first = get_data_ok_text();
    set_file_content(volume.file("users"), "");
    f3write_unlink_old_files(volume.c_path(), 0);
    set_file_content(volume.file("users"), std::string(mebibyte / 2, 'u'));
    f3write_fill_fs(volume.c_path(), 0, 1);
    EXPECT_EQ(get_data_ok_text(), first);
    list_and_read(volume.c_path(), 0);
    testing::internal::GetCapturedStdout();
    testing::internal::GetCapturedStderr();
    drained_log();
    EXPECT_EQ(first, "1.000000 MB");
    EXPECT_STREQ(get_data_ok_text(), "512.000000 KB");
}

TEST(whole_run, reading_folder_named_like_test_file_aborts) {
    const private_folder folder;
    ASSERT_EQ(mkdir(folder.file("5.fff").c_str(), 0700), 0);
    model_tests::expect_assertion(run_in_child([&] { list_and_read(folder.c_path(), 4); }),
                                  "*read_all || errno == EIO", "f3read_validate_file",
                                  "model/f3read");
}
