// SPDX-License-Identifier: GPL-3.0-or-later
/* Debt accounting for a slow card. */
#include "tools/cardsim/throttle.h"

#include <algorithm>

namespace cardsim {

namespace {

// A request waits when the debt exceeds the first, until only the second is left. The
// difference makes every sleep at least a millisecond; the rest exceeds the usual
// oversleeping.
constexpr std::chrono::milliseconds DEBT_MOST{3};
constexpr std::chrono::milliseconds DEBT_LEFT{2};

// A request this late still counts as arriving while the card was busy: on a loaded machine
// the program wakes up late, which is not the card's fault. It is also the credit that a card
// gains while it is idle.
constexpr std::chrono::milliseconds LATENESS{25};

// The share of the rate that is left when the card's fast part is full.
constexpr uint64_t SLOWED_BY = 100;

std::chrono::nanoseconds transfer_time(uint64_t bytes, uint64_t rate) {
    if (rate == 0) {
        return std::chrono::nanoseconds{0};
    }
    const double seconds = static_cast<double>(bytes) / static_cast<double>(rate);
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::duration<double>(seconds));
}

}  // namespace

throttle::time_point throttle::charge(time_point now, uint64_t bytes, uint64_t rate,
                                      std::chrono::microseconds latency) {
    std::chrono::nanoseconds cost = transfer_time(bytes, rate) + latency;
    if (m_traits.stall_every != 0) {
        const uint64_t stalls = (m_moved % m_traits.stall_every + bytes) / m_traits.stall_every;
        cost += m_traits.stall * static_cast<int64_t>(stalls);
        m_moved += bytes;
    }
    m_busy_until = std::max(m_busy_until, now - LATENESS) + cost;
    return m_busy_until - now > DEBT_MOST ? m_busy_until - DEBT_LEFT : now;
}

throttle::time_point throttle::charge_write(time_point now, uint64_t bytes) {
    const bool slow = m_traits.slow_after && m_written >= *m_traits.slow_after;
    m_written += bytes;
    return charge(
        now, bytes,
        slow ? std::max<uint64_t>(m_traits.write_rate / SLOWED_BY, 1) : m_traits.write_rate,
        m_traits.write_latency);
}

throttle::time_point throttle::charge_read(time_point now, uint64_t bytes) {
    return charge(now, bytes, m_traits.read_rate, m_traits.read_latency);
}

}  // namespace cardsim
