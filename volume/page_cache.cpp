// SPDX-License-Identifier: GPL-3.0-or-later
// Asks with mincore(2) instead of Linux's newer cachestat(2): macOS has it too, and for a stacked
// file system it looks where the pages really are.
#include "volume/page_cache.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <iterator>
#include <thread>

// One byte of answer each. 64 MiB of address space can be had even where that of a large file
// cannot.
constexpr std::uint64_t pages_per_question = 16384;

constexpr std::chrono::milliseconds pauses[] = {
    std::chrono::milliseconds{0}, std::chrono::milliseconds{20}, std::chrono::milliseconds{100},
    std::chrono::milliseconds{300}, std::chrono::milliseconds{600}};

// Counts the resident pages of one question's range. Sets `error` to 0 or the error number.
static std::uint64_t count_resident(int fd, std::uint64_t offset, std::uint64_t pages,
                                    std::uint64_t page, int &error) {
    std::array<unsigned char, pages_per_question> answers = {};
    error = page_cache_ask(fd, offset, pages * page, answers.data());
    return static_cast<std::uint64_t>(
        std::count_if(answers.begin(), answers.begin() + static_cast<std::ptrdiff_t>(pages),
                      [](unsigned char answer) { return (answer & 1U) != 0; }));
}

std::optional<std::uint64_t> page_cache_resident_bytes(int fd, std::uint64_t offset,
                                                       std::uint64_t bytes, int &error) {
    error = 0;
    if (!page_cache_is_told(fd))
        return std::nullopt;
    const auto page = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
    std::uint64_t resident = 0;
    for (std::uint64_t done = 0; done < bytes; done += pages_per_question * page) {
        const std::uint64_t pages = std::min((bytes - done + page - 1) / page, pages_per_question);
        resident += page * count_resident(fd, offset + done, pages, page, error);
        if (error == 0)
            continue;
        // This file system cannot map files.
        if (error == ENODEV)
            error = 0;
        return std::nullopt;
    }
    return std::min(resident, bytes);
}

bool page_cache_retry(const std::function<bool(bool again)> &stays) {
    bool stay = stays(false);
    for (auto pause = std::begin(pauses); stay && pause != std::end(pauses); ++pause) {
        std::this_thread::sleep_for(*pause);
        stay = stays(true);
    }
    return stay;
}
