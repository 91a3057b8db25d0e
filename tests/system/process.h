// Programs as a user would start them: words instead of a shell's line, standard
// output and standard error kept apart, and what became of the process. Nothing
// that is started here outlives the test: a program that takes too long is killed
// and says so in its result.
#ifndef TROVIK_TESTS_SYSTEM_PROCESS_H
#define TROVIK_TESTS_SYSTEM_PROCESS_H

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace system_tests {

struct process_result {
    int exit_status = -1;  // -1 when a signal ended it
    int signal_number = 0;
    bool timed_out = false;  // killed by us
    std::string out, err;
    long peak_rss_kib = 0;
    std::chrono::milliseconds took{0};  // from the start, or from the last signal sent
};

struct process_options {
    std::optional<uid_t> user;             // run as this user (and group) without other rights
    std::vector<std::string> environment;  // "NAME=value", in front of our own
    std::string input;                     // file for standard input; empty: /dev/null
    std::chrono::seconds timeout{240};
};

class child_process {
 public:
    // The first word is a path, or a name looked for in PATH. A program that cannot
    // be started ends with status 127.
    explicit child_process(const std::vector<std::string> &words, process_options options = {});
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
    void collect(std::chrono::milliseconds patience);
    bool reap();
    void drain();

    process_options m_options;
    pid_t m_pid = -1;
    bool m_reaped = false;
    int m_out = -1, m_err = -1;
    std::chrono::steady_clock::time_point m_started;
    process_result m_result;
};

process_result run_program(const std::vector<std::string> &words, process_options options = {});

// Full path of a program in PATH or in the folders of system programs; else empty.
std::string find_program(const std::string &name);

}  // namespace system_tests

#endif
