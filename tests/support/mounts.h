// SPDX-License-Identifier: GPL-3.0-or-later
// Mounts in a mount namespace of the test's process: nothing outside sees them, and the kernel
// removes them when the process dies. A test program enters its namespace before its first test.
#ifndef TROVIK_TESTS_SUPPORT_MOUNTS_H
#define TROVIK_TESTS_SUPPORT_MOUNTS_H

#include <string>
#include <vector>

#include "folder.h"

namespace test_support {

// Enters the namespace, once per process. Empty on success, else the reason.
const std::string &enter_private_mounts();

// The reason why this process cannot mount, or the empty text.
std::string missing_for_mounts();

// Whether something is mounted on the folder.
bool is_mount_root(const std::string &folder);

// Attaches the file to a loop device that detaches itself after its last use. Returns the
// device's descriptor and its path, or -1.
int attach_loop(const std::string &file, std::string *device);

// Whether the folder's file system lies in memory, and a folder where it usually does.
bool is_in_memory(const std::string &folder);
constexpr const char *folder_in_memory = "/dev/shm";

// Mounts at places that the test chooses, undone in reverse order. A mount that fails is a
// failure of the test.
class private_mounts {
 public:
    private_mounts() = default;
    private_mounts(const private_mounts &) = delete;
    private_mounts &operator=(const private_mounts &) = delete;
    ~private_mounts();

    bool possible() const { return missing_for_mounts().empty(); }
    const private_folder &folder() const { return m_folder; }

    bool mount_at(const std::string &source, const std::string &target, const char *type,
                  unsigned long flags, const std::string &options);
    bool mount_tmpfs(const std::string &target, const std::string &options = "size=1m");
    bool mount_bind(const std::string &source, const std::string &target);
    // Takes charge of a mount that another program made.
    void note_mount(const std::string &target) { m_targets.push_back(target); }

    // A loop device on the file, attached as long as this object lives; empty on failure.
    std::string attach_loop(const std::string &file);

 private:
    private_folder m_folder;
    std::vector<std::string> m_targets;
    std::vector<int> m_loops;
};

}  // namespace test_support

// NOLINTBEGIN(cppcoreguidelines-macro-usage): GTEST_SKIP must return from the test itself.
#define SKIP_IF_MISSING(reason)                           \
    if (const std::string what = (reason); !what.empty()) \
    GTEST_SKIP() << what
#define SKIP_WITHOUT_MOUNTS(mounts) SKIP_IF_MISSING(test_support::missing_for_mounts())
// NOLINTEND(cppcoreguidelines-macro-usage)

#endif
