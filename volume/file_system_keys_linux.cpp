// SPDX-License-Identifier: GPL-3.0-or-later
// Keys of file systems on Linux, where no single number is enough: st_dev differs between
// subvolumes of one pool, the mount table's number may differ from every st_dev, and an overlay
// takes its space from another file system.
#include <fcntl.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>

#include "volume/file_system_keys.h"
#include "volume/mounted_volume.h"

static void add_key(file_system_keys &keys, dev_t device) {
    keys.push_back(std::to_string(major(device)) + ":" + std::to_string(minor(device)));
}

// The keys are st_dev, the mount table's number (the same for all subvolumes of a pool) and the
// device's number. Paths through /proc may lead to mounts that are not in the table; these have
// only the first key.
bool file_system_keys_of(const std::string &path, file_system_keys &keys, std::string &error) {
    looked_up_path found;
    if (!mounted_volume_look_at(path, found, error))
        return false;
    add_key(keys, found.device);
    std::vector<mount_entry> table;
    if (!mount_table_read(mount_table_path, table, error))
        return false;
    mount_entry entry;
    std::string reason;
    if (found.mount_id.has_value()) {
        const mount_entry *mount = mount_table_find_id(table, *found.mount_id);
        if (mount == nullptr)
            return true;
        entry = *mount;
    } else if (!mounted_volume_find(path, entry, reason)) {
        return true;
    }
    file_system_keys_add(entry, keys);
    return true;
}

void file_system_keys_add(const mount_entry &entry, file_system_keys &keys) {
    add_key(keys, entry.device);
    const std::optional<dev_t> device = mounted_volume_device(entry);
    if (device.has_value())
        add_key(keys, *device);
    // An overlay writes to its upper folder.
    const std::string upper =
        entry.file_system == "overlay" ? mount_table_option(entry, "upperdir") : std::string();
    looked_up_path found;
    if (!upper.empty() && mounted_volume_look_up(upper, found) == 0)
        add_key(keys, found.device);
}

// Homes are often on a network. If the path leads to a remote mount by name, or cannot be looked
// at, the mount table gives the key without waiting for a server.
bool file_system_keys_of_place(const std::string &place, file_system_keys &keys) {
    std::vector<mount_entry> table;
    std::string reason;
    const mount_entry *mount = nullptr;
    if (mount_table_read(mount_table_path, table, reason))
        mount = mount_table_find_path(table, place);
    if (mount != nullptr && mount_table_is_remote(mount->file_system)) {
        add_key(keys, mount->device);
        return true;
    }
    looked_up_path found;
    const int result = mounted_volume_look_up(place, found, AT_NO_AUTOMOUNT);
    if (result == ENOENT || result == ENOTDIR)
        return false;
    if (result == 0)
        return file_system_keys_of(place, keys, reason);
    if (mount != nullptr)
        file_system_keys_add(*mount, keys);
    return true;
}

// /proc/self/exe leads to the file itself, even if it was renamed or deleted.
std::string running_program_link() {
    return "/proc/self/exe";
}

std::string running_program_name() {
    std::array<char, PATH_MAX> name = {};
    const ssize_t length = readlink("/proc/self/exe", name.data(), name.size());
    return length > 0 ? std::string(name.data(), static_cast<size_t>(length)) : "/proc/self/exe";
}
