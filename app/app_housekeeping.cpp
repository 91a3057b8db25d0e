// SPDX-License-Identifier: GPL-3.0-or-later
// Four actions on the chosen volume, each on a marker of a fixed name in its root. They change at
// most a button's title. The display looks at the markers again on every tick.
//
// The three forms of error lines differ on purpose. So do the two spellings of the logging's
// folder: the display looks in ".fseventsd".
#include <QMainWindow>
#include <QPushButton>
#include <cerrno>

#include "app/TRAppDelegate.h"
#include "app/controller_state.h"
#include "app/platform.h"
#include "app/volume_marker.h"
#include "report/printable.h"
#include "runner/run_guard.h"

static std::string error_or_null(const remove_tree_error &error) {
    if (error.error_number == 0)
        return "(null)";
    return printable_text(error.path) + ": " + error_text(error.error_number);
}

// Asks for access and opens the marker on the chosen volume. Nothing when access is refused or
// another volume is mounted there.
std::unique_ptr<volume_marker> TRAppDelegate::openMarker(const std::string &folder,
                                                         const std::string &name) {
    const std::string inFolder = folder.empty() ? "/" : "/" + folder + "/";
    if (!qop_sandbox_askUserForPermission_readWrite(
            QString::fromStdString(name),
            QString::fromStdString(selectedVolumePath + inFolder + name)))
        return nullptr;
    auto marker = std::make_unique<volume_marker>(selectedVolumePath, folder, name);
    // Open first, then check: the check is about the open folder.
    run_guard guard;
    run_refusal refusal = lookAtVolume(guard, false);
    if (!refusal && !marker->is_in_place())
        refusal.kind = refusal_kind::other_volume;
    if (!refusal)
        return marker;
    showRefusal(refusal);
    return nullptr;
}

// Removes the marker when it `exists`, else creates it. The title changes even on failure.
void TRAppDelegate::toggleMarker(const volume_marker &marker, bool exists, QPushButton *button,
                                 const QString &titleWithout, const QString &titleWith) {
    if (exists) {
        const remove_tree_error error = marker.remove(window);
        if (error.error_number != 0)
            diagnostic_log("ERR: " + error_or_null(error));
        button->setText(titleWithout);
    } else {
        if (!marker.create())
            diagnostic_log("ERR: Can't write file " + marker.path() + ".");
        button->setText(titleWith);
    }
}

void TRAppDelegate::UI_disableSpotlight() {
    const auto marker = openMarker("", ".metadata_never_index");
    if (marker)
        toggleMarker(*marker, marker->exists(), UI_disableSpotlight_outlet,
                     QStringLiteral("Disable Spotlight"), QStringLiteral("Enable Spotlight"));
}

void TRAppDelegate::UI_disableLogging() {
    const auto marker = openMarker(".fseventd", "no_log");
    if (!marker)
        return;
    const bool exists = marker->exists();
    diagnostic_log(exists ? "d: b 1" : "d: b 0");
    toggleMarker(*marker, exists, UI_disableLogging_outlet, QStringLiteral("Disable Logging"),
                 QStringLiteral("Enable Logging"));
}

void TRAppDelegate::removeMarkerFolder(const std::string &name) {
    const auto marker = openMarker("", name);
    if (!marker) {
        diagnostic_log("not OK");
        return;
    }
    diagnostic_log("OK");
    const bool exists = marker->exists();
    diagnostic_log(exists ? "d: b: 1" : "d: b: 0");
    if (!exists)
        return;
    const remove_tree_error error = marker->remove(window);
    // Another process removed it first, which is no error.
    if (error.error_number != ENOENT)
        diagnostic_log("ERR: " + error_or_null(error));
    diagnostic_log("-4");
}

void TRAppDelegate::UI_removeSpotlightData() {
    removeMarkerFolder(".Spotlight-V100");
}

void TRAppDelegate::UI_removeTrashesData() {
    removeMarkerFolder(".Trashes");
}
