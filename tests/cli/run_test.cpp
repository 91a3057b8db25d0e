// SPDX-License-Identifier: GPL-3.0-or-later
// Whole commands on a mounted volume: effect, output, exit status.
#include "cli/commands.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "support.h"

using cli_tests::contains;
using cli_tests::entries;
using cli_tests::outcome;
using cli_tests::private_folder;
using cli_tests::private_volume;
using cli_tests::run_cli;
using cli_tests::set_file_content;

namespace {

using names = std::vector<std::string>;

nlohmann::json document(const std::string &text) {
    nlohmann::json parsed = nlohmann::json::parse(text, nullptr, false);
    EXPECT_FALSE(parsed.is_discarded()) << text;
    return parsed;
}

// Damages one byte of the file without changing its length.
void flip_byte(const std::string &path, size_t at) {
    std::string content = cli_tests::file_content(path);
    ASSERT_GT(content.size(), at);
    content[at] = static_cast<char>(content[at] ^ 0x10);
    set_file_content(path, content);
}

}  // namespace

TEST(run, sound_volume_is_intact_then_empty) {
    const private_volume volume("size=2m");
    SKIP_WITHOUT(volume);
    set_file_content(volume.file("1.fff"), "an old test file");
    const outcome result = run_cli({"test", volume.path()});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(entries(volume.path()), names{});
    for (const char *part :
         {"Removing old file number 1 ...\n", "Creating test file number 1 ...\n",
          "Validating file number 1 ...", "Volume intact .............. : YES\n", "\nIntact: "})
        EXPECT_TRUE(contains(result.out, part)) << part << result.out;
    EXPECT_FALSE(contains(result.out, "\x1b"));
    EXPECT_FALSE(contains(result.err, "\x1b"));
    // The clean-up comes last: the verdict is out even if it fails.
    EXPECT_LT(result.out.find("\nIntact: "), result.out.rfind("Removing old file number 1"));
}

TEST(run, prints_no_line_twice) {
    const private_volume volume("size=2m");
    SKIP_WITHOUT(volume);
    const outcome result = run_cli({"test", volume.path()});
    for (const char *line : {"Creating test file number 1 ...\n", "Test file written.\n",
                             "Report Begin", "Report End", "\nIntact: "})
        EXPECT_EQ(cli_tests::occurrences(result.out + result.err, line), 1U) << line;
}

TEST(run, kept_files_can_be_read_then_cleaned) {
    const private_volume volume("size=2m");
    SKIP_WITHOUT(volume);
    EXPECT_EQ(run_cli({"test", volume.path(), "--keep-files"}).exit_status, 0);
    EXPECT_EQ(entries(volume.path()), names{"1.fff"});

    const outcome read = run_cli({"read", volume.path()});
    EXPECT_EQ(read.exit_status, 0);
    EXPECT_TRUE(contains(read.out, "\nIntact: ")) << read.out;
    EXPECT_EQ(entries(volume.path()), names{"1.fff"});

    const outcome clean = run_cli({"clean", volume.path()});
    EXPECT_EQ(clean.exit_status, 0);
    EXPECT_TRUE(contains(clean.out, "Removed 1.fff.\n")) << clean.out;
    EXPECT_EQ(entries(volume.path()), names{});

    const outcome again = run_cli({"clean", volume.path()});
    EXPECT_EQ(again.exit_status, 0);
    EXPECT_EQ(again.out, "There were no test files.\n");
}

TEST(run, write_says_how_much_it_filled) {
    const private_volume volume("size=2m");
    SKIP_WITHOUT(volume);
    const outcome result = run_cli({"write", volume.path()});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_TRUE(contains(result.out, "\nFilled: 1 test file with 2.0 MB")) << result.out;
    EXPECT_FALSE(contains(result.out, "Report Begin"));
    EXPECT_EQ(cli_tests::file_size(volume.file("1.fff")), 2U * 1024 * 1024);
}

TEST(run, full_volume_is_not_tested) {
    const private_volume volume("size=64k");
    SKIP_WITHOUT(volume);
    set_file_content(volume.file("photos"), std::string(65536, 'p'));
    EXPECT_EQ(run_cli({"write", volume.path()}).exit_status, 74);
    EXPECT_EQ(run_cli({"test", volume.path()}).exit_status, 74);
    EXPECT_EQ(entries(volume.path()), names{"photos"});
}

