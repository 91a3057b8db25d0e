// SPDX-License-Identifier: GPL-3.0-or-later
// The display: the fields that a tick updates in each state.
#include <QLabel>
#include <QMainWindow>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>

#include "app/alert.h"
#include "model/engine_log.h"
#include "model/engine_publish.h"
#include "model/engine_record.h"
#include "volume_selection_support.h"

using app_tests::answers;
using app_tests::memory_volume;
using app_tests::wait_until;
using test_support::card;
using test_support::missing_for_cards;
using test_support::missing_for_mounts;

namespace {

using names = std::set<std::string>;

class status_display : public app_tests::volume_selection {
 protected:
    // The text of each label before a tick, which detects that the tick writes the same text.
    static constexpr const char *untouched = "untouched";

    void mark_all_fields() {
        for (QLabel *label : app().window->findChildren<QLabel *>())
            label->setText(untouched);
        app().UI_progress->setValue(77);
        app().UI_consoleOutput->clear();
        engine_log_append("news\n");
        m_buttons = buttons();
    }

    // Names of the fields that a tick updates.
    names touched_by_a_tick() {
        mark_all_fields();
        tick();
        names touched;
        for (const QLabel *label : app().window->findChildren<QLabel *>()) {
            if (label->text() != untouched)
                touched.insert(label->objectName().toStdString());
        }
        if (app().UI_progress->value() != 77)
            touched.insert("UI_progress");
        if (!console().empty())
            touched.insert("UI_consoleOutput");
        for (const auto &[name, looks] : buttons()) {
            if (m_buttons[name] != looks)
                touched.insert(name);
        }
        return touched;
    }

    QString state_label_after_tick(std::uint32_t state) {
        uiState = state;
        tick();
        return app().UI_state->text();
    }

 private:
    // Titles and enabled states.
    std::map<std::string, std::string> buttons() {
        std::map<std::string, std::string> all;
        for (const QPushButton *button : app().window->findChildren<QPushButton *>())
            all[button->objectName().toStdString()] =
                button->text().toStdString() + (button->isEnabled() ? "/on" : "/off");
        return all;
    }

    std::map<std::string, std::string> m_buttons;
};

const names common_fields = {"UI_state",     "UI_errorMessage",  "UI_writeSpeed",
                             "UI_writeUnit", "UI_progressValue", "UI_progress",
                             "phase",        "UI_consoleOutput"};
const names volume_fields = {"UI_volumesName",           "UI_volumesCapacityGB",
                             "UI_volumesFreeSpace",      "UI_volumesReadOnly",
                             "UI_volumesSpotlightThere", "UI_volumesSpotlightStatus",
                             "UI_volumesTrashes",        "UI_volumesNoLog"};

names joined(names left, const names &right) {
    left.insert(right.begin(), right.end());
    return left;
}

}  // namespace

TEST_F(status_display, has_label_for_each_state) {
    EXPECT_EQ(state_label_after_tick(0), "<INIT>");
    EXPECT_EQ(state_label_after_tick(1), "<WAITING>");
    EXPECT_EQ(state_label_after_tick(2), "<MEDIUM FOUND>");
    EXPECT_EQ(state_label_after_tick(3), "<TESTING>");
    EXPECT_EQ(state_label_after_tick(6), "<RESULT>");
}

TEST_F(status_display, changes_nothing_in_unused_states) {
    for (const std::uint32_t state : {4U, 5U, 7U, 0xFFFFFFFFU}) {
        uiState = state;
        EXPECT_EQ(touched_by_a_tick(), names());
        EXPECT_EQ(uiState, state);
    }
}

TEST_F(status_display, updates_label_only_while_waiting) {
    for (const std::uint32_t state : {UI_STATE_INIT, UI_STATE_WAITING}) {
        uiState = state;
        EXPECT_EQ(touched_by_a_tick(), names({"UI_state"}));
    }
}

TEST_F(status_display, keeps_engine_log_until_volume_is_chosen) {
    SKIP_IF_MISSING(missing_for_mounts());
    engine_log_append("kept\n");
    for (const std::uint32_t state : {0U, 1U, 4U, 5U}) {
        uiState = state;
        tick();
        EXPECT_EQ(console(), "");
    }
    const memory_volume volume;
    choose(volume.path());
    EXPECT_EQ(console(), "kept\n");
    tick();
    EXPECT_EQ(console(), "kept\n");
}

TEST_F(status_display, updates_volume_fields_with_volume) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume volume;
    EXPECT_TRUE(select(volume.path()));
    app().UI_start->setEnabled(false);
    app().UI_disableSpotlight_outlet->setEnabled(false);
    app().UI_removeSpotlightData_outlet->setEnabled(false);
    EXPECT_EQ(touched_by_a_tick(),
              joined(joined(common_fields, volume_fields),
                     {"UI_start", "UI_disableSpotlight_outlet", "UI_removeSpotlightData_outlet"}));
}

