// The engine's phases on a thread of their own, in the order of a test.
#ifndef TROVIK_CLI_JOB_H
#define TROVIK_CLI_JOB_H

#include <atomic>
#include <string>
#include <thread>

// Steps of a job, in the order in which they run.
struct job_steps {
    bool remove = false;
    bool fill = false;
    bool read = false;
};

// One job at a time: the engine's state belongs to one thread. The destructor
// waits for the job's end.
class job {
 public:
    // `path` is the folder on whose root the test files lie.
    job(std::string path, int start_index, job_steps steps);
    ~job();
    job(const job &) = delete;
    job &operator=(const job &) = delete;

    bool is_running() const { return !m_done.load(std::memory_order_acquire); }

    // Error number when the folder could not be read to its end while old test
    // files were looked for, else 0. To be asked after the end.
    int removal_listing_error() const { return m_removal_listing_error; }

 private:
    void run(job_steps steps);

    const std::string m_path;
    const int m_start_index;
    int m_removal_listing_error = 0;
    std::atomic<bool> m_done{false};
    std::thread m_thread;
};

#endif
