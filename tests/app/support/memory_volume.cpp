// SPDX-License-Identifier: GPL-3.0-or-later
#include "memory_volume.h"

#include <gtest/gtest.h>
#include <sys/mount.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

namespace app_tests {

namespace fs = std::filesystem;

static int mount_memory(const std::string &path, std::uint64_t bytes) {
    const std::string size = "size=" + std::to_string(bytes);
    return mount("trovik-test", path.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, size.c_str());
}

memory_volume::memory_volume(std::uint64_t bytes, const std::string &name)
    : volume(name), m_bytes(bytes) {
    check_mounted(mount_memory(path(), bytes) == 0, std::strerror(errno));
}

memory_volume::~memory_volume() {
    while (m_covers-- > 0)
        EXPECT_EQ(umount2(path().c_str(), 0), 0) << std::strerror(errno);
}

void memory_volume::set_read_only(bool read_only) const {
    unsigned long flags = MS_REMOUNT;
    if (read_only)
        flags |= MS_RDONLY;
    EXPECT_EQ(mount("none", path().c_str(), nullptr, flags, nullptr), 0) << std::strerror(errno);
}

void memory_volume::cover() {
    ASSERT_EQ(mount_memory(path(), test_support::mib), 0) << std::strerror(errno);
    ++m_covers;
}

void memory_volume::mount_anew() {
    // Longer than the period of the clock behind birth times.
    std::this_thread::sleep_for(std::chrono::milliseconds{50});
    ASSERT_EQ(umount2(path().c_str(), 0), 0) << std::strerror(errno);
    ASSERT_EQ(mount_memory(path(), m_bytes), 0) << std::strerror(errno);
}

void memory_volume::take_away() {
    unmount();
}

void memory_volume::make_folder(const std::string &name) const {
    fs::create_directories(file(name));
}

void memory_volume::make_file(const std::string &name) const {
    fs::create_directories(fs::path(file(name)).parent_path());
    EXPECT_TRUE(std::ofstream(file(name)) << "content");
}

void memory_volume::remove(const std::string &name) const {
    fs::remove_all(file(name));
}

std::vector<std::string> memory_volume::content() const {
    std::vector<std::string> names;
    for (const auto &entry : fs::directory_iterator(path()))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace app_tests
