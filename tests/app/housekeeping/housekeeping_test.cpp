// SPDX-License-Identifier: GPL-3.0-or-later
// The four actions on a volume's markers, by their buttons: effect on the volume, log lines, and no
// effect on other entries.
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "housekeeping_support.h"

using app_tests::housekeeping;
using app_tests::log_of;
using app_tests::memory_volume;
using app_tests::working_directory;
using test_support::image_volume;
using test_support::missing_for_images;
using test_support::private_folder;

namespace fs = std::filesystem;

namespace {

using lines = std::vector<std::string>;

bool is_empty_file(const std::string &path) {
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_size == 0;
}

bool is_there(const std::string &path) {
    return fs::symlink_status(path).type() != fs::file_type::not_found;
}

const lines nothing_to_remove = {"OK", "d: b: 0"};

}  // namespace

TEST_F(housekeeping, spotlight_toggle_creates_then_removes_marker) {
    EXPECT_EQ(spotlight_title(), "Disable Spotlight");
    EXPECT_EQ(spotlight_status(), "Spotlight is not disabled.");
    EXPECT_EQ(toggle_spotlight(), nothing);
    EXPECT_EQ(volume().content(), lines({".metadata_never_index"}));
    EXPECT_TRUE(is_empty_file(path_of(".metadata_never_index")));
    EXPECT_EQ(spotlight_title(), "Enable Spotlight");
    EXPECT_EQ(spotlight_status(), "Spotlight is disabled.");
    EXPECT_EQ(spotlight_title(), "Enable Spotlight");
    EXPECT_EQ(toggle_spotlight(), nothing);
    EXPECT_EQ(volume().content(), nothing);
    EXPECT_EQ(spotlight_title(), "Disable Spotlight");
    EXPECT_EQ(spotlight_status(), "Spotlight is not disabled.");
    EXPECT_EQ(spotlight_title(), "Disable Spotlight");
}

TEST_F(housekeeping, labels_follow_with_next_tick) {
    volume().make_folder(".Spotlight-V100");
    volume().make_folder(".Trashes");
    EXPECT_EQ(spotlight_data(), "Found Spotlight data.");
    EXPECT_EQ(trashes_data(), "Found Trashes data.");
    toggle_spotlight();
    remove_spotlight_data();
    remove_trashes_data();
    EXPECT_EQ(app().UI_volumesSpotlightStatus->text(), "Spotlight is not disabled.");
    EXPECT_EQ(app().UI_volumesSpotlightThere->text(), "Found Spotlight data.");
    EXPECT_EQ(app().UI_volumesTrashes->text(), "Found Trashes data.");
    EXPECT_EQ(spotlight_status(), "Spotlight is disabled.");
    EXPECT_EQ(spotlight_data(), "No Spotlight data found.");
    EXPECT_EQ(trashes_data(), "No Trashes data found.");
}

TEST_F(housekeeping, removes_marker_folder_with_contents) {
    volume().make_file(".metadata_never_index");
    EXPECT_EQ(toggle_spotlight(), nothing);
    volume().make_file(".metadata_never_index/a/b");
    EXPECT_EQ(toggle_spotlight(), nothing);
    EXPECT_EQ(volume().content(), nothing);
    EXPECT_EQ(spotlight_title(), "Disable Spotlight");
}

TEST_F(housekeeping, removal_logs_four_lines_without_new_title) {
    volume().make_file(".Spotlight-V100/Store-V2/one");
    volume().make_file(".Trashes/501/two");
    volume().make_file("three");
    EXPECT_EQ(remove_trashes_data(), removed);
    EXPECT_EQ(volume().content(), lines({".Spotlight-V100", "three"}));
    EXPECT_EQ(remove_spotlight_data(), removed);
    EXPECT_EQ(volume().content(), lines({"three"}));
    EXPECT_EQ(app().UI_removeSpotlightData_outlet->text(), "Remove Spotlight Data");
    EXPECT_EQ(app().UI_removeTrashesData_outlet->text(), "Remove Trashes Data");
    EXPECT_EQ(spotlight_title(), "Disable Spotlight");
    EXPECT_EQ(logging_title(), "Disable Logging");
}

TEST_F(housekeeping, logs_two_lines_for_missing_folder) {
    volume().make_file("Trashes/.Trashes");
    EXPECT_EQ(remove_trashes_data(), nothing_to_remove);
    EXPECT_EQ(remove_spotlight_data(), nothing_to_remove);
    EXPECT_EQ(volume().content(), lines({"Trashes"}));
}

