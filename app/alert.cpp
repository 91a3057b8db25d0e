// All buttons have one role, because a role would move them: every platform has
// its own opinion on where "accept" stands, and the order given is the order wanted.
#include "app/alert.h"

#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <vector>

#include "app/modal_question.h"

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

int alert_run(QWidget *parent, const alert_request &request) {
    const modal_question question;
    QMessageBox box(parent);
    box.setWindowTitle(QStringLiteral("trovik"));
    box.setIcon(icon_of(request.style));
    box.setTextFormat(Qt::PlainText);
    box.setText(request.message);
    box.setInformativeText(request.informative);
    for (QLabel *label : box.findChildren<QLabel *>()) {
        label->setTextFormat(Qt::PlainText);
        label->setOpenExternalLinks(false);
    }
    if (auto *const title = box.findChild<QLabel *>(QStringLiteral("qt_msgbox_label"))) {
        QFont bold = title->font();
        bold.setBold(true);
        title->setFont(bold);
    }
    box.setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);

    std::vector<QPushButton *> buttons;
    for (const QString &title : request.buttons)
        buttons.push_back(box.addButton(literal_title(title), QMessageBox::ActionRole));
    box.setDefaultButton(buttons.front());
    box.setEscapeButton(buttons.at(static_cast<size_t>(request.safe_answer - ALERT_FIRST_BUTTON)));
    buttons.front()->setFocus();
    box.exec();

    for (size_t i = 0; i < buttons.size(); ++i) {
        if (box.clickedButton() == buttons[i])
            return ALERT_FIRST_BUTTON + static_cast<int>(i);
    }
    return request.safe_answer;
}
