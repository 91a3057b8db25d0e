// The window as MainWindow.ui lays it out, and what a layout file cannot say:
// widths that follow the font, so that numbers which change every second move
// nothing, and the keyboard's shortcuts.
#ifndef TROVIK_APP_WINDOW_LAYOUT_H
#define TROVIK_APP_WINDOW_LAYOUT_H

#include <memory>

class QLabel;
class QMainWindow;
class QPushButton;
class TRAppDelegate;
namespace Ui {
class MainWindow;
}

class window_layout {
 public:
    window_layout();
    ~window_layout();
    window_layout(const window_layout &) = delete;
    window_layout &operator=(const window_layout &) = delete;

    // Sets the controller's window and outlets.
    void bind(TRAppDelegate &controller) const;

    // The small buttons beside what they explain.
    struct help_buttons {
        QPushButton *hidden_files, *disable_spotlight, *remove_spotlight_data;
        QPushButton *remove_trashes_data, *remove_logging_data, *disable_logging;
    };
    help_buttons help() const;

    // The window's own additions to the outlets.
    QLabel *phase() const;
    QLabel *verdict_title() const;
    QLabel *verdict_detail() const;
    QPushButton *verdict_reasons() const;

 private:
    void reserve_widths();
    void add_shortcuts();

    std::unique_ptr<QMainWindow> m_window;
    std::unique_ptr<Ui::MainWindow> m_ui;
};

#endif
