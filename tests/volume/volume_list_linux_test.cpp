// SPDX-License-Identifier: GPL-3.0-or-later
// Which mounts are listed, with mount tables of other machines and on this one.
#include "volume/mounted_volume.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "support.h"
#include "volume/volume.h"

namespace {

using volume_tests::private_folder;
using volume_tests::private_mounts;

// The mount points of a table that could be listed, in the table's order.
std::vector<std::string> candidates(const std::string &text) {
    const private_folder folder;
    std::vector<mount_entry> table;
    std::string error;
    EXPECT_TRUE(mount_table_read(folder.make_file("mountinfo", text), table, error)) << error;
    std::vector<std::string> targets;
    for (const mount_entry &entry : table)
        if (mounted_volume_is_candidate(table, entry))
            targets.push_back(entry.target);
    return targets;
}

std::vector<volume_info> listed() {
    std::vector<volume_info> volumes;
    std::string error;
    EXPECT_TRUE(volume_list(volumes, error)) << error;
    return volumes;
}

size_t count_at(const std::vector<volume_info> &volumes, const std::string &root) {
    return static_cast<size_t>(
        std::count_if(volumes.begin(), volumes.end(),
                      [&](const volume_info &info) { return info.root == root; }));
}

const std::string root_mount = "1 0 8:1 / / rw - ext4 /dev/sda1 rw\n";

}  // namespace

TEST(volume_list_linux, offers_devices_with_any_file_system) {
    EXPECT_EQ(candidates(root_mount + "2 1 8:17 / /media/a/NO\\040NAME rw - exfat /dev/sdb1 rw\n"
                                      "3 1 179:1 / /media/a/card rw - vfat /dev/mmcblk0p1 rw\n"
                                      "4 1 8:33 / /run/media/a/ntfs rw - fuseblk /dev/sdc1 rw\n"
                                      "5 1 0:50 / /mnt rw - btrfs /dev/sdd1 rw\n"
                                      "6 1 7:3 / /tmp/loop rw - ext4 /dev/loop3 rw\n"
                                      "7 1 0:51 / /tmp/image rw - fuse.ext2 card.img rw\n"
                                      "8 1 8:49 / /media/a/locked ro - exfat /dev/sdd1 ro\n"),
              (std::vector<std::string>{"/media/a/NO NAME", "/media/a/card", "/run/media/a/ntfs",
                                        "/mnt", "/tmp/loop", "/tmp/image", "/media/a/locked"}));
}

TEST(volume_list_linux, omits_pseudo_or_network_file_systems) {
    EXPECT_EQ(candidates(root_mount + "2 1 0:22 / /proc rw - proc proc rw\n"
                                      "3 1 0:23 / /run rw - tmpfs tmpfs rw\n"
                                      "4 1 7:1 / /snap/core/1 ro - squashfs /dev/loop1 ro\n"
                                      "5 1 7:2 / /media/a/image ro - squashfs /dev/loop2 ro\n"
                                      "6 1 11:0 / /media/a/film ro - udf /dev/sr0 ro\n"
                                      "7 1 7:4 / /media/a/disc ro - iso9660 /dev/loop4 ro\n"
                                      "8 1 0:30 / /net rw - nfs4 srv:/ rw\n"
                                      "9 1 0:31 / /mnt/ssh rw - fuse.sshfs a@b: rw\n"
                                      "10 1 0:32 / /mnt/auto rw - autofs systemd-1 rw\n"
                                      "11 1 0:33 / /mnt/any rw - fuse any rw\n"
                                      "12 1 0:34 / /mnt/over rw - overlay overlay rw\n"),
              std::vector<std::string>());
}

TEST(volume_list_linux, omits_system_mount_points) {
    EXPECT_EQ(candidates(root_mount + "2 1 8:2 / /boot rw - ext4 /dev/sda2 rw\n"
                                      "3 2 8:3 / /boot/efi rw - vfat /dev/sda3 rw\n"
                                      "4 1 8:4 / /home rw - ext4 /dev/sda4 rw\n"
                                      "5 1 8:5 / /var/lib/docker rw - ext4 /dev/sda5 rw\n"
                                      "6 1 8:6 / /etc/hosts rw - ext4 /dev/sda6 rw\n"
                                      "7 1 8:7 / /bootable rw - ext4 /dev/sda7 rw\n"),
              std::vector<std::string>{"/bootable"});
}

