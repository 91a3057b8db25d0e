// SPDX-License-Identifier: GPL-3.0-or-later
// Alerts: their contents on the screen, and the answer of each key.
#include "app/alert.h"

#include <QAbstractButton>
#include <QApplication>
#include <QKeySequence>
#include <QLabel>
#include <QPushButton>
#include <QTest>
#include <QWidget>

#include "support.h"

using app_tests::answers;
using app_tests::button_titles;

namespace {

class alert : public testing::Test {
 protected:
    alert() { m_parent.show(); }

    // Shows the alert, does this in it, and returns the answer.
    int answer_to(const alert_request &request, std::function<void(QMessageBox &)> act) {
        answers user;
        user.then([act](QDialog &dialog) { act(dynamic_cast<QMessageBox &>(dialog)); });
        return alert_run(&m_parent, request);
    }

    static alert_request three_buttons(int safe_answer) {
        return {.style = alert_style::warning,
                .message = "Message",
                .informative = "Informative",
                .buttons = {"First", "Second", "Third"},
                .safe_answer = safe_answer};
    }

 private:
    QWidget m_parent;
};

// Sends the key to the focused widget.
void press(QMessageBox &box, Qt::Key key) {
    ASSERT_NE(box.focusWidget(), nullptr);
    QTest::keyClick(box.focusWidget(), key);
}

QLabel *label_of(const QMessageBox &box, const char *name) {
    return box.findChild<QLabel *>(QString::fromLatin1(name));
}

}  // namespace

TEST_F(alert, keeps_order_of_buttons) {
    const std::vector<std::pair<QString, int>> places = {
        {"First", 1000}, {"Second", 1001}, {"Third", 1002}};
    for (const auto &[title, answer] : places) {
        answers user;
        user.then_press(title, [](QMessageBox &box) {
            EXPECT_EQ(button_titles(box), QStringList({"First", "Second", "Third"}));
        });
        EXPECT_EQ(alert_run(nullptr, three_buttons(ALERT_FIRST_BUTTON)), answer);
    }
}

TEST_F(alert, focuses_first_button_as_default) {
    EXPECT_EQ(answer_to(three_buttons(ALERT_THIRD_BUTTON),
                        [](QMessageBox &box) {
                            ASSERT_NE(box.defaultButton(), nullptr);
                            EXPECT_EQ(box.defaultButton()->text(), "First");
                            EXPECT_EQ(box.focusWidget(), box.defaultButton());
                            press(box, Qt::Key_Return);
                        }),
              ALERT_FIRST_BUTTON);
}

TEST_F(alert, gives_safe_answer_on_escape) {
    for (const int safe : {ALERT_FIRST_BUTTON, ALERT_SECOND_BUTTON, ALERT_THIRD_BUTTON}) {
        EXPECT_EQ(
            answer_to(three_buttons(safe), [](QMessageBox &box) { press(box, Qt::Key_Escape); }),
            safe);
    }
}

TEST_F(alert, gives_safe_answer_on_close_button) {
    for (const int safe : {ALERT_FIRST_BUTTON, ALERT_SECOND_BUTTON, ALERT_THIRD_BUTTON})
        EXPECT_EQ(answer_to(three_buttons(safe), [](QMessageBox &box) { box.close(); }), safe);
}

TEST_F(alert, answers_with_only_button_in_every_case) {
    const alert_request request = {
        .message = "Message", .informative = "Informative", .buttons = {"OK"}};
    const auto close = [](QMessageBox &box) { box.close(); };
    const auto escape = [](QMessageBox &box) { press(box, Qt::Key_Escape); };
    const auto confirm = [](QMessageBox &box) { press(box, Qt::Key_Return); };
    EXPECT_EQ(answer_to(request, close), ALERT_FIRST_BUTTON);
    EXPECT_EQ(answer_to(request, escape), ALERT_FIRST_BUTTON);
    EXPECT_EQ(answer_to(request, confirm), ALERT_FIRST_BUTTON);
}

TEST_F(alert, reaches_each_button_by_tab) {
    EXPECT_EQ(answer_to(three_buttons(ALERT_FIRST_BUTTON),
                        [](QMessageBox &box) {
                            for (int i = 0; i < 8; ++i) {
                                auto *const button = dynamic_cast<QPushButton *>(box.focusWidget());
                                if (button != nullptr && button->text() == "Third")
                                    break;
                                press(box, Qt::Key_Tab);
                            }
                            press(box, Qt::Key_Space);
                        }),
              ALERT_THIRD_BUTTON);
}

TEST_F(alert, shows_texts_literally) {
    const QString words = "<b>R&D</b> &amp; <a href=\"http://example.org\">100 %</a>\n&x";
    answer_to({.message = words, .informative = words, .buttons = {"OK"}}, [&](QMessageBox &box) {
        EXPECT_EQ(box.text(), words);
        EXPECT_EQ(box.informativeText(), words);
        for (const char *name : {"qt_msgbox_label", "qt_msgbox_informativelabel"}) {
            const QLabel *const label = label_of(box, name);
            ASSERT_NE(label, nullptr) << name;
            EXPECT_EQ(label->text(), words) << name;
            EXPECT_EQ(label->textFormat(), Qt::PlainText) << name;
            EXPECT_FALSE(label->openExternalLinks()) << name;
        }
        box.close();
    });
}

TEST_F(alert, shows_ampersand_in_title) {
    answers user;
    user.then_press("Save & <b>go</b>", [](QMessageBox &box) {
        EXPECT_EQ(button_titles(box), QStringList({"Cancel", "Save & <b>go</b>"}));
        for (const QAbstractButton *button : box.buttons())
            EXPECT_TRUE(QKeySequence::mnemonic(button->text()).isEmpty());
    });
    EXPECT_EQ(alert_run(nullptr, {.message = "Message",
                                  .informative = "",
                                  .buttons = {"Cancel", "Save & <b>go</b>"}}),
              ALERT_SECOND_BUTTON);
}

TEST_F(alert, has_icon_for_each_style) {
    const std::vector<std::pair<alert_style, QMessageBox::Icon>> pictures = {
        {alert_style::warning, QMessageBox::Warning},
        {alert_style::informational, QMessageBox::Information},
        {alert_style::critical, QMessageBox::Critical}};
    for (const auto &[style, picture] : pictures) {
        answer_to({.style = style, .message = "Message", .informative = "", .buttons = {"OK"}},
                  [picture = picture](QMessageBox &box) {
                      EXPECT_EQ(box.icon(), picture);
                      EXPECT_FALSE(box.iconPixmap().isNull());
                      box.close();
                  });
    }
}

TEST_F(alert, blocks_its_window) {
    EXPECT_FALSE(modal_question::is_open());
    QWidget window;
    window.show();
    answers user;
    user.then([&](QDialog &box) {
        EXPECT_TRUE(modal_question::is_open());
        EXPECT_TRUE(box.isModal());
        EXPECT_EQ(box.parentWidget(), &window);
        box.close();
    });
    alert_run(&window, three_buttons(ALERT_FIRST_BUTTON));
    EXPECT_FALSE(modal_question::is_open());
}

TEST_F(alert, has_texts_for_selection_and_copy) {
    answer_to(three_buttons(ALERT_FIRST_BUTTON), [](QMessageBox &box) {
        EXPECT_TRUE(box.textInteractionFlags().testFlag(Qt::TextSelectableByMouse));
        EXPECT_TRUE(box.textInteractionFlags().testFlag(Qt::TextSelectableByKeyboard));
        EXPECT_FALSE(box.textInteractionFlags().testFlag(Qt::TextEditable));
        box.close();
    });
}
