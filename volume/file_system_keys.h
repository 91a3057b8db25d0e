// SPDX-License-Identifier: GPL-3.0-or-later
// Compares the file systems of paths by keys, and lists the places whose file systems must not be
// filled by mistake.
//
// One number per path is not enough: subvolumes of one pool have different numbers, and an overlay
// writes to another file system. So a path has several keys, and two paths share a file system if
// they share any key. Keys are valid on this machine while the volumes stay mounted.
#ifndef TROVIK_VOLUME_FILE_SYSTEM_KEYS_H
#define TROVIK_VOLUME_FILE_SYSTEM_KEYS_H

#include <string>
#include <vector>

#include "volume/volume.h"

struct mount_entry;

using file_system_keys = std::vector<std::string>;

// Adds the keys of a path. Returns false and sets `error` if the path cannot be looked at.
bool file_system_keys_of(const std::string &path, file_system_keys &keys, std::string &error);

// Adds the keys of a place to protect, without waiting for a network. Returns false if the place
// does not exist.
bool file_system_keys_of_place(const std::string &place, file_system_keys &keys);

// Adds the keys of a mount without touching it. Linux only.
void file_system_keys_add(const mount_entry &entry, file_system_keys &keys);

// Whether the two share a key.
bool file_system_keys_meet(const file_system_keys &left, const file_system_keys &right);

// The places to protect: "/", the homes, the running program. From the environment and the account
// database, each once; they need not exist. A home from the environment must be an absolute path.
std::vector<volume_system_use> system_places_list();

// The running program: a path that leads to its file even after it was renamed or deleted, and a
// name to show.
std::string running_program_link();
std::string running_program_name();

#endif
