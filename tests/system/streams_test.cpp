// SPDX-License-Identifier: GPL-3.0-or-later
// Standard output and standard error: the engine's diagnostics character by character, and
// nothing but the JSON document where a program reads it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "cli_run.h"
#include "support/volumes.h"

using namespace system_tests;

static std::string diagnostics(const std::string &read, const std::string &counted) {
    return "dd: assert == true, size:seems to be ok\n"
           "dd: tot_size / SECTOR_SIZE                                 : " +
           read +
           "\n"
           "dd: tot_ok + tot_corrupted + tot_changed + tot_overwritten : " +
           counted + "\n";
}

TEST(streams, stderr_of_sound_card_is_engine_diagnostics) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=1M"});
    const process_result run = run_cli({"test", where.path()});
    EXPECT_EQ(run.exit_status, 0);
    EXPECT_EQ(run.err, "dd: free_space: 1048576\n" + diagnostics("2048", "2048"));
    EXPECT_EQ(run.out.find("dd:"), std::string::npos) << run.out;
}

TEST(streams, stderr_of_bad_card_is_engine_diagnostics) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=1M", "--real-size=512K"});
    const process_result run = run_cli({"test", where.path()});
    EXPECT_EQ(run.exit_status, 65);
    EXPECT_EQ(run.err, "dd: free_space: 1048576\n" + diagnostics("2048", "2048"));
}

TEST(streams, each_command_has_its_diagnostics) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=1M"});
    EXPECT_EQ(run_cli({"write", where.path()}).err, "dd: free_space: 1048576\n");
    EXPECT_EQ(run_cli({"read", where.path()}).err, diagnostics("2048", "2048"));
    const process_result cleaned = run_cli({"clean", where.path()});
    EXPECT_EQ(cleaned.exit_status, 0);
    EXPECT_EQ(cleaned.err, "");
    EXPECT_NE(cleaned.out.find("Removing old file number 1 ...\n"), std::string::npos);
    EXPECT_EQ(run_cli({"read", where.path()}).err, diagnostics("0", "0"));
}

// Makes test files with these numbers of 1 MiB each.
static void write_files(const card &where, const std::vector<int> &numbers) {
    for (const int number : numbers) {
        const std::string option = "--start-at=" + std::to_string(number);
        ASSERT_EQ(run_cli({"write", where.path(), option}).exit_status, 0);
        std::filesystem::resize_file(where.file(std::to_string(number) + ".fff"), mib);
    }
}

TEST(streams, engine_lines_keep_their_order) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=3M"});
    write_files(where, {2, 5});

    const cli_result run = run_cli_with_report({"read", where.path()});

    EXPECT_EQ(run.exit_status, 74);
    // One line break for each file read, and one before the verdict.
    std::vector<std::string> lines;
    for (const std::string &line : lines_of(run.out)) {
        if (line.empty() || line.find("ERR: Missing") == 0 || line.find("ERR: WARNING") == 0)
            lines.push_back(line);
    }
    EXPECT_EQ(lines,
              (std::vector<std::string>{"ERR: Missing file 1.fff", "", "ERR: Missing file 3.fff",
                                        "ERR: Missing file 4.fff", "",
                                        "ERR: WARNING: Not all files are available", ""}))
        << run.out;
    EXPECT_EQ(run.err, diagnostics("4096", "4096"));
    EXPECT_EQ(run.json.at("missing_files"), nlohmann::json::parse(R"({"count": 3, "ranges": [
                  {"first": 1, "last": 1}, {"first": 3, "last": 4}]})"));
}

TEST(streams, warns_about_later_start) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=2M"});
    write_files(where, {1, 2});
    const cli_result run = run_cli_with_report({"read", where.path(), "--start-at=2"});
    EXPECT_EQ(run.exit_status, 0) << run.out;
    EXPECT_NE(run.out.find("ERR: WARNING: Not all files were tested due to parameter "
                           "--start-at=2\n"),
              std::string::npos)
        << run.out;
    EXPECT_EQ(run.json.at("start_at"), 2);
    EXPECT_EQ(run.json.at("files").size(), 1U);
}

TEST(streams, json_on_stdout_is_alone) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=1M", "--read-error=1000"});
    const process_result run = run_cli({"test", where.path(), "--json=-"});
    EXPECT_EQ(run.exit_status, 74);
    const auto document = nlohmann::json::parse(run.out, nullptr, false);
    ASSERT_TRUE(document.is_object()) << run.out;
    EXPECT_EQ(run.out.front(), '{');
    EXPECT_EQ(run.out.substr(run.out.size() - 2), "}\n");
    expect_whole_report(document, run.err);
    for (const std::string words :
         {"dd: free_space: 1048576\n", "Creating test file number 1 ...\n",
          "ERR: WARNING: Not all data was read due to I/O error(s)\n"})
        EXPECT_NE(run.err.find(words), std::string::npos) << words << run.err;
}

TEST(streams, json_on_stdout_is_alone_after_failure) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=1M", "--write-error=100"});
    const process_result run = run_cli({"test", where.path(), "--json=-"});
    EXPECT_EQ(run.signal_number, SIGABRT);
    const auto document = nlohmann::json::parse(run.out, nullptr, false);
    ASSERT_TRUE(document.is_object()) << run.out;
    EXPECT_TRUE(document.at("fatal").is_object());
    EXPECT_NE(run.err.find("Write to file " + where.file("1.fff") + " failed"), std::string::npos)
        << run.err;
}

TEST(streams, no_status_line_without_terminal) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=1M"});
    const process_result run = run_cli({"test", where.path()});
    EXPECT_EQ(run.out.find('\r'), std::string::npos);
    EXPECT_EQ(run.out.find('\033'), std::string::npos);
    EXPECT_EQ(run.out.find('\0'), std::string::npos);
}
