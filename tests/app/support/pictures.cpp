// SPDX-License-Identifier: GPL-3.0-or-later
#include "pictures.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QMainWindow>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QTest>

#include "app/window_layout.h"
#include "support.h"

namespace app_tests {

namespace {

// Puts the program's palette back.
class palette_guard {
 public:
    palette_guard() : m_before(QApplication::palette()) {}
    ~palette_guard() {
        QApplication::setPalette(m_before);
        QTest::qWait(1);
    }
    palette_guard(const palette_guard &) = delete;
    palette_guard &operator=(const palette_guard &) = delete;

 private:
    const QPalette m_before;
};

}  // namespace

QPalette dark_palette() {
    const QColor window(0x2b, 0x2b, 0x2e);
    const QColor text(0xec, 0xec, 0xec);
    const QColor dim(0x8a, 0x8a, 0x8e);
    QPalette palette(QColor(0x3a, 0x3a, 0x3e), window);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Base, QColor(0x1e, 0x1e, 0x20));
    palette.setColor(QPalette::AlternateBase, window);
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::ToolTipBase, window);
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::PlaceholderText, dim);
    palette.setColor(QPalette::Highlight, QColor(0x35, 0x6f, 0xc4));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    for (const QPalette::ColorRole role :
         {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, dim);
    return palette;
}

void take_both_palettes(QWidget &widget, const QString &name) {
    const palette_guard before;
    take_picture(widget, name + "-light");
    QApplication::setPalette(dark_palette());
    take_picture(widget, name + "-dark");
}

static bool has_room(const QLabel &label) {
    if (label.text().isEmpty() || dynamic_cast<const elided_label *>(&label) != nullptr)
        return true;
    if (label.wordWrap())
        return label.height() >= label.heightForWidth(label.width());
    return label.width() >= label.sizeHint().width() &&
           label.height() >= label.minimumSizeHint().height();
}

// Room for the title and a frame.
static bool has_room(const QPushButton &button) {
    const QSize title = button.fontMetrics().size(Qt::TextShowMnemonic, button.text());
    return button.width() >= title.width() + 8 && button.height() >= title.height() + 4;
}

static void expect_nothing_cut_off(const QMainWindow &window, const QString &name) {
    for (const QLabel *label : window.findChildren<QLabel *>()) {
        EXPECT_TRUE(!label->isVisible() || has_room(*label))
            << name.toStdString() << ": " << label->objectName().toStdString() << " is "
            << label->width() << " x " << label->height();
    }
    for (const QPushButton *button : window.findChildren<QPushButton *>()) {
        EXPECT_TRUE(!button->isVisible() || has_room(*button))
            << name.toStdString() << ": " << button->objectName().toStdString() << " is "
            << button->width() << " x " << button->height();
    }
}

void take_all_pictures(QMainWindow &window, const QString &name) {
    const QSize before = window.size();
    for (const auto &[kind, size] :
         {std::pair("small", QSize(800, 600)), std::pair("large", QSize(1600, 1000))}) {
        window.resize(size);
        ASSERT_TRUE(wait_until([&window, size = size] { return window.size() == size; }))
            << "it cannot be made " << kind << ", only " << window.width() << " x "
            << window.height();
        QTest::qWait(20);
        // Scroll to the end at this size.
        auto *const console = window.findChild<QPlainTextEdit *>();
        console->verticalScrollBar()->setValue(console->verticalScrollBar()->maximum());
        expect_nothing_cut_off(window, name + "-" + kind);
        const palette_guard palette;
        take_picture(window, name + "-light-" + kind);
        QApplication::setPalette(dark_palette());
        take_picture(window, name + "-dark-" + kind);
    }
    window.resize(before);
}

}  // namespace app_tests
