// SPDX-License-Identifier: GPL-3.0-or-later
// The page cache's copy of an open file or block device: flush it, drop it, ask how much of it is
// resident.
//
// Dropping is only advice. Pages that are dirty, locked or mapped stay, and the calls still
// succeed, so the one way to know is to ask afterwards. None of these functions reads data. All:
// any thread.
#ifndef TROVIK_VOLUME_PAGE_CACHE_H
#define TROVIK_VOLUME_PAGE_CACHE_H

#include <cstdint>
#include <functional>
#include <optional>

// Writes dirty pages to the device. Returns 0 or the error number.
int page_cache_flush(int fd);

// Drops the clean pages of a file of `bytes` bytes.
void page_cache_drop(int fd, std::uint64_t bytes);

// Returns how many of the `bytes` bytes behind `offset` (a multiple of the page size) are resident.
// On nullopt, `error` holds the error number, or 0 if the system does not tell: it tells only the
// file's owner, users who may write to it, and root, and only where files can be mapped. Needs
// 64 MiB of address space, whatever the size.
std::optional<std::uint64_t> page_cache_resident_bytes(int fd, std::uint64_t offset,
                                                       std::uint64_t bytes, int &error);

// Calls `stays` until it returns false, at most six times within about a second: a file system may
// still be busy with its last write, a virus scanner with the new file. `again` is false in the
// first call. Returns the last answer.
bool page_cache_retry(const std::function<bool(bool again)> &stays);

// For page_cache.cpp; one implementation per system.

// Whether the system tells this user which pages of the file are resident.
bool page_cache_is_told(int fd);

// Sets bit 0 of one byte in `answers` for each resident page of the range. Returns 0 or the error
// number.
int page_cache_ask(int fd, std::uint64_t offset, std::uint64_t bytes, unsigned char *answers);

#endif
