// SPDX-License-Identifier: GPL-3.0-or-later
/* Adding is linear: it happens once at the start. Lookups happen on every request and are
 * logarithmic. */
#include "tools/cardsim/sector_ranges.h"

#include <algorithm>

namespace cardsim {

void sector_ranges::add(uint64_t first, uint64_t last) {
    m_ranges.push_back({first, last});
    std::sort(m_ranges.begin(), m_ranges.end(),
              [](const range &a, const range &b) { return a.first < b.first; });
    std::vector<range> merged;
    for (const range &next : m_ranges) {
        // Compared without adding 1, which would wrap at the last number there is.
        if (!merged.empty() &&
            (next.first <= merged.back().last || next.first - merged.back().last == 1)) {
            merged.back().last = std::max(merged.back().last, next.last);
        } else {
            merged.push_back(next);
        }
    }
    m_ranges.swap(merged);
}

bool sector_ranges::overlap(uint64_t first, uint64_t count) const {
    if (count == 0) {
        return false;
    }
    const auto at =
        std::lower_bound(m_ranges.begin(), m_ranges.end(), first,
                         [](const range &r, uint64_t sector) { return r.last < sector; });
    return at != m_ranges.end() && at->first <= first + (count - 1);
}

}  // namespace cardsim
