// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/volume_marker.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "volume/posix.h"

volume_marker::volume_marker(const std::string &volume, const std::string &folder,
                             const std::string &name)
    : m_volume(volume),
      m_folder_path(folder),
      m_name(name),
      m_path(volume + "/" + (folder.empty() ? "" : folder + "/") + name) {
    if (m_volume.descriptor() < 0 || is_in_root())
        return;
    m_folder = retry_eintr([&] {
        return openat(m_volume.descriptor(), folder.c_str(),
                      open_for_names | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    });
}

volume_marker::~volume_marker() {
    if (m_folder >= 0)
        close(m_folder);
}

bool volume_marker::is_in_place() const {
    return m_volume.descriptor() < 0 || m_volume.is_in_place();
}

bool volume_marker::exists() const {
    struct stat found = {};
    return folder() >= 0 &&
           retry_eintr(
               [&] { return fstatat(folder(), m_name.c_str(), &found, AT_SYMLINK_NOFOLLOW); }) == 0;
}

bool volume_marker::create() const {
    if (folder() < 0)
        return false;
    const int fd = retry_eintr([&] {
        return openat(folder(), m_name.c_str(),
                      O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
    });
    if (fd >= 0)
        close(fd);
    return fd >= 0;
}

remove_tree_error volume_marker::remove(QWidget *parent) const {
    const std::string folder_path = m_path.substr(0, m_path.size() - m_name.size());
    return removal_run(parent, {folder(), folder_path, m_name});
}
