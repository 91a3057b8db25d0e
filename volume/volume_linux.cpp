// SPDX-License-Identifier: GPL-3.0-or-later
// Finds the mount behind a path and describes it.
//
// statx(2) gives the id of the mount that a path leads to. Names are not enough: a later mount may
// cover an older one, and a bind mount shows the same files elsewhere. Kernels that do not give the
// id get a walk over the mount table instead.
//
// A mount that the path reaches but its mount point's name does not is refused: a later mount
// covers it, and a run on that name would work on the other volume.
#include "volume/volume.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <linux/msdos_fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>

#include <array>
#include <cerrno>
#include <cstdio>

#include "volume/block_device.h"
#include "volume/mounted_volume.h"
#include "volume/posix.h"

// A mount may come or go between asking for the id and reading the table. The next try sees both
// after the change.
constexpr int max_tries = 5;

static bool find_by_id(const std::string &path, const std::vector<mount_entry> &table, int id,
                       mount_entry &entry, std::string &error) {
    const mount_entry *found = mount_table_find_id(table, id);
    if (found == nullptr) {
        error = path + ": its mount is not in " + mount_table_path;
        return false;
    }
    looked_up_path root;
    const int result = mounted_volume_look_up(found->target, root);
    if (result != 0) {
        error = path_error(found->target, "the volume's root cannot be reached", result);
        return false;
    }
    if (root.mount_id != id) {
        error = path + ": another mount covers its volume at " + found->target;
        return false;
    }
    entry = *found;
    return true;
}

static bool find_by_walk(const std::string &path, const std::vector<mount_entry> &table,
                         mount_entry &entry, std::string &error) {
    const std::string real = real_path(path);
    if (real.empty()) {
        error = path_error(path, "cannot be resolved", errno);
        return false;
    }
    const mount_entry *found = mount_table_find_path(table, real);
    if (found == nullptr) {
        error = path + ": its mount is not in " + mount_table_path;
        return false;
    }
    entry = *found;
    return true;
}

namespace {

// The file system's label and UUID from the kernel: fresher than udev's, and available in a
// container without udev. Empty if the file system does not implement the call.
struct kernel_names {
    std::string label;
    std::string uuid;
};

}  // namespace

static kernel_names ask_kernel_names(const std::string &root) {
    // FS_IOC_GETFSUUID of Linux 6.9; older headers lack it.
    struct uuid_answer {
        unsigned char length;
        std::array<unsigned char, 16> bytes;
    };
    constexpr auto get_uuid = _IOR(0x15, 0, uuid_answer);

    kernel_names names;
    const unique_fd folder(open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK));
    if (!folder.is_open())
        return names;
    std::array<char, FSLABEL_MAX + 1> label = {};
    if (ioctl(folder.get(), FS_IOC_GETFSLABEL, label.data()) == 0)
        names.label = label.data();
    // FAT has a serial number instead. udev writes it in the same form.
    std::uint32_t serial = 0;
    if (ioctl(folder.get(), FAT_IOCTL_GET_VOLUME_ID, &serial) == 0 && serial != 0) {
        std::array<char, 10> text = {};
        std::snprintf(text.data(), text.size(), "%04X-%04X", serial >> 16U, serial & 0xFFFFU);
        names.uuid = text.data();
        return names;
    }
    uuid_answer uuid = {};
    if (ioctl(folder.get(), get_uuid, &uuid) == 0 && uuid.length == uuid.bytes.size()) {
        for (size_t at = 0; at < uuid.bytes.size(); ++at) {
            std::array<char, 4> text = {};
            const bool dash = at == 4 || at == 6 || at == 8 || at == 10;
            std::snprintf(text.data(), text.size(), dash ? "-%02x" : "%02x", uuid.bytes[at]);
            names.uuid += text.data();
        }
    }
    return names;
}

static void describe_names(const mount_entry &entry, std::optional<dev_t> device,
                           const block_device_places &places, volume_info &info) {
    kernel_names names;
    if (device.has_value()) {
        // FUSE passes ioctl() on to its daemon, which may hang.
        if (!mount_table_is_fuse(entry.file_system))
            names = ask_kernel_names(entry.target);
        if (names.label.empty())
            names.label = block_device_label(*device, places).value_or("");
        if (names.uuid.empty())
            names.uuid = block_device_identifier(*device, places).value_or("");
    }
    info.name = names.label.empty() ? last_name(entry.target) : names.label;
    info.file_system_id = names.uuid;
    info.identifier = names.uuid;
    if (info.identifier.empty()) {
        info.identifier =
            std::to_string(major(entry.device)) + ":" + std::to_string(minor(entry.device));
    }
}

