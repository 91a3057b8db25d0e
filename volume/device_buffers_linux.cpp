// The kernel's own file systems keep a file's data with the file, and a volume in memory is its own
// medium: only user-space file systems have buffers below them, those of their block device or the
// copy that is kept of the folder or image that they lie in. The latter cannot be told from here.
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <optional>
#include <system_error>

#include "volume/device_buffers.h"
#include "volume/owned_descriptor.h"
#include "volume/page_residency.h"

static bool runs_in_user_space(const std::string &file_system) {
    return file_system == "fuseblk" || file_system.rfind("fuse.", 0) == 0 || file_system == "fuse";
}

static bool is_block_device(const std::string &path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && S_ISBLK(status.st_mode);
}

// Whether the path may lead to something, seen from here.
static bool may_exist(const std::string &path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 || (errno != ENOENT && errno != ENOTDIR);
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

// Whether a page of these stays when it is dropped; sets `error` when that cannot be known.
//
// Both ways to drop say yes also when they left pages that are mapped or locked, so each must be
// asked for. None stay of a sound volume that nobody uses. Where its daemon is busy for another
// program, one or two pages of the tables are back before all of a large device has been asked
// for. Those have been read again, from the medium: dropping them once more just before the
// question, and halving what is asked until it is a single page, leaves them no time to come back.
static bool has_staying_page(int device, std::uint64_t offset, std::uint64_t bytes, int &error) {
    const std::optional<std::uint64_t> resident =
        page_residency_bytes(device, offset, bytes, error);
    if (!resident && error == 0)
        error = EPERM;
    if (error != 0 || *resident == 0)
        return false;
    const auto page = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
    if (bytes <= page)
        return true;
    const std::uint64_t half = (bytes / page + 1) / 2 * page;
    for (const std::uint64_t start : {std::uint64_t{0}, half}) {
        page_residency_release(device, 0);
        if (has_staying_page(device, offset + start, start == 0 ? half : bytes - half, error))
            return true;
    }
    return false;
}

static bool has_staying_pages(int device, std::uint64_t size, int &error) {
    constexpr std::uint64_t asked_at_once = std::uint64_t{64} << 20;
    for (std::uint64_t offset = 0; offset < size && error == 0; offset += asked_at_once)
        if (has_staying_page(device, offset, std::min(size - offset, asked_at_once), error))
            return true;
    return false;
}

// Empty when nothing is left of the device's buffers, else why something may be.
static std::string staying_buffers(int device) {
    std::uint64_t size = 0;
    int error = ioctl(device, BLKGETSIZE64, &size) == 0 ? 0 : errno;
    const bool stay = error == 0 && page_residency_insist([&](bool /*again*/) {
                          error = drop_buffers(device);
                          return error == 0 && has_staying_pages(device, size, error);
                      });
    if (error != 0)
        return "cannot be dropped: " + std::generic_category().message(error);
    if (!stay)
        return {};
    const std::uint64_t bytes = page_residency_bytes(device, 0, size, error).value_or(0);
    return "cannot be dropped, " + std::to_string(bytes) + " bytes of them stay";
}

// Likewise for a file system in user space whose source is no block device.
static std::string other_source(const volume_info &volume) {
    // A source in /dev that cannot be seen from here may be a device all the same.
    if (volume.file_system == "fuseblk" || volume.source.rfind("/dev/", 0) == 0)
        return "the device " + volume.source + " cannot be reached";
    // Another volume's folder or an image on one, as bindfs and gocryptfs use; not "host:/folder".
    if (volume.source.rfind('/', 0) == 0 && may_exist(volume.source))
        return "the volume's data lies in " + volume.source + ", of which memory holds a copy, too";
    return {};
}

bool device_buffers_drop(const volume_info &volume, std::string &reason) noexcept try {
    reason.clear();
    if (!runs_in_user_space(volume.file_system))
        return true;
    if (!is_block_device(volume.source)) {
        reason = other_source(volume);
        return reason.empty();
    }
    const owned_descriptor device(open(volume.source.c_str(), O_RDONLY | O_CLOEXEC));
    const std::string why = device.is_open()
                                ? staying_buffers(device.get())
                                : "cannot be dropped: " + std::generic_category().message(errno);
    if (!why.empty())
        reason = "the buffers of " + volume.source + " " + why;
    return why.empty();
} catch (const std::exception &error) {
    reason = error.what();
    return false;
}
