// SPDX-License-Identifier: GPL-3.0-or-later
// Runs that stop early: by a signal, a closed pipe, a fatal error, a volume that is gone. Runs with
// closed or full streams.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <thread>

#include "cli/commands.h"
#include "cli/json_output.h"
#include "cli/stop_signals.h"
#include "support.h"

using cli_tests::contains;
using cli_tests::entries;
using cli_tests::outcome;
using cli_tests::private_folder;
using cli_tests::private_volume;
using cli_tests::process_options;
using cli_tests::run_cli;
using cli_tests::set_file_content;

namespace {

using names = std::vector<std::string>;

// Large enough to keep a run writing for a second.
const char large[] = "size=3g";
const char started[] = "Creating test file number 1 ...";

// Sends the signal once the run has begun to write.
process_options stopped_by(int signal_number) {
    return cli_tests::signal_at(started, signal_number);
}

process_options closing(std::initializer_list<int> descriptors) {
    process_options options;
    options.prepare = [numbers = std::vector<int>(descriptors)] {
        for (const int fd : numbers)
            close(fd);
    };
    return options;
}

// Expects one line that names 1.fff with the command that removes it, and runs that command.
void expect_left_file(const outcome &result, const std::string &path) {
    const std::string command = "remove them with: trovik-cli clean '" + path + "'\n";
    EXPECT_EQ(cli_tests::occurrences(result.err, "test files left on '" + path + "': 1.fff"), 1U)
        << result.err;
    EXPECT_TRUE(contains(result.err, command)) << result.err;
    EXPECT_EQ(entries(path), names{"1.fff"});
    EXPECT_EQ(run_cli({"clean", path}).exit_status, 0);
    EXPECT_EQ(entries(path), names{});
}

}  // namespace

TEST(run_end, signal_names_left_files_with_clean_command) {
    for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
        const private_volume volume(large);
        SKIP_WITHOUT(volume);
        const auto start = std::chrono::steady_clock::now();
        const outcome result = run_cli({"test", volume.path()}, stopped_by(signal_number));
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds{4});
        EXPECT_EQ(result.signal_number, signal_number);
        EXPECT_TRUE(contains(result.err, std::string("trovik-cli: stopped by ") +
                                             stop_signals_name(signal_number) + "\n"))
            << result.err;
        expect_left_file(result, volume.path());
    }
}

TEST(run_end, clean_command_repeats_options_of_run) {
    const private_volume volume(large, "it's a card");
    SKIP_WITHOUT(volume);
    std::filesystem::create_directory(volume.file("inside"));
    process_options options = stopped_by(SIGINT);
    options.cue = "Creating test file number 3 ...";
    const outcome result =
        run_cli({"write", volume.file("inside"), "--start-at=3", "--force"}, options);
    std::string quoted = volume.file("inside");
    quoted.replace(quoted.find('\''), 1, "'\\''");
    EXPECT_TRUE(contains(result.err, "': 3.fff; remove them with: trovik-cli clean '" + quoted +
                                         "' --start-at=3 --force\n"))
        << result.err;
}

TEST(run_end, signal_leaves_report_with_reason) {
    const private_volume volume(large);
    SKIP_WITHOUT(volume);
    const private_folder folder;
    const std::string report = folder.file("report.json");
    run_cli({"test", volume.path(), "--json=" + report}, stopped_by(SIGTERM));
    const nlohmann::json json =
        nlohmann::json::parse(cli_tests::file_content(report), nullptr, false);
    ASSERT_TRUE(json.contains("fatal"));
    EXPECT_EQ(json["fatal"].value("message", ""), "stopped by SIGTERM");
    EXPECT_EQ(json["fatal"].value("exit_status", 0), 128 + SIGTERM);
}

TEST(run_end, next_run_removes_left_files) {
    const private_volume volume("size=400m");
    SKIP_WITHOUT(volume);
    const outcome first = run_cli({"write", volume.path()}, stopped_by(SIGINT));
    EXPECT_EQ(first.signal_number, SIGINT);
    ASSERT_EQ(entries(volume.path()), names{"1.fff"});
    const outcome second = run_cli({"clean", volume.path()});
    EXPECT_TRUE(contains(second.out, "Removed 1.fff.\n")) << second.out;
}

TEST(run_end, ignored_hangup_does_not_stop_run) {
    const private_volume volume("size=200m");
    SKIP_WITHOUT(volume);
    process_options options = stopped_by(SIGHUP);
    options.prepare = [] { std::signal(SIGHUP, SIG_IGN); };
    const outcome result = run_cli({"test", volume.path()}, options);
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_TRUE(contains(result.out, "\nIntact: ")) << result.out;
}

