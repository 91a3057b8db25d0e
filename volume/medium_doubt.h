// All that must be seen to between writing and reading, so that a pass never rests on memory.
#pragma once

#include <string>
#include <vector>

#include "volume/volume.h"

// Drops what the computer keeps of these files of the folder, and then what it keeps of the device
// below the file system. `unlisted` is why `names` may not be all of them; empty when they are.
// Empty when what is read next is read from the medium; else why it may not be, with names as they
// are. Any thread.
std::string medium_doubt(const volume_info &volume, const std::string &folder,
                         const std::vector<std::string> &names,
                         const std::string &unlisted = {}) noexcept;
