// The window as MainWindow.ui lays it out, and what a layout file cannot say:
// widths that follow the font, so that numbers which change every second move
// nothing, and the keyboard's shortcuts.
#ifndef TROVIK_APP_WINDOW_LAYOUT_H
#define TROVIK_APP_WINDOW_LAYOUT_H

#include <QLabel>
#include <memory>

class QMainWindow;
class QPushButton;
class TRAppDelegate;
namespace Ui {
class MainWindow;
}

// A label for texts of any length, such as paths: it shortens what does not fit in
// the middle instead of pushing the window wider or cutting letters in half. The
// whole text stays its text, its tool tip, and what assistive technology reads.

class elided_label : public QLabel {
 public:
    explicit elided_label(QWidget *parent = nullptr);

    QSize minimumSizeHint() const override;

 protected:
    void paintEvent(QPaintEvent *event) override;
    bool event(QEvent *event) override;
};

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
