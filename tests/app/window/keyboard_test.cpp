// SPDX-License-Identifier: GPL-3.0-or-later
// Use without a mouse, from the disclaimer through all controls and alerts. Keys go to the window
// system.
#include <QApplication>
#include <QClipboard>
#include <QLabel>
#include <QMenu>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollBar>
#include <QWindow>
#include <algorithm>
#include <map>

#include "window_view_support.h"

using app_tests::answers;
using app_tests::memory_volume;
using test_support::missing_for_mounts;

namespace {

// Sends keys to the window or menu with the keyboard, not to a chosen widget.
void type(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
    QWindow *window = QGuiApplication::focusWindow();
    if (const QWidget *const menu = QApplication::activePopupWidget())
        window = menu->windowHandle();
    ASSERT_NE(window, nullptr);
    QTest::keyClick(window, key, modifiers);
}

QString focused_name() {
    const QWidget *const focus = QApplication::focusWidget();
    return focus == nullptr ? QString() : focus->objectName();
}

// Moves with this key until the button with this title has the focus.
void move_to(const QString &title, Qt::Key key) {
    for (int i = 0; i < 10; ++i) {
        const auto *const button = dynamic_cast<QPushButton *>(QApplication::focusWidget());
        if (button != nullptr && button->text() == title)
            return;
        type(key);
    }
    ADD_FAILURE() << "the key does not lead to " << title.toStdString();
}

class keyboard : public app_tests::window_view {
 protected:
    void enable_everything() {
        window().findChild<QPushButton *>("verdictReasons")->show();
        for (QPushButton *button : seen<QPushButton>())
            button->setEnabled(true);
        settle();
    }

    // Names of all controls that can have the focus, in reading order: groups from top to bottom,
    // in a group line by line, in a line from left to right.
    QStringList in_reading_order() {
        std::vector<QWidget *> controls;
        for (QPushButton *button : seen<QPushButton>()) {
            if (button->isEnabled())
                controls.push_back(button);
        }
        controls.push_back(app().UI_consoleOutput);
        std::sort(controls.begin(), controls.end(), [this](QWidget *left, QWidget *right) {
            const QPoint a = left->mapTo(&window(), left->rect().center());
            const QPoint b = right->mapTo(&window(), right->rect().center());
            // Controls of one line may differ a little in height.
            return std::abs(a.y() - b.y()) > 8 ? a.y() < b.y() : a.x() < b.x();
        });
        QStringList names;
        for (const QWidget *control : controls)
            names.append(control->objectName());
        return names;
    }

    // The controls that the key reaches, until it comes back.
    static QStringList walk(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
        QStringList names;
        const QString first = focused_name();
        do {
            names.append(focused_name());
            type(key, modifiers);
        } while (focused_name() != first && names.size() < 40);
        EXPECT_EQ(focused_name(), first) << "it does not come round";
        return names;
    }

    void expect_walk_in_reading_order() {
        const QStringList order = in_reading_order();
        ASSERT_TRUE(becomes_active());
        window().findChild<QWidget *>(order.constFirst())->setFocus();
        EXPECT_EQ(walk(Qt::Key_Tab), order);
        QStringList back = order;
        std::reverse(back.begin() + 1, back.end());
        EXPECT_EQ(walk(Qt::Key_Tab, Qt::ShiftModifier), back);
    }

    // Start-up in which `act` answers the disclaimer. True when it was accepted.
    bool start_up(const std::function<void()> &act) {
        answers user;
        user.then([act](QDialog &) { act(); });
        return app().applicationDidFinishLaunching();
    }
};

}  // namespace

TEST_F(keyboard, answers_disclaimer_by_arrow_or_tab_with_space) {
    const QString yes = "Yes, I know what I am doing";
    for (const Qt::Key key : {Qt::Key_Right, Qt::Key_Tab, Qt::Key_Left, Qt::Key_Down}) {
        EXPECT_TRUE(start_up([&] {
            EXPECT_EQ(dynamic_cast<QPushButton *>(QApplication::focusWidget())->text(), "Quit");
            move_to(yes, key);
            type(Qt::Key_Space);
        })) << key;
        app().applicationWillTerminate();
    }
}

TEST_F(keyboard, answers_disclaimer_by_return_on_focused_button) {
    EXPECT_TRUE(start_up([] {
        move_to("Yes, I know what I am doing", Qt::Key_Tab);
        type(Qt::Key_Return);
    }));
    app().applicationWillTerminate();
    EXPECT_TRUE(start_up([] {
        move_to("Yes, I know what I am doing", Qt::Key_Tab);
        type(Qt::Key_Enter, Qt::KeypadModifier);
    }));
}

TEST_F(keyboard, starts_at_first_control_after_disclaimer) {
    ASSERT_TRUE(start_up([] {
        move_to("Yes, I know what I am doing", Qt::Key_Tab);
        type(Qt::Key_Space);
    }));
    ASSERT_TRUE(becomes_active());
    if (QApplication::focusWidget() == nullptr || QApplication::focusWidget() == &window())
        type(Qt::Key_Tab);
    EXPECT_EQ(focused_name(), "UI_open_device_outlet");
}

