// The thread of one test. The main thread can ask whether it is still executing
// and never waits for it.
#ifndef TROVIK_APP_JOB_THREAD_H
#define TROVIK_APP_JOB_THREAD_H

#include <atomic>
#include <functional>
#include <memory>
#include <thread>

class job_thread {
 public:
    // Prepares a thread that will run `entry`.
    explicit job_thread(std::function<void()> entry);
    // A thread that has ended is joined; one that is still executing is left to
    // itself, and must not need anything that the process takes down.
    ~job_thread();
    job_thread(const job_thread &) = delete;
    job_thread &operator=(const job_thread &) = delete;

    // Starts the thread; once. False when the system has none to spare.
    bool start();

    // Between start() and the return of the entry. Main thread.
    bool is_executing() const { return m_executing->load(std::memory_order_acquire); }

 private:
    std::function<void()> m_entry;
    // Shared with the thread, which may outlive this object.
    std::shared_ptr<std::atomic<bool>> m_executing = std::make_shared<std::atomic<bool>>(false);
    std::thread m_thread;
};

#endif
