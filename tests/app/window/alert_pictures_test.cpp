// SPDX-License-Identifier: GPL-3.0-or-later
// Pictures of every alert, panel and dialog, light and dark, opened as a user opens them. The tests
// check that nothing is cut off and that the buttons are in order.
#include <pthread.h>
#include <unistd.h>

#include <QApplication>
#include <QCheckBox>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenu>
#include <QProgressDialog>
#include <QPushButton>
#include <QScreen>
#include <QSettings>
#include <QTest>
#include <cerrno>
#include <filesystem>
#include <fstream>

#include "access_support.h"
#include "app/controller_state.h"
#include "memory_volume.h"
#include "model/engine_record.h"
#include "model/fatal.h"
#include "outreach_support.h"
#include "pictures.h"
#include "volume/run_lock.h"
#include "whole_run.h"

using namespace app_tests;
using namespace test_support;

namespace fs = std::filesystem;

namespace {

// Names the ending in the environment of a child process.
const char *const failure_variable = "TROVIK_TEST_FAILURE";

void take_alert(QMessageBox &alert, const QString &name) {
    QTest::qWait(50);
    expect_nothing_clipped(alert);
    take_both_palettes(alert, name);
}

// Qt draws a panel's tool buttons smaller than their size hints, so only titles and captions are
// checked.
void take_panel(QDialog &panel, const QString &name) {
    QTest::qWait(50);
    EXPECT_TRUE(panel.screen()->size().width() >= panel.width() &&
                panel.screen()->size().height() >= panel.height());
    for (const QWidget *widget : panel.findChildren<QWidget *>()) {
        const bool has_words = dynamic_cast<const QPushButton *>(widget) != nullptr ||
                               dynamic_cast<const QLabel *>(widget) != nullptr;
        if (!has_words || !widget->isVisible())
            continue;
        const QString what = name + ": " + widget->property("text").toString();
        EXPECT_GE(widget->width(), widget->sizeHint().width()) << what.toStdString();
        EXPECT_GE(widget->height(), widget->minimumSizeHint().height()) << what.toStdString();
        EXPECT_TRUE(panel.rect().contains(QRect(widget->mapTo(&panel, QPoint()), widget->size())))
            << what.toStdString();
    }
    take_both_palettes(panel, name);
}

// The next alert, which has these buttons and is answered by one of them.
void then_take(answers &user, const QString &name, const QStringList &buttons,
               const QString &answer, const std::function<void(QMessageBox &)> &look = {}) {
    user.then_press(answer, [=](QMessageBox &alert) {
        EXPECT_EQ(button_titles(alert), buttons);
        if (look)
            look(alert);
        take_alert(alert, name);
    });
}

class pictures_of_alerts : public whole_run_test {
 protected:
    void press(const char *button) {
        QTest::mouseClick(&button_named(app(), button), Qt::LeftButton);
    }

    bool select(const std::string &folder) {
        return app().selectVolumeOfFolder(QString::fromStdString(folder));
    }

    // Takes the picture of the alert that ends the process, and tells the parent.
    static void then_take_end(answers &user, const QString &name, const QString &message,
                              const QString &begin) {
        then_take(user, name, {"Quit"}, "Quit", [=](QMessageBox &alert) {
            EXPECT_EQ(alert.text(), message);
            EXPECT_TRUE(alert.informativeText().startsWith(begin));
            std::printf("has been looked at\n");
            std::fflush(stdout);
        });
    }

    // Runs the test of this name in a process of its own, which the engine ends.
    static void expect_end(const std::string &test, const std::string &failure) {
        process_options options;
        options.environment = {std::string(failure_variable) + "=" + failure};
        const process_result run =
            run_program({"/proc/self/exe", "--gtest_filter=pictures_of_alerts." + test}, options);
        EXPECT_EQ(run.exit_status, EROFS) << run.out << run.err;
        EXPECT_NE(run.out.find("has been looked at\n"), std::string::npos) << run.out << run.err;
        EXPECT_EQ(run.out.find(": Failure\n"), std::string::npos) << run.out;
    }
};

using pictures_of_the_start_up = window_test;
using pictures_of_grants = access_grant;

const QStringList only_ok("OK");

}  // namespace

