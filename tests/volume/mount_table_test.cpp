// SPDX-License-Identifier: GPL-3.0-or-later
// Tables of real kernels, malformed tables, and a comparison with the running kernel's answers.
#include "volume/mount_table.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/sysmacros.h>

#include <cstdlib>
#include <filesystem>

#include "support.h"

namespace {

using volume_tests::private_folder;
using volume_tests::private_mounts;

std::vector<mount_entry> table_of(const std::string &text) {
    const private_folder folder;
    std::vector<mount_entry> table;
    std::string error;
    EXPECT_TRUE(mount_table_read(folder.make_file("mountinfo", text), table, error)) << error;
    return table;
}

int found_id(const std::vector<mount_entry> &table, const std::string &path) {
    const mount_entry *entry = mount_table_find_path(table, path);
    return entry == nullptr ? -1 : entry->id;
}

const char *const root_line = "1 0 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n";

}  // namespace

TEST(mount_table, reads_every_field) {
    const auto table = table_of(std::string(root_line) +
                                "36 1 8:17 /photos /mnt/card rw,noatime master:1 shared:7 - exfat "
                                "/dev/sdb1 rw,errors=remount-ro\n");
    ASSERT_EQ(table.size(), 2U);
    const mount_entry &card = table[1];
    EXPECT_EQ(card.id, 36);
    EXPECT_EQ(card.parent_id, 1);
    EXPECT_EQ(card.device, makedev(8, 17));
    EXPECT_EQ(card.folder, "/photos");
    EXPECT_EQ(card.target, "/mnt/card");
    EXPECT_EQ(card.file_system, "exfat");
    EXPECT_EQ(card.source, "/dev/sdb1");
    EXPECT_FALSE(card.read_only);
}

TEST(mount_table, decodes_octal_escapes) {
    const auto table = table_of(std::string(root_line) +
                                "2 1 8:17 / /media/NO\\040NAME\\012x\\011y\\134z\\043 rw - exfat "
                                "/dev/disk\\040b rw\n");
    ASSERT_EQ(table.size(), 2U);
    EXPECT_EQ(table[1].target, "/media/NO NAME\nx\ty\\z#");
    EXPECT_EQ(table[1].source, "/dev/disk b");
}

TEST(mount_table, keeps_bytes_outside_utf8) {
    const auto table =
        table_of(std::string(root_line) + "2 1 8:17 / /media/\xFF\xC3( rw - vfat x rw\n");
    ASSERT_EQ(table.size(), 2U);
    EXPECT_EQ(table[1].target, "/media/\xFF\xC3(");
}

TEST(mount_table, reads_read_only_of_mount_or_file_system) {
    const auto table = table_of(std::string(root_line) +
                                "2 1 8:17 / /a ro,noatime - ext4 /dev/sdb1 rw\n"
                                "3 1 8:18 / /b rw,noatime - ext4 /dev/sdb2 ro,discard\n"
                                "4 1 8:19 / /c rw,noatime - ext4 /dev/sdb3 rw,errors=ro,rock\n");
    ASSERT_EQ(table.size(), 4U);
    EXPECT_TRUE(table[1].read_only);
    EXPECT_TRUE(table[2].read_only);
    EXPECT_FALSE(table[3].read_only);
}

TEST(mount_table, skips_other_lines) {
    const auto table = table_of(std::string(root_line) +
                                "\n# a comment\nnonsense\n5 1\n"
                                "6 1 8:17 / /ok rw - ext4 /dev/sdb1 rw\n"
                                "7 1 8:18 / /unfinished rw");
    ASSERT_GE(table.size(), 2U);
    EXPECT_EQ(found_id(table, "/ok/x"), 6);
    EXPECT_EQ(found_id(table, "/unfinished"), 1);
}

TEST(mount_table, finds_no_mounts_in_fstab) {
    EXPECT_TRUE(table_of("/dev/sda1 / ext4 defaults 0 1\n/dev/sdb1 /mnt vfat ro 0 0\n").empty());
    EXPECT_TRUE(table_of("").empty());
    EXPECT_TRUE(table_of(std::string(4096, '\0')).empty());
}

TEST(mount_table, names_missing_table) {
    std::vector<mount_entry> table;
    std::string error;
    EXPECT_FALSE(mount_table_read("/nowhere/mountinfo", table, error));
    EXPECT_EQ(error,
              "/nowhere/mountinfo: the mount table cannot be read: No such file or directory");
}

TEST(mount_table, finds_nearest_mount_above_path) {
    const auto table = table_of(std::string(root_line) +
                                "2 1 8:17 / /media/card rw - exfat /dev/sdb1 rw\n"
                                "3 2 8:33 / /media/card/in/side rw - exfat /dev/sdc1 rw\n");
    EXPECT_EQ(found_id(table, "/"), 1);
    EXPECT_EQ(found_id(table, "/media"), 1);
    EXPECT_EQ(found_id(table, "/media/card"), 2);
    EXPECT_EQ(found_id(table, "/media/card/in"), 2);
    EXPECT_EQ(found_id(table, "/media/card/in/side/deep/er"), 3);
}

TEST(mount_table, compares_whole_names) {
    const auto table =
        table_of(std::string(root_line) + "2 1 8:17 / /media/card rw - exfat x rw\n");
    EXPECT_EQ(found_id(table, "/media/card2"), 1);
    EXPECT_EQ(found_id(table, "/media/car"), 1);
}

