// SPDX-License-Identifier: GPL-3.0-or-later
// How the program ends after a failed test, a closed window or wrong arguments. Each case runs in a
// process of its own.
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fstream>

#include "outreach_support.h"
#include "sector_oracle.h"
#include "support/process.h"
#include "support/volumes.h"
#include "whole_run.h"

using namespace app_tests;
using namespace system_tests;
using namespace test_support;

namespace {

constexpr auto files_may_be_left =
    "The test files N.fff may still be on the volume; the next test removes them.";

constexpr std::chrono::seconds patience{60};

// A story of tests_app_scenario.
class story : public child_process {
 public:
    story(const std::string &name, const std::string &volume)
        : child_process({TROVIK_SCENARIO_PROGRAM, name, volume}, time_limit()) {}

 private:
    static process_options time_limit() {
        process_options options;
        options.timeout = patience;
        return options;
    }
};

}  // namespace

// The alert of the engine's failure on one line; empty without one.
static std::string failure_alert(const process_result &run) {
    for (const std::string &line : lines_of(run.out)) {
        // The engine's message about a failed write may precede it on the line.
        const size_t at = line.find("alert: The test ");
        if (at != std::string::npos)
            return line.substr(at);
    }
    return {};
}

static bool contains(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

// The text that names the test files on the volume.
static std::string named(const test_support::volume &where) {
    std::string text;
    const std::vector<int> files = where.test_files();
    for (size_t first = 0; first < files.size();) {
        size_t last = first;
        while (last + 1 < files.size() && files[last + 1] == files[last] + 1)
            ++last;
        text += (text.empty() ? "" : ", ") + std::to_string(files[first]) + ".fff";
        if (last > first)
            text += " to " + std::to_string(files[last]) + ".fff";
        first = last + 1;
    }
    return "Test files left on the volume: " + text;
}

// The alert has the reason, the engine's message and the files that are left, in this order.
// Standard error has the files between the console's text and the engine's message.
static void expect_alert(const process_result &run, const std::string &reason,
                         const std::string &words, const std::string &then = files_may_be_left) {
    const std::string alert = failure_alert(run);
    const size_t reason_at = alert.find(" | " + reason + "\\n\\n");
    const size_t words_at = alert.find(words);
    const size_t then_at = alert.find("\\n\\n" + then + " | Quit");
    EXPECT_NE(then_at, std::string::npos) << alert;
    EXPECT_LT(reason_at, words_at) << alert;
    EXPECT_LT(words_at, then_at) << alert;
    const size_t console_at = run.err.find(" - Start testing volume ");
    const size_t left_at = run.err.find("\ntrovik: " + then + "\n");
    EXPECT_NE(left_at, std::string::npos) << run.err;
    EXPECT_LT(console_at, left_at) << run.err;
    EXPECT_LT(left_at, run.err.find(words, left_at)) << run.err;
    EXPECT_NE(run.err.find(words, left_at), std::string::npos) << run.err;
}

// The console's text comes before the engine's last message.
static void expect_console_on_standard_error(const process_result &run, const std::string &volume,
                                             const std::string &last_words) {
    std::vector<std::string> lines = lines_of(run.err);
    std::transform(lines.begin(), lines.end(), lines.begin(), without_time);
    const auto heading =
        std::find(lines.begin(), lines.end(), "TIME - Start testing volume " + volume);
    ASSERT_NE(heading, lines.end()) << run.err;
    EXPECT_EQ(*(heading - 1), "TIME - -------------------------------");
    const auto reason = std::find_if(
        heading, lines.end(), [&](const std::string &line) { return contains(line, last_words); });
    ASSERT_NE(reason, lines.end()) << run.err;
    EXPECT_EQ(std::find(heading + 1, lines.end(), *heading), lines.end()) << "said twice";
}

static void expect_aborted(const process_result &run) {
    EXPECT_EQ(run.signal_number, SIGABRT) << run.exit_status << run.out << run.err;
    EXPECT_FALSE(run.timed_out);
}

constexpr auto gone = "The volume is gone: it was pulled out or unmounted.";

TEST(process_end, aborts_with_reason_and_console_when_card_is_unplugged_while_writing) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=8M", "--unplug-after-written=100K", "--unplug-error=ENODEV"});
    const process_result run = story("wait", where.path()).wait();
    expect_aborted(run);
    expect_alert(run, gone, "Assertion failed: (written == fw->block_size)");
    expect_console_on_standard_error(run, where.path(), "(written == fw->block_size)");
    EXPECT_TRUE(contains(run.err, "Creating test file number 1 ...\n")) << run.err;
    EXPECT_TRUE(contains(run.err, "\nWrite to file " + where.file("1.fff") + " failed\n"))
        << run.err;
}

TEST(process_end, aborts_when_card_is_unplugged_while_reading) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=4M", "--unplug-after-read=2M", "--unplug-error=ENODEV"});
    const process_result run = story("wait", where.path()).wait();
    expect_aborted(run);
    expect_alert(run, gone, "Assertion failed: (*read_all || errno == EIO)");
    expect_console_on_standard_error(run, where.path(), "(*read_all || errno == EIO)");
    EXPECT_TRUE(contains(run.err, "Validating file number 1 ...")) << run.err;
}

