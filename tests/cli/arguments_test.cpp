// What may be typed, and what is said about what may not.
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

// The words as values; the test fails when they are not understood.
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

TEST(arguments, a_command_and_a_volume_are_enough) {
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

TEST(arguments, every_command_is_known_by_its_name) {
    for (const cli_command command : {cli_command::test, cli_command::write, cli_command::read,
                                      cli_command::clean, cli_command::info})
        EXPECT_EQ(parsed({cli_command_name(command), "/card"}).command, command)
            << cli_command_name(command);
}

TEST(arguments, a_block_size_is_a_power_of_two_with_or_without_its_unit) {
    EXPECT_EQ(parsed({"test", "/card", "--block-size=1K"}).block_size, 1024);
    EXPECT_EQ(parsed({"test", "/card", "--block-size", "64K"}).block_size, 65536);
    EXPECT_EQ(parsed({"write", "/card", "--block-size=16M"}).block_size, 16777216);
    EXPECT_EQ(parsed({"test", "/card", "--block-size=16384K"}).block_size, 16777216);
    EXPECT_EQ(parsed({"test", "/card", "--block-size=2048"}).block_size, 2048);
}

TEST(arguments, what_is_no_block_size_is_refused) {
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

TEST(arguments, options_stand_before_and_behind_the_volume) {
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

TEST(arguments, an_option_s_value_may_be_a_word_of_its_own) {
    const cli_arguments arguments = parsed({"read", "/card", "--start-at", "7", "--json", "-"});
    EXPECT_EQ(arguments.start_index, 6);
    EXPECT_EQ(arguments.json, "-");
}

TEST(arguments, a_volume_may_be_called_like_a_command) {
    const cli_arguments arguments = parsed({"test", "clean"});
    EXPECT_EQ(arguments.command, cli_command::test);
    EXPECT_EQ(arguments.volume, "clean");
}

TEST(arguments, the_first_and_the_last_start_number_become_indices) {
    EXPECT_EQ(parsed({"test", "/card", "--start-at=1"}).start_index, 0);
    EXPECT_EQ(parsed({"test", "/card", "--start-at=2000000000"}).start_index, 1999999999);
}

TEST(arguments, a_start_number_that_would_mean_another_file_is_wrong_usage) {
    for (const char *number :
         {"0", "-4", "x", "3x", "x3", " 3", "+3", "03", "2000000001", "2147483647", "2147483648",
          "4294967296", "4294967297", "9223372036854775807", "99999999999999999999"})
        expect_wrong_usage({"test", "/nowhere", std::string("--start-at=") + number}, number);
}

TEST(arguments, a_start_number_is_not_left_out) {
    expect_wrong_usage({"test", "/nowhere", "--start-at="}, "--start-at");
    expect_wrong_usage({"test", "/nowhere", "--start-at"}, "--start-at");
}

TEST(arguments, a_start_number_is_given_once) {
    expect_wrong_usage({"clean", "/nowhere", "--start-at=1", "--start-at=2"}, "--start-at");
}

TEST(arguments, a_report_without_a_place_is_wrong_usage) {
    expect_wrong_usage({"test", "/nowhere", "--json"}, "--json");
    expect_wrong_usage({"test", "/nowhere", "--json="}, "--json");
}

TEST(arguments, the_word_behind_an_empty_value_is_not_taken_for_it) {
    expect_wrong_usage({"test", "/nowhere", "--json=", "report.json"}, "--json: nothing");
    expect_wrong_usage({"test", "/nowhere", "--start-at=", "3"}, "--start-at: nothing");
    expect_wrong_usage({"test", "/nowhere", "--block-size=", "1M"}, "--block-size: nothing");
    expect_wrong_usage({"test", "--keep-files=", "/nowhere"}, "--keep-files: nothing");
    EXPECT_EQ(parsed({"test", "--json=--report=", "/card"}).json, "--report=");
    EXPECT_EQ(parsed({"test", "--", "--report="}).volume, "--report=");
}

TEST(arguments, a_missing_volume_is_wrong_usage) {
    for (const char *command : {"test", "write", "read", "clean"})
        expect_wrong_usage({command}, "VOLUME");
}

TEST(arguments, an_empty_volume_is_not_no_volume) {
    expect_wrong_usage({"info", ""}, "VOLUME");
    expect_wrong_usage({"test", ""}, "VOLUME");
}

TEST(arguments, a_missing_command_is_wrong_usage) {
    expect_wrong_usage({}, "command");
}

TEST(arguments, an_unknown_command_is_named) {
    expect_wrong_usage({"format", "/nowhere"}, "format");
}

TEST(arguments, an_unknown_option_is_named) {
    expect_wrong_usage({"test", "/nowhere", "--quick"}, "--quick");
    expect_wrong_usage({"read", "/nowhere", "--force"}, "--force");
    expect_wrong_usage({"write", "/nowhere", "--json=x"}, "--json");
    expect_wrong_usage({"clean", "/nowhere", "--keep-files"}, "--keep-files");
    expect_wrong_usage({"info", "/nowhere", "--start-at=1"}, "--start-at");
}

TEST(arguments, a_flag_takes_no_value) {
    for (const char *value : {"on", "1", "5", "-1", "no"}) {
        expect_wrong_usage({"clean", "/nowhere", std::string("--force=") + value}, "force");
        expect_wrong_usage({"test", "/nowhere", std::string("--keep-files=") + value},
                           "keep-files");
        expect_wrong_usage({"read", "/nowhere", std::string("--medium-is-memory=") + value},
                           "medium-is-memory");
    }
}

TEST(arguments, one_volume_is_tested_at_a_time) {
    expect_wrong_usage({"test", "/nowhere", "/elsewhere"}, "/elsewhere");
}

TEST(arguments, what_was_typed_cannot_reprogram_the_terminal) {
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

TEST(arguments, help_goes_to_standard_output_and_succeeds) {
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

TEST(arguments, every_command_explains_its_options) {
    const outcome result = run_cli({"test", "--help"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.err, "");
    for (const char *word : {"VOLUME", "--start-at", "--block-size", "--keep-files", "--json",
                             "--force", "--medium-is-memory"})
        EXPECT_TRUE(contains(result.out, word)) << word;
}

TEST(arguments, the_version_goes_to_standard_output_and_succeeds) {
    const outcome result = run_cli({"--version"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, "trovik-cli " + cli_version_text() + "\n");
}
