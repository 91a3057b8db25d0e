// Buffers below a file system: which volumes have them, and what is said when they cannot be
// dropped. Whole runs on counterfeit devices below exFAT and NTFS are among the system's tests.
#include <gtest/gtest.h>

#include "support.h"
#include "volume/device_buffers.h"

using namespace volume_tests;

static volume_info volume_on(const std::string &file_system, const std::string &source) {
    volume_info volume;
    volume.file_system = file_system;
    volume.source = source;
    return volume;
}

TEST(device_buffers, the_kernels_own_file_systems_have_none_below_them) {
    std::string reason;
    for (const char *type : {"ext4", "vfat", "exfat", "ntfs3", "btrfs", "tmpfs"})
        EXPECT_TRUE(device_buffers_drop(volume_on(type, "/dev/no-such-device"), reason)) << type;
    EXPECT_EQ(reason, "");
}

TEST(device_buffers, a_user_space_file_system_without_a_device_has_none_below_it) {
    std::string reason;
    EXPECT_TRUE(device_buffers_drop(volume_on("fuse.trovik-cardsim", "trovik-cardsim"), reason));
    EXPECT_TRUE(device_buffers_drop(volume_on("fuse.sshfs", "host:/folder"), reason));
    EXPECT_EQ(reason, "");
}

TEST(device_buffers, a_device_that_cannot_be_reached_is_a_reason_to_doubt) {
    std::string reason;
    EXPECT_FALSE(device_buffers_drop(volume_on("fuseblk", "/dev/no\nsuch"), reason));
    EXPECT_EQ(reason, "the device /dev/no\\012such cannot be reached");
    EXPECT_FALSE(device_buffers_drop(volume_on("fuse.ntfs-3g", "/dev/no-such-device"), reason));
    EXPECT_FALSE(device_buffers_drop(volume_on("fuseblk", "card"), reason));
}

TEST(device_buffers, those_of_a_real_device_are_dropped) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const std::string image =
        mounts.folder().make_file("image", std::string(std::size_t{1} << 20, 'x'));
    const std::string node = mounts.attach_loop(image);
    if (node.empty())
        GTEST_SKIP() << "no loop device can be had here";
    std::string reason;
    EXPECT_TRUE(device_buffers_drop(volume_on("fuseblk", node), reason)) << reason;
}
