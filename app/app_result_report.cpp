// What happens once after each test: the report, the clean-up, and the window made
// ready for the next one.
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>

#include "app/TRAppDelegate.h"
#include "app/controller_state.h"
#include "app/diagnostic_log.h"
#include "app/verdict_banner.h"
#include "app/window_layout.h"
#include "model/engine_status.h"
#include "model/f3write.h"
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
    UI_readSpeed->setText(QString::asprintf("%.2f", get_read_speed()));
    UI_readUnit->setText(QString::fromUtf8(get_read_speed_unit()));
    m_layout->phase()->clear();
    // Before the clean-up lists files anew. Both must speak of the same run.
    m_verdict->show(verdict_judge(run_snapshot_collect(m_scope)));
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
}

void TRAppDelegate::removeTestFiles() {
    diagnostic_log("d: f3write_unlink_old_files begin - cleanup");
    if (m_anchor && m_anchor->is_in_place())
        f3write_unlink_old_files(selectedVolumePath.c_str(), 0);
    else
        writeToConsole(
            "The volume was unmounted or replaced; what stands at its place now was "
            "not touched.\n");
    m_anchor.reset();
    diagnostic_log("d: f3write_unlink_old_files end");
}

void TRAppDelegate::writeReport() {
    const report_facts facts =
        report_facts_collect(selectedVolumePath, selectedVolumeCapacity.value_or(0), versionString);
    reportSummary += report_block_summary(facts);
    for (const std::string &line : report_block_lines(facts))
        writeToConsole(line);
}
