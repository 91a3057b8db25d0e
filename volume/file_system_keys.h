// Which file system a path lies on, in a form that two paths can be compared by. One number is not
// enough: subvolumes of one pool have numbers of their own, and an overlay writes elsewhere. So a
// path has several keys, and two paths share their file system when they share any key. Keys mean
// something only while the volumes stay mounted, on this machine.
#pragma once

#include <string>
#include <vector>

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

// The file of the running program, in a form that leads to it even when it was renamed or deleted
// (for looking at), and its name (for showing).
std::string running_program_link();
std::string running_program_name();
