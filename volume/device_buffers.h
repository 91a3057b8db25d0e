// What lies between a file system and its medium that releasing a file does not reach.
//
// A file system that runs in user space (exFAT and NTFS through FUSE) reads and writes its device
// through that device's own buffers in the computer's memory. Releasing a file drops only the copy
// above the file system; what is read next still comes from those buffers, and a device that lost
// the data would look as if it had kept it.
#pragma once

#include <string>

#include "volume/volume.h"

// Makes sure that what is read from now on is read from the volume's medium: writes the device's
// buffers out and drops them where there are any. True when nothing is left to read from instead;
// false and `reason` (with the device's name as it is) when that cannot be had, as for a user who
// may not open the device. Touches the device, not the volume; may take as long as writing its
// buffers out does. Any thread.
bool device_buffers_drop(const volume_info &volume, std::string &reason) noexcept;
