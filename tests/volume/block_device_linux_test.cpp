// SPDX-License-Identifier: GPL-3.0-or-later
// Device trees of other machines, laid out as the kernel lays them out in sysfs.
#include "volume/block_device.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include "support.h"

namespace {

using volume_tests::private_folder;

class block_device_linux : public testing::Test {
 protected:
    // A disk at /sys/devices/<path>, with the number 8:0, and its partition 1 with the number 8:1.
    void make_disk(const std::string &path, const std::string &removable) {
        m_disk = "devices/" + path;
        m_tree.make_file(m_disk + "/removable", removable + "\n");
        m_tree.make_file(m_disk + "/ro", "0\n");
        m_tree.make_file(m_disk + "/size", "64000\n");
        m_tree.make_file(m_disk + "/dev", "8:0\n");
        m_tree.make_folder(m_disk + "/slaves");
        m_tree.make_file(m_disk + "/part1/partition", "1\n");
        m_tree.make_file(m_disk + "/part1/ro", "0\n");
        m_tree.make_file(m_disk + "/part1/size", "62000\n");
        m_tree.make_file(m_disk + "/part1/dev", "8:1\n");
        m_tree.make_link("dev/block/8:0", "../../" + m_disk);
        m_tree.make_link("dev/block/8:1", "../../" + m_disk + "/part1");
    }

    block_device_places places() const {
        block_device_places places;
        places.sysfs = m_tree.path();
        places.links = m_tree.path() + "/links";
        return places;
    }

    block_device_facts partition() const { return block_device_describe(makedev(8, 1), places()); }

    private_folder m_tree;
    std::string m_disk;
};

const char *const USB_STICK =
    "pci0000:00/0000:00:14.0/usb1/1-2/1-2:1.0/host4/target4:0:0/4:0:0:0/block/sdb";
const char *const NVME = "pci0000:00/0000:00:1d.0/0000:01:00.0/nvme/nvme0/nvme0n1";
const char *const MMC = "platform/soc/fe340000.mmc/mmc_host/mmc0/mmc0:aaaa/block/mmcblk0";

}  // namespace

TEST_F(block_device_linux, describes_usb_stick) {
    make_disk(USB_STICK, "1");
    const block_device_facts facts = partition();
    EXPECT_EQ(facts.removable, true);
    EXPECT_EQ(facts.ejectable, true);
    EXPECT_EQ(facts.internal, false);
    EXPECT_EQ(facts.read_only, false);
}

TEST_F(block_device_linux, tells_size_in_units_of_512_bytes) {
    make_disk(USB_STICK, "1");
    EXPECT_EQ(partition().bytes, 62000U * 512);
    EXPECT_EQ(block_device_describe(makedev(8, 0), places()).bytes, 64000U * 512);
    m_tree.make_file(m_disk + "/part1/size", "many\n");
    EXPECT_EQ(partition().bytes, std::nullopt);
}

TEST_F(block_device_linux, describes_disk_without_partitions) {
    make_disk(USB_STICK, "1");
    const block_device_facts facts = block_device_describe(makedev(8, 0), places());
    EXPECT_EQ(facts.removable, true);
    EXPECT_EQ(facts.internal, false);
}

TEST_F(block_device_linux, describes_usb_hard_disk_as_ejectable) {
    make_disk(USB_STICK, "0");
    m_tree.make_file("devices/pci0000:00/0000:00:14.0/usb1/1-2/removable", "unknown\n");
    const block_device_facts facts = partition();
    EXPECT_EQ(facts.removable, false);
    EXPECT_EQ(facts.ejectable, true);
    EXPECT_EQ(facts.internal, false);
}

TEST_F(block_device_linux, describes_built_in_reader) {
    make_disk(USB_STICK, "1");
    m_tree.make_file("devices/pci0000:00/0000:00:14.0/usb1/1-2/removable", "fixed\n");
    const block_device_facts facts = partition();
    EXPECT_EQ(facts.internal, true);
    EXPECT_EQ(facts.removable, true);
    EXPECT_EQ(facts.ejectable, true);
}

