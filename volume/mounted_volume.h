// SPDX-License-Identifier: GPL-3.0-or-later
// The mount behind a path on Linux, shared by the questions that the room answers.
#ifndef TROVIK_VOLUME_MOUNTED_VOLUME_H
#define TROVIK_VOLUME_MOUNTED_VOLUME_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "volume/mount_table.h"
#include "volume/volume.h"

// The mount table of this process. A file of this process, not of the system: namespaces differ.
constexpr const char *MOUNT_TABLE = "/proc/self/mountinfo";

// What the kernel says about the file a path leads to, with symbolic links followed.
struct looked_up_path {
    dev_t device = 0;                // st_dev
    std::optional<int> mount_id;     // unknown before Linux 5.8, in some sandboxes and emulators
    std::optional<bool> mount_root;  // likewise
};

// 0, or the error number. Sets off an automounter that waits at the path (the user named it and
// means what will be mounted there), unless `flags` has AT_NO_AUTOMOUNT.
int mounted_volume_look_up(const std::string &path, looked_up_path &found, int flags = 0);

// Likewise, with the reason in words: false and `error`.
bool mounted_volume_look_at(const std::string &path, looked_up_path &found, std::string &error);

// The mount that `path` lies on. False and `error` when the path cannot be looked at or the table
// does not show its mount.
bool mounted_volume_find(const std::string &path, mount_entry &entry, std::string &error);

// The block device that the file system lies on; nullopt for memory, networks and daemons.
std::optional<dev_t> mounted_volume_device(const mount_entry &entry);

// Whether the mount could be a volume to test, by the mount table alone. `entry` is an element of
// `table`.
bool mounted_volume_is_candidate(const std::vector<mount_entry> &table, const mount_entry &entry);

// Fills everything about the volume on that mount.
void mounted_volume_describe(const mount_entry &entry, volume_info &info);

#endif
