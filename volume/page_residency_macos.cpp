// A descriptor that bypasses the cache still gets what is in it already; only invalidating a
// mapping of the file takes that away.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "volume/page_residency.h"

constexpr std::uint64_t pages_per_question = 65536;

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

std::uint64_t page_residency_bytes(int fd, std::uint64_t bytes) {
    char *const mapping = static_cast<char *>(mmap(nullptr, bytes, PROT_READ, MAP_SHARED, fd, 0));
    if (mapping == MAP_FAILED)
        return 0;
    const auto page = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
    std::vector<char> answers(pages_per_question);
    std::uint64_t resident = 0;
    for (std::uint64_t offset = 0; offset < bytes; offset += pages_per_question * page) {
        const std::uint64_t length = std::min(bytes - offset, pages_per_question * page);
        const auto pages = static_cast<std::ptrdiff_t>((length + page - 1) / page);
        if (mincore(mapping + offset, length, answers.data()) != 0)
            break;
        resident += page * static_cast<std::uint64_t>(
                               std::count_if(answers.begin(), answers.begin() + pages,
                                             [](char answer) { return (answer & 1) != 0; }));
    }
    munmap(mapping, bytes);
    return std::min(resident, bytes);
}
