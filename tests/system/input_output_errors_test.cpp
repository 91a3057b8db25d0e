// SPDX-License-Identifier: GPL-3.0-or-later
// Cards that report errors: failing reads, writes and flushes.
#include <gtest/gtest.h>

#include "cli_run.h"
#include "sector_oracle.h"
#include "support/volumes.h"
#include "user_files.h"

using namespace system_tests;

// The report of a card whose only test file can be read up to this byte.
static void expect_stopped_at(const cli_result &run, std::uint64_t byte) {
    EXPECT_EQ(run.exit_status, 74) << run.err;
    expect_whole_report(run.json, run.out);
    const auto &file = run.json.at("files").at(0);
    EXPECT_EQ(file.at("bytes_read"), byte);
    EXPECT_EQ(file.at("read_to_end"), false);
    EXPECT_EQ(file.at("stopped_at_byte"), byte);
    EXPECT_EQ(tally_of(run.json), sector_tally{.ok = byte / oracle_sector_bytes});
    EXPECT_EQ(run.json.at("read").at("files_stopped"), 1);
    EXPECT_EQ(run.json.at("read").at("counts_agree"), true);
    const auto &error = run.json.at("errors").at(0);
    EXPECT_EQ(error.at("during"), "reading");
    EXPECT_EQ(error.at("number"), EIO);
    EXPECT_EQ(error.at("file"), "1.fff");
    EXPECT_EQ(error.at("at_byte"), byte);
    EXPECT_NE(run.out.find("ERR: WARNING: Not all data was read due to I/O error(s)\n"),
              std::string::npos);
    EXPECT_TRUE(any_contains(run.json.at("reasons"), "up to byte " + std::to_string(byte)));
}

TEST(input_output_errors, in_middle_of_file_keep_counts_up_to_bad_sector) {
    SKIP_IF_MISSING(missing_for_cards());
    const std::vector<user_file> files = user_tree();
    // The fourth sector of a page. Test files begin behind the user's.
    constexpr std::uint64_t bad_sector = 500 * 8 + 3;
    const card where(
        {"--size=24M", "--read-error=" + std::to_string(user_tree_sectors(files) + bad_sector)});
    const user_files users(where.path(), files);

    const cli_result run = run_cli_with_report({"test", where.path()});

    expect_stopped_at(run, bad_sector * oracle_sector_bytes);
    EXPECT_EQ(run.json.at("verdict"), "incomplete");
    EXPECT_EQ(run.json.at("report").at("volume_intact"), "YES");
    EXPECT_EQ(where.test_files(), std::vector<int>{});
    users.expect_untouched();
}

// A card that tries for long before it gives up: the last line before that is as new as
// the try is long.
TEST(input_output_errors, after_slow_retry_report_bytes_read) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=64K", "--read-error=40", "--read-latency-us=400000"});
    const cli_result run = run_cli_with_report({"test", where.path()});
    expect_stopped_at(run, 40 * oracle_sector_bytes);
    EXPECT_NE(run.out.find("\n     40,        0,      0,      0\n"), std::string::npos) << run.out;
}

TEST(input_output_errors, at_first_sector_leave_nothing_tested) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=2M", "--read-error=0"});
    const cli_result run = run_cli_with_report({"test", where.path()});
    expect_stopped_at(run, 0);
    EXPECT_EQ(run.json.at("verdict"), "nothing_tested");
}

TEST(input_output_errors, at_last_sector_leave_all_others_judged) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=2M", "--read-error=4095"});
    const cli_result run = run_cli_with_report({"test", where.path()});
    expect_stopped_at(run, 2 * mib - oracle_sector_bytes);
}

TEST(input_output_errors, rank_below_lost_data) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=2M", "--read-error=3000", "--flip=7:99"});
    const cli_result run = run_cli_with_report({"test", where.path()});
    EXPECT_EQ(run.exit_status, 65) << run.err;
    EXPECT_EQ(tally_of(run.json), (sector_tally{.ok = 2999, .changed = 1}));
    EXPECT_EQ(run.json.at("files").at(0).at("stopped_at_byte"), 3000 * oracle_sector_bytes);
}

