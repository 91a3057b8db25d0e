// SPDX-License-Identifier: GPL-3.0-or-later
// Whether a volume is still the one that was chosen, or its card after a new mount.
#include <gtest/gtest.h>
#include <sys/mount.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <thread>

#include "support.h"
#include "volume/volume.h"

namespace {

using volume_tests::described;
using volume_tests::private_mounts;

// As a kernel without unique mount ids describes it.
volume_info without_unique_id(volume_info info) {
    info.unique_mount_id = 0;
    return info;
}

// A card with all marks known.
volume_info known_card() {
    volume_info card;
    card.root = "/media/card";
    card.identifier = "1234-ABCD";
    card.file_system_id = card.identifier;
    card.device_bytes = 65536;
    card.device = 2065;
    card.mount_id = 40;
    card.unique_mount_id = 70000;
    card.root_birth = {1700000000, 5};
    card.capacity_bytes = 64000;
    return card;
}

}  // namespace

TEST(volume, ignores_changed_files_or_mount_options) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const std::string card = mounts.folder().make_folder("card");
    ASSERT_TRUE(mounts.mount_tmpfs(card, "size=1m"));
    const volume_info before = described(card);
    mounts.folder().make_file("card/holiday.jpg", std::string(300000, 'x'));
    mounts.folder().make_folder("card/folder");
    ASSERT_TRUE(mounts.mount_at("", card, nullptr, MS_REMOUNT | MS_RDONLY, "size=1m"));
    const volume_info now = described(card);
    EXPECT_NE(now.free_bytes, before.free_bytes);
    EXPECT_TRUE(volume_is_still(before, now));
    EXPECT_TRUE(volume_is_still(without_unique_id(before), without_unique_id(now)));
}

TEST(volume, notices_new_mount_at_same_place) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const std::string card = mounts.folder().make_folder("card");
    ASSERT_TRUE(mounts.mount_tmpfs(card, "size=1m"));
    const volume_info before = described(card);
    // Longer than a tick of the clock that file systems take birth times from.
    std::this_thread::sleep_for(std::chrono::milliseconds{50});
    ASSERT_EQ(umount2(card.c_str(), 0), 0);
    ASSERT_EQ(mount("tmpfs", card.c_str(), "tmpfs", 0, "size=1m"), 0);
    volume_info now = described(card);
    if (before.unique_mount_id == 0 && before.root_birth.first == 0)
        GTEST_SKIP() << "this kernel has neither unique mount ids nor birth times";
    // The kernel may give these out again at once.
    now.device = before.device;
    now.identifier = before.identifier;
    now.mount_id = before.mount_id;
    EXPECT_FALSE(volume_is_still(before, now));
    if (before.root_birth.first != 0) {
        EXPECT_FALSE(volume_is_still(without_unique_id(before), without_unique_id(now)));
    }
}

TEST(volume, believes_unique_mount_id) {
    const volume_info before = known_card();
    volume_info now = before;
    EXPECT_TRUE(volume_is_still(before, now));
    now.capacity_bytes = 63000;  // pools share their space, and so change in size
    EXPECT_TRUE(volume_is_still(before, now));
    now = before;
    now.unique_mount_id = 70001;
    EXPECT_FALSE(volume_is_still(before, now));
}

TEST(volume, compares_all_marks_without_unique_mount_id) {
    const volume_info before = without_unique_id(known_card());
    EXPECT_TRUE(volume_is_still(before, known_card()));
    const auto differs = [&](auto change) {
        volume_info now = before;
        change(now);
        return !volume_is_still(before, now) && !volume_is_still(now, before);
    };
    EXPECT_TRUE(differs([](volume_info &now) { now.root = "/media/other"; }));
    EXPECT_TRUE(differs([](volume_info &now) { now.identifier = "1234-ABCE"; }));
    EXPECT_TRUE(differs([](volume_info &now) { now.device = 2081; }));
    EXPECT_TRUE(differs([](volume_info &now) { now.mount_id = 41; }));
    EXPECT_TRUE(differs([](volume_info &now) { now.root_birth.second = 6; }));
    EXPECT_TRUE(differs([](volume_info &now) { now.capacity_bytes = 63000; }));
}

TEST(volume, ignores_marks_that_failing_volume_lost) {
    volume_info now = known_card();
    now.unique_mount_id = 0;
    now.root_birth = {};
    now.capacity_bytes.reset();
    EXPECT_TRUE(volume_is_still(known_card(), now));
}

