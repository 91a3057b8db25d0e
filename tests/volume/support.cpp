// SPDX-License-Identifier: GPL-3.0-or-later
#include "support.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

namespace volume_tests {

int kernel_mount_id(const std::string &path) {
    struct statx status = {};
    if (statx(AT_FDCWD, path.c_str(), 0, STATX_MNT_ID, &status) != 0 ||
        (status.stx_mask & STATX_MNT_ID) == 0 || status.stx_mnt_id == 0)
        return -1;
    return static_cast<int>(status.stx_mnt_id);
}

dev_t node_number(const std::string &node) {
    struct stat status = {};
    EXPECT_EQ(stat(node.c_str(), &status), 0) << node;
    return status.st_rdev;
}

volume_info described(const std::string &path) {
    volume_info info;
    std::string error;
    EXPECT_TRUE(volume_describe(path, info, error)) << error;
    return info;
}

bool is_root(const std::string &path) {
    bool answer = false;
    std::string error;
    EXPECT_TRUE(volume_is_mount_root(path, answer, error)) << error;
    return answer;
}

ext4_volume::ext4_volume() : m_missing(test_support::missing_for_mounts()) {
    if (m_missing.empty() && !has_program("mkfs.ext4"))
        m_missing = "the program mkfs.ext4 is not installed";
    if (!m_missing.empty())
        return;
    const std::string memory = m_mounts.folder().make_folder("memory");
    EXPECT_TRUE(m_mounts.mount_tmpfs(memory, "size=32m"));
    const std::string image = m_mounts.folder().make_file("memory/image", "");
    std::filesystem::resize_file(image, std::uintmax_t{16} << 20);
    EXPECT_EQ(run_program({"mkfs.ext4", "-q", "-F", image}), 0);
    const std::string node = m_mounts.attach_loop(image);
    if (node.empty()) {
        m_missing = "no loop device can be had here";
        return;
    }
    m_folder = m_mounts.folder().make_folder("volume");
    EXPECT_TRUE(m_mounts.mount_at(node, m_folder, "ext4", 0, ""));
}

}  // namespace volume_tests
