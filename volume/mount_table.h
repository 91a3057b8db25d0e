// SPDX-License-Identifier: GPL-3.0-or-later
// The kernel's table of mounts, read with libmount from a mountinfo file. Guarantees that names
// have their real bytes (octal escapes decoded) and that a lookup by path finds the mount that the
// kernel itself would walk to: mounts that a later one covers are never found. Deliberately not
// read from /etc/mtab, which is a copy that others write. The file is a parameter, so that the
// parsing can be tried with tables that no real system would show.
#ifndef TROVIK_VOLUME_MOUNT_TABLE_H
#define TROVIK_VOLUME_MOUNT_TABLE_H

#include <sys/types.h>

#include <string>
#include <vector>

struct mount_entry {
    int id = 0;
    int parent_id = 0;
    dev_t device = 0;         // of the file system; major 0 when no block device stands behind it
    std::string folder;       // the folder of the file system that is mounted, "/" for all of it
    std::string target;       // mount point, absolute
    std::string file_system;  // type
    std::string source;       // device node, or whatever the file system calls its source
    std::string options;      // options of the file system, as the table shows them
    bool read_only = false;   // the mount or the file system is
};

// Reads all mounts of `path`, in the table's order. False and `error` when the file cannot be read.
// Lines that are no mountinfo lines are passed over.
bool mount_table_read(const std::string &path, std::vector<mount_entry> &table, std::string &error);

// The entry with that mount id, or nullptr. Points into `table`.
const mount_entry *mount_table_find_id(const std::vector<mount_entry> &table, int id);

// The entry that an absolute path without symbolic links lies on, or nullptr when the table has no
// root. Points into `table`.
const mount_entry *mount_table_find_path(const std::vector<mount_entry> &table,
                                         const std::string &path);

// Whether a program in user space serves file systems of that type.
bool mount_table_is_fuse(const std::string &file_system);

// Whether file systems of that type ask another machine, a daemon that may, or an automounter, so
// that touching them can wait for ever.
bool mount_table_is_remote(const std::string &file_system);

// Whether the path to the entry's mount point leads over a remote mount. The root of all mounts
// does not count: when that one hangs, so does everything.
bool mount_table_lies_in_remote(const std::vector<mount_entry> &table, const mount_entry &entry);

// The value of an option ("upperdir=/x" -> "/x"), or an empty text.
std::string mount_table_option(const mount_entry &entry, const std::string &name);

#endif
