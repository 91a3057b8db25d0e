// SPDX-License-Identifier: GPL-3.0-or-later
// Reads a device's place in sysfs. The bus shows in the components of the device's path
// (/sys/devices/pci.../usb1/...): the kernel chooses them, and they cannot be renamed.
//
// Three quirks decide the rules. A disk's attribute "removable" means that the medium can change
// without the device, so a card in a built-in slot has 0; its type is SD. A USB hard disk has 0
// too, although it can be unplugged. A port has an attribute of the same name ("fixed",
// "removable", "unknown"), with which the firmware tells a built-in reader from a socket.
#include <linux/major.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <array>
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <string_view>
#include <vector>

#include "volume/block_device.h"
#include "volume/posix.h"

static std::optional<std::string> attribute(const std::string &folder, const std::string &name) {
    std::ifstream file(folder + "/" + name);
    std::string line;
    if (!file || !std::getline(file, line))
        return std::nullopt;
    return line;
}

static std::optional<bool> flag(const std::string &folder, const std::string &name) {
    const std::optional<std::string> text = attribute(folder, name);
    if (text == "1")
        return true;
    if (text == "0")
        return false;
    return std::nullopt;
}

// sysfs counts in units of 512 bytes, whatever the device's sector size.
static std::optional<std::uint64_t> size_of(const std::string &node) {
    const std::string text = attribute(node, "size").value_or("");
    char *end = nullptr;
    const std::uint64_t sectors = std::strtoull(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0')
        return std::nullopt;
    return sectors * 512;
}

static bool exists(const std::string &path) {
    struct stat status = {};
    return stat(path.c_str(), &status) == 0;
}

static std::string parent_of(const std::string &path) {
    return path.substr(0, path.rfind('/'));
}

static std::vector<std::string> names_in(const std::string &folder) {
    std::vector<std::string> names;
    const unique_dir directory(opendir(folder.c_str()));
    if (directory == nullptr)
        return names;
    while (const dirent *entry = readdir(directory.get()))
        if (entry->d_name[0] != '.')
            names.emplace_back(entry->d_name);
    return names;
}

// Whether a component of the path is the word followed by a number: "usb" finds /usb3/.
static bool path_has(const std::string &path, const std::string &word) {
    for (size_t at = path.find("/" + word); at != std::string::npos;
         at = path.find("/" + word, at + 1)) {
        const size_t digit = at + 1 + word.size();
        if (digit < path.size() && std::isdigit(static_cast<unsigned char>(path[digit])) != 0)
            return true;
    }
    return false;
}

// The attribute of the nearest port above the disk.
static std::optional<std::string> port_kind(const std::string &disk, const std::string &top) {
    for (std::string folder = parent_of(disk); folder.size() > top.size();
         folder = parent_of(folder)) {
        std::optional<std::string> kind = attribute(folder, "removable");
        if (kind.has_value())
            return kind;
    }
    return std::nullopt;
}

static std::optional<bool> built_in(const std::string &disk, const std::string &top,
                                    const device_properties &properties) {
    const std::optional<std::string> port = port_kind(disk, top);
    if (port == "fixed")
        return true;
    if (port == "removable" || path_has(disk, "usb") || path_has(disk, "fw"))
        return false;
    const auto bus = properties.find("ID_BUS");
    if (bus != properties.end() && (bus->second == "usb" || bus->second == "ieee1394"))
        return false;
    // Loop, RAM and network devices have no place. A session (iSCSI) is a disk on another machine.
    if (disk.find("/devices/virtual/") != std::string::npos || path_has(disk, "session"))
        return std::nullopt;
    return true;
}

static bool is_card(const std::string &disk, const device_properties &properties) {
    const std::optional<std::string> type = attribute(disk, "device/type");
    if (disk.find("/mmc_host/") != std::string::npos && (type == "SD" || type == "SDcombo"))
        return true;
    static constexpr std::array<const char *, 5> card_readers = {
        "ID_DRIVE_FLASH_SD", "ID_DRIVE_MEDIA_FLASH_SD", "ID_DRIVE_FLASH_CF", "ID_DRIVE_FLASH_MS",
        "ID_DRIVE_FLASH_SM"};
    for (const char *name : card_readers) {
        const auto property = properties.find(name);
        if (property != properties.end() && property->second == "1")
            return true;
    }
    return false;
}

static block_device_facts describe_disk(const std::string &disk, const std::string &top,
                                        const device_properties &properties) {
    block_device_facts facts;
    facts.internal = built_in(disk, top, properties);
    facts.removable = is_card(disk, properties) ? true : flag(disk, "removable");
    if (facts.removable == true || facts.internal == false)
        facts.ejectable = true;
    else if (facts.removable == false && facts.internal == true)
        facts.ejectable = false;
    return facts;
}

// The common value, or unknown.
static std::optional<bool> agreed(std::optional<bool> left, std::optional<bool> right) {
    return left == right ? left : std::nullopt;
}

static block_device_facts describe_node(const std::string &node, const block_device_places &places,
                                        int depth);

static std::string disk_of(const std::string &node) {
    return exists(node + "/partition") ? parent_of(node) : node;
}

static block_device_facts describe_parts(const std::string &disk,
                                         const std::vector<std::string> &parts,
                                         const block_device_places &places, int depth) {
    const std::string folder = disk + "/slaves/";
    std::optional<block_device_facts> all;
    for (const std::string &part : parts) {
        const block_device_facts one =
            describe_node(real_path(std::string(folder).append(part)), places, depth + 1);
        if (!all.has_value()) {
            all = one;
            continue;
        }
        all->removable = agreed(all->removable, one.removable);
        all->ejectable = agreed(all->ejectable, one.ejectable);
        all->internal = agreed(all->internal, one.internal);
    }
    return all.value_or(block_device_facts());
}

static std::optional<dev_t> number_of(const std::string &node) {
    const std::string text = attribute(node, "dev").value_or("");
    const size_t colon = text.find(':');
    if (colon == std::string::npos)
        return std::nullopt;
    return makedev(static_cast<unsigned>(std::strtoul(text.c_str(), nullptr, 10)),
                   static_cast<unsigned>(std::strtoul(text.c_str() + colon + 1, nullptr, 10)));
}

// `node` is the folder of a disk or partition in sysfs, without symbolic links.
static block_device_facts describe_node(const std::string &node, const block_device_places &places,
                                        int depth) {
    if (node.empty() || depth > block_device_max_depth)
        return {};
    const std::string disk = disk_of(node);
    const std::vector<std::string> parts = names_in(disk + "/slaves");
    block_device_facts facts;
    if (parts.empty()) {
        const std::optional<dev_t> number = number_of(node);
        device_properties properties;
        if (places.properties != nullptr && number.has_value())
            properties = places.properties(*number);
        facts = describe_disk(disk, real_path(places.sysfs), properties);
    } else {
        facts = describe_parts(disk, parts, places, depth);
    }
    facts.read_only = flag(node, "ro");
    facts.bytes = size_of(node);
    return facts;
}

// `node` as above. Finds a device twice if two parts lie on it.
static void find_loops(const std::string &node, int depth, std::vector<block_device_loop> &loops) {
    if (node.empty() || depth > block_device_max_depth)
        return;
    const std::string disk = disk_of(node);
    if (exists(disk + "/loop")) {
        loops.push_back({disk.substr(disk.rfind('/') + 1),
                         attribute(disk + "/loop", "backing_file").value_or(""),
                         flag(disk + "/loop", "dio") == true});
    }
    const std::string parts = disk + "/slaves/";
    for (const std::string &part : names_in(parts))
        find_loops(real_path(std::string(parts).append(part)), depth + 1, loops);
}

static std::string number_text(dev_t device) {
    return std::to_string(major(device)) + ":" + std::to_string(minor(device));
}

static std::optional<std::string> name_of_file_system(dev_t device,
                                                      const block_device_places &places,
                                                      const char *property, const char *folder) {
    if (places.properties != nullptr) {
        const device_properties properties = places.properties(device);
        const auto found = properties.find(property);
        if (found != properties.end() && !found->second.empty())
            return block_device_decode(found->second);
    }
    const std::string links = places.links + "/" + folder + "/";
    for (const std::string &name : names_in(links)) {
        struct stat status = {};
        if (stat(std::string(links).append(name).c_str(), &status) == 0 &&
            S_ISBLK(status.st_mode) && status.st_rdev == device)
            return block_device_decode(name);
    }
    return std::nullopt;
}

block_device_facts block_device_describe(dev_t device, const block_device_places &places) {
    return describe_node(real_path(places.sysfs + "/dev/block/" + number_text(device)), places, 0);
}

std::vector<block_device_loop> block_device_loops(dev_t device, const block_device_places &places) {
    std::vector<block_device_loop> loops;
    const std::string node = real_path(places.sysfs + "/dev/block/" + number_text(device));
    find_loops(node, 0, loops);
    // Without sysfs, the major number still shows a loop device.
    if (node.empty() && major(device) == LOOP_MAJOR)
        loops.push_back({"block/" + number_text(device), "", false});
    return loops;
}

std::optional<std::string> block_device_label(dev_t device, const block_device_places &places) {
    return name_of_file_system(device, places, "ID_FS_LABEL_ENC", "by-label");
}

std::optional<std::string> block_device_identifier(dev_t device,
                                                   const block_device_places &places) {
    return name_of_file_system(device, places, "ID_FS_UUID_ENC", "by-uuid");
}

std::optional<dev_t> block_device_number(const std::string &node,
                                         const block_device_places &places) {
    static constexpr std::string_view dev_folder = "/dev/";
    struct stat status = {};
    if (node.rfind(dev_folder, 0) != 0)
        return std::nullopt;
    if (stat(node.c_str(), &status) == 0)
        return S_ISBLK(status.st_mode) ? std::optional<dev_t>(status.st_rdev) : std::nullopt;
    // sysfs writes '!' for the slash in a node's name ("cciss!c0d0").
    std::string name = node.substr(dev_folder.size());
    for (char &character : name)
        character = character == '/' ? '!' : character;
    return number_of(places.sysfs + "/class/block/" + name);
}

std::string block_device_decode(const std::string &text) {
    std::string decoded;
    for (size_t at = 0; at < text.size(); ++at) {
        if (text.compare(at, 2, "\\x") == 0 && at + 3 < text.size() &&
            std::isxdigit(static_cast<unsigned char>(text[at + 2])) != 0 &&
            std::isxdigit(static_cast<unsigned char>(text[at + 3])) != 0) {
            const std::string digits = text.substr(at + 2, 2);
            decoded += static_cast<char>(std::strtoul(digits.c_str(), nullptr, 16));
            at += 3;
        } else {
            decoded += text[at];
        }
    }
    return decoded;
}
