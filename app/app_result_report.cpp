// SPDX-License-Identifier: GPL-3.0-or-later
// After each test: the report, the clean-up, and the window for the next test.
#include <QLabel>
#include <QMainWindow>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>

#include "app/TRAppDelegate.h"
#include "app/alert.h"
#include "app/controller_state.h"
#include "app/verdict_banner.h"
#include "app/window_layout.h"
#include "model/engine_status.h"
#include "report/number_text.h"
#include "report/report_block.h"
#include "report/report_facts.h"
#include "report/run_snapshot.h"
#include "report/verdict.h"

void TRAppDelegate::showResult() {
    stopTimer();
    UI_progressValue->setText(QStringLiteral("100%"));
    UI_progress->setValue(100);
    UI_start->setText(QStringLiteral("Finished."));
    UI_start->setEnabled(false);
    UI_readSpeed->setText(QString::fromStdString(number_text_fixed(get_read_speed(), 2)));
    UI_readUnit->setText(QString::fromUtf8(get_read_speed_unit()));
    m_layout->phase()->clear();
    // Before the clean-up, which lists files again and overwrites the run's values.
    const run_snapshot run = run_snapshot_collect(m_scope);
    m_verdict->show(verdict_judge(run), selectedVolumePath);
    removeTestFiles();
    drainEngineLog();
    writeToConsole(report_block_all_done());
    // Without a finished read phase, the values are those of an earlier run.
    if (!m_scope.volume_gone || run_snapshot_read_finished(run))
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
