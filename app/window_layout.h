// SPDX-License-Identifier: GPL-3.0-or-later
// The window of MainWindow.ui, with widths that follow the font, so that changing numbers move
// nothing, and with the keyboard's shortcuts.
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

// A label that shortens a text in its middle when it does not fit. The whole text stays in the
// tool tip and for assistive technology.

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

    // The help buttons beside the controls that they explain.
    struct help_buttons {
        QPushButton *hidden_files, *disable_spotlight, *remove_spotlight_data;
        QPushButton *remove_trashes_data, *remove_logging_data, *disable_logging;
    };
    help_buttons help() const;

    // Widgets that are no outlets.
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
