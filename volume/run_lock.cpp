// SPDX-License-Identifier: GPL-3.0-or-later
// flock(2) exists on both systems, and its lock ends with the last descriptor of the open folder. A
// FUSE file system may handle locks itself and never answer, even with LOCK_NB, so the call runs on
// a thread of its own. The folder is opened before that, without a limit of time: a card that is
// busy with another run's request may take long to open a folder, and giving up would miss that
// run.
#include "volume/run_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <optional>
#include <utility>

#include "volume/answer_in_time.h"
#include "volume/posix.h"

constexpr std::chrono::seconds patience{1};

namespace {

struct attempt {
    unique_fd held;  // the locked folder
    int error = 0;
};

}  // namespace

// Closes the folder if it is not locked.
static attempt try_to_lock(unique_fd folder) {
    if (retry_eintr([&] { return flock(folder.get(), LOCK_EX | LOCK_NB); }) != 0)
        return {unique_fd(), errno};
    return {std::move(folder), 0};
}

static run_lock_answer failure(int error) {
    return {run_lock_state::failed, error};
}

run_lock_answer run_lock::take_file_system(dev_t device) {
    if (m_file_systems.contains(device))
        return {};
    int error = 0;
    unique_fd held = run_lock_file_system(device, error);
    if (!held.is_open())
        return error == EADDRINUSE ? run_lock_answer{run_lock_state::held_by_run} : failure(error);
    m_file_systems.emplace(device, std::move(held));
    return {};
}

run_lock_answer run_lock::take(const std::string &folder) {
    struct stat status = {};
    if (stat(folder.c_str(), &status) != 0)
        return failure(errno);
    for (const unique_fd &held : m_folders)
        if (held.leads_to(status))
            return {};
    unique_fd opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC));
    if (!opened.is_open())
        return failure(errno);
    std::optional<attempt> made = answer_in_time(patience, [opened = std::move(opened)]() mutable {
        return try_to_lock(std::move(opened));
    });
    if (!made)
        return failure(ETIMEDOUT);
    if (!made->held.is_open())
        return made->error == EWOULDBLOCK ? run_lock_answer{run_lock_state::locked}
                                          : failure(made->error);
    m_folders.push_back(std::move(made->held));
    return {};
}
