// A label for texts of any length, such as paths: it shortens what does not fit in
// the middle instead of pushing the window wider or cutting letters in half. The
// whole text stays its text, its tool tip, and what assistive technology reads.
#ifndef TROVIK_APP_ELIDED_LABEL_H
#define TROVIK_APP_ELIDED_LABEL_H

#include <QLabel>

class elided_label : public QLabel {
 public:
    explicit elided_label(QWidget *parent = nullptr);

    QSize minimumSizeHint() const override;

 protected:
    void paintEvent(QPaintEvent *event) override;
    bool event(QEvent *event) override;
};

#endif
