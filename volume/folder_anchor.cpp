// Below a mount point there is a folder of the system. When the volume goes away
// in the middle of a run, that folder takes its place under the same name, and
// what lies in it is not ours to judge or to remove.
#include "volume/folder_anchor.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <utility>

#include "volume/naming.h"

folder_anchor::folder_anchor(std::string folder)
    : m_folder(std::move(folder)),
      m_held(open(m_folder.c_str(), open_for_names | O_DIRECTORY | O_CLOEXEC)) {}

bool folder_anchor::is_in_place() const {
    struct stat there = {};
    return stat(m_folder.c_str(), &there) != 0 || m_held.leads_to(there);
}
