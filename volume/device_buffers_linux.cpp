// Looks from the file system downwards, since what is written out above lands below.
//
// The kernel's own file systems keep a file's data with the file, and a volume in memory is its own
// medium. User-space file systems have buffers below them: those of their block device, or the copy
// that is kept of the folder or image that they lie in. The latter cannot be told from here. Below
// any file system a loop device may read from the pages that memory holds of its image.
#include <fcntl.h>
#include <linux/fs.h>
#include <linux/loop.h>
#include <linux/magic.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "volume/block_device.h"
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

static bool lies_in_memory(int fd) {
    struct statfs status = {};
    return fstatfs(fd, &status) == 0 &&
           (status.f_type == TMPFS_MAGIC || status.f_type == RAMFS_MAGIC);
}

// Whether the path may lead to something, seen from here.
static bool may_exist(const std::string &path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 || (errno != ENOENT && errno != ENOTDIR);
}

// What keeps pages: a device, or the file that is the image of one.
struct page_holder {
    int fd = -1;
    bool is_device = false;
};

// 0, or the error number of what failed. Only what has been written out can be dropped.
static int drop_pages(const page_holder &holder) {
    if (fsync(holder.fd) != 0)
        return errno;
    // Drops everything at once, but only root may ask for it; any reader may give advice.
    if (holder.is_device && ioctl(holder.fd, BLKFLSBUF, 0) == 0)
        return 0;
    return posix_fadvise(holder.fd, 0, 0, POSIX_FADV_DONTNEED);
}

static std::uint64_t size_of(const page_holder &holder, int &error) {
    std::uint64_t size = 0;
    struct stat status = {};
    const int result =
        holder.is_device ? ioctl(holder.fd, BLKGETSIZE64, &size) : fstat(holder.fd, &status);
    error = result == 0 ? 0 : errno;
    return holder.is_device ? size : static_cast<std::uint64_t>(status.st_size);
}

static bool has_resident_page(int fd, std::uint64_t offset, std::uint64_t bytes, int &error) {
    const std::optional<std::uint64_t> resident = page_residency_bytes(fd, offset, bytes, error);
    if (!resident && error == 0)
        error = EPERM;
    return error == 0 && *resident != 0;
}

// Whether a page of these stays when it is dropped; sets `error` when that cannot be known.
//
// Both ways to drop say yes also when they left pages that are mapped or locked, so each must be
// asked for. None stay of a sound volume that nobody uses. Where its daemon or the file system
// above an image is busy for another program, one or two pages of the tables are back before all of
// a large device has been asked for. Those have been read again, from the medium, or are about to
// be written out: doing that, dropping them once more just before the question, and halving what is
// asked until it is a single page, leaves them no time to come back.
static bool has_staying_page(const page_holder &holder, std::uint64_t offset, std::uint64_t bytes,
                             int &error) {
    if (!has_resident_page(holder.fd, offset, bytes, error))
        return false;
    const auto page = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
    if (bytes <= page) {
        error = drop_pages(holder);
        return error == 0 && has_resident_page(holder.fd, offset, bytes, error);
    }
    const std::uint64_t half = (bytes / page + 1) / 2 * page;
    for (const std::uint64_t start : {std::uint64_t{0}, half}) {
        page_residency_release(holder.fd, 0);
        const std::uint64_t part = start == 0 ? half : bytes - half;
        if (has_staying_page(holder, offset + start, part, error))
            return true;
        if (error != 0)
            return false;
    }
    return false;
}

static bool has_staying_pages(const page_holder &holder, std::uint64_t size, int &error) {
    constexpr std::uint64_t asked_at_once = std::uint64_t{64} << 20;
    for (std::uint64_t offset = 0; offset < size && error == 0; offset += asked_at_once)
        if (has_staying_page(holder, offset, std::min(size - offset, asked_at_once), error))
            return true;
    return false;
}

// Empty when nothing is left in memory, else why something may be.
static std::string staying_pages(const page_holder &holder) {
    int error = 0;
    const std::uint64_t size = size_of(holder, error);
    const bool stay = error == 0 && page_residency_insist([&](bool /*again*/) {
                          error = drop_pages(holder);
                          return error == 0 && has_staying_pages(holder, size, error);
                      });
    if (error != 0)
        return "cannot be dropped: " + std::generic_category().message(error);
    if (!stay)
        return {};
    const std::uint64_t bytes = page_residency_bytes(holder.fd, 0, size, error).value_or(0);
    return "cannot be dropped, " + std::to_string(bytes) + " bytes of them stay";
}

