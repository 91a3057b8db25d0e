// The engine reports what happens through its log, its status values and its
// records; a job only calls its phases.
#include "cli/job.h"

#include <cstdlib>
#include <utility>

#include "model/engine_results.h"
#include "model/f3read.h"
#include "model/f3write.h"
#include "model/utils.h"

job::job(std::string path, int start_index, job_steps steps)
    : m_path(std::move(path)),
      m_start_index(start_index),
      m_thread([this, steps] { run(steps); }) {}

job::~job() {
    m_thread.join();
}

void job::run(job_steps steps) {
    const char *path = m_path.c_str();
    if (steps.remove) {
        f3write_unlink_old_files(path, m_start_index);
        engine_read_results results = {};
        engine_results_read(&results);
        m_removal_listing_error = results.listing_error;
    }
    if (steps.fill)
        f3write_fill_fs(path, m_start_index, 1);
    if (steps.read) {
        int *files = ls_my_files(path, m_start_index);
        f3read_iterate_files(path, files, m_start_index, 1);
        std::free(files);
    }
    m_done.store(true, std::memory_order_release);
}
