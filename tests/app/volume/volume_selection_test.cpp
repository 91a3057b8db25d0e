// SPDX-License-Identifier: GPL-3.0-or-later
// Choosing a volume: recorded values and log lines, on mounted volumes.
#include <sys/statvfs.h>

#include <QLabel>
#include <QLocale>
#include <QPushButton>

#include "model/engine_status.h"
#include "volume/volume.h"
#include "volume_selection_support.h"

using app_tests::lines;
using app_tests::memory_volume;
using app_tests::volume_selection;
using test_support::card;
using test_support::image_volume;
using test_support::mib;
using test_support::missing_for_cards;
using test_support::missing_for_images;
using test_support::missing_for_mounts;

namespace {

const char *const read_only_warning =
    "Please make card writeable and/or use a driver that can write to file systems like NTFS. "
    "OS X can only write to NTFS with 3th part software like Tuxera and others.";

// The log's entries for these properties.
struct device_block {
    std::string url, name, gb, bytes, read_only, internal, removable, ejectable;

    lines as_logged() const {
        return {"d: myURL: " + url,
                " ----------------------------------------------------",
                " - NOTE: Found device:",
                " - Name         = " + name,
                " - Name (local) = " + name,
                " - Capacity = " + gb + " (GB)",
                " - Capacity = " + bytes + " (Bytes)",
                " - Capacity = " + bytes + " (Bytes UI)",
                " - Read only = " + read_only,
                " - is internal  = " + internal,
                " - is removable = " + removable,
                " - is ejectable = " + ejectable};
    }
};

std::string flag_text(const std::optional<bool> &flag) {
    if (!flag)
        return "(null)";
    return *flag ? "1" : "0";
}

}  // namespace

TEST_F(volume_selection, records_all_values) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume volume(1536 * mib);
    EXPECT_EQ(selectedVolumePath, "-");
    EXPECT_TRUE(select(volume.path()));
    EXPECT_EQ(selectedVolumePath, volume.path());
    EXPECT_EQ(selectedVolumeCapacity, 1610612736U);
    EXPECT_EQ(selectedVolumeCapacityBytesText, "1610612736");
    EXPECT_EQ(selectedVolumeCapacityGB, 1.5);
    EXPECT_EQ(selectedVolumeCapacityGBText, "1.500");
    EXPECT_EQ(selectedVolumeCapacityText, "1.5 GB");
    EXPECT_EQ(selectedVolumeLocalizedName, "volume");
    EXPECT_EQ(selectedVolumeReadOnlyText, "0");
    EXPECT_EQ(selectedVolumeWritable, 1);
    EXPECT_EQ(volumeErrorMessage, "");
    EXPECT_EQ(uiState, UI_STATE_MEDIUM_FOUND);
    EXPECT_STREQ(get_engine_volume_path(), volume.path().c_str());
}

TEST_F(volume_selection, shows_values_with_next_tick) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume volume;
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    EXPECT_TRUE(select(volume.path()));
    EXPECT_EQ(app().UI_volumesName->text(), "-");
    EXPECT_EQ(app().UI_state->text(), "<INIT>");
    tick();
    EXPECT_EQ(app().UI_volumesName->text().toStdString(), volume.path());
    EXPECT_EQ(app().UI_volumesCapacityGB->text(), "8.0 MB (8,388,608 Bytes) (8388608 Bytes)");
    EXPECT_EQ(app().UI_state->text(), "<MEDIUM FOUND>");
    EXPECT_EQ(app().UI_volumesReadOnly->text(), "read/write");
    EXPECT_TRUE(app().UI_start->isEnabled());
}

TEST_F(volume_selection, logs_device_line_by_line) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume volume(1536 * mib);
    const device_block expected = {.url = "file://" + volume.path() + "/",
                                   .name = "volume",
                                   .gb = "1.5",
                                   .bytes = "1610612736",
                                   .read_only = "0",
                                   .internal = "(null)",
                                   .removable = "(null)",
                                   .ejectable = "(null)"};
    EXPECT_EQ(log_of_selecting(volume.path()), expected.as_logged());
}

TEST_F(volume_selection, logs_read_only_device) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume volume;
    volume.set_read_only(true);
    const lines log = log_of_selecting(volume.path());
    ASSERT_EQ(log.size(), 12U);
    EXPECT_EQ(log.at(8), " - Read only = 1");
}

