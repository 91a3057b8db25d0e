// SPDX-License-Identifier: GPL-3.0-or-later
/* The measurement, every cell of its table, with a staged clock and medium. Nothing
 * sleeps. */
#include <gtest/gtest.h>

#include <cerrno>
#include <random>
#include <string>
#include <vector>

#include "model/engine_log.h"
#include "model/engine_status.h"
#include "model/f3write.h"
#include "staged_clock.h"
#include "support.h"

using model_tests::drained_log;
using model_tests::expect_assertion;
using model_tests::new_flow;
using model_tests::run_in_child;
using model_tests::stage;

namespace {

using f3write_measure = model_tests::staged_test;

/* The algorithm's state, comparable as a whole. */
struct position {
    int state, bpd, bpd_step, bpd1, bpd2;
    bool operator==(const position &) const = default;
};

std::ostream &operator<<(std::ostream &out, const position &at) {
    return out << "state " << at.state << " bpd " << at.bpd << " step " << at.bpd_step << " bounds "
               << at.bpd1 << ".." << at.bpd2;
}

position position_of(const write_flow &fw) {
    return {fw.state, fw.bpd, fw.bpd_step, fw.bpd1, fw.bpd2};
}

write_flow flow_at(const position &at) {
    write_flow fw = new_flow(1U << 20U);
    fw.show_progress = 0;
    fw.state = at.state;
    fw.bpd = at.bpd;
    fw.bpd_step = at.bpd_step;
    fw.bpd1 = at.bpd1;
    fw.bpd2 = at.bpd2;
    return fw;
}

/* One period of `delay_ms`, with more blocks than bpd to tell the two apart. True when it
 * was counted. */
bool measured(write_flow &fw, int delay_ms) {
    const uint64_t periods = fw.periods_measured;
    const uint64_t blocks = fw.blocks_measured;
    fw.t1 = {1000, 0};
    fw.period_blocks = fw.bpd + 7;
    const auto in_period = static_cast<uint64_t>(fw.period_blocks);
    stage.times = {{1000 + delay_ms / 1000, delay_ms % 1000 * 1000L}};
    measure(&fw, 3);
    const bool counted = fw.periods_measured == periods + 1;
    EXPECT_EQ(fw.periods_measured, periods + (counted ? 1 : 0));
    EXPECT_EQ(fw.blocks_measured, blocks + (counted ? in_period : 0));
    return counted;
}

struct cell {
    const char *name;
    position before;
    int delay_ms;
    position after;
    bool counted;
};

void PrintTo(const cell &it, std::ostream *out) {
    *out << it.name;
}

class every_cell : public f3write_measure, public testing::WithParamInterface<cell> {};

constexpr int slow = 1001;
constexpr int exact = 1000;
constexpr int fast = 999;

const std::vector<cell> cells = {
    {"inc_slow_searches_the_last_step", {INC, 8, 8, 0, 0}, slow, {SEARCH, 6, 8, 4, 8}, false},
    {"inc_slow_with_close_bounds_settles", {INC, 4, 4, 0, 0}, slow, {STEADY, 3, 4, 0, 0}, true},
    {"inc_slow_bounds_3_apart_settle", {INC, 10, 6, 1, 2}, slow, {STEADY, 8, 6, 1, 2}, true},
    {"inc_slow_bounds_4_apart_search", {INC, 10, 9, 1, 2}, slow, {SEARCH, 8, 9, 6, 10}, false},
    {"inc_slow_first_period", {INC, 1, 1, 0, 0}, slow, {STEADY, 1, 1, 0, 0}, true},
    {"inc_fast_doubles", {INC, 4, 4, 0, 0}, fast, {INC, 8, 8, 0, 0}, false},
    {"inc_fast_first_period", {INC, 1, 1, 0, 0}, 0, {INC, 2, 2, 0, 0}, false},
    {"inc_exact_settles", {INC, 8, 8, 0, 0}, exact, {STEADY, 8, 8, 0, 0}, true},
    {"dec_slow_goes_on", {DEC, 10, 4, 0, 0}, slow, {DEC, 6, 8, 0, 0}, false},
    {"dec_slow_down_to_1", {DEC, 5, 4, 0, 0}, slow, {DEC, 1, 8, 0, 0}, false},
    {"dec_slow_at_0_searches_from_1", {DEC, 4, 4, 0, 0}, slow, {SEARCH, 3, 4, 1, 6}, false},
    {"dec_slow_below_0_searches_from_1", {DEC, 3, 8, 0, 0}, slow, {SEARCH, 4, 8, 1, 7}, false},
    {"dec_slow_at_bpd_1_with_close_bounds", {DEC, 1, 2, 0, 0}, slow, {STEADY, 1, 2, 0, 0}, true},
    {"dec_slow_at_bpd_1_bounds_3_apart", {DEC, 1, 6, 0, 0}, slow, {STEADY, 2, 6, 0, 0}, true},
    {"dec_slow_at_bpd_1_bounds_4_apart", {DEC, 1, 8, 0, 0}, slow, {SEARCH, 3, 8, 1, 5}, false},
    {"dec_fast_searches_the_last_step", {DEC, 10, 16, 0, 0}, fast, {SEARCH, 14, 16, 10, 18}, false},
    {"dec_fast_with_close_bounds_settles", {DEC, 10, 6, 4, 5}, fast, {STEADY, 11, 6, 4, 5}, true},
    {"dec_exact_settles", {DEC, 10, 4, 0, 0}, exact, {STEADY, 10, 4, 0, 0}, true},
    {"search_wide_slow_lowers", {SEARCH, 6, 8, 4, 8}, slow, {SEARCH, 5, 8, 4, 6}, false},
    {"search_wide_fast_raises", {SEARCH, 6, 8, 4, 8}, fast, {SEARCH, 7, 8, 6, 8}, false},
    {"search_wide_slow_truncates", {SEARCH, 53, 64, 20, 90}, slow, {SEARCH, 36, 64, 20, 53}, false},
    {"search_wide_fast_truncates", {SEARCH, 55, 64, 20, 90}, fast, {SEARCH, 72, 64, 55, 90}, false},
    {"search_wide_exact_settles", {SEARCH, 6, 8, 4, 8}, exact, {STEADY, 6, 8, 4, 8}, true},
    {"search_narrow_slow_settles", {SEARCH, 5, 8, 4, 7}, slow, {STEADY, 5, 8, 4, 7}, true},
    {"search_narrow_fast_settles", {SEARCH, 5, 8, 4, 7}, fast, {STEADY, 5, 8, 4, 7}, true},
    {"search_narrow_exact_settles", {SEARCH, 5, 8, 4, 7}, exact, {STEADY, 5, 8, 4, 7}, true},
    {"search_narrow_far_too_slow_settles", {SEARCH, 5, 8, 4, 6}, 9000, {STEADY, 5, 8, 4, 6}, true},
    {"steady_slow_shrinks", {STEADY, 5, 8, 4, 6}, slow, {DEC, 4, 2, 4, 6}, true},
    {"steady_slow_at_bpd_2", {STEADY, 2, 8, 0, 0}, slow, {DEC, 1, 2, 0, 0}, true},
    {"steady_slow_at_bpd_1_changes_nothing",
     {STEADY, 1, 8, 4, 6},
     slow,
     {STEADY, 1, 8, 4, 6},
     true},
    {"steady_fast_grows", {STEADY, 5, 8, 4, 6}, fast, {INC, 6, 2, 4, 6}, true},
    {"steady_exact_grows", {STEADY, 5, 8, 4, 6}, exact, {INC, 6, 2, 4, 6}, true},
    {"steady_fast_at_bpd_1", {STEADY, 1, 8, 0, 0}, 0, {INC, 2, 2, 0, 0}, true},
};

std::string name_of_cell(const testing::TestParamInfo<cell> &it) {
    return it.param.name;
}

INSTANTIATE_TEST_SUITE_P(f3write_measure, every_cell, testing::ValuesIn(cells), name_of_cell);

/* The table once more, as plain code, for random walks. */
class expected_flow {
 public:
    position at = {INC, 1, 1, 0, 0};

