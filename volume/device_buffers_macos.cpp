// Files are read around the cache here, which reaches the device below the system's own file
// systems. What a file system in user space keeps cannot be known.
#include "volume/device_buffers.h"

bool device_buffers_drop(const volume_info &volume, std::string &reason) noexcept try {
    if (volume.file_system.find("fuse") == std::string::npos)
        return true;
    reason = "what a file system of type " + volume.file_system + " keeps in memory is not known";
    return false;
} catch (const std::exception &error) {
    reason = error.what();
    return false;
}
