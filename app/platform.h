// What differs between the desktops that the window runs on. One file per system
// implements it.
#ifndef TROVIK_APP_PLATFORM_H
#define TROVIK_APP_PLATFORM_H

#include <QString>
#include <string>

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

// The path by which the controller knows a volume.
std::string platform_volume_path(const volume_info &volume);

#endif
