// SPDX-License-Identifier: GPL-3.0-or-later
// The window after a test: the exact report, the verdict, and the controls for the next test.
#include <QApplication>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>
#include <QThread>
#include <QTimer>
#include <cmath>
#include <filesystem>
#include <fstream>

#include "app/controller_state.h"
#include "model/engine_status.h"
#include "pictures.h"
#include "report/number_text.h"
#include "sector_oracle.h"
#include "support/volumes.h"
#include "whole_run.h"

using namespace app_tests;
using namespace system_tests;
using namespace test_support;

using result_report = whole_run_test;

namespace {

// The values of the numbered lines.
struct report_values {
    std::string intact, volume, gb, bytes, write_speed, read_speed;
    std::string ok, lost, corrupted, changed, overwritten;
};

}  // namespace

// The fixed text of a report.
static std::vector<std::string> report_lines(const report_values &values) {
    return {"TIME - all done.",
            "TIME - **: Report Begin -----------------------------------------",
            "TIME -  1: Volume intact .............. : " + values.intact,
            "TIME -  2: Volume name................. : " + values.volume,
            "TIME -  3: Capacity (GB)............... : " + values.gb + " GB",
            "TIME -  4: Capacity (Bytes)............ : " + values.bytes + " Bytes",
            "TIME -  5: Write speed average ........ : " + values.write_speed,
            "TIME -  6: Read speed average ......... : " + values.read_speed,
            "TIME -  7: DATA OK .................... : " + values.ok,
            "TIME -  8: DATA Lost .................. : " + values.lost,
            "TIME -  9: DATA Corrupted ............. : " + values.corrupted,
            "TIME - 10: DATA Changed ............... : " + values.changed,
            "TIME - 11: DATA Overwritten ........... : " + values.overwritten,
            "TIME - 12: trovik version ............ : 1.0.0-1 (2017-03mar-22) [sandboxed]",
            "TIME - **: Report End -----------------------------------------"};
}

static std::string speed_text(double speed, const char *unit) {
    return number_text_fixed(speed, 2) + " " + unit + "/s";
}

static void fill_in_speeds(report_values &values) {
    values.write_speed = speed_text(get_write_speed(), get_write_speed_unit());
    values.read_speed = speed_text(get_read_speed(), get_read_speed_unit());
}

// The last lines of the console, from "all done" on when all is well.
static std::vector<std::string> last_lines(const std::vector<std::string> &lines) {
    return {lines.end() - std::min<std::ptrdiff_t>(15, std::ssize(lines)), lines.end()};
}

static void expect_ready_for_the_next_test(const TRAppDelegate &app) {
    const window_look look = look_at(app);
    EXPECT_EQ(look.state, UI_STATE_WAITING);
    EXPECT_EQ(look.start_title, "Start");
    EXPECT_FALSE(look.start_enabled);
    EXPECT_TRUE(look.open_enabled);
    EXPECT_TRUE(look.disable_spotlight_enabled);
    EXPECT_TRUE(look.remove_spotlight_enabled);
    EXPECT_EQ(look.progress_value, "100%");
    EXPECT_EQ(look.progress, 100);
    EXPECT_EQ(look.phase, "");
    EXPECT_EQ(look.read_speed, QString::fromStdString(number_text_fixed(get_read_speed(), 2)));
    EXPECT_EQ(look.read_unit, get_read_speed_unit());
    EXPECT_TRUE(look.console_at_end);
}

static double luminance(const QColor &color) {
    const auto linear = [](double part) {
        return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) +
           0.0722 * linear(color.blueF());
}

// The contrast of the title against its background (WCAG 2.1).
static double contrast_of_verdict(const TRAppDelegate &app) {
    const QLabel &title = label_of(app, "verdictTitle");
    const double text = luminance(title.palette().color(QPalette::WindowText));
    const double around = luminance(title.parentWidget()->palette().color(QPalette::Window));
    return (std::max(text, around) + 0.05) / (std::min(text, around) + 0.05);
}

// Also after the desktop changes between light and dark.
static void expect_verdict_readable(const TRAppDelegate &app) {
    const QPalette before = QApplication::palette();
    EXPECT_GT(contrast_of_verdict(app), 4.5);
    QApplication::setPalette(dark_palette());
    QTest::qWait(20);
    EXPECT_GT(contrast_of_verdict(app), 4.5) << "in dark colours";
    QApplication::setPalette(before);
    QTest::qWait(20);
    EXPECT_GT(contrast_of_verdict(app), 4.5) << "in light colours again";
}