TEST_F(block_device_linux, believes_nearest_port) {
    // A stick in a socket of a built-in hub.
    make_disk("pci0000:00/0000:00:14.0/usb1/1-1/1-1.2/1-1.2:1.0/host4/block/sdb", "0");
    m_tree.make_file("devices/pci0000:00/0000:00:14.0/usb1/1-1/removable", "fixed\n");
    m_tree.make_file("devices/pci0000:00/0000:00:14.0/usb1/1-1/1-1.2/removable", "removable\n");
    EXPECT_EQ(partition().internal, false);
}

TEST_F(block_device_linux, describes_card_in_built_in_slot_as_removable) {
    make_disk(MMC, "0");
    m_tree.make_file(m_disk + "/device/type", "SD\n");
    const block_device_facts facts = partition();
    EXPECT_EQ(facts.removable, true);
    EXPECT_EQ(facts.ejectable, true);
    EXPECT_EQ(facts.internal, true);
}

TEST_F(block_device_linux, describes_soldered_flash_as_fixed) {
    make_disk(MMC, "0");
    m_tree.make_file(m_disk + "/device/type", "MMC\n");
    const block_device_facts facts = partition();
    EXPECT_EQ(facts.removable, false);
    EXPECT_EQ(facts.ejectable, false);
    EXPECT_EQ(facts.internal, true);
}

TEST_F(block_device_linux, describes_built_in_disk) {
    make_disk(NVME, "0");
    const block_device_facts facts = partition();
    EXPECT_EQ(facts.removable, false);
    EXPECT_EQ(facts.ejectable, false);
    EXPECT_EQ(facts.internal, true);
}

TEST_F(block_device_linux, describes_disk_on_removable_port_as_external) {
    make_disk(NVME, "0");
    m_tree.make_file("devices/pci0000:00/0000:00:1d.0/0000:01:00.0/removable", "removable\n");
    EXPECT_EQ(partition().internal, false);
    EXPECT_EQ(partition().ejectable, true);
}

TEST_F(block_device_linux, leaves_place_of_loop_device_unknown) {
    make_disk("virtual/block/loop3", "0");
    const block_device_facts facts = partition();
    EXPECT_EQ(facts.removable, false);
    EXPECT_EQ(facts.ejectable, std::nullopt);
    EXPECT_EQ(facts.internal, std::nullopt);
}

TEST_F(block_device_linux, finds_bus_by_whole_component_only) {
    make_disk("pci0000:00/usbish/notusb1/block/sda", "0");
    EXPECT_EQ(partition().internal, true);
}

TEST_F(block_device_linux, describes_locked_device_as_read_only) {
    make_disk(USB_STICK, "1");
    m_tree.make_file(m_disk + "/part1/ro", "1\n");
    EXPECT_EQ(partition().read_only, true);
}

TEST_F(block_device_linux, describes_stick_below_encryption) {
    make_disk(USB_STICK, "1");
    m_tree.make_file("devices/virtual/block/dm-0/removable", "0\n");
    m_tree.make_file("devices/virtual/block/dm-0/ro", "0\n");
    m_tree.make_link("devices/virtual/block/dm-0/slaves/part1",
                     m_tree.path() + "/" + m_disk + "/part1");
    m_tree.make_link("dev/block/253:0", "../../devices/virtual/block/dm-0");
    const block_device_facts facts = block_device_describe(makedev(253, 0), places());
    EXPECT_EQ(facts.removable, true);
    EXPECT_EQ(facts.ejectable, true);
    EXPECT_EQ(facts.internal, false);
    EXPECT_EQ(facts.read_only, false);
}

