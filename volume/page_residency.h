// What the system knows about the pages of an open file or device; one implementation per system.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

// Between two looks at pages that stay: a file system may still be busy with what it has just
// written out, a virus scanner with what it has just found. About a second in all.
constexpr std::chrono::milliseconds page_residency_pauses[] = {
    std::chrono::milliseconds{0}, std::chrono::milliseconds{20}, std::chrono::milliseconds{100},
    std::chrono::milliseconds{300}, std::chrono::milliseconds{600}};

// Asks the system to forget what it keeps of the file. Only what has been written out can go.
void page_residency_release(int fd, std::uint64_t bytes);

// Writes the file out. 0, or the error number.
int page_residency_flush(int fd);

// Number of bytes of the `bytes` behind `offset` (which begins a page) that lie in memory. nullopt
// when that is not known: `error` is 0 where the system tells nobody or not this user, and else the
// number of what failed. Nothing is read, and little memory is needed, whatever the size.
std::optional<std::uint64_t> page_residency_bytes(int fd, std::uint64_t offset, std::uint64_t bytes,
                                                  int &error);
