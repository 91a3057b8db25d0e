// A descriptor that bypasses the cache still gets what is in it already; only invalidating a
// mapping of the file takes that away.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "volume/page_residency.h"

// Pages asked about at once, one byte each, and mapped for that long only.
constexpr std::uint64_t pages_per_question = 16384;

// How many of the pages, at most those of one question, are in memory. Sets `error` to 0 or to what
// failed.
static std::uint64_t resident_pages(int fd, std::uint64_t offset, std::uint64_t pages,
                                    std::uint64_t page, int &error) {
    error = 0;
    void *const mapping =
        mmap(nullptr, pages * page, PROT_READ, MAP_SHARED, fd, static_cast<off_t>(offset));
    if (mapping == MAP_FAILED) {
        error = errno;
        return 0;
    }
    std::array<char, pages_per_question> answers = {};
    if (mincore(static_cast<char *>(mapping), pages * page, answers.data()) != 0)
        error = errno;
    munmap(mapping, pages * page);
    return static_cast<std::uint64_t>(
        std::count_if(answers.begin(), answers.begin() + static_cast<std::ptrdiff_t>(pages),
                      [](char answer) { return (answer & 1) != 0; }));
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

std::optional<std::uint64_t> page_residency_bytes(int fd, std::uint64_t offset, std::uint64_t bytes,
                                                  int &error) {
    error = 0;
    const auto page = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
    std::uint64_t resident = 0;
    for (std::uint64_t done = 0; done < bytes; done += pages_per_question * page) {
        const std::uint64_t pages = std::min((bytes - done + page - 1) / page, pages_per_question);
        resident += page * resident_pages(fd, offset + done, pages, page, error);
        if (error == 0)
            continue;
        // No file of this file system can be mapped.
        if (error == ENODEV)
            error = 0;
        return std::nullopt;
    }
    return std::min(resident, bytes);
}
