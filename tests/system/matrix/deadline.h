// SPDX-License-Identifier: GPL-3.0-or-later
// What keeps a cell from lasting longer than CTest waits for it: it ends by itself, and
// takes its mounts with it.
#ifndef TROVIK_TESTS_SYSTEM_MATRIX_DEADLINE_H
#define TROVIK_TESTS_SYSTEM_MATRIX_DEADLINE_H

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "../cli_run.h"

namespace system_tests {

// When a cell must be over. Made before anything else; every program that is called gets
// what is left.
class deadline {
 public:
    explicit deadline(std::chrono::seconds patience);
    std::chrono::seconds left() const;  // one at least
    process_options options() const;

 private:
    std::chrono::steady_clock::time_point m_end;
};

// At that time the simulator is killed: every process that waits for the card then gets
// an error.
class watchdog {
 public:
    watchdog(card &medium, const deadline &until);
    ~watchdog();
    watchdog(const watchdog &) = delete;
    watchdog &operator=(const watchdog &) = delete;

 private:
    std::mutex m_mutex;  // guards m_over
    std::condition_variable m_changed;
    bool m_over = false;
    std::thread m_thread;
};

}  // namespace system_tests

#endif