TEST(volume_list_linux, omits_covered_mounts_or_those_below_network) {
    EXPECT_EQ(candidates(root_mount + "2 1 8:17 / /mnt/a rw - exfat /dev/sdb1 rw\n"
                                      "3 2 8:33 / /mnt/a rw - exfat /dev/sdc1 rw\n"
                                      "4 1 0:30 / /net rw - nfs srv:/ rw\n"
                                      "5 4 8:49 / /net/card rw - exfat /dev/sdd1 rw\n"
                                      "6 1 8:65 / /m/b rw - exfat /dev/sde1 rw\n"
                                      "7 1 8:81 / /m rw - exfat /dev/sdf1 rw\n"),
              (std::vector<std::string>{"/mnt/a", "/m"}));
}

TEST(volume_list_linux, omits_system_volumes_or_tmpfs) {
    private_mounts mounts;
    const std::string view = mounts.folder().make_folder("view");
    const std::string memory = mounts.folder().make_folder("memory");
    if (mounts.possible()) {
        // A folder of the system's file system, mounted among the volumes.
        mounts.mount_bind("/usr", view);
        mounts.mount_tmpfs(memory);
    }
    for (const volume_info &info : listed()) {
        EXPECT_NE(info.root, "/");
        EXPECT_NE(info.file_system, "tmpfs") << info.root;
        EXPECT_NE(info.root, view);
        std::vector<volume_system_use> uses;
        std::string error;
        EXPECT_TRUE(volume_find_system_uses(info.root, uses, error)) << error;
        EXPECT_TRUE(uses.empty()) << info.root;
    }
}

TEST(volume_list_linux, lists_loop_device_once) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const std::string image = mounts.folder().make_file("image", "");
    std::filesystem::resize_file(image, std::uintmax_t{16} << 20);
    if (volume_tests::run_program({"mkfs.ext4", "-q", "-F", image}) != 0)
        GTEST_SKIP() << "mkfs.ext4 cannot be run";
    const std::string node = mounts.attach_loop(image);
    if (node.empty())
        GTEST_SKIP() << "no loop device can be had here";
    const std::string card = mounts.folder().make_folder("a card");
    const std::string whole = mounts.folder().make_folder("whole");
    const std::string part = mounts.folder().make_folder("part");
    ASSERT_TRUE(mounts.mount_at(node, card, "ext4", 0, ""));
    mounts.folder().make_folder("a card/folder");
    ASSERT_TRUE(mounts.mount_bind(card + "/folder", part));
    ASSERT_TRUE(mounts.mount_bind(card, whole));
    const std::vector<volume_info> volumes = listed();
    EXPECT_EQ(count_at(volumes, card), 1U);
    EXPECT_EQ(count_at(volumes, part), 0U);
    EXPECT_EQ(count_at(volumes, whole), 0U);
    for (const volume_info &info : volumes) {
        if (info.root == card) {
            EXPECT_EQ(info.name, "a card");
            EXPECT_EQ(info.source, node);
            EXPECT_GT(info.capacity_bytes, 8U << 20);
        }
    }
}

namespace {

// Expects the list to leave out a FUSE mount of this type whose daemon never answers.
void expect_silent_mount_left_out(const char *type) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const int daemon = open("/dev/fuse", O_RDWR | O_CLOEXEC);
    if (daemon < 0)
        GTEST_SKIP() << "needs /dev/fuse";
    const std::string silent = mounts.folder().make_folder("silent");
    const std::string options =
        "fd=" + std::to_string(daemon) + ",rootmode=40000,user_id=0,group_id=0";
    const bool mounted = mounts.mount_at("a@b:", silent, type, 0, options);
    if (mounted) {
        EXPECT_EQ(count_at(listed(), silent), 0U);
    }
    close(daemon);
}

}  // namespace

TEST(volume_list_linux, does_not_touch_network_mount) {
    expect_silent_mount_left_out("fuse.sshfs");
}

TEST(volume_list_linux, leaves_out_volume_that_never_answers) {
    expect_silent_mount_left_out("fuse.exfat");
}
