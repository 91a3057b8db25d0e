// SPDX-License-Identifier: GPL-3.0-or-later
// Volumes that must not be tested: unusable ones, those of the running system, and missing ones.
#include <unistd.h>

#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <filesystem>

#include "../support/locked_pages.h"
#include "volume/run_lock.h"
#include "volume_selection_support.h"
#include "whole_run.h"

using app_tests::answers;
using app_tests::button_titles;
using app_tests::error_capture;
using app_tests::lines;
using app_tests::look_at;
using app_tests::memory_volume;
using app_tests::volume_selection;
using test_support::locked_pages;
using test_support::mib;
using test_support::missing_for_cards;
using test_support::missing_for_mounts;
using test_support::private_folder;
using test_support::process_result;
using test_support::run_program;

TEST_F(volume_selection, refuses_missing_folder) {
    const private_folder folder;
    const std::string missing = folder.path() + "/<b>missing</b>";
    const error_capture log;
    answers user;
    user.then_press("OK", [&](QMessageBox &alert) {
        EXPECT_EQ(alert.text(), "This folder cannot be used");
        EXPECT_TRUE(alert.informativeText().contains(QString::fromStdString(missing)));
        EXPECT_TRUE(alert.informativeText().contains("No such file or directory"));
        EXPECT_EQ(button_titles(alert), QStringList("OK"));
    });
    EXPECT_FALSE(select(missing));
    // What was chosen, and nothing about a volume.
    EXPECT_EQ(log.lines(),
              lines({"d: myURL: file://" + folder.path() + "/%3Cb%3Emissing%3C/b%3E/"}));
    expect_nothing_chosen();
}

TEST_F(volume_selection, refuses_unreachable_folder) {
    const private_folder folder;
    const std::string hidden = folder.path() + "/locked/inside";
    std::filesystem::create_directories(hidden);
    std::filesystem::permissions(folder.path() + "/locked", std::filesystem::perms::none);
    // Permissions do not bind root.
    const uid_t user_id = geteuid();
    if (user_id == 0) {
        ASSERT_EQ(seteuid(65534), 0);
    }
    {
        answers user;
        user.then_press("OK", [&](QMessageBox &alert) {
            EXPECT_EQ(alert.text(), "This folder cannot be used");
            EXPECT_TRUE(alert.informativeText().contains(QString::fromStdString(hidden)));
            EXPECT_TRUE(alert.informativeText().contains("Permission denied"));
        });
        EXPECT_FALSE(select(hidden));
    }
    EXPECT_EQ(seteuid(user_id), 0);
    std::filesystem::permissions(folder.path() + "/locked", std::filesystem::perms::all);
    expect_nothing_chosen();
}

TEST_F(volume_selection, keeps_earlier_volume_on_failure) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume volume;
    EXPECT_TRUE(select(volume.path()));
    answers user;
    user.then_press("OK");
    EXPECT_FALSE(select(volume.file("missing")));
    EXPECT_EQ(selectedVolumePath, volume.path());
    EXPECT_EQ(uiState, UI_STATE_MEDIUM_FOUND);
}

namespace {

// Choosing the file system that this machine runs from.
class system_volume : public volume_selection {
 protected:
    bool select_root(std::function<void(QMessageBox &)> act) {
        answers user;
        user.then([act](QDialog &dialog) { act(dynamic_cast<QMessageBox &>(dialog)); });
        return select("/");
    }
};

}  // namespace

TEST_F(system_volume, asks_before_recording) {
    const error_capture log;
    EXPECT_FALSE(select_root([](QMessageBox &alert) {
        EXPECT_EQ(alert.text(), "This is not removable storage");
        EXPECT_TRUE(alert.informativeText().contains("lies on the volume that holds"));
        EXPECT_TRUE(alert.informativeText().contains("fills a volume to its last byte"));
        EXPECT_EQ(button_titles(alert), QStringList({"Cancel", "Use this volume anyway"}));
        EXPECT_EQ(alert.defaultButton()->text(), "Cancel");
        EXPECT_EQ(alert.icon(), QMessageBox::Warning);
        expect_nothing_chosen();
        QTest::keyClick(alert.focusWidget(), Qt::Key_Return);
    }));
    EXPECT_EQ(log.lines(), lines({"d: myURL: file:///"}));
    expect_nothing_chosen();
}

