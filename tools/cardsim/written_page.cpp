// SPDX-License-Identifier: GPL-3.0-or-later
/* Only sequential writes are joined. Anything else drops the page, which costs one read
 * from the card. An older state of a page must never reach the page cache after a newer
 * one. */
#include "tools/cardsim/written_page.h"

#include <algorithm>

namespace cardsim {

std::optional<written_bytes> written_page::hand_over() {
    written_bytes page = {m_offset, {m_bytes->begin(), m_bytes->begin() + m_filled}};
    m_filled = 0;
    return page;
}

std::optional<written_bytes> written_page::before_write(uint64_t offset, uint64_t length) {
    const bool apart = offset >= m_offset + HOST_PAGE_SIZE || offset + length <= m_offset;
    if (m_filled == HOST_PAGE_SIZE && apart) {
        return hand_over();
    }
    if (m_filled != 0 && offset != m_offset + m_filled) {
        m_filled = 0;
    }
    return std::nullopt;
}

void written_page::after_write(uint64_t offset, std::span<const std::byte> taken, size_t wanted) {
    if (taken.size() < wanted) {
        // The kernel has dropped the page in which the write stopped.
        m_filled = 0;
        return;
    }
    while (!taken.empty()) {
        const size_t within = static_cast<size_t>(offset % HOST_PAGE_SIZE);
        const size_t length = std::min(taken.size(), HOST_PAGE_SIZE - within);
        const bool follows = m_filled != 0 && offset == m_offset + m_filled;
        if (length < HOST_PAGE_SIZE && (within == 0 || follows)) {
            if (!m_bytes) {
                m_bytes = std::make_unique<std::array<std::byte, HOST_PAGE_SIZE>>();
            }
            m_offset = offset - within;
            std::copy_n(taken.begin(), length, m_bytes->begin() + within);
            m_filled = within + length;
        } else {
            m_filled = 0;  // a whole page is in the page cache already
        }
        taken = taken.subspan(length);
        offset += length;
    }
}

std::optional<written_bytes> written_page::at_flush(uint64_t file_size) {
    const bool ends_in_it = m_filled != 0 && file_size == m_offset + m_filled;
    if (m_filled == HOST_PAGE_SIZE || ends_in_it) {
        return hand_over();
    }
    m_filled = 0;
    return std::nullopt;
}

void written_page::forget() {
    m_filled = 0;
    m_bytes.reset();
}

}  // namespace cardsim