TEST_F(pictures_of_the_start_up, the_disclaimer) {
    answers user;
    then_take(user, "alert-disclaimer", {"Quit", "Yes, I know what I am doing"},
              "Yes, I know what I am doing");
    EXPECT_TRUE(app().applicationDidFinishLaunching());
}

TEST_F(pictures_of_alerts, the_guard_before_a_volume_that_this_machine_needs) {
    answers user;
    then_take(user, "alert-guard-system", {"Cancel", "Use this volume anyway"}, "Cancel");
    EXPECT_FALSE(select("/"));
}

TEST_F(pictures_of_alerts, folders_that_cannot_be_used) {
    const private_folder folder;
    answers user;
    then_take(user, "alert-folder-missing", only_ok, "OK");
    EXPECT_FALSE(select(folder.path() + "/missing"));
    const std::string name(250, 'w');
    then_take(user, "alert-folder-missing-long", only_ok, "OK", [](QMessageBox &alert) {
        EXPECT_LE(alert.width(), 800) << "it is too wide for a small screen";
    });
    EXPECT_FALSE(select(folder.path() + "/" + name + "/" + name));
}

TEST_F(pictures_of_alerts, a_chosen_volume_that_has_gone) {
    SKIP_IF_MISSING(missing_for_mounts());
    memory_volume volume(mib, "HOLIDAYS 2017");
    choose(volume.path());
    volume.take_away();
    answers user;
    then_take(user, "alert-volume-gone", only_ok, "OK");
    press("UI_start");
    EXPECT_EQ(jobThread, nullptr);
}

TEST_F(pictures_of_alerts, another_run_on_the_chosen_volume) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume volume(mib, "HOLIDAYS 2017");
    choose(volume.path());
    run_lock other;
    ASSERT_EQ(other.take_file_system(selectedVolume->device).state, run_lock_state::taken);
    answers user;
    then_take(user, "alert-another-run", only_ok, "OK");
    press("UI_start");
    EXPECT_EQ(jobThread, nullptr);
}

TEST_F(pictures_of_alerts, entries_with_a_test_files_name) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume volume(mib, "HOLIDAYS 2017");
    volume.make_folder("1.fff");
    choose(volume.path());
    answers user;
    then_take(user, "alert-foreign-one", only_ok, "OK");
    press("UI_start");
    for (int i = 2; i < 40; ++i)
        volume.make_folder(std::to_string(i) + ".fff");
    then_take(user, "alert-foreign-many", only_ok, "OK");
    press("UI_start");
    EXPECT_EQ(jobThread, nullptr);
}

TEST_F(pictures_of_alerts, a_test_for_which_there_is_no_thread) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume volume(mib, "HOLIDAYS 2017");
    choose(volume.path());
    pthread_attr_t before;
    ASSERT_EQ(pthread_getattr_default_np(&before), 0);
    pthread_attr_t vast = before;
    constexpr size_t more_than_there_is = size_t{1} << 46;
    ASSERT_EQ(pthread_attr_setstacksize(&vast, more_than_there_is), 0);
    ASSERT_EQ(pthread_setattr_default_np(&vast), 0);
    answers user;
    then_take(user, "alert-not-started", only_ok, "OK", [&](QMessageBox &alert) {
        // Taking the picture may need threads.
        EXPECT_EQ(pthread_setattr_default_np(&before), 0);
        EXPECT_EQ(alert.text(), "The test could not be started");
    });
    press("UI_start");
    pthread_attr_destroy(&vast);
    pthread_attr_destroy(&before);
    ASSERT_NE(jobThread, nullptr);
    EXPECT_FALSE(jobThread->is_executing());
    EXPECT_EQ(volume.content(), std::vector<std::string>());
    tick();
    EXPECT_TRUE(app().UI_start->isEnabled());
}

TEST_F(pictures_of_alerts, every_help) {
    for (const char *button : {"UI_showInfo_outlet", "helpHiddenFiles", "helpDisableSpotlight",
                               "helpRemoveSpotlightData", "helpRemoveTrashesData",
                               "helpRemoveLoggingData", "helpDisableLogging"}) {
        answers user;
        then_take(user, QString("alert-help-") + button, only_ok, "OK");
        press(button);
    }
}

