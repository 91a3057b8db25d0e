// SPDX-License-Identifier: GPL-3.0-or-later
// Walks from the file system down to the last backing file, because flushing one layer dirties the
// one below.
//
// The kernel's own file systems keep a file's data in the file's pages only. FUSE file systems have
// more below them: the pages of their block device, or of the folder or file that their data lies
// in, which cannot be seen from here. A loop device below any file system reads its backing file
// through the page cache, unless it uses direct I/O.
#include "volume/cold_read.h"

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
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "volume/block_device.h"
#include "volume/mount_table.h"
#include "volume/page_cache.h"
#include "volume/posix.h"

static bool is_block_device(const std::string &path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && S_ISBLK(status.st_mode);
}

static bool lies_in_memory(int fd) {
    struct statfs status = {};
    return fstatfs(fd, &status) == 0 &&
           (status.f_type == TMPFS_MAGIC || status.f_type == RAMFS_MAGIC);
}

// Whether the path may lead to something. Yes if that cannot be seen from here.
static bool may_exist(const std::string &path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 || (errno != ENOENT && errno != ENOTDIR);
}

// An open block device or backing file.
struct page_holder {
    int fd = -1;
    bool is_device = false;
};

// Flushes, then drops. Returns 0 or the error number.
static int flush_and_drop(const page_holder &holder) {
    const int error = page_cache_flush(holder.fd);
    if (error != 0)
        return error;
    // BLKFLSBUF drops all pages at once but needs root.
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
    const std::optional<std::uint64_t> resident =
        page_cache_resident_bytes(fd, offset, bytes, error);
    if (!resident && error == 0)
        error = EPERM;
    return error == 0 && *resident != 0;
}

