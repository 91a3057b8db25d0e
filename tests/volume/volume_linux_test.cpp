// SPDX-License-Identifier: GPL-3.0-or-later
// Descriptions of real mounts: tmpfs, loop devices, bind mounts, covered mounts, dead FUSE daemons.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <filesystem>

#include "support.h"
#include "volume/volume.h"

namespace {

using volume_tests::described;
using volume_tests::is_root;
using volume_tests::private_mounts;

std::string refused(const std::string &path) {
    volume_info info;
    std::string error;
    EXPECT_FALSE(volume_describe(path, info, error)) << info.root;
    return error;
}

// A file of 16 MiB with an ext4 file system that has a label of two words.
std::string make_ext4(const private_mounts &mounts) {
    std::string image = mounts.folder().make_file("image", "");
    std::filesystem::resize_file(image, std::uintmax_t{16} << 20);
    EXPECT_EQ(volume_tests::run_program({"mkfs.ext4", "-q", "-F", "-L", "TWO WORDS", "-U",
                                         "01234567-89ab-cdef-0123-456789abcdef", image}),
              0);
    return image;
}

}  // namespace

TEST(volume_linux, names_missing_path) {
    EXPECT_EQ(refused("/nowhere/at\nall"),
              "/nowhere/at\nall: cannot be looked at: No such file or directory");
    EXPECT_EQ(refused(""), ": cannot be looked at: No such file or directory");
    bool answer = false;
    std::string error;
    EXPECT_FALSE(volume_is_mount_root("/nowhere", answer, error));
    EXPECT_EQ(error, "/nowhere: cannot be looked at: No such file or directory");
}

TEST(volume_linux, names_root_slash_without_label) {
    const volume_info info = described("/");
    EXPECT_EQ(info.root, "/");
    EXPECT_FALSE(info.name.empty());
    EXPECT_FALSE(info.identifier.empty());
    EXPECT_FALSE(info.file_system.empty());
    struct statvfs space = {};
    ASSERT_EQ(statvfs("/", &space), 0);
    EXPECT_EQ(info.capacity_bytes, std::uint64_t{space.f_blocks} * space.f_frsize);
    EXPECT_TRUE(is_root("/"));
}

TEST(volume_linux, finds_volume_of_nested_file_or_link) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const std::string card = mounts.folder().make_folder("card");
    ASSERT_TRUE(mounts.mount_tmpfs(card));
    const std::string deep = mounts.folder().make_folder("card/a/b/c/d/e/f/g/h");
    const std::string file = mounts.folder().make_file("card/a/b/file", "x");
    const std::string link = mounts.folder().make_link("link", deep);
    const std::string root_link = mounts.folder().make_link("root link", card);
    for (const std::string &path : {card, card + "/", deep, file, link, link + "/..", root_link})
        EXPECT_EQ(described(path).root, card) << path;
    EXPECT_TRUE(is_root(card));
    EXPECT_TRUE(is_root(card + "/a/.."));
    EXPECT_TRUE(is_root(root_link));
    EXPECT_FALSE(is_root(deep));
    EXPECT_FALSE(is_root(link));
    EXPECT_FALSE(is_root(file));
}

TEST(volume_linux, describes_relative_path) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const std::string card = mounts.folder().make_folder("card");
    ASSERT_TRUE(mounts.mount_tmpfs(card));
    const int before = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(chdir(card.c_str()), 0);
    EXPECT_EQ(described(".").root, card);
    EXPECT_TRUE(is_root("."));
    EXPECT_EQ(fchdir(before), 0);
    close(before);
}

TEST(volume_linux, keeps_bytes_of_mount_point) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const std::string name = "NO NAME\n\t\\040#\xFF\xC3(";
    const std::string card = mounts.folder().make_folder(name);
    ASSERT_TRUE(mounts.mount_tmpfs(card));
    const volume_info info = described(mounts.folder().make_folder(name + "/in"));
    EXPECT_EQ(info.root, card);
    EXPECT_EQ(info.name, name);
    EXPECT_TRUE(is_root(card));
}

