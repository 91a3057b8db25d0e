// Removes one entry of a volume for good: a folder with everything in it, or a file or link.
// Follows no symlink and enters no other mount.
#ifndef TROVIK_APP_REMOVE_TREE_H
#define TROVIK_APP_REMOVE_TREE_H

#include <atomic>
#include <cstdint>
#include <string>

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

#endif
