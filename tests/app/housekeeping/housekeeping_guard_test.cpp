// SPDX-License-Identifier: GPL-3.0-or-later
// The four actions change only the chosen volume: not its mount point, nor another card that is
// mounted there before or during the action.
#include <sys/stat.h>
#include <unistd.h>

#include <QPlainTextEdit>
#include <filesystem>
#include <fstream>

#include "housekeeping_support.h"
#include "log_interceptor.h"
#include "whole_run.h"

using app_tests::answers;
using app_tests::covering_volume;
using app_tests::housekeeping;
using app_tests::log_interceptor;
using test_support::private_folder;

namespace fs = std::filesystem;

namespace {

using lines = std::vector<std::string>;

const lines all_markers = {".Spotlight-V100", ".Trashes", ".fseventd", ".metadata_never_index"};

class housekeeping_guard : public housekeeping {
 protected:
    void make_all_markers() {
        for (const char *name :
             {".metadata_never_index", ".Spotlight-V100/a", ".Trashes/a", ".fseventd/no_log"})
            volume().make_file(name);
    }

    void expect_all_markers_left() {
        EXPECT_EQ(volume().content(), all_markers);
        EXPECT_TRUE(fs::exists(path_of(".Trashes/a")));
        EXPECT_TRUE(fs::exists(path_of(".Spotlight-V100/a")));
        EXPECT_TRUE(fs::exists(path_of(".fseventd/no_log")));
    }

    // Each action reports the missing volume and does nothing.
    void expect_all_refused() {
        const std::vector<std::pair<QPushButton *, lines>> buttons = {
            {app().UI_disableSpotlight_outlet, nothing},
            {app().UI_removeSpotlightData_outlet, {"not OK"}},
            {app().UI_removeTrashesData_outlet, {"not OK"}},
            {app().UI_disableLogging_outlet, nothing}};
        for (const auto &[button, said] : buttons) {
            const QString title = button->text();
            answers user;
            user.then_press("OK", [&](QMessageBox &alert) {
                EXPECT_EQ(alert.text(), "The chosen volume is gone");
                EXPECT_TRUE(alert.informativeText().contains("Nothing was touched."));
            });
            EXPECT_EQ(click(button), said) << title.toStdString();
            EXPECT_EQ(button->text(), title);
        }
    }
};

}  // namespace

TEST_F(housekeeping_guard, does_not_touch_mount_point) {
    volume().take_away();
    make_all_markers();
    expect_all_refused();
    expect_all_markers_left();
}

TEST_F(housekeeping_guard, creates_nothing_in_mount_point) {
    volume().take_away();
    expect_all_refused();
    EXPECT_EQ(volume().content(), nothing);
}

TEST_F(housekeeping_guard, does_not_touch_other_volume_at_same_path) {
    volume().cover();
    make_all_markers();
    expect_all_refused();
    expect_all_markers_left();
}

// The action keeps the folder that it checked open, so it removes the trash of that volume.
TEST_F(housekeeping_guard, does_not_touch_volume_mounted_meanwhile) {
    volume().make_file(".Trashes/a");
    std::unique_ptr<covering_volume> another;
    log_interceptor somebody("OK\n", [&] {
        another = std::make_unique<covering_volume>(volume().path());
        fs::create_directory(path_of(".Trashes"));
        another->put(".Trashes/precious", "of another card");
    });
    QTest::mouseClick(app().UI_removeTrashesData_outlet, Qt::LeftButton);
    EXPECT_EQ(somebody.said(), lines({"OK", "d: b: 1", "ERR: (null)", "-4"}));
    EXPECT_TRUE(fs::exists(path_of(".Trashes/precious")));
    another.reset();
    EXPECT_FALSE(fs::exists(path_of(".Trashes")));
}

TEST_F(housekeeping_guard, creates_marker_on_checked_volume) {
    volume().make_folder(".fseventd");
    std::unique_ptr<covering_volume> another;
    log_interceptor somebody("", [&] {
        another = std::make_unique<covering_volume>(volume().path());
        fs::create_directory(path_of(".fseventd"));
    });
    QTest::mouseClick(app().UI_disableLogging_outlet, Qt::LeftButton);
    EXPECT_EQ(somebody.said(), lines({"d: b 0"}));
    EXPECT_TRUE(fs::is_empty(path_of(".fseventd")));
    another.reset();
    EXPECT_TRUE(fs::exists(path_of(".fseventd/no_log")));
}

// Entries can be used without the permission to list their folder.
TEST_F(housekeeping_guard, works_in_folders_that_cannot_be_listed) {
    volume().make_file(".fseventd/no_log");
    volume().make_folder(".Trashes/a");
    for (const char *name : {".fseventd", ""})
        ASSERT_EQ(chmod(path_of(name).c_str(), 0333), 0);
    const bool reads_everything = access(path_of(".fseventd").c_str(), R_OK) == 0;
    SKIP_IF_MISSING(reads_everything && geteuid() != 0 ? "permissions that count" : "");
    const uid_t before = geteuid();
    // Permissions do not bind root.
    if (before == 0) {
        ASSERT_EQ(chmod(fs::path(volume().path()).parent_path().c_str(), 0755), 0);
        ASSERT_EQ(seteuid(65534), 0);
    }
    EXPECT_EQ(toggle_logging(), lines({"d: b 1"}));
    EXPECT_EQ(toggle_logging(), lines({"d: b 0"}));
    EXPECT_EQ(toggle_spotlight(), nothing);
    EXPECT_EQ(seteuid(before), 0);
    EXPECT_TRUE(fs::exists(path_of(".fseventd/no_log")));
    EXPECT_TRUE(fs::exists(path_of(".metadata_never_index")));
}

// A name with a line break still gives one log line.
TEST_F(housekeeping_guard, escapes_names_in_log) {
    volume().make_file(".Trashes/x\nOK");
    const app_tests::covered_file mounted(path_of(".Trashes/x\nOK"), "precious");
    EXPECT_EQ(remove_trashes_data(),
              lines({"OK", "d: b: 1",
                     "ERR: " + path_of(".Trashes/x\\x0AOK: Device or resource busy"), "-4"}));
}

TEST_F(housekeeping_guard, writes_nothing_to_console) {
    make_all_markers();
    app().writeToConsole("as it was\n");
    tick();
    const QString before = app().UI_consoleOutput->toPlainText();
    toggle_spotlight();
    toggle_spotlight();
    remove_spotlight_data();
    remove_trashes_data();
    toggle_logging();
    toggle_logging();
    tick();
    EXPECT_EQ(app().UI_consoleOutput->toPlainText(), before);
}

TEST_F(housekeeping_guard, names_spotlight_data_that_cannot_be_removed) {
    volume().make_file(".Spotlight-V100/a");
    const app_tests::covered_file mounted(path_of(".Spotlight-V100/a"), "precious");
    EXPECT_EQ(remove_spotlight_data(),
              lines({"OK", "d: b: 1",
                     "ERR: " + path_of(".Spotlight-V100/a: Device or resource busy"), "-4"}));
    EXPECT_EQ(spotlight_data(), "Found Spotlight data.");
}
