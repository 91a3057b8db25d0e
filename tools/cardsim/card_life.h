/* How a card's days end: it locks itself, or it is gone. Counts bytes and, for a
 * card that goes after some seconds, the time since the first read or write.
 * The clock is handed in, so that tests need not wait. */
#ifndef TROVIK_TOOLS_CARDSIM_CARD_LIFE_H
#define TROVIK_TOOLS_CARDSIM_CARD_LIFE_H

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <optional>

namespace cardsim {

/* What the card is pulled out in the middle of. */
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

    /* 0, or the error that every call gets from now on. */
    int presence(time_point now);

    /* This is being done now. The card may be gone from here on. */
    void doing(life_moment moment);

    /* 0, or the error that everything that changes the card gets from now on. */
    int change(time_point now);

    /* A write of so many bytes begins: how many of them the card still takes.
     * Returns 0 with *accepted >= 1 (unless bytes is 0), or the error. */
    int write_begin(time_point now, uint64_t bytes, uint64_t *accepted);
    /* So many bytes of it have been written. */
    void write_done(uint64_t bytes) { m_written += bytes; }

    /* A read of so many bytes. A read that does not fit before the card is gone
     * fails as a whole: FUSE has no shorter answer that does not mean the end of
     * the file. */
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
