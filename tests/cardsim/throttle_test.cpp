/* Debt accounting, on a clock of the test's own. */
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

TEST(throttle, a_card_without_limits_never_waits) {
    throttle speed({});
    const throttle::time_point now{1h};
    EXPECT_EQ(speed.charge_write(now, 1 << 30), now);
    EXPECT_EQ(speed.charge_read(now, 1 << 30), now);
    EXPECT_EQ(speed.idle_at(now), now);
}

TEST(throttle, the_rate_is_exact_over_many_small_requests) {
    throttle_traits traits;
    traits.write_rate = 1 << 20;
    throttle speed(traits);
    const throttle::time_point start{1h};
    throttle::time_point now = start;
    for (int i = 0; i < 4096; ++i) {
        // Between two requests the host needs its time, and sleeps last too long.
        now = speed.charge_write(now + 20us, 1024) + 100us;
    }
    EXPECT_NEAR(seconds_between(start, speed.idle_at(now)), 4.0, 0.03);
    EXPECT_NEAR(seconds_between(start, now), 4.0, 0.03);
}

TEST(throttle, the_rate_holds_on_a_machine_that_wakes_up_late) {
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

TEST(throttle, waits_are_never_shorter_than_a_millisecond) {
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

TEST(throttle, latency_is_paid_for_each_request_whatever_its_size) {
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

TEST(throttle, an_idle_card_saves_up_a_fortieth_of_a_second_and_no_more) {
    throttle_traits traits;
    traits.write_rate = 1000;
    throttle speed(traits);
    speed.charge_write(throttle::time_point{1h}, 1);
    const throttle::time_point later{2h};
    EXPECT_EQ(speed.idle_at(later), later);
    speed.charge_write(later, 1000);
    EXPECT_EQ(speed.idle_at(later), later + 1s - 25ms);
}

TEST(throttle, reading_and_writing_have_their_own_rates_on_one_card) {
    throttle_traits traits;
    traits.write_rate = 1000;
    traits.read_rate = 2000;
    throttle speed(traits);
    const throttle::time_point now{1h};
    speed.charge_write(now, 1000);
    speed.charge_read(now, 1000);
    EXPECT_EQ(speed.idle_at(now), now + 1500ms - 25ms);
}

TEST(throttle, the_rate_falls_to_a_hundredth_after_so_many_bytes) {
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

TEST(throttle, a_card_that_stalls_does_so_each_time_so_many_bytes_were_moved) {
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
