// SPDX-License-Identifier: GPL-3.0-or-later
// Choosing the volume: everything that is known about it is recorded here, and the
// display shows it from its next tick on.
#include <QLocale>
#include <QMainWindow>
#include <QUrl>

#include "app/TRAppDelegate.h"
#include "app/alert.h"
#include "app/controller_state.h"
#include "app/file_panel.h"
#include "app/platform.h"
#include "model/engine_status.h"
#include "report/number_text.h"
#include "report/printable.h"
#include "runner/run_guard.h"

constexpr double gb_per_byte = 9.313225746154785e-10;  // 2^-30, exactly

static const char read_only_warning[] =
    "Please make card writeable and/or use a driver that can write to file systems like NTFS. "
    "OS X can only write to NTFS with 3th part software like Tuxera and others.";

// Written by every selection; kept for whoever looks at a core file.
static std::uint8_t selectionPending = 1;
static std::uint32_t selectionMade = 0;

void TRAppDelegate::UI_open_device() {
    folder_panel panel(window);
    if (!panel.run())
        return;
    selectVolumeOfFolder(panel.folder());
}

static QString shown_folder(const QString &folder) {
    return QString::fromUtf8("\u201c") +
           QString::fromStdString(printable_text(folder.toStdString())) +
           QString::fromUtf8("\u201d");
}

void TRAppDelegate::showUnusableFolder(const std::string &reason) {
    alert_run(window, {.style = alert_style::warning,
                       .message = QStringLiteral("This folder cannot be used"),
                       .informative = QString::fromStdString(printable_text(reason)),
                       .buttons = {QStringLiteral("OK")}});
}

// Asks the user before a volume is recorded that the system needs.
bool TRAppDelegate::confirmSystemVolume(const QString &folder) {
    const run_refusal refusal = run_guard_check_system_use(folder.toStdString());
    if (refusal.kind == refusal_kind::unknown_volume) {
        showUnusableFolder(refusal.reason);
        return false;
    }
    if (!refusal)
        return true;
    const int answer = alert_run(
        window,
        {.style = alert_style::warning,
         .message = QStringLiteral("This is not removable storage"),
         .informative =
             shown_folder(folder) + " lies on the volume that holds " +
             QString::fromStdString(printable_text(refusal.system_use)) +
             ". A test fills a volume to its last byte, and this computer may stop working "
             "properly while that lasts.\n\nChoose the card or stick that you want to test.",
         .buttons = {QStringLiteral("Cancel"), QStringLiteral("Use this volume anyway")},
         .safe_answer = ALERT_FIRST_BUTTON});
    return answer == ALERT_SECOND_BUTTON;
}

bool TRAppDelegate::selectVolumeOfFolder(const QString &folder) {
    QString shown = folder;
    if (!shown.endsWith(QLatin1Char('/')))
        shown += QLatin1Char('/');
    diagnostic_log("d: myURL: " + QUrl::fromLocalFile(shown).toEncoded().toStdString());
    volume_info volume;
    std::string error;
    if (!volume_describe(folder.toStdString(), volume, error)) {
        showUnusableFolder(error);
        return false;
    }
    if (!confirmSystemVolume(folder))
        return false;
    selectedVolume = volume;
    recordVolume();
    return true;
}

static std::string number_or_null(const std::optional<std::uint64_t> &number) {
    return number ? std::to_string(*number) : "(null)";
}

static std::string number_or_null(const std::optional<bool> &flag) {
    return flag ? (*flag ? "1" : "0") : "(null)";
}

static std::string text_or_null(const std::string &text) {
    return text.empty() ? "(null)" : text;
}

void TRAppDelegate::logDeviceBlock() {
    const volume_info &volume = *selectedVolume;
    const double bytes = static_cast<double>(volume.capacity_bytes.value_or(0));
    diagnostic_log(" ----------------------------------------------------\n");
    diagnostic_log(" - NOTE: Found device:\n");
    diagnostic_log(" - Name         = " + text_or_null(volume.name) + "\n");
    diagnostic_log(" - Name (local) = " + text_or_null(volume.name) + "\n");
    diagnostic_log(" - Capacity = " + number_text_fixed(bytes * gb_per_byte, 1) + " (GB)\n");
    diagnostic_log(" - Capacity = " + number_or_null(volume.capacity_bytes) + " (Bytes)\n");
    diagnostic_log(" - Capacity = " + number_or_null(volume.capacity_bytes) + " (Bytes UI)\n");
    diagnostic_log(" - Read only = " + number_or_null(volume.read_only));
    diagnostic_log(" - is internal  = " + number_or_null(volume.internal) + "\n");
    diagnostic_log(" - is removable = " + number_or_null(volume.removable) + "\n");
    diagnostic_log(" - is ejectable = " + number_or_null(volume.ejectable) + "\n");
}

void TRAppDelegate::recordVolume() {
    const volume_info &volume = *selectedVolume;
    const std::uint64_t bytes = volume.capacity_bytes.value_or(0);
    selectedVolumeCapacity = volume.capacity_bytes;
    selectedVolumeCapacityBytesText = std::to_string(bytes);
    selectedVolumeCapacityGB = static_cast<double>(bytes) * gb_per_byte;
    selectedVolumeCapacityGBText = number_text_fixed(selectedVolumeCapacityGB, 3);
    selectedVolumeReadOnlyText = volume.read_only.value_or(false) ? "1" : "0";
    logDeviceBlock();
    selectedVolumeLocalizedName = text_or_null(volume.name);
    selectedVolumePath = platform_volume_path(volume);
    // The engine keeps the pointer until the next selection.
    set_engine_volume_path(selectedVolumePath.c_str());
    selectedVolumeCapacityText = util_getSizeByByte(static_cast<double>(bytes)).toStdString();
    selectedVolumeCapacityLocalized =
        QLocale().toString(static_cast<qulonglong>(bytes)).toStdString();
    if (selectedVolumeReadOnlyText == "1") {
        selectedVolumeWritable = 0;
        volumeErrorMessage = read_only_warning;
    } else {
        selectedVolumeWritable = 1;
        volumeErrorMessage = "";
    }
    selectionPending = 0;
    selectionMade = 1;
    uiState.store(UI_STATE_MEDIUM_FOUND, std::memory_order_release);
}