TEST(run, read_calls_damaged_data_lost) {
    const private_volume volume("size=2m");
    SKIP_WITHOUT(volume);
    ASSERT_EQ(run_cli({"write", volume.path()}).exit_status, 0);
    flip_byte(volume.file("1.fff"), 100000);
    const outcome result = run_cli({"read", volume.path()});
    EXPECT_EQ(result.exit_status, 65);
    EXPECT_TRUE(contains(result.out, "Volume intact .............. : NO\n")) << result.out;
    EXPECT_TRUE(contains(result.out, "\nData lost: ")) << result.out;
    EXPECT_EQ(entries(volume.path()), names{"1.fff"});
}

TEST(run, missing_files_give_status_74) {
    const private_volume volume("size=2m");
    SKIP_WITHOUT(volume);
    EXPECT_EQ(run_cli({"read", volume.path()}).exit_status, 74);
    ASSERT_EQ(run_cli({"write", volume.path(), "--start-at=3"}).exit_status, 0);
    EXPECT_EQ(run_cli({"read", volume.path()}).exit_status, 74);
    EXPECT_EQ(run_cli({"read", volume.path(), "--start-at=3"}).exit_status, 0);
    flip_byte(volume.file("3.fff"), 5);
    EXPECT_EQ(run_cli({"read", volume.path()}).exit_status, 65);
}

TEST(run, leaves_files_below_start_alone) {
    const private_volume volume("size=2m");
    SKIP_WITHOUT(volume);
    set_file_content(volume.file("1.fff"), "one");
    set_file_content(volume.file("2.fff"), "two");
    EXPECT_EQ(run_cli({"test", volume.path(), "--start-at=2"}).exit_status, 0);
    EXPECT_EQ(entries(volume.path()), names{"1.fff"});
    EXPECT_EQ(cli_tests::file_content(volume.file("1.fff")), "one");
}

TEST(run, force_tests_folder_inside_volume) {
    const private_volume volume("size=2m");
    SKIP_WITHOUT(volume);
    std::filesystem::create_directory(volume.file("inside"));
    const outcome result = run_cli({"test", volume.file("inside"), "--force", "--keep-files"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(entries(volume.file("inside")), names{"1.fff"});
    EXPECT_EQ(run_cli({"clean", volume.file("inside"), "--force"}).exit_status, 0);
    EXPECT_EQ(entries(volume.path()), names{"inside"});
}

TEST(run, report_file_holds_result) {
    const private_volume volume("size=2m");
    SKIP_WITHOUT(volume);
    const private_folder folder;
    const std::string report = folder.file("report.json");
    EXPECT_EQ(run_cli({"test", volume.path(), "--json=" + report}).exit_status, 0);
    const nlohmann::json json = document(cli_tests::file_content(report));
    EXPECT_EQ(json.value("schema", 0), 1);
    EXPECT_EQ(json.value("command", ""), "test");
    EXPECT_EQ(json.value("program", ""), "trovik-cli");
    EXPECT_EQ(json["volume"].value("root", ""), volume.path());
}

TEST(run, dash_prints_only_json_on_standard_output) {
    const private_volume volume("size=2m");
    SKIP_WITHOUT(volume);
    const outcome result = run_cli({"test", volume.path(), "--json=-"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(document(result.out).value("command", ""), "test");
    EXPECT_TRUE(contains(result.err, "Report Begin")) << result.err;
    EXPECT_TRUE(contains(result.err, "Creating test file number 1 ...")) << result.err;
}

TEST(run, unwritable_report_is_no_success) {
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    const outcome result = run_cli({"test", volume.path(), "--json=/dev/full"});
    EXPECT_EQ(result.exit_status, 74);
    EXPECT_TRUE(contains(result.err,
                         "the JSON report could not be written to '/dev/full': "
                         "No space left on device\n"))
        << result.err;
    EXPECT_EQ(entries(volume.path()), names{});
}

TEST(run, refuses_wrong_report_place_before_any_change) {
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    set_file_content(volume.file("1.fff"), "old");
    for (const std::string &place :
         {std::string("/nowhere/report"), volume.file("report"), std::string("/tmp")}) {
        const outcome result = run_cli({"test", volume.path(), "--json=" + place});
        EXPECT_EQ(result.exit_status, 64) << place;
        EXPECT_EQ(result.out, "") << place;
        EXPECT_EQ(cli_tests::line_count(result.err), 1U) << result.err;
        EXPECT_TRUE(contains(result.err, "--json: ")) << result.err;
    }
    EXPECT_EQ(cli_tests::file_content(volume.file("1.fff")), "old");
    EXPECT_EQ(entries(volume.path()), names{"1.fff"});
}
