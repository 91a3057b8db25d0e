// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/commands.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "support.h"

using cli_tests::contains;
using cli_tests::outcome;
using cli_tests::private_volume;
using cli_tests::run_cli;

TEST(info, lists_properties_of_volume) {
    const private_volume volume("size=16m");
    SKIP_WITHOUT(volume);
    const outcome result = run_cli({"info", volume.path()});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out.rfind(volume.path() + "\n", 0), 0U) << result.out;
    for (const char *line : {"  Name         volume\n", "  Capacity     16.0 MB (16777216 Bytes)\n",
                             "  Free         16.0 MB (16777216 Bytes)\n", "  File system  tmpfs\n",
                             "  Read only    no\n"})
        EXPECT_TRUE(contains(result.out, line)) << line << result.out;
    EXPECT_FALSE(contains(result.out, "a test refuses it")) << result.out;
}

TEST(info, takes_volume_of_any_path) {
    private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    std::filesystem::create_directories(volume.file("deep/inside"));
    ASSERT_TRUE(volume.set_read_only(true));
    const outcome result = run_cli({"info", volume.file("deep/inside")});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.out.rfind(volume.path() + "\n", 0), 0U) << result.out;
    EXPECT_TRUE(contains(result.out, "  Read only    yes\n")) << result.out;
}

TEST(info, says_that_test_refuses_system_volume) {
    const outcome result = run_cli({"info", "/"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_TRUE(contains(result.out, "Holds the system's root /: a test refuses it.\n"))
        << result.out;
}

TEST(info, escapes_control_characters_of_name) {
    const private_volume volume("size=1m", "card\n  Read only    yes\x1b[2J");
    SKIP_WITHOUT(volume);
    const outcome result = run_cli({"info", volume.path()});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_FALSE(contains(result.out, "\x1b"));
    EXPECT_FALSE(contains(result.out, "\n  Read only    yes"));
    EXPECT_TRUE(contains(result.out, "card\\x0A  Read only    yes\\x1B[2J\n")) << result.out;
}

TEST(info, reports_missing_path_in_one_line) {
    const outcome result = run_cli({"info", "/nowhere/at all"});
    EXPECT_EQ(result.exit_status, 77);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(cli_tests::line_count(result.err), 1U) << result.err;
    EXPECT_TRUE(contains(result.err, "/nowhere/at all: ")) << result.err;
    EXPECT_TRUE(contains(result.err, "No such file or directory")) << result.err;
}

TEST(info, without_path_lists_testable_volumes) {
    const outcome result = run_cli({"info"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_NE(result.out, "");
    // The system's own volume is never listed.
    EXPECT_FALSE(contains("\n" + result.out, "\n/\n")) << result.out;
    EXPECT_FALSE(contains(result.out, "a test refuses it")) << result.out;
}
