// SPDX-License-Identifier: GPL-3.0-or-later
// A write to a closed pipe fails with EPIPE instead of SIGPIPE: the process must name the files it
// leaves before it ends.
#include "cli/stop_signals.h"

#include <poll.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <system_error>
#include <thread>

// Longest time from a signal to the end of the process, even if its output is blocked or the volume
// hangs.
constexpr std::chrono::seconds patience{5};

// Written by the waiting thread, read by stop_signals_wait: one byte a signal.
static int signal_pipe[2] = {-1, -1};

static bool is_ignored(int signal_number) {
    struct sigaction action = {};
    return sigaction(signal_number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

static sigset_t waited_for() {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal_number : {SIGINT, SIGTERM, SIGHUP}) {
        if (!is_ignored(signal_number))
            sigaddset(&set, signal_number);
    }
    return set;
}

static void hand_on_signals(sigset_t set) {
    int signal_number = 0;
    if (sigwait(&set, &signal_number) != 0)
        return;
    const char byte = static_cast<char>(signal_number);
    if (write(signal_pipe[1], &byte, 1) == 1)
        std::this_thread::sleep_for(patience);
    stop_signals_die_of(signal_number);
}

bool stop_signals_begin() {
    const sigset_t waited = waited_for();
    sigset_t blocked = waited;
    sigaddset(&blocked, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
    if (pipe(signal_pipe) != 0)
        return true;
    try {
        std::thread(hand_on_signals, waited).detach();
    } catch (const std::system_error &) {
        return false;
    }
    return true;
}

int stop_signals_wait(std::chrono::milliseconds timeout) {
    struct pollfd descriptor = {signal_pipe[0], POLLIN, 0};
    char byte = 0;
    if (poll(&descriptor, 1, static_cast<int>(timeout.count())) > 0 &&
        read(signal_pipe[0], &byte, 1) == 1)
        return byte;
    return 0;
}

const char *stop_signals_name(int signal_number) {
    switch (signal_number) {
        case SIGINT:
            return "SIGINT";
        case SIGTERM:
            return "SIGTERM";
        case SIGHUP:
            return "SIGHUP";
        case SIGPIPE:
            return "SIGPIPE";
        default:
            return "a signal";
    }
}

void stop_signals_die_of(int signal_number) {
    std::signal(signal_number, SIG_DFL);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signal_number);
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    std::raise(signal_number);
    // Reached only if the signal's default action does not end the process.
    std::_Exit(128 + signal_number);
}
