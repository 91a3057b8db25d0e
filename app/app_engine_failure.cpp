// SPDX-License-Identifier: GPL-3.0-or-later
// When the engine ends the process, an alert gives the reason, and the console's text goes to
// standard error. The process then ends with the engine's status.
#include <unistd.h>

#include <QMainWindow>
#include <QPlainTextEdit>
#include <QString>
#include <chrono>
#include <cstdio>

#include "app/TRAppDelegate.h"
#include "app/alert.h"
#include "app/controller_state.h"
#include "model/engine_results.h"
#include "model/fatal.h"
#include "report/printable.h"
#include "report/report_block.h"
#include "runner/left_files.h"

// A volume that has just failed may never answer. The alert waits for it as long as a test waits
// before it begins.
constexpr std::chrono::seconds patience{2};

// The controller that shows the engine's failures. The main thread writes it while no job runs.
static TRAppDelegate *controller = nullptr;
// Set by the failing thread, read by the main thread at its end.
static std::atomic<bool> failed{false};

void TRAppDelegate::handleEngineFailures(bool listen) {
    controller = listen ? this : nullptr;
    engine_set_fatal_handler(listen ? onEngineFailure : nullptr);
}

// Runs on the failing thread. The process ends when it returns.
void TRAppDelegate::onEngineFailure(const char *message, int /*exitStatus*/) {
    failed = true;
    if (std::this_thread::get_id() == controller->m_mainThread) {
        controller->showEngineFailure(message);
        return;
    }
    controller->m_mailbox->send({mail_kind::engine_failure, message});
    controller->m_mailbox->wait_for_answer();
}

// The failed phase, for messages that only name the engine's internals.
static QString failed_phase() {
    switch (engine_results_phase()) {
        case ENGINE_PHASE_REMOVING:
            return QStringLiteral("Removing test files failed.");
        case ENGINE_PHASE_WRITING:
            return QStringLiteral("Writing to the volume failed.");
        case ENGINE_PHASE_LISTING:
        case ENGINE_PHASE_READING:
            return QStringLiteral("Reading from the volume failed.");
        case ENGINE_PHASE_IDLE:
            break;
    }
    return QStringLiteral("The volume failed.");
}

// Which test files are left, and what removes them.
static QString left_files_text(const std::optional<std::string> &files) {
    if (files && files->empty())
        return QStringLiteral("No test files are left on the volume.");
    // A removal that failed now may fail next time, too.
    const QString then = engine_results_phase() == ENGINE_PHASE_REMOVING
                             ? QStringLiteral(".")
                             : QStringLiteral("; the next test removes them.");
    if (files)
        return "Test files left on the volume: " + QString::fromStdString(*files) + then;
    return "The test files N.fff may still be on the volume" + then;
}

QString TRAppDelegate::failureText(const std::string &message, bool volumeIsGone) const {
    engine_write_results written = {};
    engine_results_write(&written);
    QString text;
    if (volumeIsGone)
        text = QStringLiteral("The volume is gone: it was pulled out or unmounted.");
    else if (written.write_error != 0 && engine_results_phase() == ENGINE_PHASE_WRITING)
        text = "Writing to the volume failed: " +
               QString::fromStdString(error_text(written.write_error)) + ".";
    else
        text = failed_phase();
    text += "\n\n" + QString::fromStdString(printable_text(message));
    if (m_cleaningUp)
        text += QStringLiteral("\n\nThe test itself was complete: its verdict is in the window.");
    return text;
}

void TRAppDelegate::showEngineFailure(const std::string &message) {
    drainEngineLog();
    // The test was complete, so its report is, too.
    if (m_cleaningUp) {
        writeToConsole(report_block_all_done());
        writeReport();
    }
    std::string said = UI_consoleOutput->toPlainText().toStdString();
    if (!said.empty() && said.back() != '\n')
        said += '\n';
    std::fwrite(said.data(), 1, said.size(), stderr);
    std::fflush(stderr);
    // After the console's text, which came first. The job's thread waits for the answer, so the
    // guard may be read here.
    const left_files found =
        m_guard
            ? left_files_look(*m_guard, patience)
            : left_files_look({.folder = selectedVolumePath, .volume = selectedVolume}, patience);
    const QString left = left_files_text(found.files);
    std::fprintf(stderr, "trovik: %s\n", left.toUtf8().constData());
    std::fflush(stderr);
    alert_run(window,
              {.style = alert_style::critical,
               .message = m_cleaningUp ? QStringLiteral("The test files could not be removed")
                                       : QStringLiteral("The test stopped early"),
               .informative = failureText(message, found.volume_gone) + "\n\n" + left,
               .buttons = {QStringLiteral("Quit")}});
}

int TRAppDelegate::leaveProcess(int status) {
    if (failed) {
        // The waiting thread ends the process with the engine's status; the alert is not shown.
        m_mailbox->answer();
        for (;;)
            pause();
    }
    // The job still runs and is not stopped, so nothing that it uses may be destroyed.
    if (jobThread && jobThread->is_executing()) {
        // Detaches the thread, so that it leaves nothing to be joined if it ends meanwhile.
        jobThread.reset();
        std::fflush(nullptr);
        _exit(status);
    }
    return status;
}