TEST_F(housekeeping, names_reason_when_removal_fails) {
    volume().make_file(".Trashes/a/b");
    volume().set_read_only(true);
    EXPECT_EQ(
        remove_trashes_data(),
        lines({"OK", "d: b: 1", "ERR: " + path_of(".Trashes/a: Read-only file system"), "-4"}));
    EXPECT_EQ(trashes_data(), "Found Trashes data.");
}

TEST_F(housekeeping, removes_nothing_from_folder_with_mount) {
    volume().make_file(".Trashes/kept");
    volume().make_file(".Trashes/folder/kept");
    volume().make_file(".Trashes/mounted");
    const app_tests::covered_file mounted(path_of(".Trashes/mounted"), "precious");
    EXPECT_EQ(remove_trashes_data(),
              lines({"OK", "d: b: 1",
                     "ERR: " + path_of(".Trashes/mounted: Device or resource busy"), "-4"}));
    EXPECT_TRUE(is_there(path_of(".Trashes/kept")));
    EXPECT_TRUE(is_there(path_of(".Trashes/folder/kept")));
    EXPECT_TRUE(is_there(path_of(".Trashes/mounted")));
    EXPECT_EQ(trashes_data(), "Found Trashes data.");
}

TEST_F(housekeeping, toggle_logs_failed_creation_but_flips_title) {
    volume().make_folder(".fseventd");
    volume().set_read_only(true);
    EXPECT_EQ(toggle_spotlight(),
              lines({"ERR: Can't write file " + path_of(".metadata_never_index") + "."}));
    EXPECT_EQ(spotlight_title(), "Enable Spotlight");
    EXPECT_EQ(spotlight_status(), "Spotlight is not disabled.");
    EXPECT_EQ(spotlight_title(), "Disable Spotlight");
    EXPECT_EQ(toggle_logging(),
              lines({"d: b 0", "ERR: Can't write file " + path_of(".fseventd/no_log") + "."}));
    EXPECT_EQ(logging_title(), "Enable Logging");
}

TEST_F(housekeeping, toggle_logs_failed_removal_but_flips_title) {
    volume().make_file(".metadata_never_index");
    volume().make_file(".fseventd/no_log");
    volume().set_read_only(true);
    EXPECT_EQ(toggle_spotlight(),
              lines({"ERR: " + path_of(".metadata_never_index: Read-only file system")}));
    EXPECT_EQ(spotlight_title(), "Disable Spotlight");
    EXPECT_EQ(spotlight_status(), "Spotlight is disabled.");
    EXPECT_EQ(spotlight_title(), "Enable Spotlight");
    EXPECT_EQ(toggle_logging(),
              lines({"d: b 1", "ERR: " + path_of(".fseventd/no_log: Read-only file system")}));
    EXPECT_EQ(logging_title(), "Disable Logging");
}

TEST_F(housekeeping, logging_toggle_fails_without_its_folder) {
    EXPECT_EQ(logging_status(), "Enabled.");
    volume().make_file(".fseventsd/no_log");
    EXPECT_EQ(logging_status(), "Disabled.");
    EXPECT_EQ(toggle_logging(),
              lines({"d: b 0", "ERR: Can't write file " + path_of(".fseventd/no_log") + "."}));
    EXPECT_EQ(logging_title(), "Enable Logging");
    EXPECT_EQ(logging_status(), "Disabled.");
    EXPECT_EQ(logging_title(), "Enable Logging");
    EXPECT_EQ(volume().content(), lines({".fseventsd"}));
}

TEST_F(housekeeping, logging_toggle_uses_folder_unknown_to_display) {
    volume().make_folder(".fseventd");
    volume().make_folder(".fseventsd");
    EXPECT_EQ(toggle_logging(), lines({"d: b 0"}));
    EXPECT_TRUE(is_empty_file(path_of(".fseventd/no_log")));
    EXPECT_EQ(logging_title(), "Enable Logging");
    EXPECT_EQ(logging_status(), "Enabled.");
    EXPECT_EQ(logging_title(), "Enable Logging");
    EXPECT_EQ(toggle_logging(), lines({"d: b 1"}));
    EXPECT_FALSE(is_there(path_of(".fseventd/no_log")));
    EXPECT_TRUE(is_there(path_of(".fseventd")));
    EXPECT_EQ(logging_title(), "Disable Logging");
    EXPECT_EQ(logging_status(), "Enabled.");
}

