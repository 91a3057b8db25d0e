// SPDX-License-Identifier: GPL-3.0-or-later
// The state that the controller's roles share. One instance of each value exists.
//
// There are two threads: the main thread (window, timer, actions) and the job's thread (the
// engine). They share no lock.
// - The job's thread stores uiState when a test begins (3) and when its results exist (6). The
//   main thread stores it at all other times and polls it once a second. Stores release and loads
//   acquire: a thread that loads 6 sees all results of the test.
// - selectedVolumePath, selectedVolumeCapacityGBText and selectedVolume are read by the
//   job's thread. The main thread writes them only while no job runs, as it disables the choice
//   of a volume during a test.
// - The job's thread stores writePhaseDone; no code reads it.
// - Only the main thread uses all other values.
// Texts are UTF-8; paths are the system's bytes.
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

// The display's timer, from the end of start-up to the end of the program. Replaced after each
// result. The controller owns it.
extern QTimer *uiTimer;

// The thread of the current or the last test; none before the first.
extern std::unique_ptr<run_thread> jobThread;

// 1 once a write phase has returned. For the reader of a core file.
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
// The volume as the selection found it, to recognise it at the start of a test.
extern std::optional<volume_info> selectedVolume;

// The markers that the display showed last.
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
