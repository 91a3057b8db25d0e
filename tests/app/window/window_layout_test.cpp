// SPDX-License-Identifier: GPL-3.0-or-later
// The window's layout: all outlets exist, no text is cut off at any size, and changing numbers move
// nothing.
#include <QGroupBox>
#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QStyle>
#include <algorithm>
#include <map>
#include <regex>

#include "app/window_layout.h"
#include "model/engine_publish.h"
#include "window_view_support.h"

using app_tests::memory_volume;
using app_tests::window_view;
using test_support::missing_for_mounts;

namespace {

const QSize small_window(800, 600);
const QSize large_window(2560, 1440);

class window_sizes : public window_view {
 protected:
    // The longest texts that a test brings.
    void show_long_texts() {
        volumeErrorMessage =
            "Please make card writeable and/or use a driver that can write to file systems like "
            "NTFS. OS X can only write to NTFS with 3th part software like Tuxera and others.";
        selectedVolumePath = "/run/media/somebody/" + std::string(120, 'w');
        selectedVolumeCapacity = 18446744073709551615U;
        selectedVolumeCapacityText = "16.0 EB";
        selectedVolumeCapacityLocalized = "18,446,744,073,709,551,615";
        publish_write_period(1023.99, "Byte", 99.94);
        uiState = UI_STATE_MEDIUM_FOUND;
        tick();
        app().UI_readSpeed->setText("1023.99");
        app().UI_readUnit->setText("Byte");
        app().UI_start->setText("Please wait...");
        window().findChild<QLabel *>("verdictTitle")->setText("Not all could be read");
        window()
            .findChild<QLabel *>("verdictDetail")
            ->setText(
                "What was read is intact, but not everything could be tested.\n"
                "Could not be filled: the volume said that it was full, and 1.0 GB were free.\n"
                "Missing: 2.fff, 17.fff to 23.fff (and 12 more: see this text's tool tip)");
    }

    void expect_nothing_cut_off() {
        for (const QLabel *label : seen<QLabel>())
            expect_room(*label);
        for (const QPushButton *button : seen<QPushButton>())
            expect_room(*button);
        for (const QGroupBox *group : seen<QGroupBox>())
            EXPECT_GE(group->width(), group->fontMetrics().horizontalAdvance(group->title()))
                << name_of(*group);
        for (const QWidget *widget : seen<QWidget>())
            EXPECT_EQ(widget->visibleRegion().boundingRect(), widget->rect()) << name_of(*widget);
        EXPECT_GE(app().UI_consoleOutput->viewport()->height(),
                  2 * app().UI_consoleOutput->fontMetrics().lineSpacing());
    }

 private:
    static void expect_room(const QLabel &label) {
        const QFontMetrics metrics = label.fontMetrics();
        EXPECT_GE(label.contentsRect().height(), metrics.height()) << name_of(label);
        if (dynamic_cast<const elided_label *>(&label) != nullptr)
            return;
        if (label.wordWrap()) {
            EXPECT_GE(label.height(), label.heightForWidth(label.width())) << name_of(label);
            return;
        }
        int width = 0;
        for (const QString &line : label.text().split('\n'))
            width = std::max(width, metrics.horizontalAdvance(line));
        EXPECT_GE(label.contentsRect().width() - std::max(label.indent(), 0), width)
            << name_of(label);
    }

    static void expect_room(const QPushButton &button) {
        // Styles make a button wider than its title needs.
        const int needed =
            button.fontMetrics().horizontalAdvance(button.text()) +
            (button.icon().isNull() ? 0 : button.iconSize().width()) +
            2 * button.style()->pixelMetric(QStyle::PM_ButtonMargin, nullptr, &button);
        EXPECT_GE(button.width(), std::min(needed, button.sizeHint().width())) << name_of(button);
        EXPECT_GE(button.height(), button.sizeHint().height()) << name_of(button);
    }
};

}  // namespace

