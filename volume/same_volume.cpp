// No single mark tells two volumes apart: a copy of a card carries the card's identifier, a card
// reader gives its device number to whichever card is in it, and the numbers of file systems
// without a device, like those of mounts, are used again at once. Only a mount that no other can
// have the number of settles it; without that number, all the others have to agree.
#include "volume/volume.h"

// What is not known on one side is no difference: a volume that fails answers less than it did.
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
