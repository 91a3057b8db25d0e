// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/arguments.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "support.h"

using cli_tests::contains;
using cli_tests::outcome;
using cli_tests::run_cli;

namespace {

// The words as values; fails the test when they are refused.
cli_arguments parsed(std::initializer_list<const char *> words) {
    std::vector<const char *> argv = {"trovik-cli"};
    argv.insert(argv.end(), words);
    cli_arguments arguments;
    int status = -1;
    EXPECT_TRUE(cli_parse_arguments(static_cast<int>(argv.size()), argv.data(), arguments, status));
    return arguments;
}

// Expects that the words are refused with status 64 and one line on standard
// error that says `part`.
void expect_wrong_usage(const std::vector<std::string> &words, const std::string &part) {
    const outcome result = run_cli(words);
    EXPECT_EQ(result.exit_status, 64) << part;
    EXPECT_EQ(result.out, "") << part;
    EXPECT_EQ(cli_tests::line_count(result.err), 1U) << result.err;
    EXPECT_EQ(result.err.rfind("trovik-cli: ", 0), 0U) << result.err;
    EXPECT_TRUE(contains(result.err, part)) << result.err;
    EXPECT_TRUE(contains(result.err, "--help")) << result.err;
}

}  // namespace

TEST(arguments, takes_command_with_volume) {
    const cli_arguments arguments = parsed({"test", "/media/card"});
    EXPECT_EQ(arguments.command, cli_command::test);
    EXPECT_EQ(arguments.volume, "/media/card");
    EXPECT_EQ(arguments.start_index, 0);
    EXPECT_FALSE(arguments.keep_files);
    EXPECT_FALSE(arguments.force);
    EXPECT_FALSE(arguments.medium_is_memory);
    EXPECT_FALSE(arguments.json.has_value());
    EXPECT_EQ(arguments.block_size, 1024);
}

TEST(arguments, knows_every_command) {
    for (const cli_command command : {cli_command::test, cli_command::write, cli_command::read,
                                      cli_command::clean, cli_command::info})
        EXPECT_EQ(parsed({cli_command_name(command), "/card"}).command, command)
            << cli_command_name(command);
}

TEST(arguments, block_size_is_power_of_two_with_optional_unit) {
    EXPECT_EQ(parsed({"test", "/card", "--block-size=1K"}).block_size, 1024);
    EXPECT_EQ(parsed({"test", "/card", "--block-size", "64K"}).block_size, 65536);
    EXPECT_EQ(parsed({"write", "/card", "--block-size=16M"}).block_size, 16777216);
    EXPECT_EQ(parsed({"test", "/card", "--block-size=16384K"}).block_size, 16777216);
    EXPECT_EQ(parsed({"test", "/card", "--block-size=2048"}).block_size, 2048);
}

TEST(arguments, refuses_other_block_sizes) {
    for (const char *size : {"0", "1", "512", "512K ", "3K", "32M", "1G", "K", "-1K", "1.5M", "01K",
                             "1k", "1KB", "+1K", "99999999999K", "x"})
        expect_wrong_usage({"test", "/nowhere", std::string("--block-size=") + size}, size);
    expect_wrong_usage({"test", "/nowhere", "--block-size="}, "--block-size");
    expect_wrong_usage({"read", "/nowhere", "--block-size=1K"}, "--block-size");
    expect_wrong_usage({"clean", "/nowhere", "--block-size=1K"}, "--block-size");
}

TEST(arguments, info_needs_no_volume) {
    const cli_arguments arguments = parsed({"info"});
    EXPECT_EQ(arguments.command, cli_command::info);
    EXPECT_EQ(arguments.volume, "");
}

TEST(arguments, takes_options_before_or_after_volume) {
    const cli_arguments arguments =
        parsed({"test", "--force", "/card", "--keep-files", "--start-at=3", "--json=report.json"});
    EXPECT_TRUE(arguments.force);
    EXPECT_TRUE(arguments.keep_files);
    EXPECT_EQ(arguments.start_index, 2);
    EXPECT_EQ(arguments.json, "report.json");
    EXPECT_EQ(arguments.volume, "/card");
}

TEST(arguments, medium_is_memory_is_for_test_or_read) {
    for (const char *command : {"test", "read"})
        EXPECT_TRUE(parsed({command, "--medium-is-memory", "/card"}).medium_is_memory) << command;
    for (const char *command : {"write", "clean", "info"})
        expect_wrong_usage({command, "/nowhere", "--medium-is-memory"}, "--medium-is-memory");
}

TEST(arguments, takes_option_value_as_next_word) {
    const cli_arguments arguments = parsed({"read", "/card", "--start-at", "7", "--json", "-"});
    EXPECT_EQ(arguments.start_index, 6);
    EXPECT_EQ(arguments.json, "-");
}

TEST(arguments, takes_volume_named_like_command) {
    const cli_arguments arguments = parsed({"test", "clean"});
    EXPECT_EQ(arguments.command, cli_command::test);
    EXPECT_EQ(arguments.volume, "clean");
}

TEST(arguments, turns_start_numbers_into_indices) {
    EXPECT_EQ(parsed({"test", "/card", "--start-at=1"}).start_index, 0);
    EXPECT_EQ(parsed({"test", "/card", "--start-at=2000000000"}).start_index, 1999999999);
}

