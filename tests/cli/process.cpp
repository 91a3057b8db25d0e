// Children are forked from a test program that has at most its own threads
// sleeping, and replace themselves or end by _exit.
#include "process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace cli_tests {

namespace {

constexpr std::chrono::seconds longest_run{20};

// One of the child's streams as it arrives.
struct source {
    int fd;
    std::string *text;
};

// Collects what the sources send until all have ended. False when it took too
// long.
bool collect(std::vector<source> sources, pid_t child, const process_options &options) {
    const auto deadline = std::chrono::steady_clock::now() + longest_run;
    bool cue_given = options.cue.empty();
    while (!sources.empty() && std::chrono::steady_clock::now() < deadline) {
        std::vector<pollfd> waiting;
        waiting.reserve(sources.size());
        for (const source &from : sources)
            waiting.push_back({from.fd, POLLIN, 0});
        if (poll(waiting.data(), waiting.size(), 100) <= 0)
            continue;
        for (size_t i = sources.size(); i-- > 0;) {
            if (waiting[i].revents == 0)
                continue;
            char buffer[4096];
            const ssize_t got = read(sources[i].fd, buffer, sizeof buffer);
            if (got > 0) {
                sources[i].text->append(buffer, static_cast<size_t>(got));
                if (!cue_given && sources[i].text->find(options.cue) != std::string::npos) {
                    cue_given = true;
                    options.on_cue(child);
                }
                continue;
            }
            // A terminal whose other side is closed gives an error, not an end.
            sources.erase(sources.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }
    return sources.empty();
}

void finish(pid_t child, bool ended, outcome &result) {
    if (!ended) {
        result.timed_out = true;
        ADD_FAILURE() << "the process did not end in time; it had written: " << result.out
                      << result.err;
        kill(child, SIGKILL);
    }
    EXPECT_EQ(waitpid(child, &result.wait_status, 0), child);
}

[[noreturn]] void be_child(const std::function<void()> &body, const process_options &options) {
    if (!options.err_file.empty())
        dup2(open(options.err_file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
    if (options.prepare)
        options.prepare();
    body();
    std::fflush(nullptr);
    _exit(0);
}

std::function<void()> program_body(const std::string &program,
                                   const std::vector<std::string> &words) {
    return [program, words] {
        std::vector<std::string> copies = words;
        copies.insert(copies.begin(), program);
        std::vector<char *> arguments;
        arguments.reserve(copies.size() + 1);
        for (std::string &word : copies)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);
        execv(program.c_str(), arguments.data());
        _exit(127);
    };
}

}  // namespace

int outcome::exit_status() const {
    return WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : -1;
}

int outcome::signal() const {
    return WIFSIGNALED(wait_status) ? WTERMSIG(wait_status) : 0;
}

process_options signal_at(const std::string &cue, int signal_number) {
    process_options options;
    options.cue = cue;
    options.on_cue = [=](pid_t child) { kill(child, signal_number); };
    return options;
}

process_options with_a_file_size_limit() {
    process_options options;
    options.prepare = [] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit = {65536, RLIM_INFINITY};
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0)
            _exit(98);
    };
    return options;
}

outcome run_body(const std::function<void()> &body, const process_options &options) {
    outcome result;
    int out[2] = {-1, -1};
    int err[2] = {-1, -1};
    if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) {
        ADD_FAILURE() << "no pipe";
        return result;
    }
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
        dup2(nothing, STDIN_FILENO);
        dup2(out[1], STDOUT_FILENO);
        dup2(err[1], STDERR_FILENO);
        be_child(body, options);
    }
    close(out[1]);
    close(err[1]);
    finish(child, collect({{out[0], &result.out}, {err[0], &result.err}}, child, options), result);
    close(out[0]);
    close(err[0]);
    return result;
}

outcome run_program(const std::string &program, const std::vector<std::string> &words,
                    const process_options &options) {
    return run_body(program_body(program, words), options);
}

outcome run_cli(const std::vector<std::string> &words, const process_options &options) {
    return run_program(TROVIK_CLI, words, options);
}

outcome run_body_in_terminal(const std::function<void()> &body, const process_options &options) {
    outcome result;
    const winsize size = {options.rows, options.columns, 0, 0};
    int terminal = -1;
    std::fflush(nullptr);
    const pid_t child = forkpty(&terminal, nullptr, nullptr, &size);
    if (child < 0) {
        ADD_FAILURE() << "no pseudo-terminal";
        return result;
    }
    if (child == 0)
        be_child(body, options);
    fcntl(terminal, F_SETFD, FD_CLOEXEC);
    finish(child, collect({{terminal, &result.out}}, child, options), result);
    close(terminal);
    return result;
}

outcome run_cli_in_terminal(const std::vector<std::string> &words, const process_options &options) {
    return run_body_in_terminal(program_body(TROVIK_CLI, words), options);
}

}  // namespace cli_tests