// The sectors of one test file that filled the whole card, by the card's cells
// alone: beyond the real size, cell numbers start again.
static sector_tally judge_cells(const std::string &backing, std::uint64_t real_bytes,
                                std::uint64_t announced_bytes) {
    const std::string cells = read_bytes(backing, false);
    EXPECT_EQ(cells.size(), real_bytes);
    std::vector<sector_kind> kinds;
    for (std::uint64_t at = 0; at < announced_bytes; at += oracle_sector_bytes) {
        const std::string sector = cells.substr(at % real_bytes, oracle_sector_bytes);
        kinds.push_back(oracle_judge(reinterpret_cast<const unsigned char *>(sector.data()), at));
    }
    return oracle_tally(kinds);
}

static std::string mib_text(std::uint64_t sectors) {
    const double bytes = static_cast<double>(sectors * oracle_sector_bytes);
    if (sectors == 0)
        return "0.000000 Byte";
    return number_text_fixed(bytes / static_cast<double>(mib), 6) + " MB";
}

// Two tests, one after another in the same window: first a sound card of 16 MiB, then
// a counterfeit that announces 32 MiB and keeps 12.
TEST_F(result_report, distinguishes_sound_card_from_counterfeit) {
    SKIP_IF_MISSING(missing_for_cards());
    const card sound({"--size=16M"});
    choose(sound.path());
    const QTimer *const timer_of_start_up = uiTimer;
    ASSERT_NO_FATAL_FAILURE(press_start());
    ASSERT_TRUE(wait_for_state(UI_STATE_WAITING));

    // In the tick of the report, before the next one.
    expect_ready_for_the_next_test(app());
    EXPECT_EQ(app().UI_state->text(), "<RESULT>");
    EXPECT_EQ(look_at(app()).verdict, "Intact");
    EXPECT_EQ(sound.test_files(), std::vector<int>());
    ASSERT_NE(uiTimer, nullptr);
    EXPECT_NE(uiTimer, timer_of_start_up);
    EXPECT_TRUE(uiTimer->isActive());
    EXPECT_EQ(uiTimer->interval(), 1000);
    report_values values{.intact = "YES",
                         .volume = sound.path(),
                         .gb = "0.016",
                         .bytes = "16777216",
                         .write_speed = {},
                         .read_speed = {},
                         .ok = "16.000000 MB",
                         .lost = "0.000000 Byte",
                         .corrupted = "0.000000 Byte",
                         .changed = "0.000000 Byte",
                         .overwritten = "0.000000 Byte"};
    fill_in_speeds(values);
    std::vector<std::string> lines = masked_console();
    EXPECT_EQ(last_lines(lines), report_lines(values));
    ASSERT_GT(lines.size(), 16U);
    EXPECT_EQ(lines[lines.size() - 16], "Removing old file number 1 ...");
    const std::string first_summary = "Volume capacity (GB) 0.016 GB\nWrite speed average " +
                                      values.write_speed + "\nRead speed average " +
                                      values.read_speed + "\n";
    EXPECT_EQ(reportSummary, first_summary);

    // The next tick reports nothing again.
    EXPECT_TRUE(wait_until([&] { return app().UI_state->text() == "<WAITING>"; }));
    EXPECT_EQ(masked_console(), lines);
    EXPECT_FALSE(app().UI_start->isEnabled());
    wait_for_job();

    const private_folder folder;
    const std::string cells = folder.path() + "/cells";
    const card counterfeit(
        {"--size=32M", "--real-size=12M", "--beyond=wrap", "--backing=" + cells});
    choose(counterfeit.path());
    EXPECT_EQ(app().UI_start->text(), "Start");
    EXPECT_TRUE(app().UI_start->isEnabled());
    ASSERT_NO_FATAL_FAILURE(run_whole_test());

    expect_ready_for_the_next_test(app());
    EXPECT_EQ(look_at(app()).verdict, "Data lost");
    EXPECT_EQ(counterfeit.test_files(), std::vector<int>());
    const sector_tally tally = judge_cells(cells, 12 * mib, 32 * mib);
    EXPECT_EQ(tally.ok, 12 * mib / oracle_sector_bytes);
    EXPECT_EQ(tally.overwritten, 20 * mib / oracle_sector_bytes);
    values = {.intact = "NO",
              .volume = counterfeit.path(),
              .gb = "0.031",
              .bytes = "33554432",
              .write_speed = {},
              .read_speed = {},
              .ok = mib_text(tally.ok),
              .lost = mib_text(tally.corrupted + tally.changed + tally.overwritten),
              .corrupted = mib_text(tally.corrupted),
              .changed = mib_text(tally.changed),
              .overwritten = mib_text(tally.overwritten)};
    fill_in_speeds(values);
    lines = masked_console();
    EXPECT_EQ(last_lines(lines), report_lines(values));
    EXPECT_EQ(lines.front(), "TIME - -------------------------------")
        << "the console was emptied when the second test began";
    EXPECT_EQ(reportSummary, first_summary + "Volume capacity (GB) 0.031 GB\nWrite speed average " +
                                 values.write_speed + "\nRead speed average " + values.read_speed +
                                 "\n");
    EXPECT_TRUE(label_of(app(), "verdictDetail").text().contains("20.0 MB of the 32.0 MB"));
    expect_verdict_readable(app());
}

