// flock(2), which both systems have, on a descriptor of its own: the lock belongs to the open
// folder, so it ends with the last descriptor. A file system in user space may handle locks itself
// and never answer, in spite of the request not to wait; it is asked on a thread of its own, which
// is left behind in that case.
#include "volume/run_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

constexpr std::chrono::seconds patience{1};

namespace {

// What the asking thread and the one that waits for it share.
struct answer {
    std::mutex mutex;
    std::condition_variable arrived;
    bool is_there = false;
    bool is_unwanted = false;  // nobody waits for it any more
    int descriptor = -1;       // of the locked folder
    bool busy = false;
};

}  // namespace

// The error number, 0 when the folder is locked now. `descriptor` is to be closed by the caller.
static int open_and_lock(const std::string &folder, int &descriptor) {
    descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0)
        return errno;
    int failed = 0;
    do {
        failed = flock(descriptor, LOCK_EX | LOCK_NB);
    } while (failed != 0 && errno == EINTR);
    return failed == 0 ? 0 : errno;
}

static void ask(const std::shared_ptr<answer> &shared, const std::string &folder) {
    int descriptor = -1;
    const int error = open_and_lock(folder, descriptor);
    const std::lock_guard guard(shared->mutex);
    if (descriptor >= 0 && (error != 0 || shared->is_unwanted)) {
        close(descriptor);
        descriptor = -1;
    }
    shared->descriptor = descriptor;
    shared->busy = error == EWOULDBLOCK;
    shared->is_there = true;
    shared->arrived.notify_one();
}

static bool is_folder(int descriptor, const struct stat &folder) {
    struct stat status = {};
    return fstat(descriptor, &status) == 0 && status.st_dev == folder.st_dev &&
           status.st_ino == folder.st_ino;
}

run_lock::~run_lock() {
    for (const int descriptor : m_descriptors)
        close(descriptor);
}

bool run_lock::take(const std::string &folder) {
    struct stat status = {};
    if (stat(folder.c_str(), &status) != 0)
        return true;
    for (const int descriptor : m_descriptors) {
        if (is_folder(descriptor, status))
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
    shared->arrived.wait_for(guard, patience, [&] { return shared->is_there; });
    shared->is_unwanted = true;
    if (shared->descriptor >= 0)
        m_descriptors.push_back(shared->descriptor);
    return !shared->busy;
}
