// Volumes of the tests' own: each on a private mount point that nobody else knows,
// gone afterwards whether the test passed, failed or died. As root the whole test
// program lives in a mount namespace of its own; programs that serve a mount are
// children that end with it.
//
// A volume that cannot be had is a failure of the test; whether it could be had at
// all is asked before, by the missing_for_ functions, and named by a skip.
#ifndef TROVIK_TESTS_SYSTEM_MOUNTS_H
#define TROVIK_TESTS_SYSTEM_MOUNTS_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "process.h"

namespace system_tests {

constexpr std::uint64_t kib = 1024;
constexpr std::uint64_t mib = 1024 * kib;

// Attaches the file to a loop device that lets go of it after its last use; returns its
// descriptor and its path, or -1.
int attach_loop(const std::string &file, std::string *device);

// Whether something is mounted on the folder.
bool is_mount_root(const std::string &folder);

// What is missing for volumes of this kind, or the empty text.
std::string missing_for_mounts();
std::string missing_for_cards();
std::string missing_for_images(const std::vector<std::string> &programs);

// Whether what lies in the folder lies in the computer's memory.
bool is_in_memory(const std::string &folder);

// Where files in memory usually are.
constexpr const char *folder_in_memory = "/dev/shm";

// A folder below the system's folder for temporary files, removed with all it holds.
class private_folder {
 public:
    // Below `parent` when given.
    explicit private_folder(const std::string &parent = {});
    ~private_folder();
    private_folder(const private_folder &) = delete;
    private_folder &operator=(const private_folder &) = delete;
    const std::string &path() const { return m_path; }

 private:
    std::string m_path;
};

// A mounted volume. What mounts it is the business of the classes below.
class volume {
 public:
    // The mount point is a folder of this name in a private folder.
    explicit volume(const std::string &name = "volume");
    virtual ~volume();
    volume(const volume &) = delete;
    volume &operator=(const volume &) = delete;

    const std::string &path() const { return m_path; }
    std::string file(const std::string &name) const { return m_path + "/" + name; }
    // Numbers of the test files on it, ascending.
    std::vector<int> test_files() const;
    std::string private_path() const { return m_folder.path(); }

 protected:
    void check_mounted(bool mounted, const std::string &how);
    void unmount();

 private:
    private_folder m_folder;
    std::string m_path;
    bool m_mounted = false;
};

class tmpfs_volume : public volume {
 public:
    // `options` as mount takes them: "size=8m".
    explicit tmpfs_volume(const std::string &options);
    void remount_read_only();
};

// A folder that is also seen at a second place.
class bind_volume : public volume {
 public:
    explicit bind_volume(const std::string &source);
};

// A file system on a loop device.
class image_volume : public volume {
 public:
    // make: program and options that make the file system, mount: the program that
    // mounts it, empty for the system's own; the device is appended to the first, device
    // and mount point to the second.
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

    // The simulator dies as it stands. Any thread may call it.
    void die();

 private:
    std::unique_ptr<child_process> m_server;
    std::atomic<bool> m_died{false};
};

}  // namespace system_tests

// NOLINTNEXTLINE(cppcoreguidelines-macro-usage): GTEST_SKIP must return from the test itself.
#define SKIP_IF_MISSING(reason)                           \
    if (const std::string what = (reason); !what.empty()) \
    GTEST_SKIP() << what

#endif
