// The engine's phases on a thread of their own, in the order of a test.
#ifndef TROVIK_CLI_JOB_H
#define TROVIK_CLI_JOB_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

#include "model/f3write.h"

// Steps of a job, in the order in which they run.
struct job_steps {
    bool remove = false;
    bool fill = false;
    bool read = false;
};

// What a job does, and what the shell wants to be asked in between, on the job's
// thread.
struct job_plan {
    std::string folder;                            // on whose root the test files lie
    int start_index = 0;                           // of the first test file
    std::int32_t block_size = F3WRITE_BLOCK_SIZE;  // bytes per write call
    job_steps steps;
    std::function<bool()> may_go_on;    // before each step, where false ends the job, and after
                                        // the reading
    std::function<void()> before_read;  // once, before the files are listed and read
};

// One job at a time: the engine's state belongs to one thread. The destructor
// waits for the job's end.
class job {
 public:
    explicit job(job_plan plan);
    ~job();
    job(const job &) = delete;
    job &operator=(const job &) = delete;

    bool is_running() const { return !m_done.load(std::memory_order_acquire); }

    // Error number when the folder could not be read to its end while old test
    // files were looked for, else 0. To be asked after the end.
    int removal_listing_error() const { return m_removal_listing_error; }

 private:
    void run();
    void remove_files();
    void read_files();

    const job_plan m_plan;
    int m_removal_listing_error = 0;
    std::atomic<bool> m_done{false};
    std::thread m_thread;
};

#endif
