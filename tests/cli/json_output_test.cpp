// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/json_output.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "support.h"

using cli_tests::contains;
using cli_tests::file_content;
using cli_tests::outcome;
using cli_tests::private_folder;
using cli_tests::private_volume;
using cli_tests::run_body;
using cli_tests::set_file_content;

namespace {

volume_info volume_at(const std::string &path) {
    volume_info volume;
    std::string error;
    EXPECT_TRUE(volume_describe(path, volume, error)) << error;
    return volume;
}

// A volume that holds no report of these tests.
volume_info elsewhere() {
    return volume_at("/proc");
}

// The reason why the target is refused.
std::string refusal_of(const std::string &target, const volume_info &tested) {
    json_output json;
    std::string error;
    EXPECT_FALSE(json.open(target, tested, error)) << target;
    EXPECT_EQ(cli_tests::line_count(error), 0U) << error;
    return error;
}

}  // namespace

TEST(json_output, writes_nothing_without_target) {
    json_output json;
    std::string error;
    EXPECT_TRUE(json.open(std::nullopt, elsewhere(), error));
    EXPECT_FALSE(json.is_wanted());
    EXPECT_TRUE(json.write("report", error));
}

TEST(json_output, writes_report_once) {
    const private_folder folder;
    json_output json;
    std::string error;
    ASSERT_TRUE(json.open(folder.file("report"), elsewhere(), error)) << error;
    EXPECT_TRUE(json.is_wanted());
    EXPECT_TRUE(json.write("the report\n", error));
    EXPECT_TRUE(json.write("a second one\n", error));
    EXPECT_EQ(file_content(folder.file("report")), "the report\n");
}

TEST(json_output, keeps_earlier_report_until_writing) {
    const private_folder folder;
    const std::string path = folder.file("report");
    set_file_content(path, "an earlier report, longer than the new one\n");
    {
        json_output json;
        std::string error;
        ASSERT_TRUE(json.open(path, elsewhere(), error)) << error;
        EXPECT_EQ(file_content(path), "an earlier report, longer than the new one\n");
    }
    EXPECT_EQ(file_content(path), "an earlier report, longer than the new one\n");
    json_output json;
    std::string error;
    ASSERT_TRUE(json.open(path, elsewhere(), error)) << error;
    EXPECT_TRUE(json.write("new\n", error)) << error;
    EXPECT_EQ(file_content(path), "new\n");
}

TEST(json_output, takes_bare_file_name) {
    const private_folder folder;
    const outcome result = run_body([&] {
        json_output json;
        std::string error;
        if (chdir(folder.path().c_str()) == 0 && json.open("report", elsewhere(), error))
            json.write("report\n", error);
    });
    EXPECT_EQ(file_content(folder.file("report")), "report\n");
}

TEST(json_output, names_missing_folder_with_reason) {
    const std::string error = refusal_of("/nowhere/report.json", elsewhere());
    EXPECT_TRUE(contains(error, "/nowhere")) << error;
    EXPECT_TRUE(contains(error, "No such file or directory")) << error;
}

TEST(json_output, refuses_folder) {
    const private_folder folder;
    EXPECT_EQ(refusal_of(folder.path(), elsewhere()), "'" + folder.path() + "': Is a directory");
}

TEST(json_output, names_unwritable_file_with_reason) {
    const private_folder folder;
    const std::string path = folder.file("report\n");
    ASSERT_EQ(chmod(folder.path().c_str(), 0755), 0);
    set_file_content(path, "an earlier report\n");
    ASSERT_EQ(chmod(path.c_str(), 0444), 0);
    cli_tests::process_options options;
    options.prepare = [] {
        if (geteuid() == 0 && setuid(65534) != 0)
            _exit(1);
    };
    const outcome result = run_body(
        [&] {
            json_output json;
            std::string error;
            if (!json.open(path, elsewhere(), error))
                std::fputs(error.c_str(), stdout);
        },
        options);
    EXPECT_EQ(result.out, "'" + folder.path() + "/report\\x0A': Permission denied");
    EXPECT_EQ(file_content(path), "an earlier report\n");
}

TEST(json_output, refuses_tested_volume) {
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    const std::string path = volume.file("report.json");
    EXPECT_EQ(refusal_of(path, volume_at(volume.path())),
              "'" + path + "' lies on the volume that is to be tested");
    EXPECT_FALSE(cli_tests::exists(path));
}

TEST(json_output, refuses_link_to_tested_volume) {
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    const private_folder folder;
    const std::string link = folder.file("report.json");
    std::filesystem::create_symlink(volume.file("new.json"), link);
    EXPECT_EQ(refusal_of(link, volume_at(volume.path())),
              "'" + link + "' lies on the volume that is to be tested");
    EXPECT_EQ(cli_tests::entries(volume.path()), std::vector<std::string>{});

    set_file_content(volume.file("old.json"), "not ours");
    std::filesystem::remove(link);
    std::filesystem::create_symlink(volume.file("old.json"), link);
    refusal_of(link, volume_at(volume.path()));
    EXPECT_EQ(file_content(volume.file("old.json")), "not ours");
}

TEST(json_output, reports_full_disk_on_write) {
    json_output json;
    std::string error;
    ASSERT_TRUE(json.open("/dev/full", elsewhere(), error)) << error;
    EXPECT_FALSE(json.write("report\n", error));
    EXPECT_EQ(error, "'/dev/full': No space left on device");
}

TEST(json_output, dash_reserves_standard_output_for_report) {
    const outcome result = run_body([] {
        std::fputs("before\n", stdout);
        json_output json;
        std::string error;
        if (!json.open("-", elsewhere(), error))
            _exit(1);
        std::fputs("to standard output\n", stdout);
        std::fflush(stdout);
        json.write("{}\n", error);
        std::fputs("to standard error\n", stderr);
    });
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_EQ(result.out, "before\n{}\n");
    EXPECT_EQ(result.err, "to standard output\nto standard error\n");
}
