// SPDX-License-Identifier: GPL-3.0-or-later
// The modal alert by which the window asks and informs.
#ifndef TROVIK_APP_ALERT_H
#define TROVIK_APP_ALERT_H

#include <QString>
#include <QStringList>

class QWidget;

enum class alert_style { warning = 0, informational = 1, critical = 2 };

// The answers: the number of the pressed button, in the order given.
constexpr int ALERT_FIRST_BUTTON = 1000;
constexpr int ALERT_SECOND_BUTTON = 1001;
constexpr int ALERT_THIRD_BUTTON = 1002;

struct alert_request {
    alert_style style = alert_style::warning;
    QString message;
    QString informative;
    QStringList buttons;                   // at least one; the first is the default
    int safe_answer = ALERT_FIRST_BUTTON;  // the answer of Escape and of the close button
    QString check_box = {};                // its label; none when empty
    bool *checked = nullptr;               // receives whether it was ticked
};

// Shows the alert over `parent` and waits for the answer. Shows texts literally, never as rich
// text. A text that is too long for the screen scrolls. Main thread.
int alert_run(QWidget *parent, const alert_request &request);

// An open alert or panel. The display stops while one exists. Main thread; may be nested.
class modal_question {
 public:
    modal_question();
    ~modal_question();
    modal_question(const modal_question &) = delete;
    modal_question &operator=(const modal_question &) = delete;

    // Whether any exists.
    static bool is_open();
};

#endif
