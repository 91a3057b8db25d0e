// What the tests of the command line share: folders of their own, and volumes
// that only this process and its children see.
#ifndef TROVIK_TESTS_CLI_SUPPORT_H
#define TROVIK_TESTS_CLI_SUPPORT_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace cli_tests {

// A folder that is removed with all that is in it.
class private_folder {
 public:
    private_folder();
    ~private_folder();
    private_folder(const private_folder &) = delete;
    private_folder &operator=(const private_folder &) = delete;

    const std::string &path() const { return m_path; }
    std::string file(const std::string &name) const { return m_path + "/" + name; }

 private:
    std::string m_path;
};

// A mount in a mount namespace of this process alone; unmounted at the end, and
// by the kernel should the process die. `reason()` says why there is none when
// mounted() is false.
class private_volume {
 public:
    // A tmpfs, as "size=16m". Mounted at `folder_name` below a folder of its own,
    // so that the volume can have any name.
    explicit private_volume(const std::string &options, const std::string &folder_name = "volume");
    ~private_volume();
    private_volume(const private_volume &) = delete;
    private_volume &operator=(const private_volume &) = delete;

    // Mounts again what is there already, read-only or not.
    bool set_read_only(bool read_only);

    bool mounted() const { return m_mounted; }
    const std::string &reason() const { return m_reason; }
    const std::string &path() const { return m_path; }
    std::string file(const std::string &name) const { return m_path + "/" + name; }

 private:
    private_folder m_folder;
    std::string m_path;
    std::string m_reason;
    std::string m_options;
    bool m_mounted = false;
};

// The folder bound onto another one: a mount root on the folder's file system.
class private_bind {
 public:
    explicit private_bind(const std::string &source);
    ~private_bind();
    private_bind(const private_bind &) = delete;
    private_bind &operator=(const private_bind &) = delete;

    bool mounted() const { return m_reason.empty(); }
    const std::string &reason() const { return m_reason; }
    const std::string &path() const { return m_folder.path(); }

 private:
    private_folder m_folder;
    std::string m_reason;
};

// An environment variable for as long as this lives.
class private_variable {
 public:
    private_variable(const std::string &name, const std::string &value);
    ~private_variable();
    private_variable(const private_variable &) = delete;
    private_variable &operator=(const private_variable &) = delete;

 private:
    std::string m_name;
    std::optional<std::string> m_before;
};

std::string file_content(const std::string &path);
void set_file_content(const std::string &path, const std::string &content);
bool exists(const std::string &path);
std::uint64_t file_size(const std::string &path);
// Names of the entries, sorted.
std::vector<std::string> entries(const std::string &folder);

size_t line_count(const std::string &text);
// How often `part` occurs.
size_t occurrences(const std::string &text, const std::string &part);
bool contains(const std::string &text, const std::string &part);

// Leaves the current test when there is no `volume`, with the reason.
// NOLINTNEXTLINE(cppcoreguidelines-macro-usage): GTEST_SKIP must return from the test itself.
#define SKIP_WITHOUT(volume)                   \
    do {                                       \
        if (!(volume).mounted())               \
            GTEST_SKIP() << (volume).reason(); \
    } while (0)

}  // namespace cli_tests

#endif
