// SPDX-License-Identifier: GPL-3.0-or-later
// A marker: an entry of a fixed name on a volume that tells systems how to treat the volume. All
// operations are relative to folders that are open from the start, so a volume that is mounted over
// this one later is not touched.
#ifndef TROVIK_APP_VOLUME_MARKER_H
#define TROVIK_APP_VOLUME_MARKER_H

#include <string>

#include "app/removal.h"
#include "volume/folder_anchor.h"

class volume_marker {
 public:
    // `folder` is the marker's folder in the volume's root; empty for the root itself. A symlink is
    // not entered, as it may leave the volume.
    volume_marker(const std::string &volume, const std::string &folder, const std::string &name);
    ~volume_marker();
    volume_marker(const volume_marker &) = delete;
    volume_marker &operator=(const volume_marker &) = delete;

    // "volume/folder/name", whether or not there is such an entry.
    const std::string &path() const { return m_path; }

    // Whether the volume's path still leads to the open folder.
    bool is_in_place() const;

    // Does not follow a symlink: a marker that is one exists wherever it leads.
    bool exists() const;
    // Creates an empty file. Follows no symlink and replaces nothing. False on failure.
    bool create() const;
    // Removes the marker with its contents. Errors name the whole path. Main thread.
    remove_tree_error remove(QWidget *parent) const;

 private:
    bool is_in_root() const { return m_folder_path.empty(); }
    int folder() const { return is_in_root() ? m_volume.descriptor() : m_folder; }

    folder_anchor m_volume;
    std::string m_folder_path;
    std::string m_name;
    std::string m_path;
    int m_folder = -1;
};

#endif
