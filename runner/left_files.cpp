// SPDX-License-Identifier: GPL-3.0-or-later
// The folder itself has the answer, but a volume that has just failed may never give it. It is
// asked on a thread of its own, which owns all that it uses and is left behind in that case.
#include "runner/left_files.h"

#include "model/engine_results.h"
#include "report/run_snapshot.h"
#include "runner/test_files.h"
#include "volume/answer_in_time.h"

static bool is_described_as(const volume_info &before, const std::string &folder) {
    volume_info now;
    std::string error;
    return volume_describe(folder, now, error) && volume_is_still(before, now);
}

static left_files look(const left_files_question &question) {
    left_files found;
    found.volume_replaced = question.anchor && !question.anchor->is_in_place();
    found.volume_gone = found.volume_replaced ||
                        (question.volume && !is_described_as(*question.volume, question.folder));
    // None of the files in a replaced folder is ours.
    if (!found.volume_gone)
        found.files = test_files_text_of(question.folder, question.start_index);
    return found;
}

left_files left_files_look(const left_files_question &question,
                           std::chrono::milliseconds patience) {
    return answer_in_time(patience, [question] { return look(question); }).value_or(left_files{});
}

left_files left_files_look(const run_guard &guard, std::chrono::milliseconds patience) {
    return left_files_look({.folder = guard.folder(),
                            .start_index = guard.start_index(),
                            .volume = guard.volume(),
                            .anchor = guard.anchor()},
                           patience);
}

std::optional<std::string> left_files_recorded(int start_index) {
    engine_write_results written = {};
    engine_results_write(&written);
    if (written.files_created == 0)
        return std::nullopt;
    std::string text = run_snapshot_file_name(start_index);
    if (written.files_created > 1)
        text += " to " + run_snapshot_file_name(start_index + written.files_created - 1);
    return text;
}