TEST(volume_linux, describes_tmpfs) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const std::string card = mounts.folder().make_folder("card");
    ASSERT_TRUE(mounts.mount_tmpfs(card, "size=3m"));
    mounts.folder().make_file("card/file", std::string(std::size_t{1} << 20, 'x'));
    const volume_info info = described(card);
    EXPECT_EQ(info.name, "card");
    EXPECT_EQ(info.file_system, "tmpfs");
    EXPECT_EQ(info.source, "tmpfs");
    EXPECT_EQ(info.capacity_bytes, 3U << 20);
    EXPECT_EQ(info.free_bytes, 2U << 20);
    EXPECT_EQ(info.capacity_error, "");
    EXPECT_EQ(info.identifier, "0:" + std::to_string(minor(info.device)));
    EXPECT_EQ(info.file_system_id, "");
    EXPECT_EQ(info.device_bytes, std::nullopt);
    EXPECT_EQ(info.read_only, false);
    EXPECT_EQ(info.removable, std::nullopt);
    EXPECT_EQ(info.ejectable, std::nullopt);
    EXPECT_EQ(info.internal, std::nullopt);
}

TEST(volume_linux, describes_mount_with_empty_source) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const std::string card = mounts.folder().make_folder("card");
    ASSERT_TRUE(mounts.mount_at("", card, "tmpfs", 0, "size=1m"));
    EXPECT_EQ(described(card).root, card);
    EXPECT_EQ(described(card).file_system, "tmpfs");
}

TEST(volume_linux, notices_read_only_remount) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const std::string card = mounts.folder().make_folder("card");
    ASSERT_TRUE(mounts.mount_tmpfs(card));
    ASSERT_TRUE(mounts.mount_at("", card, nullptr, MS_REMOUNT | MS_RDONLY, ""));
    EXPECT_EQ(described(card).read_only, true);
    ASSERT_TRUE(mounts.mount_at("", card, nullptr, MS_REMOUNT, ""));
    EXPECT_EQ(described(card).read_only, false);
}

TEST(volume_linux, tells_read_only_bind_mount_from_original) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const std::string card = mounts.folder().make_folder("card");
    const std::string view = mounts.folder().make_folder("view");
    ASSERT_TRUE(mounts.mount_tmpfs(card));
    ASSERT_TRUE(mounts.mount_bind(card, view));
    ASSERT_TRUE(mounts.mount_at("", view, nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, ""));
    EXPECT_EQ(described(view).read_only, true);
    EXPECT_EQ(described(card).read_only, false);
}

TEST(volume_linux, takes_bind_mount_for_root) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const std::string original = mounts.folder().make_folder("original/inside");
    const std::string view = mounts.folder().make_folder("view");
    EXPECT_FALSE(is_root(view));
    ASSERT_TRUE(mounts.mount_bind(mounts.folder().path() + "/original", view));
    EXPECT_TRUE(is_root(view));
    EXPECT_FALSE(is_root(view + "/inside"));
    EXPECT_FALSE(is_root(original));
    EXPECT_EQ(described(view + "/inside").root, view);
    EXPECT_NE(described(original).root, view);
    EXPECT_EQ(described(view).device, described(original).device);
}

TEST(volume_linux, describes_upper_of_two_mounts) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const std::string card = mounts.folder().make_folder("card");
    ASSERT_TRUE(mounts.mount_tmpfs(card, "size=1m"));
    ASSERT_TRUE(mounts.mount_tmpfs(card, "size=2m"));
    EXPECT_EQ(described(card).capacity_bytes, 2U << 20);
    EXPECT_TRUE(is_root(card));
}

TEST(volume_linux, refuses_covered_volume) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    if (volume_tests::kernel_mount_id("/") < 0)
        GTEST_SKIP() << "this kernel does not tell mount ids, and names cannot tell";
    const std::string card = mounts.folder().make_folder("card");
    ASSERT_TRUE(mounts.mount_tmpfs(card));
    const int before = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(chdir(card.c_str()), 0);
    EXPECT_TRUE(mounts.mount_tmpfs(card));
    EXPECT_EQ(refused("."), ".: another mount covers its volume at " + card);
    EXPECT_EQ(fchdir(before), 0);
    close(before);
}

