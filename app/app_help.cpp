// The help: each topic opens an alert with a fixed text.
#include <QMainWindow>

#include "app/TRAppDelegate.h"
#include "app/alert.h"
#include "app/help_texts.h"

void TRAppDelegate::showHelp(help_topic topic) {
    const help_text help = help_text_of(topic);
    alert_run(window, {.style = alert_style::warning,
                       .message = QString::fromUtf8(help.title),
                       .informative = QString::fromUtf8(help.text),
                       .buttons = {QStringLiteral("OK")}});
}

void TRAppDelegate::UI_showInfo() {
    showHelp(help_topic::general);
}

void TRAppDelegate::UI_showInfo_hiddenFiles() {
    showHelp(help_topic::hidden_files);
}

void TRAppDelegate::UI_showInfo_disableSpotlight() {
    showHelp(help_topic::disable_spotlight);
}

void TRAppDelegate::UI_showInfo_removeSpotlightData() {
    showHelp(help_topic::remove_spotlight_data);
}

void TRAppDelegate::UI_showInfo_removeTrashesData() {
    showHelp(help_topic::remove_trashes_data);
}

void TRAppDelegate::UI_showInfo_removeLoggingData() {
    showHelp(help_topic::remove_logging_data);
}

void TRAppDelegate::UI_showInfo_disableLogging() {
    showHelp(help_topic::disable_logging);
}
