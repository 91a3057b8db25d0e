// SPDX-License-Identifier: GPL-3.0-or-later
// The signals that stop a run. They interrupt no thread: a thread of their own waits for them and
// hands them on, so that ordinary code handles them.
#ifndef TROVIK_CLI_STOP_SIGNALS_H
#define TROVIK_CLI_STOP_SIGNALS_H

#include <chrono>

// Blocks SIGINT, SIGTERM, SIGHUP and SIGPIPE in this thread and in all that it starts later, and
// waits for the first three. A signal that the parent process ignores stays ignored, as nohup wants
// it. A signal ends the process after five seconds at most. Returns false when the system has no
// thread to spare. Call it once, before any other thread starts.
bool stop_signals_begin();

// Waits up to `timeout` for a signal; returns it, or 0.
int stop_signals_wait(std::chrono::milliseconds timeout);

// "SIGINT" and so on.
const char *stop_signals_name(int signal_number);

// Ends the process by this signal, so that the parent process sees the cause.
[[noreturn]] void stop_signals_die_of(int signal_number);

#endif
