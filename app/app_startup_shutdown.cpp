// SPDX-License-Identifier: GPL-3.0-or-later
// Start-up and shut-down of the window.
#include <QApplication>
#include <QLabel>
#include <QMainWindow>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>

#include "app/TRAppDelegate.h"
#include "app/alert.h"
#include "app/controller_state.h"
#include "app/platform.h"
#include "app/verdict_banner.h"
#include "app/window_layout.h"
#include "runner/run_guard.h"

// The period of the display's polling.
constexpr int display_period_ms = 1000;

TRAppDelegate::TRAppDelegate()
    : m_layout(std::make_unique<window_layout>()), m_mailbox(std::make_unique<mailbox>([this] {
          takeMail();
          showPendingFailure();
      })) {
    m_layout->bind(*this);
    m_verdict = std::make_unique<verdict_banner>(
        m_layout->verdict_title(), m_layout->verdict_detail(), m_layout->verdict_reasons());
    applyConsoleFont();
    connectActions();
    handleEngineFailures(true);
}

TRAppDelegate::~TRAppDelegate() {
    handleEngineFailures(false);
    stopTimer();
}

void TRAppDelegate::connectActions() {
    const auto press = [this](QPushButton *button, void (TRAppDelegate::*action)()) {
        connect(button, &QPushButton::clicked, this, [this, action] { (this->*action)(); });
    };
    press(UI_open_device_outlet, &TRAppDelegate::UI_open_device);
    press(UI_start, &TRAppDelegate::UI_start_pressed);
    press(UI_disableSpotlight_outlet, &TRAppDelegate::UI_disableSpotlight);
    press(UI_removeSpotlightData_outlet, &TRAppDelegate::UI_removeSpotlightData);
    press(UI_removeTrashesData_outlet, &TRAppDelegate::UI_removeTrashesData);
    press(UI_disableLogging_outlet, &TRAppDelegate::UI_disableLogging);
    press(m_layout->verdict_reasons(), &TRAppDelegate::showVerdictReasons);
    press(UI_showInfo_outlet, &TRAppDelegate::UI_showInfo);
    press(UI_feedback_outlet, &TRAppDelegate::UI_feedback);
    const window_layout::help_buttons help = m_layout->help();
    press(help.hidden_files, &TRAppDelegate::UI_showInfo_hiddenFiles);
    press(help.disable_spotlight, &TRAppDelegate::UI_showInfo_disableSpotlight);
    press(help.remove_spotlight_data, &TRAppDelegate::UI_showInfo_removeSpotlightData);
    press(help.remove_trashes_data, &TRAppDelegate::UI_showInfo_removeTrashesData);
    press(help.remove_logging_data, &TRAppDelegate::UI_showInfo_removeLoggingData);
    press(help.disable_logging, &TRAppDelegate::UI_showInfo_disableLogging);
}

void TRAppDelegate::readVersionKeys() {
    shortVersionString = TROVIK_SHORT_VERSION;
    bundleVersionString = TROVIK_BUNDLE_VERSION;
}

void TRAppDelegate::buildVersionStrings() {
    // A fixed stamp of the product, not the day of the build.
    buildDateString = std::string("2017") + "-" + "03" + "mar" + "-" + "22";
    versionString =
        shortVersionString + "-" + bundleVersionString + " (" + buildDateString + ") [sandboxed]";
}

bool TRAppDelegate::applicationDidFinishLaunching() {
    readVersionKeys();
    const auto [systemVersion, isListed] = product_version(systemPropertyList);
    const QString codename =
        isListed ? UTIL_getOSCodenameForVersionNumber(systemVersion) : QString();
    diagnostic_log("os_codename " + codename.toStdString());
    productVersionTag = shortVersionString + "-(" + bundleVersionString + ")";
    buildFeedbackURL(systemVersion, codename);
    setUpShareButton();
    readVersionKeys();
    buildVersionStrings();
    UI_versionString->setText("trovik " + QString::fromStdString(versionString));
    uiState.store(UI_STATE_INIT, std::memory_order_release);
    UI_start->setEnabled(false);
    UI_disableSpotlight_outlet->setEnabled(false);
    UI_removeSpotlightData_outlet->setEnabled(false);
    const bool accepted = askForBackup();
    startTimer();
    uiState.store(UI_STATE_WAITING, std::memory_order_release);
    return accepted;
}

// The menu opens when the button is pressed down, also by keyboard.
void TRAppDelegate::setUpShareButton() {
    UI_shareButton_outlet->setIcon(QIcon(QStringLiteral(":/share.svg")));
    connect(UI_shareButton_outlet, &QPushButton::pressed, this,
            [this] { UI_shareButton(UI_shareButton_outlet); });
}

bool TRAppDelegate::askForBackup() {
    const int answer = alert_run(
        window,
        {.style = alert_style::warning,
         .message = QStringLiteral("Create BACKUP first before usage"),
         .informative = QStringLiteral(
             "Trovik comes without any warranty. Use at your own risk. This application does do "
             "heavy file write and file read operations and can erase contents and folders on "
             "your device, harddrive or even make a device unusable. \n"
             "trovik should not touch or delete any existing files.\n"
             "But anyway make a BACKUP first before continue is always a good idea."),
         .buttons = {QStringLiteral("Quit"), QStringLiteral("Yes, I know what I am doing")},
         .safe_answer = ALERT_FIRST_BUTTON});
    // The program ends after the rest of the start-up.
    if (answer == ALERT_FIRST_BUTTON)
        QTimer::singleShot(0, qApp, &QCoreApplication::quit);
    return answer != ALERT_FIRST_BUTTON;
}

void TRAppDelegate::startTimer() {
    uiTimer = new QTimer(this);
    uiTimer->setTimerType(Qt::PreciseTimer);
    uiTimer->setInterval(display_period_ms);
    connect(uiTimer, &QTimer::timeout, this, [this] { updateUI(); });
    uiTimer->start();
}

void TRAppDelegate::stopTimer() {
    if (uiTimer == nullptr)
        return;
    uiTimer->stop();
    uiTimer->deleteLater();
    uiTimer = nullptr;
}

void TRAppDelegate::applicationWillTerminate() {
    stopTimer();
}

bool TRAppDelegate::applicationShouldTerminateAfterLastWindowClosed() const {
    return true;
}
