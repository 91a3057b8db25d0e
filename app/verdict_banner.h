// SPDX-License-Identifier: GPL-3.0-or-later
// Shows the verdict of the last test: a title, a sentence, and a colour that repeats the title.
#ifndef TROVIK_APP_VERDICT_BANNER_H
#define TROVIK_APP_VERDICT_BANNER_H

#include <QColor>
#include <QObject>
#include <QStringList>
#include <optional>
#include <string>

#include "report/verdict.h"

class QLabel;
class QPushButton;

class verdict_banner : public QObject {
 public:
    // Writes into these two labels. Shows `more` when there are more reasons than have room.
    verdict_banner(QLabel *title, QLabel *detail, QPushButton *more);

    void show_none();     // before the first test
    void show_running();  // during a test
    // `volume` is the path of the tested volume.
    void show(const verdict_result &result, const std::string &volume = {});

    // One per line; empty without a verdict or a reason.
    QString all_reasons() const;

    // "Intact", "Data lost", ...
    static QString title_of(run_verdict verdict);
    // Readable on `background`, light or dark.
    static QColor color_of(run_verdict verdict, const QColor &background);

 protected:
    // Follows changes of the palette.
    bool eventFilter(QObject *watched, QEvent *event) override;

 private:
    void show_texts(const QString &title, const QString &detail);
    void apply_color();

    QLabel *m_title;
    QLabel *m_detail;
    QPushButton *m_more;
    QStringList m_reasons;
    std::optional<run_verdict> m_verdict;
};

#endif
