/* The card as its host sees it: numbered sectors of 512 bytes, and what a bad
 * card makes of them. Every fault is a function of the sector's number, the
 * traits and the seed, never of the order or the time of the requests, so that a
 * run can be repeated. Sector numbers are always those the host uses, also for
 * faults of sectors beyond the real size. Knows no files and no FUSE. */
#ifndef TROVIK_TOOLS_CARDSIM_CARD_H
#define TROVIK_TOOLS_CARDSIM_CARD_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <span>
#include <utility>

#include "tools/cardsim/sector_ranges.h"
#include "tools/cardsim/sector_store.h"

namespace cardsim {

constexpr size_t CARD_SECTOR_SIZE = 512;
constexpr unsigned CARD_SECTOR_BITS = 4096;

/* What lies past the real size. */
enum class card_beyond {
    wrap,       // sector n lands on n modulo the real number of sectors
    wrap_last,  // folded into the last sectors of the real ones
    drop_00,    // writes vanish, reads give 0x00
    drop_ff,    // writes vanish, reads give 0xFF
    garbage,    // writes vanish, reads give random bytes that stay the same
};

struct card_traits {
    uint64_t real_sectors = 0;
    card_beyond beyond = card_beyond::drop_00;
    uint64_t wrap_last_sectors = 0;  // for wrap_last: 1 to real_sectors
    uint64_t seed = 0;
    std::set<std::pair<uint64_t, unsigned>> flips = {};  // sector and bit, flipped when read
    double flip_rate = 0;                                // share of sectors with one flipped bit
    std::map<uint64_t, uint64_t> misreads = {};          // sector -> the one read instead
    sector_ranges read_errors = {};
    sector_ranges write_errors = {};
};

class card {
 public:
    card(card_traits traits, std::unique_ptr<sector_store> store);

    /* Whether all of these sectors can be read / written; false means EIO. */
    bool readable(uint64_t first, uint64_t count) const;
    bool writable(uint64_t first, uint64_t count) const;

    /* Read and write bytes from a position counted from the card's first byte,
     * across any number of sectors. They do not ask readable() and writable()
     * themselves: a request is refused as a whole, before any of it is done.
     * Return 0 or an error number. */
    int read(uint64_t position, std::span<std::byte> into);
    int write(uint64_t position, std::span<const std::byte> from);

 private:
    bool folds() const;
    uint64_t landing_position(uint64_t position, size_t *length) const;
    void fill_lost(uint64_t position, std::span<std::byte> into) const;
    int read_cells(uint64_t position, std::span<std::byte> into);
    int mistake_sectors(uint64_t position, std::span<std::byte> bytes);
    void flip_bits(uint64_t position, std::span<std::byte> bytes) const;

    card_traits m_traits;
    std::unique_ptr<sector_store> m_store;
};

}  // namespace cardsim

#endif
