// SPDX-License-Identifier: GPL-3.0-or-later
// Child processes: a program, or a function of the test in a forked child. Their streams end in
// pipes, or in a pseudo-terminal as a user has it. No child outlives the test: the destructor
// kills it, the kernel does when the test's process dies.
#ifndef TROVIK_TESTS_SUPPORT_PROCESS_H
#define TROVIK_TESTS_SUPPORT_PROCESS_H

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace test_support {

struct process_result {
    int exit_status = -1;  // -1 when a signal ended it
    int signal_number = 0;
    bool timed_out = false;  // killed after process_options::timeout
    std::string out;         // in a terminal: everything sent to it
    std::string err;
    long peak_rss_kib = 0;
    std::chrono::milliseconds took{0};  // from the start, or from the last signal sent

    bool exited_with(int status) const { return !timed_out && exit_status == status; }
    bool aborted() const;
};

struct process_options {
    std::optional<uid_t> user;             // run as this user (and group) without other rights
    std::vector<std::string> environment;  // "NAME=value", set before the child begins
    std::string input;                     // file for standard input; empty: /dev/null
    std::string err_file;                  // file for standard error instead of pipe or terminal
    std::chrono::seconds timeout{240};
    std::function<void()> prepare;  // runs in the child last of all: closes streams, sets signals
    // Called in the parent, once, when the child's output contains `cue`.
    std::string cue;
    std::function<void(pid_t child)> on_cue;
    // Standard streams are a pseudo-terminal of this size.
    bool terminal = false;
    unsigned short columns = 80;
    unsigned short rows = 24;
};

class child_process {
 public:
    // The first word is a path or a name, as find_program() takes it. A program that cannot
    // be started ends with status 127.
    explicit child_process(const std::vector<std::string> &words, process_options options = {});
    // Runs `body` in a forked child, which ends with status 0 when the body returns.
    explicit child_process(const std::function<void()> &body, process_options options = {});
    // Kills it when it still runs.
    ~child_process();
    child_process(const child_process &) = delete;
    child_process &operator=(const child_process &) = delete;

    // Waits until standard output contains the text; false at its end or timeout.
    bool wait_for_output(const std::string &text, std::chrono::seconds timeout);
    bool is_running();
    void send_signal(int signal_number);
    // Waits for its end.
    process_result wait();

 private:
    void start(const std::function<void()> &body);
    void collect(std::chrono::milliseconds patience);
    bool reap();
    void drain();

    process_options m_options;
    pid_t m_pid = -1;
    bool m_reaped = false;
    bool m_cue_given = false;
    int m_out = -1, m_err = -1;
    std::chrono::steady_clock::time_point m_started;
    process_result m_result;
};

process_result run_program(const std::vector<std::string> &words, process_options options = {});
process_result run_body(const std::function<void()> &body, process_options options = {});

// Sends the child this signal when its output contains `cue`.
process_options signal_at(const std::string &cue, int signal_number);

// A path as it is; the full path of a name in PATH or in the folders of system programs, else
// empty.
std::string find_program(const std::string &name);

// Repeats `fact` until it holds. False after a minute.
template <typename question>
bool within_a_minute(const question &fact) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes{1};
    while (!fact()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds{10});
    }
    return true;
}

}  // namespace test_support

#endif
