// flock(2), which both systems have, on a descriptor of its own: the lock belongs to the open
// folder, so it ends with the last descriptor. A file system in user space may handle locks itself
// and never answer, in spite of the request not to wait; it is asked on a thread of its own, which
// is left behind in that case.
#include "volume/run_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include "volume/naming.h"

constexpr std::chrono::seconds patience{1};

namespace {

struct attempt {
    owned_descriptor held;  // the folder, locked
    bool busy = false;      // another run holds it
};

// What the asking thread and the one that waits for it share.
struct answer {
    std::mutex mutex;
    std::condition_variable arrived;
    std::optional<attempt> made;
    bool is_unwanted = false;  // nobody waits for it any more
};

}  // namespace

// A folder that is not held is open no longer.
static attempt try_to_lock(const std::string &folder) {
    owned_descriptor opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC));
    if (!opened.is_open())
        return {};
    if (uninterrupted([&] { return flock(opened.get(), LOCK_EX | LOCK_NB); }) != 0)
        return {owned_descriptor(), errno == EWOULDBLOCK};
    return {std::move(opened), false};
}

static void ask(const std::shared_ptr<answer> &shared, const std::string &folder) {
    attempt made = try_to_lock(folder);
    const std::lock_guard guard(shared->mutex);
    if (!shared->is_unwanted)
        shared->made.emplace(std::move(made));
    shared->arrived.notify_one();
}

bool run_lock::take(const std::string &folder) {
    struct stat status = {};
    if (stat(folder.c_str(), &status) != 0)
        return true;
    for (const owned_descriptor &held : m_held) {
        if (held.leads_to(status))
            return true;
    }
    const auto shared = std::make_shared<answer>();
    try {
        std::thread(ask, shared, folder).detach();
    } catch (const std::system_error &) {
        // Without a thread to spare there is no run either.
        return true;
    }
    std::unique_lock guard(shared->mutex);
    shared->arrived.wait_for(guard, patience, [&] { return shared->made.has_value(); });
    shared->is_unwanted = true;
    if (shared->made && shared->made->held.is_open())
        m_held.push_back(std::move(shared->made->held));
    return !shared->made || !shared->made->busy;
}
