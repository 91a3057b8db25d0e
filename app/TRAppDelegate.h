// SPDX-License-Identifier: GPL-3.0-or-later
// The controller owns the window and all actions. Each role of this class has a file of its own;
// this header is the index. controller_state.h has the shared state and its threads.
//
// All methods run on the main thread, except startTheBackgroundJob on the job's thread, and
// writeToConsole and the two util_ methods on any thread. Actions need no sender.
#ifndef TROVIK_APP_TRAPPDELEGATE_H
#define TROVIK_APP_TRAPPDELEGATE_H

#include <QObject>
#include <QString>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "app/mailbox.h"
#include "report/run_snapshot.h"

class QLabel;
class QMainWindow;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;
class run_guard;
struct run_refusal;
class verdict_banner;
class volume_marker;
class window_layout;

enum class help_topic {
    general,
    hidden_files,
    disable_spotlight,
    remove_spotlight_data,
    remove_trashes_data,
    remove_logging_data,
    disable_logging,
};

struct help_text {
    const char *title;
    const char *text;
};

// A topic's title and text, in app_help.cpp. Users and translators know the texts, spelling
// included. Any thread.
help_text help_text_of(help_topic topic);

class TRAppDelegate : public QObject {
 public:
    TRAppDelegate();
    ~TRAppDelegate() override;

    // Outlets, named as in MainWindow.ui. The window owns them.
    QMainWindow *window = nullptr;
    QPushButton *UI_start = nullptr;
    QLabel *UI_volumesName = nullptr;
    QLabel *UI_volumesCapacityGB = nullptr;
    QLabel *UI_volumesReadOnly = nullptr;
    QLabel *UI_volumesFreeSpace = nullptr;
    QLabel *UI_state = nullptr;
    QLabel *UI_volumesSpotlightThere = nullptr;
    QLabel *UI_volumesSpotlightStatus = nullptr;
    QLabel *UI_volumesTrashes = nullptr;
    QLabel *UI_volumesNoLog = nullptr;
    QLabel *UI_writeSpeed = nullptr;
    QLabel *UI_writeUnit = nullptr;
    QProgressBar *UI_progress = nullptr;
    QLabel *UI_progressValue = nullptr;
    QLabel *UI_readSpeed = nullptr;
    QLabel *UI_readUnit = nullptr;
    QLabel *UI_errorMessage = nullptr;
    QPlainTextEdit *UI_consoleOutput = nullptr;
    QPushButton *UI_open_device_outlet = nullptr;
    QPushButton *UI_disableSpotlight_outlet = nullptr;
    QPushButton *UI_removeSpotlightData_outlet = nullptr;
    QPushButton *UI_removeTrashesData_outlet = nullptr;
    QLabel *UI_versionString = nullptr;
    QLabel *UI_logging_label_outlet = nullptr;
    QPushButton *UI_disableLogging_outlet = nullptr;
    QPushButton *UI_showInfo_outlet = nullptr;
    QPushButton *UI_shareButton_outlet = nullptr;
    QPushButton *UI_feedback_outlet = nullptr;

    // In app_startup_shutdown.cpp
    // The property list with the system's version. Read at start-up.
    QString systemPropertyList = QStringLiteral("/System/Library/CoreServices/SystemVersion.plist");
    // Builds the version texts, asks the disclaimer and starts the timer. Call it once, from the
    // event loop. False when the user declines; the loop then quits on its next pass.
    bool applicationDidFinishLaunching();
    void applicationWillTerminate();
    bool applicationShouldTerminateAfterLastWindowClosed() const;

    // In app_engine_failure.cpp
    // Call it after the event loop. Ends the process with `status` when a test runs, which is
    // neither stopped nor waited for; else returns `status`.
    int leaveProcess(int status);

    // In app_volume_selection.cpp
    void UI_open_device();
    // Chooses the volume of `folder`. False when the volume cannot be described or the user
    // declines.
    bool selectVolumeOfFolder(const QString &folder);

    // In app_test_job.cpp
    // For a file system that keeps no copy besides its own memory. Not for users.
    bool mediumIsMemory = false;
    void UI_start_pressed();
    // Before and after a job, so that the display shows the states. Tests shorten it.
    std::chrono::milliseconds pauseOfJob{2000};
    // Job's thread.
    void startTheBackgroundJob();

    // In app_status_display.cpp
    void updateUI();

