// SPDX-License-Identifier: GPL-3.0-or-later
// Holds the folder of a run open, from the first look to the last removed file.
//
// Below each mount point there is a folder of the system. If the volume goes away during a run, the
// same path leads to that folder, whose files are not ours to judge or to remove.
#ifndef TROVIK_VOLUME_FOLDER_ANCHOR_H
#define TROVIK_VOLUME_FOLDER_ANCHOR_H

#include <fcntl.h>
#include <sys/stat.h>

#include <string>
#include <utility>

#include "volume/posix.h"

class folder_anchor {
 public:
    // Opens the folder. While it is open, its volume can only be unmounted by force.
    explicit folder_anchor(std::string folder)
        : m_folder(std::move(folder)),
          m_held(open(m_folder.c_str(), open_for_names | O_DIRECTORY | O_CLOEXEC)) {}

    // Whether the path still leads to the opened folder. False after the volume was unmounted by
    // force or another one mounted over it. True if the path cannot be looked at: a volume that
    // only fails is still in place. Any thread.
    bool is_in_place() const {
        struct stat status = {};
        return stat(m_folder.c_str(), &status) != 0 || m_held.leads_to(status);
    }

    // For naming entries in the folder, even without the right to list it. -1 if it could not be
    // opened.
    int descriptor() const { return m_held.get(); }

 private:
    const std::string m_folder;
    const unique_fd m_held;
};

#endif
