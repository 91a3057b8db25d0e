// SPDX-License-Identifier: GPL-3.0-or-later
/* Debt accounting, with staged time. */
#include "tools/cardsim/throttle.h"

#include <gtest/gtest.h>

using cardsim::throttle;
using cardsim::throttle_traits;
using namespace std::chrono_literals;

namespace {

double seconds_between(throttle::time_point from, throttle::time_point to) {
    return std::chrono::duration<double>(to - from).count();
}

}  // namespace

TEST(throttle, card_without_limits_never_waits) {
    throttle speed({});
    const throttle::time_point now{1h};
    EXPECT_EQ(speed.charge_write(now, 1 << 30), now);
    EXPECT_EQ(speed.charge_read(now, 1 << 30), now);
    EXPECT_EQ(speed.idle_at(now), now);
}

TEST(throttle, rate_is_exact_over_many_small_requests) {
    throttle_traits traits;
    traits.write_rate = 1 << 20;
    throttle speed(traits);
    const throttle::time_point start{1h};
    throttle::time_point now = start;
    for (int i = 0; i < 4096; ++i) {
        // The host takes time between requests, and sleeps last too long.
        now = speed.charge_write(now + 20us, 1024) + 100us;
    }
    EXPECT_NEAR(seconds_between(start, speed.idle_at(now)), 4.0, 0.03);
    EXPECT_NEAR(seconds_between(start, now), 4.0, 0.03);
}

TEST(throttle, rate_holds_when_sleeps_last_too_long) {
    throttle_traits traits;
    traits.write_rate = 1 << 20;
    throttle speed(traits);
    const throttle::time_point start{1h};
    throttle::time_point now = start;
    for (int i = 0; i < 4096; ++i) {
        const throttle::time_point then = speed.charge_write(now, 1024);
        now = then == now ? now : then + 15ms;
    }
    EXPECT_NEAR(seconds_between(start, now), 4.0, 0.05);
}

TEST(throttle, waits_last_at_least_a_millisecond) {
    throttle_traits traits;
    traits.read_rate = 10 << 20;
    throttle speed(traits);
    throttle::time_point now{1h};
    int waits = 0;
    for (int i = 0; i < 10000; ++i) {
        const throttle::time_point then = speed.charge_read(now, 1024);
        if (then != now) {
            ++waits;
            EXPECT_GE(then - now, 1ms);
        }
        now = then;
    }
    EXPECT_GT(waits, 100);
}

TEST(throttle, latency_does_not_depend_on_size) {
    throttle_traits traits;
    traits.write_latency = 500us;
    throttle speed(traits);
    const throttle::time_point start{1h};
    throttle::time_point now = start;
    for (int i = 0; i < 2000; ++i) {
        now = speed.charge_write(now, i % 2 == 0 ? 1 : 100000);
    }
    EXPECT_NEAR(seconds_between(start, now), 1.0, 0.03);
}

TEST(throttle, idle_card_gains_credit_of_25_ms) {
    throttle_traits traits;
    traits.write_rate = 1000;
    throttle speed(traits);
    speed.charge_write(throttle::time_point{1h}, 1);
    const throttle::time_point later{2h};
    EXPECT_EQ(speed.idle_at(later), later);
    speed.charge_write(later, 1000);
    EXPECT_EQ(speed.idle_at(later), later + 1s - 25ms);
}

TEST(throttle, reading_and_writing_have_own_rates) {
    throttle_traits traits;
    traits.write_rate = 1000;
    traits.read_rate = 2000;
    throttle speed(traits);
    const throttle::time_point now{1h};
    speed.charge_write(now, 1000);
    speed.charge_read(now, 1000);
    EXPECT_EQ(speed.idle_at(now), now + 1500ms - 25ms);
}

TEST(throttle, rate_falls_to_a_hundredth_after_given_bytes) {
    throttle_traits traits;
    traits.write_rate = 1 << 20;
    traits.slow_after = 1 << 20;
    throttle speed(traits);
    const throttle::time_point start{1h};
    speed.charge_write(start, 1 << 20);
    EXPECT_NEAR(seconds_between(start, speed.idle_at(start)), 1.0, 0.03);
    speed.charge_write(start, 1 << 10);
    EXPECT_NEAR(seconds_between(start, speed.idle_at(start)), 1.0 + 100.0 / 1024, 0.03);
}

TEST(throttle, stalls_after_every_given_number_of_bytes) {
    throttle_traits traits;
    traits.stall_every = 3000;
    traits.stall = 10s;
    throttle speed(traits);
    const throttle::time_point start{1h};
    speed.charge_write(start, 1000);
    speed.charge_read(start, 1999);
    EXPECT_NEAR(seconds_between(start, speed.idle_at(start)), 0.0, 0.03);
    speed.charge_read(start, 1);
    EXPECT_NEAR(seconds_between(start, speed.idle_at(start)), 10.0, 0.03);
    speed.charge_write(start, 6500);
    EXPECT_NEAR(seconds_between(start, speed.idle_at(start)), 30.0, 0.03);
}