TEST(mount_table, finds_topmost_mount_at_one_point) {
    const auto table = table_of(std::string(root_line) +
                                "2 1 8:17 / /mnt rw - ext4 /dev/sdb1 rw\n"
                                "4 3 8:49 / /mnt rw - ext4 /dev/sdd1 rw\n"
                                "3 2 8:33 / /mnt rw - ext4 /dev/sdc1 rw\n");
    EXPECT_EQ(found_id(table, "/mnt"), 4);
    EXPECT_EQ(found_id(table, "/mnt/file"), 4);
}

TEST(mount_table, finds_no_covered_mount) {
    const auto table = table_of(std::string(root_line) +
                                "2 1 8:17 / /a/b rw - ext4 /dev/sdb1 rw\n"
                                "3 1 8:33 / /a rw - ext4 /dev/sdc1 rw\n");
    EXPECT_EQ(found_id(table, "/a/b"), 3);
}

TEST(mount_table, finds_mount_over_root) {
    const auto table = table_of(
        "1 1 0:2 / / rw - rootfs rootfs rw\n"
        "2 1 8:1 / / rw - ext4 /dev/sda1 rw\n"
        "3 2 8:17 / /mnt rw - ext4 /dev/sdb1 rw\n");
    EXPECT_EQ(found_id(table, "/"), 2);
    EXPECT_EQ(found_id(table, "/mnt/x"), 3);
}

TEST(mount_table, ends_at_parents_in_circle) {
    const auto table = table_of(std::string(root_line) +
                                "2 3 8:17 / /a rw - nfs x rw\n"
                                "3 2 8:33 / /a rw - nfs x rw\n"
                                "4 1 8:34 / /b rw - nfs x rw\n"
                                "4 4 8:35 / /b rw - nfs x rw\n"
                                "1 4 8:36 / /b rw - nfs x rw\n");
    EXPECT_NE(found_id(table, "/b/c"), -1);
    EXPECT_TRUE(mount_table_lies_in_remote(table, table[1]));
}

TEST(mount_table, finds_nothing_without_root_or_for_relative_path) {
    EXPECT_EQ(found_id(table_of("5 4 8:17 / /mnt rw - ext4 /dev/sdb1 rw\n"), "/mnt"), -1);
    EXPECT_EQ(found_id({}, "/"), -1);
    EXPECT_EQ(found_id(table_of(root_line), "mnt"), -1);
    EXPECT_EQ(found_id(table_of(root_line), ""), -1);
}

TEST(mount_table, takes_network_types_or_unknown_daemons_for_remote) {
    for (const char *type : {"nfs", "nfs4", "cifs", "smb3", "9p", "ceph", "autofs", "fuse",
                             "fuse.sshfs", "fuse.unheard-of", "fuse.rclone", "fuse.gvfsd-fuse"})
        EXPECT_TRUE(mount_table_is_remote(type)) << type;
    for (const char *type :
         {"ext4", "exfat", "vfat", "ntfs3", "btrfs", "tmpfs", "fuseblk", "fuse.exfat"})
        EXPECT_FALSE(mount_table_is_remote(type)) << type;
}

TEST(mount_table, notices_mount_below_remote_one) {
    const auto table = table_of(
        "1 0 0:9 / / rw - nfs srv:/ rw\n"
        "2 1 0:30 / /net rw - nfs srv:/x rw\n"
        "3 2 8:17 / /net/card rw - exfat /dev/sdb1 rw\n"
        "4 1 0:31 / /auto rw - autofs systemd-1 rw\n"
        "5 4 8:33 / /auto/card rw - exfat /dev/sdc1 rw\n");
    EXPECT_TRUE(mount_table_lies_in_remote(table, table[2]));
    EXPECT_FALSE(mount_table_lies_in_remote(table, table[1]));
    EXPECT_FALSE(mount_table_lies_in_remote(table, table[4]));
}

TEST(mount_table, reads_option_value) {
    const auto table = table_of("1 0 0:9 / / rw - overlay overlay rw,upperdir=/up/er,workdir=/w\n");
    ASSERT_EQ(table.size(), 1U);
    EXPECT_EQ(mount_table_option(table[0], "upperdir"), "/up/er");
    EXPECT_EQ(mount_table_option(table[0], "lowerdir"), "");
    EXPECT_EQ(mount_table_option(table[0], "rw"), "");
}

TEST(mount_table, walks_like_kernel) {
    private_mounts mounts;
    if (volume_tests::kernel_mount_id("/") < 0)
        GTEST_SKIP() << "this kernel does not tell mount ids";
    const std::string deep = mounts.folder().make_folder("a/b c/d");
    if (mounts.possible()) {
        // Covered, covering, stacked, bound.
        const std::string a = mounts.folder().path() + "/a";
        mounts.mount_tmpfs(a + "/b c");
        mounts.mount_tmpfs(a);
        std::filesystem::create_directories(deep);
        mounts.mount_tmpfs(deep);
        mounts.mount_tmpfs(deep);
        mounts.mount_bind("/usr", a + "/b c");
    }
    std::vector<mount_entry> table;
    std::string error;
    ASSERT_TRUE(mount_table_read("/proc/self/mountinfo", table, error)) << error;
    std::vector<std::string> paths = {"/", "/usr/lib", "/proc/self", "/dev/null", deep};
    for (const mount_entry &entry : table)
        paths.push_back(entry.target);
    for (const std::string &path : paths) {
        const int id = volume_tests::kernel_mount_id(path);
        char *real = realpath(path.c_str(), nullptr);
        if (id >= 0 && real != nullptr) {
            EXPECT_EQ(found_id(table, real), id) << path;
        }
        std::free(real);
    }
}
