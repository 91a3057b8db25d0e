// SPDX-License-Identifier: GPL-3.0-or-later
/* Entries that the write phase must not touch, and the failures that end the process. It
 * never writes, truncates or follows a link to a user's file, and never blocks. */
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <string>

#include "model/engine_results.h"
#include "model/f3write.h"
#include "model/fatal.h"
#include "model/utils.h"
#include "support.h"

using model_tests::child_outcome;
using model_tests::drained_log;
using model_tests::exists;
using model_tests::expect_assertion;
using model_tests::expect_refusal;
using model_tests::file_content;
using model_tests::new_flow;
using model_tests::private_folder;
using model_tests::private_volume;
using model_tests::run_in_child;
using model_tests::set_file_content;

namespace {

/* Writes test file 1 of `folder` in a child. */
child_outcome written_in_child(const std::string &folder) {
    return run_in_child([&] {
        write_flow fw = new_flow(1U << 20U);
        create_and_fill_file(folder.c_str(), 0, 4096, &fw);
    });
}

/* A failure with any error number: the system or the engine chooses it. */
void expect_refused(const child_outcome &outcome, const std::string &message) {
    EXPECT_FALSE(outcome.timed_out);
    EXPECT_FALSE(outcome.exited_with(0));
    EXPECT_GE(outcome.exit_status, 0) << outcome.signal_number;
    expect_refusal(outcome, message, outcome.exit_status);
}

/* A handler for the child: prints the log and the recorded error number. */
void print_log_and_error(const char * /*message*/, int /*exit_status*/) {
    engine_write_results results = {};
    engine_results_write(&results);
    fprintf(stderr, "%s%d\n", drained_log().c_str(), results.write_error);
}

/* For a child: no file may grow beyond `bytes`. */
void limit_file_size(rlim_t bytes) {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {bytes, RLIM_INFINITY};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0)
        _exit(98);
}

}  // namespace

TEST(f3write_refusal, file_that_cannot_be_created_ends_process_with_system_error) {
    const private_folder folder;
    const std::string missing = folder.file("missing");
    expect_refusal(written_in_child(missing), "ERR: Can't create file " + missing + "/1.fff",
                   ENOENT);
}

TEST(f3write_refusal, read_only_volume_ends_process) {
    const private_volume volume("size=1m,ro");
    SKIP_WITHOUT(volume);
    expect_refusal(written_in_child(volume.path()),
                   "ERR: Can't create file " + volume.file("1.fff"), EROFS);
}

TEST(f3write_refusal, folder_in_place_of_file_ends_process) {
    const private_folder folder;
    ASSERT_EQ(mkdir(folder.file("1.fff").c_str(), 0700), 0);
    expect_refusal(written_in_child(folder.path()),
                   "ERR: Can't create file " + folder.file("1.fff"), EISDIR);
}

TEST(f3write_refusal, does_not_follow_symlink_to_users_file) {
    const private_folder folder;
    set_file_content(folder.file("users"), "precious");
    ASSERT_EQ(symlink("users", folder.file("1.fff").c_str()), 0);
    expect_refusal(written_in_child(folder.path()),
                   "ERR: Can't create file " + folder.file("1.fff"), ELOOP);
    EXPECT_EQ(file_content(folder.file("users")), "precious");
}

TEST(f3write_refusal, dangling_symlink_creates_nothing) {
    const private_folder folder;
    ASSERT_EQ(symlink("nowhere", folder.file("1.fff").c_str()), 0);
    expect_refusal(written_in_child(folder.path()),
                   "ERR: Can't create file " + folder.file("1.fff"), ELOOP);
    EXPECT_FALSE(exists(folder.file("nowhere")));
}

TEST(f3write_refusal, leaves_hard_linked_users_file_unchanged) {
    const private_folder folder;
    set_file_content(folder.file("users"), "precious");
    ASSERT_EQ(link(folder.file("users").c_str(), folder.file("1.fff").c_str()), 0);
    expect_refused(written_in_child(folder.path()),
                   "ERR: Can't create file " + folder.file("1.fff"));
    EXPECT_EQ(file_content(folder.file("users")), "precious");
}

