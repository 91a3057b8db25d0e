// All buttons have one role, because a role would move them: every platform has
// its own opinion on where "accept" stands, and the order given is the order wanted.
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

// A button's "&" would become an underline.
static QString literal_title(QString title) {
    return title.replace(QLatin1Char('&'), QLatin1String("&&"));
}

static void set_up_texts(QMessageBox &box) {
    for (QLabel *label : box.findChildren<QLabel *>()) {
        label->setTextFormat(Qt::PlainText);
        label->setOpenExternalLinks(false);
        // Of the two texts; the third label is the icon.
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

// Wide enough for about 75 letters a line, which is what reads well.
constexpr int long_text_letters = 75;
// Of the screen's height, so that title and buttons have room on a small one, too.
constexpr double long_text_share = 0.55;

// To be done last: the box lays itself out anew whenever something is added to it.
static void make_long_text_scroll(QMessageBox &box) {
    auto *const label = box.findChild<QLabel *>(QStringLiteral("qt_msgbox_informativelabel"));
    auto *const grid = dynamic_cast<QGridLayout *>(box.layout());
    if (label == nullptr || grid == nullptr)
        return;
    const int width = label->fontMetrics().averageCharWidth() * long_text_letters;
    const int limit = static_cast<int>(box.screen()->availableSize().height() * long_text_share);
    // A path may be one word, which is never broken.
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
    // The place that the label had is nobody's any more.
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
    // A system's own alert would put the buttons into its own order.
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
