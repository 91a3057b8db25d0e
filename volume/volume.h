// SPDX-License-Identifier: GPL-3.0-or-later
// Describes mounted volumes: mount point, name, size, kind of device. An answer is about the mount
// that the path leads to. A property that cannot be known is unknown, never guessed. Needs neither
// root nor udev, writes nothing, opens no device. One file per system implements it.
//
// All functions may be called from any thread and keep no state between calls. They touch the
// volume, so they hang if it does: do not call them on a window's main thread. No exception leaves
// them. An `error` names the path and the system's reason, and is set on failure only. Names and
// paths have their raw bytes, here and in all texts of this room: escape them before showing them.
#ifndef TROVIK_VOLUME_VOLUME_H
#define TROVIK_VOLUME_VOLUME_H

#include <string>
#include <vector>

#include "volume/volume_info.h"

// Describes the volume that `path` lies on: any file or folder in it, or a symbolic link to one.
// Returns false and sets `error` if the path does not exist, its volume is gone, or the name in the
// mount table does not lead to the volume's root.
bool volume_describe(const std::string &path, volume_info &info, std::string &error) noexcept;

// Whether `now`, described at the same path later, is the same mount as `before`. False for another
// volume that was mounted there meanwhile, and for the same one after a new mount. Files written or
// removed since then make no difference.
bool volume_is_still(const volume_info &before, const volume_info &now) noexcept;

// Whether `now` is the card that was `chosen`, perhaps after a new mount: mounted at the same root,
// with the same file system identifier and device size. False if the file system has no identifier
// or the device's size is unknown. A copy of the card, sector by sector, cannot be told from it.
// After true, use `now` in place of `chosen`: device and mount numbers may have changed.
bool volume_is_same_card(const volume_info &chosen, const volume_info &now) noexcept;

// Lists the mounted volumes that a user may want to test: those on a local device, each once,
// without read-only images, network file systems and the system's own volumes. Removable ones
// first, then the unknown, then the others; each group sorted by root. Never touches a network
// mount. Leaves out volumes that cannot be looked at or do not answer within five seconds. Returns
// false and sets `error` only if the mount table cannot be read.
bool volume_list(std::vector<volume_info> &volumes, std::string &error) noexcept;

// Sorts into the order of that list.
void volume_sort(std::vector<volume_info> &volumes);

// Sets `is_root` to whether `path`, with symbolic links followed, is the root of its mount; a bind
// mount counts, too. Returns false and sets `error` if the path cannot be looked at.
bool volume_is_mount_root(const std::string &path, bool &is_root, std::string &error) noexcept;

// Sets `same` to whether the paths share their space: one file system, also through bind mounts,
// subvolumes of one pool and writable overlays. Returns false and sets `error` if one of the paths
// cannot be looked at.
bool volume_same_file_system(const std::string &first, const std::string &second, bool &same,
                             std::string &error) noexcept;

// What makes a volume the system's own.
enum class volume_system_role { root, home, program };
struct volume_system_use {
    volume_system_role role;
    std::string place;  // "/", "/home/ann", "/usr/bin/trovik-cli"
};

// Fills `uses` with all places on the file system of `path` that make it a system volume: "/", a
// home of the user ($HOME, the account's, and that of the user behind sudo or pkexec), the running
// program. A home that does not exist is skipped. Returns false and sets `error` if `path` cannot
// be looked at.
bool volume_find_system_uses(const std::string &path, std::vector<volume_system_use> &uses,
                             std::string &error) noexcept;

// The use in words, for a sentence such as "it holds ...": "the system's root /", "the home folder
// /home/ann", "the running program /usr/bin/trovik-cli". The place has its raw bytes.
std::string volume_system_use_text(const volume_system_use &use);

#endif
