// SPDX-License-Identifier: GPL-3.0-or-later
#include "runner/left_files.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "model/f3write.h"
#include "support/folder.h"
#include "support/process.h"
#include "support/volumes.h"

using test_support::private_folder;
using test_support::set_file_content;

namespace {

constexpr std::chrono::seconds patience{60};

run_guard guard_on(const std::string &path, int start_index = 0) {
    run_guard guard;
    const run_request request = {.path = path, .start_index = start_index, .judge_volume = false};
    EXPECT_FALSE(guard.look(request));
    return guard;
}

std::optional<std::string> files_in(const std::string &path, int start_index = 0) {
    const left_files left = left_files_look(guard_on(path, start_index), patience);
    EXPECT_FALSE(left.volume_gone);
    EXPECT_FALSE(left.volume_replaced);
    return left.files;
}

}  // namespace

TEST(left_files, names_nothing_in_empty_folder) {
    const private_folder folder;
    EXPECT_EQ(files_in(folder.path()), "");
}

TEST(left_files, names_test_files_of_folder) {
    const private_folder folder;
    for (const char *name : {"1.fff", "2.fff", "5.fff", "notes.fff"})
        set_file_content(folder.file(name), "x");
    EXPECT_EQ(files_in(folder.path()), "1.fff to 2.fff, 5.fff");
}

TEST(left_files, leaves_out_files_below_start) {
    const private_folder folder;
    for (const char *name : {"1.fff", "2.fff", "3.fff"})
        set_file_content(folder.file(name), "x");
    EXPECT_EQ(files_in(folder.path(), 2), "3.fff");
}

TEST(left_files, names_no_file_of_folder_that_replaced_the_root) {
    const private_folder parent;
    const std::string root = parent.make_folder("root");
    const run_guard guard = guard_on(root);
    std::filesystem::rename(root, parent.file("moved"));
    parent.make_file("root/1.fff", "not ours");
    const left_files left = left_files_look(guard, patience);
    EXPECT_TRUE(left.volume_replaced);
    EXPECT_TRUE(left.volume_gone);
    EXPECT_EQ(left.files, std::nullopt);
}

TEST(left_files, calls_volume_gone_when_its_folder_is_gone) {
    const private_folder parent;
    const std::string root = parent.make_folder("root");
    const run_guard guard = guard_on(root);
    std::filesystem::remove(root);
    const left_files left = left_files_look(guard, patience);
    EXPECT_TRUE(left.volume_gone);
    EXPECT_FALSE(left.volume_replaced);
    EXPECT_EQ(left.files, std::nullopt);
}

TEST(left_files, record_names_files_written_by_this_process) {
    const test_support::tmpfs_volume volume("size=256k");
    SKIP_WITHOUT(volume);
    // The engine's record belongs to the process: a child keeps it out of the other tests.
    const test_support::process_result result = test_support::run_body([&] {
        if (left_files_recorded(6))
            _exit(1);
        f3write_fill_fs(volume.c_path(), 6, 0);
        _exit(left_files_recorded(6) == "7.fff" ? 0 : 2);
    });
    EXPECT_EQ(result.exit_status, 0) << result.out;
}
