// The one way in which the window asks or tells something: a modal alert.
#ifndef TROVIK_APP_ALERT_H
#define TROVIK_APP_ALERT_H

#include <QString>
#include <QStringList>

class QWidget;

enum class alert_style { warning = 0, informational = 1, critical = 2 };

// The answers: the buttons in the order in which they were given.
constexpr int ALERT_FIRST_BUTTON = 1000;
constexpr int ALERT_SECOND_BUTTON = 1001;
constexpr int ALERT_THIRD_BUTTON = 1002;

struct alert_request {
    alert_style style = alert_style::warning;
    QString message;
    QString informative;
    QStringList buttons;                   // at least one; the first is the default
    int safe_answer = ALERT_FIRST_BUTTON;  // what Escape and the alert's cross answer
    QString check_box = {};                // its label; none when empty
    bool *checked = nullptr;               // receives whether it was ticked
};

// Shows the alert over `parent` and waits for the answer. Texts are shown as they
// are, never as rich text; a text that is too long for the screen scrolls. Main thread.
int alert_run(QWidget *parent, const alert_request &request);

// While one lives, the user is being asked something, and the display stops. Every alert and panel
// makes one. Main thread; may be nested.
class modal_question {
 public:
    modal_question();
    ~modal_question();
    modal_question(const modal_question &) = delete;
    modal_question &operator=(const modal_question &) = delete;

    // Whether one lives.
    static bool is_open();
};

#endif
