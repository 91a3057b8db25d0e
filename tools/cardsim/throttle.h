// SPDX-License-Identifier: GPL-3.0-or-later
/* The card's speed. Each transfer costs time; the costs add up to a debt on a monotonic
 * clock, which is paid in sleeps of useful length. The caller passes the time, is told when
 * it may continue, and sleeps itself: there is no clock in here.
 *
 * A single request of 1 KiB costs far less than the shortest reliable sleep. Carrying a small
 * debt from request to request keeps the rate exact over time. The debt, and a tolerance for
 * late requests, also cover the host's time between requests and sleeps that last too long,
 * which would make the card too slow. In return, the first transfer after a pause takes up
 * to 25 ms less than it should. */
#ifndef TROVIK_TOOLS_CARDSIM_THROTTLE_H
#define TROVIK_TOOLS_CARDSIM_THROTTLE_H

#include <chrono>
#include <cstdint>
#include <optional>

namespace cardsim {

struct throttle_traits {
    uint64_t write_rate = 0;  // bytes per second, 0: unlimited
    uint64_t read_rate = 0;
    std::chrono::microseconds write_latency{0};  // per request
    std::chrono::microseconds read_latency{0};
    std::optional<uint64_t> slow_after;  // bytes written; then at a hundredth of write_rate
    uint64_t stall_every = 0;            // bytes written and read, 0: never
    std::chrono::seconds stall{10};
};

class throttle {
 public:
    using time_point = std::chrono::steady_clock::time_point;

    explicit throttle(const throttle_traits &traits) : m_traits(traits) {}

    /* Accounts for one request that arrived now. Returns the time at which it may be
     * answered: now, or later if the debt is too large. */
    time_point charge_write(time_point now, uint64_t bytes);
    time_point charge_read(time_point now, uint64_t bytes);

    /* The time at which the card has finished all requests: a flush waits for it. */
    time_point idle_at(time_point now) const { return m_busy_until > now ? m_busy_until : now; }

 private:
    time_point charge(time_point now, uint64_t bytes, uint64_t rate,
                      std::chrono::microseconds latency);

    throttle_traits m_traits;
    uint64_t m_written = 0;
    uint64_t m_moved = 0;  // written and read
    time_point m_busy_until{};
};

}  // namespace cardsim

#endif
