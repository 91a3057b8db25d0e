// SPDX-License-Identifier: GPL-3.0-or-later
// Pages below a file system: which volumes have them, and the reason given when they cannot be
// dropped. Whole runs on counterfeit devices below exFAT and NTFS are in tests/system.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/loop.h>
#include <linux/magic.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#include "../support/locked_pages.h"
#include "support.h"
#include "volume/cold_read.h"
#include "volume/page_cache.h"

using namespace volume_tests;
using test_support::locked_pages;

static volume_info volume_on(const std::string &file_system, const std::string &source) {
    volume_info volume;
    volume.file_system = file_system;
    volume.source = source;
    return volume;
}

TEST(cold_read_linux, kernel_file_systems_have_no_pages_below) {
    for (const char *type : {"ext4", "vfat", "exfat", "ntfs3", "btrfs", "tmpfs"})
        EXPECT_EQ(cold_read_device(volume_on(type, "/dev/no-such-device"), false), "") << type;
}

TEST(cold_read_linux, takes_fuse_file_systems_word_on_request) {
    const volume_info volume = volume_on("fuse.kind", "any");
    EXPECT_NE(cold_read_device(volume, false), "");
    EXPECT_EQ(cold_read_device(volume, true), "");
}

TEST(cold_read_linux, takes_no_word_against_a_copy_that_can_be_seen) {
    const private_folder lower;
    for (const auto &[type, source] :
         std::vector<std::pair<const char *, std::string>>{{"fuse.bindfs", lower.path()},
                                                           {"fuseblk", "/dev/no-such-device"},
                                                           {"fuse.ntfs-3g", "/dev/no-such-device"}})
        EXPECT_NE(cold_read_device(volume_on(type, source), true), "") << type;
}

TEST(cold_read_linux, doubts_fuse_file_system_without_device) {
    EXPECT_EQ(cold_read_device(volume_on("fuse.encfs\n", "encfs"), false),
              "a file system of type fuse.encfs\n may keep a copy in memory");
    const std::vector<std::pair<const char *, const char *>> others = {
        {"fuse.mergerfs", "/tmp:/var"}, {"fuse.unionfs", "unionfs"},
        {"fuse.cryfs", "cryfs@/tmp"},   {"fuse.fuse2fs", "card.img"},
        {"fuse.sshfs", "host:/folder"}, {"fuse", "none"},
        {"fuse.bindfs", "bindfs"},      {"fuse.kind", "/tmp/no-such-folder"}};
    for (const auto &[type, source] : others)
        EXPECT_NE(cold_read_device(volume_on(type, source), false), "") << type;
}

TEST(cold_read_linux, doubts_unreachable_device) {
    EXPECT_EQ(cold_read_device(volume_on("fuseblk", "/dev/no\nsuch"), false),
              "the device /dev/no\nsuch cannot be reached");
    EXPECT_NE(cold_read_device(volume_on("fuse.ntfs-3g", "/dev/no-such-device"), false), "");
    EXPECT_NE(cold_read_device(volume_on("fuseblk", "card"), false), "");
}

TEST(cold_read_linux, doubts_source_on_another_volume) {
    const private_folder lower;
    std::string reason;
    EXPECT_EQ(cold_read_device(volume_on("fuse.bindfs", lower.path()), false),
              "the volume's data lies in " + lower.path() + ", of which memory holds a copy, too");
    const std::string image = lower.make_file("image\n", "");
    reason = cold_read_device(volume_on("fuse.fuse2fs", image), false);
    EXPECT_NE(reason.find("image\n, "), std::string::npos) << reason;
    EXPECT_EQ(cold_read_device(volume_on("ext4", lower.path()), false), "");
}

