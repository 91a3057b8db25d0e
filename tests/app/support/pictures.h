// SPDX-License-Identifier: GPL-3.0-or-later
// Pictures of windows and alerts, light and dark, small and large, with a check that nothing is cut
// off.
#ifndef TROVIK_TESTS_APP_PICTURES_H
#define TROVIK_TESTS_APP_PICTURES_H

#include <QPalette>
#include <QString>

class QMainWindow;
class QWidget;

namespace app_tests {

// The palette of a dark desktop.
QPalette dark_palette();

// NAME-light and NAME-dark.
void take_both_palettes(QWidget &widget, const QString &name);

// NAME-light-small, NAME-light-large and the same in dark: at the smallest size of the window, and
// on a large screen. Fails the test when a text is cut off.
void take_all_pictures(QMainWindow &window, const QString &name);

}  // namespace app_tests

#endif
