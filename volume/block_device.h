// SPDX-License-Identifier: GPL-3.0-or-later
// What the system knows about a block device without opening it: from sysfs and, where a udev
// daemon keeps its notes, from those. Everything may be missing (a container has no udev, sometimes
// no sysfs); what is missing stays unknown. Where to look is a parameter, so that trees of other
// machines can be put in their place.
#ifndef TROVIK_VOLUME_BLOCK_DEVICE_H
#define TROVIK_VOLUME_BLOCK_DEVICE_H

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

using device_properties = std::map<std::string, std::string>;

struct block_device_places {
    std::string sysfs = "/sys";
    std::string links = "/dev/disk";                          // of by-label, by-uuid
    device_properties (*properties)(dev_t device) = nullptr;  // nullptr: none are known
};

// The places of the running system, with udev's properties.
block_device_places block_device_system_places();

struct block_device_facts {
    std::optional<std::uint64_t> bytes;  // of the disk or partition itself
    std::optional<bool> read_only;
    std::optional<bool> removable;
    std::optional<bool> ejectable;
    std::optional<bool> internal;
};

// The facts about a disk, a partition, or a device that is made of others (encrypted, striped): for
// those, what all of its parts agree on.
block_device_facts block_device_describe(dev_t device, const block_device_places &places);

// A device that reads from a file, or from another device, by way of the system.
struct block_device_loop {
    std::string name;     // "loop0"; its node is in /dev
    std::string backing;  // as this process would name it; empty when that is unknown
    bool direct = false;  // past the pages that memory holds of the file
};

// The loop devices that the device (or the one it is a partition of) is, or is made of.
std::vector<block_device_loop> block_device_loops(dev_t device, const block_device_places &places);

// The label and the identifier (UUID, or serial for FAT and NTFS) of the file system on the device,
// or nullopt: udev's property, else the link under /dev/disk.
std::optional<std::string> block_device_label(dev_t device, const block_device_places &places);
std::optional<std::string> block_device_identifier(dev_t device, const block_device_places &places);

// The number of the device that has this name in /dev ("/dev/sdb1", "/dev/mapper/card"): of the
// node, or what sysfs says where a container hides the node. nullopt when there is none.
std::optional<dev_t> block_device_number(const std::string &node,
                                         const block_device_places &places);

// Decodes udev's escapes: "NO\x20NAME" -> "NO NAME". Anything else stays as it is.
std::string block_device_decode(const std::string &text);

#endif
