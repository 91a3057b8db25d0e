// SPDX-License-Identifier: GPL-3.0-or-later
// The steps of a run in their order: remove old test files, fill, make the reading cold, list,
// read; later, clean up. Before each step and after the last one the volume is looked at: once
// another one has taken its place, no further step begins, and the scope says so.
//
// The engine's failures are not handled here: they end the process (model/fatal.h).
#ifndef TROVIK_RUNNER_RUN_STEPS_H
#define TROVIK_RUNNER_RUN_STEPS_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

#include "model/f3write.h"
#include "report/run_snapshot.h"
#include "runner/run_guard.h"

enum class run_step { remove, fill, list, read, clean_up };

struct run_plan {
    bool remove = false;
    bool fill = false;
    bool read = false;                             // list and read
    std::int32_t block_size = F3WRITE_BLOCK_SIZE;  // bytes per write call
    bool medium_is_memory = false;                 // see cold_read_prepare()
};

// Called on the thread of the steps. Each may be left out.
struct run_callbacks {
    std::function<void(run_step)> before;
    std::function<void(run_step)> after;
    // A line with its line break, once before the reading, when that may come from memory.
    std::function<void(const std::string &line)> memory_doubt;
};

// execute() and clean_up() belong to one thread at a time; the rest to any thread.
class run_steps {
 public:
    // Keeps a reference to `guard`, which has taken the volume.
    run_steps(const run_guard &guard, run_plan plan, run_callbacks callbacks = {});

    void execute();
    // Removes the test files, unless the volume is gone.
    void clean_up();

    // What the verdict must know of this run; while it runs, of the run so far.
    run_scope scope() const;
    bool is_volume_gone() const { return m_volume_gone; }

 private:
    bool is_volume_in_place();
    void step(run_step which, const std::function<void()> &work);
    void remove_files();
    void make_reading_cold();
    void read_files();

    const run_guard &m_guard;
    const run_plan m_plan;
    const run_callbacks m_callbacks;
    // Written by the thread of the steps.
    std::atomic<bool> m_fill_begun{false};
    std::atomic<bool> m_read_begun{false};
    std::atomic<bool> m_volume_gone{false};
    std::atomic<bool> m_may_rest_on_memory{false};
    std::atomic<std::int32_t> m_removal_listing_error{0};
};

#endif
