// SPDX-License-Identifier: GPL-3.0-or-later
/* Going to the background: the calling process waits until the mount answers, so that a
 * script can use the folder in its next line. */

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tools/cardsim/fuse_mount.h"
#include "tools/cardsim/value_text.h"

namespace cardsim {

namespace {

constexpr int FIRST_OTHER_DESCRIPTOR = 3;

/* Closes inherited descriptors: the caller may wait for the end of a pipe, and this process
 * may run for hours. */
int keep_only(int descriptor) {
    const int kept = dup2(descriptor, FIRST_OTHER_DESCRIPTOR);
    fcntl(kept, F_SETFD, FD_CLOEXEC);
    close_range(FIRST_OTHER_DESCRIPTOR + 1, ~0U, 0);
    return kept;
}

void leave_terminal() {
    const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
    for (int standard = STDIN_FILENO; standard <= STDERR_FILENO; ++standard) {
        dup2(nowhere, standard);
    }
    close(nowhere);
    if (chdir("/") != 0) {
        return;  // harmless: only keeps a folder busy
    }
}

int run_behind(int signal_end, const std::function<int(const std::function<void()> &)> &work) {
    setsid();
    const int ready = keep_only(signal_end);
    return work([ready] {
        leave_terminal();
        const char mounted = 'm';
        // Fails only if the waiting process is gone; ignored.
        [[maybe_unused]] const ssize_t put = write(ready, &mounted, 1);
        close(ready);
    });
}

int wait_for(pid_t worker, int wait_end, const std::string &mount_point, dev_t below) {
    char mounted = 0;
    ssize_t got = 0;
    do {
        got = read(wait_end, &mounted, 1);
    } while (got < 0 && errno == EINTR);
    close(wait_end);
    if (got != 1) {
        int status = 0;
        while (waitpid(worker, &status, 0) < 0 && errno == EINTR) {
        }
        if (WIFSIGNALED(status)) {
            std::fprintf(stderr, "trovik-cardsim: ended by signal %d while mounting\n",
                         WTERMSIG(status));
        }
        return WIFEXITED(status) && WEXITSTATUS(status) != 0 ? WEXITSTATUS(status) : 1;
    }
    struct stat root = {};
    if (stat(mount_point.c_str(), &root) != 0) {
        std::fprintf(stderr, "trovik-cardsim: '%s' is mounted but does not answer: %s\n",
                     shown_text(mount_point).c_str(), std::strerror(errno));
        return 1;
    }
    if (root.st_dev == below) {
        std::fprintf(stderr, "trovik-cardsim: '%s' was unmounted at once\n",
                     shown_text(mount_point).c_str());
        return 1;
    }
    return 0;
}

}  // namespace

int background_run(const std::string &mount_point,
                   const std::function<int(const std::function<void()> &mounted)> &work) {
    struct stat folder = {};
    int ends[2] = {-1, -1};
    if (stat(mount_point.c_str(), &folder) != 0 || pipe2(ends, O_CLOEXEC) != 0) {
        std::fprintf(stderr, "trovik-cardsim: cannot prepare the mount: %s\n",
                     std::strerror(errno));
        return 1;
    }
    std::fflush(nullptr);
    const pid_t worker = fork();
    if (worker < 0) {
        std::fprintf(stderr, "trovik-cardsim: cannot go to the background: %s\n",
                     std::strerror(errno));
        return 1;
    }
    if (worker == 0) {
        close(ends[0]);
        return run_behind(ends[1], work);
    }
    close(ends[1]);
    return wait_for(worker, ends[0], mount_point, folder.st_dev);
}

}  // namespace cardsim
