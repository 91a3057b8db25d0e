// SPDX-License-Identifier: GPL-3.0-or-later
// Files are read with F_NOCACHE here, which reaches the device below the system's own file systems.
// What a FUSE file system keeps is unknown.
#include "volume/cold_read.h"

std::string cold_read_device(const volume_info &volume, bool medium_is_memory) {
    if (medium_is_memory || volume.file_system.find("fuse") == std::string::npos)
        return {};
    return "a file system of type " + volume.file_system + " may keep a copy in memory";
}
