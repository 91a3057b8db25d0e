// SPDX-License-Identifier: GPL-3.0-or-later
// What a mounted volume is: where it is mounted, what it is called, how large it is, and what kind
// of device it lies on. Guarantees that an answer is about the very mount a path lies on, and that
// what cannot be known is said to be unknown: a property is never guessed after a failure. Asks
// only what every user may ask (no root, no udev daemon needed), writes nothing, opens no device.
// One file per system implements it, so that no caller knows which system it runs on.
//
// All functions may be called from any thread and keep no state between calls. They do touch the
// volume, so a volume that does not answer makes them wait: keep them off a window's main thread.
// No exception leaves them. An `error` names the path and the system's reason; it is written on
// failure only. Names and paths are their real bytes, here and in all texts of this room: whoever
// shows them must see to it that no terminal obeys them.
#ifndef TROVIK_VOLUME_VOLUME_H
#define TROVIK_VOLUME_VOLUME_H

#include <string>
#include <vector>

#include "volume/volume_info.h"

// Describes the volume that `path` lies on; path may be any file or folder deep inside, or a
// symbolic link to one. True and `info`, or false and `error`: the path does not exist, its volume
// has vanished, or the volume's root cannot be reached under the name the mount table gives.
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

// All mounted volumes that a user could want to test: those on a local device, each once,
// without images, pseudo and network file systems and without the volumes the system itself lives
// on. Removable ones first, then those that cannot tell, then the others, each
// group by root. Never touches a network mount, so one that is unreachable does not make it wait.
// A volume that cannot be looked at (vanished, no permission) could not be tested and is left out.
// False and `error` only when the mount table cannot be read.
bool volume_list(std::vector<volume_info> &volumes, std::string &error) noexcept;

// Sorts into the order of that list.
void volume_sort(std::vector<volume_info> &volumes);

// Sets `is_root` to whether `path`, with symbolic links followed, is the root of its own mount. The
// root of a bind mount is one, too. False and `error` when the path cannot be looked at.
bool volume_is_mount_root(const std::string &path, bool &is_root, std::string &error) noexcept;

// Sets `same` to whether filling the one path's file system takes space from the other's: the same
// file system, also through bind mounts, subvolumes of one pool and writable overlays. False and
// `error` when one of the paths cannot be looked at.
bool volume_same_file_system(const std::string &first, const std::string &second, bool &same,
                             std::string &error) noexcept;

// Why a path lies on a volume that the system or its user cannot do without.
enum class volume_system_role { root, home, program };
struct volume_system_use {
    volume_system_role role;
    std::string place;  // "/", "/home/ann", "/usr/bin/trovik-cli"
};

// Fills `uses` with everything that shares the file system of `path` and makes it a system volume:
// "/", a home of the user ($HOME, the account's own, and that of the user who called sudo or
// pkexec), the running program. Empty when none does. False and `error` when `path` cannot be
// looked at; a home that does not exist protects nothing and is passed over.
bool volume_find_system_uses(const std::string &path, std::vector<volume_system_use> &uses,
                             std::string &error) noexcept;

// The use in words, its place with its real bytes, for a sentence such as "it holds ...": "the
// system's root /", "the home folder /home/ann", "the running program /usr/bin/trovik-cli".
std::string volume_system_use_text(const volume_system_use &use);

#endif
