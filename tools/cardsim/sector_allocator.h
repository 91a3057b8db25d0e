// SPDX-License-Identifier: GPL-3.0-or-later
/* Allocates card sectors, lowest number first: a fresh card fills in the order of writing,
 * and freed sectors are reused before higher ones. Free sectors are kept as ranges, so that
 * freeing a file of a million sectors costs as much as freeing one range. */
#ifndef TROVIK_TOOLS_CARDSIM_SECTOR_ALLOCATOR_H
#define TROVIK_TOOLS_CARDSIM_SECTOR_ALLOCATOR_H

#include <cstdint>
#include <map>

namespace cardsim {

struct sector_run {
    uint64_t first;
    uint64_t count;
};

class sector_allocator {
 public:
    explicit sector_allocator(uint64_t sectors);

    /* Takes up to wanted sectors from the lowest free run. A count of 0 means that the card
     * is full (or wanted is 0). */
    sector_run take(uint64_t wanted);

    /* Frees a run that was taken, whole or in parts. */
    void give_back(sector_run run);

    uint64_t taken() const { return m_taken; }

 private:
    std::map<uint64_t, uint64_t> m_free;  // first sector -> number of sectors
    uint64_t m_taken = 0;
};

}  // namespace cardsim

#endif