// Likewise for a file system in user space whose source is no block device.
static std::string other_source(const volume_info &volume) {
    // The simulated card says so when memory is its medium. Of cells in a file there would be a
    // copy in memory. No other daemon has both of these names by accident.
    if (volume.file_system == "fuse.trovik-cardsim" && volume.source == "trovik-cardsim:memory")
        return {};
    // A source in /dev that cannot be seen from here may be a device all the same.
    if (volume.file_system == "fuseblk" || volume.source.rfind("/dev/", 0) == 0)
        return "the device " + volume.source + " cannot be reached";
    // Another volume's folder or an image on one, as bindfs and gocryptfs use.
    if (volume.source.rfind('/', 0) == 0 && may_exist(volume.source))
        return "the volume's data lies in " + volume.source + ", of which memory holds a copy, too";
    // Several folders ("/a:/b"), another machine, or any text: a daemon may call its source what it
    // likes.
    return "what a file system of type " + volume.file_system + " keeps in memory is not known";
}

// Likewise for any file system in user space.
static std::string user_space_copy(const volume_info &volume) {
    if (!is_block_device(volume.source))
        return other_source(volume);
    const owned_descriptor device(open(volume.source.c_str(), O_RDONLY | O_CLOEXEC));
    const std::string why = device.is_open()
                                ? staying_pages({device.get(), true})
                                : "cannot be dropped: " + std::generic_category().message(errno);
    return why.empty() ? why : "the buffers of " + volume.source + " " + why;
}

// What a loop device reads from, opened; else `error` is set. The name is the one that the system
// tells, which leads elsewhere when the device was set up below another root: it must be the same
// file that the device has, or there is no telling.
static owned_descriptor open_backing(const std::string &node, const std::string &backing,
                                     int &error) {
    error = 0;
    const owned_descriptor device(open(node.c_str(), O_RDONLY | O_CLOEXEC));
    loop_info64 info = {};
    if (!device.is_open() || ioctl(device.get(), LOOP_GET_STATUS64, &info) != 0) {
        error = errno;
        return {};
    }
    owned_descriptor file(open(backing.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status = {};
    if (!file.is_open() || fstat(file.get(), &status) != 0)
        error = errno;
    else if (status.st_dev != info.lo_device || status.st_ino != info.lo_inode)
        error = ESTALE;
    return error == 0 ? std::move(file) : owned_descriptor();
}

static void add(std::string &reasons, const std::string &reason) {
    if (!reason.empty())
        reasons += (reasons.empty() ? "" : ", and ") + reason;
}

static void look_below(const volume_info &volume, int depth, std::string &reasons);
static void look_below(dev_t device, int depth, std::string &reasons);

// What lies in memory is its own medium. What is read past its pages may still stand on others.
static void look_below(const block_device_loop &loop, int depth, std::string &reasons) {
    const std::string node = "/dev/" + loop.name;
    int error = 0;
    const owned_descriptor backing = open_backing(node, loop.backing, error);
    if (!backing.is_open()) {
        add(reasons, "the file that " + node + " reads from cannot be reached: " +
                         std::generic_category().message(error));
        return;
    }
    struct stat status = {};
    fstat(backing.get(), &status);
    const bool is_device = S_ISBLK(status.st_mode);
    if (!is_device && lies_in_memory(backing.get()))
        return;
    const std::string why = loop.direct ? "" : staying_pages({backing.get(), is_device});
    if (!why.empty())
        add(reasons, "the pages of " + loop.backing + ", which " + node + " reads from, " + why);
    volume_info volume;
    std::string unknown;
    if (is_device)
        look_below(status.st_rdev, depth + 1, reasons);
    else if (volume_describe(loop.backing, volume, unknown))
        look_below(volume, depth + 1, reasons);
    else
        add(reasons, unknown);
}

static void look_below(dev_t device, int depth, std::string &reasons) {
    // Images in images in images: deeper than anybody builds.
    constexpr int max_depth = 8;
    const std::vector<block_device_loop> loops =
        block_device_loops(device, block_device_system_places());
    if (depth >= max_depth && !loops.empty()) {
        add(reasons, "/dev/" + loops.front().name + " stands on too many others");
        return;
    }
    for (const block_device_loop &loop : loops)
        look_below(loop, depth, reasons);
}

static void look_below(const volume_info &volume, int depth, std::string &reasons) {
    if (runs_in_user_space(volume.file_system))
        add(reasons, user_space_copy(volume));
    const std::optional<dev_t> device =
        major(volume.device) != 0
            ? volume.device
            : block_device_number(volume.source, block_device_system_places());
    if (device)
        look_below(*device, depth, reasons);
}

bool device_buffers_drop(const volume_info &volume, std::string &reason) noexcept try {
    reason.clear();
    look_below(volume, 0, reason);
    return reason.empty();
} catch (const std::exception &error) {
    reason = error.what();
    return false;
}
