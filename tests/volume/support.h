// SPDX-License-Identifier: GPL-3.0-or-later
// The tests of volumes ask the kernel and the room about the same path.
#ifndef TROVIK_TESTS_VOLUME_SUPPORT_H
#define TROVIK_TESTS_VOLUME_SUPPORT_H

#include <sys/types.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "support/mounts.h"
#include "support/process.h"
#include "volume/volume.h"

namespace volume_tests {

using test_support::private_folder;
using test_support::private_mounts;

// The program's exit status.
inline int run_program(const std::vector<std::string> &words) {
    return test_support::run_program(words).exit_status;
}
inline bool has_program(const std::string &name) {
    return !test_support::find_program(name).empty();
}

// The id of the mount that the path leads to, as the kernel says; -1 when it does not.
int kernel_mount_id(const std::string &path);

// The number of a device node.
dev_t node_number(const std::string &node);

// What the room says of a path; the test fails when it says that it cannot.
volume_info described(const std::string &path);
bool is_root(const std::string &path);

using test_support::within_a_minute;

// An ext4 of 16 MiB on a loop device of its own. Its backing file lies in memory, so that a busy
// disk does not delay it.
class ext4_volume {
 public:
    ext4_volume();
    // Why there is none, or the empty text.
    const std::string &missing() const { return m_missing; }
    const std::string &folder() const { return m_folder; }

 private:
    private_mounts m_mounts;
    std::string m_folder;
    std::string m_missing;
};

}  // namespace volume_tests

#endif
