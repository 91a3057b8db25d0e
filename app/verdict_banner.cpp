// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/verdict_banner.h"

#include <QEvent>
#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QWidget>

#include "report/printable.h"

// What has room under the sentence; a button shows all.
constexpr qsizetype reasons_shown = 2;

verdict_banner::verdict_banner(QLabel *title, QLabel *detail, QPushButton *more)
    : m_title(title), m_detail(detail), m_more(more) {
    QFont large = m_title->font();
    large.setPointSizeF(large.pointSizeF() * 1.7);
    large.setBold(true);
    m_title->setFont(large);
    // The window gets a new palette before its labels do, so watch the label.
    m_title->parentWidget()->installEventFilter(this);
    // Reserve the height, so that the window does not grow with a verdict.
    m_detail->setMinimumHeight(m_detail->fontMetrics().lineSpacing() *
                               (1 + static_cast<int>(reasons_shown)));
    show_none();
}

QString verdict_banner::title_of(run_verdict verdict) {
    switch (verdict) {
        case run_verdict::intact:
            return QStringLiteral("Intact");
        case run_verdict::data_lost:
            return QStringLiteral("Data lost");
        case run_verdict::incomplete:
            return QStringLiteral("Not all could be read");
        case run_verdict::unproven:
            return QStringLiteral("Not proven");
        case run_verdict::nothing_tested:
            break;
    }
    return QStringLiteral("Nothing was tested");
}

QColor verdict_banner::color_of(run_verdict verdict, const QColor &background) {
    const bool dark = background.lightness() < 128;
    switch (verdict) {
        case run_verdict::intact:
            return dark ? QColor(0x7d, 0xe0, 0x9b) : QColor(0x12, 0x6b, 0x33);
        case run_verdict::data_lost:
            return dark ? QColor(0xff, 0x9a, 0x90) : QColor(0xa8, 0x1c, 0x14);
        case run_verdict::incomplete:
        case run_verdict::unproven:
        case run_verdict::nothing_tested:
            break;
    }
    return dark ? QColor(0xff, 0xcf, 0x70) : QColor(0x7a, 0x4b, 0x00);
}

void verdict_banner::show_none() {
    m_verdict.reset();
    m_reasons.clear();
    show_texts(QStringLiteral("No test yet"),
               QStringLiteral("Choose a volume and press Start. The verdict appears here."));
}

void verdict_banner::show_running() {
    m_verdict.reset();
    m_reasons.clear();
    show_texts(QStringLiteral("Testing"),
               QStringLiteral("The verdict comes once everything has been read back. Leave the "
                              "volume where it is."));
}

void verdict_banner::show(const verdict_result &result, const std::string &volume) {
    m_verdict = result.verdict;
    // Do not repeat the title in the sentence.
    QString sentence = QString::fromUtf8(verdict_sentence(result.verdict));
    const qsizetype colon = sentence.indexOf(QLatin1String(": "));
    if (colon >= 0) {
        sentence.remove(0, colon + 2);
        sentence[0] = sentence[0].toUpper();
    }
    // The user may have chosen another volume since.
    if (!volume.empty())
        sentence += " (" + QString::fromStdString(printable_text(volume)) + ")";
    m_reasons.clear();
    for (const std::vector<std::string> *lines : {&result.reasons, &result.notes}) {
        for (const std::string &line : *lines)
            m_reasons.append(QString::fromStdString(line));
    }
    QString detail = sentence;
    for (qsizetype i = 0; i < m_reasons.size() && i < reasons_shown; ++i)
        detail += QLatin1Char('\n') + m_reasons.at(i);
    show_texts(title_of(result.verdict), detail);
}

void verdict_banner::show_texts(const QString &title, const QString &detail) {
    m_title->setText(title);
    m_detail->setText(detail);
    m_more->setVisible(m_reasons.size() > reasons_shown);
    apply_color();
}

QString verdict_banner::all_reasons() const {
    return m_reasons.join(QStringLiteral("\n\n"));
}

void verdict_banner::apply_color() {
    const QPalette around = m_title->parentWidget()->palette();
    QPalette palette = around;
    if (m_verdict)
        palette.setColor(QPalette::WindowText,
                         color_of(*m_verdict, around.color(QPalette::Window)));
    m_title->setPalette(palette);
}

bool verdict_banner::eventFilter(QObject *watched, QEvent *event) {
    if (event->type() == QEvent::PaletteChange ||
        event->type() == QEvent::ApplicationPaletteChange) {
        apply_color();
        // This event arrives before the new palette has reached every widget.
        QTimer::singleShot(0, this, [this] { apply_color(); });
    }
    return QObject::eventFilter(watched, event);
}