    bool step(int64_t delay) {
        m_counted = false;
        const int side = delay > 1000 ? 1 : delay < 1000 ? -1 : 0;
        if (at.state == STEADY)
            from_steady(side);
        else if (side == 0 || (at.state == SEARCH && at.bpd2 - at.bpd1 <= 3))
            settle();
        else if (at.state == INC)
            side > 0 ? search(at.bpd - at.bpd_step / 2, at.bpd) : move(1);
        else if (at.state == DEC)
            from_dec(side);
        else
            bisect(side);
        return m_counted;
    }

 private:
    void settle() {
        m_counted = true;
        at.state = STEADY;
    }
    void move(int direction) {
        at.bpd += direction * at.bpd_step;
        at.bpd_step *= 2;
    }
    void search(int low, int high) {
        at.bpd = (low + high) / 2;
        if (high - low <= 3) {
            settle();
            return;
        }
        at = {SEARCH, at.bpd, at.bpd_step, low, high};
    }
    void from_dec(int side) {
        if (side < 0)
            search(at.bpd, at.bpd + at.bpd_step / 2);
        else if (at.bpd > at.bpd_step)
            move(-1);
        else
            search(1, at.bpd + at.bpd_step / 2);
    }
    void bisect(int side) {
        (side > 0 ? at.bpd2 : at.bpd1) = at.bpd;
        at.bpd = (at.bpd1 + at.bpd2) / 2;
    }
    void from_steady(int side) {
        m_counted = true;
        if (side <= 0)
            at = {INC, at.bpd + 1, 2, at.bpd1, at.bpd2};
        else if (at.bpd >= 2)
            at = {DEC, at.bpd - 1, 2, at.bpd1, at.bpd2};
    }

