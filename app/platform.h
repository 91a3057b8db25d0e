// What differs between the desktops that the window runs on. One file per system
// implements it.
#ifndef TROVIK_APP_PLATFORM_H
#define TROVIK_APP_PLATFORM_H

#include <QString>
#include <optional>
#include <string>
#include <vector>

#include "volume/volume.h"

// Whether this process runs in the system's application sandbox, where a file can
// be used only after the user has named it in a file panel.
bool platform_is_sandboxed();

// Whether the system's own file panels are used (they alone can grant access in a
// sandbox), or the window library's.
bool platform_has_file_panels();

// The folder in which this user's removable volumes are mounted; of several that
// are usual the first that exists.
QString platform_media_folder();

// The open folder's own path; empty when the system does not know it.
std::string platform_path_of_open_folder(int folder);

// A path that leads to the open folder, wherever its own path leads by now.
std::string platform_access_to_open_folder(int folder);

// Where volumes are mounted; nothing when the system does not say.
std::optional<std::vector<std::string>> platform_mount_points();

// The path by which the controller knows a volume.
std::string platform_volume_path(const volume_info &volume);

#endif
