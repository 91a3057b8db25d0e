// The folder itself is the truth, but a volume that has just failed may never
// answer. It is asked on a thread of its own, which is left behind in that case.
#include "cli/left_files.h"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "model/engine_results.h"
#include "report/test_files.h"

// A user who stops a run should not wait longer for what is left than for the rest.
constexpr std::chrono::seconds patience{1};

namespace {

struct answer {
    std::mutex mutex;
    std::condition_variable arrived;
    bool is_there = false;
    std::optional<std::string> text;  // none when the folder could not be read
};

}  // namespace

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
    const auto shared = std::make_shared<answer>();
    std::thread([shared, folder, start_index] {
        test_file_scan scan;
        std::string error;
        const bool complete = test_files_scan(folder, start_index, scan, error);
        const std::lock_guard lock(shared->mutex);
        if (complete)
            shared->text = test_files_text(scan.numbers);
        shared->is_there = true;
        shared->arrived.notify_one();
    }).detach();
    std::unique_lock lock(shared->mutex);
    shared->arrived.wait_for(lock, patience, [&] { return shared->is_there; });
    return shared->text ? shared->text : recorded_files(start_index);
}
