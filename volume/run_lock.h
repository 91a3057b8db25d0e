// SPDX-License-Identifier: GPL-3.0-or-later
// Keeps two runs from working on one volume at once: each would remove and overwrite the other's
// test files, and both would report losses that the card did not cause. Reading runs lock as well:
// two of them halve each other's speed, and one could read the other's pages from memory.
//
// There are two locks, and a run takes both. The file system's is trovik's own, so it shows another
// run, by whichever mount that one reaches the file system. A folder's is a flock(2), which any
// program may hold. Neither writes to the volume, and both end with the process.
#ifndef TROVIK_VOLUME_RUN_LOCK_H
#define TROVIK_VOLUME_RUN_LOCK_H

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

#include "volume/posix.h"

enum class run_lock_state {
    taken,        // now, or before by the same object
    held_by_run,  // another run of trovik works on this file system
    locked,       // a program holds a lock on this folder
    failed,       // the system cannot lock here; no reason to refuse a run
};

struct run_lock_answer {
    run_lock_state state = run_lock_state::taken;
    int error = 0;  // with `failed`: the error number; ETIMEDOUT if the file system did not answer
};

// Releases all locks when it is destroyed. Programs started from here do not inherit them.
class run_lock {
 public:
    // Locks the file system with this number in the mount table, without touching it. Returns
    // taken, held_by_run or failed. Never waits. Runs in different network namespaces do not see
    // each other's locks; macOS has none (failed, ENOTSUP).
    run_lock_answer take_file_system(dev_t device);

    // Locks the folder. Returns taken, locked or failed. Take its file system first: if that was
    // taken, `locked` means a program other than trovik, or a run in another network namespace; if
    // that failed, it may be another run as well.
    //
    // Waits as long as opening the folder takes, then at most a second for the lock. A file system
    // that never answers keeps the folder open, and so may be impossible to unmount, until it does.
    run_lock_answer take(const std::string &folder);

 private:
    std::vector<unique_fd> m_folders;
    std::map<dev_t, unique_fd> m_file_systems;
};

// The lock of a file system, released when its descriptor is closed. On failure returns no
// descriptor and sets `error`: EADDRINUSE if another run holds it. One implementation per system.
unique_fd run_lock_file_system(dev_t device, int &error);

#endif