// Whether a page of the range stays resident when it is dropped. Sets `error` if that cannot be
// known.
//
// BLKFLSBUF and POSIX_FADV_DONTNEED succeed even if mapped or locked pages remain, so every page is
// checked. On a sound volume in use, a FUSE daemon or the file system above a backing file reads a
// page or two of its tables again before the check of a large device is over. Those pages are no
// reason to doubt: they come from the medium or are about to be written to it. To tell them from
// pages that stay, the range is dropped again and halved, down to a single page, which leaves no
// time to read it again.
static bool has_staying_page(const page_holder &holder, std::uint64_t offset, std::uint64_t bytes,
                             int &error) {
    if (!has_resident_page(holder.fd, offset, bytes, error))
        return false;
    const auto page = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
    if (bytes <= page) {
        error = flush_and_drop(holder);
        return error == 0 && has_resident_page(holder.fd, offset, bytes, error);
    }
    const std::uint64_t half = (bytes / page + 1) / 2 * page;
    for (const std::uint64_t start : {std::uint64_t{0}, half}) {
        page_cache_drop(holder.fd, 0);
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

// Empty if all pages are dropped, else the reason why some may stay.
static std::string drop_all(const page_holder &holder) {
    int error = 0;
    const std::uint64_t size = size_of(holder, error);
    const bool stay = error == 0 && page_cache_retry([&](bool /*again*/) {
                          error = flush_and_drop(holder);
                          return error == 0 && has_staying_pages(holder, size, error);
                      });
    if (error != 0)
        return "cannot be dropped: " + std::generic_category().message(error);
    if (!stay)
        return {};
    const std::uint64_t bytes = page_cache_resident_bytes(holder.fd, 0, size, error).value_or(0);
    return "cannot be dropped, " + std::to_string(bytes) + " bytes of them stay";
}

// The same for a FUSE file system whose source is not a block device.
static std::string drop_other_source(const volume_info &volume, bool medium_is_memory) {
    // A source in /dev may be a device even if it cannot be seen from here.
    if (volume.file_system == "fuseblk" || volume.source.rfind("/dev/", 0) == 0)
        return "the device " + volume.source + " cannot be reached";
    // A folder or an image on another volume, as bindfs and gocryptfs use.
    if (volume.source.rfind('/', 0) == 0 && may_exist(volume.source))
        return "the volume's data lies in " + volume.source + ", of which memory holds a copy, too";
    // Several folders ("/a:/b"), another machine, or any text: a daemon names its source as it
    // likes.
    if (medium_is_memory)
        return {};
    return "a file system of type " + volume.file_system + " may keep a copy in memory";
}

// The same for any FUSE file system.
static std::string drop_fuse_source(const volume_info &volume, bool medium_is_memory) {
    if (!is_block_device(volume.source))
        return drop_other_source(volume, medium_is_memory);
    const unique_fd device(open(volume.source.c_str(), O_RDONLY | O_CLOEXEC));
    const std::string why = device.is_open()
                                ? drop_all({device.get(), true})
                                : "cannot be dropped: " + std::generic_category().message(errno);
    return why.empty() ? why : "the buffers of " + volume.source + " " + why;
}

// Opens the backing file of a loop device, or sets `error`. The system's name for it leads
// elsewhere if the device was set up below another root, so the device and inode numbers must
// match.
static unique_fd open_backing(const std::string &node, const std::string &backing, int &error) {
    error = 0;
    const unique_fd device(open(node.c_str(), O_RDONLY | O_CLOEXEC));
    loop_info64 info = {};
    if (!device.is_open() || ioctl(device.get(), LOOP_GET_STATUS64, &info) != 0) {
        error = errno;
        return {};
    }
    unique_fd file(open(backing.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status = {};
    if (!file.is_open() || fstat(file.get(), &status) != 0)
        error = errno;
    else if (status.st_dev != info.lo_device || status.st_ino != info.lo_inode)
        error = ESTALE;
    return error == 0 ? std::move(file) : unique_fd();
}

static void add(std::string &reasons, const std::string &reason) {
    if (!reason.empty())
        reasons += (reasons.empty() ? "" : ", and ") + reason;
}

static void drop_below(const volume_info &volume, bool medium_is_memory, int depth,
                       std::string &reasons);
static void drop_below(dev_t device, bool medium_is_memory, int depth, std::string &reasons);

// Goes on below a loop device with direct I/O, too: its backing file may lie on another one.
static void drop_below(const block_device_loop &loop, bool medium_is_memory, int depth,
                       std::string &reasons) {
    const std::string node = "/dev/" + loop.name;
    int error = 0;
    const unique_fd backing = open_backing(node, loop.backing, error);
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
    const std::string why = loop.direct ? "" : drop_all({backing.get(), is_device});
    if (!why.empty())
        add(reasons, "the pages of " + loop.backing + ", which " + node + " reads from, " + why);
    volume_info volume;
    std::string unknown;
    if (is_device)
        drop_below(status.st_rdev, medium_is_memory, depth + 1, reasons);
    else if (volume_describe(loop.backing, volume, unknown))
        drop_below(volume, medium_is_memory, depth + 1, reasons);
    else
        add(reasons, unknown);
}

static void drop_below(dev_t device, bool medium_is_memory, int depth, std::string &reasons) {
    const std::vector<block_device_loop> loops =
        block_device_loops(device, block_device_system_places());
    if (depth >= block_device_max_depth && !loops.empty()) {
        add(reasons, "/dev/" + loops.front().name + " is nested too deeply");
        return;
    }
    for (const block_device_loop &loop : loops)
        drop_below(loop, medium_is_memory, depth, reasons);
}

static void drop_below(const volume_info &volume, bool medium_is_memory, int depth,
                       std::string &reasons) {
    if (mount_table_is_fuse(volume.file_system))
        add(reasons, drop_fuse_source(volume, medium_is_memory));
    const std::optional<dev_t> device =
        major(volume.device) != 0
            ? volume.device
            : block_device_number(volume.source, block_device_system_places());
    if (device)
        drop_below(*device, medium_is_memory, depth, reasons);
}

std::string cold_read_device(const volume_info &volume, bool medium_is_memory) {
    std::string reasons;
    drop_below(volume, medium_is_memory, 0, reasons);
    return reasons;
}
