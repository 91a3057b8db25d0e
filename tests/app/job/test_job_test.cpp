// SPDX-License-Identifier: GPL-3.0-or-later
// From the press of Start to the end of the job: the window's changes, the order of the job's
// steps, and the display meanwhile.
#include <sys/mount.h>

#include <QDialogButtonBox>
#include <QElapsedTimer>
#include <QLabel>
#include <QMainWindow>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>

#include "app/alert.h"
#include "app/controller_state.h"
#include "app/platform.h"
#include "model/engine_status.h"
#include "outreach_support.h"
#include "report/number_text.h"
#include "runner/run_guard.h"
#include "support/volumes.h"
#include "user_files.h"
#include "whole_run.h"

using namespace app_tests;
using namespace system_tests;
using namespace test_support;

using test_job = whole_run_test;

namespace {

// Records the window at each visible step of Start: a disabled button, the emptied console.
class start_steps : public QObject {
 public:
    struct step {
        std::string what;
        window_look look;
        bool job_made;  // since the watching began
        bool job_executing;
    };

    explicit start_steps(const TRAppDelegate &app) : m_app(app), m_job_before(jobThread.get()) {
        for (QPushButton *button : {app.UI_open_device_outlet, app.UI_disableSpotlight_outlet,
                                    app.UI_removeSpotlightData_outlet, app.UI_start})
            button->installEventFilter(this);
        connect(app.UI_consoleOutput, &QPlainTextEdit::textChanged, this,
                [this] { add("console"); });
    }

    void add(const std::string &what) {
        all.push_back({what, look_at(m_app), jobThread.get() != m_job_before,
                       jobThread && jobThread->is_executing()});
    }

    std::vector<std::string> names() const {
        std::vector<std::string> names;
        for (const step &one : all)
            names.push_back(one.what);
        return names;
    }

    std::vector<step> all;

 protected:
    bool eventFilter(QObject *watched, QEvent *event) override {
        if (event->type() == QEvent::EnabledChange)
            add(watched->objectName().toStdString());
        return QObject::eventFilter(watched, event);
    }

 private:
    const TRAppDelegate &m_app;
    const run_thread *m_job_before;
};

}  // namespace

static const std::vector<std::string> steps_on_the_window = {
    "UI_open_device_outlet", "UI_disableSpotlight_outlet", "UI_removeSpotlightData_outlet",
    "UI_start", "console"};

static void expect_steps_with_their_values(const start_steps &steps) {
    ASSERT_EQ(steps.names(), steps_on_the_window);
    for (const start_steps::step &step : steps.all) {
        EXPECT_TRUE(step.job_made) << step.what;
        EXPECT_FALSE(step.job_executing) << step.what;
        EXPECT_EQ(step.look.state, UI_STATE_MEDIUM_FOUND) << step.what;
        EXPECT_EQ(step.look.write_speed, "77.00") << step.what;
        const bool texts_set = step.what == "console";
        EXPECT_EQ(step.look.start_title, texts_set ? "Please wait..." : "Start") << step.what;
        EXPECT_EQ(step.look.read_speed, texts_set ? "0.00" : "12.34") << step.what;
        EXPECT_EQ(step.look.console_characters == 0, texts_set) << step.what;
    }
}

// Every look between Start and the result.
static void expect_steady_while_testing(const window_watch &watch) {
    int looks = 0;
    int lengths = 0;
    int length = -1;
    for (const window_look &look : watch.looks()) {
        if (look.state != UI_STATE_TESTING)
            continue;
        ++looks;
        if (look.console_characters > length)
            ++lengths;
        EXPECT_GE(look.console_characters, length);
        length = look.console_characters;
        EXPECT_FALSE(look.start_enabled || look.open_enabled || look.disable_spotlight_enabled ||
                     look.remove_spotlight_enabled);
        EXPECT_EQ(look.start_title, "Please wait...");
        EXPECT_EQ(look.read_speed, "0.00");
        EXPECT_EQ(look.verdict, "Testing");
    }
    EXPECT_GE(looks, 4);
    EXPECT_GE(lengths, 4) << "empty, heading lines, and two ticks at least";
}

