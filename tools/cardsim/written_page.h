// SPDX-License-Identifier: GPL-3.0-or-later
/* Joins the small writes of one file to pages. A disk's file system keeps written data in
 * the page cache, whatever the size of the writes; FUSE keeps only pages that a single write
 * filled. The pages joined here are stored in the page cache to make up for that. This is
 * bookkeeping only: fuse_io.cpp decides when a page may be stored. */
#ifndef TROVIK_TOOLS_CARDSIM_WRITTEN_PAGE_H
#define TROVIK_TOOLS_CARDSIM_WRITTEN_PAGE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace cardsim {

constexpr size_t HOST_PAGE_SIZE = 4096;

/* Written bytes of a file, from a page's first byte on. */
struct written_bytes {
    uint64_t offset;
    std::vector<std::byte> bytes;
};

class written_page {
 public:
    /* Before a write. Returns, and drops, the joined page if it is complete and this write
     * does not touch it. */
    std::optional<written_bytes> before_write(uint64_t offset, uint64_t length);

    /* After a write of which the card took these bytes, out of `wanted`. */
    void after_write(uint64_t offset, std::span<const std::byte> taken, size_t wanted);

    /* At a flush. Returns, and drops, the joined page if it is complete or the file ends in
     * it. */
    std::optional<written_bytes> at_flush(uint64_t file_size);

    /* Drops the page: the file was cut, or is no longer open for writing. */
    void forget();

 private:
    std::optional<written_bytes> hand_over();

    // Empty for files that are never written in small pieces: most of them.
    std::unique_ptr<std::array<std::byte, HOST_PAGE_SIZE>> m_bytes;
    uint64_t m_offset = 0;  // of the page in the file
    size_t m_filled = 0;    // bytes from the page's start; 0: no page
};

}  // namespace cardsim

#endif
