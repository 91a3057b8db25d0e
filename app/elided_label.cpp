#include "app/elided_label.h"

#include <QHelpEvent>
#include <QPainter>
#include <QStyle>
#include <QTextDocument>
#include <QToolTip>

elided_label::elided_label(QWidget *parent) : QLabel(parent) {
    setTextFormat(Qt::PlainText);
}

QSize elided_label::minimumSizeHint() const {
    return {fontMetrics().averageCharWidth() * 8, QLabel::minimumSizeHint().height()};
}

void elided_label::paintEvent(QPaintEvent * /*event*/) {
    QPainter painter(this);
    const QRect place = contentsRect();
    const QString shown = fontMetrics().elidedText(text(), Qt::ElideMiddle, place.width());
    style()->drawItemText(&painter, place, static_cast<int>(alignment()), palette(), isEnabled(),
                          shown, foregroundRole());
}

// The whole text as tool tip where the label shows less.
bool elided_label::event(QEvent *event) {
    if (event->type() == QEvent::ToolTip &&
        fontMetrics().horizontalAdvance(text()) > contentsRect().width()) {
        QToolTip::showText(static_cast<QHelpEvent *>(event)->globalPos(),
                           Qt::convertFromPlainText(text()), this);
        return true;
    }
    return QLabel::event(event);
}
