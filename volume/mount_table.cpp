// SPDX-License-Identifier: GPL-3.0-or-later
// Reads mountinfo with libmount and repeats the kernel's walk over it. The walk goes component by
// component, from a mount to its own children only. The longest matching mount point alone is wrong
// in two cases: several mounts at one point, of which the last counts, and a mount over /a that
// hides an older one at /a/b.
#include "volume/mount_table.h"

#include <libmount.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <string_view>

#include "volume/posix.h"

namespace {

struct table_release {
    void operator()(libmnt_table *table) const { mnt_unref_table(table); }
};
struct iterator_release {
    void operator()(libmnt_iter *iterator) const { mnt_free_iter(iterator); }
};

}  // namespace

static std::string text_of(const char *text) {
    return text == nullptr ? std::string() : text;
}

static bool has_flag(const char *options, const char *flag) {
    return options != nullptr && mnt_optstr_get_option(options, flag, nullptr, nullptr) == 0;
}

static mount_entry entry_of(libmnt_fs *fs) {
    mount_entry entry;
    entry.id = mnt_fs_get_id(fs);
    entry.parent_id = mnt_fs_get_parent_id(fs);
    entry.device = mnt_fs_get_devno(fs);
    entry.folder = text_of(mnt_fs_get_root(fs));
    entry.target = text_of(mnt_fs_get_target(fs));
    entry.file_system = text_of(mnt_fs_get_fstype(fs));
    entry.source = text_of(mnt_fs_get_source(fs));
    entry.options = text_of(mnt_fs_get_fs_options(fs));
    entry.read_only =
        has_flag(mnt_fs_get_vfs_options(fs), "ro") || has_flag(mnt_fs_get_fs_options(fs), "ro");
    return entry;
}

// The last mount listed on `parent` at `target`.
static const mount_entry *child_at(const std::vector<mount_entry> &table, const mount_entry &parent,
                                   std::string_view target) {
    const mount_entry *found = nullptr;
    for (const mount_entry &entry : table)
        if (entry.parent_id == parent.id && entry.id != parent.id && entry.target == target)
            found = &entry;
    return found;
}

// The root mount: at "/", with a parent that is not in the table or is itself.
static const mount_entry *bottom_of(const std::vector<mount_entry> &table) {
    for (const mount_entry &entry : table)
        if (entry.target == "/" &&
            (entry.parent_id == entry.id || mount_table_find_id(table, entry.parent_id) == nullptr))
            return &entry;
    return nullptr;
}

bool mount_table_read(const std::string &path, std::vector<mount_entry> &table,
                      std::string &error) {
    table.clear();
    const std::unique_ptr<libmnt_table, table_release> parsed(mnt_new_table());
    const std::unique_ptr<libmnt_iter, iterator_release> iterator(mnt_new_iter(MNT_ITER_FORWARD));
    if (parsed == nullptr || iterator == nullptr) {
        error = path_error(path, "the mount table cannot be read", ENOMEM);
        return false;
    }
    // A positive result makes libmount skip a line that it cannot parse.
    mnt_table_set_parser_errcb(parsed.get(),
                               [](libmnt_table *, const char *, int) -> int { return 1; });
    const int result = mnt_table_parse_file(parsed.get(), path.c_str());
    if (result < 0) {
        error = path_error(path, "the mount table cannot be read", -result);
        return false;
    }
    libmnt_fs *fs = nullptr;
    while (mnt_table_next_fs(parsed.get(), iterator.get(), &fs) == 0) {
        // If libmount does not know the first line, it takes the table for an fstab, whose entries
        // have no mount id.
        if (mnt_fs_is_kernel(fs) != 0)
            table.push_back(entry_of(fs));
    }
    return true;
}

const mount_entry *mount_table_find_id(const std::vector<mount_entry> &table, int id) {
    const auto found = std::find_if(table.begin(), table.end(),
                                    [id](const mount_entry &entry) { return entry.id == id; });
    return found == table.end() ? nullptr : &*found;
}

const mount_entry *mount_table_find_path(const std::vector<mount_entry> &table,
                                         const std::string &path) {
    const mount_entry *current = bottom_of(table);
    if (current == nullptr || path.empty() || path.front() != '/')
        return nullptr;
    // Each step goes to another mount, so this ends even if a forged table's parents form a circle.
    size_t steps_left = table.size();
    size_t end = 1;  // "/", then one more component at a time
    while (true) {
        const std::string_view prefix(path.data(), end);
        const mount_entry *child = child_at(table, *current, prefix);
        while (child != nullptr && steps_left > 0) {
            --steps_left;
            current = child;
            child = child_at(table, *current, prefix);
        }
        const size_t start = path.find_first_not_of('/', end);
        if (start == std::string::npos)
            return current;
        end = std::min(path.find('/', start), path.size());
    }
}

bool mount_table_is_fuse(const std::string &file_system) {
    return file_system == "fuse" || file_system == "fuseblk" || file_system.rfind("fuse.", 0) == 0;
}

bool mount_table_is_remote(const std::string &file_system) {
    static constexpr std::array<std::string_view, 23> remote = {
        "9p",   "acfs",  "afs",      "autofs", "ceph",   "cifs",  "coda",    "davfs",
        "fuse", "gfs",   "gfs2",     "gpfs",   "lustre", "ncp",   "ncpfs",   "nfs",
        "nfs4", "ocfs2", "orangefs", "pvfs2",  "smb3",   "smbfs", "virtiofs"};
    // Most FUSE daemons talk to other machines. These serve a local device.
    static constexpr std::array<std::string_view, 6> local_fuse = {
        "fuse.exfat", "fuse.ext2", "fuse.fuse-ext2", "fuse.fuseblk", "fuse.ntfs", "fuse.ntfs-3g"};
    if (file_system.rfind("fuse.", 0) == 0)
        return std::find(local_fuse.begin(), local_fuse.end(), file_system) == local_fuse.end();
    return std::find(remote.begin(), remote.end(), file_system) != remote.end();
}

bool mount_table_lies_in_remote(const std::vector<mount_entry> &table, const mount_entry &entry) {
    const mount_entry *parent = mount_table_find_id(table, entry.parent_id);
    for (size_t steps = 0; parent != nullptr && steps < table.size(); ++steps) {
        // Crossing an automounter's folder to an existing mount triggers nothing.
        if (parent->target != "/" && parent->file_system != "autofs" &&
            mount_table_is_remote(parent->file_system))
            return true;
        parent = mount_table_find_id(table, parent->parent_id);
    }
    return false;
}

std::string mount_table_option(const mount_entry &entry, const std::string &name) {
    char *value = nullptr;
    size_t length = 0;
    if (mnt_optstr_get_option(entry.options.c_str(), name.c_str(), &value, &length) != 0 ||
        value == nullptr)
        return {};
    return {value, length};
}
