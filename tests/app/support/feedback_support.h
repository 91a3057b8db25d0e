// SPDX-License-Identifier: GPL-3.0-or-later
// The feedback question, the thanks, and the links that they open.
#ifndef TROVIK_TESTS_APP_FEEDBACK_SUPPORT_H
#define TROVIK_TESTS_APP_FEEDBACK_SUPPORT_H

#include <QCheckBox>
#include <QDesktopServices>
#include <QPushButton>
#include <QSettings>
#include <QTest>
#include <functional>

#include "app/controller_state.h"
#include "app/outreach.h"
#include "outreach_support.h"

namespace app_tests {

using lines = std::vector<std::string>;
using user_act = std::function<void(QMessageBox &)>;

inline const lines nothing;
inline const QStringList no_link;
inline const char *const key = "FeedbackAlertSuppression";
inline const QString rate = "b) Rate this App on the App Store";
inline const QString improve = "a) Make trovik even better";
inline const QString store = "macappstore://apps.example.org/app/id0000000000?mt=12";

inline QSettings settings() {
    return QSettings(QSettings::UserScope, "trovik", "trovik");
}

// The box is there after a result only.
inline void tick_box(QMessageBox &alert) {
    ASSERT_NE(alert.checkBox(), nullptr);
    QTest::mouseClick(alert.checkBox(), Qt::LeftButton, {},
                      QPoint(8, alert.checkBox()->height() / 2));
    EXPECT_TRUE(alert.checkBox()->isChecked());
}

inline void expect_question(const QMessageBox &alert) {
    EXPECT_EQ(alert.text(), "Leave Feedback");
    EXPECT_EQ(alert.informativeText(), "How do you feel about trovik?");
    EXPECT_EQ(button_titles(alert), QStringList({"Happy", "Unhappy", "Cancel"}));
    EXPECT_EQ(alert.icon(), QMessageBox::Warning);
    EXPECT_TRUE(alert.isModal());
    ASSERT_NE(alert.defaultButton(), nullptr);
    EXPECT_EQ(alert.defaultButton()->text(), "Happy");
}

// No program opens links of these schemes.
class no_program_for_links {
 public:
    no_program_for_links() {
        for (const char *scheme : {"https", "macappstore"})
            QDesktopServices::setUrlHandler(scheme, &m_nobody, "aSlotThatIsNotThere");
    }
    ~no_program_for_links() {
        for (const char *scheme : {"https", "macappstore"})
            QDesktopServices::unsetUrlHandler(scheme);
    }
    no_program_for_links(const no_program_for_links &) = delete;
    no_program_for_links &operator=(const no_program_for_links &) = delete;

 private:
    QObject m_nobody;
};

// A program whose question is not silenced.
class feedback : public app_tests::window_test {
 protected:
    feedback() {
        settings().remove(key);
        feedbackURL = outreach_contact_url(m_query);
    }

    void ask_after_result() { app().feedback_ask(true); }
    void press_button() { QTest::mouseClick(app().UI_feedback_outlet, Qt::LeftButton); }

    // Both ways to the question, one after the other.
    void ask_both_ways(const std::function<void(const std::function<void()> &)> &check) {
        check([this] { ask_after_result(); });
        check([this] { press_button(); });
    }

    // Shows a result.
    void show_a_result() {
        uiState = UI_STATE_RESULT;
        tick();
    }

    QString contact() const { return contact_page + m_query; }

    // Answers the question with "Happy", and the thanks like this.
    static void then_thanked(answers &user, const user_act &act) {
        user.then_press("Happy");
        user.then([act](QDialog &dialog) { act(dynamic_cast<QMessageBox &>(dialog)); });
    }

 private:
    const QString m_query = "pname=trovik&pversion=1.0-(1)&oversion=7%25&ocodename=Z%C3%BCrich%20a";
};

inline user_act press(const QString &title) {
    return [title](QMessageBox &alert) {
        if (QAbstractButton *const button = app_tests::button_with_title(alert, title))
            QTest::mouseClick(button, Qt::LeftButton);
        else
            alert.reject();
    };
}

inline void press_escape(QMessageBox &alert) {
    press_key(alert, Qt::Key_Escape);
}

inline void press_return(QMessageBox &alert) {
    press_key(alert, Qt::Key_Return);
}

inline void close_by_cross(QMessageBox &alert) {
    alert.close();
}

inline void then_act(answers &user, const user_act &act) {
    user.then([act](QDialog &dialog) { act(dynamic_cast<QMessageBox &>(dialog)); });
}

}  // namespace app_tests

#endif
