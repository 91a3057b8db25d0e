// SPDX-License-Identifier: GPL-3.0-or-later
// Mount points with names that a shell, a mount table or a line of text stumbles over.
#include <gtest/gtest.h>

#include <csignal>

#include "cli_run.h"
#include "support/volumes.h"

using namespace system_tests;

static const char odd_name[] = "Karte 1 – 写真\n'it`s' $(id) \\040 \"x\"";

TEST(volume_names, with_blanks_letters_and_line_break_are_tested) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=2M", "--real-size=1M"}, odd_name);
    const cli_result run = run_cli_with_report({"test", where.path(), "--keep-files"});
    EXPECT_EQ(run.exit_status, 65) << run.err;
    EXPECT_EQ(tally_of(run.json), (sector_tally{.ok = 2048, .corrupted = 2048}));
    EXPECT_EQ(run.json.at("volume").at("root"), where.path());
    EXPECT_EQ(run.json.at("report").at("volume_name"), where.path());
    expect_oracle_agrees(where, run.json);
    EXPECT_EQ(run_cli({"clean", where.path()}).exit_status, 0);
    EXPECT_EQ(where.test_files(), std::vector<int>{});
}

// The named command removes the files of a stopped run, typed into a shell as it is.
static void expect_removable_after_a_stop(const std::string &name) {
    const card where({"--size=4M", "--write-latency-us=300"}, name);
    child_process run(cli_command({"test", where.path()}));
    ASSERT_TRUE(run.wait_for_output("16.00 KB/s", std::chrono::seconds{60}));
    run.send_signal(SIGINT);
    const process_result ended = run.wait();
    EXPECT_EQ(where.test_files(), std::vector<int>{1});
    const process_result removed = run_removal_command(removal_command(ended.err));
    EXPECT_EQ(removed.exit_status, 0) << ended.err << removed.err;
    EXPECT_EQ(where.test_files(), std::vector<int>{});
}

TEST(volume_names, with_quotes_are_quoted_in_removal_command) {
    SKIP_IF_MISSING(missing_for_cards());
    expect_removable_after_a_stop("Karte 1 – 写真 'it`s' $(id) \\040 \"x\"");
}

TEST(volume_names, with_line_break_are_quoted_in_removal_command) {
    SKIP_IF_MISSING(missing_for_cards());
    expect_removable_after_a_stop("two\nlines");
}

TEST(volume_names, not_utf8_are_tested_and_reported) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=1M"}, "a\xff\xe9z");
    const cli_result run = run_cli_with_report({"test", where.path()});
    EXPECT_EQ(run.exit_status, 0) << run.err;
    EXPECT_EQ(tally_of(run.json), sector_tally{.ok = 2048});
    const std::string escaped = run.json.at("volume").at("root_percent_escaped");
    EXPECT_NE(escaped.find("a%FFz"), 0U);
    EXPECT_NE(escaped.find("%FF%E9"), std::string::npos) << escaped;
}

// A label can hold anything: the formatting program chose it.
TEST(volume_names, hostile_labels_are_escaped) {
    SKIP_IF_MISSING(missing_for_images({"mkfs.ext4"}));
    const std::string label = "a\nb\x1b[2J\xff\xc3(\xc2\x9b%\\yz";
    ASSERT_EQ(label.size(), 16U) << "all that ext4 takes";
    const image_volume where(8 * mib, {"mkfs.ext4", "-q", "-F", "-L", label}, {}, "ext4");

    const process_result info = run_cli({"info", where.path()});
    EXPECT_EQ(info.exit_status, 0) << info.err;
    if (lines_of(info.out).at(1) == "  Name         volume")
        GTEST_SKIP() << "the kernel is too old to tell ext4's label, and there is no udev";
    EXPECT_EQ(lines_of(info.out).at(1), R"(  Name         a\x0Ab\x1B[2J\xFF\xC3(\xC2\x9B%\yz)");
    EXPECT_EQ(info.out.find('\x1b'), std::string::npos);

    const cli_result run = run_cli_with_report({"test", where.path()});
    EXPECT_EQ((run.out + run.err).find('\x1b'), std::string::npos);
    ASSERT_TRUE(run.json.is_object()) << run.err;
    const nlohmann::json &volume = run.json.at("volume");
    EXPECT_EQ(volume.at("name"), "a\nb\x1b[2J\uFFFD\uFFFD(\u009b%\\yz");
    EXPECT_EQ(volume.at("name_percent_escaped"), "a%0Ab%1B%5B2J%FF%C3%28%C2%9B%25%5Cyz");
}
