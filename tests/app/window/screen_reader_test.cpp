// SPDX-License-Identifier: GPL-3.0-or-later
// The window's accessibility tree, as a screen reader gets it.
#include <QAccessible>
#include <QApplication>
#include <QGroupBox>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <set>

#include "window_view_support.h"

using app_tests::answers;

namespace {

class screen_reader : public app_tests::window_view {
 protected:
    static QAccessibleInterface &told(QWidget *widget) {
        QAccessibleInterface *const found = QAccessible::queryAccessibleInterface(widget);
        if (found == nullptr) {
            ADD_FAILURE() << widget->objectName().toStdString() << " is not told at all";
            std::abort();
        }
        return *found;
    }

    static QString name(QWidget *widget) { return told(widget).text(QAccessible::Name); }

    // All objects below the window.
    std::set<const QObject *> tree() {
        std::set<const QObject *> all;
        collect(told(&window()), all);
        return all;
    }

    // All objects that Tab reaches.
    std::set<const QWidget *> focus_chain() {
        std::set<const QWidget *> all;
        for (QWidget *widget = window().nextInFocusChain(); widget != &window();
             widget = widget->nextInFocusChain())
            all.insert(widget);
        return all;
    }

    void enable_everything() {
        window().findChild<QPushButton *>("verdictReasons")->show();
        for (QPushButton *button : seen<QPushButton>())
            button->setEnabled(true);
        settle();
    }

    void expect_all_is_told() {
        const std::set<const QObject *> all = tree();
        for (QWidget *widget : seen<QWidget>()) {
            if (widget->objectName().startsWith("qt_") || inside_console(*widget))
                continue;
            EXPECT_TRUE(all.contains(widget)) << name_of(*widget);
            EXPECT_FALSE(told(widget).state().invisible) << name_of(*widget);
            EXPECT_EQ(told(widget).state().disabled, !widget->isEnabled()) << name_of(*widget);
        }
        expect_buttons();
        for (QLabel *label : seen<QLabel>())
            expect_label(*label);
        for (QGroupBox *group : seen<QGroupBox>()) {
            EXPECT_EQ(told(group).role(), QAccessible::Grouping);
            EXPECT_EQ(name(group), group->title());
            EXPECT_FALSE(name(group).isEmpty()) << name_of(*group);
        }
    }

 private:
    static void collect(QAccessibleInterface &here, std::set<const QObject *> &all) {
        all.insert(here.object());
        for (int i = 0; i < here.childCount(); ++i) {
            if (QAccessibleInterface *const child = here.child(i))
                collect(*child, all);
        }
    }

    bool inside_console(const QWidget &widget) {
        return app().UI_consoleOutput->isAncestorOf(&widget);
    }

    void expect_buttons() {
        const std::set<const QWidget *> chain = focus_chain();
        std::set<QString> names;
        for (QPushButton *button : seen<QPushButton>()) {
            QAccessibleInterface &reader = told(button);
            EXPECT_EQ(reader.role(), QAccessible::PushButton) << name_of(*button);
            EXPECT_FALSE(name(button).isEmpty()) << name_of(*button);
            EXPECT_NE(name(button), "?") << name_of(*button);
            EXPECT_TRUE(names.insert(name(button)).second)
                << "two buttons are " << name(button).toStdString();
            // The description has its effect.
            EXPECT_FALSE(reader.text(QAccessible::Description).isEmpty()) << name_of(*button);
            EXPECT_TRUE(reader.state().focusable) << name_of(*button);
            EXPECT_TRUE(button->focusPolicy() & Qt::TabFocus) << name_of(*button);
            EXPECT_TRUE(chain.contains(button)) << name_of(*button);
        }
    }

