// The engine reports what happens through its log, its status values and its
// records; a job only calls its phases.
#include "cli/job.h"

#include <cstdlib>
#include <utility>

#include "model/engine_results.h"
#include "model/f3read.h"
#include "model/utils.h"

job::job(job_plan plan) : m_plan(std::move(plan)), m_thread([this] { run(); }) {}

job::~job() {
    m_thread.join();
}

void job::remove_files() {
    f3write_unlink_old_files(m_plan.folder.c_str(), m_plan.start_index);
    engine_read_results results = {};
    engine_results_read(&results);
    m_removal_listing_error = results.listing_error;
}

void job::read_files() {
    const char *path = m_plan.folder.c_str();
    m_plan.before_read();
    int *files = ls_my_files(path, m_plan.start_index);
    f3read_iterate_files(path, files, m_plan.start_index, 1);
    std::free(files);
}

void job::run() {
    if (m_plan.steps.remove && m_plan.may_go_on())
        remove_files();
    if (m_plan.steps.fill && m_plan.may_go_on())
        f3write_fill_fs_in_blocks(m_plan.folder.c_str(), m_plan.start_index, 1, m_plan.block_size);
    if (m_plan.steps.read && m_plan.may_go_on()) {
        read_files();
        // What was read must have been the volume's to the end.
        m_plan.may_go_on();
    }
    m_done.store(true, std::memory_order_release);
}
