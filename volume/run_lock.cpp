// flock(2), which both systems have, on a descriptor of its own: the lock belongs to the open
// folder, so it ends with the last descriptor. A file system in user space may handle locks itself
// and never answer, in spite of the request not to wait; it is asked on a thread of its own, which
// is left behind in that case. The folder is opened before that, however long it takes: what works
// on the card for another run may be a while about its last request, and opens nothing meanwhile.
#include "volume/run_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <optional>
#include <utility>

#include "volume/answer_in_time.h"
#include "volume/file_system_claim.h"
#include "volume/naming.h"

constexpr std::chrono::seconds patience{1};

namespace {

struct attempt {
    owned_descriptor held;  // the folder, locked
    bool busy = false;      // another run holds it
};

}  // namespace

// A folder that is not held is open no longer.
static attempt try_to_lock(owned_descriptor folder) {
    if (uninterrupted([&] { return flock(folder.get(), LOCK_EX | LOCK_NB); }) != 0)
        return {owned_descriptor(), errno == EWOULDBLOCK};
    return {std::move(folder), false};
}

bool run_lock::take(const std::string &folder) {
    struct stat status = {};
    if (stat(folder.c_str(), &status) != 0)
        return true;
    for (const owned_descriptor &held : m_held) {
        if (held.leads_to(status))
            return true;
    }
    owned_descriptor opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC));
    if (!opened.is_open())
        return true;
    std::optional<attempt> made = answer_in_time(patience, [opened = std::move(opened)]() mutable {
        return try_to_lock(std::move(opened));
    });
    if (!made)
        return true;
    if (made->held.is_open())
        m_held.push_back(std::move(made->held));
    return !made->busy;
}

bool run_lock::take_file_system(dev_t device) {
    if (m_file_systems.contains(device))
        return true;
    file_system_claim claim = file_system_claim_make(device);
    if (claim.held.is_open())
        m_file_systems.emplace(device, std::move(claim.held));
    return !claim.busy;
}