TEST_F(window_view, has_all_outlets_by_name) {
    const std::vector<std::pair<const QObject *, const char *>> outlets = {
        {app().UI_start, "UI_start"},
        {app().UI_volumesName, "UI_volumesName"},
        {app().UI_volumesCapacityGB, "UI_volumesCapacityGB"},
        {app().UI_volumesReadOnly, "UI_volumesReadOnly"},
        {app().UI_volumesFreeSpace, "UI_volumesFreeSpace"},
        {app().UI_state, "UI_state"},
        {app().UI_volumesSpotlightThere, "UI_volumesSpotlightThere"},
        {app().UI_volumesSpotlightStatus, "UI_volumesSpotlightStatus"},
        {app().UI_volumesTrashes, "UI_volumesTrashes"},
        {app().UI_volumesNoLog, "UI_volumesNoLog"},
        {app().UI_writeSpeed, "UI_writeSpeed"},
        {app().UI_writeUnit, "UI_writeUnit"},
        {app().UI_progress, "UI_progress"},
        {app().UI_progressValue, "UI_progressValue"},
        {app().UI_readSpeed, "UI_readSpeed"},
        {app().UI_readUnit, "UI_readUnit"},
        {app().UI_errorMessage, "UI_errorMessage"},
        {app().UI_consoleOutput, "UI_consoleOutput"},
        {app().UI_open_device_outlet, "UI_open_device_outlet"},
        {app().UI_disableSpotlight_outlet, "UI_disableSpotlight_outlet"},
        {app().UI_removeSpotlightData_outlet, "UI_removeSpotlightData_outlet"},
        {app().UI_removeTrashesData_outlet, "UI_removeTrashesData_outlet"},
        {app().UI_versionString, "UI_versionString"},
        {app().UI_logging_label_outlet, "UI_logging_label_outlet"},
        {app().UI_disableLogging_outlet, "UI_disableLogging_outlet"},
        {app().UI_showInfo_outlet, "UI_showInfo_outlet"},
        {app().UI_shareButton_outlet, "UI_shareButton_outlet"},
        {app().UI_feedback_outlet, "UI_feedback_outlet"}};
    EXPECT_EQ(outlets.size(), 28U);
    for (const auto &[outlet, name] : outlets) {
        ASSERT_NE(outlet, nullptr) << name;
        EXPECT_EQ(outlet->objectName().toStdString(), name);
        EXPECT_EQ(window().findChildren<QObject *>(name).size(), 1) << name;
        EXPECT_TRUE(dynamic_cast<const QWidget *>(outlet)->isVisible()) << name;
    }
    ASSERT_NE(app().window, nullptr);
    EXPECT_TRUE(app().window->isWindow());
    EXPECT_EQ(app().window->windowTitle(), "trovik");
    EXPECT_FALSE(app().window->windowIcon().isNull());
}

TEST_F(window_view, progress_goes_from_0_to_100) {
    EXPECT_EQ(app().UI_progress->minimum(), 0);
    EXPECT_EQ(app().UI_progress->maximum(), 100);
    EXPECT_EQ(app().UI_progress->value(), 0);
}

TEST_F(window_sizes, fit_into_800_x_600) {
    EXPECT_LE(window().minimumSizeHint().width(), small_window.width());
    EXPECT_LE(window().minimumSizeHint().height(), small_window.height());
    show_long_texts();
    settle();
    EXPECT_LE(window().minimumSizeHint().width(), small_window.width());
    EXPECT_LE(window().minimumSizeHint().height(), small_window.height());
}

TEST_F(window_sizes, cut_nothing_off) {
    for (const QSize &size : {window().size(), small_window, large_window}) {
        show_in_size(size);
        expect_nothing_cut_off();
    }
}

TEST_F(window_sizes, cut_nothing_off_with_longest_texts) {
    show_long_texts();
    for (const QSize &size : {window().size(), small_window, large_window}) {
        show_in_size(size);
        expect_nothing_cut_off();
    }
}

// Every pixel is four: the same facts, drawn twice as large.
TEST_F(window_sizes, cut_nothing_off_at_double_scale) {
    test_support::process_options options;
    options.environment = {"QT_SCALE_FACTOR=2"};
    const test_support::process_result twice = test_support::run_program(
        {"/proc/self/exe", "--gtest_filter=window_sizes.*:window_in_motion.*-*at_double_scale"},
        options);
    // Without the word by which the whole test would count as skipped.
    const std::string said = std::regex_replace(twice.out, std::regex("SKIPPED"), "skipped");
    EXPECT_EQ(twice.exit_status, 0) << said;
    EXPECT_NE(said.find("[  PASSED  ] "), std::string::npos) << said;
}

