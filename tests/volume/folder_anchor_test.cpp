// SPDX-License-Identifier: GPL-3.0-or-later
// Whether the path still leads to the folder that a run began with.
#include "volume/folder_anchor.h"

#include <gtest/gtest.h>
#include <sys/mount.h>

#include <filesystem>

#include "support.h"

using volume_tests::private_folder;
using volume_tests::private_mounts;

TEST(folder_anchor, a_folder_that_nobody_touches_is_in_its_place) {
    const private_folder folder;
    const folder_anchor anchor(folder.path());
    EXPECT_TRUE(anchor.is_in_place());
    folder.make_file("1.fff", "x");
    EXPECT_TRUE(anchor.is_in_place());
}

TEST(folder_anchor, another_folder_under_the_name_is_not_it) {
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

TEST(folder_anchor, what_lies_below_an_unmounted_volume_is_not_it) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const std::string volume = mounts.folder().make_folder("volume");
    ASSERT_TRUE(mounts.mount_tmpfs(volume));
    const folder_anchor anchor(volume);
    ASSERT_EQ(umount2(volume.c_str(), MNT_DETACH), 0);
    EXPECT_FALSE(anchor.is_in_place());
    // For the guard, which unmounts what was mounted.
    ASSERT_EQ(mount("tmpfs", volume.c_str(), "tmpfs", 0, "size=1m"), 0);
    EXPECT_FALSE(anchor.is_in_place());
}

TEST(folder_anchor, a_volume_mounted_over_it_is_not_it) {
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

TEST(folder_anchor, a_volume_that_only_fails_still_is_in_its_place) {
    const private_folder folder;
    const std::string path = folder.make_folder("volume");
    const folder_anchor anchor(path);
    std::filesystem::rename(path, folder.path() + "/elsewhere");
    EXPECT_TRUE(anchor.is_in_place());
}