TEST(f3write_refusal, fifo_without_reader_does_not_block) {
    const private_folder folder;
    ASSERT_EQ(mkfifo(folder.file("1.fff").c_str(), 0600), 0);
    expect_refused(written_in_child(folder.path()),
                   "ERR: Can't create file " + folder.file("1.fff"));
}

TEST(f3write_refusal, writes_nothing_to_fifo_with_reader) {
    const private_folder folder;
    ASSERT_EQ(mkfifo(folder.file("1.fff").c_str(), 0600), 0);
    const int reader = open(folder.file("1.fff").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    expect_refused(written_in_child(folder.path()),
                   "ERR: Can't create file " + folder.file("1.fff"));
    char byte = 0;
    EXPECT_EQ(read(reader, &byte, 1), 0);
    close(reader);
}

TEST(f3write_refusal, writes_nothing_to_device) {
    const private_folder folder;
    if (mknod(folder.file("1.fff").c_str(), S_IFCHR | 0600, makedev(1, 3)) != 0)
        GTEST_SKIP() << "needs the right to make device nodes";
    expect_refused(written_in_child(folder.path()),
                   "ERR: Can't create file " + folder.file("1.fff"));
}

TEST(f3write_refusal, failed_write_is_reported_on_standard_output_and_in_log) {
    const private_folder folder;
    const std::string path = folder.file("1.fff");
    ASSERT_LE(path.size(), 50U) << "the line would not fit; choose another TMPDIR";
    const child_outcome outcome = run_in_child([&] {
        engine_set_fatal_handler(print_log_and_error);
        limit_file_size(4096);
        write_flow fw = new_flow(1U << 20U);
        fw.show_progress = 0;
        create_and_fill_file(folder.c_path(), 0, 8192, &fw);
    });
    EXPECT_EQ(outcome.out, "Write to file " + path + " failed");
    EXPECT_EQ(outcome.err,
              "Creating test file number 1 ...\nWrite to file " + path + " failed" +
                  std::to_string(EFBIG) + "\n" +
                  model_tests::assertion_line("written == fw->block_size", "create_and_fill_file",
                                              "model/f3write"));
    EXPECT_TRUE(outcome.aborted());
}

TEST(f3write_refusal, failed_write_aborts) {
    const private_folder folder;
    const child_outcome outcome = run_in_child([&] {
        limit_file_size(2048);
        write_flow fw = new_flow(1U << 20U);
        create_and_fill_file(folder.c_path(), 0, 8192, &fw);
    });
    expect_assertion(outcome, "written == fw->block_size", "create_and_fill_file", "model/f3write");
}

TEST(f3write_refusal, short_write_aborts_without_message) {
    const private_folder folder;
    const child_outcome outcome = run_in_child([&] {
        limit_file_size(1536);
        write_flow fw = new_flow(1U << 20U);
        create_and_fill_file(folder.c_path(), 0, 8192, &fw);
    });
    EXPECT_EQ(outcome.out, "");
    expect_assertion(outcome, "written == fw->block_size", "create_and_fill_file", "model/f3write");
    EXPECT_EQ(model_tests::file_size(folder.file("1.fff")), 1536U);
}

TEST(f3write_refusal, failed_write_aborts_when_path_is_too_long_for_line) {
    const private_folder folder;
    const std::string deep = folder.file(std::string(80, 'd'));
    ASSERT_EQ(mkdir(deep.c_str(), 0700), 0);
    const child_outcome outcome = run_in_child([&] {
        limit_file_size(2048);
        write_flow fw = new_flow(1U << 20U);
        create_and_fill_file(deep.c_str(), 0, 8192, &fw);
    });
    EXPECT_TRUE(outcome.aborted()) << outcome.exit_status << outcome.err;
}

TEST(f3write_refusal, failed_write_prints_longest_path_whole_and_escaped) {
    const private_folder folder;
    std::string path = folder.path();
    std::string shown = path;
    /* The longest path within the engine's limit, file name included. */
    constexpr size_t longest = ENGINE_PATH_MAX - sizeof "/1.fff";
    while (path.size() + 1 < longest) {
        const size_t length = std::min<size_t>(longest - path.size() - 1, 200);
        path += "/" + std::string(length, '\x1b');
        shown += '/';
        for (size_t at = 0; at < length; ++at)
            shown += "\\x1B";
        ASSERT_EQ(mkdir(path.c_str(), 0700), 0) << path.size();
    }
    const child_outcome outcome = run_in_child([&] {
        limit_file_size(8192); /* more than the output */
        write_flow fw = new_flow(1U << 20U);
        create_and_fill_file(path.c_str(), 0, 16384, &fw);
    });
    EXPECT_EQ(outcome.out, "Write to file " + shown + "/1.fff failed");
    EXPECT_TRUE(outcome.aborted()) << outcome.exit_status << outcome.err;
}

TEST(f3write_refusal, path_over_limit_ends_process_before_creating_file) {
    const std::string path(1020, 'p');
    expect_assertion(written_in_child(path),
                     "snprintf(full_fn, PATH_MAX, \"%s/%i.fff\", path, num + 1) < PATH_MAX",
                     "full_fn_from_number", "model/utils");
}

TEST(f3write_refusal, cannot_remove_folder_named_like_test_file) {
    const private_folder folder;
    ASSERT_EQ(mkdir(folder.file("5.fff").c_str(), 0700), 0);
    const child_outcome outcome =
        run_in_child([&] { f3write_unlink_old_files(folder.c_path(), 0); });
    expect_refusal(outcome, "ERR: Can't remove file " + folder.file("5.fff"), EISDIR);
    EXPECT_TRUE(exists(folder.file("5.fff")));
}

TEST(f3write_refusal, never_removes_name_with_leading_zero) {
    const private_folder folder;
    set_file_content(folder.file("01.fff"), "mine");
    const child_outcome outcome =
        run_in_child([&] { f3write_unlink_old_files(folder.c_path(), 0); });
    expect_refusal(outcome, "ERR: Can't remove file " + folder.file("1.fff"), ENOENT);
    EXPECT_EQ(file_content(folder.file("01.fff")), "mine");
}

/* Both are listed as number 1; only 1.fff is ours. */
TEST(f3write_refusal, keeps_name_with_leading_zero_beside_real_one) {
    const private_folder folder;
    set_file_content(folder.file("1.fff"), "ours");
    set_file_content(folder.file("01.fff"), "mine");
    const child_outcome outcome =
        run_in_child([&] { f3write_unlink_old_files(folder.c_path(), 0); });
    expect_refusal(outcome, "ERR: Can't remove file " + folder.file("1.fff"), ENOENT);
    EXPECT_FALSE(exists(folder.file("1.fff")));
    EXPECT_EQ(file_content(folder.file("01.fff")), "mine");
}

TEST(f3write_refusal, removing_symlink_leaves_users_file) {
    const private_folder folder;
    set_file_content(folder.file("users"), "precious");
    ASSERT_EQ(symlink("users", folder.file("1.fff").c_str()), 0);
    f3write_unlink_old_files(folder.c_path(), 0);
    drained_log();
    EXPECT_FALSE(exists(folder.file("1.fff")));
    EXPECT_EQ(file_content(folder.file("users")), "precious");
}

TEST(f3write_refusal, removing_in_missing_folder_ends_process) {
    const private_folder folder;
    const std::string missing = folder.file("missing");
    expect_refusal(run_in_child([&] { f3write_unlink_old_files(missing.c_str(), 0); }),
                   "Can't open path " + missing, ENOENT);
}