// The console without lines whose number depends on the machine.
static std::vector<std::string> fixed_lines(std::vector<std::string> lines) {
    static const std::regex speed(R"(\d+\.\d\d% @ \d+\.\d\d (Byte|KB|MB|GB)/s)");
    static const std::regex counts(R"( *\d+, *\d+, *\d+, *\d+)");
    // A busy machine may never measure a whole period.
    static const std::regex average(
        R"(Average writing speed: \d+\.\d\d MB/s|ERR: Writing speed not available)");
    const auto removed = [](const std::string &line) {
        return line.empty() || std::regex_match(line, speed) || std::regex_match(line, counts);
    };
    lines.erase(std::remove_if(lines.begin(), lines.end(), removed), lines.end());
    for (std::string &line : lines) {
        line = std::regex_replace(line, average, "Average writing speed: N");
        line.erase(line.find_last_not_of(' ') + 1);
    }
    return lines;
}

static std::vector<std::string> console_of_an_intact_test(const std::string &volume,
                                                          const std::string &gb,
                                                          const std::string &free_space) {
    return {"TIME - -------------------------------",
            "TIME - Start testing volume " + volume,
            "TIME - Capacity " + gb + " GB",
            "Free space on device: " + free_space,
            "Creating test file number 1 ...",
            "Test file written.",
            "Free space on device: 0.00 Byte",
            "Average writing speed: N",
            "Sectors:     OK,corrupted,changed,overwritten",
            "Validating file number 1 ..."};
}

static const std::vector<std::string> lines_of_the_job = {
    "d: f3write_unlink_old_files begin", "d: f3write_unlink_old_files end",
    "d: f3write_fill_fs begin", "d: f3write_fill_fs end", "d: ls_my_files begin",
    "d: ls_my_files end", "d: f3read_iterate_files begin", "d: f3read_iterate_files end",
    "d: f3write_unlink_old_files begin - cleanup", "d: f3write_unlink_old_files end",
    // The question after the result is silenced.
    "Alert suppressed"};

static QAbstractButton *confirm_button(const QDialog &panel) {
    const auto *const box = panel.findChild<QDialogButtonBox *>(QStringLiteral("buttonBox"));
    for (QAbstractButton *button : box->buttons()) {
        if (box->buttonRole(button) == QDialogButtonBox::AcceptRole)
            return button;
    }
    return nullptr;
}

TEST_F(test_job, start_prepares_window_before_phases_run_in_order) {
    SKIP_IF_MISSING(missing_for_cards());
    // Stalls while the window is looked at.
    stalling_card where({"--size=8M", "--write-rate=2M", "--read-rate=4M"});
    app().pauseOfJob = std::chrono::seconds(5);
    choose(where.path());
    app().writeToConsole("of an earlier test\n");
    app().UI_writeSpeed->setText("77.00");
    app().UI_readSpeed->setText("12.34");
    writePhaseDone = 0;
    const error_capture errors;
    const window_watch watch(app());
    start_steps steps(app());

    QElapsedTimer since_start;
    since_start.start();
    press_start();

    expect_steps_with_their_values(steps);
    EXPECT_EQ(uiState, UI_STATE_TESTING);
    EXPECT_TRUE(jobThread->is_executing());
    EXPECT_EQ(look_at(app()).write_speed, "77.00");

    // The pause: the state is shown, the console is empty.
    tick();
    EXPECT_EQ(app().UI_state->text(), "<TESTING>");
    EXPECT_EQ(console(), "");
    EXPECT_EQ(look_at(app()).write_speed, "0.00") << "the first tick overwrites it";
    ASSERT_TRUE(wait_until([&] { return !console().empty(); }));
    EXPECT_GE(since_start.elapsed(), 4990);
    EXPECT_TRUE(wait_until([&] { return errors.lines().size() >= 3; }));
    EXPECT_EQ(errors.lines(),
              std::vector<std::string>(lines_of_the_job.begin(), lines_of_the_job.begin() + 3));
    EXPECT_EQ(fixed_lines(masked_console()),
              std::vector<std::string>({"TIME - -------------------------------",
                                        "TIME - Start testing volume " + where.path(),
                                        "TIME - Capacity 0.008 GB"}));

    // Live values, in the middle of the write phase.
    ASSERT_TRUE(wait_until([] { return get_write_progress() > 20.0; }));
    where.stall();
    tick();
    const window_look writing = look_at(app());
    EXPECT_EQ(writePhaseDone, 0);
    EXPECT_EQ(writing.phase, "Writing 1.fff");
    EXPECT_EQ(writing.write_unit, "MB");
    EXPECT_GT(writing.write_speed.toDouble(), 0.0);
    EXPECT_TRUE(std::regex_match(writing.write_speed.toStdString(), std::regex(R"(\d\.\d\d)")));
    EXPECT_TRUE(
        std::regex_match(writing.progress_value.toStdString(), std::regex(R"(\d\d\.\d %)")));
    EXPECT_NEAR(writing.progress_value.chopped(2).toDouble(), writing.progress, 1.1);
    EXPECT_GT(writing.progress, 19);
    EXPECT_LT(writing.progress, 100);
    where.go_on();

    // While reading, the bar keeps the last measured progress of writing, which may be below 100 %.
    ASSERT_TRUE(wait_for_phase(ENGINE_PHASE_READING));
    where.stall();
    const double written = get_write_progress();
    tick();
    EXPECT_EQ(writePhaseDone, 1);
    const window_look reading = look_at(app());
    EXPECT_TRUE(std::regex_match(reading.phase.toStdString(),
                                 std::regex(R"(Reading 1\.fff \(\d+\.\d %\))")));
    EXPECT_EQ(reading.progress_value, QString::fromStdString(number_text_fixed(written, 1) + " %"));
    EXPECT_GE(written, writing.progress_value.chopped(2).toDouble());
    EXPECT_TRUE(reading.console_at_end);
    where.go_on();

    ASSERT_TRUE(wait_for_state(UI_STATE_WAITING));
    expect_steady_while_testing(watch);
    EXPECT_EQ(errors.lines(), lines_of_the_job);
    std::vector<std::string> before_the_clean_up = fixed_lines(masked_console());
    before_the_clean_up.resize(10);
    EXPECT_EQ(before_the_clean_up, console_of_an_intact_test(where.path(), "0.008", "8.00 MB"));
    // The job ends a pause after the result.
    EXPECT_TRUE(jobThread->is_executing());
}

