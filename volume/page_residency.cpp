// mincore(2) and not Linux's newer cachestat(2): both systems have it, and it follows a file system
// that is stacked upon another to where the pages really are.
#include "volume/page_residency.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <iterator>
#include <thread>

#include "volume/page_residency_system.h"

// Pages asked about at once, one byte each. They are mapped for that long only: 64 MiB of addresses
// can be had where those of a large file cannot.
constexpr std::uint64_t pages_per_question = 16384;

constexpr std::chrono::milliseconds pauses[] = {
    std::chrono::milliseconds{0}, std::chrono::milliseconds{20}, std::chrono::milliseconds{100},
    std::chrono::milliseconds{300}, std::chrono::milliseconds{600}};

// How many of the pages, at most those of one question, are in memory. Sets `error` to 0 or to what
// failed.
static std::uint64_t resident_pages(int fd, std::uint64_t offset, std::uint64_t pages,
                                    std::uint64_t page, int &error) {
    void *const mapping = mmap(nullptr, pages * page, PROT_READ, page_residency_mapping, fd,
                               static_cast<off_t>(offset));
    if (mapping == MAP_FAILED) {
        error = errno;
        return 0;
    }
    std::array<unsigned char, pages_per_question> answers = {};
    error = page_residency_ask(mapping, pages * page, answers.data());
    munmap(mapping, pages * page);
    return static_cast<std::uint64_t>(
        std::count_if(answers.begin(), answers.begin() + static_cast<std::ptrdiff_t>(pages),
                      [](unsigned char answer) { return (answer & 1U) != 0; }));
}

bool page_residency_insist(const std::function<bool(bool again)> &stays) {
    bool stay = stays(false);
    for (auto pause = std::begin(pauses); stay && pause != std::end(pauses); ++pause) {
        std::this_thread::sleep_for(*pause);
        stay = stays(true);
    }
    return stay;
}

std::optional<std::uint64_t> page_residency_bytes(int fd, std::uint64_t offset, std::uint64_t bytes,
                                                  int &error) {
    error = 0;
    if (!page_residency_is_told(fd))
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
