// SPDX-License-Identifier: GPL-3.0-or-later
// From the press of Start to the result. The job sends no message: it sets uiState, and the display
// polls the engine's values.
#include <QLabel>
#include <QMainWindow>
#include <QPlainTextEdit>
#include <QPushButton>
#include <chrono>
#include <filesystem>

#include "app/TRAppDelegate.h"
#include "app/alert.h"
#include "app/controller_state.h"
#include "app/platform.h"
#include "app/verdict_banner.h"
#include "model/engine_log.h"
#include "report/printable.h"
#include "report/time_stamp.h"
#include "runner/run_guard.h"
#include "runner/run_steps.h"

static QString refusal_title(const run_refusal &refusal) {
    switch (refusal.kind) {
        case refusal_kind::other_run:
            return QStringLiteral("Another run is at work on this volume");
        case refusal_kind::locked:
            return QStringLiteral("Another program holds a lock on this volume");
        case refusal_kind::foreign_entries:
            return QStringLiteral("The volume holds entries that are not ours");
        case refusal_kind::volume_gone:
        case refusal_kind::other_volume:
            return QStringLiteral("The chosen volume is gone");
        default:
            return QStringLiteral("This folder cannot be used");
    }
}

// The sentence that follows the folder's name, and the user's next step.
static QString refusal_explanation(const run_refusal &refusal) {
    switch (refusal.kind) {
        case refusal_kind::other_run:
            return QStringLiteral(
                " is being tested by another window or by the command line. Nothing was "
                "touched.\n\nWait until it has ended, then start again.");
        case refusal_kind::locked:
            return QStringLiteral(
                       " is locked by another program%1. Nothing was touched.\n\nClose "
                       "that program, then start again.")
                .arg(refusal.may_be_run ? QStringLiteral(", perhaps by another run") : QString());
        case refusal_kind::foreign_entries:
            return " has entries with a test file's name that are none: " +
                   QString::fromStdString(test_files_foreign_text(refusal.foreign)) +
                   ". Nothing was touched.\n\nMove or rename them, then start again.";
        case refusal_kind::volume_gone:
        case refusal_kind::other_volume:
            return QStringLiteral(
                " is not the volume that you have chosen. Nothing was touched.\n\nInsert the card "
                "again, then choose it again.");
        default:
            return ": " + QString::fromStdString(printable_text(refusal.reason));
    }
}

run_refusal TRAppDelegate::lookAtVolume(run_guard &guard, bool acceptNewMount) const {
    return guard.look({.path = selectedVolumePath,
                       // The user has confirmed the volume when choosing it.
                       .judge_volume = false,
                       .chosen = selectedVolume,
                       .accept_new_mount = acceptNewMount,
                       .pass_unreadable = true});
}

run_refusal TRAppDelegate::takeVolume(bool acceptNewMount) {
    m_guard = std::make_unique<run_guard>();
    run_refusal refusal = lookAtVolume(*m_guard, acceptNewMount);
    if (!refusal)
        refusal = m_guard->take();
    if (refusal)
        m_guard.reset();
    return refusal;
}

void TRAppDelegate::showRefusal(const run_refusal &refusal) {
    alert_run(window, {.style = alert_style::warning,
                       .message = refusal_title(refusal),
                       .informative = QString::fromStdString(printable_text(selectedVolumePath)) +
                                      refusal_explanation(refusal),
                       .buttons = {QStringLiteral("OK")}});
}

// The card may have been mounted again since it was chosen. Returns false if it takes no writes
// now: the display then says so and disables Start.
bool TRAppDelegate::recordNewMount() {
    if (!selectedVolume || volume_is_still(*selectedVolume, *m_guard->volume()))
        return true;
    selectedVolume = m_guard->volume();
    recordVolume();
    if (selectedVolumeWritable == 0)
        m_guard.reset();
    return m_guard != nullptr;
}

