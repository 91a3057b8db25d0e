// Below a mount point there is a folder of the system. When the volume goes away
// in the middle of a run, that folder takes its place under the same name, and
// what lies in it is not ours to judge or to remove.
#include "volume/folder_anchor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <utility>

#include "volume/naming.h"

folder_anchor::folder_anchor(std::string folder)
    : m_folder(std::move(folder)),
      m_fd(open(m_folder.c_str(), open_for_names | O_DIRECTORY | O_CLOEXEC)) {}

folder_anchor::~folder_anchor() {
    if (m_fd >= 0)
        close(m_fd);
}

bool folder_anchor::is_in_place() const {
    struct stat there = {};
    struct stat held = {};
    if (stat(m_folder.c_str(), &there) != 0)
        return true;
    return fstat(m_fd, &held) == 0 && held.st_dev == there.st_dev && held.st_ino == there.st_ino;
}
