// SPDX-License-Identifier: GPL-3.0-or-later
// All buttons have one role: platforms order buttons by role, and the given order must stay.
#include "app/alert.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <algorithm>
#include <memory>
#include <vector>

// Questions that are open now. Main thread.
static int open_questions = 0;

modal_question::modal_question() {
    ++open_questions;
}

modal_question::~modal_question() {
    --open_questions;
}

bool modal_question::is_open() {
    return open_questions > 0;
}

static QMessageBox::Icon icon_of(alert_style style) {
    switch (style) {
        case alert_style::informational:
            return QMessageBox::Information;
        case alert_style::critical:
            return QMessageBox::Critical;
        case alert_style::warning:
            break;
    }
    return QMessageBox::Warning;
}

// Qt takes a single "&" for a shortcut.
static QString literal_title(QString title) {
    return title.replace(QLatin1Char('&'), QLatin1String("&&"));
}

static void set_up_texts(QMessageBox &box) {
    for (QLabel *label : box.findChildren<QLabel *>()) {
        label->setTextFormat(Qt::PlainText);
        label->setOpenExternalLinks(false);
        // The third label is the icon and has no text.
        if (!label->text().isEmpty())
            label->setTextInteractionFlags(Qt::TextSelectableByMouse |
                                           Qt::TextSelectableByKeyboard);
    }
    if (auto *const title = box.findChild<QLabel *>(QStringLiteral("qt_msgbox_label"))) {
        QFont bold = title->font();
        bold.setBold(true);
        title->setFont(bold);
    }
}

// Lines of about 75 letters read well.
constexpr int long_text_letters = 75;
// The text's share of the screen's height; the rest is for title and buttons.
constexpr double long_text_share = 0.55;

// Call it last: the box is laid out anew when a widget is added.
static void make_long_text_scroll(QMessageBox &box) {
    auto *const label = box.findChild<QLabel *>(QStringLiteral("qt_msgbox_informativelabel"));
    auto *const grid = dynamic_cast<QGridLayout *>(box.layout());
    if (label == nullptr || grid == nullptr)
        return;
    const int width = label->fontMetrics().averageCharWidth() * long_text_letters;
    const int limit = static_cast<int>(box.screen()->availableSize().height() * long_text_share);
    // Qt never breaks a word, and a path may be one.
    const int widest_word = label->minimumSizeHint().width();
    const int height = label->heightForWidth(std::max(width, widest_word));
    if (height <= limit && widest_word <= width)
        return;
    auto *const scroll = new QScrollArea(&box);
    scroll->setObjectName(QStringLiteral("longText"));
    scroll->setAccessibleName(box.text());
    scroll->setFrameShape(QFrame::NoFrame);
    if (widest_word <= width)
        scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    // The caller owns the layout item of the replaced label.
    const std::unique_ptr<QLayoutItem> place(grid->replaceWidget(label, scroll));
    scroll->setWidget(label);
    scroll->setWidgetResizable(true);
    const int bar = scroll->verticalScrollBar()->sizeHint().width() + 8;
    scroll->setMinimumSize(width + bar, std::min(height + bar, limit));
}

int alert_run(QWidget *parent, const alert_request &request) {
    const modal_question question;
    QMessageBox box(parent);
    box.setWindowTitle(QStringLiteral("trovik"));
#if QT_VERSION >= QT_VERSION_CHECK(6, 6, 0)
    // A native alert reorders the buttons.
    box.setOption(QMessageBox::Option::DontUseNativeDialog);
#endif
    box.setIcon(icon_of(request.style));
    box.setTextFormat(Qt::PlainText);
    box.setText(request.message);
    box.setInformativeText(request.informative);
    set_up_texts(box);
    if (!request.check_box.isEmpty())
        box.setCheckBox(new QCheckBox(literal_title(request.check_box), &box));

    std::vector<QPushButton *> buttons;
    for (const QString &title : request.buttons)
        buttons.push_back(box.addButton(literal_title(title), QMessageBox::ActionRole));
    box.setDefaultButton(buttons.front());
    box.setEscapeButton(buttons.at(static_cast<size_t>(request.safe_answer - ALERT_FIRST_BUTTON)));
    make_long_text_scroll(box);
    buttons.front()->setFocus();
    box.exec();
    if (request.checked != nullptr && box.checkBox() != nullptr)
        *request.checked = box.checkBox()->isChecked();

    for (size_t i = 0; i < buttons.size(); ++i) {
        if (box.clickedButton() == buttons[i])
            return ALERT_FIRST_BUTTON + static_cast<int>(i);
    }
    return request.safe_answer;
}