TEST_F(volume_selection, logs_properties_of_block_device) {
    SKIP_IF_MISSING(missing_for_images({"mkfs.ext4"}));
    const image_volume volume(16 * mib, {"mkfs.ext4", "-q"}, {}, "ext4");
    volume_info info;
    std::string error;
    ASSERT_TRUE(volume_describe(volume.path(), info, error)) << error;
    ASSERT_TRUE(info.removable.has_value());
    struct statvfs status = {};
    ASSERT_EQ(statvfs(volume.path().c_str(), &status), 0);
    const std::uint64_t bytes = status.f_blocks * status.f_frsize;
    const device_block expected = {.url = "file://" + volume.path() + "/",
                                   .name = info.name,
                                   .gb = "0.0",
                                   .bytes = std::to_string(bytes),
                                   .read_only = "0",
                                   .internal = flag_text(info.internal),
                                   .removable = flag_text(info.removable),
                                   .ejectable = flag_text(info.ejectable)};
    EXPECT_EQ(log_of_selecting(volume.path()), expected.as_logged());
    EXPECT_EQ(selectedVolumeCapacityBytesText, std::to_string(bytes));
}

TEST_F(volume_selection, records_29_802_for_card_of_32_gb) {
    SKIP_IF_MISSING(missing_for_cards());
    const card volume({"--size=32000000000"});
    const lines log = log_of_selecting(volume.path());
    ASSERT_EQ(log.size(), 12U);
    EXPECT_EQ(log.at(5), " - Capacity = 29.8 (GB)");
    EXPECT_EQ(log.at(6), " - Capacity = 32000000000 (Bytes)");
    EXPECT_EQ(log.at(7), " - Capacity = 32000000000 (Bytes UI)");
    EXPECT_EQ(selectedVolumeCapacityGBText, "29.802");
    EXPECT_EQ(selectedVolumeCapacityText, "29.8 GB");
    EXPECT_EQ(selectedVolumeCapacityBytesText, "32000000000");
    EXPECT_DOUBLE_EQ(selectedVolumeCapacityGB, 32000000000.0 / 1073741824.0);
}

TEST_F(volume_selection, records_no_capacity_when_unknown) {
    SKIP_IF_MISSING(missing_for_cards());
    const card volume({"--size=1M", "--statfs-fails"});
    const lines log = log_of_selecting(volume.path());
    ASSERT_EQ(log.size(), 12U);
    EXPECT_EQ(log.at(5), " - Capacity = 0.0 (GB)");
    EXPECT_EQ(log.at(6), " - Capacity = (null) (Bytes)");
    EXPECT_EQ(log.at(7), " - Capacity = (null) (Bytes UI)");
    EXPECT_FALSE(selectedVolumeCapacity.has_value());
    EXPECT_EQ(selectedVolumeCapacityGB, 0.0);
    EXPECT_EQ(selectedVolumeCapacityGBText, "0.000");
    EXPECT_EQ(selectedVolumeCapacityText, "0.0 Byte");
    EXPECT_EQ(selectedVolumeWritable, 1);
    tick();
    EXPECT_EQ(app().UI_volumesCapacityGB->text(), "0.0 Byte (0 Bytes) ((null) Bytes)");
    EXPECT_EQ(app().UI_volumesFreeSpace->text(), "0.0 Byte (0 Bytes)");
}

TEST_F(volume_selection, takes_whole_volume_of_deep_folder) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume volume;
    volume.make_folder("one/two three");
    const lines log = log_of_selecting(volume.file("one/two three"));
    EXPECT_EQ(log.at(0), "d: myURL: file://" + volume.path() + "/one/two%20three/");
    EXPECT_EQ(selectedVolumePath, volume.path());
    EXPECT_EQ(selectedVolumeCapacity, 8388608U);
}

TEST_F(volume_selection, does_not_double_slash_at_end) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume volume;
    EXPECT_EQ(log_of_selecting(volume.path() + "/").at(0),
              "d: myURL: file://" + volume.path() + "/");
    EXPECT_EQ(selectedVolumePath, volume.path());
}

