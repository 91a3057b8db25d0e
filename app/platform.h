// SPDX-License-Identifier: GPL-3.0-or-later
// Services of the desktop. One file per system implements them; platform.cpp holds the common ones.
#ifndef TROVIK_APP_PLATFORM_H
#define TROVIK_APP_PLATFORM_H

#include <QRect>
#include <QString>
#include <QStringList>
#include <optional>
#include <string>
#include <vector>

#include "volume/volume.h"

class QWidget;

// Writes one entry to the system's log and to standard error, with a line break when it has none.
// The window never shows it. Any thread.
void diagnostic_log(const std::string &entry);

// Whether access to files has to be asked for: platform_is_sandboxed, unless overridden.
bool sandbox_is_active();
// For tests; nullopt restores the platform's answer. Main thread.
void sandbox_override(std::optional<bool> active);

// Whether this process runs in the system's application sandbox, where a file can
// be used only after the user has named it in a file panel.
bool platform_is_sandboxed();

// Whether to use the system's file panels, which alone can grant access in a sandbox, or Qt's.
bool platform_has_file_panels();

// The folder in which this user's removable volumes are mounted: the first usual one that exists.
QString platform_media_folder();

// The open folder's own path; empty when the system does not know it.
std::string platform_path_of_open_folder(int folder);

// A path that leads to the open folder even when its own path leads elsewhere now.
std::string platform_access_to_open_folder(int folder);

// All mount points; nothing when the system does not list them.
std::optional<std::vector<std::string>> platform_mount_points();

// The path by which the controller knows a volume.
std::string platform_volume_path(const volume_info &volume);

// Offers the items, in their order, to other programs, under the lower edge of `place`, a rectangle
// in `anchor`. Returns at once. Main thread.
void share_picker_show(QWidget *anchor, const QRect &place, const QStringList &items);

// The "ProductVersion" of a property list, such as "10.11.6". Empty when the file cannot be read or
// has none, as below.
QString product_version_from_plist(const QString &path);
// The VERSION_ID of an os-release file, such as "12".
QString product_version_from_os_release(const QString &path);

struct product_version_found {
    QString version;
    // Whether it comes from a property list. Only such systems have the names of releases.
    bool is_listed = false;
};

// This system's version: from its property list, or else from its release file.
product_version_found product_version(const QString &property_list);

#endif
