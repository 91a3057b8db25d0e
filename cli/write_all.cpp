// A write may be cut short, interrupted, or refused by a terminal that somebody
// has set not to block; none of these is a failure.
#include "cli/write_all.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

bool write_all(int fd, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(fd, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<size_t>(written));
        } else if (errno == EAGAIN) {
            struct pollfd ready = {fd, POLLOUT, 0};
            poll(&ready, 1, -1);
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}
