// SPDX-License-Identifier: GPL-3.0-or-later
#include "log_interceptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <fstream>
#include <sstream>
#include <utility>

namespace app_tests {

constexpr int capacity = 4096;

log_interceptor::log_interceptor(const std::string &words, std::function<void()> act) {
    EXPECT_EQ(pipe2(m_pipe.data(), O_CLOEXEC), 0);
    EXPECT_EQ(fcntl(m_pipe[1], F_SETPIPE_SZ, capacity), capacity);
    m_filling = std::string(capacity - words.size(), '.') + '\n';
    m_filling.erase(0, 1);
    EXPECT_EQ(write(m_pipe[1], m_filling.data(), m_filling.size()),
              static_cast<ssize_t>(m_filling.size()));
    m_real = dup(STDERR_FILENO);
    dup2(m_pipe[1], STDERR_FILENO);
    close(m_pipe[1]);
    m_other = std::thread([this, act = std::move(act)] { act_meanwhile(act); });
}

log_interceptor::~log_interceptor() {
    close(m_pipe[0]);
}

std::vector<std::string> log_interceptor::said() {
    dup2(m_real, STDERR_FILENO);
    close(m_real);
    m_other.join();
    std::istringstream stream(m_said.substr(m_filling.size()));
    std::vector<std::string> all;
    for (std::string line; std::getline(stream, line);) {
        if (line.rfind("This plugin does not support ", 0) != 0)
            all.push_back(line);
    }
    return all;
}

// Whether the thread under test waits for room in the pipe.
bool log_interceptor::program_waits() const {
    std::ifstream call("/proc/self/task/" + std::to_string(m_program) + "/syscall");
    std::string number, descriptor;
    call >> number >> descriptor;
    return number == std::to_string(SYS_write) && descriptor == "0x2";
}

void log_interceptor::act_meanwhile(const std::function<void()> &act) {
    for (int i = 0; i < 60000 && !program_waits(); ++i)
        usleep(1000);
    EXPECT_TRUE(program_waits());
    act();
    std::array<char, 512> buffer{};
    ssize_t got = 0;
    while ((got = read(m_pipe[0], buffer.data(), buffer.size())) > 0)
        m_said.append(buffer.data(), static_cast<size_t>(got));
}

}  // namespace app_tests
