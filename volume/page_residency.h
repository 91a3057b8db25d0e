// What the system knows about the pages of an open file; one implementation per system.
#pragma once

#include <cstdint>

// Asks the system to forget what it keeps of the file. Only what has been written out can go.
void page_residency_release(int fd, std::uint64_t bytes);

// Writes the file out. 0, or the error number.
int page_residency_flush(int fd);

// Number of bytes of the file's first `bytes` that lie in memory; 0 where that cannot be known.
std::uint64_t page_residency_bytes(int fd, std::uint64_t bytes);