TEST_F(test_job, shows_sandbox_panels_first_but_runs_when_cancelled) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=1M"});
    choose(where.path());
    sandbox_override(true);
    app().writeToConsole("of an earlier test\n");
    app().UI_writeSpeed->setText("77.00");
    app().UI_readSpeed->setText("12.34");
    const error_capture errors;
    start_steps steps(app());
    answers user;
    const auto cancel = [&](QDialog &panel) {
        steps.add(panel.windowTitle().toStdString());
        panel.reject();
    };
    user.then(cancel);
    user.then(cancel);

    press_start();

    ASSERT_EQ(steps.all.size(), 7U);
    for (size_t i = 0; i < 2; ++i) {
        EXPECT_FALSE(steps.all[i].job_made);
        EXPECT_TRUE(steps.all[i].look.start_enabled && steps.all[i].look.open_enabled);
    }
    EXPECT_EQ(steps.all[0].what, "Authorize RW for  \"1.fff\"");
    EXPECT_EQ(steps.all[1].what,
              "You are about to authorize read access to \"" + where.path() + "\"");
    steps.all.erase(steps.all.begin(), steps.all.begin() + 2);
    expect_steps_with_their_values(steps);
    EXPECT_EQ(errors.lines(), std::vector<std::string>());

    ASSERT_TRUE(wait_for_state(UI_STATE_WAITING));
    EXPECT_EQ(report_value(1), "YES");
    EXPECT_EQ(errors.lines(), lines_of_the_job);
}

// In the job's first pause.
TEST_F(test_job, ignores_start_during_test) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=1M"});
    choose(where.path());
    press_start();
    tick();
    const window_look before = look_at(app());
    const run_thread *const job = jobThread.get();
    {
        const error_capture errors;
        app().UI_start_pressed();
        EXPECT_EQ(errors.lines(), std::vector<std::string>({"Thread is working..."}));
    }
    {
        // The disabled button ignores mouse and keys.
        const error_capture errors;
        QTest::mouseClick(app().UI_start, Qt::LeftButton);
        app().UI_start->click();
        EXPECT_EQ(errors.lines(), std::vector<std::string>());
    }
    {
        const error_capture errors;
        app().UI_start->setEnabled(true);
        QTest::mouseClick(app().UI_start, Qt::LeftButton);
        app().UI_start->setEnabled(false);
        EXPECT_EQ(errors.lines(), std::vector<std::string>({"Thread is working..."}));
    }
    EXPECT_EQ(look_at(app()), before);
    EXPECT_EQ(jobThread.get(), job);
    EXPECT_EQ(uiState, UI_STATE_TESTING);

    ASSERT_TRUE(wait_for_state(UI_STATE_WAITING));
    const std::vector<std::string> lines = masked_console();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "TIME - Start testing volume " + where.path()),
              1);
    // The job still runs in the two seconds after the result.
    {
        const error_capture errors;
        app().UI_start_pressed();
        EXPECT_EQ(errors.lines(), std::vector<std::string>({"Thread is working..."}));
    }
}

