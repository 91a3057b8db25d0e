// SPDX-License-Identifier: GPL-3.0-or-later
/* The end of a card: it locks itself, or it is unplugged. Counts bytes, and the time since
 * the first read or write. Callers pass the time, so that tests need not wait. */
#ifndef TROVIK_TOOLS_CARDSIM_CARD_LIFE_H
#define TROVIK_TOOLS_CARDSIM_CARD_LIFE_H

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <optional>

namespace cardsim {

/* The operation during which the card is unplugged. */
enum class life_moment {
    list,    // the first listing of a folder after something was written
    remove,  // the first removal of a file
};

struct life_traits {
    std::optional<uint64_t> lock_after;                    // bytes written
    std::optional<uint64_t> unplug_after_written;          // bytes
    std::optional<uint64_t> unplug_after_read;             // bytes
    std::optional<std::chrono::nanoseconds> unplug_after;  // since the first read or write
    std::optional<life_moment> unplug_at;
    int unplug_error = ENODEV;
};

class card_life {
 public:
    using time_point = std::chrono::steady_clock::time_point;

    explicit card_life(const life_traits &traits) : m_traits(traits) {}

    /* 0, or the error of every call from now on. */
    int presence(time_point now);

    /* Notes an operation, which may be the one that ends the card. */
    void doing(life_moment moment);

    /* 0, or the error of every call that changes the card from now on. */
    int change(time_point now);

    /* Begins a write of so many bytes, of which the card takes *accepted. Returns 0 with
     * *accepted >= 1 (unless bytes is 0), or the error. */
    int write_begin(time_point now, uint64_t bytes, uint64_t *accepted);
    /* Counts the bytes written. */
    void write_done(uint64_t bytes) { m_written += bytes; }

    /* Begins a read of so many bytes. A read that crosses the card's end fails as a whole: in
     * FUSE a short answer means the end of the file. */
    int read_begin(time_point now, uint64_t bytes);

 private:
    void first_transfer(time_point now);

    life_traits m_traits;
    uint64_t m_written = 0;
    uint64_t m_read = 0;
    std::optional<time_point> m_first_transfer;
    bool m_gone = false;
};

}  // namespace cardsim

#endif
