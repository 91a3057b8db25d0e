// SPDX-License-Identifier: GPL-3.0-or-later
// The test files that a run leaves on the volume when it stops early.
#ifndef TROVIK_RUNNER_LEFT_FILES_H
#define TROVIK_RUNNER_LEFT_FILES_H

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "runner/run_guard.h"

struct left_files {
    bool volume_gone = false;      // unplugged, unmounted or replaced
    bool volume_replaced = false;  // another folder has taken the place of the volume's root
    // "1.fff to 3.fff"; empty when there are none, nullopt when the volume does not tell.
    std::optional<std::string> files;
};

struct left_files_question {
    std::string folder;
    int start_index = 0;
    std::optional<volume_info> volume = std::nullopt;  // as it was when the run began
    std::shared_ptr<const folder_anchor> anchor = {};  // on the folder
};

// Looks at the volume for `patience` at most; a volume that does not answer in time leaves
// everything at its default. Any thread.
left_files left_files_look(const left_files_question &question, std::chrono::milliseconds patience);

// The same for the volume that `guard` holds.
left_files left_files_look(const run_guard &guard, std::chrono::milliseconds patience);

// The test files that the engine has written in this process from `start_index` on. nullopt when
// it has written none: those of an earlier run are not in its record. Any thread.
std::optional<std::string> left_files_recorded(int start_index);

#endif
