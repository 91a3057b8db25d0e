// SPDX-License-Identifier: GPL-3.0-or-later
/* The card as its host sees it: numbered sectors of 512 bytes, with faults. A fault depends
 * on the sector's number, the traits and the seed only, never on the order or time of
 * requests, so that runs are repeatable. Sector numbers are always the host's, also beyond
 * the real size. Knows no files and no FUSE. */
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

/* The behaviour past the real size. */
enum class card_beyond {
    wrap,       // sector n lands on n modulo the real number of sectors
    wrap_last,  // folded into the last sectors of the real ones
    drop_00,    // writes are lost, reads give 0x00
    drop_ff,    // writes are lost, reads give 0xFF
    garbage,    // writes are lost, reads give random bytes that stay the same
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

    /* False if one of these sectors cannot be read / written: EIO. */
    bool readable(uint64_t first, uint64_t count) const;
    bool writable(uint64_t first, uint64_t count) const;

    /* Read and write bytes at a position, in bytes from the card's start, across any number
     * of sectors. The caller checks readable() and writable() first: a request fails as a
     * whole. Return 0 or an error number. */
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