    bool m_counted = false;
};

}  // namespace

TEST_P(every_cell, follows_table) {
    write_flow fw = flow_at(GetParam().before);
    EXPECT_EQ(measured(fw, GetParam().delay_ms), GetParam().counted);
    EXPECT_EQ(position_of(fw), GetParam().after);
    EXPECT_EQ(fw.bytes_written, 0U);
    EXPECT_EQ(fw.space_total, 1U << 20U);
    EXPECT_EQ(fw.period_ms, 1000);
    EXPECT_EQ(fw.block_size, 1024);
}

TEST_F(f3write_measure, states_and_fields_have_given_order) {
    EXPECT_EQ(INC, 0);
    EXPECT_EQ(DEC, 1);
    EXPECT_EQ(SEARCH, 2);
    EXPECT_EQ(STEADY, 3);
    const std::vector<size_t> offsets = {offsetof(write_flow, space_total),
                                         offsetof(write_flow, bytes_written),
                                         offsetof(write_flow, show_progress),
                                         offsetof(write_flow, block_size),
                                         offsetof(write_flow, bpd_step),
                                         offsetof(write_flow, bpd),
                                         offsetof(write_flow, period_ms),
                                         offsetof(write_flow, periods_measured),
                                         offsetof(write_flow, blocks_measured),
                                         offsetof(write_flow, state),
                                         offsetof(write_flow, erase),
                                         offsetof(write_flow, period_blocks),
                                         offsetof(write_flow, bpd1),
                                         offsetof(write_flow, bpd2),
                                         offsetof(write_flow, t1),
                                         offsetof(write_flow, t2)};
    for (size_t field = 1; field < offsets.size(); ++field)
        EXPECT_LT(offsets[field - 1], offsets[field]) << "field " << field;
}

TEST_F(f3write_measure, grows_searches_settles_and_shrinks) {
    write_flow fw = flow_at({INC, 1, 1, 0, 0});
    const auto after = [&fw](int delay) {
        measured(fw, delay);
        return position_of(fw);
    };
    EXPECT_EQ(after(10), (position{INC, 2, 2, 0, 0}));
    EXPECT_EQ(after(20), (position{INC, 4, 4, 0, 0}));
    EXPECT_EQ(after(40), (position{INC, 8, 8, 0, 0}));
    EXPECT_EQ(after(1600), (position{SEARCH, 6, 8, 4, 8}));
    EXPECT_EQ(after(1200), (position{SEARCH, 5, 8, 4, 6}));
    EXPECT_EQ(fw.periods_measured, 0U);
    EXPECT_EQ(after(1001), (position{STEADY, 5, 8, 4, 6}));
    EXPECT_EQ(fw.periods_measured, 1U);
    EXPECT_EQ(after(1500), (position{DEC, 4, 2, 4, 6}));
    EXPECT_EQ(after(1500), (position{DEC, 2, 4, 4, 6}));
    EXPECT_EQ(after(1500), (position{STEADY, 2, 4, 4, 6}));
    EXPECT_EQ(fw.periods_measured, 3U);
    EXPECT_EQ(after(1000), (position{INC, 3, 2, 4, 6}));
    EXPECT_EQ(after(1000), (position{STEADY, 3, 2, 4, 6}));
    EXPECT_EQ(fw.periods_measured, 5U);
}

