// What is said to be left on a volume.
#include "cli/left_files.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "model/f3write.h"
#include "support.h"

using cli_tests::private_folder;
using cli_tests::private_volume;
using cli_tests::set_file_content;

TEST(left_files, nothing_is_left_in_an_empty_folder) {
    const private_folder folder;
    EXPECT_EQ(left_files_text(folder.path(), 0), "");
}

TEST(left_files, the_folder_s_test_files_are_named) {
    const private_folder folder;
    for (const char *name : {"1.fff", "2.fff", "5.fff", "notes.fff"})
        set_file_content(folder.file(name), "x");
    EXPECT_EQ(left_files_text(folder.path(), 0), "1.fff to 2.fff, 5.fff");
}

TEST(left_files, files_below_the_start_were_not_left_by_this_run) {
    const private_folder folder;
    for (const char *name : {"1.fff", "2.fff", "3.fff"})
        set_file_content(folder.file(name), "x");
    EXPECT_EQ(left_files_text(folder.path(), 2), "3.fff");
}

TEST(left_files, a_volume_that_cannot_be_read_any_more_is_answered_for_by_the_record) {
    // The engine's record is the process's: a child of its own leaves it here alone.
    const private_volume volume("size=256k");
    SKIP_WITHOUT(volume);
    const cli_tests::outcome result = cli_tests::run_body([&] {
        f3write_fill_fs(volume.path().c_str(), 6, 0);
        std::fflush(stdout);
        const auto text = left_files_text(volume.file("gone"), 6);
        std::fputs(text == "7.fff" ? "\nnamed" : "\nnot named", stdout);
    });
    EXPECT_TRUE(cli_tests::contains(result.out, "\nnamed")) << result.out;
}
