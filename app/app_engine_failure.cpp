// When the engine ends the process, the user is told why, and what has been said so
// far is not lost with the window: it goes to standard error. The process then ends
// with the engine's own status.
#include <unistd.h>

#include <QMainWindow>
#include <QPlainTextEdit>
#include <QString>
#include <cstdio>

#include "app/TRAppDelegate.h"
#include "app/alert.h"
#include "app/controller_state.h"
#include "model/engine_results.h"
#include "model/fatal.h"
#include "report/error_text.h"

// The controller that the engine's failures are told to. Written by the main thread
// while no job runs.
static TRAppDelegate *controller = nullptr;
// Set by the thread that fails, read by the main thread when it leaves.
static std::atomic<bool> failed{false};

void TRAppDelegate::listenToEngineFailures(bool listen) {
    controller = listen ? this : nullptr;
    engine_set_fatal_handler(listen ? onEngineFailure : nullptr);
}

// On the thread where the failure happened. The process ends when this returns.
void TRAppDelegate::onEngineFailure(const char *message, int /*exitStatus*/) {
    failed = true;
    if (std::this_thread::get_id() == controller->m_mainThread) {
        controller->showEngineFailure(message);
        return;
    }
    controller->m_mailbox->send({mail_kind::engine_failure, message});
    controller->m_mailbox->wait_for_answer();
}

static QString reason_for_people(const std::string &message) {
    QString text;
    engine_write_results written = {};
    engine_results_write(&written);
    if (written.write_error != 0)
        text = "Writing to the volume failed: " +
               QString::fromStdString(error_text(written.write_error)) + ".\n\n";
    return text + QString::fromStdString(message) +
           "\n\nThe test files N.fff may still be on the volume; the next test removes them.";
}

void TRAppDelegate::showEngineFailure(const std::string &message) {
    drainEngineLog();
    const std::string said = UI_consoleOutput->toPlainText().toStdString();
    std::fwrite(said.data(), 1, said.size(), stderr);
    std::fflush(stderr);
    alert_run(window, {.style = alert_style::critical,
                       .message = QStringLiteral("The test has ended before its time"),
                       .informative = reason_for_people(message),
                       .buttons = {QStringLiteral("Quit")}});
}

int TRAppDelegate::leaveProcess(int status) {
    if (failed) {
        // Whoever waits for an alert that nobody will see any more ends the process,
        // with the engine's own status.
        m_mailbox->answer();
        for (;;)
            pause();
    }
    // A job that is executing is neither stopped nor waited for, so nothing that it
    // uses is taken down either.
    if (jobThread && jobThread->is_executing()) {
        std::fflush(nullptr);
        _exit(status);
    }
    return status;
}