TEST_F(f3write_measure, counts_every_period_on_target) {
    write_flow fw = flow_at({INC, 1, 1, 0, 0});
    for (int period = 0; period < 200; ++period) {
        EXPECT_TRUE(measured(fw, 1000));
        EXPECT_EQ(fw.bpd, 1 + (period + 1) / 2);
    }
    EXPECT_EQ(fw.periods_measured, 200U);
}

TEST_F(f3write_measure, random_walks_follow_table) {
    const uint32_t seed = model_tests::random_seed();
    SCOPED_TRACE("TROVIK_TEST_SEED=" + std::to_string(seed));
    std::mt19937 random(seed);
    for (int walk = 0; walk < 200; ++walk) {
        write_flow fw = flow_at({INC, 1, 1, 0, 0});
        expected_flow expected;
        const auto rate = 1 + random() % (walk % 2 == 0 ? 50U : 50000U);
        for (int period = 0; period < 200; ++period) {
            /* Blocks per second around a rate, sometimes an exact hit. */
            const auto noise = random() % 4;
            int64_t delay = static_cast<int64_t>(fw.bpd) * 1000 / static_cast<int64_t>(rate);
            if (noise == 0)
                delay = 1000;
            else if (noise == 1)
                delay = delay / 2 + static_cast<int64_t>(random() % 1000);
            ASSERT_EQ(measured(fw, static_cast<int>(delay)), expected.step(delay));
            ASSERT_EQ(position_of(fw), expected.at) << "walk " << walk << " period " << period;
        }
    }
}

TEST_F(f3write_measure, truncates_milliseconds_towards_zero) {
    struct sample {
        timeval from, to;
        int bpd_after; /* 8 * 2 when fast, 8 when exact, 6 when slow */
    };
    for (const sample &it : std::vector<sample>{{{1000, 0}, {1001, 999}, 8},
                                                {{1000, 0}, {1001, 1000}, 6},
                                                {{1000, 500}, {1001, 0}, 8},
                                                {{1000, 999}, {1001, 0}, 8},
                                                {{1000, 1000}, {1001, 0}, 16},
                                                {{1000, 999999}, {1001, 0}, 16},
                                                {{1000, 999999}, {1002, 0}, 6},
                                                {{1000, 0}, {1000, 999999}, 16},
                                                {{1000, 900000}, {1001, 901000}, 6},
                                                {{1000, 0}, {5000000, 0}, 6},
                                                {{1000, 0}, {900, 0}, 16}}) {
        write_flow fw = flow_at({INC, 8, 8, 0, 0});
        fw.t1 = it.from;
        stage.times = {it.to};
        measure(&fw, 3);
        EXPECT_EQ(fw.bpd, it.bpd_after) << it.from.tv_usec << " " << it.to.tv_usec;
        EXPECT_EQ(fw.t2.tv_sec, it.to.tv_sec);
        EXPECT_EQ(fw.t2.tv_usec, it.to.tv_usec);
    }
}

TEST_F(f3write_measure, takes_target_length_from_record) {
    write_flow fw = flow_at({INC, 8, 8, 0, 0});
    fw.period_ms = 250;
    EXPECT_TRUE(measured(fw, 250));
    EXPECT_EQ(fw.state, STEADY);
}

TEST_F(f3write_measure, flushes_period_then_reads_clock_then_releases) {
    write_flow fw = flow_at({INC, 1, 1, 0, 0});
    measured(fw, 10);
    EXPECT_EQ(stage.requests, "FCR");
}

