// A descriptor that bypasses the cache still gets what is in it already; only invalidating a
// mapping of the file takes that away.
#include <fcntl.h>
#include <sys/mman.h>

#include <cerrno>

#include "volume/page_residency.h"
#include "volume/page_residency_system.h"

const int page_residency_mapping = MAP_SHARED;

// No user is known to be told otherwise than the owner. Were one told that all is there, as on
// Linux, that would be in doubt and no pass.
bool page_residency_is_told(int /*fd*/) {
    return true;
}

int page_residency_ask(void *mapping, std::uint64_t bytes, unsigned char *answers) {
    return mincore(mapping, bytes, reinterpret_cast<char *>(answers)) == 0 ? 0 : errno;
}

void page_residency_release(int fd, std::uint64_t bytes) {
    void *const mapping = mmap(nullptr, bytes, PROT_READ, MAP_SHARED, fd, 0);
    if (mapping == MAP_FAILED)
        return;
    msync(mapping, bytes, MS_INVALIDATE);
    munmap(mapping, bytes);
}

int page_residency_flush(int fd) {
    return fcntl(fd, F_FULLFSYNC, 0) == -1 ? errno : 0;
}