TEST_F(pictures_of_alerts, feedback_by_the_button_and_its_thanks) {
    const link_catcher links;
    answers user;
    then_take(user, "alert-feedback", {"Happy", "Unhappy", "Cancel"}, "Happy");
    then_take(user, "alert-feedback-thanks",
              {"b) Rate this App on the App Store", "a) Make trovik even better", "Cancel"},
              "Cancel");
    press("UI_feedback_outlet");
    EXPECT_EQ(links.links(), QStringList());
}

// A counterfeit that gives more reasons than have room in the window.
TEST_F(pictures_of_alerts, after_a_result_feedback_and_all_reasons) {
    SKIP_IF_MISSING(missing_for_cards());
    const card where({"--size=24M", "--real-size=9M", "--beyond=wrap", "--flip=50:1",
                      "--read-error=30000-30100"},
                     "HOLIDAYS 2017");
    choose(where.path());
    QSettings(QSettings::UserScope, "trovik", "trovik").remove("FeedbackAlertSuppression");
    answers user;
    then_take(user, "alert-feedback-after-result", {"Happy", "Unhappy", "Cancel"}, "Cancel",
              [](QMessageBox &alert) { EXPECT_NE(alert.checkBox(), nullptr); });
    press_start();
    ASSERT_TRUE(wait_for_state(UI_STATE_WAITING));
    ASSERT_TRUE(wait_until([&] { return user.all_given(); }));
    ASSERT_TRUE(button_named(app(), "verdictReasons").isVisible());
    then_take(user, "alert-all-reasons", only_ok, "OK");
    press("verdictReasons");
}

TEST_F(pictures_of_alerts, sharing_and_what_can_go_wrong_in_it) {
    const auto choose_in_menu = [&](const QString &title, const QString &picture = {}) {
        app().UI_shareButton(app().UI_shareButton_outlet);
        auto *const menu = dynamic_cast<QMenu *>(QApplication::activePopupWidget());
        ASSERT_NE(menu, nullptr);
        if (!picture.isEmpty())
            take_both_palettes(*menu, picture);
        for (QAction *action : menu->actions()) {
            if (action->text() == title)
                action->trigger();
        }
        menu->close();
    };
    choose_in_menu("Copy to the Clipboard", "menu-share");
    // An empty PATH.
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", "/nowhere");
    {
        answers user;
        then_take(user, "alert-no-mail-program", only_ok, "OK");
        choose_in_menu("Compose an E-Mail");
    }
    qputenv("PATH", path);
    const private_folder folder;
    const std::string nowhere = folder.path() + "/gone/trovik-results.txt";
    answers user;
    user.then([nowhere](QDialog &panel) {
        take_panel(panel, "panel-save-results");
        choose_by_name(dynamic_cast<QFileDialog &>(panel), nowhere);
    });
    then_take(user, "alert-not-saved", only_ok, "OK");
    choose_in_menu("Save as a Text File...");
}

TEST_F(pictures_of_alerts, a_removal_that_lasts) {
    SKIP_IF_MISSING(missing_for_cards());
    stalling_card where;
    where.make_full_folder(".Trashes", 500);
    choose(where.path());
    QTimer::singleShot(0, app().window, [&] { where.stall(); });
    answers user;
    user.then([&](QDialog &dialog) {
        EXPECT_NE(dynamic_cast<QProgressDialog *>(&dialog), nullptr);
        QTest::qWait(50);
        expect_nothing_clipped(dialog);
        take_both_palettes(dialog, "dialog-removal");
        where.go_on();
    });
    press("UI_removeTrashesData_outlet");
    EXPECT_FALSE(fs::exists(where.file(".Trashes")));
}

TEST_F(pictures_of_alerts, the_panel_that_chooses_a_volume) {
    answers user;
    user.then([](QDialog &panel) {
        take_panel(panel, "panel-choose-volume");
        panel.reject();
    });
    press("UI_open_device_outlet");
}

