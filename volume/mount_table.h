// SPDX-License-Identifier: GPL-3.0-or-later
// The kernel's mount table, read with libmount from a mountinfo file.
//
// Names have their raw bytes (octal escapes are decoded). A lookup by path finds the mount that the
// kernel would walk to, never one that a later mount covers. /etc/mtab is not used: other programs
// write that copy. The file is a parameter so that tests can parse tables of any kind.
#ifndef TROVIK_VOLUME_MOUNT_TABLE_H
#define TROVIK_VOLUME_MOUNT_TABLE_H

#include <sys/types.h>

#include <string>
#include <vector>

struct mount_entry {
    int id = 0;
    int parent_id = 0;
    dev_t device = 0;         // of the file system; major 0 if it has no block device
    std::string folder;       // the folder of the file system that is mounted, "/" for all of it
    std::string target;       // mount point, absolute
    std::string file_system;  // type
    std::string source;       // device node, or any text that the file system chose
    std::string options;      // options of the file system, as the table shows them
    bool read_only = false;   // the mount or the file system is
};

// Reads all mounts from the file `path`, in its order. Skips lines that are not in mountinfo
// format. Returns false and sets `error` if the file cannot be read.
bool mount_table_read(const std::string &path, std::vector<mount_entry> &table, std::string &error);

// The entry with this mount id, or nullptr. Points into `table`.
const mount_entry *mount_table_find_id(const std::vector<mount_entry> &table, int id);

// The entry that an absolute path without symbolic links lies on, or nullptr if the table has no
// root. Points into `table`.
const mount_entry *mount_table_find_path(const std::vector<mount_entry> &table,
                                         const std::string &path);

// Whether a program in user space serves file systems of that type.
bool mount_table_is_fuse(const std::string &file_system);

// Whether touching file systems of that type may hang: they depend on another machine, on a daemon
// that may, or on an automounter.
bool mount_table_is_remote(const std::string &file_system);

// Whether the path to the entry's mount point crosses a remote mount. The root mount does not
// count: if it hangs, everything does.
bool mount_table_lies_in_remote(const std::vector<mount_entry> &table, const mount_entry &entry);

// The value of an option ("upperdir=/x" -> "/x"), or an empty text.
std::string mount_table_option(const mount_entry &entry, const std::string &name);

#endif
