// SPDX-License-Identifier: GPL-3.0-or-later
// The page cache on macOS. A descriptor with F_NOCACHE still reads resident pages; only
// invalidating a mapping of the file drops them.
#include <fcntl.h>
#include <sys/mman.h>

#include <cerrno>

#include "volume/page_cache.h"

int page_cache_flush(int fd) {
    return fcntl(fd, F_FULLFSYNC, 0) == -1 ? errno : 0;
}

void page_cache_drop(int fd, std::uint64_t bytes) {
    void *const mapping = mmap(nullptr, bytes, PROT_READ, MAP_SHARED, fd, 0);
    if (mapping == MAP_FAILED)
        return;
    msync(mapping, bytes, MS_INVALIDATE);
    munmap(mapping, bytes);
}

// No restriction to the owner is known here. If the system reported every page as resident, as
// Linux does, the result would be unproven, never a pass.
bool page_cache_is_told(int /*fd*/) {
    return true;
}

int page_cache_ask(int fd, std::uint64_t offset, std::uint64_t bytes, unsigned char *answers) {
    void *const mapping =
        mmap(nullptr, bytes, PROT_READ, MAP_SHARED, fd, static_cast<off_t>(offset));
    if (mapping == MAP_FAILED)
        return errno;
    const int error = mincore(mapping, bytes, reinterpret_cast<char *>(answers)) == 0 ? 0 : errno;
    munmap(mapping, bytes);
    return error;
}