TEST_F(system_volume, is_refused_by_escape_or_close_button) {
    EXPECT_FALSE(select_root(
        [](QMessageBox &alert) { QTest::keyClick(alert.focusWidget(), Qt::Key_Escape); }));
    EXPECT_FALSE(select_root([](QMessageBox &alert) { alert.close(); }));
    expect_nothing_chosen();
}

TEST_F(system_volume, is_taken_on_confirmation) {
    answers user;
    user.then_press("Use this volume anyway");
    const lines log = log_of_selecting("/");
    ASSERT_EQ(log.size(), 12U);
    EXPECT_EQ(log.at(0), "d: myURL: file:///");
    EXPECT_EQ(selectedVolumePath, "/");
    EXPECT_EQ(uiState, UI_STATE_MEDIUM_FOUND);
}

TEST_F(system_volume, includes_home) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume volume(mib, "home");
    const QByteArray home = qgetenv("HOME");
    qputenv("HOME", QByteArray::fromStdString(volume.path()));
    {
        answers user;
        user.then_press("Cancel", [&](QMessageBox &alert) {
            EXPECT_TRUE(alert.informativeText().contains(
                QString::fromStdString("the home folder " + volume.path())));
        });
        EXPECT_FALSE(select(volume.path()));
    }
    qputenv("HOME", home);
    expect_nothing_chosen();
}

namespace {

// Start after the chosen volume has gone.
class volume_that_has_gone : public volume_selection {
 protected:
    void expect_start_refused(const std::string &path,
                              const char *title = "The chosen volume is gone") {
        answers user;
        user.then_press("OK", [&](QMessageBox &alert) {
            EXPECT_EQ(alert.text(), title);
            EXPECT_TRUE(alert.informativeText().startsWith(QString::fromStdString(path) + " is"));
            EXPECT_EQ(button_titles(alert), QStringList("OK"));
        });
        app().UI_start->click();
        EXPECT_EQ(jobThread, nullptr);
        EXPECT_EQ(uiState, UI_STATE_MEDIUM_FOUND);
        EXPECT_EQ(app().UI_start->text(), "Start");
        EXPECT_TRUE(app().UI_open_device_outlet->isEnabled());
    }
};

}  // namespace

TEST_F(volume_that_has_gone, is_not_tested_nor_is_its_mount_point) {
    SKIP_IF_MISSING(missing_for_mounts());
    memory_volume volume;
    choose(volume.path());
    volume.take_away();
    tick();
    expect_start_refused(volume.path());
    EXPECT_EQ(volume.content(), lines());
}

TEST_F(volume_that_has_gone, is_not_confused_with_other_volume_at_same_path) {
    SKIP_IF_MISSING(missing_for_mounts());
    memory_volume volume;
    choose(volume.path());
    volume.cover();
    volume.make_file("1.fff");
    expect_start_refused(volume.path());
    EXPECT_EQ(volume.content(), lines({"1.fff"}));
}

// A copy of the chosen card, on another device.
TEST_F(volume_that_has_gone, is_not_confused_with_volume_of_same_name) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume volume;
    volume.make_file("1.fff");
    choose(volume.path());
    ++selectedVolume->device;
    expect_start_refused(volume.path());
    EXPECT_EQ(volume.content(), lines({"1.fff"}));
}

// The kernel reuses the numbers of devices and mounts at once.
TEST_F(volume_that_has_gone, is_not_confused_with_volume_of_same_numbers) {
    SKIP_IF_MISSING(missing_for_mounts());
    memory_volume volume;
    choose(volume.path());
    if (selectedVolume->unique_mount_id == 0 && selectedVolume->root_birth.first == 0)
        GTEST_SKIP() << "this kernel tells nothing that differs";
    volume.mount_anew();
    volume.make_file("1.fff");
    volume_info now;
    std::string error;
    ASSERT_TRUE(volume_describe(volume.path(), now, error)) << error;
    selectedVolume->device = now.device;
    selectedVolume->identifier = now.identifier;
    selectedVolume->mount_id = now.mount_id;
    expect_start_refused(volume.path());
    EXPECT_EQ(volume.content(), lines({"1.fff"}));
}

