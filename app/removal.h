// SPDX-License-Identifier: GPL-3.0-or-later
// Removes one entry of a volume for good: a folder with everything in it, or a file or link.
// Follows no symlink and enters no other mount.
#ifndef TROVIK_APP_REMOVAL_H
#define TROVIK_APP_REMOVAL_H

#include <atomic>
#include <cstdint>
#include <string>

class QWidget;

// In remove_tree.cpp
// The first thing that went wrong, or none.
struct remove_tree_error {
    int error_number = 0;  // errno; 0: everything is gone
    // Of the entry, or of the entry directly in it that could not be removed with its contents.
    std::string path;
};

struct remove_tree_entry {
    int folder = -1;          // the open folder that holds the entry
    std::string folder_path;  // its path for messages, with a slash at its end
    std::string name;

    std::string path() const { return folder_path + name; }
};

// Counts what is removed in `removed`: the entry itself, and each entry of the folder with all
// that it holds. An entry that cannot be removed stays with its folders; the other entries of the
// folder are removed, and the first failure is returned:
//
//   ENOENT  there is no such entry
//   EINVAL  the name is not that of an entry
//   EBUSY   the folder is a mount point or holds one; nothing was removed
//   others  as the system says
//
// Any thread.
remove_tree_error remove_tree(const remove_tree_entry &entry,
                              std::atomic<std::uint64_t> &removed) noexcept;

// In removal.cpp
// A dialog that flashes up explains nothing.
constexpr int removal_quiet_ms = 400;

// Removes the entry as remove_tree does, on a thread of its own, and returns when that is
// done. Meanwhile the window paints but takes no input. After `quiet_ms`, a dialog over
// `parent` shows what is removed. Main thread.
remove_tree_error removal_run(QWidget *parent, const remove_tree_entry &entry,
                              int quiet_ms = removal_quiet_ms);

#endif
