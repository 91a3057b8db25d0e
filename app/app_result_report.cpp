// What happens once after each test: the report, the clean-up, and the window made
// ready for the next one.
#include <QLabel>
#include <QMainWindow>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <filesystem>

#include "app/TRAppDelegate.h"
#include "app/alert.h"
#include "app/controller_state.h"
#include "app/diagnostic_log.h"
#include "app/verdict_banner.h"
#include "app/window_layout.h"
#include "model/engine_log.h"
#include "model/engine_status.h"
#include "model/f3write.h"
#include "report/number_text.h"
#include "report/report_block.h"
#include "report/report_facts.h"
#include "report/run_snapshot.h"
#include "report/verdict.h"
#include "volume/folder_anchor.h"

void TRAppDelegate::showResult() {
    stopTimer();
    UI_progressValue->setText(QStringLiteral("100%"));
    UI_progress->setValue(100);
    UI_start->setText(QStringLiteral("Finished."));
    UI_start->setEnabled(false);
    UI_readSpeed->setText(QString::fromStdString(number_text_fixed(get_read_speed(), 2)));
    UI_readUnit->setText(QString::fromUtf8(get_read_speed_unit()));
    m_layout->phase()->clear();
    // Before the clean-up lists files anew. Both must speak of the same run.
    m_verdict->show(verdict_judge(run_snapshot_collect(m_scope)), selectedVolumePath);
    removeTestFiles();
    drainEngineLog();
    writeToConsole(report_block_all_done());
    writeReport();
    scrollConsoleToEnd();
    UI_open_device_outlet->setEnabled(true);
    UI_disableSpotlight_outlet->setEnabled(true);
    UI_removeSpotlightData_outlet->setEnabled(true);
    UI_start->setText(QStringLiteral("Start"));
    uiState.store(UI_STATE_WAITING, std::memory_order_release);
    startTimer();
    feedback_ask(true);
}

// A volume that has gone in the last moment takes its files with it; what stands at
// its place now is not touched.
void TRAppDelegate::removeTestFiles() {
    diagnostic_log("d: f3write_unlink_old_files begin - cleanup");
    m_cleaningUp = true;
    std::error_code unreachable;
    const bool there = m_anchor && m_anchor->is_in_place() &&
                       std::filesystem::is_directory(selectedVolumePath, unreachable);
    if (there)
        f3write_unlink_old_files(selectedVolumePath.c_str(), 0);
    else
        engine_log_append("The volume is not there any more; its test files were not removed.\n");
    m_cleaningUp = false;
    releaseVolume();
    diagnostic_log("d: f3write_unlink_old_files end");
}

void TRAppDelegate::writeReport() {
    const report_facts facts =
        report_facts_collect(selectedVolumePath, selectedVolumeCapacity.value_or(0), versionString);
    reportSummary += report_block_summary(facts);
    for (const std::string &line : report_block_lines(facts))
        writeToConsole(line);
}

void TRAppDelegate::showVerdictReasons() {
    alert_run(window, {.style = alert_style::informational,
                       .message = QStringLiteral("Verdict of the last test: ") +
                                  m_layout->verdict_title()->text(),
                       .informative = m_verdict->all_reasons(),
                       .buttons = {QStringLiteral("OK")}});
}