namespace {

// A loop device for a new file system; empty if there is none.
std::string device_of(private_mounts &mounts, std::uintmax_t bytes) {
    const std::string image = mounts.folder().make_file("image", "");
    std::filesystem::resize_file(image, bytes);
    return mounts.attach_loop(image);
}

// An image in an ext4 on another image. mkfs.ext4 clears everything at once: the kernel's later
// clearing would discard pages of the outer image, even locked ones.
class image_in_image {
 public:
    explicit image_in_image(private_mounts &mounts) {
        const std::string outer = device_of(mounts, std::uintmax_t{24} << 20);
        m_folder = mounts.folder().make_folder("outer");
        if (outer.empty() ||
            run_program({"mkfs.ext4", "-q", "-F", "-E", "lazy_itable_init=0,lazy_journal_init=0",
                         outer}) != 0 ||
            !mounts.mount_at(outer, m_folder, "ext4", 0, ""))
            return;
        close(open(path().c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
        std::filesystem::resize_file(path(), bytes);
        m_node = mounts.attach_loop(path());
    }
    static constexpr std::size_t bytes = std::size_t{8} << 20;
    std::string path() const { return m_folder + "/image"; }
    const std::string &folder() const { return m_folder; }
    // Empty if there is no loop device.
    const std::string &node() const { return m_node; }
    void write_through_the_device() const {
        const int fd = open(m_node.c_str(), O_WRONLY | O_CLOEXEC);
        const std::string data(bytes, 'x');
        EXPECT_EQ(pwrite(fd, data.data(), data.size(), 0), static_cast<ssize_t>(bytes));
        EXPECT_EQ(fsync(fd), 0);
        close(fd);
    }
    std::uint64_t bytes_in_memory() const {
        const int fd = open(path().c_str(), O_RDONLY | O_CLOEXEC);
        int error = 0;
        const auto resident = page_cache_resident_bytes(fd, 0, bytes, error);
        EXPECT_TRUE(resident.has_value()) << error;
        close(fd);
        return resident.value_or(0);
    }

 private:
    std::string m_folder, m_node;
};

}  // namespace

TEST(cold_read_linux, doubts_locked_device_pages) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const std::string node = device_of(mounts, (std::uintmax_t{150} << 20) + 512);
    if (node.empty())
        GTEST_SKIP() << "no loop device can be had here";
    std::string reason;
    EXPECT_EQ(cold_read_device(volume_on("fuseblk", node), false), "");
    const std::string stay = "the buffers of " + node + " cannot be dropped, ";
    {
        const locked_pages locked(node, off_t{100} << 20, std::size_t{1} << 20);
        reason = cold_read_device(volume_on("fuseblk", node), false);
        EXPECT_EQ(reason.rfind(stay, 0), 0U) << reason;
        // More if the kernel uses larger pages.
        EXPECT_GE(std::stoull(reason.substr(stay.size())), 1U << 20) << reason;
    }
    {
        const locked_pages locked(node, (off_t{150} << 20) - 4096, 4096);
        reason = cold_read_device(volume_on("fuse.kind", node), true);
        EXPECT_EQ(reason.rfind(stay, 0), 0U) << reason;
    }
    EXPECT_EQ(cold_read_device(volume_on("fuseblk", node), false), "");
}

#define SKIP_WITHOUT_IMAGES(image) \
    if ((image).node().empty())    \
    GTEST_SKIP() << "no loop device, or no mkfs.ext4, can be had here"

TEST(cold_read_linux, drops_backing_file_below_any_file_system) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const image_in_image image(mounts);
    SKIP_WITHOUT_IMAGES(image);
    for (const char *type : {"ext4", "fuseblk"}) {
        EXPECT_TRUE(within_a_minute([&] {
            image.write_through_the_device();
            return image.bytes_in_memory() == image_in_image::bytes;
        })) << type;
        EXPECT_TRUE(within_a_minute([&] {
            EXPECT_EQ(cold_read_device(volume_on(type, image.node()), false), "");
            return image.bytes_in_memory() == 0;
        })) << type;
    }
}

