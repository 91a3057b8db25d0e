// What belongs to the list of volumes beside the asking of the system.
#pragma once

#include <vector>

#include "volume/mount_table.h"
#include "volume/volume.h"

// Linux: whether the mount could be a volume to test, by the table alone, so that it needs no
// mounts to be tried. `entry` is an element of `table`.
bool volume_list_is_candidate(const std::vector<mount_entry> &table, const mount_entry &entry);

// Into the order of the list: removable, then unknown, then fixed, each by its root.
void volume_list_sort(std::vector<volume_info> &volumes);
