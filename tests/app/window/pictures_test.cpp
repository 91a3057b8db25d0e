// SPDX-License-Identifier: GPL-3.0-or-later
// Pictures of every state of the window, taken when TROVIK_PICTURES names a folder. Results come
// from real tests. The tests check that nothing is cut off.
#include "pictures.h"

#include <QDir>
#include <QLabel>
#include <QMainWindow>
#include <QPushButton>
#include <QTest>
#include <csignal>

#include "../support/locked_pages.h"
#include "app/controller_state.h"
#include "model/engine_status.h"
#include "support/process.h"
#include "support/volumes.h"
#include "whole_run.h"

using namespace app_tests;
using namespace test_support;

namespace {

class pictures : public whole_run_test {
 protected:
    void take(const QString &name) { take_all_pictures(*app().window, name); }
};

}  // namespace

using pictures_of_the_start = window_test;

TEST_F(pictures_of_the_start, with_its_disclaimer) {
    answers user;
    user.then_press("Yes, I know what I am doing", [&](QMessageBox &alert) {
        EXPECT_EQ(uiState, UI_STATE_INIT);
        take_all_pictures(*app().window, "init");
        take_both_palettes(alert, "disclaimer");
    });
    app().applicationDidFinishLaunching();
}

TEST_F(pictures, without_a_volume) {
    tick();
    EXPECT_EQ(app().UI_state->text(), "<WAITING>");
    take("waiting");
}

TEST_F(pictures, of_a_volume) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=64G"}, "HOLIDAYS 2017");
    choose(where.path());
    take("medium-found");
}

TEST_F(pictures, of_a_volume_with_everything_on_it_and_a_long_name) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=512G"},
                     "the second half of a year in the mountains, raw and "
                     "developed, with all the films of the small camera");
    QDir(QString::fromStdString(where.path())).mkpath(".Spotlight-V100");
    QDir(QString::fromStdString(where.path())).mkpath(".Trashes");
    QDir(QString::fromStdString(where.path())).mkpath(".fseventsd/no_log");
    QDir(QString::fromStdString(where.path())).mkpath(".metadata_never_index");
    choose(where.path());
    EXPECT_EQ(app().UI_disableSpotlight_outlet->text(), "Enable Spotlight");
    take("medium-found-long");
}

TEST_F(pictures, of_a_locked_volume) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=64G", "--read-only"}, "HOLIDAYS 2017");
    choose(where.path());
    EXPECT_EQ(app().UI_volumesReadOnly->text(), "read only");
    take("read-only");
}

TEST_F(pictures, of_a_test_and_its_good_end) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=16M", "--write-rate=8M", "--read-rate=8M"}, "HOLIDAYS 2017");
    choose(where.path());
    press_start();
    ASSERT_TRUE(wait_until([] { return get_write_progress() > 30.0; }));
    tick();
    take("testing-writing");
    ASSERT_TRUE(wait_for_phase(ENGINE_PHASE_READING));
    QTest::qWait(700);
    tick();
    EXPECT_TRUE(label_of(app(), "phase").text().startsWith("Reading"));
    take("testing-reading");
    ASSERT_TRUE(wait_for_state(UI_STATE_WAITING));
    tick();
    EXPECT_EQ(look_at(app()).verdict, "Intact");
    take("result-intact");
}

TEST_F(pictures, of_a_counterfeits_result) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=24M", "--real-size=9M", "--beyond=wrap", "--flip=50:1"},
                     "HOLIDAYS 2017");
    choose(where.path());
    press_start();
    ASSERT_TRUE(wait_for_state(UI_STATE_WAITING));
    tick();
    EXPECT_EQ(look_at(app()).verdict, "Data lost");
    take("result-data-lost");
}

TEST_F(pictures, of_a_result_that_not_all_could_be_read) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=24M", "--read-error=30000-30100"}, "HOLIDAYS 2017");
    choose(where.path());
    press_start();
    ASSERT_TRUE(wait_for_state(UI_STATE_WAITING));
    tick();
    EXPECT_EQ(look_at(app()).verdict, "Not all could be read");
    take("result-not-all-could-be-read");
}

TEST_F(pictures, of_a_result_that_is_not_proven) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=16M", "--write-rate=8M"}, "HOLIDAYS 2017");
    choose(where.path());
    press_start();
    ASSERT_TRUE(wait_until([] { return get_write_progress() > 30.0; }));
    const test_support::locked_pages locked(where.file("1.fff"));
    ASSERT_TRUE(wait_for_state(UI_STATE_WAITING));
    tick();
    EXPECT_EQ(look_at(app()).verdict, "Not proven");
    take("result-not-proven");
}

TEST_F(pictures, of_the_guard_before_the_systems_own_volume) {
    const private_folder folder;
    answers user;
    user.then_press("Cancel", [](QMessageBox &alert) { take_both_palettes(alert, "guard"); });
    EXPECT_FALSE(app().selectVolumeOfFolder(QString::fromStdString(folder.path())));
}

TEST_F(pictures, of_the_panel_that_chooses_a_volume) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=64G"}, "HOLIDAYS 2017");
    answers user;
    user.then([](QDialog &panel) {
        take_both_palettes(panel, "open-panel");
        panel.reject();
    });
    app().UI_open_device();
}

TEST_F(pictures, of_the_end_of_a_test_whose_card_was_unplugged) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=8M", "--unplug-after-written=100K"}, "HOLIDAYS 2017");
    const process_result run =
        run_program({TROVIK_SCENARIO_PROGRAM, "take-pictures", where.path()});
    EXPECT_EQ(run.signal_number, SIGABRT) << run.out << run.err;
}