// The reader stays mounted without its card: reading stops as on every input/output error and gives
// a result. Test files cannot be removed.
TEST(process_end, gives_result_when_reader_loses_its_card) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=4M", "--unplug-after-read=2M", "--unplug-error=EIO"});
    const process_result run = story("wait", where.path()).wait();
    EXPECT_EQ(run.exit_status, 0) << run.signal_number << run.out << run.err;
    EXPECT_FALSE(run.timed_out);
    EXPECT_TRUE(contains(run.out, "result: Not all could be read\n")) << run.out;
}

// The main thread cleans up after the report of the test, and fails.
TEST(process_end, exits_with_error_number_when_card_becomes_read_only) {
    SKIP_IF_MISSING(missing_for_cards());
    SKIP_IF_MISSING(missing_for_mounts());
    const card where({"--size=2M", "--read-rate=2M"});
    story user("wait", where.path());
    ASSERT_TRUE(user.wait_for_output("phase: reading\n", patience));
    ASSERT_EQ(mount("none", where.path().c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    const process_result run = user.wait();
    EXPECT_EQ(run.exit_status, EROFS) << run.signal_number << run.out << run.err;
    expect_alert(run, "Removing test files failed.",
                 "Can't remove file " + where.file("1.fff") + ": Read-only file system",
                 named(where) + ".");
    EXPECT_EQ(where.test_files(), std::vector<int>{1});
    EXPECT_EQ(failure_alert(run).rfind("alert: The test files could not be removed | ", 0), 0U);
    EXPECT_TRUE(contains(failure_alert(run),
                         "The test itself was complete: its verdict is in the window."));
    expect_console_on_standard_error(run, where.path(), "Can't remove file");
    EXPECT_TRUE(contains(run.err, " - 12: trovik version ")) << run.err;
    EXPECT_TRUE(contains(run.err, " -  1: Volume intact .............. : YES\n")) << run.err;
}

TEST(process_end, shows_failure_over_open_alert) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=8M", "--write-error=2000-2010", "--write-rate=2M"});
    const process_result run = story("with-an-alert-open", where.path()).wait();
    expect_aborted(run);
    const size_t question = run.out.find("alert: A question");
    ASSERT_NE(question, std::string::npos) << run.out;
    EXPECT_GT(run.out.find("alert: The test stopped early | "), question);
    expect_alert(run, "Writing to the volume failed: Input/output error.", "Assertion failed",
                 named(where) + "; the next test removes them.");
    EXPECT_EQ(where.test_files(), std::vector<int>{1});
}

TEST(process_end, names_all_test_files_that_cannot_be_removed) {
    SKIP_IF_MISSING(missing_for_mounts());
    const tmpfs_volume where("size=2m");
    for (const char *name : {"1.fff", "2.fff", "3.fff", "5.fff", "notes.fff"})
        std::ofstream(where.file(name)) << "of an earlier test";
    story user("wait", where.path());
    ASSERT_TRUE(user.wait_for_output("testing\n", patience));
    ASSERT_EQ(mount("none", where.path().c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    const process_result run = user.wait();
    EXPECT_EQ(run.exit_status, EROFS) << run.signal_number << run.out << run.err;
    EXPECT_EQ(named(where), "Test files left on the volume: 1.fff to 3.fff, 5.fff");
    expect_alert(run, "Removing test files failed.", "Can't remove file ", named(where) + ".");
}

TEST(process_end, shows_reason_when_card_does_not_answer) {
    SKIP_IF_MISSING(missing_for_cards());
    stalling_card where({"--size=8M", "--write-error=2000-2010", "--write-rate=2M"});
    story user("busy-until-told", where.path());
    ASSERT_TRUE(user.wait_for_output("writing has failed\n", patience));
    where.stall();
    user.send_signal(SIGUSR1);
    EXPECT_TRUE(user.wait_for_output("alert: The test stopped ", patience));
    // The process may not be able to exit before its card answers.
    where.go_on();
    const process_result run = user.wait();
    expect_aborted(run);
    expect_alert(run, "Writing to the volume failed: Input/output error.", "Assertion failed");
}

// A run whose volume is gone ends with a result: nothing could be tested.
static void expect_result_of_gone_volume(const process_result &run) {
    EXPECT_EQ(run.exit_status, 0) << run.signal_number << run.out << run.err;
    EXPECT_FALSE(run.timed_out);
    EXPECT_TRUE(contains(run.out, "result: Nothing was tested\n")) << run.out;
    EXPECT_EQ(failure_alert(run), "");
}

TEST(process_end, volume_covered_before_first_step_gives_result) {
    SKIP_IF_MISSING(missing_for_mounts());
    const tmpfs_volume where("size=2m");
    story user("wait", where.path());
    // In the pause, when the old test files have not been removed yet.
    ASSERT_TRUE(user.wait_for_output("testing\n", patience));
    const covering_volume another(where.path());
    another.put("1.fff", "not of this test");
    another.put("photo", "nor this");
    expect_result_of_gone_volume(user.wait());
    EXPECT_EQ(another.contents(),
              std::vector<std::string>({"1.fff=not of this test", "photo=nor this"}));
}

TEST(process_end, volume_unmounted_before_first_step_gives_result) {
    SKIP_IF_MISSING(missing_for_mounts());
    const private_folder below;
    const std::string file_below = below.path() + "/1.fff";
    std::ofstream(file_below) << "not of this test";
    covering_volume where(below.path());
    story user("wait", below.path());
    ASSERT_TRUE(user.wait_for_output("testing\n", patience));
    where.detach();
    expect_result_of_gone_volume(user.wait());
    EXPECT_EQ(read_bytes(file_below, false), "not of this test");
}

// The test file that is being written is still open, so it is filled to its end.
TEST(process_end, volume_covered_while_writing_gives_result) {
    SKIP_IF_MISSING(missing_for_cards());
    SKIP_IF_MISSING(missing_for_mounts());
    const card where({"--size=3M", "--write-rate=2M"});
    story user("wait", where.path());
    ASSERT_TRUE(user.wait_for_output("phase: writing\n", patience));
    const covering_volume another(where.path());
    another.put("1.fff", "not of this test");
    expect_result_of_gone_volume(user.wait());
    EXPECT_EQ(another.contents(), std::vector<std::string>({"1.fff=not of this test"}));
}

static process_result end_after_closing(story &user) {
    EXPECT_TRUE(user.wait_for_output("closing the window\n", patience));
    const process_result run = user.wait();
    EXPECT_FALSE(run.timed_out);
    return run;
}

TEST(process_end, closing_window_during_test_exits_at_once_with_0) {
    SKIP_IF_MISSING(missing_for_cards());
    // Filling this card would take four times as long as the story may last.
    const card where({"--size=64M", "--write-rate=256K"});
    story user("close", where.path());
    const process_result run = end_after_closing(user);
    EXPECT_EQ(run.exit_status, 0) << run.signal_number << run.out << run.err;
    EXPECT_EQ(failure_alert(run), "");
    EXPECT_EQ(where.test_files(), std::vector<int>{1}) << "left for the next test to remove";
}

TEST(process_end, closing_window_below_alert_acts_like_alert) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=8M", "--unplug-after-written=100K"});
    story user("close-over-the-alert", where.path());
    const process_result run = end_after_closing(user);
    expect_aborted(run);
    expect_alert(run, gone, "Assertion failed");
}

TEST(process_end, closing_window_before_alert_keeps_engine_status) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=8M", "--write-rate=2M", "--unplug-after-written=1M"});
    story user("close-before-the-alert", where.path());
    const process_result run = end_after_closing(user);
    expect_aborted(run);
    EXPECT_TRUE(contains(run.err, "Assertion failed: (written == fw->block_size)")) << run.err;
}

TEST(program, refuses_wrong_arguments_with_one_line) {
    for (const std::vector<std::string> &words : std::vector<std::vector<std::string>>{
             {"--nonsense"}, {"/tmp", "/tmp"}, {"/does/not/exist"}}) {
        std::vector<std::string> all = words;
        all.insert(all.begin(), TROVIK_PROGRAM);
        const process_result run = run_program(all);
        EXPECT_EQ(run.exit_status, 64) << words[0];
        EXPECT_EQ(run.out, "") << words[0];
        ASSERT_EQ(lines_of(run.err).size(), 1U) << words[0] << ": " << run.err;
        EXPECT_EQ(run.err.rfind("trovik: ", 0), 0U) << run.err;
        EXPECT_TRUE(contains(run.err, words[0].substr(words[0].rfind('-') + 1)) || words.size() > 1)
            << run.err;
    }
}

TEST(program, prints_version_or_usage) {
    const process_result version = run_program({TROVIK_PROGRAM, "--version"});
    EXPECT_EQ(version.exit_status, 0) << version.err;
    EXPECT_EQ(version.out, "trovik 1.0.0-1\n");
    const process_result help = run_program({TROVIK_PROGRAM, "--help"});
    EXPECT_EQ(help.exit_status, 0) << help.err;
    EXPECT_TRUE(contains(help.out, "[VOLUME]")) << help.out;
    EXPECT_TRUE(contains(help.out, "--version")) << help.out;
}

TEST(program, opens_its_window_with_a_volume_and_ends_by_signal) {
    const private_folder folder;
    // Qt logs each widget that it paints.
    process_options options = signal_at("of QMainWindow", SIGTERM);
    options.environment = {"QT_LOGGING_RULES=qt.widgets.painting.info=true"};
    options.timeout = patience;
    const process_result run = run_program({TROVIK_PROGRAM, folder.path()}, options);
    EXPECT_EQ(run.signal_number, SIGTERM) << run.exit_status << run.out << run.err;
    EXPECT_FALSE(run.timed_out);
}
