// SPDX-License-Identifier: GPL-3.0-or-later
// The properties of a mounted volume as plain values, for rooms that only show or store them. The
// functions that find them are in volume.h.
#ifndef TROVIK_VOLUME_VOLUME_INFO_H
#define TROVIK_VOLUME_VOLUME_INFO_H

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

struct volume_info {
    std::string root;         // absolute path of the mount point
    std::string name;         // label, else the last component of root ("/" for "/")
    std::string identifier;   // file_system_id, else "major:minor"
    std::string file_system;  // as the system calls it: "exfat", "ext4", "fuseblk", ...
    std::string source;       // the mount table's source: "/dev/sdb1", ...
    dev_t device = 0;         // the file system's device number in the mount table

    // The same after a new mount, and for a copy of the card.
    std::string file_system_id;                 // UUID, or serial for FAT and NTFS; may be empty
    std::optional<std::uint64_t> device_bytes;  // size of the device; unknown without a device

    // Marks that tell this mount from a later one at the same place. 0 if unknown.
    int mount_id = 0;                                  // may be used again by a later mount
    std::uint64_t unique_mount_id = 0;                 // is not, until the system restarts
    std::pair<std::int64_t, std::int64_t> root_birth;  // of the root folder: seconds, nanoseconds

    // Total bytes, and free bytes including those reserved for root. If the file system does not
    // tell, both are unknown and capacity_error holds the reason.
    std::optional<std::uint64_t> capacity_bytes;
    std::optional<std::uint64_t> free_bytes;
    std::string capacity_error;

    // nullopt if unknown.
    std::optional<bool> read_only;  // this mount, its file system or its device takes no writes
    std::optional<bool> removable;  // the medium can be taken out: a card, a stick
    std::optional<bool> ejectable;  // the medium or its whole device can be unplugged
    std::optional<bool> internal;   // the device, or the slot of the medium, is built in
};

#endif
