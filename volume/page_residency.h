// What the system knows about the pages of an open file or device.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

// Asks until nothing stays in memory, at once and then again after longer and longer pauses: a file
// system may still be busy with what it has just written out, a virus scanner with what it has just
// found. `stays` is told whether it is asked again. Its last answer: true after about a second.
bool page_residency_insist(const std::function<bool(bool again)> &stays);

// Asks the system to forget what it keeps of the file. Only what has been written out can go.
void page_residency_release(int fd, std::uint64_t bytes);

// Writes the file out. 0, or the error number.
int page_residency_flush(int fd);

// Number of bytes of the `bytes` behind `offset` (which begins a page) that lie in memory. nullopt
// when that is not known: `error` is 0 where the system tells nobody or not this user, and else the
// number of what failed. Nothing is read, and little memory is needed, whatever the size.
std::optional<std::uint64_t> page_residency_bytes(int fd, std::uint64_t offset, std::uint64_t bytes,
                                                  int &error);
