// SPDX-License-Identifier: GPL-3.0-or-later
// Asks a question that a hanging file system may never answer.
#ifndef TROVIK_VOLUME_ANSWER_IN_TIME_H
#define TROVIK_VOLUME_ANSWER_IN_TIME_H

#include <chrono>
#include <future>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

// Runs `fn` on a detached thread and returns its result; nullopt on timeout, or if no thread can be
// had. `fn` must own its captures: after a timeout it keeps running, and its late result is
// destroyed on that thread. Any thread.
template <typename function>
auto answer_in_time(std::chrono::milliseconds timeout, function fn)
    -> std::optional<decltype(fn())> {
    std::packaged_task<decltype(fn())()> task(std::move(fn));
    std::future<decltype(fn())> answer = task.get_future();
    try {
        std::thread(std::move(task)).detach();
    } catch (const std::system_error &) {
        return std::nullopt;
    }
    if (answer.wait_for(timeout) != std::future_status::ready)
        return std::nullopt;
    return answer.get();
}

#endif
