// SPDX-License-Identifier: GPL-3.0-or-later
// Volumes of more than one test file. They take gigabytes of memory, so there are few, and each
// test checks all that its files can show.
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "cli_run.h"
#include "sector_oracle.h"
#include "support/volumes.h"
#include "user_files.h"

using namespace system_tests;

constexpr std::uint64_t full_file_sectors = oracle_file_bytes / oracle_sector_bytes;

// Gigabytes that the machine can spare.
static std::string missing_memory(std::uint64_t megabytes) {
    std::ifstream stream("/proc/meminfo");
    for (std::string word; stream >> word;) {
        std::uint64_t available_kib = 0;
        if (word == "MemAvailable:" && stream >> available_kib)
            return available_kib / 1024 > megabytes + 1024
                       ? ""
                       : std::to_string(megabytes) + " MB of free memory";
    }
    return "/proc/meminfo";
}

static std::string missing_for_large(std::uint64_t megabytes) {
    const std::string missing = missing_for_mounts();
    return missing.empty() ? missing_memory(megabytes) : missing;
}

static void test_whole_volume(const tmpfs_volume &where) {
    const cli_result run = run_cli_with_report({"test", where.path(), "--keep-files"});
    EXPECT_EQ(run.exit_status, 0) << run.err;
    expect_whole_report(run.json, run.out);
    EXPECT_EQ(run.json.at("verdict"), "intact");
    EXPECT_EQ(run.json.at("report").at("volume_intact"), "YES");
    EXPECT_EQ(run.json.at("report").at("data_lost"), "0.000000 Byte");
    EXPECT_EQ(run.json.at("write").at("files_created"), 3);
    EXPECT_EQ(tally_of_file(run.json, 1), sector_tally{.ok = full_file_sectors});
    EXPECT_EQ(tally_of_file(run.json, 2), sector_tally{.ok = full_file_sectors});
    EXPECT_LT(tally_of_file(run.json, 3).ok, full_file_sectors);
    EXPECT_GT(tally_of_file(run.json, 3).ok, 0U);
    expect_oracle_agrees(where, run.json);
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    std::puts("not checked: the peak memory of the command, for a sanitizer takes its own");
#else
    EXPECT_LT(run.peak_rss_kib, 32 * 1024);
#endif
}

static void read_all_files(const tmpfs_volume &where) {
    const cli_result run = run_cli_with_report({"read", where.path()});
    EXPECT_EQ(run.exit_status, 0) << run.out;
    EXPECT_EQ(run.json.at("files").size(), 3U);
    EXPECT_EQ(run.json.at("missing_files").at("count"), 0);
}

static void read_without_the_second_file(const tmpfs_volume &where) {
    ASSERT_EQ(unlink(where.file("2.fff").c_str()), 0);
    const cli_result run = run_cli_with_report({"read", where.path()});
    EXPECT_EQ(run.exit_status, 74) << run.out;
    expect_whole_report(run.json, run.out);
    EXPECT_NE(run.out.find("ERR: Missing file 2.fff\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("ERR: WARNING: Not all files are available\n"), std::string::npos);
    EXPECT_EQ(run.json.at("missing_files"),
              nlohmann::json::parse(R"({"count": 1, "ranges": [{"first": 2, "last": 2}]})"));
    EXPECT_TRUE(any_contains(run.json.at("reasons"), "Missing: 2.fff"));
    // Missing files do not make the others less intact.
    EXPECT_EQ(run.json.at("report").at("volume_intact"), "YES");
    EXPECT_EQ(tally_of_file(run.json, 1), sector_tally{.ok = full_file_sectors});
    expect_oracle_agrees(where, run.json);
}

static void read_from_the_third_file(const tmpfs_volume &where) {
    const cli_result run = run_cli_with_report({"read", where.path(), "--start-at=3"});
    EXPECT_EQ(run.exit_status, 0) << run.out;
    EXPECT_EQ(run.json.at("files").size(), 1U);
    EXPECT_EQ(run.json.at("files").at(0).at("name"), "3.fff");
    EXPECT_EQ(run.json.at("missing_files").at("count"), 0);
}

static void read_only_the_third_file(const tmpfs_volume &where) {
    ASSERT_EQ(unlink(where.file("1.fff").c_str()), 0);
    const cli_result run = run_cli_with_report({"read", where.path()});
    EXPECT_EQ(run.exit_status, 74) << run.out;
    EXPECT_NE(run.out.find("ERR: Missing file 1.fff\nERR: Missing file 2.fff\n"), std::string::npos)
        << run.out;
    EXPECT_EQ(run.json.at("missing_files"),
              nlohmann::json::parse(R"({"count": 2, "ranges": [{"first": 1, "last": 2}]})"));
}

TEST(large_volume, two_and_a_half_files_are_written_and_judged) {
    SKIP_IF_MISSING(missing_for_large(2560));
    const tmpfs_volume where("size=2560m");
    const user_files users(where.path(), user_tree());
    test_whole_volume(where);
    users.expect_untouched();
    read_all_files(where);
    read_without_the_second_file(where);
    read_from_the_third_file(where);
    read_only_the_third_file(where);
    const process_result cleaned = run_cli({"clean", where.path()});
    EXPECT_EQ(cleaned.exit_status, 0) << cleaned.err;
    EXPECT_EQ(where.test_files(), std::vector<int>{});
    users.expect_untouched();
}

TEST(large_volume, full_at_end_of_file_leaves_empty_file) {
    SKIP_IF_MISSING(missing_for_large(1024));
    const tmpfs_volume where("size=1g");
    const cli_result run = run_cli_with_report({"test", where.path(), "--keep-files"});
    EXPECT_EQ(run.exit_status, 0) << run.err;
    expect_whole_report(run.json, run.out);
    EXPECT_EQ(run.json.at("write").at("end"), "full_in_file");
    EXPECT_EQ(where.test_files(), (std::vector<int>{1, 2}));
    EXPECT_EQ(tally_of_file(run.json, 1), sector_tally{.ok = full_file_sectors});
    EXPECT_EQ(tally_of_file(run.json, 2), sector_tally{});
    EXPECT_EQ(run.json.at("files").at(1).at("bytes_read"), 0);
    EXPECT_EQ(run.json.at("files").at(1).at("read_to_end"), true);
    EXPECT_EQ(run.json.at("files").at(0).at("cut_short"), false);
}

TEST(large_volume, no_room_for_next_file_ends_filling) {
    SKIP_IF_MISSING(missing_for_large(1024));
    // Room for the root folder and one file: the second cannot be created.
    const tmpfs_volume where("size=1g,nr_inodes=2");
    const cli_result run = run_cli_with_report({"test", where.path(), "--keep-files"});
    EXPECT_EQ(run.exit_status, 0) << run.err;
    expect_whole_report(run.json, run.out);
    EXPECT_NE(run.out.find("Creating test file number 2 ...\nERR: No space left device.\n"),
              std::string::npos)
        << run.out;
    EXPECT_EQ(run.json.at("write").at("end"), "full_at_file");
    EXPECT_EQ(where.test_files(), std::vector<int>{1});
    EXPECT_EQ(tally_of(run.json), sector_tally{.ok = full_file_sectors});
}