TEST_F(f3write_measure, starting_reads_clock_and_zeroes_blocks) {
    write_flow fw = flow_at({SEARCH, 6, 8, 4, 8});
    fw.period_blocks = 6;
    stage.times = {{1234, 5678}};
    start_measurement(&fw);
    EXPECT_EQ(fw.period_blocks, 0);
    EXPECT_EQ(fw.t1.tv_sec, 1234);
    EXPECT_EQ(fw.t1.tv_usec, 5678);
    EXPECT_EQ(stage.requests, "C");
    EXPECT_EQ(position_of(fw), (position{SEARCH, 6, 8, 4, 8}));
}

TEST_F(f3write_measure, ending_flushes_and_releases_without_clock) {
    write_flow fw = flow_at({SEARCH, 6, 8, 4, 8});
    fw.period_blocks = 6;
    fw.erase = 20;
    end_measurement(&fw, 3);
    EXPECT_EQ(stage.requests, "FR");
    EXPECT_EQ(fw.erase, 0);
    EXPECT_EQ(fw.periods_measured, 0U);
    EXPECT_EQ(fw.blocks_measured, 0U);
    EXPECT_EQ(position_of(fw), (position{SEARCH, 6, 8, 4, 8}));
    EXPECT_EQ(drained_log(), "");
}

TEST_F(f3write_measure, search_keeps_bounds_and_starts_in_middle) {
    write_flow fw = flow_at({INC, 32, 32, 0, 0});
    fw.period_blocks = 32;
    move_to_search(&fw, 16, 33);
    EXPECT_EQ(position_of(fw), (position{SEARCH, 24, 32, 16, 33}));
    EXPECT_EQ(fw.periods_measured, 0U);
}

TEST_F(f3write_measure, settles_and_counts_when_bounds_are_at_most_3_apart) {
    for (int distance = 0; distance <= 3; ++distance) {
        write_flow fw = flow_at({INC, 32, 32, 1, 2});
        fw.period_blocks = 32;
        move_to_search(&fw, 30, 30 + distance);
        EXPECT_EQ(position_of(fw), (position{STEADY, 30 + distance / 2, 32, 1, 2}));
        EXPECT_EQ(fw.periods_measured, 1U);
        EXPECT_EQ(fw.blocks_measured, 32U);
    }
    write_flow fw = flow_at({INC, 32, 32, 1, 2});
    move_to_search(&fw, 30, 34);
    EXPECT_EQ(fw.state, SEARCH);
}

TEST_F(f3write_measure, bounds_out_of_order_or_below_1_end_process) {
    write_flow fw = flow_at({INC, 8, 8, 0, 0});
    for (const int low : {0, -4})
        expect_assertion(run_in_child([&] { move_to_search(&fw, low, 8); }), "bpd1 > 0",
                         "move_to_search", "model/f3write");
    expect_assertion(run_in_child([&] { move_to_search(&fw, 8, 7); }), "bpd2 >= bpd1",
                     "move_to_search", "model/f3write");
}

TEST_F(f3write_measure, publishes_and_logs_progress_once_per_period) {
    write_flow fw = flow_at({INC, 8, 8, 0, 0});
    fw.show_progress = 1;
    fw.space_total = 4096;
    fw.bytes_written = 1024;
    measured(fw, slow);
    EXPECT_EQ(drained_log(), "25.00% @ 6.00 KB/s\n");
    EXPECT_EQ(fw.erase, 19);
    EXPECT_EQ(get_write_speed(), 6.0);
    EXPECT_STREQ(get_write_speed_unit(), "KB");
    EXPECT_EQ(get_write_progress(), 25.0);
}

TEST_F(f3write_measure, speed_follows_from_block_count) {
    for (const int delay : {1001, 1999, 5000, 600000}) {
        write_flow fw = flow_at({INC, 8, 8, 0, 0});
        fw.show_progress = 1;
        measured(fw, delay);
        EXPECT_EQ(drained_log(), "0.00% @ 6.00 KB/s\n") << delay;
    }
    write_flow fw = flow_at({STEADY, 1, 1, 0, 0});
    fw.show_progress = 1;
    measured(fw, 7000);
    EXPECT_EQ(drained_log(), "0.00% @ 1.00 KB/s\n");
    EXPECT_EQ(get_write_speed(), 1.0);
}