void TRAppDelegate::UI_start_pressed() {
    if (jobThread && jobThread->is_executing()) {
        diagnostic_log("Thread is working...");
        return;
    }
    const QString volume = QString::fromStdString(selectedVolumePath);
    // By its bare name: the panel chooses the folder.
    qop_sandbox_askUserForPermission_readWrite(QStringLiteral("1.fff"), QStringLiteral("1.fff"));
    qop_sandbox_askUserForPermission_read(volume, volume);
    if (const run_refusal refusal = takeVolume(true)) {
        showRefusal(refusal);
        return;
    }
    if (!recordNewMount())
        return;
    jobThread = std::make_unique<run_thread>([this] { startTheBackgroundJob(); });
    UI_open_device_outlet->setEnabled(false);
    UI_disableSpotlight_outlet->setEnabled(false);
    UI_removeSpotlightData_outlet->setEnabled(false);
    UI_start->setEnabled(false);
    UI_start->setText(QStringLiteral("Please wait..."));
    // The display's next tick overwrites the write speed.
    UI_readSpeed->setText(QStringLiteral("0.00"));
    UI_consoleOutput->clear();
    m_verdict->show_running();
    if (!jobThread->start()) {
        showNotStarted();
        return;
    }
    // A tick in the volume's state would enable Start again.
    while (uiState.load(std::memory_order_acquire) != UI_STATE_TESTING)
        std::this_thread::yield();
}

void TRAppDelegate::showNotStarted() {
    m_guard.reset();
    m_verdict->show_none();
    UI_start->setText(QStringLiteral("Start"));
    UI_open_device_outlet->setEnabled(true);
    alert_run(window, {.style = alert_style::critical,
                       .message = QStringLiteral("The test could not be started"),
                       .informative = QStringLiteral("The system has no thread to spare. Close "
                                                     "other programs, then start again."),
                       .buttons = {QStringLiteral("OK")}});
}

// The engine's function behind a step, as the log calls it.
static const char *log_name(run_step step) {
    switch (step) {
        case run_step::fill:
            return "f3write_fill_fs";
        case run_step::list:
            return "ls_my_files";
        case run_step::read:
            return "f3read_iterate_files";
        case run_step::remove:
        case run_step::clean_up:
            break;
    }
    return "f3write_unlink_old_files";
}

static run_callbacks job_callbacks() {
    run_callbacks callbacks;
    callbacks.before = [](run_step step) {
        diagnostic_log(std::string("d: ") + log_name(step) + " begin");
    };
    callbacks.after = [](run_step step) {
        diagnostic_log(std::string("d: ") + log_name(step) + " end");
        if (step == run_step::fill)
            writePhaseDone.store(1, std::memory_order_relaxed);
    };
    // Behind the engine's own lines so far.
    callbacks.memory_doubt = [](const std::string &line) { engine_log_append(line.c_str()); };
    return callbacks;
}

void TRAppDelegate::startTheBackgroundJob() {
    uiState.store(UI_STATE_TESTING, std::memory_order_release);
    m_scope = {};
    std::this_thread::sleep_for(pauseOfJob);
    writeToConsole(time_stamp_now() + " - -------------------------------\n");
    // Control characters in the name are escaped on purpose.
    writeToConsole(time_stamp_now() + " - Start testing volume " +
                   printable_text(selectedVolumePath) + "\n");
    writeToConsole(time_stamp_now() + " - Capacity " + selectedVolumeCapacityGBText + " GB\n");
    // Start has taken the volume; a direct call has not.
    const run_refusal refusal = m_guard ? run_refusal() : takeVolume();
    if (refusal) {
        engine_log_append(
            ("The test was not started: " + refusal_title(refusal).toStdString() + ".\n").c_str());
    } else {
        run_steps steps(
            *m_guard,
            {.remove = true, .fill = true, .read = true, .medium_is_memory = mediumIsMemory},
            job_callbacks());
        steps.execute();
        m_scope = steps.scope();
    }
    uiState.store(UI_STATE_RESULT, std::memory_order_release);
    std::this_thread::sleep_for(pauseOfJob);
}

// After a job the volume is still taken; after a state set by hand it is not.
void TRAppDelegate::removeTestFiles() {
    diagnostic_log("d: f3write_unlink_old_files begin - cleanup");
    m_cleaningUp = true;
    const run_refusal refusal = m_guard ? run_refusal() : takeVolume();
    const bool is_gone =
        refusal.kind == refusal_kind::volume_gone || refusal.kind == refusal_kind::other_volume;
    std::error_code unreachable;
    if (refusal && !is_gone)
        engine_log_append(
            ("The test files were not removed: " + refusal_title(refusal).toStdString() + ".\n")
                .c_str());
    else if (is_gone || !m_guard->is_in_place() ||
             !std::filesystem::is_directory(m_guard->folder(), unreachable))
        engine_log_append(selectedVolumePath == "-"
                              ? "No volume is chosen; no test files were removed.\n"
                              : "The volume is gone; its test files were not removed.\n");
    else
        run_steps(*m_guard, {}).clean_up();
    m_cleaningUp = false;
    m_guard.reset();
    diagnostic_log("d: f3write_unlink_old_files end");
}