TEST_F(block_device_linux, keeps_facts_that_all_parts_share) {
    make_disk(USB_STICK, "0");
    m_tree.make_file("devices/pci0000:00/ata1/block/sda/removable", "0\n");
    m_tree.make_link("devices/virtual/block/md0/slaves/part1",
                     m_tree.path() + "/" + m_disk + "/part1");
    m_tree.make_link("devices/virtual/block/md0/slaves/sda",
                     m_tree.path() + "/devices/pci0000:00/ata1/block/sda");
    m_tree.make_link("dev/block/9:0", "../../devices/virtual/block/md0");
    const block_device_facts facts = block_device_describe(makedev(9, 0), places());
    EXPECT_EQ(facts.removable, false);
    EXPECT_EQ(facts.ejectable, std::nullopt);
    EXPECT_EQ(facts.internal, std::nullopt);
}

TEST_F(block_device_linux, ends_at_device_made_of_itself) {
    m_tree.make_file("devices/virtual/block/dm-0/removable", "0\n");
    m_tree.make_link("devices/virtual/block/dm-0/slaves/dm-0", "..");
    m_tree.make_link("dev/block/253:0", "../../devices/virtual/block/dm-0");
    const block_device_facts facts = block_device_describe(makedev(253, 0), places());
    EXPECT_EQ(facts.removable, std::nullopt);
}

TEST_F(block_device_linux, finds_loop_device_below_partition_or_encryption) {
    make_disk("virtual/block/loop3", "0");
    m_tree.make_file(m_disk + "/loop/backing_file", "/mnt/card/an image\n");
    m_tree.make_file(m_disk + "/loop/dio", "0\n");
    m_tree.make_link("devices/virtual/block/dm-0/slaves/part1",
                     m_tree.path() + "/" + m_disk + "/part1");
    m_tree.make_link("dev/block/253:0", "../../devices/virtual/block/dm-0");
    for (const dev_t device : {makedev(8, 0), makedev(8, 1), makedev(253, 0)}) {
        const auto loops = block_device_loops(device, places());
        ASSERT_EQ(loops.size(), 1U) << minor(device);
        EXPECT_EQ(loops[0].name, "loop3");
        EXPECT_EQ(loops[0].backing, "/mnt/card/an image");
        EXPECT_FALSE(loops[0].direct);
    }
    m_tree.make_file(m_disk + "/loop/dio", "1\n");
    EXPECT_TRUE(block_device_loops(makedev(8, 1), places()).at(0).direct);
}

TEST_F(block_device_linux, finds_no_loop_device_below_stick) {
    make_disk(USB_STICK, "1");
    EXPECT_TRUE(block_device_loops(makedev(8, 1), places()).empty());
}

TEST_F(block_device_linux, knows_loop_device_by_number_alone) {
    const auto loops = block_device_loops(makedev(7, 3), places());
    ASSERT_EQ(loops.size(), 1U);
    EXPECT_EQ(loops[0].backing, "");
    EXPECT_FALSE(loops[0].direct);
}

TEST_F(block_device_linux, knows_nothing_without_sysfs) {
    const block_device_facts facts = partition();
    EXPECT_EQ(facts.read_only, std::nullopt);
    EXPECT_EQ(facts.removable, std::nullopt);
    EXPECT_EQ(facts.ejectable, std::nullopt);
    EXPECT_EQ(facts.internal, std::nullopt);
}

TEST_F(block_device_linux, ignores_attributes_with_other_texts) {
    make_disk(USB_STICK, "maybe");
    m_tree.make_file(m_disk + "/part1/ro", "");
    EXPECT_EQ(partition().removable, std::nullopt);
    EXPECT_EQ(partition().read_only, std::nullopt);
}

TEST_F(block_device_linux, reads_card_or_bus_from_udev) {
    make_disk("pci0000:00/x/block/sdb", "0");
    block_device_places noted = places();
    noted.properties = [](dev_t number) -> device_properties {
        return number == makedev(8, 1)
                   ? device_properties{{"ID_DRIVE_FLASH_SD", "1"}, {"ID_BUS", "usb"}}
                   : device_properties{};
    };
    const block_device_facts facts = block_device_describe(makedev(8, 1), noted);
    EXPECT_EQ(facts.removable, true);
    EXPECT_EQ(facts.internal, false);
    EXPECT_EQ(partition().removable, false);
}

