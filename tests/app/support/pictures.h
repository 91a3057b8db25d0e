// Pictures of the window and its questions in light and dark, small and large, and
// the check that nothing in them is cut off.
#ifndef TROVIK_TESTS_APP_PICTURES_H
#define TROVIK_TESTS_APP_PICTURES_H

#include <QPalette>
#include <QString>

class QMainWindow;
class QWidget;

namespace app_tests {

// What a desktop in dark colours gives to its programs.
QPalette dark_palette();

// NAME-light and NAME-dark.
void take_both_palettes(QWidget &widget, const QString &name);

// NAME-light-small, NAME-light-large and the same in dark: at the smallest size that
// the window has to bear, and on a large screen. Fails the test when a text has less
// room than it needs.
void take_all_pictures(QMainWindow &window, const QString &name);

}  // namespace app_tests

#endif
