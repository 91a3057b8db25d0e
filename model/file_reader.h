// SPDX-License-Identifier: GPL-3.0-or-later
/* Reads a file from start to end. An input/output error fails a whole request, including
 * its readable sectors. The reader then continues in pieces of 4 KiB and 512 bytes up to
 * the sector that fails. One thread at a time. */
#ifndef TROVIK_MODEL_FILE_READER_H
#define TROVIK_MODEL_FILE_READER_H

#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

/* Direct I/O needs buffers at a multiple of the device's block: 4 KiB is the largest. */
constexpr size_t file_reader_alignment = 4096;

class file_reader {
 public:
    /* The descriptor stays the caller's. The reader may switch it to direct I/O. */
    explicit file_reader(int fd) : m_fd(fd) {}

    /* As read(2). `into` should have file_reader_alignment. If the retry after an
     * input/output error succeeds, reading continues, and had_error() returns true. Any
     * later error is returned as EIO. */
    ssize_t next(char *into, size_t room);

    uint64_t position() const { return m_position; } /* bytes read so far */
    bool had_error() const { return m_failed_end != 0; }

 private:
    bool try_smaller_piece(size_t asked);

    int m_fd;
    uint64_t m_position = 0;
    uint64_t m_failed_end = 0; /* where the last request that failed would have ended */
    size_t m_piece = SIZE_MAX; /* bytes of the largest request */
};

#endif
