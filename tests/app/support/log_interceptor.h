// SPDX-License-Identifier: GPL-3.0-or-later
// Acts in the middle of an action of the program.
#ifndef TROVIK_TESTS_APP_LOG_INTERCEPTOR_H
#define TROVIK_TESTS_APP_LOG_INTERCEPTOR_H

#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace app_tests {

// Acts while the program logs whether a marker exists: the log goes into a pipe without room for
// that line, so the program blocks.
class log_interceptor {
 public:
    // `words` is the log before that line.
    log_interceptor(const std::string &words, std::function<void()> act);
    ~log_interceptor();
    log_interceptor(const log_interceptor &) = delete;
    log_interceptor &operator=(const log_interceptor &) = delete;

    // All log lines.
    std::vector<std::string> said();

 private:
    bool program_waits() const;
    void act_meanwhile(const std::function<void()> &act);

    const pid_t m_program = gettid();
    std::array<int, 2> m_pipe{};
    int m_real = -1;
    std::string m_filling, m_said;
    std::thread m_other;
};

}  // namespace app_tests

#endif
