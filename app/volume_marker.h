// A marker: an entry of a fixed name on a volume, by which its owner tells systems how
// to treat it. Everything is done within folders that are held open from the start:
// whatever is mounted over the volume meanwhile, or takes its place, is not touched.
#ifndef TROVIK_APP_VOLUME_MARKER_H
#define TROVIK_APP_VOLUME_MARKER_H

#include <string>

#include "app/removal.h"
#include "volume/folder_anchor.h"

class volume_marker {
 public:
    // `folder` is the marker's folder in the volume's root, or empty when that is the
    // root itself. It is never entered through a link: what lies behind one is not the
    // volume's.
    volume_marker(const std::string &volume, const std::string &folder, const std::string &name);
    ~volume_marker();
    volume_marker(const volume_marker &) = delete;
    volume_marker &operator=(const volume_marker &) = delete;

    // "volume/folder/name", whether or not there is such an entry.
    const std::string &path() const { return m_path; }

    // Whether the volume's path still leads to what is held.
    bool is_in_place() const;

    // Of the marker itself: one that is a link is there, wherever it leads, and is what
    // a removal takes.
    bool exists() const;
    // A new empty file, never through a link, never over something that has come
    // meanwhile. False when there is none then.
    bool create() const;
    // With all its contents. Names the entries by their whole path. Main thread.
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
