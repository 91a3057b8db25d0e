// SPDX-License-Identifier: GPL-3.0-or-later
// Which file system a path lies on, in a form that two paths can be compared by. One number is not
// enough: subvolumes of one pool have numbers of their own, and an overlay writes elsewhere. So a
// path has several keys, and two paths share their file system when they share any key. Keys mean
// something only while the volumes stay mounted, on this machine.
#ifndef TROVIK_VOLUME_FILE_SYSTEM_KEYS_H
#define TROVIK_VOLUME_FILE_SYSTEM_KEYS_H

#include <string>
#include <vector>

#include "volume/volume.h"

struct mount_entry;

using file_system_keys = std::vector<std::string>;

// Adds the keys of a path. False and `error` when it cannot be looked at.
bool file_system_keys_of(const std::string &path, file_system_keys &keys, std::string &error);

// Adds the keys of a place that is to be protected, without waiting for a network. False when it
// does not exist.
bool file_system_keys_of_place(const std::string &place, file_system_keys &keys);

// Linux: adds the keys of a mount, without touching it.
void file_system_keys_add(const mount_entry &entry, file_system_keys &keys);

// Whether the two share a key.
bool file_system_keys_meet(const file_system_keys &left, const file_system_keys &right);

// The places that a test must not fill by mistake: "/", the homes, the running program. Taken from
// the environment and the account database, each once; they need not exist. A home in the
// environment counts only if it is an absolute path.
std::vector<volume_system_use> system_places_list();

// The file of the running program, in a form that leads to it even when it was renamed or deleted
// (for looking at), and its name (for showing).
std::string running_program_link();
std::string running_program_name();

#endif
