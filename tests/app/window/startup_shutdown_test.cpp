// SPDX-License-Identifier: GPL-3.0-or-later
// Start-up and end of the program.
#include <QApplication>
#include <QLabel>
#include <QMainWindow>
#include <QPushButton>
#include <QTest>

#include "app/controller_state.h"
#include "support.h"

using app_tests::answers;
using app_tests::button_titles;
using app_tests::wait_until;
using app_tests::window_test;

using startup = window_test;

TEST_F(startup, disclaimer_has_its_text_with_buttons_in_order) {
    answers user;
    user.then_press("Yes, I know what I am doing", [](QMessageBox &alert) {
        EXPECT_EQ(alert.text(), "Create BACKUP first before usage");
        EXPECT_EQ(alert.informativeText(),
                  "Trovik comes without any warranty. Use at your own risk. This application does "
                  "do heavy file write and file read operations and can erase contents and folders "
                  "on your device, harddrive or even make a device unusable. \ntrovik should not "
                  "touch or delete any existing files.\nBut anyway make a BACKUP first before "
                  "continue is always a good idea.");
        EXPECT_EQ(button_titles(alert), QStringList({"Quit", "Yes, I know what I am doing"}));
        EXPECT_EQ(alert.defaultButton()->text(), "Quit");
        EXPECT_EQ(alert.icon(), QMessageBox::Warning);
    });
    app().applicationDidFinishLaunching();
}

TEST_F(startup, waits_with_start_disabled_after_yes) {
    accept_disclaimer();
    EXPECT_EQ(uiState, UI_STATE_WAITING);
    EXPECT_TRUE(wait_until([&] { return app().UI_state->text() == "<WAITING>"; }));
    EXPECT_FALSE(app().UI_start->isEnabled());
    EXPECT_FALSE(app().UI_disableSpotlight_outlet->isEnabled());
    EXPECT_FALSE(app().UI_removeSpotlightData_outlet->isEnabled());
}

TEST_F(startup, disables_start_during_disclaimer) {
    app().UI_start->setEnabled(true);
    app().UI_disableSpotlight_outlet->setEnabled(true);
    app().UI_removeSpotlightData_outlet->setEnabled(true);
    answers user;
    user.then_press("Yes, I know what I am doing", [&](QMessageBox &) {
        EXPECT_EQ(uiState, UI_STATE_INIT);
        EXPECT_EQ(uiTimer, nullptr);
        EXPECT_FALSE(app().UI_start->isEnabled());
        EXPECT_FALSE(app().UI_disableSpotlight_outlet->isEnabled());
        EXPECT_FALSE(app().UI_removeSpotlightData_outlet->isEnabled());
        EXPECT_TRUE(app().UI_open_device_outlet->isEnabled());
        EXPECT_EQ(app().UI_state->text(), "<INIT>");
    });
    app().applicationDidFinishLaunching();
}

TEST_F(startup, timer_ticks_each_second) {
    accept_disclaimer();
    ASSERT_NE(uiTimer, nullptr);
    EXPECT_TRUE(uiTimer->isActive());
    EXPECT_FALSE(uiTimer->isSingleShot());
    EXPECT_EQ(uiTimer->interval(), 1000);
    for (int i = 0; i < 2; ++i) {
        app().UI_state->setText("before the tick");
        EXPECT_TRUE(wait_until([&] { return app().UI_state->text() == "<WAITING>"; }));
    }
}

TEST_F(startup, shows_version_with_stamp) {
    accept_disclaimer();
    EXPECT_EQ(app().UI_versionString->text(), "trovik 1.0.0-1 (2017-03mar-22) [sandboxed]");
    EXPECT_EQ(shortVersionString, TROVIK_SHORT_VERSION);
    EXPECT_EQ(bundleVersionString, TROVIK_BUNDLE_VERSION);
    EXPECT_EQ(buildDateString, "2017-03mar-22");
    EXPECT_EQ(versionString, "1.0.0-1 (2017-03mar-22) [sandboxed]");
    EXPECT_EQ(productVersionTag, "1.0.0-(1)");
}

