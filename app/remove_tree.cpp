// SPDX-License-Identifier: GPL-3.0-or-later
// std::filesystem::remove_all works relative to descriptors and follows no symlink, but it enters
// volumes that are mounted in the folder. So the mount table is searched first. The starting
// folder is held open and addressed by its descriptor: it cannot be replaced in between.
#include "app/removal.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <exception>
#include <filesystem>
#include <optional>
#include <string_view>
#include <vector>

#include "app/platform.h"
#include "volume/posix.h"

namespace fs = std::filesystem;

static bool is_name(const std::string &name) {
    return !name.empty() && name != "." && name != ".." &&
           name.find_first_of(std::string_view("/\0", 2)) == std::string::npos;
}

// The first mount point at or below the folder; empty without one.
static std::optional<std::string> mount_point_in(int folder) {
    const std::string path = platform_path_of_open_folder(folder);
    const std::optional<std::vector<std::string>> mounts = platform_mount_points();
    if (path.empty() || !mounts)
        return std::nullopt;
    for (const std::string &mount : *mounts)
        if (mount == path || mount.starts_with(path + "/"))
            return mount;
    return std::string();
}

// What keeps remove_all from the open folder.
static remove_tree_error reason_against(const remove_tree_entry &entry, int folder) {
    struct stat outer = {};
    struct stat inner = {};
    if (fstat(entry.folder, &outer) != 0 || fstat(folder, &inner) != 0)
        return {errno, entry.path()};
    if (inner.st_dev != outer.st_dev)
        return {EBUSY, entry.path()};
    const std::optional<std::string> mount = mount_point_in(folder);
    if (!mount)
        return {EIO, entry.path()};
    if (!mount->empty())
        return {EBUSY, *mount};
    return {};
}

static remove_tree_error empty_folder(const remove_tree_entry &entry, int folder,
                                      std::atomic<std::uint64_t> &removed) {
    const fs::path held = platform_access_to_open_folder(folder);
    std::error_code unreadable;
    std::vector<fs::path> contents;
    for (fs::directory_iterator at(held, unreadable), end; !unreadable && at != end;
         at.increment(unreadable))
        contents.push_back(at->path());
    remove_tree_error first = {unreadable.value(), unreadable ? entry.path() : std::string()};
    for (const fs::path &path : contents) {
        try {
            removed.fetch_add(fs::remove_all(path), std::memory_order_relaxed);
        } catch (const fs::filesystem_error &error) {
            if (first.error_number == 0)
                first = {error.code().value(),
                         entry.path() + error.path1().string().substr(held.string().size())};
        }
    }
    return first;
}

static remove_tree_error remove_entry(const remove_tree_entry &entry,
                                      std::atomic<std::uint64_t> &removed) {
    if (!is_name(entry.name))
        return {EINVAL, entry.path()};
    struct stat found = {};
    if (fstatat(entry.folder, entry.name.c_str(), &found, AT_SYMLINK_NOFOLLOW) != 0)
        return {errno, entry.path()};
    const bool is_folder = S_ISDIR(found.st_mode);
    if (is_folder) {
        const unique_fd folder(openat(entry.folder, entry.name.c_str(),
                                      O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (folder.get() < 0)
            return {errno, entry.path()};
        remove_tree_error error = reason_against(entry, folder.get());
        if (error.error_number == 0)
            error = empty_folder(entry, folder.get(), removed);
        if (error.error_number != 0)
            return error;
    }
    if (unlinkat(entry.folder, entry.name.c_str(), is_folder ? AT_REMOVEDIR : 0) != 0)
        return {errno, entry.path()};
    removed.fetch_add(1, std::memory_order_relaxed);
    return {};
}

remove_tree_error remove_tree(const remove_tree_entry &entry,
                              std::atomic<std::uint64_t> &removed) noexcept {
    try {
        return remove_entry(entry, removed);
    } catch (const std::exception &) {
        return {ENOMEM, {}};
    }
}