TEST(cold_read_linux, doubts_locked_backing_file_without_direct_io) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const image_in_image image(mounts);
    SKIP_WITHOUT_IMAGES(image);
    volume_info by_number;
    by_number.file_system = "ext4";
    by_number.device = node_number(image.node());
    {
        const locked_pages locked(image.path(), 1 << 20, 4096);
        const std::string stay = "the pages of " + image.path() + ", which " + image.node() +
                                 " reads from, cannot be dropped, ";
        const std::string reason = cold_read_device(by_number, false);
        EXPECT_EQ(reason.rfind(stay, 0), 0U) << reason;
        EXPECT_GE(std::stoull(reason.substr(stay.size())), 4096U) << reason;
        const int loop = open(image.node().c_str(), O_RDONLY | O_CLOEXEC);
        if (ioctl(loop, LOOP_SET_DIRECT_IO, 1UL) == 0) {
            EXPECT_EQ(cold_read_device(by_number, false), "");
        }
        ioctl(loop, LOOP_SET_DIRECT_IO, 0UL);
        close(loop);
    }
    EXPECT_EQ(cold_read_device(by_number, false), "");
}

TEST(cold_read_linux, follows_backing_file_onto_another_loop_device) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const image_in_image image(mounts);
    SKIP_WITHOUT_IMAGES(image);
    struct statfs below = {};
    ASSERT_EQ(statfs(mounts.folder().path().c_str(), &below), 0);
    const bool is_memory = below.f_type == TMPFS_MAGIC;
    const std::string outer = mounts.folder().path() + "/image";
    const locked_pages locked(outer, 20 << 20, 4096);
    const std::string reason = cold_read_device(volume_on("ext4", image.node()), false);
    EXPECT_EQ(reason.empty(), is_memory);
    EXPECT_EQ(reason.rfind("the pages of " + outer + ", which ", 0) == 0, !is_memory) << reason;
}

TEST(cold_read_linux, accepts_backing_file_in_memory) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const std::string folder = mounts.folder().make_folder("memory");
    ASSERT_TRUE(mounts.mount_tmpfs(folder, "size=2m"));
    const std::string image = mounts.folder().make_file("memory/image", std::string(1 << 20, 'x'));
    const std::string node = mounts.attach_loop(image);
    if (node.empty())
        GTEST_SKIP() << "no loop device can be had here";
    const locked_pages locked(image, 0, 4096);
    EXPECT_EQ(cold_read_device(volume_on("ext4", node), false), "");
}

TEST(cold_read_linux, doubts_covered_or_removed_backing_file) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const image_in_image image(mounts);
    SKIP_WITHOUT_IMAGES(image);
    const std::string doubt = "the file that " + image.node() + " reads from cannot be reached: ";
    ASSERT_EQ(mount("none", image.folder().c_str(), "tmpfs", 0, "size=1m"), 0);
    EXPECT_TRUE(std::ofstream(image.path()) << "another");
    EXPECT_EQ(cold_read_device(volume_on("ext4", image.node()), false),
              doubt + std::strerror(ESTALE));
    ASSERT_EQ(umount2(image.folder().c_str(), 0), 0);
    EXPECT_EQ(cold_read_device(volume_on("ext4", image.node()), false), "");
    std::filesystem::remove(image.path());
    EXPECT_EQ(cold_read_device(volume_on("ext4", image.node()), false),
              doubt + std::strerror(ENOENT));
}

namespace {

struct user_space_kind {
    const char *name;
    std::vector<std::string> make, mount;
};

void PrintTo(const user_space_kind &kind, std::ostream *out) {
    *out << kind.name;
}

class cold_read_below_fuse : public testing::TestWithParam<user_space_kind> {};

}  // namespace

// Another thread uses the volume while files are written to it.
TEST_P(cold_read_below_fuse, passes_sound_volume_in_use) {
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
        // On a busy machine, a page may be read again just before it is checked.
        EXPECT_TRUE(within_a_minute(
            [&] { return cold_read_device(volume_on("fuseblk", node), false).empty(); }));
    }
    ends = true;
    other.join();
}

INSTANTIATE_TEST_SUITE_P(
    of_each_kind, cold_read_below_fuse,
    testing::Values(user_space_kind{"exfat", {"mkfs.exfat"}, {"mount.exfat-fuse"}},
                    user_space_kind{"ntfs", {"mkfs.ntfs", "-F", "-Q", "-q"}, {"ntfs-3g"}}),
    [](const auto &test) { return std::string(test.param.name); });
