// mincore(2) and not the newer cachestat(2): it follows a file system that is stacked upon another
// to where the pages really are.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>

#include "volume/page_residency.h"

// Pages asked about at once, one byte each. They are mapped for that long only: 64 MiB of addresses
// can be had where those of a large file cannot.
constexpr std::uint64_t pages_per_question = 16384;

// mincore() calls every page of a file resident that its caller neither owns (or may act as its
// owner, as root does) nor may write. The flag may be set by the same owner alone, which also holds
// on a file system that is mounted read-only, where nobody may write.
static bool is_told_the_truth(int fd) {
    const int flags = fcntl(fd, F_GETFL);
    if (flags >= 0 && fcntl(fd, F_SETFL, flags | O_NOATIME) == 0) {
        fcntl(fd, F_SETFL, flags);
        return true;
    }
    const std::string path = "/proc/self/fd/" + std::to_string(fd);
    return faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0;
}

// How many of the pages, at most those of one question, are in memory. Sets `error` to 0 or to what
// failed.
static std::uint64_t resident_pages(int fd, std::uint64_t offset, std::uint64_t pages,
                                    std::uint64_t page, int &error) {
    error = 0;
    // Private, since some file systems share no mapping; it is never touched.
    void *const mapping = mmap(nullptr, pages * page, PROT_READ, MAP_PRIVATE | MAP_NORESERVE, fd,
                               static_cast<off_t>(offset));
    if (mapping == MAP_FAILED) {
        error = errno;
        return 0;
    }
    std::array<unsigned char, pages_per_question> answers = {};
    if (mincore(mapping, pages * page, answers.data()) != 0)
        error = errno;
    munmap(mapping, pages * page);
    return static_cast<std::uint64_t>(
        std::count_if(answers.begin(), answers.begin() + static_cast<std::ptrdiff_t>(pages),
                      [](unsigned char answer) { return (answer & 1U) != 0; }));
}

void page_residency_release(int fd, std::uint64_t /*bytes*/) {
    posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
}

int page_residency_flush(int fd) {
    return fsync(fd) == 0 ? 0 : errno;
}

std::optional<std::uint64_t> page_residency_bytes(int fd, std::uint64_t offset, std::uint64_t bytes,
                                                  int &error) {
    error = 0;
    if (!is_told_the_truth(fd))
        return std::nullopt;
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
