// SPDX-License-Identifier: GPL-3.0-or-later
/* Speed is measured per period, not per write: a single write only shows how fast the page
 * cache is, a flushed period shows the medium. The number of blocks per period adapts until
 * a period takes one second. Flushes slow a medium down; this keeps them at about one per
 * second at any speed. */
#include <cstdint>
#include <cstdio>

#include "model/engine_publish.h"
#include "model/engine_status.h"
#include "model/f3write.h"
#include "model/fatal.h"
#include "model/medium.h"

static const char module[] = "model/f3write";

/* Bounds this close end a search: no real medium's periods differ measurably by less. */
constexpr int search_threshold_blocks = 3;

static int32_t wrapping_add(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

static int32_t wrapping_double(int32_t a) {
    return wrapping_add(a, a);
}

static void count_period(struct write_flow *fw) {
    fw->periods_measured += 1;
    fw->blocks_measured += static_cast<uint64_t>(fw->period_blocks);
}

static void settle(struct write_flow *fw) {
    count_period(fw);
    fw->state = STEADY;
}

void start_measurement(struct write_flow *fw) {
    fw->period_blocks = 0;
    ENGINE_REQUIRE(!gettimeofday(&fw->t1, NULL), module);
}

void move_to_search(struct write_flow *fw, int bpd1, int bpd2) {
    ENGINE_REQUIRE(bpd1 > 0, module);
    ENGINE_REQUIRE(bpd2 >= bpd1, module);
    fw->bpd = wrapping_add(bpd1, bpd2) / 2;
    if (bpd2 - bpd1 <= search_threshold_blocks) {
        settle(fw);
        return;
    }
    fw->bpd1 = bpd1;
    fw->bpd2 = bpd2;
    fw->state = SEARCH;
}

static void adapt_growing(struct write_flow *fw, int64_t delay_ms) {
    if (delay_ms > fw->period_ms) {
        move_to_search(fw, fw->bpd - fw->bpd_step / 2, fw->bpd);
    } else if (delay_ms < fw->period_ms) {
        fw->bpd = wrapping_add(fw->bpd, fw->bpd_step);
        fw->bpd_step = wrapping_double(fw->bpd_step);
    } else {
        settle(fw);
    }
}

static void adapt_shrinking(struct write_flow *fw, int64_t delay_ms) {
    if (delay_ms > fw->period_ms) {
        if (fw->bpd - fw->bpd_step > 0) {
            fw->bpd -= fw->bpd_step;
            fw->bpd_step = wrapping_double(fw->bpd_step);
        } else {
            move_to_search(fw, 1, wrapping_add(fw->bpd, fw->bpd_step / 2));
        }
    } else if (delay_ms < fw->period_ms) {
        move_to_search(fw, fw->bpd, wrapping_add(fw->bpd, fw->bpd_step / 2));
    } else {
        settle(fw);
    }
}

static void adapt_searching(struct write_flow *fw, int64_t delay_ms) {
    if (fw->bpd2 - fw->bpd1 <= search_threshold_blocks || delay_ms == fw->period_ms) {
        settle(fw);
    } else if (delay_ms > fw->period_ms) {
        fw->bpd2 = fw->bpd;
        fw->bpd = wrapping_add(fw->bpd1, fw->bpd) / 2;
    } else {
        fw->bpd1 = fw->bpd;
        fw->bpd = wrapping_add(fw->bpd2, fw->bpd) / 2;
    }
}

/* Keeps probing in both directions: media change their speed as they fill up. */
static void adapt_steady(struct write_flow *fw, int64_t delay_ms) {
    count_period(fw);
    if (delay_ms <= fw->period_ms) {
        fw->state = INC;
        fw->bpd = wrapping_add(fw->bpd, 1);
        fw->bpd_step = 2;
    } else if (fw->bpd >= 2) {
        fw->state = DEC;
        fw->bpd -= 1;
        fw->bpd_step = 2;
    }
}

static void adapt(struct write_flow *fw, int64_t delay_ms) {
    switch (fw->state) {
        case INC:
            adapt_growing(fw, delay_ms);
            break;
        case DEC:
            adapt_shrinking(fw, delay_ms);
            break;
        case SEARCH:
            adapt_searching(fw, delay_ms);
            break;
        case STEADY:
            adapt_steady(fw, delay_ms);
            break;
        default:
            engine_assertion_failed("0", "measure", module);
    }
}

/* Shows the speed of the new block count in a period of exactly period_ms, not the speed
 * just measured. */
static void report_progress(struct write_flow *fw) {
    double speed = static_cast<double>(fw->block_size) * fw->bpd * 1000.0 / fw->period_ms;
    const char *unit = scale_to_unit(&speed);
    if (fw->space_total < fw->bytes_written)
        fw->space_total = fw->bytes_written;
    const double percent =
        static_cast<double>(fw->bytes_written) * 100.0 / static_cast<double>(fw->space_total);
    fw->erase = log_line_whole("%.2f%% @ %.2f %s/s\n", percent, speed, unit);
    publish_write_period(speed, unit, percent);
    ENGINE_REQUIRE(fw->erase > 0, module);
    std::fflush(stdout);
}

static int64_t elapsed_ms(const struct timeval &from, const struct timeval &to) {
    const auto microseconds = static_cast<int32_t>(to.tv_usec - from.tv_usec);
    return (static_cast<int64_t>(to.tv_sec) - from.tv_sec) * 1000 + microseconds / 1000;
}

void measure(struct write_flow *fw, int fd) {
    ENGINE_REQUIRE_AS(medium_flush(fd) == 0, "!fdatasync(fd)", module);
    ENGINE_REQUIRE(!gettimeofday(&fw->t2, NULL), module);
    ENGINE_REQUIRE_AS(medium_release(fd) == 0, "!posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED)",
                      module);
    adapt(fw, elapsed_ms(fw->t1, fw->t2));
    if (fw->show_progress != 0)
        report_progress(fw);
}

void end_measurement(struct write_flow *fw, int fd) {
    ENGINE_REQUIRE_AS(medium_flush(fd) == 0, "!fdatasync(fd)", module);
    ENGINE_REQUIRE_AS(medium_release(fd) == 0, "!posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED)",
                      module);
    fw->erase = 0;
    std::fflush(stdout);
}
