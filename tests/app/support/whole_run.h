// SPDX-License-Identifier: GPL-3.0-or-later
// Shared by the tests that run a whole test in the window: Start, and a snapshot of all that the
// window shows.
#ifndef TROVIK_TESTS_APP_WHOLE_RUN_H
#define TROVIK_TESTS_APP_WHOLE_RUN_H

#include <QEvent>
#include <QObject>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "model/engine_results.h"
#include "support.h"

namespace app_tests {

// The line with "TIME" in place of a time stamp at its beginning.
std::string without_time(const std::string &line);

// The complete lines.
std::vector<std::string> lines_of(const std::string &text);

// All values of the window but the console's text.
struct window_look {
    std::uint32_t state = 0;
    QString state_label, start_title, write_speed, write_unit, read_speed, read_unit;
    QString progress_value, phase, verdict, error_message;
    int progress = 0;
    bool open_enabled = false, start_enabled = false;
    bool disable_spotlight_enabled = false, remove_spotlight_enabled = false;
    int console_characters = 0;
    bool console_at_end = false;

    bool operator==(const window_look &) const = default;
};
void PrintTo(const window_look &look, std::ostream *out);

window_look look_at(const TRAppDelegate &app);

// A label that is no outlet.
QLabel &label_of(const TRAppDelegate &app, const char *name);

// Records the window at each change.
class window_watch {
 public:
    explicit window_watch(const TRAppDelegate &app);

    const std::vector<window_look> &looks() const { return m_looks; }
    // Whether any record matches.
    bool saw(const std::function<bool(const window_look &)> &wanted) const;

 private:
    const TRAppDelegate &m_app;
    QTimer m_timer;
    std::vector<window_look> m_looks;
};

class whole_run_test : public window_test {
 protected:
    whole_run_test();

    // Clicks on Start.
    void press_start();
    // From the click on Start to the report, and on to the job's end.
    void run_whole_test();
    bool wait_for_state(std::uint32_t state);
    bool wait_for_phase(engine_phase phase);

    // The console's lines with their time stamps masked.
    std::vector<std::string> masked_console() const;
    // The index of the line with the masked text; the number of lines when it is missing.
    size_t line_of(const std::string &masked) const;
    // The value of this numbered line of the last report.
    std::string report_value(int number) const;
};

// Mounts a file system in memory over this folder.
class covering_volume {
 public:
    explicit covering_volume(const std::string &folder);
    ~covering_volume();
    covering_volume(const covering_volume &) = delete;
    covering_volume &operator=(const covering_volume &) = delete;

    // Puts a file with this content on it.
    void put(const std::string &name, const std::string &content) const;
    // "name=content" of all entries, in alphabetical order.
    std::vector<std::string> contents() const;
    // Unmounts it, as umount --lazy does.
    void detach();

 private:
    std::string m_folder;
    bool m_mounted;
};

}  // namespace app_tests

#endif
