// SPDX-License-Identifier: GPL-3.0-or-later
// Chooses the volumes that a user may want to test. The mount table alone decides which mounts are
// left out, before any is touched: even stat() on a network mount hangs if its server is gone.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <optional>
#include <string_view>
#include <utility>

#include "volume/answer_in_time.h"
#include "volume/file_system_keys.h"
#include "volume/mounted_volume.h"

// A sound volume answers within a second, even when another program keeps it busy.
constexpr std::chrono::seconds patience{5};

constexpr unsigned cd_rom_major = 11;  // Documentation/admin-guide/devices.txt of the kernel

template <size_t N>
static bool is_in(const std::array<std::string_view, N> &words, std::string_view word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

// Mount points of the system's own file systems, by the Filesystem Hierarchy Standard and the
// distributions' conventions.
static bool is_system_target(const std::string &target) {
    static constexpr std::array<std::string_view, 6> targets = {"/",     "/home", "/opt",
                                                                "/root", "/srv",  "/var"};
    static constexpr std::array<std::string_view, 17> trees = {
        "/boot",    "/dev",      "/efi",       "/etc",     "/gnu",     "/nix",
        "/proc",    "/recovery", "/snap",      "/sys",     "/sysroot", "/usr",
        "/var/lib", "/var/log",  "/var/cache", "/var/tmp", "/var/snap"};
    return is_in(targets, target) ||
           std::any_of(trees.begin(), trees.end(), [&](std::string_view tree) {
               return target.compare(0, tree.size(), tree) == 0 &&
                      (target.size() == tree.size() || target[tree.size()] == '/');
           });
}

// Whether the mount point can be looked at and leads to that mount.
static bool is_reachable(const mount_entry &entry) {
    looked_up_path found;
    struct stat status = {};
    return mounted_volume_look_up(entry.target, found, AT_NO_AUTOMOUNT) == 0 &&
           (!found.mount_id.has_value() || *found.mount_id == entry.id) &&
           stat(entry.target.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// Nothing if the volume cannot be reached or hangs: a FUSE daemon may never answer.
static std::optional<volume_info> describe_in_time(const mount_entry &entry) {
    const auto describe = [entry]() -> std::optional<volume_info> {
        if (!is_reachable(entry))
            return std::nullopt;
        volume_info info;
        mounted_volume_describe(entry, info);
        return info;
    };
    return answer_in_time(patience, describe).value_or(std::nullopt);
}

// The mounts that could be listed, those of whole file systems before those of folders in one: of
// several mounts of a file system, only the first is listed.
static std::vector<const mount_entry *> candidates_of(const std::vector<mount_entry> &table) {
    std::vector<const mount_entry *> candidates;
    for (const mount_entry &entry : table)
        if (mounted_volume_is_candidate(table, entry))
            candidates.push_back(&entry);
    std::stable_partition(candidates.begin(), candidates.end(),
                          [](const mount_entry *entry) { return entry->folder == "/"; });
    return candidates;
}

bool mounted_volume_is_candidate(const std::vector<mount_entry> &table, const mount_entry &entry) {
    static constexpr std::array<std::string_view, 6> images = {"cramfs", "erofs",    "iso9660",
                                                               "romfs",  "squashfs", "swap"};
    static constexpr std::array<std::string_view, 4> pools = {"bcachefs", "btrfs", "ubifs", "zfs"};
    const bool on_device = major(entry.device) != 0 || is_in(pools, entry.file_system);
    const bool in_user_space = mount_table_is_fuse(entry.file_system);
    return (on_device || in_user_space) && major(entry.device) != cd_rom_major &&
           !is_in(images, entry.file_system) && !mount_table_is_remote(entry.file_system) &&
           !is_system_target(entry.target) && !mount_table_lies_in_remote(table, entry) &&
           mount_table_find_path(table, entry.target) == &entry;
}

bool volume_list(std::vector<volume_info> &volumes, std::string &error) noexcept {
    volumes.clear();
    std::vector<mount_entry> table;
    if (!mount_table_read(mount_table_path, table, error))
        return false;
    file_system_keys taken;
    for (const volume_system_use &use : system_places_list()) {
        const bool program = use.role == volume_system_role::program;
        file_system_keys_of_place(program ? running_program_link() : use.place, taken);
    }
    for (const mount_entry *entry : candidates_of(table)) {
        file_system_keys keys;
        file_system_keys_add(*entry, keys);
        if (file_system_keys_meet(keys, taken))
            continue;
        std::optional<volume_info> volume = describe_in_time(*entry);
        if (!volume)
            continue;
        taken.insert(taken.end(), keys.begin(), keys.end());
        volumes.push_back(std::move(*volume));
    }
    volume_sort(volumes);
    return true;
}