TEST(volume, recognises_card_by_identifier_with_device_size) {
    const volume_info chosen = known_card();
    volume_info now = chosen;
    now.device = 2081;
    now.mount_id = 41;
    now.unique_mount_id = 70001;
    now.root_birth = {1800000000, 5};
    now.source = "/dev/sdc1";
    EXPECT_FALSE(volume_is_still(chosen, now));
    EXPECT_TRUE(volume_is_same_card(chosen, now));
    const auto differs = [&](auto change) {
        volume_info other = now;
        change(other);
        return !volume_is_same_card(chosen, other) && !volume_is_same_card(other, chosen);
    };
    EXPECT_TRUE(differs([](volume_info &other) { other.root = "/media/other"; }));
    EXPECT_TRUE(differs([](volume_info &other) { other.file_system_id = "1234-ABCE"; }));
    EXPECT_TRUE(differs([](volume_info &other) { other.file_system_id = ""; }));
    EXPECT_TRUE(differs([](volume_info &other) { other.device_bytes = 65024; }));
    EXPECT_TRUE(differs([](volume_info &other) { other.device_bytes.reset(); }));
}

TEST(volume, recognises_no_card_without_identifier_or_device_size) {
    volume_info card = known_card();
    card.file_system_id = "";
    EXPECT_FALSE(volume_is_same_card(card, card));
    card = known_card();
    card.device_bytes.reset();
    EXPECT_FALSE(volume_is_same_card(card, card));
}

TEST(volume, lists_removable_volumes_first) {
    std::vector<volume_info> volumes;
    for (const auto &[root, removable] : std::vector<std::pair<std::string, std::optional<bool>>>{
             {"/a", false}, {"/d", true}, {"/b", std::nullopt}, {"/c", true}}) {
        volumes.emplace_back();
        volumes.back().root = root;
        volumes.back().removable = removable;
    }
    volume_sort(volumes);
    std::string roots;
    for (const volume_info &volume : volumes)
        roots += volume.root;
    EXPECT_EQ(roots, "/c/d/b/a");
}

namespace {

struct file_system_kind {
    const char *name;
    std::vector<std::string> make;
    std::uintmax_t bytes;

    friend void PrintTo(const file_system_kind &kind, std::ostream *out) { *out << kind.name; }
};

// An image mounted at one root, unmounted, then mounted there again, or another one.
class remounted_card : public testing::TestWithParam<file_system_kind> {
 protected:
    void SetUp() override {
        SKIP_WITHOUT_MOUNTS(m_mounts);
        if (!volume_tests::has_program(GetParam().make[0]))
            GTEST_SKIP() << "the program " << GetParam().make[0] << " is not installed";
        m_root = m_mounts.folder().make_folder("card");
    }

    std::string new_image(const std::string &name, std::uintmax_t bytes) {
        const std::string image = m_mounts.folder().make_file(name, "");
        std::filesystem::resize_file(image, bytes);
        std::vector<std::string> make = GetParam().make;
        make.push_back(image);
        EXPECT_EQ(volume_tests::run_program(make), 0);
        return image;
    }

    // The volume while the image is mounted. No value without a loop device, or where the kernel
    // does not know the file system.
    std::optional<volume_info> mounted_and_described(const std::string &image) {
        const std::string node = m_mounts.attach_loop(image);
        if (node.empty() ||
            (mount(node.c_str(), m_root.c_str(), GetParam().name, 0, nullptr) != 0 &&
             errno == ENODEV))
            return std::nullopt;
        volume_info info = described(m_root);
        EXPECT_EQ(umount2(m_root.c_str(), 0), 0);
        return info;
    }

    private_mounts m_mounts;
    std::string m_root;
};

}  // namespace

TEST_P(remounted_card, is_recognised_unlike_another) {
    const std::uintmax_t bytes = GetParam().bytes;
    const std::string image = new_image("image", bytes);
    const auto chosen = mounted_and_described(image);
    if (!chosen)
        GTEST_SKIP() << "no " << GetParam().name << " on a loop device can be mounted here";
    if (chosen->file_system_id.empty())
        GTEST_SKIP() << "this kernel does not tell the identifier of " << GetParam().name;
    EXPECT_EQ(chosen->device_bytes, bytes);
    const auto again = mounted_and_described(image);
    const auto other = mounted_and_described(new_image("other", bytes));
    ASSERT_TRUE(again && other);
    EXPECT_FALSE(volume_is_still(*chosen, *again));
    EXPECT_TRUE(volume_is_same_card(*chosen, *again));
    EXPECT_FALSE(volume_is_same_card(*chosen, *other));
    // A larger card with a copy of the file system.
    std::filesystem::resize_file(image, 2 * bytes);
    const auto larger = mounted_and_described(image);
    ASSERT_TRUE(larger);
    EXPECT_EQ(larger->file_system_id, chosen->file_system_id);
    EXPECT_FALSE(volume_is_same_card(*chosen, *larger));
}

INSTANTIATE_TEST_SUITE_P(
    of_each_kind, remounted_card,
    testing::Values(file_system_kind{"ext4", {"mkfs.ext4", "-q", "-F"}, std::uintmax_t{8} << 20},
                    file_system_kind{"vfat", {"mkfs.vfat"}, std::uintmax_t{8} << 20},
                    file_system_kind{"btrfs", {"mkfs.btrfs", "-q"}, std::uintmax_t{128} << 20}),
    [](const auto &test) { return std::string(test.param.name); });
