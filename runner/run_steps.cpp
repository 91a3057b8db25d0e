// SPDX-License-Identifier: GPL-3.0-or-later
// The engine reports through its log, its status values and its records; here its phases are only
// called. Below a mount point lies a folder of the system, and nothing in it is ours.
#include "runner/run_steps.h"

#include <cstdlib>
#include <utility>
#include <vector>

#include "model/engine_results.h"
#include "model/f3read.h"
#include "model/utils.h"
#include "report/printable.h"
#include "runner/test_files.h"
#include "volume/cold_read.h"

run_steps::run_steps(const run_guard &guard, run_plan plan, run_callbacks callbacks)
    : m_guard(guard), m_plan(plan), m_callbacks(std::move(callbacks)) {}

bool run_steps::is_volume_in_place() {
    if (!m_guard.is_in_place())
        m_volume_gone = true;
    return !m_volume_gone;
}

void run_steps::step(run_step which, const std::function<void()> &work) {
    if (m_callbacks.before)
        m_callbacks.before(which);
    work();
    if (m_callbacks.after)
        m_callbacks.after(which);
}

// The engine keeps only the error of its last listing, so this one's is saved here.
void run_steps::remove_files() {
    f3write_unlink_old_files(m_guard.folder().c_str(), m_guard.start_index());
    engine_read_results results = {};
    engine_results_read(&results);
    if (m_removal_listing_error == 0)
        m_removal_listing_error = results.listing_error;
}

void run_steps::make_reading_cold() {
    if (!m_guard.volume())
        return;
    std::vector<std::string> names;
    std::string unlisted;
    test_files_names(m_guard.folder(), m_guard.start_index(), names, unlisted);
    const std::string reason = cold_read_prepare(*m_guard.volume(), m_guard.folder(), names,
                                                 unlisted, m_plan.medium_is_memory);
    if (reason.empty())
        return;
    m_may_rest_on_memory = true;
    if (m_callbacks.memory_doubt)
        m_callbacks.memory_doubt("What is read now may come from the computer's memory: " +
                                 printable_text(reason) + "\n");
}

void run_steps::read_files() {
    m_read_begun = true;
    make_reading_cold();
    const char *path = m_guard.folder().c_str();
    int *files = nullptr;
    step(run_step::list, [&] { files = ls_my_files(path, m_guard.start_index()); });
    step(run_step::read, [&] { f3read_iterate_files(path, files, m_guard.start_index(), 1); });
    std::free(files);
}

void run_steps::execute() {
    if (m_plan.remove && is_volume_in_place())
        step(run_step::remove, [this] { remove_files(); });
    if (m_plan.fill && is_volume_in_place()) {
        m_fill_begun = true;
        step(run_step::fill, [this] {
            f3write_fill_fs_in_blocks(m_guard.folder().c_str(), m_guard.start_index(), 1,
                                      m_plan.block_size);
        });
    }
    if (m_plan.read && is_volume_in_place())
        read_files();
    is_volume_in_place();
}

void run_steps::clean_up() {
    if (is_volume_in_place())
        step(run_step::clean_up, [this] { remove_files(); });
}

// A phase that a gone volume kept from beginning is no part of the run: the engine's record of it
// may be that of an earlier one.
run_scope run_steps::scope() const {
    run_scope scope;
    scope.volume_gone = m_volume_gone;
    scope.has_write = m_plan.fill && (m_fill_begun || !scope.volume_gone);
    scope.has_read = m_plan.read && (m_read_begun || !scope.volume_gone);
    scope.expects_all_written = m_plan.fill && m_plan.read;
    scope.start_index = m_guard.start_index();
    scope.removal_listing_error = m_removal_listing_error;
    scope.may_rest_on_memory = m_may_rest_on_memory;
    return scope;
}
