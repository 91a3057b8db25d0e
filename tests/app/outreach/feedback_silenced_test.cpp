// SPDX-License-Identifier: GPL-3.0-or-later
// The question after each result can be silenced for good. The button still asks.
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMainWindow>

#include "app/controller_state.h"
#include "app/outreach.h"
#include "feedback_support.h"
#include "whole_run.h"

using namespace app_tests;
using test_support::missing_for_mounts;
using test_support::process_options;
using test_support::process_result;
using test_support::run_program;
using test_support::tmpfs_volume;

TEST_F(feedback, stores_silence_before_answer_acts) {
    for (const user_act &answer :
         {press("Unhappy"), press("Cancel"), user_act(press_escape), user_act(close_by_cross)}) {
        settings().remove(key);
        const link_catcher catcher;
        answers user;
        then_act(user, [&](QMessageBox &alert) {
            tick_box(alert);
            answer(alert);
        });
        ask_after_result();
        EXPECT_EQ(settings().value(key).toString(), "true");
    }
    settings().remove(key);
    answers user;
    then_act(user, [](QMessageBox &alert) {
        tick_box(alert);
        press("Happy")(alert);
    });
    user.then_press("Cancel",
                    [](QMessageBox &) { EXPECT_EQ(settings().value(key).toString(), "true"); });
    ask_after_result();
}

TEST_F(feedback, ticks_check_box_by_keyboard) {
    answers user;
    then_act(user, [](QMessageBox &alert) {
        for (int i = 0; i < 8 && alert.focusWidget() != alert.checkBox(); ++i)
            press_key(alert, Qt::Key_Tab);
        EXPECT_EQ(alert.focusWidget(), alert.checkBox());
        press_key(alert, Qt::Key_Space);
        press_key(alert, Qt::Key_Escape);
    });
    ask_after_result();
    EXPECT_TRUE(app_settings_feedback_suppressed());
}

TEST_F(feedback, asks_again_when_check_box_is_cleared) {
    const link_catcher catcher;
    for (const user_act &answer : {press("Unhappy"), press("Cancel"), press("Unhappy")}) {
        answers user;
        then_act(user, [&](QMessageBox &alert) {
            tick_box(alert);
            alert.checkBox()->click();
            answer(alert);
        });
        ask_after_result();
        EXPECT_FALSE(settings().contains(key));
    }
    EXPECT_EQ(catcher.links(), QStringList({contact(), contact()}));
}

TEST_F(feedback, asks_when_stored_as_allowed) {
    for (const QVariant &allowed : {QVariant(false), QVariant("NO"), QVariant("0"), QVariant("")}) {
        settings().setValue(key, allowed);
        answers user;
        user.then_press("Cancel");
        ask_after_result();
        EXPECT_EQ(settings().value(key).toString(), allowed.toString());
    }
}

TEST_F(feedback, accepts_other_stored_words) {
    for (const char *silenced : {"YES", "true", "1"}) {
        settings().setValue(key, silenced);
        const answers nobody_is_asked;
        EXPECT_EQ(log_of([this] { ask_after_result(); }), lines({"Alert suppressed"})) << silenced;
    }
}

TEST_F(feedback, stays_silenced_for_run_when_not_stored) {
    const QString folder = QFileInfo(settings().fileName()).path();
    ASSERT_TRUE(QDir(folder).removeRecursively());
    {
        // A file in place of the folder keeps even root from writing.
        QFile in_the_way(folder);
        ASSERT_TRUE(in_the_way.open(QIODevice::WriteOnly));
        answers user;
        then_act(user, [](QMessageBox &alert) {
            tick_box(alert);
            press("Cancel")(alert);
        });
        ask_after_result();
        EXPECT_EQ(log_of([this] { ask_after_result(); }), lines({"Alert suppressed"}));
        EXPECT_TRUE(in_the_way.remove());
    }
    EXPECT_FALSE(settings().contains(key));
}

TEST_F(feedback, asks_by_button_only_when_silenced) {
    settings().setValue(key, true);
    for (int i = 0; i < 2; ++i) {
        const link_catcher catcher;
        answers user;
        EXPECT_EQ(log_of([this] { ask_after_result(); }), lines({"Alert suppressed"}));
        user.then_press("Unhappy", [](QMessageBox &alert) {
            expect_question(alert);
            EXPECT_EQ(alert.checkBox(), nullptr);
        });
        EXPECT_EQ(log_of([this] { press_button(); }), lines({"feedback_ask: Unhappy -> KD"}));
        EXPECT_EQ(catcher.links(), QStringList(contact()));
        EXPECT_EQ(settings().value(key).toString(), "true");
    }
}

TEST_F(feedback, stores_silence_in_configuration) {
    answers user;
    then_act(user, [](QMessageBox &alert) {
        tick_box(alert);
        press("Cancel")(alert);
    });
    ask_after_result();
    const QString folder = qEnvironmentVariable("XDG_CONFIG_HOME");
    const QString path = settings().fileName();
    EXPECT_TRUE(path.startsWith(folder + "/")) << path.toStdString();
    EXPECT_TRUE(QFile::exists(path));
    EXPECT_EQ(QSettings(path, QSettings::IniFormat).allKeys(), QStringList(key));
    TRAppDelegate later;
    EXPECT_EQ(log_of([&later] { later.feedback_ask(true); }), lines({"Alert suppressed"}));
    user.then_press("Cancel", [](QMessageBox &alert) { EXPECT_EQ(alert.checkBox(), nullptr); });
    EXPECT_EQ(log_of([&later] { later.UI_feedback(); }), lines({"feedback_ask: Cancel -> "}));
}

// A real test in a process that knows only the stored answer.
TEST_F(feedback, stays_silenced_after_restart) {
    SKIP_IF_MISSING(missing_for_mounts());
    answers user;
    then_act(user, [](QMessageBox &alert) {
        tick_box(alert);
        press("Cancel")(alert);
    });
    ask_after_result();
    const tmpfs_volume where("size=1m");
    process_options options;
    options.timeout = std::chrono::seconds(60);
    const process_result run =
        run_program({TROVIK_SCENARIO_PROGRAM, "to-the-result", where.path()}, options);
    EXPECT_FALSE(run.timed_out);
    EXPECT_NE(run.out.find("result: "), std::string::npos) << run.out << run.err;
    EXPECT_EQ(run.out.find("Leave Feedback"), std::string::npos) << run.out;
    const lines log = app_tests::lines_of(run.err);
    EXPECT_EQ(std::count(log.begin(), log.end(), "Alert suppressed"), 1) << run.err;
}
