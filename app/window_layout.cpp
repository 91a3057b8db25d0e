// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/window_layout.h"

#include <QHelpEvent>
#include <QIcon>
#include <QKeySequence>
#include <QPainter>
#include <QShortcut>
#include <QStyle>
#include <QTextDocument>
#include <QToolTip>
#include <algorithm>
#include <initializer_list>

#include "app/TRAppDelegate.h"
#include "ui_MainWindow.h"

// Reserves room for the widest of these texts.
static void reserve(QLabel *label, std::initializer_list<const char *> texts) {
    int width = 0;
    for (const char *text : texts)
        width = std::max(width, label->fontMetrics().horizontalAdvance(QString::fromUtf8(text)));
    label->setMinimumWidth(width + 2);
}

static void reserve(QPushButton *button, std::initializer_list<const char *> titles) {
    const QString before = button->text();
    int width = 0;
    for (const char *title : titles) {
        button->setText(QString::fromUtf8(title));
        width = std::max(width, button->sizeHint().width());
    }
    button->setText(before);
    button->setMinimumWidth(width);
}

// The shortcut presses the button. The tool tip shows it.
static void add_shortcut(QPushButton *button, const QKeySequence &keys) {
    auto *const shortcut = new QShortcut(keys, button->window());
    QObject::connect(shortcut, &QShortcut::activated, button, [button] { button->click(); });
    button->setToolTip(button->toolTip() + " (" + keys.toString(QKeySequence::NativeText) + ")");
}

// Registers the pictures of this static library.
static void register_pictures() {
    Q_INIT_RESOURCE(trovik);
}

window_layout::window_layout()
    : m_window(std::make_unique<QMainWindow>()), m_ui(std::make_unique<Ui::MainWindow>()) {
    register_pictures();
    m_ui->setupUi(m_window.get());
    m_window->setWindowIcon(QIcon(QStringLiteral(":/trovik.svg")));
    reserve_widths();
    add_shortcuts();
}

window_layout::~window_layout() = default;

void window_layout::reserve_widths() {
    reserve(m_ui->UI_writeSpeed, {"1023.99"});
    reserve(m_ui->UI_readSpeed, {"1023.99"});
    const int unit = m_window->fontMetrics().horizontalAdvance(QStringLiteral("Byte /s  "));
    m_ui->writeSpeedBox->setMinimumWidth(m_ui->UI_writeSpeed->minimumWidth() + unit);
    m_ui->readSpeedBox->setMinimumWidth(m_ui->UI_readSpeed->minimumWidth() + unit);
    reserve(m_ui->UI_progressValue, {"100.0 %"});
    reserve(m_ui->UI_state, {"<MEDIUM FOUND>", "<WAITING>", "<TESTING>"});
    reserve(m_ui->UI_start, {"Start", "Please wait...", "Finished."});
    reserve(m_ui->UI_disableSpotlight_outlet, {"Disable Spotlight", "Enable Spotlight"});
    reserve(m_ui->UI_disableLogging_outlet, {"Disable Logging", "Enable Logging"});
    reserve(m_ui->UI_volumesReadOnly, {"read/write", "read only"});
    const window_layout::help_buttons buttons = help();
    for (QPushButton *button :
         {buttons.hidden_files, buttons.disable_spotlight, buttons.remove_spotlight_data,
          buttons.remove_trashes_data, buttons.remove_logging_data, buttons.disable_logging})
        button->setFixedWidth(button->sizeHint().height() * 5 / 4);
}

void window_layout::add_shortcuts() {
    add_shortcut(m_ui->UI_open_device_outlet, QKeySequence(QKeySequence::Open));
    add_shortcut(m_ui->UI_start, QKeySequence(Qt::CTRL | Qt::Key_Return));
    auto *const quit = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q), m_window.get());
    QObject::connect(quit, &QShortcut::activated, m_window.get(), &QWidget::close);
}

window_layout::help_buttons window_layout::help() const {
    return {m_ui->helpHiddenFiles,       m_ui->helpDisableSpotlight,  m_ui->helpRemoveSpotlightData,
            m_ui->helpRemoveTrashesData, m_ui->helpRemoveLoggingData, m_ui->helpDisableLogging};
}

QLabel *window_layout::phase() const {
    return m_ui->phase;
}

QLabel *window_layout::verdict_title() const {
    return m_ui->verdictTitle;
}

QLabel *window_layout::verdict_detail() const {
    return m_ui->verdictDetail;
}

QPushButton *window_layout::verdict_reasons() const {
    return m_ui->verdictReasons;
}

void window_layout::bind(TRAppDelegate &controller) const {
    controller.window = m_window.get();
    controller.UI_start = m_ui->UI_start;
    controller.UI_volumesName = m_ui->UI_volumesName;
    controller.UI_volumesCapacityGB = m_ui->UI_volumesCapacityGB;
    controller.UI_volumesReadOnly = m_ui->UI_volumesReadOnly;
    controller.UI_volumesFreeSpace = m_ui->UI_volumesFreeSpace;
    controller.UI_state = m_ui->UI_state;
    controller.UI_volumesSpotlightThere = m_ui->UI_volumesSpotlightThere;
    controller.UI_volumesSpotlightStatus = m_ui->UI_volumesSpotlightStatus;
    controller.UI_volumesTrashes = m_ui->UI_volumesTrashes;
    controller.UI_volumesNoLog = m_ui->UI_volumesNoLog;
    controller.UI_writeSpeed = m_ui->UI_writeSpeed;
    controller.UI_writeUnit = m_ui->UI_writeUnit;
    controller.UI_progress = m_ui->UI_progress;
    controller.UI_progressValue = m_ui->UI_progressValue;
    controller.UI_readSpeed = m_ui->UI_readSpeed;
    controller.UI_readUnit = m_ui->UI_readUnit;
    controller.UI_errorMessage = m_ui->UI_errorMessage;
    controller.UI_consoleOutput = m_ui->UI_consoleOutput;
    controller.UI_open_device_outlet = m_ui->UI_open_device_outlet;
    controller.UI_disableSpotlight_outlet = m_ui->UI_disableSpotlight_outlet;
    controller.UI_removeSpotlightData_outlet = m_ui->UI_removeSpotlightData_outlet;
    controller.UI_removeTrashesData_outlet = m_ui->UI_removeTrashesData_outlet;
    controller.UI_versionString = m_ui->UI_versionString;
    controller.UI_logging_label_outlet = m_ui->UI_logging_label_outlet;
    controller.UI_disableLogging_outlet = m_ui->UI_disableLogging_outlet;
    controller.UI_showInfo_outlet = m_ui->UI_showInfo_outlet;
    controller.UI_shareButton_outlet = m_ui->UI_shareButton_outlet;
    controller.UI_feedback_outlet = m_ui->UI_feedback_outlet;
}

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

// Shows the whole text as tool tip when the label shortens it.
bool elided_label::event(QEvent *event) {
    if (event->type() == QEvent::ToolTip &&
        fontMetrics().horizontalAdvance(text()) > contentsRect().width()) {
        QToolTip::showText(static_cast<QHelpEvent *>(event)->globalPos(),
                           Qt::convertFromPlainText(text()), this);
        return true;
    }
    return QLabel::event(event);
}
