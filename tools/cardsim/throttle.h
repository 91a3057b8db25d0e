/* How long the card takes. Each transfer costs time; the cost is added up on a
 * monotonic clock and paid in sleeps worth making. Whoever asks is told when it
 * may go on and sleeps itself: there is no clock in here.
 *
 * A rate is exact over time although single requests of 1 KiB cost far less than
 * a sleep can be trusted with: a small debt is carried over from request to
 * request. Debt, and a little lateness that is forgiven, also cover the time the
 * host takes between two requests and sleeps that last too long, which would
 * otherwise make the card slower than asked for. The price: what is transferred
 * after a pause takes up to 25 ms less than it should. */
#ifndef TROVIK_TOOLS_CARDSIM_THROTTLE_H
#define TROVIK_TOOLS_CARDSIM_THROTTLE_H

#include <chrono>
#include <cstdint>
#include <optional>

namespace cardsim {

struct throttle_traits {
    uint64_t write_rate = 0;  // bytes per second, 0: as fast as it goes
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

    /* Accounts for one request that arrived now. Returns when it may be answered:
     * now, or later where the debt has become too large. */
    time_point charge_write(time_point now, uint64_t bytes);
    time_point charge_read(time_point now, uint64_t bytes);

    /* When the card has done all it was asked to: what a flush waits for. */
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
