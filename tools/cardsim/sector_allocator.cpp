// SPDX-License-Identifier: GPL-3.0-or-later
/* The card's free sectors, in ranges that are merged when they touch. */
#include "tools/cardsim/sector_allocator.h"

#include <algorithm>

namespace cardsim {

sector_allocator::sector_allocator(uint64_t sectors) {
    if (sectors > 0) {
        m_free.emplace(0, sectors);
    }
}

sector_run sector_allocator::take(uint64_t wanted) {
    if (wanted == 0 || m_free.empty()) {
        return {0, 0};
    }
    auto lowest = m_free.extract(m_free.begin());
    const sector_run run = {lowest.key(), std::min(lowest.mapped(), wanted)};
    if (run.count < lowest.mapped()) {
        lowest.key() += run.count;
        lowest.mapped() -= run.count;
        m_free.insert(m_free.begin(), std::move(lowest));
    }
    m_taken += run.count;
    return run;
}

void sector_allocator::give_back(sector_run run) {
    if (run.count == 0) {
        return;
    }
    m_taken -= run.count;
    auto next = m_free.lower_bound(run.first);
    if (next != m_free.end() && run.first + run.count == next->first) {
        run.count += next->second;
        next = m_free.erase(next);
    }
    if (next != m_free.begin()) {
        const auto before = std::prev(next);
        if (before->first + before->second == run.first) {
            before->second += run.count;
            return;
        }
    }
    m_free.emplace_hint(next, run.first, run.count);
}

}  // namespace cardsim
