// SPDX-License-Identifier: GPL-3.0-or-later
// The part of volume.h that only compares values.
//
// Whether a volume is still the one that was chosen shows in the marks of volume_info.
// No single mark is enough: a copied card carries the original's identifier, a card reader gives
// its device number to every card in it, and the numbers of mounts and of file systems without a
// device are used again. Only the unique mount id settles it; without it, all other marks must
// agree.
#include "volume/volume.h"

#include <algorithm>

// A mark that is unknown on one side is no difference: a failing volume answers less than before.
template <typename value>
static bool agree(const value &before, const value &now) {
    return before == value{} || now == value{} || before == now;
}

bool volume_is_still(const volume_info &before, const volume_info &now) noexcept {
    if (now.root != before.root || now.identifier != before.identifier ||
        now.device != before.device)
        return false;
    if (before.unique_mount_id != 0 && now.unique_mount_id != 0)
        return now.unique_mount_id == before.unique_mount_id;
    return agree(before.mount_id, now.mount_id) && agree(before.root_birth, now.root_birth) &&
           agree(before.capacity_bytes, now.capacity_bytes);
}

bool volume_is_same_card(const volume_info &chosen, const volume_info &now) noexcept {
    return now.root == chosen.root && !chosen.file_system_id.empty() &&
           now.file_system_id == chosen.file_system_id && chosen.device_bytes.has_value() &&
           now.device_bytes == chosen.device_bytes;
}

static int rank_of(const volume_info &info) {
    if (!info.removable.has_value())
        return 1;
    return *info.removable ? 0 : 2;
}

void volume_sort(std::vector<volume_info> &volumes) {
    std::sort(volumes.begin(), volumes.end(),
              [](const volume_info &left, const volume_info &right) {
                  return rank_of(left) != rank_of(right) ? rank_of(left) < rank_of(right)
                                                         : left.root < right.root;
              });
}