TEST_F(pictures_of_grants, to_read_and_write_and_to_read) {
    make("1.fff");
    answers user;
    for (const char *name : {"panel-grant-read-write", "panel-grant-read"}) {
        user.then([name](QDialog &panel) {
            take_panel(panel, name);
            panel.reject();
        });
    }
    EXPECT_FALSE(app().qop_sandbox_askUserForPermission_readWrite("1.fff", "1.fff"));
    EXPECT_FALSE(app().qop_sandbox_askUserForPermission_read(qpath("elsewhere"), "/Volumes/CARD"));
}

TEST_F(pictures_of_grants, of_one_file_refused_and_wrong) {
    make("other");
    answers user;
    user.then([this](QDialog &panel) {
        take_panel(panel, "panel-grant-file");
        choose_by_name(dynamic_cast<QFileDialog &>(panel), path("other"));
    });
    then_take(user, "alert-wrong-file", {"Try Again"}, "Try Again");
    user.then([](QDialog &panel) { panel.reject(); });
    then_take(user, "alert-access-denied", {"Carry On"}, "Carry On");
    app().punchHoleInSandboxForFile(qpath("needed"));
}

namespace {

// The failed phase.
struct failure {
    const char *name;
    engine_phase phase;
    int write_error;
    bool volume_gone;
    const char *begin;  // of what the user is told
};

constexpr failure failures[] = {
    {"idle", ENGINE_PHASE_IDLE, 0, false, "The volume failed."},
    {"removing", ENGINE_PHASE_REMOVING, 0, false, "Removing test files failed."},
    {"writing", ENGINE_PHASE_WRITING, EIO, false, "Writing to the volume failed: Input/output"},
    {"writing-unknown", ENGINE_PHASE_WRITING, 0, false, "Writing to the volume failed."},
    {"listing", ENGINE_PHASE_LISTING, 0, false, "Reading from the volume failed."},
    {"reading", ENGINE_PHASE_READING, 0, false, "Reading from the volume failed."},
    {"gone", ENGINE_PHASE_READING, 0, true, "The volume is gone"}};

}  // namespace

// In a process of its own, which the engine ends.
TEST_F(pictures_of_alerts, the_end_in_a_child_process) {
    const QByteArray wanted = qgetenv(failure_variable);
    if (wanted.isEmpty())
        GTEST_SKIP() << "is run by every_end_of_a_test";
    memory_volume volume(mib, "HOLIDAYS 2017");
    volume.make_file("1.fff");
    volume.make_file("2.fff");
    choose(volume.path());
    for (const failure &one : failures) {
        if (wanted != one.name)
            continue;
        record_phase(one.phase);
        record_write_start(mib, 0);
        record_write_error(one.write_error);
        if (one.volume_gone)
            volume.take_away();
        answers user;
        then_take_end(user, QString("alert-end-") + one.name, "The test stopped early", one.begin);
        engine_fatal_exit(EROFS, "ERR: Can't remove file", volume.file("1.fff").c_str());
    }
    FAIL() << "no failure has this name";
}

TEST_F(pictures_of_alerts, every_end_of_a_test) {
    SKIP_IF_MISSING(missing_for_mounts());
    for (const failure &one : failures)
        expect_end("the_end_in_a_child_process", one.name);
}

TEST_F(pictures_of_alerts, the_end_while_the_test_files_are_removed_in_a_child_process) {
    if (qgetenv(failure_variable) != "clean-up")
        GTEST_SKIP() << "is run by the_end_while_the_test_files_are_removed";
    const memory_volume volume(2 * mib, "HOLIDAYS 2017");
    choose(volume.path());
    press_start();
    uiTimer->stop();
    ASSERT_TRUE(wait_until([] { return uiState == UI_STATE_RESULT; }));
    volume.set_read_only(true);
    answers user;
    then_take_end(user, "alert-end-clean-up", "The test files could not be removed",
                  "Removing test files failed.");
    tick();
    FAIL() << "the files could be removed";
}

TEST_F(pictures_of_alerts, the_end_while_the_test_files_are_removed) {
    SKIP_IF_MISSING(missing_for_mounts());
    expect_end("the_end_while_the_test_files_are_removed_in_a_child_process", "clean-up");
}
