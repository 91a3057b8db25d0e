// The state that the controller's roles share, one instance of each for the whole
// run of the program.
//
// Threads. There are two: the main thread (window, timer, everything the user
// presses) and the job's thread (the engine). No lock stands between them.
// - uiState is stored by the job's thread when a test begins (3) and when its
//   results are there (6), by the main thread at all other times. The main thread
//   polls it once a second. The stores release and the loads acquire: whoever sees
//   6 sees everything that the test has left behind.
// - selectedVolumePath, selectedVolumeCapacityGBText and selectedVolume are read by the
//   job's thread and written by the main thread, which writes them only while no job
//   runs: choosing a volume is disabled as long.
// - writePhaseDone is stored by the job's thread; nobody depends on it.
// - Everything else belongs to the main thread alone.
// Texts are UTF-8, paths the system's own bytes.
#ifndef TROVIK_APP_CONTROLLER_STATE_H
#define TROVIK_APP_CONTROLLER_STATE_H

#include <QTimer>
#include <QUrl>
#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "runner/run_thread.h"
#include "volume/volume.h"

// Values of uiState; 4 and 5 are kept free.
constexpr std::uint32_t UI_STATE_INIT = 0;
constexpr std::uint32_t UI_STATE_WAITING = 1;
constexpr std::uint32_t UI_STATE_MEDIUM_FOUND = 2;
constexpr std::uint32_t UI_STATE_TESTING = 3;
constexpr std::uint32_t UI_STATE_RESULT = 6;

extern std::atomic<std::uint32_t> uiState;
static_assert(std::atomic<std::uint32_t>::is_always_lock_free);

// The display's timer, from the end of start-up to the end of the program;
// replaced after each result. Owned by the controller.
extern QTimer *uiTimer;

// The thread of the current or the last test; none before the first.
extern std::unique_ptr<run_thread> jobThread;

// 1 once a write phase has returned. A marker for whoever looks at a core file.
extern std::atomic<std::uint8_t> writePhaseDone;

// The chosen volume, written by the selection.
extern std::string selectedVolumePath;                       // its root; "-" until one is chosen
extern std::optional<std::uint64_t> selectedVolumeCapacity;  // bytes
extern std::string selectedVolumeCapacityBytesText;
extern double selectedVolumeCapacityGB;  // units of 2^30 bytes
extern std::string selectedVolumeCapacityGBText;
extern std::string selectedVolumeCapacityText;
extern std::string selectedVolumeCapacityLocalized;
extern std::string selectedVolumeLocalizedName;
extern std::string selectedVolumeReadOnlyText;  // "1" or "0"
extern std::uint8_t selectedVolumeWritable;
extern std::string volumeErrorMessage;
// What the selection saw, kept to recognise the volume at the start of a test.
extern std::optional<volume_info> selectedVolume;

// What the display's last look at the volume has shown, kept as a record.
extern std::uint8_t spotlightDataFound;
extern std::uint8_t spotlightNotDisabled;
extern std::uint8_t trashesFound;
extern std::uint8_t noLogPresent;

// Three lines for each test of this run of the program, oldest first.
extern std::string reportSummary;

// Built at start-up.
extern std::string shortVersionString;
extern std::string bundleVersionString;
extern std::string buildDateString;
extern std::string versionString;
extern std::string productVersionTag;
extern QUrl feedbackURL;

#endif
