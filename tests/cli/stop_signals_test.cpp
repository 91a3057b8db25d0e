// Signals that stop a run: seen in order by ordinary code, and never lost on a
// process that is busy or stuck.
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

TEST(stop_signals, each_of_them_is_handed_on) {
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

TEST(stop_signals, waiting_ends_when_nothing_comes) {
    const outcome result = run_body([] {
        stop_signals_begin();
        std::printf("%d", stop_signals_wait(milliseconds{20}));
    });
    EXPECT_EQ(result.out, "0");
}

TEST(stop_signals, a_signal_that_came_before_the_waiting_is_not_lost) {
    const outcome result = run_body([] {
        stop_signals_begin();
        kill(getpid(), SIGTERM);
        std::this_thread::sleep_for(milliseconds{50});
        print_signal();
    });
    EXPECT_EQ(result.out, "SIGTERM");
}

TEST(stop_signals, threads_that_are_started_later_are_not_interrupted) {
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

TEST(stop_signals, what_the_parent_ignores_stays_ignored) {
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

TEST(stop_signals, a_reader_that_has_gone_is_an_error_number_and_not_an_end) {
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

TEST(stop_signals, the_process_ends_by_the_signal_itself) {
    for (const int signal_number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
        const outcome result = run_body([=] {
            stop_signals_begin();
            stop_signals_die_of(signal_number);
        });
        EXPECT_EQ(result.signal_number, signal_number);
    }
}

TEST(stop_signals, an_ignored_signal_ends_the_process_all_the_same) {
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

TEST(stop_signals, a_process_that_is_stuck_is_ended_all_the_same) {
    const outcome result = run_body([] {
        stop_signals_begin();
        kill(getpid(), SIGTERM);
        for (;;)
            pause();
    });
    EXPECT_EQ(result.signal_number, SIGTERM);
}
