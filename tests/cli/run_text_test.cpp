// SPDX-License-Identifier: GPL-3.0-or-later
// Refusals: their words, then the refused program.
#include "cli/run_text.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support.h"

using cli_tests::contains;
using cli_tests::outcome;
using cli_tests::private_volume;
using cli_tests::run_cli;
using cli_tests::set_file_content;

namespace {

run_refusal refusal(refusal_kind kind, const std::string &reason = {}) {
    run_refusal refusal;
    refusal.kind = kind;
    refusal.folder = "/media/card";
    refusal.reason = reason;
    return refusal;
}

// Expects status 77 and one line on standard error with this text.
void expect_refused(const outcome &result, const std::string &text) {
    EXPECT_EQ(result.exit_status, 77);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(cli_tests::line_count(result.err), 1U) << result.err;
    EXPECT_EQ(result.err.rfind("trovik-cli: refused: ", 0), 0U) << result.err;
    EXPECT_TRUE(contains(result.err, text)) << result.err;
}

}  // namespace

TEST(run_text, names_folder_with_reason) {
    EXPECT_EQ(refusal_text(refusal(refusal_kind::no_folder, "not a folder")),
              "'/media/card': not a folder; --force does not change this");
    EXPECT_EQ(refusal_text(refusal(refusal_kind::unknown_volume, "/media/card: gone")),
              "/media/card: gone");
    EXPECT_EQ(refusal_text(refusal(refusal_kind::read_only)),
              "'/media/card' is read-only; --force does not change this");
    EXPECT_EQ(
        refusal_text(refusal(refusal_kind::unreadable_folder, "'/media/card' cannot be read")),
        "'/media/card' cannot be read; --force does not change this");
    EXPECT_EQ(refusal_text(refusal(refusal_kind::other_run)),
              "another run is at work on '/media/card'; --force does not change this");
    EXPECT_EQ(refusal_text(refusal(refusal_kind::locked)),
              "another program holds a lock on '/media/card'; --force does not change this");
    EXPECT_EQ(refusal_text({}), "");
}

TEST(run_text, says_what_force_overrides) {
    run_refusal inside = refusal(refusal_kind::not_mount_root);
    inside.volume_root = "/media";
    EXPECT_EQ(refusal_text(inside),
              "'/media/card' is not the root of a mounted volume, it lies on '/media'; --force "
              "fills that volume through this folder anyway");
    run_refusal system = refusal(refusal_kind::system_volume);
    system.system_use = "the system's root /";
    EXPECT_EQ(refusal_text(system),
              "'/media/card' lies on the file system that holds the system's root /, which a test "
              "would fill; --force fills it anyway");
}

TEST(run_text, says_whose_lock_it_may_be) {
    run_refusal locked = refusal(refusal_kind::locked);
    EXPECT_EQ(refusal_text(locked),
              "another program holds a lock on '/media/card'; --force does not change this");
    locked.may_be_run = true;
    EXPECT_EQ(refusal_text(locked),
              "another program, perhaps another run, holds a lock on '/media/card'; --force does "
              "not change this");
}

TEST(run_text, calls_volume_unmounted_or_replaced) {
    for (const refusal_kind kind : {refusal_kind::volume_gone, refusal_kind::other_volume})
        EXPECT_EQ(refusal_text(refusal(kind)),
                  "the volume on '/media/card' was unmounted or replaced by another while it was "
                  "looked at; --force does not change this");
}

TEST(run_text, names_five_foreign_entries_then_counts) {
    run_refusal entries = refusal(refusal_kind::foreign_entries);
    entries.foreign = {"'1.fff' (a folder)", "'2.fff' (a link)"};
    EXPECT_EQ(refusal_text(entries),
              "'/media/card' holds entries with a test file's name that are not ours: '1.fff' (a "
              "folder), '2.fff' (a link); move or rename them, --force does not change this");
    entries.foreign = {"1", "2", "3", "4", "5"};
    EXPECT_TRUE(contains(refusal_text(entries), ": 1, 2, 3, 4, 5; move"));
    entries.foreign.insert(entries.foreign.end(), {"6", "7"});
    EXPECT_TRUE(contains(refusal_text(entries), ": 1, 2, 3, 4, 5 and 2 more; move"));
}

TEST(run_text, escapes_control_characters) {
    run_refusal path = refusal(refusal_kind::read_only);
    path.folder = "/media/\x1b[31m\nred";
    EXPECT_TRUE(contains(refusal_text(path), "\\x1B[31m\\x0Ared"));
    EXPECT_FALSE(contains(refusal_text(path), "\x1b"));
}

TEST(run_text, is_one_line_with_status_77) {
    const private_volume volume("size=1m", "two\nlines");
    SKIP_WITHOUT(volume);
    std::filesystem::create_directory(volume.file("1.fff"));
    set_file_content(volume.file("2.fff"), "old");
    for (const char *command : {"test", "write", "clean"})
        expect_refused(run_cli({command, volume.path()}), "'1.fff' (a folder)");
    EXPECT_EQ(cli_tests::file_content(volume.file("2.fff")), "old");
}

TEST(run_text, only_force_lets_clean_through_folder) {
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    const std::string inside = volume.file("inside");
    std::filesystem::create_directory(inside);
    for (const char *command : {"test", "write", "clean"})
        expect_refused(run_cli({command, inside}), "is not the root of a mounted volume");
    EXPECT_EQ(run_cli({"clean", inside, "--force"}).exit_status, 0);
    EXPECT_EQ(run_cli({"read", inside}).exit_status, 74) << "reading needs no root; it is empty";
}

TEST(run_text, refuses_volume_of_running_program) {
    const private_volume volume("size=64m");
    SKIP_WITHOUT(volume);
    const std::string program = volume.file("trovik-cli");
    std::filesystem::copy_file(TROVIK_CLI, program);
    set_file_content(volume.file("1.fff"), "old");
    expect_refused(cli_tests::run_program({program, "test", volume.path()}),
                   "the running program " + program);
    EXPECT_EQ(cli_tests::file_content(volume.file("1.fff")), "old");
}

TEST(run_text, refuses_every_run_but_info_while_another_has_the_volume) {
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    set_file_content(volume.file("1.fff"), "theirs");
    {
        run_guard other;
        ASSERT_FALSE(other.look({.path = volume.path()}));
        ASSERT_FALSE(other.take());
        for (const char *command : {"test", "write", "read", "clean"})
            expect_refused(run_cli({command, volume.path()}), "another run is at work on '");
        EXPECT_EQ(run_cli({"info", volume.path()}).exit_status, 0);
        EXPECT_EQ(cli_tests::file_content(volume.file("1.fff")), "theirs");
    }
    EXPECT_EQ(run_cli({"clean", volume.path()}).exit_status, 0) << "free again";
}