TEST_F(keyboard, cycles_through_enabled_controls_after_start_up) {
    accept_disclaimer();
    EXPECT_FALSE(in_reading_order().contains("UI_start"));
    expect_walk_in_reading_order();
}

TEST_F(keyboard, cycles_through_all_controls_in_reading_order) {
    enable_everything();
    EXPECT_EQ(in_reading_order().size(), 17);
    expect_walk_in_reading_order();
}

TEST_F(keyboard, keeps_reading_order_in_every_window_size) {
    enable_everything();
    for (const QSize &size : {QSize(800, 600), QSize(1600, 1000)}) {
        show_in_size(size);
        expect_walk_in_reading_order();
    }
}

TEST_F(keyboard, continues_after_focused_control_is_disabled) {
    enable_everything();
    ASSERT_TRUE(becomes_active());
    app().UI_start->setFocus();
    app().UI_start->setEnabled(false);
    EXPECT_NE(QApplication::focusWidget(), app().UI_start);
    ASSERT_NE(QApplication::focusWidget(), nullptr) << "the keyboard leads nowhere";
    EXPECT_EQ(walk(Qt::Key_Tab).size(), 16);
}

TEST_F(keyboard, scrolls_console_then_leaves_it) {
    app().writeToConsole(std::string(500, '\n') + "the last line");
    ASSERT_TRUE(becomes_active());
    app().UI_consoleOutput->setFocus();
    type(Qt::Key_Home, Qt::ControlModifier);
    EXPECT_EQ(app().UI_consoleOutput->verticalScrollBar()->value(), 0);
    type(Qt::Key_End, Qt::ControlModifier);
    EXPECT_GT(app().UI_consoleOutput->verticalScrollBar()->value(), 0);
    type(Qt::Key_A, Qt::ControlModifier);
    type(Qt::Key_C, Qt::ControlModifier);
    EXPECT_TRUE(QApplication::clipboard()->text().endsWith("the last line"));
    type(Qt::Key_X);
    type(Qt::Key_Backspace);
    EXPECT_TRUE(console().ends_with("the last line")) << "it can be edited";
    EXPECT_EQ(focused_name(), "UI_consoleOutput");
    type(Qt::Key_Tab);
    EXPECT_EQ(focused_name(), "UI_showInfo_outlet");
}

namespace {

const QString not_there = "The chosen volume is gone";
// The alert's message for each button after the chosen volume has gone.
const std::map<QString, QString> questions = {
    {"UI_start", not_there},
    {"verdictReasons", "Verdict of the last test: No test yet"},
    {"UI_disableSpotlight_outlet", not_there},
    {"helpDisableSpotlight", "Disable / Enable Spotlight"},
    {"UI_removeSpotlightData_outlet", not_there},
    {"helpRemoveSpotlightData", "Remove Spotlight Data"},
    {"UI_disableLogging_outlet", not_there},
    {"helpDisableLogging", "Disable Logging"},
    {"UI_removeTrashesData_outlet", not_there},
    {"helpRemoveTrashesData", "Remove Trashes Data"},
    {"helpRemoveLoggingData", "Remove Logging Data"},
    {"helpHiddenFiles", "How to show hidden Files and Folders within Finder"},
    {"UI_showInfo_outlet", "Info"},
    {"UI_feedback_outlet", "Leave Feedback"}};

// Presses every button that opens an alert, with its volume gone.
class keyboard_presses : public keyboard {
 protected:
    void SetUp() override {
        SKIP_IF_MISSING(missing_for_mounts());
        m_volume = std::make_unique<memory_volume>();
        choose(m_volume->path());
        m_volume->take_away();
        enable_everything();
    }

    // Each alert is closed by `close`, and the button has the focus again.
    void press_each(const std::function<void(QDialog &)> &close) {
        for (const auto &[name, message] : questions) {
            ASSERT_TRUE(becomes_active());
            window().findChild<QPushButton *>(name)->setFocus();
            answers user;
            user.then([close, message = message](QDialog &dialog) {
                const auto *const alert = dynamic_cast<QMessageBox *>(&dialog);
                ASSERT_NE(alert, nullptr);
                EXPECT_EQ(alert->text(), message);
                const QPointer<QDialog> open(&dialog);
                close(dialog);
                if (open && open->isVisible()) {
                    ADD_FAILURE() << "still open: " << message.toStdString();
                    open->reject();
                }
            });
            type(Qt::Key_Space);
            EXPECT_TRUE(user.all_given()) << name.toStdString();
            ASSERT_TRUE(becomes_active());
            EXPECT_EQ(focused_name(), name);
        }
    }

 private:
    std::unique_ptr<memory_volume> m_volume;
};

}  // namespace