    // A caption's name is its text. A value's name has its meaning, too.
    static void expect_label(QLabel &label) {
        QAccessibleInterface &reader = told(&label);
        EXPECT_EQ(reader.role(), QAccessible::StaticText) << name_of(label);
        // An empty one has its group's name.
        if (!label.text().isEmpty()) {
            EXPECT_EQ(reader.text(QAccessible::Name), label.text()) << name_of(label);
        }
        EXPECT_FALSE(label.focusPolicy() & Qt::TabFocus) << name_of(label);
        const QString description = reader.text(QAccessible::Description);
        const bool explains_itself = label.text().endsWith(":") || label.text() == "/s" ||
                                     label.objectName().endsWith("Caption");
        EXPECT_NE(explains_itself, !description.isEmpty()) << name_of(label);
    }
};

}  // namespace

TEST_F(screen_reader, reads_all_controls_after_start_up) {
    accept_disclaimer();
    EXPECT_TRUE(told(app().UI_start).state().disabled);
    expect_all_is_told();
}

TEST_F(screen_reader, reads_all_controls_when_enabled) {
    enable_everything();
    EXPECT_FALSE(told(app().UI_start).state().disabled);
    EXPECT_TRUE(tree().contains(window().findChild<QPushButton *>("verdictReasons")));
    expect_all_is_told();
}

TEST_F(screen_reader, reads_window_title) {
    EXPECT_EQ(told(&window()).role(), QAccessible::Window);
    EXPECT_EQ(name(&window()), "trovik");
}

TEST_F(screen_reader, reads_console_without_writing) {
    app().writeToConsole("first line\nsecond line\n");
    QAccessibleInterface &reader = told(app().UI_consoleOutput);
    EXPECT_EQ(reader.role(), QAccessible::EditableText);
    EXPECT_EQ(reader.text(QAccessible::Name), "Console");
    EXPECT_EQ(reader.text(QAccessible::Value), "first line\nsecond line\n");
    EXPECT_TRUE(reader.state().readOnly);
    EXPECT_TRUE(reader.state().multiLine);
    EXPECT_TRUE(reader.state().focusable);
    EXPECT_TRUE(focus_chain().contains(app().UI_consoleOutput));
}

TEST_F(screen_reader, reads_progress) {
    app().UI_progress->setValue(37);
    QAccessibleInterface &reader = told(app().UI_progress);
    EXPECT_EQ(reader.role(), QAccessible::ProgressBar);
    EXPECT_EQ(reader.text(QAccessible::Name), "Progress of writing");
    ASSERT_NE(reader.valueInterface(), nullptr);
    EXPECT_EQ(reader.valueInterface()->currentValue(), 37);
    EXPECT_EQ(reader.valueInterface()->minimumValue(), 0);
    EXPECT_EQ(reader.valueInterface()->maximumValue(), 100);
}

TEST_F(screen_reader, reads_whole_elided_path) {
    show_in_size(QSize(800, 600));
    const QString path = "/run/media/somebody/" + QString(200, 'w') + "/end";
    app().UI_volumesName->setText(path);
    EXPECT_EQ(name(app().UI_volumesName), path);
    EXPECT_EQ(told(app().UI_volumesName).text(QAccessible::Description), "Path of the volume");
}

TEST_F(screen_reader, reads_new_title_of_button) {
    for (QPushButton *button :
         {app().UI_start, app().UI_disableSpotlight_outlet, app().UI_disableLogging_outlet}) {
        button->setText("New title");
        EXPECT_EQ(name(button), "New title") << name_of(*button);
    }
}

TEST_F(screen_reader, presses_button) {
    QAccessibleActionInterface *const actions = told(app().UI_showInfo_outlet).actionInterface();
    ASSERT_NE(actions, nullptr);
    answers user;
    user.then([](QDialog &dialog) {
        QAccessibleInterface &alert = told(&dialog);
        EXPECT_TRUE(alert.role() == QAccessible::AlertMessage ||
                    alert.role() == QAccessible::Dialog);
        dialog.reject();
    });
    actions->doAction(QAccessibleActionInterface::pressAction());
    EXPECT_TRUE(app_tests::wait_until([&] { return user.all_given(); }));
    EXPECT_TRUE(app_tests::wait_until([] { return QApplication::activeModalWidget() == nullptr; }));
}
