// SPDX-License-Identifier: GPL-3.0-or-later
// Whether the path still leads to the folder that a run began with.
#include "volume/folder_anchor.h"

#include <gtest/gtest.h>
#include <sys/mount.h>

#include <filesystem>

#include "support.h"

using volume_tests::private_folder;
using volume_tests::private_mounts;

TEST(folder_anchor, knows_untouched_folder) {
    const private_folder folder;
    const folder_anchor anchor(folder.path());
    EXPECT_TRUE(anchor.is_in_place());
    folder.make_file("1.fff", "x");
    EXPECT_TRUE(anchor.is_in_place());
}

TEST(folder_anchor, notices_another_folder_of_same_name) {
    const private_folder folder;
    const std::string path = folder.make_folder("volume");
    const folder_anchor anchor(path);
    std::filesystem::rename(path, folder.path() + "/elsewhere");
    std::filesystem::create_directory(path);
    EXPECT_FALSE(anchor.is_in_place());
    std::filesystem::remove(path);
    std::filesystem::rename(folder.path() + "/elsewhere", path);
    EXPECT_TRUE(anchor.is_in_place());
}

TEST(folder_anchor, notices_unmounted_volume) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const std::string volume = mounts.folder().make_folder("volume");
    ASSERT_TRUE(mounts.mount_tmpfs(volume));
    const folder_anchor anchor(volume);
    ASSERT_EQ(umount2(volume.c_str(), MNT_DETACH), 0);
    EXPECT_FALSE(anchor.is_in_place());
    // `mounts` expects a mount to undo.
    ASSERT_EQ(mount("tmpfs", volume.c_str(), "tmpfs", 0, "size=1m"), 0);
    EXPECT_FALSE(anchor.is_in_place());
}

TEST(folder_anchor, notices_volume_mounted_over_it) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const std::string volume = mounts.folder().make_folder("volume");
    ASSERT_TRUE(mounts.mount_tmpfs(volume));
    const folder_anchor anchor(volume);
    ASSERT_EQ(mount("tmpfs", volume.c_str(), "tmpfs", 0, "size=1m"), 0);
    EXPECT_FALSE(anchor.is_in_place());
    ASSERT_EQ(umount2(volume.c_str(), MNT_DETACH), 0);
    EXPECT_TRUE(anchor.is_in_place());
}

TEST(folder_anchor, keeps_failing_volume) {
    const private_folder folder;
    const std::string path = folder.make_folder("volume");
    const folder_anchor anchor(path);
    std::filesystem::rename(path, folder.path() + "/elsewhere");
    EXPECT_TRUE(anchor.is_in_place());
}