// The volume that covers the tested one is not ours.
TEST_F(result_report, does_not_touch_volume_mounted_over_tested_one) {
    SKIP_IF_MISSING(missing_for_mounts());
    const tmpfs_volume where("size=2m");
    choose(where.path());
    ASSERT_NO_FATAL_FAILURE(press_start());
    {
        // Without the event loop no tick comes in between.
        while (uiState != UI_STATE_RESULT)
            QThread::msleep(5);
        EXPECT_EQ(where.test_files(), std::vector<int>{1});
        const covering_volume another(where.path());
        another.put("1.fff", "not of this test");
        tick();
        EXPECT_EQ(another.contents(), std::vector<std::string>({"1.fff=not of this test"}));
    }
    EXPECT_EQ(uiState, UI_STATE_WAITING);
    EXPECT_LT(line_of("The volume is gone; its test files were not removed."),
              line_of("TIME - all done."));
    EXPECT_EQ(console().find("Removing"), std::string::npos);
    EXPECT_EQ(report_value(1), "YES");
    EXPECT_EQ(where.test_files(), std::vector<int>{1});
}

// All sectors that could be read are intact.
TEST_F(result_report, says_that_not_all_could_be_read_on_read_errors) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=4M", "--read-error=6000-6100"});
    choose(where.path());
    ASSERT_NO_FATAL_FAILURE(press_start());
    ASSERT_TRUE(wait_for_state(UI_STATE_WAITING));
    EXPECT_EQ(look_at(app()).verdict, "Not all could be read");
    EXPECT_TRUE(label_of(app(), "verdictDetail").text().contains("1.fff could be read only up to"));
    EXPECT_EQ(report_value(1), "YES") << "this line speaks of the sectors that were read";
    EXPECT_EQ(where.test_files(), std::vector<int>());
}

TEST_F(result_report, state_set_by_hand_removes_test_files) {
    SKIP_IF_MISSING(missing_for_mounts());
    const tmpfs_volume where("size=1m");
    std::ofstream(where.file("1.fff")) << "old";
    std::ofstream(where.file("photo")) << "not a test file";
    choose(where.path());
    uiState = UI_STATE_RESULT;
    tick();
    EXPECT_EQ(uiState, UI_STATE_WAITING);
    EXPECT_EQ(where.test_files(), std::vector<int>());
    EXPECT_TRUE(std::filesystem::exists(where.file("photo")));
    EXPECT_LT(line_of("Removing old file number 1 ..."), line_of("TIME - all done."));
    EXPECT_EQ(console().find("not removed"), std::string::npos) << console();
}

TEST_F(result_report, state_set_by_hand_leaves_foreign_entries_with_the_reason) {
    SKIP_IF_MISSING(missing_for_mounts());
    const tmpfs_volume where("size=1m");
    std::filesystem::create_directory(where.file("1.fff"));
    choose(where.path());
    uiState = UI_STATE_RESULT;
    tick();
    EXPECT_EQ(uiState, UI_STATE_WAITING);
    EXPECT_TRUE(std::filesystem::is_directory(where.file("1.fff")));
    EXPECT_LT(line_of("The test files were not removed: The volume holds entries that are not "
                      "ours."),
              line_of("TIME - all done."));
}

TEST_F(result_report, state_set_by_hand_without_volume_says_so) {
    uiState = UI_STATE_RESULT;
    tick();
    EXPECT_EQ(uiState, UI_STATE_WAITING);
    EXPECT_LT(line_of("No volume is chosen; no test files were removed."),
              line_of("TIME - all done."));
}

TEST_F(result_report, gone_volume_has_no_report_of_an_earlier_run) {
    SKIP_IF_MISSING(missing_for_mounts());
    const tmpfs_volume first("size=1m");
    choose(first.path());
    ASSERT_NO_FATAL_FAILURE(run_whole_test());
    const std::string summary = reportSummary;
    tmpfs_volume second("size=1m");
    choose(second.path());
    ASSERT_NO_FATAL_FAILURE(press_start());
    const covering_volume another(second.path());
    another.put("1.fff", "not of this test");
    ASSERT_TRUE(wait_for_state(UI_STATE_WAITING));
    EXPECT_EQ(look_at(app()).verdict, "Nothing was tested");
    EXPECT_EQ(console().find("Report Begin"), std::string::npos) << console();
    EXPECT_EQ(reportSummary, summary);
    EXPECT_EQ(another.contents(), std::vector<std::string>({"1.fff=not of this test"}));
}