TEST_F(status_display, updates_common_fields_only_during_test) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume volume;
    choose(volume.path());
    uiState = UI_STATE_TESTING;
    EXPECT_EQ(touched_by_a_tick(), common_fields);
}

TEST_F(status_display, leaves_volume_fields_with_result) {
    uiState = UI_STATE_RESULT;
    const names touched = touched_by_a_tick();
    for (const std::string &name : volume_fields)
        EXPECT_EQ(touched.count(name), 0U) << name;
    for (const std::string &name : common_fields)
        EXPECT_EQ(touched.count(name), 1U) << name;
    EXPECT_EQ(touched.count("UI_readSpeed"), 1U);
    EXPECT_EQ(touched.count("UI_readUnit"), 1U);
    EXPECT_EQ(uiState, UI_STATE_WAITING);
}

TEST_F(status_display, shows_zeros_with_na_before_first_test) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume volume;
    choose(volume.path());
    EXPECT_EQ(app().UI_writeSpeed->text(), "0.00");
    EXPECT_EQ(app().UI_writeUnit->text(), "NA");
    EXPECT_EQ(app().UI_progressValue->text(), "0.0 %");
    EXPECT_EQ(app().UI_progress->value(), 0);
    EXPECT_EQ(app().UI_errorMessage->text(), "");
}

TEST_F(status_display, shows_speed_unit_and_progress) {
    uiState = UI_STATE_TESTING;
    publish_write_period(12.347, "MB", 33.36);
    tick();
    EXPECT_EQ(app().UI_writeSpeed->text(), "12.35");
    EXPECT_EQ(app().UI_writeUnit->text(), "MB");
    EXPECT_EQ(app().UI_progress->value(), 33);
    EXPECT_EQ(app().UI_progressValue->text(), "33.4 %");
    publish_write_period(1023.99, "KB", 100.0);
    tick();
    EXPECT_EQ(app().UI_writeSpeed->text(), "1023.99");
    EXPECT_EQ(app().UI_writeUnit->text(), "KB");
    EXPECT_EQ(app().UI_progress->value(), 100);
    EXPECT_EQ(app().UI_progressValue->text(), "100.0 %");
    publish_write_average(7.0);
    tick();
    EXPECT_EQ(app().UI_writeSpeed->text(), "7.00");
    EXPECT_EQ(app().UI_writeUnit->text(), "KB");
}

// The ties are exact in binary: rounding away from zero gives 2.13, 4.63 and 56.3.
TEST_F(status_display, rounds_ties_to_even_like_report) {
    uiState = UI_STATE_TESTING;
    publish_write_period(2.125, "MB", 56.25);
    publish_read_speed(4.625, "MB");
    record_write_start(1600, 0);
    record_bytes_written(1600);
    record_read_start();
    record_bytes_read(900);
    record_phase(ENGINE_PHASE_READING);
    tick();
    EXPECT_EQ(app().UI_writeSpeed->text(), "2.12");
    EXPECT_EQ(app().UI_progressValue->text(), "56.2 %");
    EXPECT_EQ(app().window->findChild<QLabel *>("phase")->text(), "Reading 1.fff (56.2 %)");
    uiState = UI_STATE_RESULT;
    tick();
    EXPECT_EQ(app().UI_readSpeed->text(), "4.62");
    EXPECT_NE(console().find("Write speed average ........ : 2.12 MB/s\n"), std::string::npos);
    EXPECT_NE(console().find("Read speed average ......... : 4.62 MB/s\n"), std::string::npos);
}

TEST_F(status_display, keeps_values_of_last_test_for_next_volume) {
    SKIP_IF_MISSING(missing_for_mounts());
    publish_write_period(12.5, "MB", 100.0);
    const memory_volume volume;
    choose(volume.path());
    EXPECT_EQ(app().UI_writeSpeed->text(), "12.50");
    EXPECT_EQ(app().UI_writeUnit->text(), "MB");
    EXPECT_EQ(app().UI_progressValue->text(), "100.0 %");
}

TEST_F(status_display, shows_message_during_test) {
    volumeErrorMessage = "100% <b>message</b>";
    uiState = UI_STATE_TESTING;
    tick();
    EXPECT_EQ(app().UI_errorMessage->text(), "100% <b>message</b>");
    EXPECT_EQ(app().UI_errorMessage->textFormat(), Qt::PlainText);
}

