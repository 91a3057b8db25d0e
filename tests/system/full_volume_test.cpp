// SPDX-License-Identifier: GPL-3.0-or-later
// How filling ends, and the free space that a volume reports: full, full from the start, full too
// early or too late, wrong, unknown, read-only.
#include <gtest/gtest.h>

#include <fstream>

#include "cli_run.h"
#include "support/volumes.h"
#include "user_files.h"

using namespace system_tests;

// Percentages in the progress lines.
static double highest_percentage(const std::string &text) {
    double highest = 0;
    for (const std::string &line : lines_of(text)) {
        const size_t sign = line.find("% @ ");
        if (sign != std::string::npos)
            highest = std::max(highest, std::stod(line.substr(0, sign)));
    }
    return highest;
}

static void expect_nothing_tested(const cli_result &run) {
    EXPECT_EQ(run.exit_status, 74) << run.err;
    expect_whole_report(run.json, run.out);
    EXPECT_EQ(run.json.at("verdict"), "nothing_tested");
    EXPECT_EQ(run.json.at("write").at("end"), "no_free_space");
    EXPECT_EQ(run.json.at("write").at("files_created"), 0);
    EXPECT_EQ(run.json.at("write").at("bytes"), 0);
    EXPECT_EQ(run.json.at("read").at("files"), 0);
    EXPECT_EQ(tally_of(run.json), sector_tally{});
    EXPECT_NE(run.out.find("Free space on device: 0.00 Byte\nERR: No space left on device!\n"),
              std::string::npos)
        << run.out;
    EXPECT_NE(run.err.find("dd: free_space: 0\n"), std::string::npos) << run.err;
}

TEST(full_volume, has_nothing_to_test) {
    SKIP_IF_MISSING(missing_for_cards());
    const std::vector<user_file> files = user_tree();
    const card where({"--size=" + std::to_string(user_tree_sectors(files) * 512)});
    const user_files users(where.path(), files);

    const cli_result run = run_cli_with_report({"test", where.path()});

    expect_nothing_tested(run);
    EXPECT_EQ(where.test_files(), std::vector<int>{});
    users.expect_untouched();
}

TEST(full_volume, of_old_test_files_is_emptied_and_tested) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=1M"});
    ASSERT_EQ(run_cli({"write", where.path()}).exit_status, 0);
    const cli_result run = run_cli_with_report({"test", where.path()});
    EXPECT_EQ(run.exit_status, 0) << run.err;
    EXPECT_NE(run.out.find("Removing old file number 1 ...\n"), std::string::npos) << run.out;
    EXPECT_EQ(tally_of(run.json), sector_tally{.ok = 2048});
}

TEST(full_volume, filled_to_last_byte_is_intact_then_empty) {
    SKIP_IF_MISSING(missing_for_cards());
    const std::vector<user_file> files = user_tree();
    const card where({"--size=24M"});
    const user_files users(where.path(), files);
    const std::uint64_t sectors = 24 * mib / oracle_sector_bytes - user_tree_sectors(files);
    // Blocks of 1 KiB fill it only when the room for them is even.
    ASSERT_EQ(sectors % 2, 0U);

    const cli_result run = run_cli_with_report({"test", where.path()});

    EXPECT_EQ(run.exit_status, 0) << run.err;
    expect_whole_report(run.json, run.out);
    EXPECT_EQ(run.json.at("report").at("volume_intact"), "YES");
    EXPECT_EQ(run.json.at("write").at("end"), "full_in_file");
    EXPECT_EQ(run.json.at("write").at("free_bytes_at_start"), sectors * 512);
    EXPECT_EQ(run.json.at("write").at("free_bytes_at_end"), 0);
    EXPECT_EQ(tally_of(run.json), sector_tally{.ok = sectors});
    EXPECT_EQ(where.test_files(), std::vector<int>{});
    users.expect_untouched();
}

TEST(full_volume, taking_less_than_free_space_is_incomplete) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=4M", "--full-at=2M"});
    const cli_result run = run_cli_with_report({"test", where.path()});
    EXPECT_EQ(run.exit_status, 74) << run.err;
    EXPECT_EQ(run.json.at("verdict"), "incomplete");
    EXPECT_EQ(tally_of(run.json), sector_tally{.ok = 4096});
    EXPECT_EQ(run.json.at("write").at("free_bytes_at_start"), 4 * mib);
    EXPECT_EQ(run.json.at("write").at("free_bytes_at_end"), 2 * mib);
    EXPECT_TRUE(any_contains(run.json.at("reasons"), "could not be filled"));
}

TEST(full_volume, leaving_less_than_one_percent_is_noted) {
    SKIP_IF_MISSING(missing_for_cards());
    // 15 of 1600 KiB are left.
    const card where({"--size=1600K", "--full-at=1585K"});
    const cli_result run = run_cli_with_report({"test", where.path()});
    EXPECT_EQ(run.exit_status, 0) << run.err;
    EXPECT_EQ(tally_of(run.json), sector_tally{.ok = 3170});
    EXPECT_TRUE(any_contains(run.json.at("notes"), "15.0 KB")) << run.json.at("notes");
    EXPECT_NE(run.out.find("15.0 KB of free space could not be filled"), std::string::npos);
}

TEST(full_volume, leaving_one_percent_is_incomplete) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=1600K", "--full-at=1584K"});
    const cli_result run = run_cli_with_report({"test", where.path()});
    EXPECT_EQ(run.exit_status, 74) << run.err;
    EXPECT_TRUE(any_contains(run.json.at("reasons"), "16.0 KB")) << run.json.at("reasons");
}

