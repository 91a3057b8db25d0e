/* Puts the small writes of one file together to pages, as the host's memory
 * would. A disk's file system keeps what was written in memory, whatever the size
 * of the writes; FUSE keeps only pages that one write filled. The pages that are
 * put together here are what is handed to the host's memory to make up for that.
 * Pure bookkeeping: when a page may be handed over is decided in fuse_io.cpp. */
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

/* Part of a file as the host wrote it, from a page's first byte on. */
struct written_bytes {
    uint64_t offset;
    std::vector<std::byte> bytes;
};

class written_page {
 public:
    /* A write is about to happen. Returns the page put together so far if it is
     * complete and this write leaves it alone; it is then forgotten here. */
    std::optional<written_bytes> before_write(uint64_t offset, uint64_t length);

    /* So much of it was taken by the card. wanted is what the host had sent. */
    void after_write(uint64_t offset, std::span<const std::byte> taken, size_t wanted);

    /* The file is flushed: returns the page put together so far if it is complete
     * or the file ends in it, and forgets it. */
    std::optional<written_bytes> at_flush(uint64_t file_size);

    /* The file was cut or nobody writes to it any more. */
    void forget();

 private:
    std::optional<written_bytes> hand_over();

    // Most files are never written in small pieces and do without the page.
    std::unique_ptr<std::array<std::byte, HOST_PAGE_SIZE>> m_bytes;
    uint64_t m_offset = 0;  // of the page in the file
    size_t m_filled = 0;    // bytes from the page's start; 0: no page
};

}  // namespace cardsim

#endif
