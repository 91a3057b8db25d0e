// The folder itself is the truth, but a volume that has just failed may never
// answer. It is asked on a thread of its own, which is left behind in that case.
#include "cli/left_files.h"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include "cli/test_files.h"
#include "model/engine_results.h"

constexpr std::chrono::seconds patience{2};

namespace {

struct answer {
    std::mutex mutex;
    std::condition_variable arrived;
    std::optional<std::string> text;
};

}  // namespace

// What the engine has written in this process.
static std::string recorded_files(int start_index) {
    engine_write_results written = {};
    engine_results_write(&written);
    if (written.files_created == 0)
        return {};
    std::string text = std::to_string(start_index + 1) + ".fff";
    if (written.files_created > 1)
        text += " to " + std::to_string(start_index + written.files_created) + ".fff";
    return text;
}

std::string left_files_text(const std::string &folder, int start_index) {
    const auto shared = std::make_shared<answer>();
    std::thread([shared, folder, start_index] {
        test_file_scan scan;
        std::string error;
        const bool complete = test_files_scan(folder, start_index, scan, error);
        const std::lock_guard lock(shared->mutex);
        if (complete)
            shared->text = test_files_text(scan.numbers);
        else
            shared->text = recorded_files(start_index);
        shared->arrived.notify_one();
    }).detach();
    std::unique_lock lock(shared->mutex);
    shared->arrived.wait_for(lock, patience, [&] { return shared->text.has_value(); });
    return shared->text ? *shared->text : recorded_files(start_index);
}