TEST(volume_linux, describes_labelled_ext4) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    if (!volume_tests::has_program("mkfs.ext4"))
        GTEST_SKIP() << "mkfs.ext4 is not installed";
    const std::string node = mounts.attach_loop(make_ext4(mounts));
    if (node.empty())
        GTEST_SKIP() << "no loop device can be had here";
    const std::string card = mounts.folder().make_folder("card");
    ASSERT_TRUE(mounts.mount_at(node, card, "ext4", 0, ""));
    const volume_info info = described(card);
    EXPECT_EQ(info.root, card);
    EXPECT_EQ(info.name, "TWO WORDS");
    EXPECT_EQ(info.file_system, "ext4");
    EXPECT_EQ(info.source, node);
    EXPECT_EQ(info.device, volume_tests::node_number(node));
    // Kernels before 6.9 do not give the UUID; without udev it is unknown then.
    EXPECT_TRUE(info.identifier == "01234567-89ab-cdef-0123-456789abcdef" ||
                info.identifier == "7:" + std::to_string(minor(info.device)))
        << info.identifier;
    EXPECT_EQ(info.read_only, false);
    EXPECT_EQ(info.removable, false);
    EXPECT_EQ(info.internal, std::nullopt);
    // Free bytes include those that ext4 reserves for root.
    struct statvfs space = {};
    ASSERT_EQ(statvfs(card.c_str(), &space), 0);
    ASSERT_GT(space.f_bfree, space.f_bavail);
    EXPECT_EQ(info.free_bytes, std::uint64_t{space.f_bfree} * space.f_frsize);

    ASSERT_TRUE(mounts.mount_at(node, card, nullptr, MS_REMOUNT | MS_RDONLY, ""));
    EXPECT_EQ(described(card).read_only, true);
}

TEST(volume_linux, describes_exfat_through_fuse) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    if (!volume_tests::has_program("mkfs.exfat") ||
        !volume_tests::has_program("mount.exfat-fuse") || access("/dev/fuse", R_OK | W_OK) != 0)
        GTEST_SKIP() << "needs mkfs.exfat, mount.exfat-fuse and /dev/fuse";
    const std::string image = mounts.folder().make_file("image", "");
    std::filesystem::resize_file(image, std::uintmax_t{16} << 20);
    ASSERT_EQ(volume_tests::run_program({"mkfs.exfat", "-L", "CARD", image}), 0);
    const std::string node = mounts.attach_loop(image);
    if (node.empty())
        GTEST_SKIP() << "no loop device can be had here";
    const std::string card = mounts.folder().make_folder("card");
    ASSERT_EQ(volume_tests::run_program({"mount.exfat-fuse", node, card}), 0);
    mounts.note_mount(card);
    const volume_info info = described(card);
    EXPECT_EQ(info.root, card);
    EXPECT_EQ(info.file_system, "fuseblk");
    EXPECT_EQ(info.source, node);
    EXPECT_EQ(info.removable, false);
    EXPECT_EQ(info.internal, std::nullopt);
    EXPECT_GT(info.capacity_bytes, 8U << 20);
}

TEST(volume_linux, fails_for_dead_fuse_daemon) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const int daemon = open("/dev/fuse", O_RDWR | O_CLOEXEC);
    if (daemon < 0)
        GTEST_SKIP() << "needs /dev/fuse";
    const std::string card = mounts.folder().make_folder("card");
    const bool mounted =
        mounts.mount_at("/dev/sda1", card, "fuse", 0,
                        "fd=" + std::to_string(daemon) + ",rootmode=40000,user_id=0,group_id=0");
    close(daemon);
    ASSERT_TRUE(mounted);
    EXPECT_EQ(refused(card), card + ": cannot be looked at: Transport endpoint is not connected");
    EXPECT_EQ(refused(card + "/in"),
              card + "/in: cannot be looked at: Transport endpoint is not connected");
}