TEST_F(window_sizes, elide_long_path_with_tool_tip) {
    show_in_size(small_window);
    const QString path = "/run/media/somebody/" + QString(200, 'w') + "/end";
    app().UI_volumesName->setText(path);
    settle();
    EXPECT_EQ(window().size(), small_window);
    EXPECT_EQ(app().UI_volumesName->text(), path);
    EXPECT_LT(app().UI_volumesName->width(),
              app().UI_volumesName->fontMetrics().horizontalAdvance(path));
}

namespace {

class window_in_motion : public window_view {
 protected:
    // The place of every visible widget but a unit and the widget after it.
    std::map<std::string, QRect> places() {
        settle();
        std::map<std::string, QRect> all;
        for (const QWidget *widget : seen<QWidget>()) {
            const std::string name = widget->objectName().toStdString();
            if (name.find("Unit") == std::string::npos &&
                name.find("PerSecond") == std::string::npos &&
                !app().UI_consoleOutput->isAncestorOf(widget))
                all[name] = QRect(widget->mapTo(&window(), QPoint()), widget->size());
        }
        return all;
    }

    void expect_no_motion(const std::map<std::string, QRect> &before, const char *what) {
        for (const auto &[name, place] : places()) {
            const QRect &first = before.at(name);
            EXPECT_TRUE(place == first) << name << " moved with " << what;
        }
    }
};

}  // namespace

TEST_F(window_in_motion, moves_nothing_when_numbers_change) {
    for (const QSize &size : {small_window, window().size()}) {
        show_in_size(size);
        uiState = UI_STATE_TESTING;
        tick();
        const std::map<std::string, QRect> before = places();
        for (const char *unit : {"", "Byte", "KB", "MB", "GB", "TB", "PB", "EB"}) {
            for (const double value : {0.0, 1.0, 11.11, 1023.99}) {
                publish_write_period(value, unit, value / 10.24);
                tick();
                app().UI_readSpeed->setText(QString::asprintf("%.2f", value));
                app().UI_readUnit->setText(unit);
                expect_no_motion(before, unit);
            }
        }
        publish_write_period(1.0, "MB", 100.0);
        tick();
        expect_no_motion(before, "100 percent");
        app().UI_progressValue->setText("100%");
        expect_no_motion(before, "the end");
    }
}

TEST_F(window_in_motion, moves_nothing_when_titles_change) {
    show_in_size(small_window);
    const std::map<std::string, QRect> before = places();
    for (const std::uint32_t state : {UI_STATE_INIT, UI_STATE_WAITING, UI_STATE_TESTING}) {
        uiState = state;
        tick();
        expect_no_motion(before, "a state");
    }
    for (const char *label : {"<MEDIUM FOUND>", "<RESULT>"}) {
        app().UI_state->setText(label);
        expect_no_motion(before, label);
    }
    for (const char *title : {"Please wait...", "Finished.", "Start"}) {
        app().UI_start->setText(title);
        expect_no_motion(before, title);
    }
    for (const char *title : {"Enable Spotlight", "Disable Spotlight"}) {
        app().UI_disableSpotlight_outlet->setText(title);
        expect_no_motion(before, title);
    }
    QLabel *const phase = window().findChild<QLabel *>("phase");
    for (const char *text : {"Removing old test files", "Reading 1234567.fff (100.0 %)", ""}) {
        phase->setText(text);
        expect_no_motion(before, "the phase");
    }
}

TEST_F(window_in_motion, moves_nothing_when_volume_fills) {
    SKIP_IF_MISSING(missing_for_mounts());
    const memory_volume volume;
    choose(volume.path());
    show_in_size(small_window);
    const std::map<std::string, QRect> before = places();
    for (const char *space : {"0.0 Byte (0 Bytes)", "1023.9 GB (1099404378931 Bytes)",
                              "16.0 EB (18446744073709551615 Bytes)"}) {
        app().UI_volumesFreeSpace->setText(space);
        expect_no_motion(before, space);
    }
    app().writeToConsole(std::string(3000, 'x') + "\n" + std::string(3000, '\n'));
    expect_no_motion(before, "the console");
}
