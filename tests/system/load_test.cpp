// SPDX-License-Identifier: GPL-3.0-or-later
// Large loads: several volumes at once, thousands of test files, a card that claims terabytes.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>

#include "cli_run.h"
#include "sector_oracle.h"
#include "support/volumes.h"

using namespace system_tests;

static void print_time(const char *what, const process_result &run) {
    std::cout << what << ": " << run.took.count() << " ms\n";
}

TEST(load, tests_four_volumes_at_once) {
    SKIP_IF_MISSING(missing_for_cards());
    struct plan {
        std::vector<std::string> options;
        int status;
        sector_tally tally;
    };
    const std::vector<plan> plans = {
        {{"--size=16M"}, 0, {.ok = 32768}},
        {{"--size=16M", "--real-size=8M", "--beyond=wrap"},
         65,
         {.ok = 16384, .overwritten = 16384}},
        {{"--size=16M", "--real-size=12M", "--beyond=drop-ff"},
         65,
         {.ok = 24576, .corrupted = 8192}},
        {{"--size=16M", "--flip=5:900,7000:4000"}, 65, {.ok = 32766, .changed = 2}}};
    std::vector<std::unique_ptr<card>> cards;
    std::vector<std::unique_ptr<child_process>> runs;
    const std::vector<report_file> reports(plans.size());
    for (size_t i = 0; i < plans.size(); ++i) {
        cards.push_back(std::make_unique<card>(plans[i].options));
        runs.push_back(std::make_unique<child_process>(std::vector<std::string>{
            TROVIK_CLI_PROGRAM, "test", cards[i]->path(), reports[i].option()}));
    }
    for (size_t i = 0; i < plans.size(); ++i) {
        const process_result run = runs[i]->wait();
        EXPECT_EQ(run.exit_status, plans[i].status) << run.err;
        const nlohmann::json report = reports[i].read();
        expect_whole_report(report, run.out);
        EXPECT_EQ(tally_of(report), plans[i].tally);
        EXPECT_EQ(cards[i]->test_files(), std::vector<int>{});
    }
}

// So many test files, each with its own first sectors.
static void make_test_files(const volume &where, int files, std::uint64_t sectors) {
    for (int number = 1; number <= files; ++number) {
        std::ofstream stream(where.file(std::to_string(number) + ".fff"), std::ios::binary);
        for (std::uint64_t at = 0; at < sectors; ++at) {
            const std::vector<unsigned char> sector =
                oracle_sector(static_cast<std::uint64_t>(number - 1) * oracle_file_bytes +
                              at * oracle_sector_bytes);
            for (const unsigned char byte : sector)
                stream.put(static_cast<char>(byte));
        }
    }
}

TEST(load, handles_ten_thousand_test_files) {
    SKIP_IF_MISSING(missing_for_mounts());
    constexpr int files = 10000;
    const tmpfs_volume where("size=64m");
    make_test_files(where, files, 1);

    const cli_result read = run_cli_with_report({"read", where.path()});
    print_time("reading", read);
    EXPECT_EQ(read.exit_status, 74) << read.err;  // all but the last are cut short
    EXPECT_EQ(tally_of(read.json), sector_tally{.ok = files});
    EXPECT_EQ(read.json.at("files").size(), files);

    std::filesystem::create_directory(where.file("10001.fff"));
    const process_result refused = run_cli({"test", where.path()});
    print_time("refusing", refused);
    EXPECT_EQ(refused.exit_status, 77) << refused.err;
    EXPECT_EQ(where.test_files().size(), files + 1U);
    std::filesystem::remove(where.file("10001.fff"));

    const process_result cleaned = run_cli({"clean", where.path()});
    print_time("removing", cleaned);
    EXPECT_EQ(cleaned.exit_status, 0) << cleaned.err;
    EXPECT_EQ(where.test_files(), std::vector<int>{});
}

TEST(load, card_of_2_tb_full_at_8_mib_is_incomplete) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=2T", "--full-at=8M"});
    const cli_result run = run_cli_with_report({"test", where.path()});
    EXPECT_EQ(run.exit_status, 74) << run.err;
    expect_whole_report(run.json, run.out);
    EXPECT_EQ(run.json.at("verdict"), "incomplete");
    EXPECT_EQ(run.json.at("write").at("free_bytes_at_start"), 2199023255552);
    EXPECT_EQ(run.json.at("report").at("capacity_bytes"), "2199023255552 Bytes");
    EXPECT_EQ(run.json.at("report").at("capacity_gb"), "2048.000 GB");
    EXPECT_NE(run.out.find("Free space on device: 2.00 TB\n"), std::string::npos);
    EXPECT_TRUE(any_contains(run.json.at("reasons"), "could not be filled"));
    EXPECT_EQ(tally_of(run.json), sector_tally{.ok = 8 * mib / oracle_sector_bytes});
}

TEST(load, counts_two_thousand_truncated_files) {
    SKIP_IF_MISSING(missing_for_cards());
    constexpr int files = 2000;
    const card where({"--size=8M"});
    make_test_files(where, files, 4);
    // A third of them ends inside their second sector.
    for (int number = 3; number <= files; number += 3)
        std::filesystem::resize_file(where.file(std::to_string(number) + ".fff"), 1000);

    const cli_result read = run_cli_with_report({"read", where.path()});
    print_time("reading", read);
    EXPECT_EQ(read.exit_status, 74) << read.err;
    EXPECT_EQ(read.json.at("verdict"), "incomplete");
    EXPECT_EQ(tally_of(read.json), sector_tally{.ok = 1334 * 4 + 666});
    EXPECT_EQ(read.json.at("read").at("bytes"), 1334 * 2048 + 666 * 1000);
    EXPECT_EQ(read.json.at("read").at("counts_agree"), false);
    EXPECT_EQ(run_cli({"clean", where.path()}).exit_status, 0);
    EXPECT_EQ(where.test_files(), std::vector<int>{});
}
