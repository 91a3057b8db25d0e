// SPDX-License-Identifier: GPL-3.0-or-later
// The thread of one run. The main thread can ask whether it is still executing and never waits for
// it.
#ifndef TROVIK_RUNNER_RUN_THREAD_H
#define TROVIK_RUNNER_RUN_THREAD_H

#include <atomic>
#include <functional>
#include <memory>
#include <thread>

class run_thread {
 public:
    // Prepares a thread that will run `entry`.
    explicit run_thread(std::function<void()> entry);
    // Joins a thread that has ended. Detaches one that is still executing, which must own all that
    // it uses or end with the process.
    ~run_thread();
    run_thread(const run_thread &) = delete;
    run_thread &operator=(const run_thread &) = delete;

    // Starts the thread; once. False when the system has none to spare.
    bool start();

    // Whether start() has been called and the entry has not returned. Main thread.
    bool is_executing() const { return m_executing->load(std::memory_order_acquire); }

 private:
    std::function<void()> m_entry;
    // Shared with the thread, which may outlive this object.
    std::shared_ptr<std::atomic<bool>> m_executing = std::make_shared<std::atomic<bool>>(false);
    std::thread m_thread;
};

#endif