TEST_F(f3write_measure, scales_speed_to_unit) {
    write_flow fw = flow_at({INC, 1536, 1536, 0, 0});
    fw.show_progress = 1;
    measured(fw, 10);
    EXPECT_EQ(drained_log(), "0.00% @ 3.00 MB/s\n");
    EXPECT_EQ(get_write_speed(), 3.0);
    EXPECT_STREQ(get_write_speed_unit(), "MB");
    fw = flow_at({STEADY, 1, 1, 0, 0});
    fw.show_progress = 1;
    fw.period_ms = 2000;
    measured(fw, 7000);
    EXPECT_EQ(drained_log(), "0.00% @ 512.00 Byte/s\n");
}

TEST_F(f3write_measure, progress_never_exceeds_100_percent) {
    write_flow fw = flow_at({INC, 1, 1, 0, 0});
    fw.show_progress = 1;
    fw.space_total = 1000;
    fw.bytes_written = 5000;
    measured(fw, 10);
    EXPECT_EQ(drained_log(), "100.00% @ 2.00 KB/s\n");
    EXPECT_EQ(fw.space_total, 5000U);
    EXPECT_EQ(get_write_progress(), 100.0);
    fw.bytes_written = 2500;
    measured(fw, 10);
    EXPECT_EQ(fw.space_total, 5000U);
    EXPECT_EQ(get_write_progress(), 50.0);
}

TEST_F(f3write_measure, publishes_and_logs_nothing_without_progress) {
    write_flow before = flow_at({INC, 1, 1, 0, 0});
    before.show_progress = 1;
    measured(before, 10);
    drained_log();
    write_flow fw = flow_at({INC, 512, 512, 0, 0});
    fw.space_total = 10;
    fw.bytes_written = 20;
    fw.erase = 5;
    measured(fw, 10);
    EXPECT_EQ(drained_log(), "");
    EXPECT_EQ(get_write_speed(), 2.0);
    EXPECT_EQ(fw.space_total, 10U);
    EXPECT_EQ(fw.erase, 5);
}

TEST_F(f3write_measure, failing_medium_or_clock_ends_process) {
    write_flow fw = flow_at({INC, 1, 1, 0, 0});
    const std::string flush = "!fdatasync(fd)";
    const std::string release = "!posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED)";
    stage.flush_answer = EIO;
    expect_assertion(run_in_child([&] { measure(&fw, 3); }), flush, "measure", "model/f3write");
    expect_assertion(run_in_child([&] { end_measurement(&fw, 3); }), flush, "end_measurement",
                     "model/f3write");
    stage.flush_answer = 0;
    stage.release_answer = EINVAL;
    expect_assertion(run_in_child([&] { measure(&fw, 3); }), release, "measure", "model/f3write");
    expect_assertion(run_in_child([&] { end_measurement(&fw, 3); }), release, "end_measurement",
                     "model/f3write");
    stage.release_answer = 0;
    stage.clock_fails_at = 1;
    expect_assertion(run_in_child([&] { measure(&fw, 3); }), "!gettimeofday(&fw->t2, NULL)",
                     "measure", "model/f3write");
    expect_assertion(run_in_child([&] { start_measurement(&fw); }), "!gettimeofday(&fw->t1, NULL)",
                     "start_measurement", "model/f3write");
}

TEST_F(f3write_measure, unknown_state_ends_process) {
    for (const int state : {-1, 4, 77}) {
        write_flow fw = flow_at({state, 1, 1, 0, 0});
        expect_assertion(run_in_child([&] { measure(&fw, 3); }), "0", "measure", "model/f3write");
    }
}

TEST_F(f3write_measure, measuring_and_ending_flush_standard_output) {
    const auto shown_before_a_crash = [](const std::function<void(write_flow &)> &body) {
        return run_in_child([&] {
                   write_flow fw = flow_at({INC, 1, 1, 0, 0});
                   fw.show_progress = 1;
                   fputs("pending", stdout);
                   body(fw);
                   _exit(0);
               })
            .out;
    };
    EXPECT_EQ(shown_before_a_crash([](write_flow &fw) { measure(&fw, 3); }), "pending");
    EXPECT_EQ(shown_before_a_crash([](write_flow &fw) { end_measurement(&fw, 3); }), "pending");
}
