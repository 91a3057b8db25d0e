// SPDX-License-Identifier: GPL-3.0-or-later
// The feedback question: its texts, and each answer with its log line and its link.
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QMainWindow>
#include <algorithm>

#include "feedback_support.h"
#include "whole_run.h"

using namespace app_tests;

TEST_F(feedback, has_no_check_box_by_button) {
    answers user;
    user.then_press("Cancel", [](QMessageBox &alert) {
        expect_question(alert);
        EXPECT_EQ(alert.checkBox(), nullptr);
        EXPECT_TRUE(alert.findChildren<QCheckBox *>().isEmpty());
        expect_nothing_clipped(alert);
    });
    press_button();
}

TEST_F(feedback, has_check_box_after_result) {
    answers user;
    user.then_press("Cancel", [](QMessageBox &alert) {
        expect_question(alert);
        ASSERT_NE(alert.checkBox(), nullptr);
        EXPECT_EQ(alert.checkBox()->text(), "Do not show this message again");
        EXPECT_FALSE(alert.checkBox()->isChecked());
        EXPECT_TRUE(alert.checkBox()->isVisible());
        expect_nothing_clipped(alert);
        take_picture(alert, "feedback-after-result");
    });
    ask_after_result();
}

TEST_F(feedback, unhappy_opens_contact_page) {
    ask_both_ways([this](const std::function<void()> &ask) {
        const link_catcher catcher;
        answers user;
        then_act(user, press("Unhappy"));
        EXPECT_EQ(log_of(ask), lines({"feedback_ask: Unhappy -> KD"}));
        EXPECT_EQ(catcher.links(), QStringList(contact()));
    });
}

TEST_F(feedback, does_nothing_on_cancel) {
    for (const user_act &cancel :
         {press("Cancel"), user_act(press_escape), user_act(close_by_cross)}) {
        ask_both_ways([&](const std::function<void()> &ask) {
            const link_catcher catcher;
            answers user;
            then_act(user, cancel);
            // The line ends in a blank.
            EXPECT_EQ(log_of(ask), lines({"feedback_ask: Cancel -> "}));
            EXPECT_EQ(catcher.links(), no_link);
            EXPECT_FALSE(settings().contains(key));
        });
    }
}

TEST_F(feedback, happy_is_default_and_logged_first) {
    for (const user_act &happy : {press("Happy"), user_act(press_return)}) {
        ask_both_ways([&](const std::function<void()> &ask) {
            const link_catcher catcher;
            const error_capture log;
            answers user;
            then_act(user, happy);
            user.then_press("Cancel", [&log](QMessageBox &thanks) {
                EXPECT_EQ(thanks.text(), "Thank you !");
                EXPECT_EQ(log.lines(), lines({"feedback_ask: Happy -> rateApp"}));
            });
            ask();
            EXPECT_EQ(log.lines(), lines({"feedback_ask: Happy -> rateApp"}));
            EXPECT_EQ(catcher.links(), no_link);
        });
    }
}

TEST_F(feedback, thanks_with_rating_first) {
    answers user;
    then_thanked(user, [](QMessageBox &alert) {
        EXPECT_EQ(alert.text(), "Thank you !");
        EXPECT_EQ(alert.informativeText(),
                  "We would love to know how we can make trovik even better.\n\na) Connect with "
                  "Kestrel Desk, only this way we can get in touch with you! We are listening.\n"
                  "b) We would appreciate if you rate it on the App Store.\n");
        EXPECT_EQ(button_titles(alert), QStringList({rate, improve, "Cancel"}));
        EXPECT_EQ(alert.icon(), QMessageBox::Warning);
        EXPECT_TRUE(alert.isModal());
        EXPECT_EQ(alert.checkBox(), nullptr);
        ASSERT_NE(alert.defaultButton(), nullptr);
        EXPECT_EQ(alert.defaultButton()->text(), rate);
        expect_nothing_clipped(alert);
        take_picture(alert, "feedback-thanks");
        press("Cancel")(alert);
    });
    ask_after_result();
}

