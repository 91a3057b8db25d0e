// SPDX-License-Identifier: GPL-3.0-or-later
// Shared by the tests of housekeeping, help, feedback and sharing: caught links, the contents of
// the window, and a card that can stop answering.
#ifndef TROVIK_TESTS_APP_OUTREACH_SUPPORT_H
#define TROVIK_TESTS_APP_OUTREACH_SUPPORT_H

#include <sys/types.h>

#include <QAbstractButton>
#include <QMap>
#include <QStringList>
#include <QTextBrowser>
#include <functional>
#include <string>
#include <vector>

#include "support.h"
#include "support/volumes.h"

namespace app_tests {

// Catches the links that the program opens. No other program is started.
class link_catcher {
 public:
    link_catcher();
    ~link_catcher();
    link_catcher(const link_catcher &) = delete;
    link_catcher &operator=(const link_catcher &) = delete;

    // In their encoded form, in order.
    const QStringList &links() const { return m_links; }

 private:
    // Qt calls a handler of links by the name of its slot.
    QTextBrowser m_receiver;
    QStringList m_links;
};

// The log lines of `act`.
std::vector<std::string> log_of(const std::function<void()> &act);

// Every text, value, tool tip and place in the window, and what can be pressed.
QMap<QString, QString> window_contents(const QWidget &window);

// A control of the window by its name; a failure when there is none.
QAbstractButton &button_named(const TRAppDelegate &app, const QString &name);

// Sends the key to the focused widget.
void press_key(QDialog &dialog, Qt::Key key, Qt::KeyboardModifiers modifiers = {});

// No text is cut off, no control overlaps another, and the dialog fits on the screen.
void expect_nothing_clipped(const QDialog &dialog);

// Changes the working directory, and back at its end.
class working_directory {
 public:
    explicit working_directory(const std::string &path);
    ~working_directory();
    working_directory(const working_directory &) = delete;
    working_directory &operator=(const working_directory &) = delete;

 private:
    std::string m_before;
};

// A simulated card that can be made to stop answering.
class stalling_card : public test_support::card {
 public:
    explicit stalling_card(std::vector<std::string> options = {"--size=64M"});
    ~stalling_card() override;

    // Until go_on, every access to the card waits.
    void stall();
    void go_on();
    // Creates a folder with this number of empty files.
    void make_full_folder(const std::string &name, int count) const;

 private:
    pid_t m_server = -1;
};

// The reason why this process has no mount namespace of its own; empty when it has one.
std::string missing_for_own_mounts();

// Mounts a file with this text over the path, for this process alone.
class covered_file {
 public:
    covered_file(const std::string &path, const std::string &text);
    ~covered_file();
    covered_file(const covered_file &) = delete;
    covered_file &operator=(const covered_file &) = delete;

 private:
    test_support::private_folder m_folder;
    std::string m_path;
};

}  // namespace app_tests

#endif