TEST(arguments, refuses_start_number_that_means_another_file) {
    for (const char *number :
         {"0", "-4", "x", "3x", "x3", " 3", "+3", "03", "2000000001", "2147483647", "2147483648",
          "4294967296", "4294967297", "9223372036854775807", "99999999999999999999"})
        expect_wrong_usage({"test", "/nowhere", std::string("--start-at=") + number}, number);
}

TEST(arguments, refuses_missing_start_number) {
    expect_wrong_usage({"test", "/nowhere", "--start-at="}, "--start-at");
    expect_wrong_usage({"test", "/nowhere", "--start-at"}, "--start-at");
}

TEST(arguments, refuses_second_start_number) {
    expect_wrong_usage({"clean", "/nowhere", "--start-at=1", "--start-at=2"}, "--start-at");
}

TEST(arguments, refuses_json_without_file) {
    expect_wrong_usage({"test", "/nowhere", "--json"}, "--json");
    expect_wrong_usage({"test", "/nowhere", "--json="}, "--json");
}

TEST(arguments, does_not_take_next_word_for_empty_value) {
    expect_wrong_usage({"test", "/nowhere", "--json=", "report.json"},
                       "--json: its '=' has no value");
    expect_wrong_usage({"test", "/nowhere", "--start-at=", "3"},
                       "--start-at: its '=' has no value");
    expect_wrong_usage({"test", "/nowhere", "--block-size=", "1M"},
                       "--block-size: its '=' has no value");
    expect_wrong_usage({"test", "--keep-files=", "/nowhere"}, "--keep-files: its '=' has no value");
    EXPECT_EQ(parsed({"test", "--json=--report=", "/card"}).json, "--report=");
    EXPECT_EQ(parsed({"test", "--", "--report="}).volume, "--report=");
}

TEST(arguments, refuses_missing_volume) {
    for (const char *command : {"test", "write", "read", "clean"})
        expect_wrong_usage({command}, "VOLUME");
}

TEST(arguments, refuses_empty_volume) {
    expect_wrong_usage({"info", ""}, "VOLUME");
    expect_wrong_usage({"test", ""}, "VOLUME");
}

TEST(arguments, refuses_missing_command) {
    expect_wrong_usage({}, "command");
}

TEST(arguments, names_unknown_command) {
    expect_wrong_usage({"format", "/nowhere"}, "format");
}

TEST(arguments, names_unknown_option) {
    expect_wrong_usage({"test", "/nowhere", "--quick"}, "--quick");
    expect_wrong_usage({"read", "/nowhere", "--force"}, "--force");
    expect_wrong_usage({"write", "/nowhere", "--json=x"}, "--json");
    expect_wrong_usage({"clean", "/nowhere", "--keep-files"}, "--keep-files");
    expect_wrong_usage({"info", "/nowhere", "--start-at=1"}, "--start-at");
}

TEST(arguments, refuses_value_of_flag) {
    for (const char *value : {"on", "1", "5", "-1", "no"}) {
        expect_wrong_usage({"clean", "/nowhere", std::string("--force=") + value}, "force");
        expect_wrong_usage({"test", "/nowhere", std::string("--keep-files=") + value},
                           "keep-files");
        expect_wrong_usage({"read", "/nowhere", std::string("--medium-is-memory=") + value},
                           "medium-is-memory");
    }
}

TEST(arguments, refuses_second_volume) {
    expect_wrong_usage({"test", "/nowhere", "/elsewhere"}, "/elsewhere");
}

TEST(arguments, escapes_control_characters_in_errors) {
    for (const char *word : {"--\x1b[31mred\nline", "\x1b[31mred\nline"}) {
        const outcome result = run_cli({"test", "/nowhere", word});
        EXPECT_EQ(result.exit_status, 64);
        EXPECT_FALSE(contains(result.err, "\x1b"));
        EXPECT_EQ(cli_tests::line_count(result.err), 1U) << result.err;
    }
    const outcome result = run_cli({"\x1b[31mred\nline"});
    EXPECT_FALSE(contains(result.err, "\x1b"));
    EXPECT_EQ(cli_tests::line_count(result.err), 1U) << result.err;
}

TEST(arguments, help_prints_on_standard_output_with_status_0) {
    const outcome result = run_cli({"--help"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.err, "");
    for (const char *word : {"test", "write", "read", "clean", "info"})
        EXPECT_TRUE(contains(result.out, word)) << word;
    for (const exit_status status :
         {EXIT_STATUS_USAGE, EXIT_STATUS_DATA_LOST, EXIT_STATUS_NOT_TESTED, EXIT_STATUS_UNPROVEN,
          EXIT_STATUS_REFUSED})
        EXPECT_TRUE(contains(result.out, std::to_string(status) + " ")) << status;
}

TEST(arguments, help_of_command_names_its_options) {
    const outcome result = run_cli({"test", "--help"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.err, "");
    for (const char *word : {"VOLUME", "--start-at", "--block-size", "--keep-files", "--json",
                             "--force", "--medium-is-memory"})
        EXPECT_TRUE(contains(result.out, word)) << word;
}

TEST(arguments, version_prints_on_standard_output_with_status_0) {
    const outcome result = run_cli({"--version"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, "trovik-cli " + cli_version_text() + "\n");
}
