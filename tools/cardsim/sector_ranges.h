// SPDX-License-Identifier: GPL-3.0-or-later
/* A set of card sectors: sorted ranges that neither touch nor overlap, searched by
 * bisection. */
#ifndef TROVIK_TOOLS_CARDSIM_SECTOR_RANGES_H
#define TROVIK_TOOLS_CARDSIM_SECTOR_RANGES_H

#include <cstdint>
#include <vector>

namespace cardsim {

class sector_ranges {
 public:
    /* Adds the sectors first to last, inclusive; first must not exceed last. */
    void add(uint64_t first, uint64_t last);

    /* True if any of the count sectors from first on is in the set. */
    bool overlap(uint64_t first, uint64_t count) const;

    bool empty() const { return m_ranges.empty(); }

 private:
    struct range {
        uint64_t first;
        uint64_t last;
    };
    std::vector<range> m_ranges;
};

}  // namespace cardsim

#endif
