// SPDX-License-Identifier: GPL-3.0-or-later
#include "process.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace test_support {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

bool process_result::aborted() const {
    return !timed_out && signal_number == SIGABRT;
}

static void set_environment(const std::vector<std::string> &settings) {
    for (const std::string &setting : settings) {
        const size_t sign = setting.find('=');
        setenv(setting.substr(0, sign).c_str(), setting.substr(sign + 1).c_str(), 1);
    }
}

static void become_user(uid_t user) {
    if (setresgid(user, user, user) != 0 || setresuid(user, user, user) != 0)
        _exit(126);
}

// A test started with nohup or in the background must not pass that on.
static void reset_signals() {
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE})
        std::signal(number, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

// In the child, its standard output and standard error in place.
[[noreturn]] static void run_child(const std::function<void()> &body,
                                   const process_options &options) {
    if (!options.terminal) {
        const char *input = options.input.empty() ? "/dev/null" : options.input.c_str();
        dup2(open(input, O_RDONLY | O_CLOEXEC), STDIN_FILENO);
    }
    if (!options.err_file.empty())
        dup2(open(options.err_file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600),
             STDERR_FILENO);
    const rlimit no_core = {0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    set_environment(options.environment);
    if (options.user)
        become_user(*options.user);
    prctl(PR_SET_PDEATHSIG, SIGTERM);  // after the change of user, which clears it
    reset_signals();
    if (options.prepare)
        options.prepare();
    body();
    std::fflush(nullptr);
    _exit(0);
}

static std::function<void()> program_body(const std::vector<std::string> &words) {
    return [&words] {
        const std::string program = find_program(words[0]);
        std::vector<char *> arguments;
        arguments.reserve(words.size() + 1);
        for (const std::string &word : words)
            arguments.push_back(const_cast<char *>(word.c_str()));  // as execv is declared
        arguments.push_back(nullptr);
        execv(program.c_str(), arguments.data());
        _exit(127);
    };
}

void child_process::start(const std::function<void()> &body) {
    std::array<int, 2> out{-1, -1};
    std::array<int, 2> err{-1, -1};
    std::fflush(nullptr);  // or the child would print the parent's buffered output
    if (m_options.terminal) {
        const winsize size = {m_options.rows, m_options.columns, 0, 0};
        m_pid = forkpty(out.data(), nullptr, nullptr, &size);
    } else if (pipe2(out.data(), O_CLOEXEC) == 0 && pipe2(err.data(), O_CLOEXEC) == 0) {
        m_pid = fork();
    }
    if (m_pid < 0) {
        std::perror("no pipe, no terminal or no process");
        std::abort();
    }
    if (m_pid == 0) {
        if (!m_options.terminal) {
            dup2(out[1], STDOUT_FILENO);
            dup2(err[1], STDERR_FILENO);
        }
        run_child(body, m_options);
    }
    m_out = out[0];
    m_err = err[0];
    for (const int writing_end : {out[1], err[1]}) {
        if (writing_end >= 0)
            close(writing_end);
    }
    for (const int reading_end : {m_out, m_err}) {
        fcntl(reading_end, F_SETFL, O_NONBLOCK);
        fcntl(reading_end, F_SETFD, FD_CLOEXEC);
    }
}

child_process::child_process(const std::vector<std::string> &words, process_options options)
    : m_options(std::move(options)), m_started(steady_clock::now()) {
    start(program_body(words));
}

child_process::child_process(const std::function<void()> &body, process_options options)
    : m_options(std::move(options)), m_started(steady_clock::now()) {
    start(body);
}

child_process::~child_process() {
    if (!m_reaped) {
        kill(m_pid, SIGKILL);
        wait();
    }
    close(m_out);
    if (m_err >= 0)
        close(m_err);
}

static void read_all(int fd, std::string &text) {
    std::array<char, 65536> buffer{};
    for (ssize_t got = 0; (got = read(fd, buffer.data(), buffer.size())) > 0;)
        text.append(buffer.data(), static_cast<size_t>(got));
}

void child_process::drain() {
    read_all(m_out, m_result.out);
    if (m_err >= 0)
        read_all(m_err, m_result.err);
}

void child_process::collect(milliseconds patience) {
    std::array<pollfd, 2> pipes = {{{m_out, POLLIN, 0}, {m_err, POLLIN, 0}}};
    poll(pipes.data(), pipes.size(), static_cast<int>(patience.count()));
    drain();
    if (m_options.on_cue && !m_cue_given &&
        (m_result.out.find(m_options.cue) != std::string::npos ||
         m_result.err.find(m_options.cue) != std::string::npos)) {
        m_cue_given = true;
        m_options.on_cue(m_pid);
    }
    // A closed pipe is always ready: do not spin until the process ends.
    if ((pipes[0].revents & POLLHUP) != 0)
        usleep(1000);
}

// Waits for the process and not for the end of its pipes: a daemon that it started may keep
// these open.
bool child_process::reap() {
    if (m_reaped)
        return true;
    int status = 0;
    rusage used = {};
    if (wait4(m_pid, &status, WNOHANG, &used) != m_pid)
        return false;
    m_reaped = true;
    drain();
    m_result.took = std::chrono::duration_cast<milliseconds>(steady_clock::now() - m_started);
    m_result.peak_rss_kib = used.ru_maxrss;
    if (WIFEXITED(status))
        m_result.exit_status = WEXITSTATUS(status);
    else
        m_result.signal_number = WTERMSIG(status);
    return true;
}

bool child_process::is_running() {
    return !reap();
}

bool child_process::wait_for_output(const std::string &text, std::chrono::seconds timeout) {
    const auto deadline = steady_clock::now() + timeout;
    while (m_result.out.find(text) == std::string::npos) {
        if (reap() || steady_clock::now() > deadline)
            return m_result.out.find(text) != std::string::npos;
        collect(milliseconds{10});
    }
    return true;
}

void child_process::send_signal(int signal_number) {
    m_started = steady_clock::now();
    kill(m_pid, signal_number);
}

process_result child_process::wait() {
    const auto deadline = steady_clock::now() + m_options.timeout;
    while (!reap()) {
        collect(milliseconds{10});
        if (!m_result.timed_out && steady_clock::now() > deadline) {
            m_result.timed_out = true;
            kill(m_pid, SIGKILL);
        }
    }
    return m_result;
}

process_result run_program(const std::vector<std::string> &words, process_options options) {
    return child_process(words, std::move(options)).wait();
}

process_result run_body(const std::function<void()> &body, process_options options) {
    return child_process(body, std::move(options)).wait();
}

process_options signal_at(const std::string &cue, int signal_number) {
    process_options options;
    options.cue = cue;
    options.on_cue = [=](pid_t child) { kill(child, signal_number); };
    return options;
}

std::string find_program(const std::string &name) {
    if (name.find('/') != std::string::npos)
        return name;
    const char *path = std::getenv("PATH");
    std::istringstream folders(std::string(path == nullptr ? "" : path) + ":/usr/sbin:/sbin");
    for (std::string folder; std::getline(folders, folder, ':');) {
        std::string program = folder;
        program += "/" + name;
        if (access(program.c_str(), X_OK) == 0)
            return program;
    }
    return {};
}

}  // namespace test_support
