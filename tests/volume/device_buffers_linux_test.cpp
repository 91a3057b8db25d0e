// Buffers below a file system: which volumes have them, and what is said when they cannot be
// dropped. Whole runs on counterfeit devices below exFAT and NTFS are among the system's tests.
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
#include "volume/device_buffers.h"
#include "volume/page_residency.h"

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

TEST(device_buffers, a_simulated_card_in_memory_has_none_below_it) {
    const char *const card = "fuse.trovik-cardsim";
    std::string reason;
    EXPECT_TRUE(device_buffers_drop(volume_on(card, "trovik-cardsim:memory"), reason));
    EXPECT_EQ(reason, "");
    for (const char *other : {"trovik-cardsim:file", "trovik-cardsim", "trovik-cardsim:memory2",
                              "trovik-cardsim:memor", "/tmp", "none", ""})
        EXPECT_FALSE(device_buffers_drop(volume_on(card, other), reason)) << other;
    EXPECT_EQ(reason,
              "what a file system of type fuse.trovik-cardsim keeps in memory is not known");
    for (const char *type : {"fuse.trovik-cardsim2", "fuse.bindfs", "fuse", "fuseblk"})
        EXPECT_FALSE(device_buffers_drop(volume_on(type, "trovik-cardsim:memory"), reason)) << type;
}

TEST(device_buffers, what_a_user_space_file_system_without_a_device_keeps_is_not_known) {
    std::string reason;
    EXPECT_FALSE(device_buffers_drop(volume_on("fuse.encfs\n", "encfs"), reason));
    EXPECT_EQ(reason, "what a file system of type fuse.encfs\n keeps in memory is not known");
    const std::vector<std::pair<const char *, const char *>> others = {
        {"fuse.mergerfs", "/tmp:/var"},    {"fuse.unionfs", "unionfs"},
        {"fuse.cryfs", "cryfs@/tmp"},      {"fuse.fuse2fs", "card.img"},
        {"fuse.sshfs", "host:/folder"},    {"fuse", "none"},
        {"fuse.bindfs", "trovik-cardsim"}, {"fuse.kind", "/tmp/no-such-folder"}};
    for (const auto &[type, source] : others)
        EXPECT_FALSE(device_buffers_drop(volume_on(type, source), reason)) << type;
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

// A second image, in an ext4 of this test's own that lies on the first. Nothing is left for the
// kernel to clear later: that takes pages of the first image away, locked or not.
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
    // Empty when it cannot be had.
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
        const auto resident = page_residency_bytes(fd, 0, bytes, error);
        EXPECT_TRUE(resident.has_value()) << error;
        close(fd);
        return resident.value_or(0);
    }

 private:
    std::string m_folder, m_node;
};

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

#define SKIP_WITHOUT_IMAGES(image) \
    if ((image).node().empty())    \
    GTEST_SKIP() << "no loop device, or no mkfs.ext4, can be had here"

TEST(image_below, its_pages_are_dropped_below_every_file_system) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const image_in_image image(mounts);
    SKIP_WITHOUT_IMAGES(image);
    for (const char *type : {"ext4", "fuseblk"}) {
        image.write_through_the_device();
        EXPECT_EQ(image.bytes_in_memory(), image_in_image::bytes) << type;
        std::string reason;
        EXPECT_TRUE(device_buffers_drop(volume_on(type, image.node()), reason)) << reason;
        EXPECT_EQ(image.bytes_in_memory(), 0U) << type;
    }
}

TEST(image_below, pages_that_stay_are_a_reason_to_doubt_unless_they_are_read_past) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const image_in_image image(mounts);
    SKIP_WITHOUT_IMAGES(image);
    std::string reason;
    volume_info by_number;
    by_number.file_system = "ext4";
    by_number.device = node_number(image.node());
    {
        const locked_pages locked(image.path(), 1 << 20, 4096);
        EXPECT_FALSE(device_buffers_drop(by_number, reason));
        EXPECT_EQ(reason, "the pages of " + image.path() + ", which " + image.node() +
                              " reads from, cannot be dropped, 4096 bytes of them stay");
        const int loop = open(image.node().c_str(), O_RDONLY | O_CLOEXEC);
        if (ioctl(loop, LOOP_SET_DIRECT_IO, 1UL) == 0) {
            EXPECT_TRUE(device_buffers_drop(by_number, reason)) << reason;
        }
        ioctl(loop, LOOP_SET_DIRECT_IO, 0UL);
        close(loop);
    }
    EXPECT_TRUE(device_buffers_drop(by_number, reason)) << reason;
}

TEST(image_below, an_image_below_that_image_is_seen_to_as_well) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const image_in_image image(mounts);
    SKIP_WITHOUT_IMAGES(image);
    // Somewhere that is not memory, or there is nothing to doubt.
    struct statfs below = {};
    ASSERT_EQ(statfs(mounts.folder().path().c_str(), &below), 0);
    const bool is_memory = below.f_type == TMPFS_MAGIC;
    const std::string outer = mounts.folder().path() + "/image";
    const locked_pages locked(outer, 20 << 20, 4096);
    std::string reason;
    EXPECT_EQ(device_buffers_drop(volume_on("ext4", image.node()), reason), is_memory);
    EXPECT_EQ(reason.rfind("the pages of " + outer + ", which ", 0) == 0, !is_memory) << reason;
}

TEST(image_below, an_image_in_memory_has_it_for_its_medium) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const std::string folder = mounts.folder().make_folder("memory");
    ASSERT_TRUE(mounts.mount_tmpfs(folder, "size=2m"));
    const std::string image = mounts.folder().make_file("memory/image", std::string(1 << 20, 'x'));
    const std::string node = mounts.attach_loop(image);
    if (node.empty())
        GTEST_SKIP() << "no loop device can be had here";
    const locked_pages locked(image, 0, 4096);
    std::string reason;
    EXPECT_TRUE(device_buffers_drop(volume_on("ext4", node), reason)) << reason;
}

TEST(image_below, an_image_that_another_file_covers_or_that_is_removed_is_a_reason_to_doubt) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const image_in_image image(mounts);
    SKIP_WITHOUT_IMAGES(image);
    const std::string doubt = "the file that " + image.node() + " reads from cannot be reached: ";
    std::string reason;
    ASSERT_EQ(mount("none", image.folder().c_str(), "tmpfs", 0, "size=1m"), 0);
    EXPECT_TRUE(std::ofstream(image.path()) << "another");
    EXPECT_FALSE(device_buffers_drop(volume_on("ext4", image.node()), reason));
    EXPECT_EQ(reason, doubt + std::strerror(ESTALE));
    ASSERT_EQ(umount2(image.folder().c_str(), 0), 0);
    EXPECT_TRUE(device_buffers_drop(volume_on("ext4", image.node()), reason)) << reason;
    std::filesystem::remove(image.path());
    EXPECT_FALSE(device_buffers_drop(volume_on("ext4", image.node()), reason));
    EXPECT_EQ(reason, doubt + std::strerror(ENOENT));
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
