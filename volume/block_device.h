// SPDX-License-Identifier: GPL-3.0-or-later
// Facts about a block device that need no open device: from sysfs, and from udev's database if
// there is one. A container has no udev and sometimes no sysfs; a missing fact stays unknown. The
// places are a parameter, so that tests can use the trees of other machines.
#ifndef TROVIK_VOLUME_BLOCK_DEVICE_H
#define TROVIK_VOLUME_BLOCK_DEVICE_H

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

// How deep nested devices and images are followed: deeper than any real nesting, and an end to
// circles.
constexpr int block_device_max_depth = 8;

using device_properties = std::map<std::string, std::string>;

struct block_device_places {
    std::string sysfs = "/sys";
    std::string links = "/dev/disk";                          // holds by-label, by-uuid
    device_properties (*properties)(dev_t device) = nullptr;  // nullptr: unknown
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

// The facts about a disk or partition. For a device made of others (encrypted, striped), the facts
// that all its parts agree on.
block_device_facts block_device_describe(dev_t device, const block_device_places &places);

// A loop device: its sectors are those of a backing file or device.
struct block_device_loop {
    std::string name;     // "loop0"; its node is in /dev
    std::string backing;  // path for this process; empty if unknown
    bool direct = false;  // reads with direct I/O, past the page cache
};

// The loop devices below a device: itself, its disk, or its parts.
std::vector<block_device_loop> block_device_loops(dev_t device, const block_device_places &places);

// Label and identifier (UUID, or serial for FAT and NTFS) of the file system on the device: udev's
// property, else the link under /dev/disk, else nullopt.
std::optional<std::string> block_device_label(dev_t device, const block_device_places &places);
std::optional<std::string> block_device_identifier(dev_t device, const block_device_places &places);

// The number of the device with this name in /dev ("/dev/sdb1", "/dev/mapper/card"), from its node,
// else from sysfs, because a container may hide the node. nullopt if there is none.
std::optional<dev_t> block_device_number(const std::string &node,
                                         const block_device_places &places);

// Decodes udev's escapes: "NO\x20NAME" -> "NO NAME". Anything else stays as it is.
std::string block_device_decode(const std::string &text);

#endif
