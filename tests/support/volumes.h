// SPDX-License-Identifier: GPL-3.0-or-later
// Mounted volumes, each on a private mount point: tmpfs, bind mounts, file systems on a loop
// device, simulated cards. Without the right to mount, mounted() is false and reason() says why;
// tests ask missing_for_mounts() and its relatives first and skip. Any other failure to mount
// fails the test.
#ifndef TROVIK_TESTS_SUPPORT_VOLUMES_H
#define TROVIK_TESTS_SUPPORT_VOLUMES_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "folder.h"
#include "mounts.h"
#include "process.h"

namespace test_support {

constexpr std::uint64_t kib = 1024;
constexpr std::uint64_t mib = 1024 * kib;

// The reason why there can be no volume of this kind, or the empty text.
std::string missing_for_cards();
std::string missing_for_images(const std::vector<std::string> &programs);

// The mount point; the classes below mount something there.
class volume {
 public:
    // The mount point is a folder of this name in a private folder.
    explicit volume(const std::string &name = "volume");
    virtual ~volume();
    volume(const volume &) = delete;
    volume &operator=(const volume &) = delete;

    bool mounted() const { return m_mounted; }
    const std::string &reason() const { return m_reason; }
    const std::string &path() const { return m_path; }
    const char *c_path() const { return m_path.c_str(); }
    std::string file(const std::string &name) const { return m_path + "/" + name; }
    // Numbers of the test files on it, ascending.
    std::vector<int> test_files() const;
    std::string private_path() const { return m_folder.path(); }

 protected:
    // Notes the outcome of a mount that was tried; fails the test unless it is mounted.
    void check_mounted(bool mounted, const std::string &how);
    // mount(2) on the mount point. Not tried without the right to it.
    void mount_here(const std::string &source, const char *type, unsigned long flags,
                    const std::string &options);
    void unmount();

 private:
    private_folder m_folder;
    std::string m_path;
    std::string m_reason;
    bool m_mounted = false;
};

class tmpfs_volume : public volume {
 public:
    // `options` as mount takes them: "size=8m".
    explicit tmpfs_volume(const std::string &options, const std::string &name = "volume");
    bool set_read_only(bool read_only);
};

// The folder mounted at a second place.
class bind_volume : public volume {
 public:
    explicit bind_volume(const std::string &source);
};

// A file system on a loop device.
class image_volume : public volume {
 public:
    // make: program and options that make the file system; the device is appended.
    // mount_words: program and options that mount it, empty for mount(2); device and mount
    // point are appended.
    image_volume(std::uint64_t bytes, std::vector<std::string> make,
                 std::vector<std::string> mount_words, const char *type);
    ~image_volume() override;
    // "loop0"
    const std::string &device_name() const { return m_device_name; }

 private:
    void make_and_mount(std::uint64_t bytes, std::vector<std::string> make,
                        std::vector<std::string> mount_words, const char *type);

    int m_loop = -1;
    std::string m_device_name;
};

// A simulated card.
class card : public volume {
 public:
    explicit card(std::vector<std::string> options, const std::string &name = "volume");
    ~card() override;

    // Kills the simulator. Any thread may call it.
    void die();

 private:
    std::unique_ptr<child_process> m_server;
    std::atomic<bool> m_died{false};
};

}  // namespace test_support

// Skips the current test, with the reason, when the volume could not be mounted.
// NOLINTNEXTLINE(cppcoreguidelines-macro-usage): GTEST_SKIP must return from the test itself.
#define SKIP_WITHOUT(volume) \
    if (!(volume).mounted()) \
    GTEST_SKIP() << (volume).reason()

#endif
