// SPDX-License-Identifier: GPL-3.0-or-later
// A signal ends a run before its data are written or read: the run names the test files that it
// leaves and how to remove them, and touches no user file.
//
// The cards are slow per request: user files, written in a few large pieces, arrive quickly, the
// small blocks of a test do not.
#include <gtest/gtest.h>

#include <csignal>

#include "cli_run.h"
#include "support/volumes.h"
#include "user_files.h"

using namespace system_tests;

namespace {

struct stop {
    const char *name;
    int number;

    friend void PrintTo(const stop &kind, std::ostream *out) { *out << kind.name; }
};

class stop_signal : public testing::TestWithParam<stop> {};

}  // namespace

constexpr std::chrono::seconds patience{60};

static void expect_stopped(const process_result &run, const nlohmann::json &report,
                           const stop &by) {
    EXPECT_EQ(run.signal_number, by.number) << "exit status " << run.exit_status;
    EXPECT_NE(run.err.find(std::string("stopped by ") + by.name), std::string::npos) << run.err;
    ASSERT_TRUE(report.is_object()) << "no JSON report";
    ASSERT_TRUE(report.at("fatal").is_object());
    EXPECT_EQ(report.at("fatal").at("message"), std::string("stopped by ") + by.name);
    EXPECT_EQ(report.at("exit_status"), 128 + by.number);
    EXPECT_TRUE(report.at("report").is_null());
}

// The run names its test file and a command that removes it.
static void expect_left_and_removable(const volume &where, const process_result &run) {
    EXPECT_EQ(where.test_files(), std::vector<int>{1});
    EXPECT_NE(run.err.find(": 1.fff; remove them with: "), std::string::npos) << run.err;
    const process_result removed = run_removal_command(removal_command(run.err));
    EXPECT_EQ(removed.exit_status, 0) << removal_command(run.err) << "\n" << removed.err;
    EXPECT_EQ(where.test_files(), std::vector<int>{});
}

TEST_P(stop_signal, ends_run_while_writing) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=32M", "--write-latency-us=1000"});
    const user_files users(where.path(), user_tree());
    const report_file report;
    child_process run(cli_command({"test", where.path(), report.option()}));
    ASSERT_TRUE(run.wait_for_output("16.00 KB/s", patience));
    run.send_signal(GetParam().number);
    const process_result ended = run.wait();

    const nlohmann::json document = report.read();
    expect_stopped(ended, document, GetParam());
    EXPECT_GT(document.at("write").at("bytes"), 0);
    EXPECT_LT(document.at("write").at("bytes"), 16 * mib) << "went on long after the signal";
    EXPECT_EQ(document.at("write").at("end"), "not_ended");
    users.expect_untouched();
    expect_left_and_removable(where, ended);
    users.expect_untouched();
}

TEST_P(stop_signal, ends_run_while_reading) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=4M", "--read-rate=1M"});
    const user_files users(where.path(), small_user_tree());
    const report_file report;
    child_process run(cli_command({"test", where.path(), report.option()}));
    ASSERT_TRUE(run.wait_for_output("Validating file number 1", patience));
    run.send_signal(GetParam().number);
    const process_result ended = run.wait();

    const nlohmann::json document = report.read();
    expect_stopped(ended, document, GetParam());
    EXPECT_EQ(document.at("write").at("end"), "full_in_file");
    EXPECT_EQ(document.at("read").at("finished"), false);
    expect_left_and_removable(where, ended);
    users.expect_untouched();
}

INSTANTIATE_TEST_SUITE_P(of_each_kind, stop_signal,
                         testing::Values(stop{"SIGINT", SIGINT}, stop{"SIGTERM", SIGTERM},
                                         stop{"SIGHUP", SIGHUP}),
                         [](const auto &test) { return std::string(test.param.name); });

TEST(stop_signal, leaves_files_that_next_run_removes) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=2M", "--write-rate=2M"});
    child_process first(cli_command({"test", where.path()}));
    ASSERT_TRUE(first.wait_for_output("16.00 KB/s", patience));
    first.send_signal(SIGINT);
    EXPECT_EQ(first.wait().signal_number, SIGINT);
    EXPECT_EQ(where.test_files(), std::vector<int>{1});

    const cli_result second = run_cli_with_report({"test", where.path()});

    EXPECT_EQ(second.exit_status, 0) << second.err;
    EXPECT_NE(second.out.find("Removing old file number 1 ...\n"), std::string::npos);
    EXPECT_EQ(tally_of(second.json), sector_tally{.ok = 4096});
    EXPECT_EQ(where.test_files(), std::vector<int>{});
}

TEST(stop_signal, offers_removal_of_own_files_only) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=4M", "--write-latency-us=200"});
    ASSERT_EQ(run_cli({"write", where.path()}).exit_status, 0);
    std::filesystem::resize_file(where.file("1.fff"), mib);
    child_process run({TROVIK_CLI_PROGRAM, "write", where.path(), "--start-at=3"});
    ASSERT_TRUE(run.wait_for_output("16.00 KB/s", patience));
    run.send_signal(SIGTERM);
    const process_result ended = run.wait();
    EXPECT_EQ(ended.signal_number, SIGTERM);
    EXPECT_EQ(where.test_files(), (std::vector<int>{1, 3}));
    EXPECT_NE(ended.err.find(": 3.fff; remove them with: "), std::string::npos) << ended.err;
    EXPECT_EQ(run_removal_command(removal_command(ended.err)).exit_status, 0);
    EXPECT_EQ(where.test_files(), std::vector<int>{1});
}

TEST(stop_signal, offers_no_removal_for_read_command) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=4M", "--read-rate=1M"});
    ASSERT_EQ(run_cli({"write", where.path()}).exit_status, 0);
    child_process run(cli_command({"read", where.path()}));
    ASSERT_TRUE(run.wait_for_output("Validating file number 1", patience));
    run.send_signal(SIGINT);
    const process_result ended = run.wait();
    EXPECT_EQ(ended.signal_number, SIGINT);
    EXPECT_EQ(removal_command(ended.err), "");
    EXPECT_EQ(where.test_files(), std::vector<int>{1});
}
