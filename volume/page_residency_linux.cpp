#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "volume/page_residency.h"
#include "volume/page_residency_system.h"

// Private, since some file systems share no mapping.
const int page_residency_mapping = MAP_PRIVATE | MAP_NORESERVE;

// mincore() calls every page of a file resident that its caller neither owns (or may act as its
// owner, as root does) nor may write. The flag may be set by the same owner alone, which also holds
// on a file system that is mounted read-only, where nobody may write.
bool page_residency_is_told(int fd) {
    const int flags = fcntl(fd, F_GETFL);
    if (flags >= 0 && fcntl(fd, F_SETFL, flags | O_NOATIME) == 0) {
        fcntl(fd, F_SETFL, flags);
        return true;
    }
    const std::string path = "/proc/self/fd/" + std::to_string(fd);
    return faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0;
}

int page_residency_ask(void *mapping, std::uint64_t bytes, unsigned char *answers) {
    return mincore(mapping, bytes, answers) == 0 ? 0 : errno;
}

void page_residency_release(int fd, std::uint64_t /*bytes*/) {
    posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
}

int page_residency_flush(int fd) {
    return fsync(fd) == 0 ? 0 : errno;
}