TEST_F(test_job, does_not_touch_user_files) {
    SKIP_IF_MISSING(missing_for_images({"mkfs.ext4"}));
    const image_volume where(24 * mib, {"mkfs.ext4", "-q", "-F"}, {}, "ext4");
    const user_files users(where.path(), small_user_tree());
    choose(where.path());
    // The panels of a sandbox, confirmed this time.
    sandbox_override(true);
    const error_capture errors;
    answers user;
    const auto confirm = [](QDialog &panel) { confirm_button(panel)->click(); };
    user.then(confirm);
    user.then(confirm);

    run_whole_test();

    const std::vector<std::string> lines = errors.lines();
    ASSERT_GE(lines.size(), 2U);
    EXPECT_EQ(lines[0].rfind("d: User has access granted for /", 0), 0U) << lines[0];
    EXPECT_EQ(lines[0].substr(lines[0].rfind('/')), "/1.fff");
    EXPECT_EQ(lines[1].rfind("d: User has granted access for /", 0), 0U) << lines[1];
    EXPECT_EQ(std::vector<std::string>(lines.begin() + 2, lines.end()), lines_of_the_job);
    EXPECT_EQ(report_value(1), "YES");
    EXPECT_EQ(report_value(8), "0.000000 Byte");
    // This file system reserves a few blocks.
    engine_write_results written = {};
    engine_results_write(&written);
    const bool filled = written.free_at_end * 100 < written.free_at_start;
    EXPECT_EQ(look_at(app()).verdict, filled ? "Intact" : "Not all could be read");
    EXPECT_EQ(where.test_files(), std::vector<int>());
    users.expect_untouched();
}

TEST_F(test_job, reads_volume_without_free_space) {
    SKIP_IF_MISSING(missing_for_cards());
    const std::vector<user_file> files = small_user_tree();
    const card where({"--size=" + std::to_string(user_tree_sectors(files) * 512)});
    const user_files users(where.path(), files);
    choose(where.path());
    EXPECT_EQ(app().UI_volumesFreeSpace->text(), "0.0 Byte (0 Bytes)");
    const error_capture errors;

    run_whole_test();

    EXPECT_EQ(errors.lines(), lines_of_the_job);
    std::vector<std::string> lines = masked_console();
    ASSERT_GT(lines.size(), 8U);
    lines.resize(8);
    const std::string begin = "TIME - **: Report Begin -----------------------------------------";
    const std::vector<std::string> expected = {"TIME - -------------------------------",
                                               "TIME - Start testing volume " + where.path(),
                                               "TIME - Capacity 0.001 GB",
                                               "Free space on device: 0.00 Byte",
                                               "ERR: No space left on device!",
                                               "Sectors:     OK,corrupted,changed,overwritten",
                                               "TIME - all done.",
                                               begin};
    EXPECT_EQ(lines, expected);
    EXPECT_EQ(report_value(7), "0.000000 Byte");
    EXPECT_EQ(look_at(app()).verdict, "Nothing was tested");
    users.expect_untouched();
}

TEST_F(test_job, shows_result_after_open_alert_is_answered) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=1M"});
    choose(where.path());
    press_start();
    tick();
    window_look behind_the_alert;
    int looks_at_result = 0;
    answers user;
    user.then([&](QDialog &alert) {
        behind_the_alert = look_at(app());
        auto *const look_again = new QTimer(&alert);
        QObject::connect(look_again, &QTimer::timeout, &alert, [&, shown = &alert] {
            if (uiState != UI_STATE_RESULT || ++looks_at_result < 15)
                return;
            // More than one tick has passed since the result.
            window_look now = look_at(app());
            EXPECT_EQ(now.state, UI_STATE_RESULT);
            EXPECT_EQ(where.test_files(), std::vector<int>{1});
            now.state = behind_the_alert.state;
            now.console_characters = behind_the_alert.console_characters;
            EXPECT_EQ(now, behind_the_alert);
            EXPECT_EQ(console().find("Creating"), std::string::npos);
            shown->reject();
        });
        look_again->start(100);
    });
    alert_run(app().window, {.message = "A question", .informative = "", .buttons = {"OK"}});

    EXPECT_EQ(uiState, UI_STATE_RESULT);
    tick();
    EXPECT_EQ(uiState, UI_STATE_WAITING);
    EXPECT_EQ(look_at(app()).verdict, "Intact");
    EXPECT_EQ(report_value(1), "YES");
    EXPECT_EQ(where.test_files(), std::vector<int>());
}

