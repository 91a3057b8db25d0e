// SPDX-License-Identifier: GPL-3.0-or-later
// Once a second the display copies the engine's values into the window. One tick may show values of
// two different moments.
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <algorithm>
#include <filesystem>

#include "app/TRAppDelegate.h"
#include "app/alert.h"
#include "app/controller_state.h"
#include "app/window_layout.h"
#include "model/engine_log.h"
#include "model/engine_results.h"
#include "model/engine_status.h"
#include "report/number_text.h"
#include "report/printable.h"

static QString text(const std::string &words) {
    return QString::fromStdString(words);
}

void TRAppDelegate::updateUI() {
    // Open alerts and panels stop the display.
    if (modal_question::is_open())
        return;
    showStateLabel(uiState.load(std::memory_order_acquire));
    const std::uint32_t gate = uiState.load(std::memory_order_acquire);
    if (gate != UI_STATE_MEDIUM_FOUND && gate != UI_STATE_TESTING && gate != UI_STATE_RESULT)
        return;
    showEngineValues();
    if (uiState.load(std::memory_order_acquire) == UI_STATE_MEDIUM_FOUND)
        showVolume();
    if (uiState.load(std::memory_order_acquire) == UI_STATE_RESULT)
        showResult();
}

void TRAppDelegate::showStateLabel(std::uint32_t state) {
    switch (state) {
        case UI_STATE_INIT:
            UI_state->setText(QStringLiteral("<INIT>"));
            break;
        case UI_STATE_WAITING:
            UI_state->setText(QStringLiteral("<WAITING>"));
            break;
        case UI_STATE_MEDIUM_FOUND:
            UI_state->setText(QStringLiteral("<MEDIUM FOUND>"));
            break;
        case UI_STATE_TESTING:
            UI_state->setText(QStringLiteral("<TESTING>"));
            break;
        case UI_STATE_RESULT:
            UI_state->setText(QStringLiteral("<RESULT>"));
            break;
        default:
            break;
    }
}

void TRAppDelegate::showEngineValues() {
    UI_errorMessage->setText(text(volumeErrorMessage));
    UI_writeSpeed->setText(text(number_text_fixed(get_write_speed(), 2)));
    const char *const unit = get_write_speed_unit();
    UI_writeUnit->setText(*unit != '\0' ? QString::fromUtf8(unit) : QStringLiteral("NA"));
    const double progress = get_write_progress();
    UI_progress->setValue(static_cast<int>(progress));
    UI_progressValue->setText(text(number_text_fixed(progress, 1) + " %"));
    showPhase();
    drainEngineLog();
    scrollConsoleToEnd();
}

// The phase of the test. The progress bar covers writing only, so reading has its percentage here.
void TRAppDelegate::showPhase() {
    engine_write_results written = {};
    engine_read_results read = {};
    engine_results_write(&written);
    engine_results_read(&read);
    QString phase;
    switch (engine_results_phase()) {
        case ENGINE_PHASE_REMOVING:
            phase = QStringLiteral("Removing old test files");
            break;
        case ENGINE_PHASE_WRITING:
            phase = QStringLiteral("Writing %1.fff").arg(written.current_index + 1);
            break;
        case ENGINE_PHASE_LISTING:
            phase = QStringLiteral("Listing test files");
            break;
        case ENGINE_PHASE_READING: {
            const double all =
                static_cast<double>(std::max<std::uint64_t>(written.bytes_written, 1));
            const double part = static_cast<double>(read.bytes_read) * 100.0 / all;
            phase = QStringLiteral("Reading %1.fff (%2 %)")
                        .arg(read.current_index + 1)
                        .arg(text(number_text_fixed(std::min(part, 100.0), 1)));
            break;
        }
        case ENGINE_PHASE_IDLE:
            break;
    }
    m_layout->phase()->setText(phase);
}

// The job's own lines come before these: they were sent earlier.
void TRAppDelegate::drainEngineLog() {
    const engine_log_view lines = engine_log_take_view();
    writeToConsole(printable_lines({lines.text, lines.length}));
}

void TRAppDelegate::showVolume() {
    UI_volumesName->setText(text(printable_text(selectedVolumePath)));
    const QString capacity = selectedVolumeCapacity ? QString::number(*selectedVolumeCapacity)
                                                    : QStringLiteral("(null)");
    UI_volumesCapacityGB->setText(QStringLiteral("%1 (%2 Bytes) (%3 Bytes)")
                                      .arg(text(selectedVolumeCapacityText),
                                           text(selectedVolumeCapacityLocalized), capacity));
    const std::uint64_t free_bytes = engine_free_space();
    UI_volumesFreeSpace->setText(
        QStringLiteral("%1 (%2 Bytes)")
            .arg(util_getSizeByByte(static_cast<double>(free_bytes)), QString::number(free_bytes)));
    const bool writable = selectedVolumeWritable != 0;
    UI_volumesReadOnly->setText(writable ? QStringLiteral("read/write")
                                         : QStringLiteral("read only"));
    UI_start->setEnabled(writable);
    UI_disableSpotlight_outlet->setEnabled(writable);
    UI_removeSpotlightData_outlet->setEnabled(writable);
    showMarkers();
}

static bool exists_on_volume(const char *name) {
    std::error_code unreadable;
    return std::filesystem::exists(selectedVolumePath + "/" + name, unreadable);
}

void TRAppDelegate::showMarkers() {
    spotlightDataFound = exists_on_volume(".Spotlight-V100") ? 1 : 0;
    UI_volumesSpotlightThere->setText(spotlightDataFound != 0
                                          ? QStringLiteral("Found Spotlight data.")
                                          : QStringLiteral("No Spotlight data found."));
    spotlightNotDisabled = exists_on_volume(".metadata_never_index") ? 0 : 1;
    UI_volumesSpotlightStatus->setText(spotlightNotDisabled != 0
                                           ? QStringLiteral("Spotlight is not disabled.")
                                           : QStringLiteral("Spotlight is disabled."));
    UI_disableSpotlight_outlet->setText(spotlightNotDisabled != 0
                                            ? QStringLiteral("Disable Spotlight")
                                            : QStringLiteral("Enable Spotlight"));
    trashesFound = exists_on_volume(".Trashes") ? 1 : 0;
    UI_volumesTrashes->setText(trashesFound != 0 ? QStringLiteral("Found Trashes data.")
                                                 : QStringLiteral("No Trashes data found."));
    // The label shows the state of the logging, not of the marker.
    noLogPresent = exists_on_volume(".fseventsd/no_log") ? 1 : 0;
    UI_volumesNoLog->setText(noLogPresent != 0 ? QStringLiteral("Disabled.")
                                               : QStringLiteral("Enabled."));
}
