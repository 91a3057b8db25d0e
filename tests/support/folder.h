// SPDX-License-Identifier: GPL-3.0-or-later
// Temporary folders, and small files in them. A failure throws std::system_error with the path,
// which fails the test.
#ifndef TROVIK_TESTS_SUPPORT_FOLDER_H
#define TROVIK_TESTS_SUPPORT_FOLDER_H

#include <cstdint>
#include <string>

namespace test_support {

// A temporary folder, removed with its contents.
class private_folder {
 public:
    // Below `parent`, or below the system's folder for temporary files.
    explicit private_folder(const std::string &parent = {});
    // Aborts when the folder cannot be removed, so that the test fails.
    ~private_folder();
    private_folder(const private_folder &) = delete;
    private_folder &operator=(const private_folder &) = delete;

    const std::string &path() const { return m_path; }
    const char *c_path() const { return m_path.c_str(); }
    std::string file(const std::string &name) const { return m_path + "/" + name; }

    // Make the entry and the folders above it; return its full path.
    std::string make_folder(const std::string &name) const;
    std::string make_file(const std::string &name, const std::string &content) const;
    std::string make_link(const std::string &name, const std::string &target) const;

 private:
    std::string m_path;
};

std::string file_content(const std::string &path);
void set_file_content(const std::string &path, const std::string &content);
std::uint64_t file_size(const std::string &path);
// Does not follow a symlink.
bool exists(const std::string &path);

}  // namespace test_support

#endif