TEST(full_volume, taking_more_than_free_space_is_tested_whole) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=2M", "--full-at=3M"});
    const cli_result run = run_cli_with_report({"test", where.path()});
    EXPECT_EQ(run.exit_status, 0) << run.err;
    EXPECT_EQ(tally_of(run.json), sector_tally{.ok = 6144});
    EXPECT_EQ(run.json.at("write").at("free_bytes_at_start"), 2 * mib);
    EXPECT_EQ(run.json.at("write").at("bytes"), 3 * mib);
    EXPECT_LE(highest_percentage(run.out), 100.0);
    EXPECT_GT(highest_percentage(run.out), 90.0);
}

TEST(full_volume, constant_free_space_is_incomplete) {
    SKIP_IF_MISSING(missing_for_cards());
    // Full, yet it reports 1 MiB free: unknown space.
    const card where({"--size=2M", "--statfs-free=1M"});
    const cli_result run = run_cli_with_report({"test", where.path()});
    EXPECT_EQ(run.exit_status, 74) << run.err;
    EXPECT_EQ(tally_of(run.json), sector_tally{.ok = 4096});
    EXPECT_EQ(run.json.at("write").at("free_bytes_at_start"), 1 * mib);
    EXPECT_EQ(run.json.at("write").at("free_bytes_at_end"), 1 * mib);
    EXPECT_LE(highest_percentage(run.out), 100.0);
}

TEST(full_volume, false_zero_free_space_has_nothing_to_test) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=2M", "--statfs-free=0"});
    expect_nothing_tested(run_cli_with_report({"test", where.path()}));
}

TEST(full_volume, unknown_free_space_has_nothing_to_test) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=2M", "--statfs-fails"});
    const cli_result run = run_cli_with_report({"test", where.path()});
    expect_nothing_tested(run);
    EXPECT_TRUE(run.json.at("volume").at("free_bytes").is_null());
    EXPECT_TRUE(run.json.at("write").at("free_bytes_at_end").is_null());
}

TEST(full_volume, is_reported_by_write_command) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=1M", "--statfs-free=0"});
    const process_result run = run_cli({"write", where.path()});
    EXPECT_EQ(run.exit_status, 74) << run.out;
    EXPECT_NE(run.out.find("ERR: No space left on device!\n"), std::string::npos) << run.out;
}

TEST(full_volume, read_only_is_refused_except_for_reading) {
    SKIP_IF_MISSING(missing_for_mounts());
    tmpfs_volume where("size=24m");
    const std::vector<user_file> files = user_tree();
    const user_files users(where.path(), files);
    ASSERT_EQ(run_cli({"write", where.path()}).exit_status, 0);
    where.set_read_only(true);

    for (const char *command : {"test", "write", "clean"}) {
        for (const bool force : {false, true}) {
            std::vector<std::string> words = {command, where.path()};
            if (force)
                words.emplace_back("--force");
            const process_result run = run_cli(words);
            EXPECT_EQ(run.exit_status, 77) << command << run.out << run.err;
            EXPECT_NE(run.err.find("read-only"), std::string::npos) << run.err;
            EXPECT_EQ(lines_of(run.err).size(), 1U) << run.err;
            EXPECT_EQ(run.out, "");
        }
    }
    EXPECT_EQ(where.test_files(), std::vector<int>{1});
    const cli_result read = run_cli_with_report({"read", where.path()});
    EXPECT_EQ(read.exit_status, 0) << read.err;
    expect_whole_report(read.json, read.out);
    EXPECT_EQ(read.json.at("volume").at("read_only"), true);
    expect_oracle_agrees(where, read.json);
    EXPECT_GT(tally_of(read.json).ok, 0U);
    users.expect_untouched();
}

TEST(full_volume, write_protect_switch_is_refused) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=1M", "--read-only"});
    const cli_result run = run_cli_with_report({"test", where.path()});
    EXPECT_EQ(run.exit_status, 77) << run.out;
    EXPECT_NE(run.err.find("read-only"), std::string::npos) << run.err;
    EXPECT_TRUE(run.json.is_null());
    EXPECT_EQ(run_cli({"read", where.path()}).exit_status, 74);
}

// Larger writes change the speed only: same data, same end.
TEST(full_volume, larger_writes_fill_it_whole) {
    SKIP_IF_MISSING(missing_for_cards());
    for (const char *size : {"2K", "1M", "16M"}) {
        const card where({"--size=" + std::to_string(5 * mib + 1536)});
        const cli_result run =
            run_cli_with_report({"test", where.path(), std::string("--block-size=") + size});
        EXPECT_EQ(run.exit_status, 0) << run.err;
        EXPECT_EQ(run.json.at("write").at("free_bytes_at_end"), 0);
        EXPECT_EQ(tally_of(run.json), sector_tally{.ok = (5 * mib + 1536) / 512});
    }
    const card counterfeit({"--size=8M", "--real-size=3M", "--beyond=wrap"});
    const cli_result run = run_cli_with_report({"test", counterfeit.path(), "--block-size=1M"});
    EXPECT_EQ(run.exit_status, 65) << run.err;
    EXPECT_EQ(run.json.at("write").at("block_bytes"), 1048576);
    EXPECT_EQ(tally_of(run.json), (sector_tally{.ok = 6144, .overwritten = 10240}));
}
