#include "support.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace cli_tests {

namespace {

namespace fs = std::filesystem;

// Empty on success, else the reason. The namespace is the process's: entered
// once, left by its end, inherited by its children.
const std::string &enter_namespace() {
    static const std::string reason = [] {
        if (unshare(CLONE_NEWNS) == 0 &&
            mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0)
            return std::string();
        return std::string("this process may not mount (needs root): ") + std::strerror(errno);
    }();
    return reason;
}

void unmount(const std::string &path) {
    if (umount2(path.c_str(), UMOUNT_NOFOLLOW) != 0 &&
        umount2(path.c_str(), UMOUNT_NOFOLLOW | MNT_DETACH) != 0)
        ADD_FAILURE() << path << ": cannot be unmounted: " << std::strerror(errno);
}

}  // namespace

private_folder::private_folder() {
    std::string pattern = "/tmp/trovik-cli-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        ADD_FAILURE() << "mkdtemp: " << std::strerror(errno);
        return;
    }
    m_path = pattern;
}

private_folder::~private_folder() {
    if (m_path.empty())
        return;
    std::error_code error;
    fs::remove_all(m_path, error);
    EXPECT_FALSE(error) << m_path << ": " << error.message();
}

private_volume::private_volume(const std::string &options, const std::string &folder_name)
    : m_path(m_folder.file(folder_name)), m_reason(enter_namespace()), m_options(options) {
    if (!m_reason.empty())
        return;
    fs::create_directories(m_path);
    m_mounted = mount("tmpfs", m_path.c_str(), "tmpfs", 0, options.c_str()) == 0;
    if (!m_mounted)
        m_reason = m_path + ": cannot be mounted: " + std::strerror(errno);
}

private_volume::~private_volume() {
    if (m_mounted)
        unmount(m_path);
}

bool private_volume::set_read_only(bool read_only) {
    unsigned long flags = MS_REMOUNT;
    if (read_only)
        flags |= MS_RDONLY;
    return mount("tmpfs", m_path.c_str(), "tmpfs", flags, m_options.c_str()) == 0;
}

private_bind::private_bind(const std::string &source) : m_reason(enter_namespace()) {
    if (m_reason.empty() &&
        mount(source.c_str(), m_folder.path().c_str(), nullptr, MS_BIND, nullptr) != 0)
        m_reason = m_folder.path() + ": cannot be mounted: " + std::strerror(errno);
}

private_bind::~private_bind() {
    if (mounted())
        unmount(m_folder.path());
}

private_variable::private_variable(const std::string &name, const std::string &value)
    : m_name(name) {
    if (const char *before = std::getenv(name.c_str()))
        m_before = before;
    setenv(name.c_str(), value.c_str(), 1);
}

private_variable::~private_variable() {
    if (m_before)
        setenv(m_name.c_str(), m_before->c_str(), 1);
    else
        unsetenv(m_name.c_str());
}

std::string file_content(const std::string &path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void set_file_content(const std::string &path, const std::string &content) {
    std::ofstream stream(path, std::ios::binary);
    stream << content;
    stream.flush();
    EXPECT_TRUE(stream.good()) << path;
}

bool exists(const std::string &path) {
    return fs::symlink_status(path).type() != fs::file_type::not_found;
}

std::uint64_t file_size(const std::string &path) {
    std::error_code error;
    const std::uint64_t size = fs::file_size(path, error);
    EXPECT_FALSE(error) << path << ": " << error.message();
    return error ? 0 : size;
}

std::vector<std::string> entries(const std::string &folder) {
    std::vector<std::string> names;
    for (const fs::directory_entry &entry : fs::directory_iterator(folder))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

size_t line_count(const std::string &text) {
    return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

size_t occurrences(const std::string &text, const std::string &part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

bool contains(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

}  // namespace cli_tests
