// SPDX-License-Identifier: GPL-3.0-or-later
// The mount behind a path on Linux, for the functions of volume.h.
#ifndef TROVIK_VOLUME_MOUNTED_VOLUME_H
#define TROVIK_VOLUME_MOUNTED_VOLUME_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "volume/mount_table.h"
#include "volume/volume.h"

// The mount table of this process; other mount namespaces have others.
constexpr const char *mount_table_path = "/proc/self/mountinfo";

// What statx(2) says about a path, with symbolic links followed.
struct looked_up_path {
    dev_t device = 0;                // st_dev
    std::optional<int> mount_id;     // unknown before Linux 5.8, in some sandboxes and emulators
    std::optional<bool> mount_root;  // likewise
};

// Returns 0 or the error number. Triggers an automounter at the path, because a user who names that
// path means its mount; not with AT_NO_AUTOMOUNT in `flags`.
int mounted_volume_look_up(const std::string &path, looked_up_path &found, int flags = 0);

// The same, with false and `error` on failure.
bool mounted_volume_look_at(const std::string &path, looked_up_path &found, std::string &error);

// Finds the mount that `path` lies on. Returns false and sets `error` if the path cannot be looked
// at or its mount is not in the table.
bool mounted_volume_find(const std::string &path, mount_entry &entry, std::string &error);

// The block device below the file system; nullopt for memory, network and FUSE file systems without
// one.
std::optional<dev_t> mounted_volume_device(const mount_entry &entry);

// Whether the mount could be a volume to test, by the mount table alone. `entry` is an element of
// `table`.
bool mounted_volume_is_candidate(const std::vector<mount_entry> &table, const mount_entry &entry);

// Fills all fields for the volume on that mount.
void mounted_volume_describe(const mount_entry &entry, volume_info &info);

#endif
