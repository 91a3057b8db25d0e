// Child processes whose end and whose output can be looked at: with their streams
// in pipes, or in a pseudo-terminal as a user has it.
#ifndef TROVIK_TESTS_CLI_PROCESS_H
#define TROVIK_TESTS_CLI_PROCESS_H

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace cli_tests {

struct outcome {
    bool timed_out = false;
    int wait_status = 0;
    std::string out;  // in a terminal: all that it was sent
    std::string err;

    // The exit status, or -1 when the process was ended by a signal.
    int exit_status() const;
    // The signal that ended the process, or 0.
    int signal() const;
};

// What the child sees of the world, and what happens to it.
struct process_options {
    // Run in the child before anything else: closes streams, sets signals.
    std::function<void()> prepare;
    // Called in the parent with the child's id once its output contains `cue`.
    std::string cue;
    std::function<void(pid_t)> on_cue;
    // Size of the terminal; of no meaning without one.
    unsigned short columns = 80;
    unsigned short rows = 24;
    // Sent to standard error's own file instead of the terminal, when not empty.
    std::string err_file;
};

// Sends the child this signal once its output contains `cue`.
process_options signal_at(const std::string &cue, int signal_number);
// No file of the child grows beyond 64 KiB: its writes fail with EFBIG, without a signal.
process_options with_a_file_size_limit();

// Runs `body` in a forked child, or the program trovik-cli with these words. A
// body that returns ends the child with status 0, its streams flushed; a child
// that takes longer than 20 seconds is killed.
outcome run_body(const std::function<void()> &body, const process_options &options = {});
outcome run_cli(const std::vector<std::string> &words, const process_options &options = {});
// The same for another copy of the program.
outcome run_program(const std::string &program, const std::vector<std::string> &words,
                    const process_options &options = {});

// The same in a pseudo-terminal.
outcome run_body_in_terminal(const std::function<void()> &body,
                             const process_options &options = {});
outcome run_cli_in_terminal(const std::vector<std::string> &words,
                            const process_options &options = {});

}  // namespace cli_tests

#endif
