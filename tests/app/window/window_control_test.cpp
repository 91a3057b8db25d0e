// SPDX-License-Identifier: GPL-3.0-or-later
// All controls can be reached by keyboard and read by a screen reader.
#include <QAccessible>
#include <QApplication>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>

#include "app/window_layout.h"
#include "window_view_support.h"

using app_tests::answers;
using app_tests::memory_volume;
using test_support::missing_for_mounts;

using window_control = app_tests::window_view;

TEST_F(window_control, names_every_control_for_screen_reader) {
    const auto told = [](QWidget *widget) {
        QAccessibleInterface *const reader = QAccessible::queryAccessibleInterface(widget);
        return reader == nullptr ? QString() : reader->text(QAccessible::Name);
    };
    // A button's title is its name, unless it is a sign.
    for (QPushButton *button : seen<QPushButton>())
        EXPECT_GT(told(button).size(), 3) << name_of(*button);
    for (QWidget *widget : std::vector<QWidget *>{app().UI_consoleOutput, app().UI_progress})
        EXPECT_FALSE(told(widget).isEmpty()) << name_of(*widget);
    for (QLabel *label : seen<QLabel>()) {
        // An empty one has the name of its group.
        EXPECT_TRUE(label->text().isEmpty() || told(label) == label->text()) << name_of(*label);
        // A value needs a name with its meaning; a caption is its own.
        if (label->textInteractionFlags().testFlag(Qt::TextSelectableByMouse) ||
            dynamic_cast<elided_label *>(label) != nullptr) {
            EXPECT_FALSE(label->accessibleDescription().isEmpty()) << name_of(*label);
        }
    }
}

TEST_F(window_control, shows_no_rich_text) {
    for (const QLabel *label : seen<QLabel>())
        EXPECT_EQ(label->textFormat(), Qt::PlainText) << name_of(*label);
}

TEST_F(window_control, tab_reaches_all_buttons_and_console_in_order) {
    for (QPushButton *button : seen<QPushButton>())
        button->setEnabled(true);
    ASSERT_TRUE(becomes_active());
    app().UI_open_device_outlet->setFocus();
    QStringList visited;
    for (int i = 0; i < 30; ++i) {
        QWidget *const focus = QApplication::focusWidget();
        ASSERT_NE(focus, nullptr);
        if (visited.value(0) == focus->objectName())
            break;
        visited.append(focus->objectName());
        QTest::keyClick(focus, Qt::Key_Tab);
    }
    EXPECT_EQ(
        visited,
        QStringList({"UI_open_device_outlet", "UI_start", "UI_disableSpotlight_outlet",
                     "helpDisableSpotlight", "UI_removeSpotlightData_outlet",
                     "helpRemoveSpotlightData", "UI_disableLogging_outlet", "helpDisableLogging",
                     "UI_removeTrashesData_outlet", "helpRemoveTrashesData",
                     "helpRemoveLoggingData", "helpHiddenFiles", "UI_consoleOutput",
                     "UI_showInfo_outlet", "UI_shareButton_outlet", "UI_feedback_outlet"}));
    for (const QPushButton *button : seen<QPushButton>())
        EXPECT_TRUE(visited.contains(button->objectName())) << name_of(*button);
}

TEST_F(window_control, opens_panel_by_shortcut) {
    EXPECT_TRUE(app().UI_open_device_outlet->toolTip().contains("Ctrl+O"));
    ASSERT_TRUE(becomes_active());
    answers user;
    user.then([](QDialog &panel) { panel.reject(); });
    QTest::keyClick(&window(), Qt::Key_O, Qt::ControlModifier);
    EXPECT_TRUE(user.all_given());
}

TEST_F(window_control, starts_by_shortcut_when_start_is_enabled) {
    SKIP_IF_MISSING(missing_for_mounts());
    EXPECT_TRUE(app().UI_start->toolTip().contains("Ctrl+Return"));
    memory_volume volume;
    choose(volume.path());
    volume.take_away();
    ASSERT_TRUE(becomes_active());
    answers user;
    user.then_press(
        "OK", [](QMessageBox &alert) { EXPECT_EQ(alert.text(), "The chosen volume is gone"); });
    QTest::keyClick(&window(), Qt::Key_Return, Qt::ControlModifier);
    EXPECT_TRUE(user.all_given());
    // No alert opens when Start is disabled.
    app().UI_start->setEnabled(false);
    QTest::keyClick(&window(), Qt::Key_Return, Qt::ControlModifier);
    EXPECT_EQ(jobThread, nullptr);
}

TEST_F(window_control, closes_window_by_shortcut) {
    ASSERT_TRUE(becomes_active());
    QTest::keyClick(&window(), Qt::Key_Q, Qt::ControlModifier);
    EXPECT_FALSE(window().isVisible());
}
