// Keeps two runs apart that reach one file system by different mounts: a folder of it that is bound
// to a second place, two subvolumes of one pool. Their folders differ, so no lock on a folder can
// see that they meet. One file per system makes the claim.
#pragma once

#include <sys/types.h>

#include "volume/owned_descriptor.h"

struct file_system_claim {
    owned_descriptor held;  // as long as this lives, the file system is claimed
    bool busy = false;      // another run has claimed it
};

// Claims the file system with this number in the mount table. Touches neither it nor any file, so
// it never waits. Neither held nor busy when no claim can be made, for whatever reason. Programs
// started from here do not inherit the claim; it ends with the process. Any thread.
file_system_claim file_system_claim_make(dev_t file_system);
