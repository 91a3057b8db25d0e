// The kernel's own file systems keep a file's data with the file, and a volume in memory is its own
// medium: only user-space file systems on a block device have buffers of their own below them.
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "volume/device_buffers.h"
#include "volume/path_text.h"

static bool runs_in_user_space(const std::string &file_system) {
    return file_system == "fuseblk" || file_system.rfind("fuse.", 0) == 0 || file_system == "fuse";
}

static bool is_block_device(const std::string &path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && S_ISBLK(status.st_mode);
}

// 0, or the error number of what failed. Only what has been written out can be dropped.
static int drop_buffers(int device) {
    if (fsync(device) != 0)
        return errno;
    // Drops everything at once, but only root may ask for it; any reader may give advice.
    if (ioctl(device, BLKFLSBUF, 0) == 0)
        return 0;
    return posix_fadvise(device, 0, 0, POSIX_FADV_DONTNEED);
}

bool device_buffers_drop(const volume_info &volume, std::string &reason) noexcept try {
    if (!runs_in_user_space(volume.file_system))
        return true;
    if (!is_block_device(volume.source)) {
        // A source in /dev that cannot be seen from here may be a device all the same.
        if (volume.file_system != "fuseblk" && volume.source.rfind("/dev/", 0) != 0)
            return true;
        reason = "the device " + path_text_printable(volume.source) + " cannot be reached";
        return false;
    }
    const int device = open(volume.source.c_str(), O_RDONLY | O_CLOEXEC);
    const int error = device < 0 ? errno : drop_buffers(device);
    if (device >= 0)
        close(device);
    if (error == 0)
        return true;
    reason = "the buffers of " + path_text_printable(volume.source) +
             " cannot be dropped: " + std::generic_category().message(error);
    return false;
} catch (const std::exception &error) {
    reason = error.what();
    return false;
}
