// SPDX-License-Identifier: GPL-3.0-or-later
// How long the window blocks the main thread: one tick of the display with a console of a
// given length, and the longest pause of the event loop during a whole test.
//
//   window_bench console [LINES]     a tick with a full second of engine text
//   window_bench heartbeat VOLUME    tests the mounted VOLUME (all free space is written)
//
// Uses the offscreen platform unless QT_QPA_PLATFORM is set.
#include <QApplication>
#include <QMainWindow>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTextCharFormat>
#include <QTextCursor>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "app/TRAppDelegate.h"
#include "app/controller_state.h"
#include "model/engine_log.h"

using bench_clock = std::chrono::steady_clock;

static double ms_since(bench_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(bench_clock::now() - start).count();
}

struct spread {
    double median, highest;
};

static spread spread_of(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return {values[values.size() / 2], values.back()};
}

static void print(const char *what, const spread &values) {
    std::printf("| %s | %.2f | %.2f |\n", what, values.median, values.highest);
}

// As many lines as the engine's log can hold between two ticks.
static void say_a_second_of_text() {
    std::string text;
    while (text.size() + 24 < ENGINE_LOG_SIZE)
        text += "  12345,      0,      0\n";
    engine_log_append(text.c_str());
}

static void process_paint() {
    QApplication::processEvents();
}

static void bench_console(TRAppDelegate &controller, int lines) {
    std::string text;
    for (int line = 1; line <= lines; ++line)
        text += std::to_string(line) + ": 12.34% @ 480.00 KB/s\n";
    controller.writeToConsole(text);
    uiState = UI_STATE_TESTING;
    process_paint();

    constexpr int rounds = 25;
    std::vector<double> ticks, paints, fonts;
    for (int round = 0; round < rounds; ++round) {
        say_a_second_of_text();
        const auto start = bench_clock::now();
        controller.updateUI();
        ticks.push_back(ms_since(start));
        process_paint();
        paints.push_back(ms_since(start));
    }
    // For comparison: the cost of setting the font of every character in each tick.
    for (int round = 0; round < rounds; ++round) {
        const auto start = bench_clock::now();
        QTextCursor all(controller.UI_consoleOutput->document());
        all.select(QTextCursor::Document);
        QTextCharFormat format;
        format.setFont(controller.UI_consoleOutput->font());
        all.mergeCharFormat(format);
        fonts.push_back(ms_since(start));
    }
    std::printf("console of %d lines, %d ticks with %d bytes of new text each\n\n", lines, rounds,
                ENGINE_LOG_SIZE);
    std::printf("| what | median ms | longest ms |\n|---|---|---|\n");
    print("tick", spread_of(ticks));
    print("tick and drawing", spread_of(paints));
    print("the font set on every letter anew", spread_of(fonts));
}

// Accepts the disclaimer.
static void press_last_button() {
    auto *const alert = qobject_cast<QMessageBox *>(QApplication::activeModalWidget());
    if (alert != nullptr)
        alert->buttons().constLast()->click();
}

static int bench_heartbeat(TRAppDelegate &controller, const char *volume) {
    QTimer user;
    QObject::connect(&user, &QTimer::timeout, &user, press_last_button);
    user.start(20);
    controller.applicationDidFinishLaunching();
    if (!controller.selectVolumeOfFolder(QString::fromLocal8Bit(volume)))
        return 1;
    controller.updateUI();
    if (!controller.UI_start->isEnabled()) {
        std::fprintf(stderr, "window_bench: %s cannot be tested\n", volume);
        return 1;
    }
    controller.UI_start->click();

    double longest = 0.0;
    long beats = 0;
    auto last = bench_clock::now();
    QTimer heartbeat;
    heartbeat.setTimerType(Qt::PreciseTimer);
    QObject::connect(&heartbeat, &QTimer::timeout, &heartbeat, [&] {
        if (uiState.load(std::memory_order_acquire) == UI_STATE_TESTING) {
            longest = std::max(longest, ms_since(last));
            ++beats;
        } else {
            QApplication::quit();
        }
        last = bench_clock::now();
    });
    heartbeat.start(5);
    QApplication::exec();
    std::printf("%ld beats of 5 ms during the test; the longest pause between two was %.1f ms\n",
                beats, longest);
    while (jobThread->is_executing())
        QApplication::processEvents(QEventLoop::AllEvents, 100);
    return 0;
}

int main(int argc, char *argv[]) {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication app(argc, argv);
    TRAppDelegate controller;
    controller.window->resize(1000, 800);
    controller.window->show();
    const std::string command = argc > 1 ? argv[1] : "";
    if (command == "console") {
        bench_console(controller,
                      argc > 2 ? static_cast<int>(std::strtol(argv[2], nullptr, 10)) : 100000);
        return 0;
    }
    if (command == "heartbeat" && argc == 3)
        return bench_heartbeat(controller, argv[2]);
    std::fprintf(stderr, "usage: window_bench console [LINES] | heartbeat VOLUME\n");
    return 64;
}
