// What lies between a file system and its medium that releasing a file does not reach.
//
// A file system that runs in user space (exFAT and NTFS through FUSE) reads and writes its device
// through that device's own buffers in the computer's memory. Releasing a file drops only the copy
// above the file system; what is read next still comes from those buffers, and a device that lost
// the data would look as if it had kept it. So it is with any file system on a loop device, which
// reads from the pages that memory holds of its image, unless it was told to read past them.
#pragma once

#include <string>

#include "volume/volume.h"

// Makes sure that what is read from now on is read from the volume's medium: writes the device's
// buffers and the pages of an image below out and drops them where there are any, and likewise what
// that image lies on. An image in memory has memory for its medium. True when nothing is left to
// read from instead; false and `reason` (with names as they are) when that cannot be had, as for a
// user who may not open the device. Touches the device and the volumes that images lie on, not the
// volume itself; may take as long as writing its buffers out does. Any thread.
bool device_buffers_drop(const volume_info &volume, std::string &reason) noexcept;
