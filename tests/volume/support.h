// What the tests of volumes share: folders of their own, and real mounts that are gone afterwards,
// whether the test passed, failed or died.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "volume/volume.h"

namespace volume_tests {

// A folder under /tmp that is removed with all it holds.
class private_folder {
 public:
    private_folder();
    private_folder(const private_folder &) = delete;
    private_folder &operator=(const private_folder &) = delete;
    ~private_folder();

    const std::string &path() const { return m_path; }
    // Makes the folder (and those above it) or the file below path(); returns its full path.
    std::string make_folder(const std::string &name) const;
    std::string make_file(const std::string &name, const std::string &content) const;
    std::string make_link(const std::string &name, const std::string &target) const;

 private:
    std::string m_path;
};

// Mounts in a mount namespace of this process alone, so that nothing outside sees them and the
// kernel removes them should the process die. Functions that mount report a failure to the test.
class private_mounts {
 public:
    private_mounts();
    private_mounts(const private_mounts &) = delete;
    private_mounts &operator=(const private_mounts &) = delete;
    ~private_mounts();

    // Whether this process may mount at all.
    bool possible() const { return m_possible; }
    const private_folder &folder() const { return m_folder; }

    // mount(2) at `target`, undone at the end.
    bool mount_at(const std::string &source, const std::string &target, const char *type,
                  unsigned long flags, const std::string &options);
    bool mount_tmpfs(const std::string &target, const std::string &options = "size=1m");
    bool mount_bind(const std::string &source, const std::string &target);
    // Also undoes a mount that another program made.
    void note_mount(const std::string &target) { m_targets.push_back(target); }

    // A loop device on the file, which detaches itself after its last use; empty on failure.
    std::string attach_loop(const std::string &file);

 private:
    private_folder m_folder;
    std::vector<std::string> m_targets;
    std::vector<int> m_loops;  // kept open: an unused loop device would detach itself
    bool m_possible = false;
};

// Runs a program (looked for in PATH and in the folders of system programs) without output and
// returns its exit status, or -1 when it cannot be run.
int run_program(const std::vector<std::string> &words);

// Whether such a program exists.
bool has_program(const std::string &name);

// The id of the mount that the path leads to, as the kernel says; -1 when it does not.
int kernel_mount_id(const std::string &path);

// The number of a device node.
dev_t node_number(const std::string &node);

// What the room says of a path; the test fails when it says that it cannot.
volume_info described(const std::string &path);
bool is_root(const std::string &path);

}  // namespace volume_tests

// A macro, because GTEST_SKIP must return from the test itself.
#define SKIP_WITHOUT_MOUNTS(mounts)                                                   \
    if (!(mounts).possible()) {                                                       \
        GTEST_SKIP() << "this process may not mount (needs root with CAP_SYS_ADMIN)"; \
    }