TEST_F(status_display, shows_phase_of_test) {
    uiState = UI_STATE_TESTING;
    const QLabel *const phase = app().window->findChild<QLabel *>("phase");
    ASSERT_NE(phase, nullptr);
    const auto shown = [&](enum engine_phase now) {
        record_phase(now);
        tick();
        return phase->text();
    };
    record_write_start(2048, 0);
    EXPECT_EQ(shown(ENGINE_PHASE_IDLE), "");
    EXPECT_EQ(shown(ENGINE_PHASE_REMOVING), "Removing old test files");
    record_write_file(2);
    EXPECT_EQ(shown(ENGINE_PHASE_WRITING), "Writing 3.fff");
    record_bytes_written(2048);
    EXPECT_EQ(shown(ENGINE_PHASE_LISTING), "Listing test files");
    record_read_start();
    record_reading_file(1);
    record_bytes_read(512);
    EXPECT_EQ(shown(ENGINE_PHASE_READING), "Reading 2.fff (25.0 %)");
    record_bytes_read(8192);
    EXPECT_EQ(shown(ENGINE_PHASE_READING), "Reading 2.fff (100.0 %)");
    EXPECT_EQ(shown(ENGINE_PHASE_IDLE), "");
}

TEST_F(status_display, shows_engine_lines_literally_once) {
    uiState = UI_STATE_TESTING;
    engine_log_append("Creating <b>100%s</b> %d\n");
    tick();
    tick();
    EXPECT_EQ(console(), "Creating <b>100%s</b> %d\n");
}

TEST_F(status_display, shows_full_engine_log) {
    uiState = UI_STATE_TESTING;
    engine_log_append((std::string(ENGINE_LOG_SIZE - 1, 'x') + "\n").c_str());
    tick();
    EXPECT_EQ(console(), std::string(ENGINE_LOG_SIZE - 1, 'x') + "\n");
}

TEST_F(status_display, updates_free_space) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume volume;
    choose(volume.path());
    EXPECT_EQ(app().UI_volumesFreeSpace->text(), "8.0 MB (8388608 Bytes)");
    volume.make_file("4M");
    std::filesystem::resize_file(volume.file("4M"), 0);
    ASSERT_TRUE(std::ofstream(volume.file("4M")) << std::string(4 * test_support::mib, 'x'));
    tick();
    EXPECT_EQ(app().UI_volumesFreeSpace->text(), "4.0 MB (4194304 Bytes)");
    volume.remove("4M");
    tick();
    EXPECT_EQ(app().UI_volumesFreeSpace->text(), "8.0 MB (8388608 Bytes)");
}

TEST_F(status_display, shows_no_free_space_when_statvfs_fails) {
    SKIP_IF_MISSING(missing_for_cards());
    const card volume({"--size=1M", "--statfs-fails"});
    std::filesystem::create_directory(volume.file(".Trashes"));
    choose(volume.path());
    EXPECT_EQ(app().UI_volumesFreeSpace->text(), "0.0 Byte (0 Bytes)");
    EXPECT_EQ(app().UI_volumesReadOnly->text(), "read/write");
    EXPECT_EQ(app().UI_volumesTrashes->text(), "Found Trashes data.");
}

TEST_F(status_display, escapes_control_characters_of_path) {
    uiState = UI_STATE_MEDIUM_FOUND;
    selectedVolumePath = "/media/a\nb\x1B[1m\xFF";
    tick();
    EXPECT_EQ(app().UI_volumesName->text(), "/media/a\\x0Ab\\x1B[1m\\xFF");
}

namespace {

class display_behind_a_question : public status_display {
 protected:
    // Ticks by hand and from the timer while an alert is open.
    void expect_standstill_behind(QDialog &dialog) {
        uiState = UI_STATE_TESTING;
        EXPECT_EQ(touched_by_a_tick(), names());
        QTest::qWait(1300);
        EXPECT_EQ(app().UI_state->text(), untouched);
        EXPECT_EQ(console(), "");
        dialog.reject();
    }

    void expect_shown_by_the_next_tick() {
        EXPECT_TRUE(wait_until([&] { return app().UI_state->text() == "<TESTING>"; }));
        EXPECT_EQ(console(), "news\n");
        uiState = UI_STATE_WAITING;
    }
};

}  // namespace

TEST_F(display_behind_a_question, stops_during_alert) {
    accept_disclaimer();
    answers user;
    user.then([this](QDialog &dialog) { expect_standstill_behind(dialog); });
    alert_run(app().window, {.message = "Message", .informative = "", .buttons = {"OK"}});
    expect_shown_by_the_next_tick();
}

TEST_F(display_behind_a_question, stops_during_panel) {
    accept_disclaimer();
    answers user;
    user.then([this](QDialog &dialog) { expect_standstill_behind(dialog); });
    app().UI_open_device_outlet->click();
    expect_shown_by_the_next_tick();
}

TEST_F(display_behind_a_question, shows_result_with_first_tick_afterwards) {
    answers user;
    user.then([this](QDialog &dialog) {
        uiState = UI_STATE_RESULT;
        tick();
        EXPECT_EQ(uiState, UI_STATE_RESULT);
        EXPECT_EQ(console(), "");
        dialog.reject();
    });
    app().UI_open_device_outlet->click();
    tick();
    EXPECT_EQ(uiState, UI_STATE_WAITING);
    EXPECT_NE(console().find("Report End"), std::string::npos);
}
