// SPDX-License-Identifier: GPL-3.0-or-later
// Whether the keys of two paths show that they share a file system.
#include "volume/file_system_keys.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include "support.h"
#include "volume/mount_table.h"
#include "volume/volume.h"

namespace {

using volume_tests::private_mounts;

bool same(const std::string &first, const std::string &second) {
    bool answer = false;
    std::string error;
    EXPECT_TRUE(volume_same_file_system(first, second, answer, error)) << error;
    return answer;
}

}  // namespace

TEST(file_system_keys_linux, meet_for_folder_with_its_parent) {
    EXPECT_TRUE(same("/", "/etc"));
    EXPECT_FALSE(same("/", "/proc"));
}

TEST(file_system_keys_linux, fail_for_missing_path) {
    bool answer = false;
    std::string error;
    EXPECT_FALSE(volume_same_file_system("/nowhere", "/", answer, error));
    EXPECT_EQ(error, "/nowhere: cannot be looked at: No such file or directory");
    EXPECT_FALSE(volume_same_file_system("/", "/not here", answer, error));
    EXPECT_EQ(error, "/not here: cannot be looked at: No such file or directory");
}

TEST(file_system_keys_linux, differ_for_two_mounts_of_one_type) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const std::string one = mounts.folder().make_folder("one");
    const std::string two = mounts.folder().make_folder("two");
    ASSERT_TRUE(mounts.mount_tmpfs(one));
    ASSERT_TRUE(mounts.mount_tmpfs(two));
    EXPECT_FALSE(same(one, two));
    EXPECT_FALSE(same(one, mounts.folder().path()));
}

TEST(file_system_keys_linux, meet_through_bind_mount) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const std::string card = mounts.folder().make_folder("card");
    const std::string view = mounts.folder().make_folder("view");
    ASSERT_TRUE(mounts.mount_tmpfs(card));
    ASSERT_TRUE(mounts.mount_bind(mounts.folder().make_folder("card/in"), view));
    EXPECT_TRUE(same(card, view));
}

TEST(file_system_keys_linux, meet_for_overlay_with_its_upper_folder) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const std::string below = mounts.folder().make_folder("below");
    const std::string card = mounts.folder().make_folder("card");
    const std::string view = mounts.folder().make_folder("view");
    ASSERT_TRUE(mounts.mount_tmpfs(below));
    ASSERT_TRUE(mounts.mount_tmpfs(card));
    const std::string options = "lowerdir=" + below +
                                ",upperdir=" + mounts.folder().make_folder("card/upper") +
                                ",workdir=" + mounts.folder().make_folder("card/work");
    ASSERT_TRUE(mounts.mount_at("overlay", view, "overlay", 0, options));
    EXPECT_TRUE(same(view, card));
    EXPECT_FALSE(same(view, below));
}

TEST(file_system_keys_linux, meet_for_subvolumes_of_one_pool) {
    mount_entry first;
    first.file_system = "btrfs";
    first.source = "/dev/nowhere";
    first.device = makedev(0, 77);
    mount_entry second = first;
    second.folder = "/@home";
    // The numbers that stat() gives for the two.
    file_system_keys first_keys = {"0:78"};
    file_system_keys second_keys = {"0:79"};
    EXPECT_FALSE(file_system_keys_meet(first_keys, second_keys));
    file_system_keys_add(first, first_keys);
    file_system_keys_add(second, second_keys);
    EXPECT_TRUE(file_system_keys_meet(first_keys, second_keys));
}

TEST(file_system_keys_linux, are_none_for_missing_place) {
    file_system_keys keys;
    EXPECT_FALSE(file_system_keys_of_place("/nowhere", keys));
    EXPECT_FALSE(file_system_keys_of_place("/dev/null/in", keys));
    EXPECT_TRUE(keys.empty());
}

TEST(file_system_keys_linux, do_not_wait_for_network) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const int daemon = open("/dev/fuse", O_RDWR | O_CLOEXEC);
    if (daemon < 0)
        GTEST_SKIP() << "needs /dev/fuse";
    const std::string far = mounts.folder().make_folder("far");
    const std::string options =
        "fd=" + std::to_string(daemon) + ",rootmode=40000,user_id=0,group_id=0";
    if (mounts.mount_at("a@b:", far, "fuse.sshfs", 0, options)) {
        file_system_keys keys;
        EXPECT_TRUE(file_system_keys_of_place(far + "/ann", keys));
        EXPECT_EQ(keys.size(), 1U);
    }
    close(daemon);
}

TEST(file_system_keys_linux, come_from_table_for_unreachable_place) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const int daemon = open("/dev/fuse", O_RDWR | O_CLOEXEC);
    if (daemon < 0)
        GTEST_SKIP() << "needs /dev/fuse";
    const std::string card = mounts.folder().make_folder("card");
    const std::string options =
        "fd=" + std::to_string(daemon) + ",rootmode=40000,user_id=0,group_id=0";
    const bool mounted = mounts.mount_at("card", card, "fuse.exfat", 0, options);
    close(daemon);  // the daemon is gone: every look gives ENOTCONN
    ASSERT_TRUE(mounted);
    file_system_keys keys;
    EXPECT_TRUE(file_system_keys_of_place(card + "/ann", keys));
    EXPECT_EQ(keys.size(), 1U);
}
