// Keeps two runs from working on one volume at once: each would remove and overwrite what the other
// has just written, and both would report what no card has done. The lock is the kernel's, on the
// folder itself and on the name of its file system: nothing is written to the volume, and whatever
// ends the process ends the lock.
// Reading runs take it as well as writing ones: the speed that two of them measure is half the
// volume's, and what one of them reads the other would get from memory.
#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

#include "volume/owned_descriptor.h"

// Gives all back at its end.
class run_lock {
 public:
    // False only when another run, of this program or another, holds this folder. A file system
    // that knows no locks, that fails to lock for any other reason, or that does not answer a
    // request to lock within a second does not stop a run; nor does a folder that this object holds
    // already. So a call may take a second beside what opening the folder takes, and a file system
    // that never answers keeps a descriptor of its folder open in this process until it does: until
    // then it may not be possible to unmount it.
    // Programs started from here do not inherit the lock.
    bool take(const std::string &folder);

    // The same for a whole file system, by whichever of its mounts each run reaches it; `device` is
    // its number in the mount table. Never waits. On systems that know nothing to hold it by, and
    // across network namespaces, no run is refused.
    bool take_file_system(dev_t device);

 private:
    std::vector<owned_descriptor> m_held;
    std::map<dev_t, owned_descriptor> m_file_systems;
};
