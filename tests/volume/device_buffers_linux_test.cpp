// Buffers below a file system: which volumes have them, and what is said when they cannot be
// dropped. Whole runs on counterfeit devices below exFAT and NTFS are among the system's tests.
#include <gtest/gtest.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>

#include "../support/locked_pages.h"
#include "support.h"
#include "volume/device_buffers.h"

using namespace volume_tests;
using test_support::locked_pages;

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
    EXPECT_EQ(reason, "the device /dev/no\nsuch cannot be reached");
    EXPECT_FALSE(device_buffers_drop(volume_on("fuse.ntfs-3g", "/dev/no-such-device"), reason));
    EXPECT_FALSE(device_buffers_drop(volume_on("fuseblk", "card"), reason));
}

TEST(device_buffers, what_lies_on_another_volume_is_a_reason_to_doubt) {
    const private_folder lower;
    std::string reason;
    EXPECT_FALSE(device_buffers_drop(volume_on("fuse.bindfs", lower.path()), reason));
    EXPECT_EQ(reason,
              "the volume's data lies in " + lower.path() + ", of which memory holds a copy, too");
    const std::string image = lower.make_file("image\n", "");
    EXPECT_FALSE(device_buffers_drop(volume_on("fuse.fuse2fs", image), reason));
    EXPECT_NE(reason.find("image\n, "), std::string::npos) << reason;
    EXPECT_TRUE(device_buffers_drop(volume_on("fuse.kind", lower.path() + "/missing"), reason));
    EXPECT_TRUE(device_buffers_drop(volume_on("ext4", lower.path()), reason));
    EXPECT_EQ(reason, "");
}

namespace {

// A loop device in which a file system may be made; empty where none can be had.
std::string device_of(private_mounts &mounts, std::uintmax_t bytes) {
    const std::string image = mounts.folder().make_file("image", "");
    std::filesystem::resize_file(image, bytes);
    return mounts.attach_loop(image);
}

}  // namespace

TEST(device_buffers, that_stay_are_a_reason_to_doubt_until_they_can_go) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const std::string node = device_of(mounts, (std::uintmax_t{150} << 20) + 512);
    if (node.empty())
        GTEST_SKIP() << "no loop device can be had here";
    std::string reason;
    EXPECT_TRUE(device_buffers_drop(volume_on("fuseblk", node), reason)) << reason;
    const std::string stay = "the buffers of " + node + " cannot be dropped, ";
    {
        const locked_pages locked(node, off_t{100} << 20, std::size_t{1} << 20);
        EXPECT_FALSE(device_buffers_drop(volume_on("fuseblk", node), reason));
        EXPECT_EQ(reason.rfind(stay, 0), 0U) << reason;
        // More where the system keeps them in larger pieces.
        EXPECT_GE(std::stoull(reason.substr(stay.size())), 1U << 20) << reason;
    }
    {
        const locked_pages locked(node, (off_t{150} << 20) - 4096, 4096);
        EXPECT_FALSE(device_buffers_drop(volume_on("fuse.kind", node), reason));
        EXPECT_EQ(reason.rfind(stay, 0), 0U) << reason;
    }
    EXPECT_TRUE(device_buffers_drop(volume_on("fuseblk", node), reason)) << reason;
    EXPECT_EQ(reason, "");
}

namespace {

struct user_space_kind {
    const char *name;
    std::vector<std::string> make, mount;
};

void PrintTo(const user_space_kind &kind, std::ostream *out) {
    *out << kind.name;
}

class sound_device_buffers : public testing::TestWithParam<user_space_kind> {};

}  // namespace

// Files written, read and removed before, and another program that goes on using the volume.
TEST_P(sound_device_buffers, are_no_reason_to_doubt) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    for (const std::string &program : {GetParam().make[0], GetParam().mount[0]})
        if (!has_program(program) || access("/dev/fuse", R_OK | W_OK) != 0)
            GTEST_SKIP() << "needs " << program << " and /dev/fuse";
    const std::string node = device_of(mounts, std::uintmax_t{96} << 20);
    if (node.empty())
        GTEST_SKIP() << "no loop device can be had here";
    std::vector<std::string> make = GetParam().make;
    make.push_back(node);
    ASSERT_EQ(run_program(make), 0);
    const std::string folder = mounts.folder().make_folder("volume");
    ASSERT_EQ(run_program({GetParam().mount[0], node, folder}), 0);
    mounts.note_mount(folder);
    std::atomic<bool> ends{false};
    std::thread other([&folder, &ends] {
        while (!ends) {
            struct statvfs status = {};
            statvfs(folder.c_str(), &status);
            for (const auto &entry : std::filesystem::directory_iterator(folder))
                std::ifstream(entry.path()).get();
        }
    });
    for (int time = 0; time < 8; ++time) {
        const std::string name = folder + "/" + std::to_string(time % 3) + ".fff";
        EXPECT_TRUE(std::ofstream(name) << std::string(std::size_t{8} << 20, 'x'));
        std::string reason;
        EXPECT_TRUE(device_buffers_drop(volume_on("fuseblk", node), reason)) << reason;
    }
    ends = true;
    other.join();
}

INSTANTIATE_TEST_SUITE_P(
    of_each_kind, sound_device_buffers,
    testing::Values(user_space_kind{"exfat", {"mkfs.exfat"}, {"mount.exfat-fuse"}},
                    user_space_kind{"ntfs", {"mkfs.ntfs", "-F", "-Q", "-q"}, {"ntfs-3g"}}),
    [](const auto &test) { return std::string(test.param.name); });
