// SPDX-License-Identifier: GPL-3.0-or-later
// A device's properties from udev's database, and without one.
#include <gtest/gtest.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include "support.h"
#include "volume/block_device.h"

using volume_tests::private_mounts;

TEST(device_properties_linux, finds_none_for_missing_device) {
    const block_device_places places = block_device_system_places();
    ASSERT_NE(places.properties, nullptr);
    EXPECT_TRUE(places.properties(makedev(0, 0)).empty());
    EXPECT_TRUE(places.properties(makedev(4095, 77777)).empty());
}

TEST(device_properties_linux, reads_udev_database) {
    private_mounts mounts;
    SKIP_WITHOUT_MOUNTS(mounts);
    const std::string node =
        mounts.attach_loop(mounts.folder().make_file("image", std::string(4096, 'x')));
    if (node.empty())
        GTEST_SKIP() << "no loop device can be had here";
    const dev_t number = volume_tests::node_number(node);
    const block_device_places places = block_device_system_places();

    // An empty /run: a machine without udev.
    ASSERT_TRUE(mounts.mount_tmpfs("/run"));
    EXPECT_EQ(block_device_label(number, places), std::nullopt);

    const std::string notes = mounts.folder().make_folder("udev");
    mounts.folder().make_file("udev/data/b7:" + std::to_string(minor(number)),
                              "I:1\nE:ID_FS_LABEL_ENC=NO\\x20NAME\nE:ID_FS_UUID_ENC=1234-ABCD\n"
                              "E:ID_BUS=usb\nE:ID_DRIVE_FLASH_SD=1\nG:systemd\n");
    ASSERT_EQ(symlink(notes.c_str(), "/run/udev"), 0);
    EXPECT_EQ(block_device_label(number, places), "NO NAME");
    EXPECT_EQ(block_device_identifier(number, places), "1234-ABCD");
    const block_device_facts facts = block_device_describe(number, places);
    EXPECT_EQ(facts.removable, true);
    EXPECT_EQ(facts.internal, false);
}
