// When a volume is still the one that was chosen, and when another has taken its place.
#include <gtest/gtest.h>
#include <sys/mount.h>

#include <chrono>
#include <thread>

#include "support.h"
#include "volume/volume.h"

namespace {

using volume_tests::described;
using volume_tests::private_mounts;

// As a kernel describes it that has no numbers of mounts that are never used again.
volume_info without_unique_id(volume_info info) {
    info.unique_mount_id = 0;
    return info;
}

// A card of which everything is known.
volume_info known_card() {
    volume_info card;
    card.root = "/media/card";
    card.identifier = "1234-ABCD";
    card.device = 2065;
    card.mount_id = 40;
    card.unique_mount_id = 70000;
    card.root_birth = {1700000000, 5};
    card.capacity_bytes = 64000;
    return card;
}

}  // namespace

TEST(same_volume, files_that_come_and_go_and_another_mount_option_make_no_other_of_it) {
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

TEST(same_volume, mounted_anew_at_the_same_place_is_another) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const std::string card = mounts.folder().make_folder("card");
    ASSERT_TRUE(mounts.mount_tmpfs(card, "size=1m"));
    const volume_info before = described(card);
    // Longer than the period of the clock that births are read from.
    std::this_thread::sleep_for(std::chrono::milliseconds{50});
    ASSERT_EQ(umount2(card.c_str(), 0), 0);
    ASSERT_EQ(mount("tmpfs", card.c_str(), "tmpfs", 0, "size=1m"), 0);
    volume_info now = described(card);
    if (before.unique_mount_id == 0 && before.root_birth.first == 0) {
        GTEST_SKIP() << "this kernel tells nothing that differs";
    }
    // The kernel gives these out again at once; should it not have done so, it might have.
    now.device = before.device;
    now.identifier = before.identifier;
    now.mount_id = before.mount_id;
    EXPECT_FALSE(volume_is_still(before, now));
    if (before.root_birth.first != 0) {
        EXPECT_FALSE(volume_is_still(without_unique_id(before), without_unique_id(now)));
    }
}

TEST(same_volume, is_told_by_the_mounts_own_number_where_that_is_known) {
    const volume_info before = known_card();
    volume_info now = before;
    EXPECT_TRUE(volume_is_still(before, now));
    now.capacity_bytes = 63000;  // pools share their space, and so change in size
    EXPECT_TRUE(volume_is_still(before, now));
    now = before;
    now.unique_mount_id = 70001;
    EXPECT_FALSE(volume_is_still(before, now));
}

TEST(same_volume, is_told_by_all_other_marks_where_it_is_not) {
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

TEST(same_volume, what_a_failing_volume_does_not_tell_any_more_makes_no_other_of_it) {
    volume_info now = known_card();
    now.unique_mount_id = 0;
    now.root_birth = {};
    now.capacity_bytes.reset();
    EXPECT_TRUE(volume_is_still(known_card(), now));
}
