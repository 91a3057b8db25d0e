// Holds on to the folder that a run works on, from the first look at it to the
// last file removed.
#ifndef TROVIK_VOLUME_FOLDER_ANCHOR_H
#define TROVIK_VOLUME_FOLDER_ANCHOR_H

#include <string>

#include "volume/owned_descriptor.h"

class folder_anchor {
 public:
    // Opens the folder, which also keeps its volume from being unmounted unnoticed.
    explicit folder_anchor(std::string folder);

    // Whether the path still leads to the folder that was opened. False when
    // another one stands there: the volume was unmounted by force, or another one
    // was mounted over it. A volume that only fails still is in its place. Any
    // thread.
    bool is_in_place() const;

    // To name entries in the folder, whether or not it may be listed. -1 when it could
    // not be opened.
    int descriptor() const { return m_held.get(); }

 private:
    const std::string m_folder;
    const owned_descriptor m_held;
};

#endif
