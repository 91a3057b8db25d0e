// SPDX-License-Identifier: GPL-3.0-or-later
#include "whole_run.h"

#include <sys/mount.h>

#include <QLabel>
#include <QMainWindow>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollBar>
#include <QTest>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>

#include "app/controller_state.h"

namespace app_tests {

std::string without_time(const std::string &line) {
    static const std::regex stamp(R"(^\d{4}\.\d\d\.\d\d \d\d:\d\d:\d\d - )");
    return std::regex_replace(line, stamp, "TIME - ");
}

std::vector<std::string> lines_of(const std::string &text) {
    std::vector<std::string> all;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        all.push_back(line);
    return all;
}

QLabel &label_of(const TRAppDelegate &app, const char *name) {
    auto *const label = app.window->findChild<QLabel *>(QString::fromLatin1(name));
    if (label == nullptr)
        qFatal("the window has no label %s", name);
    return *label;
}

window_look look_at(const TRAppDelegate &app) {
    window_look look;
    look.state = uiState;
    look.state_label = app.UI_state->text();
    look.start_title = app.UI_start->text();
    look.write_speed = app.UI_writeSpeed->text();
    look.write_unit = app.UI_writeUnit->text();
    look.read_speed = app.UI_readSpeed->text();
    look.read_unit = app.UI_readUnit->text();
    look.progress_value = app.UI_progressValue->text();
    look.phase = label_of(app, "phase").text();
    look.verdict = label_of(app, "verdictTitle").text();
    look.error_message = app.UI_errorMessage->text();
    look.progress = app.UI_progress->value();
    look.open_enabled = app.UI_open_device_outlet->isEnabled();
    look.start_enabled = app.UI_start->isEnabled();
    look.disable_spotlight_enabled = app.UI_disableSpotlight_outlet->isEnabled();
    look.remove_spotlight_enabled = app.UI_removeSpotlightData_outlet->isEnabled();
    look.console_characters = app.UI_consoleOutput->document()->characterCount() - 1;
    const QScrollBar *const bar = app.UI_consoleOutput->verticalScrollBar();
    look.console_at_end = bar->value() == bar->maximum();
    return look;
}

void PrintTo(const window_look &look, std::ostream *out) {
    const QStringList texts{look.state_label, look.start_title,    look.write_speed,
                            look.write_unit,  look.read_speed,     look.read_unit,
                            look.phase,       look.progress_value, look.verdict};
    *out << "state " << look.state << " [" << texts.join(" | ").toStdString() << "] bar "
         << look.progress << ", enabled: open " << look.open_enabled << ", start "
         << look.start_enabled << ", spotlight " << look.disable_spotlight_enabled << "/"
         << look.remove_spotlight_enabled << ", console of " << look.console_characters
         << (look.console_at_end ? " at its end" : "");
}

window_watch::window_watch(const TRAppDelegate &app) : m_app(app) {
    const auto look = [this] {
        const window_look now = look_at(m_app);
        if (m_looks.empty() || m_looks.back() != now)
            m_looks.push_back(now);
    };
    QObject::connect(&m_timer, &QTimer::timeout, &m_timer, look);
    m_timer.start(10);
    look();
}

bool window_watch::saw(const std::function<bool(const window_look &)> &wanted) const {
    return std::any_of(m_looks.begin(), m_looks.end(), wanted);
}

whole_run_test::whole_run_test() {
    accept_disclaimer();
}

void whole_run_test::press_start() {
    ASSERT_TRUE(app().UI_start->isEnabled());
    QTest::mouseClick(app().UI_start, Qt::LeftButton);
}

void whole_run_test::run_whole_test() {
    app().pauseOfJob = std::chrono::milliseconds(50);
    press_start();
    ASSERT_TRUE(wait_for_state(UI_STATE_WAITING));
    wait_for_job();
}

bool whole_run_test::wait_for_state(std::uint32_t state) {
    return wait_until([state] { return uiState == state; });
}

bool whole_run_test::wait_for_phase(engine_phase phase) {
    return wait_until([phase] { return engine_results_phase() == phase; });
}

std::vector<std::string> whole_run_test::masked_console() const {
    std::vector<std::string> lines = console_lines();
    for (std::string &line : lines)
        line = without_time(line);
    return lines;
}

size_t whole_run_test::line_of(const std::string &masked) const {
    const std::vector<std::string> lines = masked_console();
    return static_cast<size_t>(std::find(lines.begin(), lines.end(), masked) - lines.begin());
}

std::string whole_run_test::report_value(int number) const {
    const std::regex row("TIME - " + std::string(number < 10 ? " " : "") + std::to_string(number) +
                         ": [^:]*: (.*)");
    std::string value = "no such line";
    for (const std::string &line : masked_console()) {
        std::smatch parts;
        if (std::regex_match(line, parts, row))
            value = parts[1];
    }
    return value;
}

covering_volume::covering_volume(const std::string &folder)
    : m_folder(folder),
      m_mounted(mount("trovik-cover", folder.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, "size=4m") ==
                0) {
    EXPECT_TRUE(m_mounted) << folder << ": " << std::strerror(errno);
}

covering_volume::~covering_volume() {
    detach();
}

void covering_volume::detach() {
    if (m_mounted) {
        EXPECT_EQ(umount2(m_folder.c_str(), MNT_DETACH), 0) << std::strerror(errno);
    }
    m_mounted = false;
}

void covering_volume::put(const std::string &name, const std::string &content) const {
    std::ofstream(m_folder + "/" + name, std::ios::binary) << content;
}

std::vector<std::string> covering_volume::contents() const {
    std::vector<std::string> all;
    for (const auto &entry : std::filesystem::directory_iterator(m_folder)) {
        std::ifstream file(entry.path(), std::ios::binary);
        all.push_back(entry.path().filename().string() + "=" +
                      std::string(std::istreambuf_iterator<char>(file), {}));
    }
    std::sort(all.begin(), all.end());
    return all;
}

}  // namespace app_tests
