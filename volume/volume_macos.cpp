// SPDX-License-Identifier: GPL-3.0-or-later
// Volumes on macOS: statfs for the mount, getattrlist for label and UUID. `ejectable` and
// `internal` would need the disk arbitration service and stay unknown. Volumes of one APFS
// container share their space, so they count as one file system.
#include "volume/volume.h"

#include <mach-o/dyld.h>
#include <sys/attr.h>
#include <sys/mount.h>
#include <sys/param.h>
#include <sys/stat.h>
#include <unistd.h>
#include <uuid/uuid.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "volume/file_system_keys.h"
#include "volume/posix.h"

static std::string volume_label(const char *root) {
    attrlist wanted = {};
    wanted.bitmapcount = ATTR_BIT_MAP_COUNT;
    wanted.volattr = ATTR_VOL_INFO | ATTR_VOL_NAME;
    struct __attribute__((packed, aligned(4))) {
        u_int32_t length;
        attrreference_t name;
        std::array<char, MAXPATHLEN> text;
    } answer = {};
    if (getattrlist(root, &wanted, &answer, sizeof answer, 0) != 0)
        return {};
    const char *name = reinterpret_cast<const char *>(&answer.name) + answer.name.attr_dataoffset;
    return {name, strnlen(name, answer.name.attr_length)};
}

static std::string volume_uuid(const char *root) {
    attrlist wanted = {};
    wanted.bitmapcount = ATTR_BIT_MAP_COUNT;
    wanted.volattr = ATTR_VOL_INFO | ATTR_VOL_UUID;
    struct __attribute__((packed, aligned(4))) {
        u_int32_t length;
        uuid_t uuid;
    } answer = {};
    if (getattrlist(root, &wanted, &answer, sizeof answer, 0) != 0)
        return {};
    uuid_string_t text = {};
    uuid_unparse_lower(answer.uuid, text);
    return text;
}

static std::string device_text(dev_t device) {
    const auto bits = static_cast<std::uint32_t>(device);  // dev_t has a sign here
    return std::to_string(major(bits)) + ":" + std::to_string(minor(bits));
}

static void describe(const struct statfs &mount, volume_info &info) {
    info = volume_info();
    info.root = mount.f_mntonname;
    info.file_system = mount.f_fstypename;
    info.source = mount.f_mntfromname;
    info.device = static_cast<dev_t>(mount.f_fsid.val[0]);
    struct stat root = {};
    if (stat(mount.f_mntonname, &root) == 0)
        info.root_birth = {root.st_birthtimespec.tv_sec, root.st_birthtimespec.tv_nsec};
    info.name = volume_label(mount.f_mntonname);
    if (info.name.empty())
        info.name = last_name(info.root);
    info.file_system_id = volume_uuid(mount.f_mntonname);
    info.identifier = info.file_system_id;
    if (info.identifier.empty())
        info.identifier = device_text(info.device);
    info.capacity_bytes = mount.f_blocks * static_cast<std::uint64_t>(mount.f_bsize);
    info.device_bytes = info.capacity_bytes;  // the nearest figure that needs no open device
    info.free_bytes = mount.f_bfree * static_cast<std::uint64_t>(mount.f_bsize);
    info.read_only = (mount.f_flags & MNT_RDONLY) != 0;
    info.removable = (mount.f_flags & MNT_REMOVABLE) != 0;
}

static void add_keys(const struct statfs &mount, file_system_keys &keys) {
    keys.push_back(std::to_string(mount.f_fsid.val[0]) + ":" + std::to_string(mount.f_fsid.val[1]));
    // "/dev/disk3s5" and the system's snapshot "/dev/disk3s1s1" are volumes of container disk3.
    const std::string source = mount.f_mntfromname;
    const std::string disk = "/dev/disk";
    if (std::strcmp(mount.f_fstypename, "apfs") == 0 && source.rfind(disk, 0) == 0) {
        size_t end = disk.size();
        while (end < source.size() && std::isdigit(static_cast<unsigned char>(source[end])) != 0)
            ++end;
        keys.push_back(source.substr(0, end));
    }
}

static bool look_up(const std::string &path, struct statfs &mount, std::string &error) {
    if (statfs(path.c_str(), &mount) != 0) {
        error = path_error(path, "cannot be looked at", errno);
        return false;
    }
    return true;
}

bool volume_describe(const std::string &path, volume_info &info, std::string &error) noexcept {
    struct statfs mount = {};
    if (!look_up(path, mount, error))
        return false;
    describe(mount, info);
    return true;
}

bool volume_is_mount_root(const std::string &path, bool &is_root, std::string &error) noexcept {
    struct statfs mount = {};
    if (!look_up(path, mount, error))
        return false;
    const std::string real = real_path(path);
    if (real.empty()) {
        error = path_error(path, "cannot be resolved", errno);
        return false;
    }
    is_root = real == mount.f_mntonname;
    return true;
}

bool volume_list(std::vector<volume_info> &volumes, std::string &error) noexcept {
    volumes.clear();
    // MNT_NOWAIT returns cached values, so a dead server does not hang it. The room for 16 more
    // covers mounts that appear between the two calls.
    const int expected = getfsstat(nullptr, 0, MNT_NOWAIT);
    std::vector<struct statfs> mounts(static_cast<size_t>(std::max(expected, 0)) + 16);
    const int count = getfsstat(
        mounts.data(), static_cast<int>(mounts.size() * sizeof(struct statfs)), MNT_NOWAIT);
    if (expected < 0 || count < 0) {
        error = path_error("/", "the mounted volumes cannot be listed", errno);
        return false;
    }
    mounts.resize(static_cast<size_t>(count));
    file_system_keys taken;
    for (const volume_system_use &use : system_places_list())
        file_system_keys_of_place(use.place, taken);
    for (const struct statfs &mount : mounts) {
        file_system_keys keys;
        add_keys(mount, keys);
        const bool hidden = (mount.f_flags & MNT_DONTBROWSE) != 0;
        const bool local = (mount.f_flags & MNT_LOCAL) != 0;
        if (local && !hidden && !file_system_keys_meet(keys, taken)) {
            taken.insert(taken.end(), keys.begin(), keys.end());
            describe(mount, volumes.emplace_back());
        }
    }
    volume_sort(volumes);
    return true;
}

bool file_system_keys_of(const std::string &path, file_system_keys &keys, std::string &error) {
    struct statfs mount = {};
    if (!look_up(path, mount, error))
        return false;
    add_keys(mount, keys);
    return true;
}

bool file_system_keys_of_place(const std::string &place, file_system_keys &keys) {
    std::string reason;
    return file_system_keys_of(place, keys, reason);
}

std::string running_program_link() {
    return running_program_name();
}

std::string running_program_name() {
    std::array<char, PATH_MAX> name = {};
    auto size = static_cast<uint32_t>(name.size());
    return _NSGetExecutablePath(name.data(), &size) == 0 ? name.data() : "/";
}