TEST(run_end, closed_pipe_ends_run_by_sigpipe) {
    const private_volume volume(large);
    SKIP_WITHOUT(volume);
    const outcome result =
        cli_tests::run_program({"/bin/sh", "-c",
                                std::string("{ '") + TROVIK_CLI + "' test '" + volume.path() +
                                    "'; } | head -1 >/dev/null"});
    EXPECT_EQ(result.exit_status, 0);
    EXPECT_TRUE(contains(result.err, "trovik-cli: stopped by SIGPIPE\n")) << result.err;
    expect_left_file(result, volume.path());
}

TEST(run_end, signal_stops_process_with_blocked_output) {
    const private_volume volume(large);
    SKIP_WITHOUT(volume);
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    ASSERT_GT(fcntl(ends[1], F_SETPIPE_SZ, 4096), 0);
    const std::string filling(static_cast<size_t>(fcntl(ends[1], F_GETPIPE_SZ)), 'x');
    ASSERT_EQ(write(ends[1], filling.data(), filling.size()), static_cast<ssize_t>(filling.size()));
    process_options options;
    options.prepare = [&] { dup2(ends[1], STDOUT_FILENO); };
    options.cue = "dd: free_space:";
    options.on_cue = [](pid_t child) {
        // By then the first line blocks the poller.
        std::this_thread::sleep_for(std::chrono::milliseconds{500});
        kill(child, SIGTERM);
    };
    const outcome result = run_cli({"test", volume.path()}, options);
    EXPECT_EQ(result.signal_number, SIGTERM);
    close(ends[0]);
    close(ends[1]);
}

TEST(run_end, reports_full_disk_under_standard_output) {
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    process_options options;
    options.prepare = [] { dup2(open("/dev/full", O_WRONLY), STDOUT_FILENO); };
    const outcome result = run_cli({"test", volume.path()}, options);
    EXPECT_FALSE(contains(result.err, "SIGPIPE")) << result.err;
    EXPECT_TRUE(contains(result.err, "No space left on device")) << result.err;
    EXPECT_EQ(result.exit_status, 74);
    EXPECT_EQ(entries(volume.path()), names{});
}

TEST(run_end, truncated_report_is_no_success) {
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    const private_volume log("size=4k");
    set_file_content(log.file("out"), std::string(3000, 'x'));
    process_options options;
    options.prepare = [&] {
        dup2(open(log.file("out").c_str(), O_WRONLY | O_APPEND), STDOUT_FILENO);
    };
    const outcome result = run_cli({"test", volume.path()}, options);
    ASSERT_FALSE(contains(cli_tests::file_content(log.file("out")), "Report End"));
    EXPECT_EQ(result.exit_status, 74);
    EXPECT_TRUE(contains(result.err, "No space left on device")) << result.err;
}

TEST(run_end, closed_streams_do_not_end_in_files) {
    const private_volume volume("size=2m");
    SKIP_WITHOUT(volume);
    const private_folder folder;
    for (const std::vector<int> &closed :
         {std::vector<int>{0}, {1}, {2}, {0, 1}, {0, 2}, {1, 2}, {0, 1, 2}}) {
        process_options options;
        options.prepare = [&] {
            for (const int fd : closed)
                close(fd);
        };
        const std::string report = folder.file("report.json");
        const outcome result =
            run_cli({"test", volume.path(), "--keep-files", "--json=" + report}, options);
        const std::string which = ::testing::PrintToString(closed);
        EXPECT_EQ(result.exit_status, 0) << which << result.out << result.err;
        const nlohmann::json json =
            nlohmann::json::parse(cli_tests::file_content(report), nullptr, false);
        EXPECT_FALSE(json.is_discarded()) << which;
        EXPECT_EQ(run_cli({"read", volume.path()}).exit_status, 0) << which;
        std::filesystem::remove(report);
    }
}

TEST(run_end, refuses_report_on_closed_standard_output) {
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    set_file_content(volume.file("1.fff"), "old");
    const outcome result = run_cli({"test", volume.path(), "--json=-"}, closing({1}));
    EXPECT_EQ(result.exit_status, 64);
    EXPECT_EQ(cli_tests::line_count(result.err), 1U) << result.err;
    EXPECT_EQ(cli_tests::file_content(volume.file("1.fff")), "old");
}

TEST(run_end, fatal_error_keeps_status_with_report) {
    const private_folder folder;
    const std::string report = folder.file("report.json");
    const outcome result = cli_tests::run_body([&] {
        // The volume disappears after the guard's look.
        cli_arguments arguments;
        arguments.command = cli_command::test;
        run_guard guard;
        guard.look({.path = folder.file("gone"), .judge_volume = false, .pass_unreadable = true});
        json_output json;
        std::string error;
        volume_info elsewhere;
        volume_describe("/proc", elsewhere, error);
        if (!json.open(report, elsewhere, error))
            _exit(1);
        stop_signals_begin();
        run_command(arguments, guard, json);
    });
    EXPECT_EQ(result.exit_status, ENOENT);
    EXPECT_TRUE(contains(
        result.err, "Can't open path " + folder.file("gone") + ": No such file or directory\n"))
        << result.err;
    // Without an answer from the volume, nothing is claimed.
    EXPECT_FALSE(contains(result.err, "no test files are left")) << result.err;
    const nlohmann::json json =
        nlohmann::json::parse(cli_tests::file_content(report), nullptr, false);
    ASSERT_TRUE(json.contains("fatal"));
    EXPECT_EQ(json["fatal"].value("exit_status", 0), ENOENT);
}

