// SPDX-License-Identifier: GPL-3.0-or-later
// macOS has no system-wide name that ends with its process, and a file in a folder that all users
// can write to could be held or replaced by any of them. So a file system has no lock here; those
// of the folder and the volume's root must do. A folder cannot be mounted in a second place either.
#include <cerrno>

#include "volume/run_lock.h"

unique_fd run_lock_file_system(dev_t /*device*/, int &error) {
    error = ENOTSUP;
    return {};
}
