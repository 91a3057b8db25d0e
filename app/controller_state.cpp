// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/controller_state.h"

std::atomic<std::uint32_t> uiState{UI_STATE_INIT};
QTimer *uiTimer = nullptr;
std::unique_ptr<run_thread> jobThread;
std::atomic<std::uint8_t> writePhaseDone{0};

std::string selectedVolumePath = "-";
std::optional<std::uint64_t> selectedVolumeCapacity;
std::string selectedVolumeCapacityBytesText;
double selectedVolumeCapacityGB = 0.0;
std::string selectedVolumeCapacityGBText;
std::string selectedVolumeCapacityText;
std::string selectedVolumeCapacityLocalized;
std::string selectedVolumeLocalizedName = "-";
std::string selectedVolumeReadOnlyText;
std::uint8_t selectedVolumeWritable = 0;
std::string volumeErrorMessage;
std::optional<volume_info> selectedVolume;

std::uint8_t spotlightDataFound = 0;
std::uint8_t spotlightNotDisabled = 0;
std::uint8_t trashesFound = 0;
std::uint8_t noLogPresent = 0;

std::string reportSummary;

std::string shortVersionString;
std::string bundleVersionString;
std::string buildDateString;
std::string versionString;
std::string productVersionTag;
QUrl feedbackURL;
