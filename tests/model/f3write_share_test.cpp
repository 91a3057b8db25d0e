// SPDX-License-Identifier: GPL-3.0-or-later
/* The published and logged progress on the largest volumes there are and the largest that 64
 * bits can count. Nothing is written. */
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "model/engine_status.h"
#include "model/f3write.h"
#include "staged_clock.h"
#include "support.h"

using model_tests::drained_log;
using model_tests::new_flow;
using model_tests::stage;

namespace {

using f3write_share = model_tests::staged_test;

constexpr uint64_t two_tb = UINT64_C(1) << 41U;
/* The last whole block and the last byte below 2^64. */
constexpr uint64_t sixteen_eb = UINT64_MAX - 1023;
constexpr uint64_t last_byte = UINT64_MAX;

/* The logged line of a period that ends with these bytes written. */
std::string line_after(write_flow &fw, uint64_t bytes_written) {
    fw.bytes_written = bytes_written;
    fw.state = STEADY; /* a slow period leaves bpd at 1 */
    fw.t1 = {1000, 0};
    stage.times = {{1007, 0}};
    measure(&fw, 3);
    EXPECT_EQ(fw.bytes_written, bytes_written);
    return drained_log();
}

/* The progress in percent, on a volume no larger than announced. */
double share_of(uint64_t done, uint64_t total) {
    write_flow fw = new_flow(total);
    line_after(fw, done);
    EXPECT_EQ(fw.space_total, total);
    return get_write_progress();
}

void expect_share(uint64_t done, uint64_t total, double percent, const std::string &text) {
    write_flow fw = new_flow(total);
    EXPECT_EQ(line_after(fw, done), text + " @ 1.00 KB/s\n");
    EXPECT_EQ(get_write_progress(), percent) << done << " of " << total;
    EXPECT_EQ(fw.space_total, total);
}

}  // namespace

TEST_F(f3write_share, of_2_tb_is_exact_to_the_block) {
    expect_share(0, two_tb, 0.0, "0.00%");
    expect_share(1024, two_tb, 100.0 / 2147483648.0, "0.00%");
    expect_share(UINT64_C(1) << 30U, two_tb, 0.048828125, "0.05%");
    expect_share(two_tb / 2, two_tb, 50.0, "50.00%");
    expect_share(two_tb - two_tb / 1024, two_tb, 99.90234375, "99.90%");
    expect_share(two_tb, two_tb, 100.0, "100.00%");
    EXPECT_LT(share_of(two_tb / 2 - 1024, two_tb), 50.0);
    EXPECT_GT(share_of(two_tb / 2 + 1024, two_tb), 50.0);
    EXPECT_LT(share_of(two_tb - 1024, two_tb), 100.0);
    EXPECT_GT(share_of(two_tb - 1024, two_tb), 99.9999999);
}

TEST_F(f3write_share, of_16_eb_neither_wraps_nor_exceeds_100_percent) {
    for (const uint64_t total : {sixteen_eb, last_byte}) {
        expect_share(0, total, 0.0, "0.00%");
        expect_share(two_tb, total, 100.0 / 8388608.0, "0.00%");
        expect_share(UINT64_C(1) << 62U, total, 25.0, "25.00%");
        expect_share(total / 2, total, 50.0, "50.00%");
        expect_share(total - total / 1024, total, 99.90234375, "99.90%");
        expect_share(total, total, 100.0, "100.00%");
        EXPECT_GT(share_of(1024, total), 0.0);
        EXPECT_LT(share_of(total - 2048, total), 100.0);
    }
    /* Closer to the end than 53 bits resolve: 100 % and no more. */
    EXPECT_EQ(share_of(sixteen_eb, last_byte), 100.0);
}

TEST_F(f3write_share, only_grows_on_any_volume) {
    for (const uint64_t total : {two_tb, two_tb - 1024, sixteen_eb, last_byte}) {
        double before = -1.0;
        for (uint64_t step = 0; step < 1000; ++step) {
            const double percent = share_of(total / 1000 * step, total);
            ASSERT_GT(percent, before) << step << " of " << total;
            ASSERT_NEAR(percent, static_cast<double>(step) / 10.0, 1e-6) << total;
            before = percent;
        }
        ASSERT_GT(share_of(total, total), before) << total;
    }
}

TEST_F(f3write_share, stays_at_100_percent_beyond_announced_size) {
    for (const uint64_t done : {two_tb + 1024, sixteen_eb, last_byte}) {
        write_flow fw = new_flow(two_tb);
        EXPECT_EQ(line_after(fw, done), "100.00% @ 1.00 KB/s\n");
        EXPECT_EQ(get_write_progress(), 100.0) << done;
        EXPECT_EQ(fw.space_total, done);
    }
}
