// SPDX-License-Identifier: GPL-3.0-or-later
// The page cache on Linux. mincore() reports every page as resident to a caller who neither owns
// the file nor may write to it, so such an answer must not be believed.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "volume/page_cache.h"

int page_cache_flush(int fd) {
    return fsync(fd) == 0 ? 0 : errno;
}

void page_cache_drop(int fd, std::uint64_t /*bytes*/) {
    posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
}

// Only the owner (or root) may set O_NOATIME. This also works on a read-only mount, where the test
// for write access fails.
bool page_cache_is_told(int fd) {
    const int flags = fcntl(fd, F_GETFL);
    if (flags >= 0 && fcntl(fd, F_SETFL, flags | O_NOATIME) == 0) {
        fcntl(fd, F_SETFL, flags);
        return true;
    }
    const std::string path = "/proc/self/fd/" + std::to_string(fd);
    return faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0;
}

// The mapping is private because some file systems refuse shared ones. It is never touched.
int page_cache_ask(int fd, std::uint64_t offset, std::uint64_t bytes, unsigned char *answers) {
    void *const mapping = mmap(nullptr, bytes, PROT_READ, MAP_PRIVATE | MAP_NORESERVE, fd,
                               static_cast<off_t>(offset));
    if (mapping == MAP_FAILED)
        return errno;
    const int error = mincore(mapping, bytes, answers) == 0 ? 0 : errno;
    munmap(mapping, bytes);
    return error;
}
