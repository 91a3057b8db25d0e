// The signals by which a user or the system stops a run. They are kept from
// interrupting any thread; a thread of their own waits for them and hands them
// on, so that what is said about them is said by ordinary code.
#ifndef TROVIK_CLI_STOP_SIGNALS_H
#define TROVIK_CLI_STOP_SIGNALS_H

#include <chrono>

// Blocks SIGINT, SIGTERM, SIGHUP and SIGPIPE in this thread and in all that it
// starts from now on, and starts to wait for the first three. A signal that the
// parent process had set to be ignored stays ignored, as nohup wants it. A process
// that has not ended five seconds after a signal is ended by it. False when the system
// has no thread to spare. Called once, before any other thread is started.
bool stop_signals_begin();

// Waits up to `timeout` for one of them; returns it, or 0.
int stop_signals_wait(std::chrono::milliseconds timeout);

// "SIGINT" and so on.
const char *stop_signals_name(int signal_number);

// Ends the process by this signal, so that whoever started it sees the cause.
[[noreturn]] void stop_signals_die_of(int signal_number);

#endif
