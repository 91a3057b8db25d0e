// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/stop_signals.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <thread>

#include "support.h"

using cli_tests::outcome;
using cli_tests::process_options;
using cli_tests::run_body;
using std::chrono::milliseconds;

namespace {

// Prints the name of the signal that arrives within a second.
void print_signal() {
    const int signal_number = stop_signals_wait(milliseconds{1000});
    std::fputs(signal_number == 0 ? "none" : stop_signals_name(signal_number), stdout);
}

}  // namespace

TEST(stop_signals, hands_on_each_signal) {
    for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
        const outcome result = run_body([=] {
            stop_signals_begin();
            kill(getpid(), signal_number);
            print_signal();
        });
        EXPECT_EQ(result.out, stop_signals_name(signal_number));
        EXPECT_EQ(result.exit_status, 0);
    }
}

TEST(stop_signals, wait_times_out) {
    const outcome result = run_body([] {
        stop_signals_begin();
        std::printf("%d", stop_signals_wait(milliseconds{20}));
    });
    EXPECT_EQ(result.out, "0");
}

TEST(stop_signals, keeps_signal_from_before_wait) {
    const outcome result = run_body([] {
        stop_signals_begin();
        kill(getpid(), SIGTERM);
        std::this_thread::sleep_for(milliseconds{50});
        print_signal();
    });
    EXPECT_EQ(result.out, "SIGTERM");
}

TEST(stop_signals, does_not_interrupt_later_threads) {
    const outcome result = run_body([] {
        stop_signals_begin();
        std::thread busy([] {
            kill(getpid(), SIGINT);
            std::this_thread::sleep_for(milliseconds{50});
            std::fputs("worked on, ", stdout);
        });
        busy.join();
        print_signal();
    });
    EXPECT_EQ(result.out, "worked on, SIGINT");
}

TEST(stop_signals, leaves_ignored_signals_ignored) {
    for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
        process_options options;
        options.prepare = [=] { std::signal(signal_number, SIG_IGN); };
        const outcome result = run_body(
            [=] {
                stop_signals_begin();
                kill(getpid(), signal_number);
                std::printf("%d", stop_signals_wait(milliseconds{100}));
            },
            options);
        EXPECT_EQ(result.out, "0") << stop_signals_name(signal_number);
        EXPECT_EQ(result.exit_status, 0);
    }
}

TEST(stop_signals, closed_pipe_fails_with_epipe) {
    const outcome result = run_body([] {
        stop_signals_begin();
        int ends[2] = {-1, -1};
        if (pipe(ends) != 0)
            _exit(1);
        close(ends[0]);
        std::fputs(write(ends[1], "x", 1) < 0 && errno == EPIPE ? "EPIPE" : "?", stdout);
    });
    EXPECT_EQ(result.out, "EPIPE");
    EXPECT_EQ(result.exit_status, 0);
}

TEST(stop_signals, process_ends_by_signal_itself) {
    for (const int signal_number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
        const outcome result = run_body([=] {
            stop_signals_begin();
            stop_signals_die_of(signal_number);
        });
        EXPECT_EQ(result.signal_number, signal_number);
    }
}

TEST(stop_signals, ends_process_whose_signal_is_ignored) {
    process_options options;
    options.prepare = [] { std::signal(SIGPIPE, SIG_IGN); };
    const outcome result = run_body(
        [] {
            stop_signals_begin();
            stop_signals_die_of(SIGPIPE);
        },
        options);
    EXPECT_EQ(result.signal_number, SIGPIPE);
}

TEST(stop_signals, ends_stuck_process) {
    const outcome result = run_body([] {
        stop_signals_begin();
        kill(getpid(), SIGTERM);
        for (;;)
            pause();
    });
    EXPECT_EQ(result.signal_number, SIGTERM);
}