    // In app_housekeeping.cpp
    void UI_disableSpotlight();
    void UI_removeSpotlightData();
    void UI_removeTrashesData();
    void UI_disableLogging();

    // In app_help.cpp
    void UI_showInfo();
    void UI_showInfo_hiddenFiles();
    void UI_showInfo_disableSpotlight();
    void UI_showInfo_removeSpotlightData();
    void UI_showInfo_removeTrashesData();
    void UI_showInfo_removeLoggingData();
    void UI_showInfo_disableLogging();

    // In app_feedback.cpp
    // `afterResult`: the program asks, which the user can suppress.
    void feedback_ask(bool afterResult);
    void feedback_ask_happy();
    void rateApp();
    void UI_feedback();
    // Offers the results below `sender`, or in the window without one.
    void UI_shareButton(QWidget *sender);
    // "El Capitan" for "10.11.6"; the empty text for a version that has no name.
    QString UTIL_getOSCodenameForVersionNumber(const QString &version) const;

    // In app_access.cpp
    bool qop_sandbox_askUserForPermission_readWrite(const QString &name, const QString &text);
    bool qop_sandbox_askUserForPermission_read(const QString &name, const QString &text);
    void punchHoleInSandboxForFile(const QString &path);
    void sandbox_printSandboxInfo();

    // In app_console.cpp
    // "14.8 GB". Any thread.
    QString util_getSizeByByte(double bytes) const;
    // "2017.03.22 14:05:09", local time. Any thread.
    QString util_getNow() const;
    // Appends to the console. The main thread appends texts of the job's thread in their order.
    void writeToConsole(const std::string &text);

 private:
    // In app_startup_shutdown.cpp
    void connectActions();
    void readVersionKeys();
    void buildVersionStrings();
    void setUpShareButton();
    bool askForBackup();
    void startTimer();
    void stopTimer();

    // In app_volume_selection.cpp
    void showUnusableFolder(const std::string &reason);
    bool confirmSystemVolume(const QString &folder);
    void recordVolume();
    void logDeviceBlock();

    // In app_test_job.cpp
    // Whether the chosen volume is still there; with `acceptNewMount`, perhaps mounted again.
    run_refusal lookAtVolume(run_guard &guard, bool acceptNewMount) const;
    // Takes the chosen volume for a run: fills m_guard or returns the refusal.
    run_refusal takeVolume(bool acceptNewMount = false);
    bool recordNewMount();
    void showRefusal(const run_refusal &refusal);
    void showNotStarted();
    void removeTestFiles();

    // In app_status_display.cpp
    void showStateLabel(std::uint32_t state);
    void showEngineValues();
    void showPhase();
    void drainEngineLog();
    void showVolume();
    void showMarkers();

    // In app_result_report.cpp
    void showResult();
    void showVerdictReasons();
    void writeReport();

    // In app_housekeeping.cpp
    std::unique_ptr<volume_marker> openMarker(const std::string &folder, const std::string &name);
    void toggleMarker(const volume_marker &marker, bool exists, QPushButton *button,
                      const QString &titleWithout, const QString &titleWith);
    void removeMarkerFolder(const std::string &name);

    // In app_help.cpp
    void showHelp(help_topic topic);

    // In app_feedback.cpp
    void buildFeedbackURL(const QString &systemVersion, const QString &codename);

    // In app_console.cpp
    void applyConsoleFont();
    void appendToConsole(const std::string &text);
    void scrollConsoleToEnd();
    void takeMail();
    void showPendingFailure();

    // In app_engine_failure.cpp
    void handleEngineFailures(bool listen);
    static void onEngineFailure(const char *message, int exitStatus);
    void showEngineFailure(const std::string &message);
    QString failureText(const std::string &message, bool volumeIsGone) const;

    const std::thread::id m_mainThread = std::this_thread::get_id();
    std::unique_ptr<window_layout> m_layout;
    std::unique_ptr<verdict_banner> m_verdict;
    std::unique_ptr<mailbox> m_mailbox;
    // A failure that is not shown yet. Main thread.
    std::optional<std::string> m_pendingFailure;
    // Whether the main thread is removing test files now.
    bool m_cleaningUp = false;
    // Keeps the volume for one run. Set by the main thread before the job starts, or by a job that
    // was called without Start; dropped by the main thread when uiState says that the job is done.
    std::unique_ptr<run_guard> m_guard;
    // Written by the job's thread before uiState says that the job is done.
    run_scope m_scope;
};

#endif