using volume_in_use = volume_that_has_gone;

TEST_F(volume_in_use, is_refused_until_other_run_ends) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume volume;
    volume.make_file("1.fff");
    choose(volume.path());
    volume.make_file("holiday.jpg");  // which makes no other volume of it
    {
        run_lock other;
        ASSERT_EQ(other.take(volume.path()).state, run_lock_state::taken);
        expect_start_refused(volume.path(), "Another program holds a lock on this volume");
    }
    {
        run_lock other;  // through another mount of it
        ASSERT_EQ(other.take_file_system(selectedVolume->device).state, run_lock_state::taken);
        expect_start_refused(volume.path(), "Another run is at work on this volume");
    }
    EXPECT_EQ(volume.content(), lines({"1.fff", "holiday.jpg"}));
    // The refused Start holds neither locks nor the volume.
    run_lock next;
    EXPECT_EQ(next.take(volume.path()).state, run_lock_state::taken);
    EXPECT_EQ(next.take_file_system(selectedVolume->device).state, run_lock_state::taken);
}

namespace {

// From Start to the result.
class doubtful_run : public volume_selection {
 protected:
    void start(const std::string &path) {
        choose(path);
        app().UI_start->click();
        ASSERT_EQ(uiState, UI_STATE_TESTING);
    }
    void finish() {
        ASSERT_TRUE(wait_until([] { return uiState != UI_STATE_TESTING; }));
        tick();
        ASSERT_TRUE(wait_until([] { return !jobThread->is_executing(); }));
    }
    // Another run while this one is at work.
    static void expect_refused_to_the_command_line(const std::string &path) {
        const process_result run = run_program({TROVIK_CLI_PROGRAM, "test", path});
        EXPECT_EQ(run.exit_status, 77);
        EXPECT_NE(run.err.find("another run is at work on"), std::string::npos) << run.err;
    }
    QString console() { return app().UI_consoleOutput->toPlainText(); }
};

}  // namespace

TEST_F(doubtful_run, is_not_proven_with_pages_locked_in_memory) {
    SKIP_IF_MISSING(missing_for_cards());
    const test_support::card where({"--size=2M", "--write-rate=2M"});
    start(where.path());
    std::error_code none;
    ASSERT_TRUE(wait_until(
        [&] { return std::filesystem::file_size(where.file("1.fff"), none) + 1 > 4097; }));
    const locked_pages locked(where.file("1.fff"));
    finish();
    EXPECT_EQ(look_at(app()).verdict, "Not proven");
    const auto line = console().indexOf(
        "What is read now may come from the computer's memory: 1.fff cannot be released from it");
    EXPECT_GE(line, 0) << console().toStdString();
    EXPECT_LT(line, console().indexOf("Sectors:     OK"));
}

TEST_F(doubtful_run, refuses_other_runs_with_escaped_name) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume volume(mib, "x\n -  1: Volume intact ..: FORGED\x1b[2J\x07\u202e");
    const error_capture log;
    start(volume.path());
    expect_refused_to_the_command_line(volume.path());
    finish();
    run_lock next;
    EXPECT_EQ(next.take(volume.path()).state, run_lock_state::taken) << "given back at the end";
    EXPECT_FALSE(console().contains("\n -  1")) << console().toStdString();
    for (const QString &text :
         {console(), app().UI_volumesName->text(), QString::fromStdString([&] {
              std::string all;
              for (const std::string &line : log.lines())
                  all += line + "\n";
              return all;
          }())}) {
        for (const QChar wild : {QChar(0x1b), QChar(0x07), QChar(0x202e)})
            EXPECT_FALSE(text.contains(wild)) << text.toStdString();
    }
    EXPECT_TRUE(console().contains("\\x0A -  1: Volume intact ..: FORGED\\x1B[2J"));
}
