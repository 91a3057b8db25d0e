// Which mounts of a table are listed, as a question of its own: it needs no mounts to be tried.
#pragma once

#include <vector>

#include "volume/mount_table.h"

// Whether the mount could be a volume to test, by the table alone. `entry` is an element of
// `table`.
bool volume_list_is_candidate(const std::vector<mount_entry> &table, const mount_entry &entry);