TEST_F(feedback, thanks_logs_no_answer) {
    const std::vector<std::pair<user_act, QStringList>> ways = {
        {press(rate), {store}},     {press_return, {store}}, {press(improve), {contact()}},
        {press("Cancel"), no_link}, {press_escape, no_link}, {close_by_cross, no_link},
    };
    for (const auto &[act, links] : ways) {
        const link_catcher catcher;
        answers user;
        then_act(user, act);
        EXPECT_EQ(log_of([this] { app().feedback_ask_happy(); }), nothing);
        EXPECT_EQ(catcher.links(), links);
    }
}

TEST_F(feedback, leads_happy_user_to_store_by_return_alone) {
    const link_catcher catcher;
    answers user;
    then_act(user, press_return);
    then_act(user, press_return);
    press_button();
    EXPECT_EQ(catcher.links(), QStringList(store));
}

TEST_F(feedback, does_not_report_link_that_cannot_be_opened) {
    const no_program_for_links nobody;
    answers user;
    then_act(user, press("Unhappy"));
    press_button();
    then_thanked(user, press(rate));
    press_button();
    then_thanked(user, press(improve));
    press_button();
}

TEST_F(feedback, asks_when_window_is_ready_after_result) {
    accept_disclaimer();
    const QString link = QString::fromLatin1(feedbackURL.toEncoded());
    const link_catcher catcher;
    const QPointer<QTimer> timer_of_start_up = uiTimer;
    answers user;
    user.then_press("Unhappy", [&](QMessageBox &alert) {
        expect_question(alert);
        EXPECT_NE(alert.checkBox(), nullptr);
        EXPECT_EQ(uiState, UI_STATE_WAITING);
        EXPECT_EQ(app().UI_start->text(), "Start");
        EXPECT_TRUE(app().UI_open_device_outlet->isEnabled());
        EXPECT_NE(console().find("Report End ---"), std::string::npos);
        EXPECT_NE(reportSummary, "");
        ASSERT_NE(uiTimer, nullptr);
        EXPECT_NE(uiTimer, timer_of_start_up);
        EXPECT_TRUE(uiTimer->isActive());
        // The display stops while it is open.
        tick();
        EXPECT_EQ(app().UI_state->text(), "<RESULT>");
    });
    EXPECT_EQ(log_of([this] { show_a_result(); }),
              lines({"d: f3write_unlink_old_files begin - cleanup",
                     "d: f3write_unlink_old_files end", "feedback_ask: Unhappy -> KD"}));
    EXPECT_EQ(catcher.links(), QStringList(link));
    tick();
    EXPECT_EQ(app().UI_state->text(), "<WAITING>") << "and is asked once";
}

TEST_F(feedback, asks_after_each_result_until_silenced) {
    const lines clean_up = {"d: f3write_unlink_old_files begin - cleanup",
                            "d: f3write_unlink_old_files end"};
    const auto log_with = [&](const std::string &last) {
        lines all = clean_up;
        all.push_back(last);
        return all;
    };
    accept_disclaimer();
    answers user;
    user.then_press("Cancel");
    EXPECT_EQ(log_of([this] { show_a_result(); }), log_with("feedback_ask: Cancel -> "));
    user.then_press("Cancel", [](QMessageBox &alert) { tick_box(alert); });
    EXPECT_EQ(log_of([this] { show_a_result(); }), log_with("feedback_ask: Cancel -> "));
    EXPECT_EQ(log_of([this] { show_a_result(); }), log_with("Alert suppressed"));
    user.then_press("Cancel", [](QMessageBox &alert) { EXPECT_EQ(alert.checkBox(), nullptr); });
    press_button();
    EXPECT_EQ(log_of([this] { show_a_result(); }), log_with("Alert suppressed"));
}

TEST_F(feedback, does_not_change_window) {
    accept_disclaimer();
    tick();
    const link_catcher catcher;
    for (const char *answer : {"Unhappy", "Cancel"}) {
        const auto before = window_contents(*app().window);
        answers user;
        user.then_press(answer);
        app().UI_feedback_outlet->setFocus();
        QTest::keyClick(app().UI_feedback_outlet, Qt::Key_Space);
        EXPECT_EQ(window_contents(*app().window), before);
    }
}
