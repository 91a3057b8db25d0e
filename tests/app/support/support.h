// SPDX-License-Identifier: GPL-3.0-or-later
// Shared by the tests of the window: the window, a user who answers its alerts, and the log.
#ifndef TROVIK_TESTS_APP_SUPPORT_H
#define TROVIK_TESTS_APP_SUPPORT_H

#include <gtest/gtest.h>

#include <QDialog>
#include <QMessageBox>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <deque>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "app/TRAppDelegate.h"

// Prints texts in failure messages.
inline void PrintTo(const QString &text, std::ostream *stream) {
    *stream << '"' << text.toStdString() << '"';
}

namespace app_tests {

// Answers the window's alerts and panels, in the order of the calls. An unexpected alert fails the
// test and is closed; unused answers fail it, too.
class answers {
 public:
    answers();
    ~answers();
    answers(const answers &) = delete;
    answers &operator=(const answers &) = delete;

    // Calls `act` when the dialog is on the screen. `act` must close it, at once or later.
    void then(std::function<void(QDialog &dialog)> act);
    // Looks at an alert and presses the button with this title.
    void then_press(const QString &title, std::function<void(QMessageBox &alert)> look = {});

    bool all_given() const { return m_steps.empty(); }

 private:
    void look_for_dialog();

    QTimer m_timer;
    std::deque<std::function<void(QDialog &)>> m_steps;
    QPointer<QDialog> m_last;
    int m_looks = 0;
};

// The titles of an alert's buttons from left to right.
QStringList button_titles(const QMessageBox &alert);
// The button with this title, or nullptr and a failure.
QAbstractButton *button_with_title(const QMessageBox &alert, const QString &title);

// Captures standard error.
class error_capture {
 public:
    error_capture();
    ~error_capture();
    error_capture(const error_capture &) = delete;
    error_capture &operator=(const error_capture &) = delete;

    // text() is all output so far. lines() leaves out the engine's "dd: " lines and Qt's messages
    // about its platform.
    std::vector<std::string> lines() const;
    std::string text() const;

 private:
    int m_real;
    int m_file;
};

// Resets the state to that of a new program.
void reset_controller_state();

// Runs the event loop until `holds` is true; false after a minute.
constexpr int patience_ms = 60000;
bool wait_until(const std::function<bool()> &holds);

// The window after the disclaimer was accepted.
class window_test : public testing::Test {
 protected:
    window_test();
    ~window_test() override;

    TRAppDelegate &app() { return *m_app; }
    // Start-up with "Yes, I know what I am doing".
    void accept_disclaimer();
    // Chooses the volume that the folder lies on, and waits for the display.
    void choose(const std::string &folder);
    // One tick of the display.
    void tick() { m_app->updateUI(); }
    // From Start to the report.
    void run_test();
    // Waits until the job's thread has ended.
    void wait_for_job();
    std::string console() const;
    std::vector<std::string> console_lines() const;
    void close_window();

 private:
    std::unique_ptr<TRAppDelegate> m_app;
};

// A picture of a widget in the output folder of the checks (TROVIK_PICTURES), if
// there is one; `name` without ending.
void take_picture(QWidget &widget, const QString &name);

}  // namespace app_tests

#endif