TEST(input_output_errors, end_one_file_and_not_the_next) {
    SKIP_IF_MISSING(missing_for_cards());
    // Two files on one card: the second begins where the first was cut.
    const card where({"--size=4M", "--read-error=1600"});
    ASSERT_EQ(run_cli({"write", where.path()}).exit_status, 0);
    std::filesystem::resize_file(where.file("1.fff"), 1 * mib);
    ASSERT_EQ(run_cli({"write", where.path(), "--start-at=2"}).exit_status, 0);
    const cli_result run = run_cli_with_report({"read", where.path()});
    EXPECT_EQ(run.exit_status, 74) << run.err;
    expect_whole_report(run.json, run.out);
    EXPECT_EQ(run.json.at("files").at(0).at("stopped_at_byte"), 1600 * oracle_sector_bytes);
    EXPECT_EQ(tally_of_file(run.json, 1), sector_tally{.ok = 1600});
    EXPECT_EQ(tally_of_file(run.json, 2), sector_tally{.ok = 6144});
    EXPECT_EQ(run.json.at("read").at("bytes"), 1600 * oracle_sector_bytes + 3 * mib);
}

// What is left is named, with the command that removes it; that command does.
static void expect_left_and_removable(const card &where, const cli_result &run) {
    EXPECT_EQ(where.test_files(), std::vector<int>{1});
    EXPECT_NE(run.err.find("test files left on '" + where.path() + "': 1.fff"), std::string::npos)
        << run.err;
    const process_result removed = run_removal_command(removal_command(run.err));
    EXPECT_EQ(removed.exit_status, 0) << removed.err;
    EXPECT_EQ(where.test_files(), std::vector<int>{});
}

TEST(input_output_errors, while_writing_end_run_and_name_left_files) {
    SKIP_IF_MISSING(missing_for_cards());
    const std::vector<user_file> files = user_tree();
    const card where(
        {"--size=24M", "--write-error=" + std::to_string(user_tree_sectors(files) + 2000)});
    const user_files users(where.path(), files);

    const cli_result run = run_cli_with_report({"test", where.path()});

    expect_aborted_at(run, "written == fw->block_size");
    const std::string failed = "Write to file " + where.file("1.fff") + " failed";
    EXPECT_NE(run.out.find(failed), std::string::npos) << run.out;
    EXPECT_EQ(run.json.at("write").at("bytes"), 2000 * oracle_sector_bytes);
    EXPECT_EQ(run.json.at("write").at("end"), "not_ended");
    EXPECT_EQ(run.json.at("write").at("error").at("number"), EIO);
    EXPECT_EQ(run.json.at("errors").at(0).at("during"), "writing");
    EXPECT_EQ(run.json.at("errors").at(0).at("file"), "1.fff");
    users.expect_untouched();
    expect_left_and_removable(where, run);
    users.expect_untouched();
}

TEST(input_output_errors, at_first_write_end_run) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=2M", "--write-error=0"});
    const cli_result run = run_cli_with_report({"test", where.path()});
    expect_aborted_at(run, "written == fw->block_size");
    EXPECT_EQ(run.json.at("write").at("bytes"), 0);
    EXPECT_EQ(run.json.at("verdict"), "nothing_tested");
    expect_left_and_removable(where, run);
}

TEST(input_output_errors, of_flush_end_run) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=2M", "--fsync-fails"});
    const cli_result run = run_cli_with_report({"test", where.path()});
    expect_aborted_at(run, "!fdatasync(fd)");
    // Not the write failed: nothing says so.
    EXPECT_EQ(run.out.find("Write to file"), std::string::npos) << run.out;
    EXPECT_EQ(run.json.at("write").at("bytes"), 1024);
    expect_left_and_removable(where, run);
}

TEST(input_output_errors, short_write_ends_run) {
    SKIP_IF_MISSING(missing_for_cards());
    // The last block has room for one sector: the run ends and does not report a full volume.
    const card where({"--size=" + std::to_string(mib + 512)});
    const cli_result run = run_cli_with_report({"test", where.path()});
    expect_aborted_at(run, "written == fw->block_size");
    EXPECT_EQ(run.out.find("Write to file"), std::string::npos) << run.out;
    EXPECT_EQ(run.json.at("write").at("bytes"), 1 * mib);
    EXPECT_TRUE(run.json.at("write").at("error").is_null());
    expect_left_and_removable(where, run);
}
