// Asks what a file system that hangs may never answer, without hanging with it. The question is
// left behind with its thread then, and must own all that it uses; what it comes to later is
// destroyed there.
#pragma once

#include <chrono>
#include <future>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

// What `ask()` returns, on a thread of its own. nullopt when it has not returned within `patience`,
// or when the system has no thread to spare. Any thread.
template <typename question>
auto answer_in_time(std::chrono::milliseconds patience, question ask)
    -> std::optional<decltype(ask())> {
    std::packaged_task<decltype(ask())()> task(std::move(ask));
    std::future<decltype(ask())> answer = task.get_future();
    try {
        std::thread(std::move(task)).detach();
    } catch (const std::system_error &) {
        return std::nullopt;
    }
    if (answer.wait_for(patience) != std::future_status::ready)
        return std::nullopt;
    return answer.get();
}