static void describe_space(volume_info &info) {
    struct statvfs space = {};
    if (retry_eintr([&] { return statvfs(info.root.c_str(), &space); }) != 0) {
        info.capacity_error = path_error(info.root, "its size cannot be read", errno);
        return;
    }
    const std::uint64_t block = space.f_frsize != 0 ? space.f_frsize : space.f_bsize;
    info.capacity_bytes = space.f_blocks * block;
    info.free_bytes = space.f_bfree * block;
    if ((space.f_flag & ST_RDONLY) != 0)
        info.read_only = true;
}

// Leaves the marks unknown on failure. Files on the volume do not change them.
static void describe_mount(volume_info &info) {
    // STATX_MNT_ID_UNIQUE of Linux 6.8; older headers lack it.
    constexpr unsigned unique_mount_id = 0x4000;

    struct statx status = {};
    if (statx(AT_FDCWD, info.root.c_str(), 0, unique_mount_id | STATX_BTIME, &status) != 0)
        return;
    if ((status.stx_mask & unique_mount_id) != 0)
        info.unique_mount_id = status.stx_mnt_id;
    if ((status.stx_mask & STATX_BTIME) != 0)
        info.root_birth = {status.stx_btime.tv_sec, status.stx_btime.tv_nsec};
}

int mounted_volume_look_up(const std::string &path, looked_up_path &found, int flags) {
    struct statx status = {};
    if (statx(AT_FDCWD, path.c_str(), flags, STATX_TYPE | STATX_MNT_ID, &status) != 0)
        return errno;
    found.device = makedev(status.stx_dev_major, status.stx_dev_minor);
    // Emulators of system calls set the flag and leave the field empty.
    if ((status.stx_mask & STATX_MNT_ID) != 0 && status.stx_mnt_id != 0)
        found.mount_id = static_cast<int>(status.stx_mnt_id);
    if ((status.stx_attributes_mask & STATX_ATTR_MOUNT_ROOT) != 0)
        found.mount_root = (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
    return 0;
}

bool mounted_volume_look_at(const std::string &path, looked_up_path &found, std::string &error) {
    const int result = mounted_volume_look_up(path, found);
    if (result != 0)
        error = path_error(path, "cannot be looked at", result);
    return result == 0;
}

bool mounted_volume_find(const std::string &path, mount_entry &entry, std::string &error) {
    for (int tries = 0; tries < max_tries; ++tries) {
        looked_up_path found;
        if (!mounted_volume_look_at(path, found, error))
            return false;
        std::vector<mount_entry> table;
        if (!mount_table_read(mount_table_path, table, error))
            return false;
        if (found.mount_id.has_value() ? find_by_id(path, table, *found.mount_id, entry, error)
                                       : find_by_walk(path, table, entry, error))
            return true;
    }
    return false;
}

std::optional<dev_t> mounted_volume_device(const mount_entry &entry) {
    if (major(entry.device) != 0)
        return entry.device;
    // btrfs and similar pools have no device number of their own. The source of a plain FUSE file
    // system is any text that its daemon chose.
    if (mount_table_is_fuse(entry.file_system) && entry.file_system != "fuseblk")
        return std::nullopt;
    return block_device_number(entry.source, block_device_system_places());
}

void mounted_volume_describe(const mount_entry &entry, volume_info &info) {
    info = volume_info();
    info.root = entry.target;
    info.file_system = entry.file_system;
    info.source = entry.source;
    info.device = entry.device;
    info.mount_id = entry.id;
    describe_mount(info);

    const std::optional<dev_t> device = mounted_volume_device(entry);
    const block_device_places places = block_device_system_places();
    describe_names(entry, device, places, info);
    block_device_facts facts;
    if (device.has_value())
        facts = block_device_describe(*device, places);
    info.read_only = entry.read_only || facts.read_only == true;
    info.removable = facts.removable;
    info.ejectable = facts.ejectable;
    info.internal = facts.internal;
    info.device_bytes = facts.bytes;
    describe_space(info);
}

bool volume_describe(const std::string &path, volume_info &info, std::string &error) noexcept {
    mount_entry entry;
    if (!mounted_volume_find(path, entry, error))
        return false;
    mounted_volume_describe(entry, info);
    return true;
}

bool volume_is_mount_root(const std::string &path, bool &is_root, std::string &error) noexcept {
    looked_up_path found;
    if (!mounted_volume_look_at(path, found, error))
        return false;
    if (found.mount_root.has_value()) {
        is_root = *found.mount_root;
        return true;
    }
    mount_entry entry;
    if (!mounted_volume_find(path, entry, error))
        return false;
    const std::string real = real_path(path);
    if (real.empty()) {
        error = path_error(path, "cannot be resolved", errno);
        return false;
    }
    is_root = entry.target == real;
    return true;
}