TEST_F(housekeeping, enables_spotlight_buttons_for_writable_volume_only) {
    const auto always_enabled = [&] {
        return app().UI_removeTrashesData_outlet->isEnabled() &&
               app().UI_disableLogging_outlet->isEnabled();
    };
    volume().set_read_only(true);
    choose_quietly(volume().path());
    EXPECT_FALSE(app().UI_disableSpotlight_outlet->isEnabled());
    EXPECT_FALSE(app().UI_removeSpotlightData_outlet->isEnabled());
    EXPECT_TRUE(always_enabled());
    volume().set_read_only(false);
    choose_quietly(volume().path());
    EXPECT_TRUE(app().UI_disableSpotlight_outlet->isEnabled());
    EXPECT_TRUE(app().UI_removeSpotlightData_outlet->isEnabled());
    for (const std::uint32_t state : {UI_STATE_INIT, UI_STATE_WAITING, UI_STATE_TESTING}) {
        uiState = state;
        tick();
        EXPECT_TRUE(always_enabled());
    }
    uiState = UI_STATE_WAITING;
}

TEST_F(housekeeping, takes_volume_names_literally) {
    const memory_volume odd(test_support::mib, "NO NAME \xC3\xBC 100% %@ <b>");
    choose_quietly(odd.path());
    EXPECT_EQ(toggle_logging(),
              lines({"d: b 0", "ERR: Can't write file " + odd.file(".fseventd/no_log") + "."}));
    EXPECT_EQ(toggle_spotlight(), nothing);
    EXPECT_EQ(odd.content(), lines({".metadata_never_index"}));
}

TEST_F(housekeeping, works_on_block_device) {
    SKIP_IF_MISSING(missing_for_images({"mkfs.ext4"}));
    const image_volume card(16 * test_support::mib, {"mkfs.ext4", "-q"}, {}, "ext4");
    choose_quietly(card.path());
    EXPECT_EQ(toggle_spotlight(), nothing);
    EXPECT_TRUE(is_empty_file(card.file(".metadata_never_index")));
    EXPECT_EQ(spotlight_status(), "Spotlight is disabled.");
    EXPECT_EQ(toggle_spotlight(), nothing);
    EXPECT_FALSE(is_there(card.file(".metadata_never_index")));
    fs::create_directories(card.file(".Trashes/501/deep"));
    fs::create_directories(card.file(".Spotlight-V100/Store-V2"));
    EXPECT_EQ(remove_trashes_data(), removed);
    EXPECT_EQ(remove_spotlight_data(), removed);
    EXPECT_EQ(remove_trashes_data(), nothing_to_remove);
    EXPECT_FALSE(is_there(card.file(".Trashes")));
    EXPECT_FALSE(is_there(card.file(".Spotlight-V100")));
}

namespace {

// Before a volume is chosen, its path is "-".
class housekeeping_without_a_volume : public housekeeping {
 protected:
    void SetUp() override { fs::create_directory(m_folder.path() + "/-"); }

    std::string marker(const std::string &name) const { return m_folder.path() + "/-/" + name; }

 private:
    const private_folder m_folder;
    const working_directory m_directory{m_folder.path()};
};

}  // namespace

TEST_F(housekeeping_without_a_volume, uses_working_directory) {
    EXPECT_EQ(log_of([&] { app().UI_disableSpotlight(); }), nothing);
    EXPECT_TRUE(is_empty_file(marker(".metadata_never_index")));
    EXPECT_EQ(spotlight_title(), "Enable Spotlight");
    EXPECT_EQ(log_of([&] { app().UI_disableSpotlight(); }), nothing);
    EXPECT_FALSE(is_there(marker(".metadata_never_index")));
    EXPECT_EQ(toggle_logging(), lines({"d: b 0", "ERR: Can't write file -/.fseventd/no_log."}));
    fs::create_directory(marker(".fseventd"));
    EXPECT_EQ(toggle_logging(), lines({"d: b 0"}));
    EXPECT_TRUE(is_empty_file(marker(".fseventd/no_log")));
    EXPECT_EQ(toggle_logging(), lines({"d: b 1"}));
    EXPECT_FALSE(is_there(marker(".fseventd/no_log")));
    fs::create_directories(marker(".Trashes/a"));
    fs::create_directories(marker(".Spotlight-V100/a"));
    EXPECT_EQ(remove_trashes_data(), removed);
    EXPECT_EQ(log_of([&] { app().UI_removeSpotlightData(); }), removed);
    EXPECT_FALSE(is_there(marker(".Trashes")));
    EXPECT_FALSE(is_there(marker(".Spotlight-V100")));
}

TEST_F(housekeeping_without_a_volume, does_nothing_when_folder_is_missing) {
    fs::remove(marker(""));
    EXPECT_EQ(log_of([&] { app().UI_disableSpotlight(); }),
              lines({"ERR: Can't write file -/.metadata_never_index."}));
    EXPECT_EQ(spotlight_title(), "Enable Spotlight");
    EXPECT_EQ(remove_trashes_data(), nothing_to_remove);
    EXPECT_EQ(log_of([&] { app().UI_removeSpotlightData(); }), nothing_to_remove);
    EXPECT_TRUE(fs::is_empty("."));
}