TEST(run_end, last_line_gives_reason) {
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    const outcome result = cli_tests::run_body([&] {
        cli_arguments arguments;
        arguments.command = cli_command::read;
        run_guard guard;
        guard.look({.path = volume.path()});
        // After the guard's look: the engine follows no link.
        std::filesystem::create_symlink("/etc/passwd", volume.file("1.fff"));
        json_output json;
        stop_signals_begin();
        run_command(arguments, guard, json);
    });
    EXPECT_EQ(result.exit_status, ELOOP);
    const std::string last_line =
        result.err.substr(result.err.rfind('\n', result.err.size() - 2) + 1);
    EXPECT_TRUE(contains(last_line, "ERR: Can't open file " + volume.file("1.fff"))) << result.err;
    // Reading leaves no files.
    EXPECT_FALSE(contains(result.err, "test files left")) << result.err;
}

TEST(run_end, does_not_clean_volume_replaced_during_run) {
    const private_volume volume("size=800m");
    SKIP_WITHOUT(volume);
    process_options options;
    options.cue = started;
    options.on_cue = [&](pid_t) {
        EXPECT_EQ(mount("tmpfs", volume.path().c_str(), "tmpfs", 0, "size=1m"), 0);
        set_file_content(volume.file("1.fff"), "another volume's");
    };
    const outcome result = run_cli({"test", volume.path()}, options);
    EXPECT_EQ(cli_tests::file_content(volume.file("1.fff")), "another volume's");
    EXPECT_EQ(umount2(volume.path().c_str(), MNT_DETACH), 0);
    EXPECT_NE(result.exit_status, 0);
    EXPECT_TRUE(contains(result.err, "was unmounted or replaced during the run")) << result.err;
    EXPECT_FALSE(contains(result.out, "Report Begin")) << result.out;
}

TEST(run_end, run_without_thread_touches_nothing) {
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    set_file_content(volume.file("1.fff"), "old");
    const private_folder folder;
    const std::string report = folder.file("report.json");
    const outcome result = cli_tests::run_body([&] {
        cli_arguments arguments;
        arguments.command = cli_command::test;
        run_guard guard;
        json_output json;
        std::string error;
        if (guard.look({.path = volume.path()}) || guard.take() ||
            !json.open(report, *guard.volume(), error))
            _exit(1);
        const rlimit none = {0, 0};
        setrlimit(RLIMIT_NPROC, &none);
        // The limit does not bind root.
        if (geteuid() == 0 && setuid(65534) != 0)
            _exit(2);
        if (stop_signals_begin())
            _exit(3);
        _exit(run_command(arguments, guard, json));
    });
    EXPECT_EQ(result.exit_status, 71);
    EXPECT_EQ(result.err,
              "trovik-cli: the run could not be started: the system has no thread to spare\n");
    EXPECT_EQ(cli_tests::file_content(volume.file("1.fff")), "old");
    const nlohmann::json json =
        nlohmann::json::parse(cli_tests::file_content(report), nullptr, false);
    ASSERT_TRUE(json.contains("fatal"));
    EXPECT_EQ(json["fatal"].value("exit_status", 0), 71);
}

TEST(run_end, program_without_thread_prints_one_line_with_status_71) {
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the leak sanitizer needs a thread of its own";
#endif
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    process_options options;
    options.user = 65534;
    options.prepare = [] {
        const rlimit none = {0, 0};
        setrlimit(RLIMIT_NPROC, &none);
    };
    const outcome result = run_cli({"test", volume.path()}, options);
    EXPECT_EQ(result.exit_status, 71);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err,
              "trovik-cli: the run could not be started: the system has no thread to spare\n");
    EXPECT_EQ(entries(volume.path()), names{});
}

TEST(run_end, signal_names_no_file_of_replaced_volume) {
    const private_volume volume(large);
    SKIP_WITHOUT(volume);
    process_options options;
    options.cue = started;
    options.on_cue = [&](pid_t child) {
        EXPECT_EQ(mount("tmpfs", volume.path().c_str(), "tmpfs", 0, "size=1m"), 0);
        set_file_content(volume.file("1.fff"), "another volume's");
        kill(child, SIGINT);
    };
    const outcome result = run_cli({"test", volume.path()}, options);
    EXPECT_EQ(umount2(volume.path().c_str(), MNT_DETACH), 0);
    EXPECT_EQ(result.signal_number, SIGINT);
    EXPECT_TRUE(contains(result.err,
                         "was unmounted or replaced during the run; the folder there "
                         "now was not touched\n"))
        << result.err;
    EXPECT_FALSE(contains(result.err, "trovik-cli clean")) << result.err;
}
