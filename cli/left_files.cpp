// The folder itself is the truth, but a volume that has just failed may never
// answer. It is asked on a thread of its own, which is left behind in that case.
#include "cli/left_files.h"

#include <chrono>
#include <optional>

#include "model/engine_results.h"
#include "report/test_files.h"
#include "volume/answer_in_time.h"

// A user who stops a run should not wait longer for what is left than for the rest.
constexpr std::chrono::seconds patience{1};

// What the engine has written in this process. What an earlier run left is not
// among it, so none written does not mean none there.
static std::optional<std::string> recorded_files(int start_index) {
    engine_write_results written = {};
    engine_results_write(&written);
    if (written.files_created == 0)
        return std::nullopt;
    std::string text = std::to_string(start_index + 1) + ".fff";
    if (written.files_created > 1)
        text += " to " + std::to_string(start_index + written.files_created) + ".fff";
    return text;
}

std::optional<std::string> left_files_text(const std::string &folder, int start_index) {
    const auto there = answer_in_time(
        patience, [folder, start_index] { return test_files_text_of(folder, start_index); });
    return there && *there ? *there : recorded_files(start_index);
}