TEST_F(block_device_linux, decodes_label_from_udev) {
    block_device_places noted = places();
    noted.properties = [](dev_t) -> device_properties {
        return {{"ID_FS_LABEL_ENC", "NO\\x20NAME"}, {"ID_FS_UUID_ENC", "1234-ABCD"}};
    };
    EXPECT_EQ(block_device_label(makedev(8, 1), noted), "NO NAME");
    EXPECT_EQ(block_device_identifier(makedev(8, 1), noted), "1234-ABCD");
}

TEST_F(block_device_linux, reads_label_from_links_without_udev) {
    const std::string node = m_tree.path() + "/node";
    if (mknod(node.c_str(), S_IFBLK | 0600, makedev(8, 1)) != 0)
        GTEST_SKIP() << "device nodes cannot be made here (needs root)";
    m_tree.make_link("links/by-label/MY\\x20CARD", node);
    m_tree.make_link("links/by-label/gone", m_tree.path() + "/nothing");
    m_tree.make_link("links/by-uuid/1234-ABCD", node);
    EXPECT_EQ(block_device_label(makedev(8, 1), places()), "MY CARD");
    EXPECT_EQ(block_device_identifier(makedev(8, 1), places()), "1234-ABCD");
    EXPECT_EQ(block_device_label(makedev(8, 2), places()), std::nullopt);
}

// As the udev daemon writes the label "a<line break>b<escape>[2J<0xFF>\\x0A".
TEST_F(block_device_linux, keeps_bytes_of_hostile_label) {
    const std::string label = "a\nb\x1b[2J\xff\\x0A";
    static const char *const noted_label = R"(a\x0ab\x1b\x5b2J\xff\x5cx0A)";
    block_device_places noted = places();
    noted.properties = [](dev_t) -> device_properties {
        return {{"ID_FS_LABEL_ENC", noted_label}};
    };
    EXPECT_EQ(block_device_label(makedev(8, 1), noted), label);
    const std::string node = m_tree.path() + "/node";
    if (mknod(node.c_str(), S_IFBLK | 0600, makedev(8, 1)) != 0)
        GTEST_SKIP() << "device nodes cannot be made here (needs root)";
    m_tree.make_link(std::string("links/by-label/") + noted_label, node);
    EXPECT_EQ(block_device_label(makedev(8, 1), places()), label);
}

TEST_F(block_device_linux, finds_hidden_node_in_sysfs) {
    m_tree.make_file("class/block/hidden!c0d0/dev", "104:16\n");
    EXPECT_EQ(block_device_number("/dev/hidden/c0d0", places()), makedev(104, 16));
    EXPECT_EQ(block_device_number("/dev/hidden/c0d1", places()), std::nullopt);
}

TEST_F(block_device_linux, finds_no_number_for_other_files) {
    EXPECT_EQ(block_device_number("/dev/null", places()), std::nullopt);
    EXPECT_EQ(block_device_number("tmpfs", places()), std::nullopt);
    EXPECT_EQ(block_device_number("", places()), std::nullopt);
}

TEST(block_device_decode, decodes_escapes_only) {
    EXPECT_EQ(block_device_decode("NO\\x20NAME"), "NO NAME");
    EXPECT_EQ(block_device_decode("\\x5cx41"), "\\x41");
    EXPECT_EQ(block_device_decode("\xC3\xA9"), "\xC3\xA9");
    EXPECT_EQ(block_device_decode("\\x2"), "\\x2");
    EXPECT_EQ(block_device_decode("\\xzz\\"), "\\xzz\\");
    EXPECT_EQ(block_device_decode(""), "");
}
