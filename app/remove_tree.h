// Removes one entry of a volume for good: a folder with everything in it, or
// whatever else stands under that name. Nothing outside is touched: no link is
// followed, no other mount is entered, no permission is changed, also while others
// move things about in the folder.
#ifndef TROVIK_APP_REMOVE_TREE_H
#define TROVIK_APP_REMOVE_TREE_H

#include <fcntl.h>

#include <atomic>
#include <cstdint>
#include <string>

// The first thing that went wrong, or none.
struct remove_tree_error {
    int error_number = 0;  // errno; 0: everything is gone
    std::string path;      // of the entry that could not be removed or looked at
};

// For another thread that wants to show how far it is.
struct remove_tree_progress {
    std::atomic<std::uint64_t> removed{0};  // entries; written by the removing thread, relaxed
};

// Removes `path`, which may be relative to `base`, an open folder, or the working
// directory when there is none. A link in its last place is removed itself, also when
// slashes follow it; links before that place are followed as in every path. What cannot be removed
// stays, with the folders above it; all the rest is removed, and the first that stayed is returned:
//
//   ENOENT  there is no such path. An entry below it that vanishes is as good as removed
//   EINVAL  the path is "/", ends in "." or "..", or holds a zero byte; nothing was done
//   EBUSY   a mount point; nothing in it was touched. Also when `path` is one itself.
//           A folder of the same file system that is mounted in the tree is only known
//           as one where the system numbers its mounts (Linux from 5.8 on)
//   ESTALE  somebody is moving folders about in the tree. When one was moved out, the
//           removal ended there and then; what that folder held may be lost
//   ELOOP   a folder below 20,000 others: on a damaged volume one may hold itself
//   others  as the system says. Also ends there and then when a folder cannot be opened
//           again on the way back up from more than 30 folders below it
//
// Takes as long as the volume needs, has 34 folders open at most, and makes do with
// three. Any thread.
remove_tree_error remove_tree(const std::string &path, remove_tree_progress *progress = nullptr,
                              int base = AT_FDCWD) noexcept;

#endif
