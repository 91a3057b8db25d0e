// SPDX-License-Identifier: GPL-3.0-or-later
/* Buffered I/O on Linux always goes through the page cache, so release drops the pages;
 * dirty ones stay. */
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "model/medium.h"

int medium_flush(int fd) {
    return fdatasync(fd) == 0 ? 0 : errno;
}

int medium_release(int fd) {
    return posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
}

int medium_read_ahead(int fd) {
    return posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
}

int medium_bypass_cache(int fd) {
    const int flags = fcntl(fd, F_GETFL);
    return flags != -1 && fcntl(fd, F_SETFL, flags | O_DIRECT) == 0 ? 0 : errno;
}