namespace {

constexpr int still_running = 99;

// Runs the event loop. Returns `still_running` once `enough` is true, or after a minute.
int status_of_event_loop(const std::function<bool()> &enough = [] { return false; }) {
    QTimer patience;
    QObject::connect(&patience, &QTimer::timeout, [] { QApplication::exit(still_running); });
    patience.start(app_tests::patience_ms);
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, [&] {
        if (enough())
            QApplication::exit(still_running);
    });
    look.start(10);
    return QApplication::exec();
}

class startup_in_event_loop : public window_test {
 protected:
    // The start-up with this answer to the disclaimer; the event loop's status.
    int status_after(
        std::function<void(QMessageBox &)> answer,
        const std::function<bool()> &enough = [] { return false; }) {
        QApplication::setQuitOnLastWindowClosed(false);
        answers user;
        user.then([answer](QDialog &dialog) { answer(dynamic_cast<QMessageBox &>(dialog)); });
        QTimer::singleShot(0, &app(), [this] { app().applicationDidFinishLaunching(); });
        return status_of_event_loop(enough);
    }

    // The rest of the start-up is done after each answer.
    static void expect_start_up_done() {
        EXPECT_EQ(uiState, UI_STATE_WAITING);
        ASSERT_NE(uiTimer, nullptr);
        EXPECT_TRUE(uiTimer->isActive());
    }

    ~startup_in_event_loop() override { QApplication::setQuitOnLastWindowClosed(true); }
};

void press_title(QMessageBox &alert, const char *title) {
    if (QAbstractButton *const button = app_tests::button_with_title(alert, title))
        button->click();
}

}  // namespace

TEST_F(startup_in_event_loop, quit_ends_program_after_start_up) {
    EXPECT_EQ(status_after([](QMessageBox &alert) { press_title(alert, "Quit"); }), 0);
    expect_start_up_done();
}

TEST_F(startup_in_event_loop, yes_does_not_end_program) {
    EXPECT_EQ(
        status_after([](QMessageBox &alert) { press_title(alert, "Yes, I know what I am doing"); },
                     [this] { return app().UI_state->text() == "<WAITING>"; }),
        still_running);
    expect_start_up_done();
}

TEST_F(startup_in_event_loop, escape_quits) {
    EXPECT_EQ(status_after(
                  [](QMessageBox &alert) { QTest::keyClick(alert.focusWidget(), Qt::Key_Escape); }),
              0);
    expect_start_up_done();
}

TEST_F(startup_in_event_loop, close_button_of_disclaimer_quits) {
    EXPECT_EQ(status_after([](QMessageBox &alert) { alert.close(); }), 0);
    expect_start_up_done();
}

TEST_F(startup_in_event_loop, return_presses_default_button_and_quits) {
    EXPECT_EQ(status_after(
                  [](QMessageBox &alert) { QTest::keyClick(alert.focusWidget(), Qt::Key_Return); }),
              0);
    expect_start_up_done();
}

using shutdown = window_test;

TEST_F(shutdown, closing_window_quits) {
    accept_disclaimer();
    EXPECT_TRUE(app().applicationShouldTerminateAfterLastWindowClosed());
    QApplication::setQuitOnLastWindowClosed(
        app().applicationShouldTerminateAfterLastWindowClosed());
    QTimer::singleShot(10, &app(), [this] { close_window(); });
    EXPECT_EQ(status_of_event_loop(), 0);
    EXPECT_EQ(app().leaveProcess(0), 0);
}

TEST_F(shutdown, stops_timer) {
    accept_disclaimer();
    const QPointer<QTimer> timer = uiTimer;
    app().applicationWillTerminate();
    EXPECT_EQ(uiTimer, nullptr);
    EXPECT_TRUE(timer.isNull() || !timer->isActive());
    app().UI_state->setText("before the tick");
    QTest::qWait(1300);
    EXPECT_EQ(app().UI_state->text(), "before the tick");
}

TEST_F(shutdown, works_without_timer) {
    app().applicationWillTerminate();
    EXPECT_EQ(uiTimer, nullptr);
}
