// What the tests of housekeeping, help, feedback and sharing share: links that are
// caught instead of followed, everything that the window shows at one moment, and a
// card that stops answering for a while.
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

#include "../system/mounts.h"
#include "support.h"

namespace app_tests {

// Keeps the links that the program opens while it lives. No other program is started.
class link_catcher {
 public:
    link_catcher();
    ~link_catcher();
    link_catcher(const link_catcher &) = delete;
    link_catcher &operator=(const link_catcher &) = delete;

    // In their encoded form, in order.
    const QStringList &links() const { return m_links; }

 private:
    // A handler of links is a slot by its name; a browser's own signal serves as one.
    QTextBrowser m_receiver;
    QStringList m_links;
};

// What goes to the log meanwhile.
std::vector<std::string> log_of(const std::function<void()> &act);

// Every text, value, tool tip and place in the window, and what can be pressed.
QMap<QString, QString> window_contents(const QWidget &window);

// A control of the window by its name; a failure when there is none.
QAbstractButton &button_named(const TRAppDelegate &app, const QString &name);

// A key goes where a user's key would go.
void press_key(QDialog &dialog, Qt::Key key, Qt::KeyboardModifiers modifiers = {});

// Everything in the dialog is on the screen as a whole: no text is cut, no control
// lies over another one, the dialog is no larger than the screen.
void expect_nothing_clipped(const QDialog &dialog);

// Another working directory while it lives.
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
class stalling_card : public system_tests::card {
 public:
    explicit stalling_card(std::vector<std::string> options = {"--size=64M"});
    ~stalling_card() override;

    // Until go_on, whoever asks the card for anything has to wait.
    void stall();
    void go_on();
    // A folder of so many empty files.
    void make_full_folder(const std::string &name, int count) const;

 private:
    pid_t m_server = -1;
};

// The system's log of mounts is this process's own, so that a file may be covered.
std::string missing_for_own_mounts();

// A file that reads as this text while it lives, for this process alone.
class covered_file {
 public:
    covered_file(const std::string &path, const std::string &text);
    ~covered_file();
    covered_file(const covered_file &) = delete;
    covered_file &operator=(const covered_file &) = delete;

 private:
    system_tests::private_folder m_folder;
    std::string m_path;
};

}  // namespace app_tests

#endif