TEST_F(keyboard_presses, cover_all_buttons_with_alerts) {
    QStringList others;
    for (const QString &name : in_reading_order()) {
        if (!questions.contains(name))
            others.append(name);
    }
    EXPECT_EQ(others,
              QStringList({"UI_open_device_outlet", "UI_consoleOutput", "UI_shareButton_outlet"}));
}

TEST_F(keyboard_presses, opens_by_space_then_closes_by_escape) {
    press_each([](QDialog &) { type(Qt::Key_Escape); });
}

TEST_F(keyboard_presses, reach_alert_buttons_by_tab_for_space) {
    press_each([](QDialog &dialog) {
        const auto &alert = dynamic_cast<QMessageBox &>(dialog);
        const QStringList titles = app_tests::button_titles(alert);
        QStringList visited;
        for (int i = 0; i < 6; ++i) {
            if (const auto *const button = dynamic_cast<QPushButton *>(QApplication::focusWidget()))
                visited.append(button->text());
            type(Qt::Key_Tab);
        }
        for (const QString &title : titles)
            EXPECT_TRUE(visited.contains(title)) << title.toStdString();
        move_to(titles.constLast(), Qt::Key_Tab);
        type(Qt::Key_Space);
    });
}

TEST_F(keyboard_presses, reach_alert_buttons_by_arrow_for_return) {
    press_each([](QDialog &dialog) {
        const auto &alert = dynamic_cast<QMessageBox &>(dialog);
        move_to(app_tests::button_titles(alert).constLast(), Qt::Key_Right);
        type(Qt::Key_Return);
    });
}

TEST_F(keyboard, opens_panel_by_space_to_close_by_escape) {
    ASSERT_TRUE(becomes_active());
    app().UI_open_device_outlet->setFocus();
    answers user;
    user.then([](QDialog &panel) {
        EXPECT_EQ(panel.windowTitle(), "Choose a volume");
        type(Qt::Key_Escape);
        EXPECT_FALSE(panel.isVisible());
    });
    type(Qt::Key_Space);
    EXPECT_TRUE(user.all_given());
    EXPECT_EQ(uiState, UI_STATE_INIT);
}

TEST_F(keyboard, opens_share_menu_to_choose_entry) {
    accept_disclaimer();
    ASSERT_TRUE(becomes_active());
    app().UI_shareButton_outlet->setFocus();
    QApplication::clipboard()->setText("before");
    const auto open_menu = [this] {
        EXPECT_TRUE(becomes_active());
        type(Qt::Key_Space);
        return app_tests::wait_until([] { return QApplication::activePopupWidget() != nullptr; }) &&
               QApplication::activePopupWidget()->objectName() == "shareMenu";
    };
    ASSERT_TRUE(open_menu());
    type(Qt::Key_Escape);
    settle();
    EXPECT_EQ(QApplication::activePopupWidget(), nullptr);
    EXPECT_FALSE(app().UI_shareButton_outlet->isDown());
    EXPECT_EQ(QApplication::clipboard()->text(), "before");
    ASSERT_TRUE(open_menu());
    type(Qt::Key_Down);
    type(Qt::Key_Return);
    settle();
    EXPECT_TRUE(QApplication::clipboard()->text().startsWith("I just used trovik"));
    EXPECT_FALSE(app().UI_shareButton_outlet->isDown());
    EXPECT_EQ(focused_name(), "UI_shareButton_outlet");
}

TEST_F(keyboard, accepts_shortcuts_with_any_focus) {
    enable_everything();
    int started = 0;
    QObject::connect(app().UI_start, &QPushButton::clicked, [&] { ++started; });
    // Without a volume nothing is tested.
    QObject::disconnect(app().UI_start, nullptr, &app(), nullptr);
    const QStringList names = in_reading_order();
    for (const QString &name : names) {
        ASSERT_TRUE(becomes_active());
        window().findChild<QWidget *>(name)->setFocus();
        answers user;
        user.then([](QDialog &panel) { panel.reject(); });
        type(Qt::Key_O, Qt::ControlModifier);
        EXPECT_TRUE(user.all_given()) << name.toStdString();
        ASSERT_TRUE(becomes_active());
        type(Qt::Key_Return, Qt::ControlModifier);
    }
    EXPECT_EQ(started, names.size());
    app().UI_consoleOutput->setFocus();
    type(Qt::Key_Q, Qt::ControlModifier);
    EXPECT_FALSE(window().isVisible());
}

TEST_F(keyboard, ignores_shortcuts_below_alert) {
    answers user;
    user.then([this](QDialog &alert) {
        type(Qt::Key_Q, Qt::ControlModifier);
        type(Qt::Key_O, Qt::ControlModifier);
        EXPECT_TRUE(window().isVisible());
        EXPECT_EQ(QApplication::activeModalWidget(), &alert);
        type(Qt::Key_Escape);
    });
    app().UI_showInfo();
}
