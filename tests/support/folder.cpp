// SPDX-License-Identifier: GPL-3.0-or-later
#include "folder.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

namespace test_support {

namespace fs = std::filesystem;

[[noreturn]] static void fail(const std::string &path) {
    throw std::system_error(errno, std::generic_category(), path);
}

private_folder::private_folder(const std::string &parent)
    : m_path((parent.empty() ? fs::temp_directory_path() : fs::path(parent)) /
             "trovik-test-XXXXXX") {
    if (mkdtemp(m_path.data()) == nullptr)
        fail(m_path);
}

private_folder::~private_folder() {
    std::error_code error;
    fs::remove_all(m_path, error);
    if (error) {
        std::fprintf(stderr, "%s: cannot be removed: %s\n", m_path.c_str(),
                     error.message().c_str());
        std::abort();
    }
}

std::string private_folder::make_folder(const std::string &name) const {
    fs::create_directories(file(name));
    return file(name);
}

std::string private_folder::make_file(const std::string &name, const std::string &content) const {
    fs::create_directories(fs::path(file(name)).parent_path());
    set_file_content(file(name), content);
    return file(name);
}

std::string private_folder::make_link(const std::string &name, const std::string &target) const {
    fs::create_directories(fs::path(file(name)).parent_path());
    fs::create_symlink(target, file(name));
    return file(name);
}

std::string file_content(const std::string &path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void set_file_content(const std::string &path, const std::string &content) {
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream << content;
    stream.close();
    if (!stream)
        fail(path);
}

std::uint64_t file_size(const std::string &path) {
    return fs::file_size(path);
}

bool exists(const std::string &path) {
    return fs::symlink_status(path).type() != fs::file_type::not_found;
}

}  // namespace test_support
