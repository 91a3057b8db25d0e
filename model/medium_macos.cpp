// SPDX-License-Identifier: GPL-3.0-or-later
/* On macOS fsync stops at the device's buffer; F_FULLFSYNC flushes that too. F_NOCACHE holds
 * for the descriptor's lifetime. */
#include <fcntl.h>

#include <cerrno>

#include "model/medium.h"

static int control(int fd, int command, int argument) {
    return fcntl(fd, command, argument) == -1 ? errno : 0;
}

int medium_flush(int fd) {
    return control(fd, F_FULLFSYNC, 0);
}

int medium_release(int fd) {
    return control(fd, F_NOCACHE, 1);
}

int medium_read_ahead(int fd) {
    return control(fd, F_RDAHEAD, 1);
}

int medium_bypass_cache(int fd) {
    return control(fd, F_NOCACHE, 1);
}
