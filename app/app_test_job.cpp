// The one long run of the program. The job reports nothing back by message: what
// the user sees is what the display polls.
#include <QLabel>
#include <QMainWindow>
#include <QPlainTextEdit>
#include <QPushButton>
#include <cerrno>
#include <chrono>
#include <cstdlib>

#include "app/TRAppDelegate.h"
#include "app/alert.h"
#include "app/controller_state.h"
#include "app/diagnostic_log.h"
#include "app/verdict_banner.h"
#include "model/engine_log.h"
#include "model/engine_results.h"
#include "model/f3read.h"
#include "model/f3write.h"
#include "model/fatal.h"
#include "model/utils.h"
#include "report/printable.h"
#include "report/time_stamp.h"
#include "runner/test_files.h"
#include "volume/cold_read.h"
#include "volume/folder_anchor.h"
#include "volume/run_lock.h"

// Long enough for the display to show a state before the next thing happens.
constexpr std::chrono::seconds pause_of_job{2};

// Whether what is mounted there now is what the user has chosen: a card that was
// pulled out leaves a folder of the system in its place, and a test would fill that.
bool TRAppDelegate::isChosenVolumeThere() {
    volume_info now;
    std::string error;
    return !selectedVolume || (volume_describe(selectedVolumePath, now, error) &&
                               volume_is_still(*selectedVolume, now));
}

void TRAppDelegate::tellThatVolumeHasGone() {
    alert_run(window,
              {.style = alert_style::warning,
               .message = QStringLiteral("The chosen volume is not there any more"),
               .informative = QString::fromStdString(printable_text(selectedVolumePath)) +
                              " is not the volume that you have chosen. Nothing was touched.\n\n"
                              "Insert the card again and choose it anew.",
               .buttons = {QStringLiteral("OK")}});
}

void TRAppDelegate::tellThatVolumeIsBusy() {
    alert_run(window,
              {.style = alert_style::warning,
               .message = QStringLiteral("Another run is at work on this volume"),
               .informative = QString::fromStdString(printable_text(selectedVolumePath)) +
                              " is being tested by another window or by the command line. Nothing "
                              "was touched.\n\nWait until it has ended, then start again.",
               .buttons = {QStringLiteral("OK")}});
}

// What a user could lose, or would wait for in vain, asked right before a test begins. A
// refusal gives the volume back before its alert: that may stay open for long.
bool TRAppDelegate::mayTestVolume() {
    if (!isChosenVolumeThere()) {
        releaseVolume();
        tellThatVolumeHasGone();
        return false;
    }
    const auto isHeld = [](const run_lock_answer &answer) {
        return answer.state == run_lock_state::held_by_run ||
               answer.state == run_lock_state::locked;
    };
    if ((selectedVolume && isHeld(m_lock->take_file_system(selectedVolume->device))) ||
        isHeld(m_lock->take(selectedVolumePath))) {
        releaseVolume();
        tellThatVolumeIsBusy();
        return false;
    }
    test_file_scan files;
    std::string unreadable;
    // A folder that cannot be read ends the test by itself, with the system's reason.
    if (!test_files_scan(selectedVolumePath, 0, files, unreadable) || files.foreign.empty())
        return true;
    releaseVolume();
    alert_run(window,
              {.style = alert_style::warning,
               .message = QStringLiteral("The volume holds entries that are not ours"),
               .informative = QString::fromStdString(printable_text(selectedVolumePath)) +
                              " has entries with a test file's name that are none: " +
                              QString::fromStdString(test_files_foreign_text(files.foreign)) +
                              ". Nothing was touched.\n\nMove or rename them, then start again.",
               .buttons = {QStringLiteral("OK")}});
    return false;
}