TEST_F(volume_selection, keeps_blanks_with_unicode_in_name) {
    SKIP_IF_MISSING(missing_for_mounts());
    const std::string name = "NO NAME \xC3\xBC \xE6\x97\xA5\xE6\x9C\xAC & 100%";
    const memory_volume volume(mib, name);
    const lines log = log_of_selecting(volume.path());
    ASSERT_EQ(log.size(), 12U);
    EXPECT_EQ(log.at(0), "d: myURL: file://" + volume.private_path() +
                             "/NO%20NAME%20%C3%BC%20%E6%97%A5%E6%9C%AC%20&%20100%25/");
    EXPECT_EQ(log.at(3), " - Name         = " + name);
    EXPECT_EQ(log.at(4), " - Name (local) = " + name);
    EXPECT_EQ(selectedVolumePath, volume.path());
    EXPECT_EQ(selectedVolumeLocalizedName, name);
    tick();
    EXPECT_EQ(app().UI_volumesName->text().toStdString(), volume.path());
    EXPECT_TRUE(app().UI_start->isEnabled());
}

TEST_F(volume_selection, keeps_start_disabled_for_read_only_volume) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume volume;
    volume.set_read_only(true);
    EXPECT_TRUE(select(volume.path()));
    EXPECT_EQ(selectedVolumeReadOnlyText, "1");
    EXPECT_EQ(selectedVolumeWritable, 0);
    EXPECT_EQ(volumeErrorMessage, read_only_warning);
    EXPECT_EQ(uiState, UI_STATE_MEDIUM_FOUND);
    for (int i = 0; i < 3; ++i) {
        for (QPushButton *button : {app().UI_start, app().UI_disableSpotlight_outlet,
                                    app().UI_removeSpotlightData_outlet})
            button->setEnabled(true);
        tick();
        EXPECT_FALSE(app().UI_start->isEnabled());
        EXPECT_FALSE(app().UI_disableSpotlight_outlet->isEnabled());
        EXPECT_FALSE(app().UI_removeSpotlightData_outlet->isEnabled());
        EXPECT_EQ(app().UI_volumesReadOnly->text(), "read only");
        EXPECT_EQ(app().UI_errorMessage->text(), read_only_warning);
    }
}

TEST_F(volume_selection, warns_of_locked_card) {
    SKIP_IF_MISSING(missing_for_cards());
    const card volume({"--size=1M", "--read-only"});
    EXPECT_TRUE(select(volume.path()));
    EXPECT_EQ(selectedVolumeWritable, 0);
    EXPECT_EQ(volumeErrorMessage, read_only_warning);
}

TEST_F(volume_selection, clears_warning_after_unlocking) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume volume;
    volume.set_read_only(true);
    EXPECT_TRUE(select(volume.path()));
    tick();
    volume.set_read_only(false);
    // The display shows the selection's values.
    tick();
    EXPECT_FALSE(app().UI_start->isEnabled());
    EXPECT_TRUE(select(volume.path()));
    EXPECT_EQ(selectedVolumeReadOnlyText, "0");
    EXPECT_EQ(selectedVolumeWritable, 1);
    EXPECT_EQ(volumeErrorMessage, "");
    tick();
    EXPECT_EQ(app().UI_errorMessage->text(), "");
    EXPECT_EQ(app().UI_volumesReadOnly->text(), "read/write");
    EXPECT_TRUE(app().UI_start->isEnabled());
}

TEST_F(volume_selection, replaces_all_values_with_next_volume) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume first(mib, "first");
    const memory_volume second(2 * mib, "second");
    EXPECT_TRUE(select(first.path()));
    EXPECT_TRUE(select(second.path()));
    EXPECT_EQ(selectedVolumePath, second.path());
    EXPECT_EQ(selectedVolumeCapacity, 2 * mib);
    EXPECT_EQ(selectedVolumeCapacityText, "2.0 MB");
    EXPECT_EQ(selectedVolumeLocalizedName, "second");
    EXPECT_STREQ(get_engine_volume_path(), second.path().c_str());
    EXPECT_EQ(uiState, UI_STATE_MEDIUM_FOUND);
}

TEST_F(volume_selection, shows_volume_again_after_result) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume volume;
    uiState = UI_STATE_WAITING;
    app().UI_start->setEnabled(false);
    EXPECT_TRUE(select(volume.path()));
    tick();
    EXPECT_EQ(app().UI_state->text(), "<MEDIUM FOUND>");
    EXPECT_TRUE(app().UI_start->isEnabled());
}
