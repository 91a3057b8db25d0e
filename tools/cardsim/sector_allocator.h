/* Which card sectors are free. Hands them out from the lowest number up, so a
 * fresh card is filled in the order of writing and freed sectors are used again
 * before untouched ones beyond them. Free room is kept as ranges: giving back a
 * file of a million sectors costs as much as giving back one range. */
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

    /* Takes the lowest free run, at most wanted sectors of it. A count of 0 means
     * that the card is full (or nothing was wanted). */
    sector_run take(uint64_t wanted);

    /* Gives back a run that was taken, whole or in parts. */
    void give_back(sector_run run);

    uint64_t taken() const { return m_taken; }

 private:
    std::map<uint64_t, uint64_t> m_free;  // first sector -> number of sectors
    uint64_t m_taken = 0;
};

}  // namespace cardsim

#endif