void TRAppDelegate::UI_start_pressed() {
    if (jobThread && jobThread->is_executing()) {
        diagnostic_log("Thread is working...");
        return;
    }
    const QString volume = QString::fromStdString(selectedVolumePath);
    // By its bare name: the panel that asks for it decides where it looks.
    qop_sandbox_askUserForPermission_readWrite(QStringLiteral("1.fff"), QStringLiteral("1.fff"));
    qop_sandbox_askUserForPermission_read(volume, volume);
    // From before the last look at the volume on: what is looked at is what is tested.
    m_anchor = std::make_unique<folder_anchor>(selectedVolumePath);
    m_lock = std::make_unique<run_lock>();
    if (!mayTestVolume())
        return;
    jobThread = std::make_unique<run_thread>([this] { startTheBackgroundJob(); });
    UI_open_device_outlet->setEnabled(false);
    UI_disableSpotlight_outlet->setEnabled(false);
    UI_removeSpotlightData_outlet->setEnabled(false);
    UI_start->setEnabled(false);
    UI_start->setText(QStringLiteral("Please wait..."));
    // The write speed stays: the display's next tick overwrites it anyway.
    UI_readSpeed->setText(QStringLiteral("0.00"));
    UI_consoleOutput->clear();
    m_verdict->show_running();
    if (!jobThread->start()) {
        showNotStarted();
        return;
    }
    // A tick that still saw the volume's state would enable Start again.
    while (uiState.load(std::memory_order_acquire) != UI_STATE_TESTING)
        std::this_thread::yield();
}

void TRAppDelegate::releaseVolume() {
    m_lock.reset();
    m_anchor.reset();
}

void TRAppDelegate::showNotStarted() {
    releaseVolume();
    m_verdict->show_none();
    UI_start->setText(QStringLiteral("Start"));
    UI_open_device_outlet->setEnabled(true);
    alert_run(window, {.style = alert_style::critical,
                       .message = QStringLiteral("The test could not be started"),
                       .informative = QStringLiteral("The system has no thread to spare. Close "
                                                     "other programs, then start again."),
                       .buttons = {QStringLiteral("OK")}});
}

// A volume that went away in the middle must not be mistaken for the folder that it
// was mounted on. There is nothing left to test then, and nothing that may be touched.
void TRAppDelegate::seeToVolume() {
    if (!m_anchor->is_in_place())
        engine_fatal_exit(ENODEV, "ERR: The volume was unmounted or replaced during the test:",
                          selectedVolumePath.c_str());
}

// What is read must come from the medium.
void TRAppDelegate::seeToMedium() {
    if (!selectedVolume)
        return;
    std::vector<std::string> names;
    std::string unlisted;
    test_files_names(selectedVolumePath, 0, names, unlisted);
    const std::string reason =
        cold_read_prepare(*selectedVolume, selectedVolumePath, names, unlisted, mediumIsMemory);
    if (reason.empty())
        return;
    m_scope.may_rest_on_memory = true;
    // Behind what the engine has said so far, like a line of its own.
    engine_log_append(
        ("What is read now may come from the computer's memory: " + printable_text(reason) + "\n")
            .c_str());
}

void TRAppDelegate::startTheBackgroundJob() {
    uiState.store(UI_STATE_TESTING, std::memory_order_release);
    m_scope = {.has_write = true, .has_read = true, .expects_all_written = true};
    std::this_thread::sleep_for(pause_of_job);
    writeToConsole(time_stamp_now() + " - -------------------------------\n");
    // The control characters of a name are shown escaped on purpose.
    writeToConsole(time_stamp_now() + " - Start testing volume " +
                   printable_text(selectedVolumePath) + "\n");
    writeToConsole(time_stamp_now() + " - Capacity " + selectedVolumeCapacityGBText + " GB\n");

    const char *path = selectedVolumePath.c_str();
    seeToVolume();
    diagnostic_log("d: f3write_unlink_old_files begin");
    f3write_unlink_old_files(path, 0);
    diagnostic_log("d: f3write_unlink_old_files end");
    engine_read_results removal = {};
    engine_results_read(&removal);
    m_scope.removal_listing_error = removal.listing_error;

    seeToVolume();
    diagnostic_log("d: f3write_fill_fs begin");
    f3write_fill_fs(path, 0, 1);
    diagnostic_log("d: f3write_fill_fs end");
    writePhaseDone.store(1, std::memory_order_relaxed);

    seeToVolume();
    seeToMedium();
    path = selectedVolumePath.c_str();
    diagnostic_log("d: ls_my_files begin");
    int *const files = ls_my_files(path, 0);
    diagnostic_log("d: ls_my_files end");
    diagnostic_log("d: f3read_iterate_files begin");
    f3read_iterate_files(path, files, 0, 1);
    diagnostic_log("d: f3read_iterate_files end");
    std::free(files);
    m_scope.volume_gone = !m_anchor->is_in_place();
    uiState.store(UI_STATE_RESULT, std::memory_order_release);
    std::this_thread::sleep_for(pause_of_job);
}
