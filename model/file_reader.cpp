// SPDX-License-Identifier: GPL-3.0-or-later
/* The page cache reads and fails whole folios, up to 2 MiB on Linux, so small pieces must
 * bypass it. They are read only after an error: on a sound medium they cost nothing. */
#include "model/file_reader.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "model/medium.h"
#include "model/test_sector.h"

constexpr size_t page_piece = 4096;
constexpr size_t sector_piece = SECTOR_SIZE;

ssize_t file_reader::next(char *into, size_t room) {
    for (;;) {
        const size_t asked = std::min(room, m_piece);
        const ssize_t got = read(m_fd, into, asked);
        if (got < 0 && had_error())
            errno = EIO; /* direct I/O has more names for it: ENODATA, ETIMEDOUT, EINVAL, ... */
        if (got < 0 && try_smaller_piece(asked))
            continue;
        if (got > 0)
            m_position += static_cast<uint64_t>(got);
        if (m_position >= m_failed_end)
            m_piece = SIZE_MAX;
        return got;
    }
}

/* Called after a failed read. If nothing smaller is left to try: false, with the
 * reason in errno. */
bool file_reader::try_smaller_piece(size_t asked) {
    if (errno == EIO && asked > page_piece) {
        m_piece = page_piece;
        m_failed_end = m_position + asked;
        medium_bypass_cache(m_fd); /* if refused, errors stay as coarse as the system's pages */
        return true;
    }
    if (errno == EIO && asked > sector_piece) {
        m_piece = sector_piece;
        m_failed_end = std::max(m_failed_end, m_position + asked);
        return true;
    }
    return false;
}
