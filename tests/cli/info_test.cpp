// What is told about a volume, and about all of them.
#include "cli/commands.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "support.h"

using cli_tests::contains;
using cli_tests::outcome;
using cli_tests::private_volume;
using cli_tests::run_cli;

TEST(info, the_properties_of_a_volume_are_listed) {
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

TEST(info, a_path_deep_inside_stands_for_its_volume) {
    private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    std::filesystem::create_directories(volume.file("deep/inside"));
    ASSERT_TRUE(volume.set_read_only(true));
    const outcome result = run_cli({"info", volume.file("deep/inside")});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.out.rfind(volume.path() + "\n", 0), 0U) << result.out;
    EXPECT_TRUE(contains(result.out, "  Read only    yes\n")) << result.out;
}

TEST(info, a_system_volume_says_that_a_test_refuses_it) {
    const outcome result = run_cli({"info", "/"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_TRUE(contains(result.out, "Holds the system's root /: a test refuses it.\n"))
        << result.out;
}

TEST(info, a_name_cannot_forge_lines_or_reprogram_the_terminal) {
    const private_volume volume("size=1m", "card\n  Read only    yes\x1b[2J");
    SKIP_WITHOUT(volume);
    const outcome result = run_cli({"info", volume.path()});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_FALSE(contains(result.out, "\x1b"));
    EXPECT_FALSE(contains(result.out, "\n  Read only    yes"));
    EXPECT_TRUE(contains(result.out, "card\\x0A  Read only    yes\\x1B[2J\n")) << result.out;
}

TEST(info, a_path_that_does_not_exist_is_one_line_and_a_failure) {
    const outcome result = run_cli({"info", "/nowhere/at all"});
    EXPECT_EQ(result.exit_status, 77);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(cli_tests::line_count(result.err), 1U) << result.err;
    EXPECT_TRUE(contains(result.err, "/nowhere/at all: ")) << result.err;
    EXPECT_TRUE(contains(result.err, "No such file or directory")) << result.err;
}

TEST(info, without_a_path_the_volumes_that_could_be_tested_are_listed) {
    const outcome result = run_cli({"info"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_NE(result.out, "");
    // The system's own volume is never one of them.
    EXPECT_FALSE(contains("\n" + result.out, "\n/\n")) << result.out;
    EXPECT_FALSE(contains(result.out, "a test refuses it")) << result.out;
}
