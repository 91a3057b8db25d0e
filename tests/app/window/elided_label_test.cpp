// SPDX-License-Identifier: GPL-3.0-or-later
// A label that shortens long texts in their middle and has the whole text as tool tip.
#include "app/window_layout.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QHelpEvent>
#include <QTest>
#include <QTextDocumentFragment>
#include <QToolTip>

#include "support.h"

namespace {

class elided : public testing::Test {
 protected:
    elided() {
        m_label.resize(200, 30);
        m_label.show();
    }
    ~elided() override { QToolTip::hideText(); }

    QImage picture_of(const QString &text) {
        m_label.setText(text);
        return m_label.grab().toImage();
    }

    // The tool tip below the mouse.
    QString tip_of(const QString &text) {
        m_label.setText(text);
        QHelpEvent rest(QEvent::ToolTip, QPoint(5, 5), m_label.mapToGlobal(QPoint(5, 5)));
        QApplication::sendEvent(&m_label, &rest);
        return QToolTip::isVisible() ? QToolTip::text() : QString();
    }

    elided_label &label() { return m_label; }

 private:
    elided_label m_label;
};

const QString middle(100, 'w');

}  // namespace

TEST_F(elided, shows_both_ends_of_long_text) {
    const QImage picture = picture_of("/media/" + middle + "/card");
    EXPECT_NE(picture, picture_of("/volumes/" + middle + "/card"));
    EXPECT_NE(picture, picture_of("/media/" + middle + "/stick"));
    EXPECT_EQ(picture, picture_of("/media/" + middle + "w/card"));
}

TEST_F(elided, shows_short_text_like_label) {
    QLabel usual("/media/card");
    usual.resize(label().size());
    EXPECT_EQ(picture_of("/media/card"), usual.grab().toImage());
}

TEST_F(elided, needs_no_more_room_for_long_text) {
    label().setText("x");
    const QSize short_text = label().minimumSizeHint();
    label().setText(middle);
    EXPECT_EQ(label().minimumSizeHint(), short_text);
    EXPECT_EQ(label().text(), middle);
}

TEST_F(elided, has_tool_tip_with_whole_long_text) {
    const QString path = "/media/<b>" + middle + "</b>&";
    EXPECT_EQ(QTextDocumentFragment::fromHtml(tip_of(path)).toPlainText(), path);
}

TEST_F(elided, has_no_tool_tip_for_text_that_fits) {
    EXPECT_EQ(tip_of("/media/card"), "");
}

TEST_F(elided, shows_no_rich_text) {
    EXPECT_EQ(label().textFormat(), Qt::PlainText);
}