TEST_F(test_job, does_not_test_missing_volume) {
    SKIP_IF_MISSING(missing_for_mounts());
    const tmpfs_volume where("size=1m");
    choose(where.path());
    const covering_volume another(where.path());
    another.put("1.fff", "not of this test");
    app().writeToConsole("of an earlier test\n");
    const window_look before = look_at(app());
    answers user;
    user.then_press("OK", [&](QMessageBox &alert) {
        EXPECT_EQ(alert.text(), "The chosen volume is gone");
        EXPECT_TRUE(
            alert.informativeText().startsWith(QString::fromStdString(where.path()) + " is not "));
        EXPECT_FALSE(jobThread);
    });

    app().UI_start_pressed();

    EXPECT_TRUE(user.all_given());
    EXPECT_FALSE(jobThread);
    EXPECT_EQ(look_at(app()), before);
    EXPECT_EQ(another.contents(), std::vector<std::string>({"1.fff=not of this test"}));
}

TEST_F(test_job, direct_call_takes_the_volume_itself) {
    SKIP_IF_MISSING(missing_for_mounts());
    const tmpfs_volume where("size=1m");
    choose(where.path());
    app().startTheBackgroundJob();
    EXPECT_EQ(uiState, UI_STATE_RESULT);
    tick();
    EXPECT_EQ(uiState, UI_STATE_WAITING);
    EXPECT_EQ(look_at(app()).verdict, "Intact");
    EXPECT_EQ(report_value(1), "YES");
    EXPECT_EQ(where.test_files(), std::vector<int>());
}

TEST_F(test_job, direct_call_touches_no_volume_that_another_run_holds) {
    SKIP_IF_MISSING(missing_for_mounts());
    const tmpfs_volume where("size=1m");
    std::ofstream(where.file("1.fff")) << "of another run";
    choose(where.path());
    run_guard other;
    ASSERT_FALSE(other.look({.path = where.path()}));
    ASSERT_FALSE(other.take());
    app().startTheBackgroundJob();
    tick();
    EXPECT_EQ(uiState, UI_STATE_WAITING);
    EXPECT_EQ(look_at(app()).verdict, "Nothing was tested");
    EXPECT_LT(line_of("The test was not started: Another run is at work on this volume."),
              line_of("TIME - all done."));
    EXPECT_LT(line_of("The test files were not removed: Another run is at work on this volume."),
              line_of("TIME - all done."));
    EXPECT_EQ(where.test_files(), std::vector<int>{1});
    EXPECT_EQ(std::filesystem::file_size(where.file("1.fff")), 14U);
}

TEST_F(test_job, start_refuses_same_card_mounted_again_read_only) {
    SKIP_IF_MISSING(missing_for_images({"mkfs.ext4"}));
    const image_volume where(2 * mib, {"mkfs.ext4", "-q", "-F"}, {}, "ext4");
    choose(where.path());
    const std::string device = "/dev/" + where.device_name();
    ASSERT_EQ(umount2(where.c_path(), 0), 0);
    ASSERT_EQ(mount(device.c_str(), where.c_path(), "ext4", MS_RDONLY, nullptr), 0);
    app().UI_start_pressed();
    EXPECT_FALSE(jobThread && jobThread->is_executing());
    tick();
    EXPECT_EQ(app().UI_state->text(), "<MEDIUM FOUND>");
    EXPECT_FALSE(app().UI_start->isEnabled());
    EXPECT_TRUE(app().UI_errorMessage->text().startsWith("Please make card writeable"));
}

TEST_F(test_job, start_takes_same_card_mounted_again) {
    SKIP_IF_MISSING(missing_for_images({"mkfs.ext4"}));
    const image_volume where(2 * mib, {"mkfs.ext4", "-q", "-F"}, {}, "ext4");
    choose(where.path());
    const std::string device = "/dev/" + where.device_name();
    ASSERT_EQ(umount2(where.c_path(), 0), 0);
    ASSERT_EQ(mount(device.c_str(), where.c_path(), "ext4", 0, nullptr), 0);
    run_whole_test();
    EXPECT_EQ(report_value(1), "YES");
    EXPECT_EQ(where.test_files(), std::vector<int>());
}
