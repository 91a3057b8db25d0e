// SPDX-License-Identifier: GPL-3.0-or-later
// The visible parts of the window at a given size.
#ifndef TROVIK_TESTS_APP_WINDOW_VIEW_SUPPORT_H
#define TROVIK_TESTS_APP_WINDOW_VIEW_SUPPORT_H

#include <QMainWindow>
#include <QTest>

#include "volume_selection_support.h"

namespace app_tests {

class window_view : public volume_selection {
 protected:
    QMainWindow &window() { return *app().window; }

    // Every widget of this kind that a user can see.
    template <typename Widget>
    std::vector<Widget *> seen() {
        std::vector<Widget *> all;
        for (Widget *widget : window().findChildren<Widget *>()) {
            if (widget->isVisible())
                all.push_back(widget);
        }
        return all;
    }

    void show_in_size(const QSize &size) {
        window().resize(size);
        settle();
        EXPECT_EQ(window().size(), size) << "the window cannot be as small";
    }

    // Keys go to the active window. Without a window manager none is active at first.
    bool becomes_active() {
        window().activateWindow();
        return QTest::qWaitForWindowActive(&window(), patience_ms);
    }

    static void settle() {
        for (int i = 0; i < 3; ++i)
            QTest::qWait(1);
    }

    static std::string name_of(const QWidget &widget) {
        return widget.objectName().toStdString() + " of " +
               std::to_string(widget.window()->width()) + " x " +
               std::to_string(widget.window()->height());
    }
};

}  // namespace app_tests

#endif
