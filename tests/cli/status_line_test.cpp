// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/status_line.h"

#include <gtest/gtest.h>

#include <climits>

#include "support.h"

using cli_tests::contains;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

const speed_window::clock::time_point start{};

status_line_input writing() {
    status_line_input input;
    input.phase = ENGINE_PHASE_WRITING;
    input.index = 2;
    input.bytes_done = 432;
    input.bytes_expected = 1000;
    return input;
}

}  // namespace

TEST(status_line, is_empty_when_idle) {
    EXPECT_EQ(status_line_text({}), "");
}

TEST(status_line, names_phase_without_measure) {
    status_line_input input = writing();
    input.bytes_per_s = 1000.0;
    input.phase = ENGINE_PHASE_REMOVING;
    EXPECT_EQ(status_line_text(input), "Removing test files");
    input.phase = ENGINE_PHASE_LISTING;
    EXPECT_EQ(status_line_text(input), "Listing test files");
}

TEST(status_line, shows_all_fields) {
    status_line_input input = writing();
    input.bytes_done = 432ULL * 1024 * 1024;
    input.bytes_expected = 1000ULL * 1024 * 1024;
    input.bytes_per_s = 2.0 * 1024 * 1024;
    EXPECT_EQ(status_line_text(input), "Writing 3.fff     43.2 %       2.0 MB/s    0:04:44 left");
    input.phase = ENGINE_PHASE_READING;
    EXPECT_EQ(status_line_text(input), "Reading 3.fff     43.2 %       2.0 MB/s    0:04:44 left");
}

TEST(status_line, leaves_out_unknown_fields) {
    EXPECT_EQ(status_line_text(writing()), "Writing 3.fff     43.2 %");
    status_line_input input = writing();
    input.bytes_expected = 0;
    EXPECT_EQ(status_line_text(input), "Writing 3.fff");
}

TEST(status_line, share_keeps_its_width) {
    status_line_input input = writing();
    input.bytes_done = 0;
    const size_t width = status_line_text(input).size();
    input.bytes_done = 1000;
    EXPECT_EQ(status_line_text(input).size(), width);
}

TEST(status_line, share_ends_at_100_percent) {
    status_line_input input = writing();
    input.bytes_done = 5000;
    input.bytes_per_s = 100.0;
    const std::string text = status_line_text(input);
    EXPECT_TRUE(contains(text, "100.0 %")) << text;
    EXPECT_TRUE(contains(text, "0:00:00 left")) << text;
}

TEST(status_line, shows_no_time_left_at_standstill) {
    status_line_input input = writing();
    input.bytes_per_s = 0.0;
    EXPECT_FALSE(contains(status_line_text(input), "left"));
    input.bytes_expected = 1ULL << 50;
    input.bytes_per_s = 2.0;
    EXPECT_FALSE(contains(status_line_text(input), "left"));
}

TEST(status_line, counts_hours_beyond_a_day) {
    status_line_input input = writing();
    input.bytes_done = 0;
    input.bytes_expected = 100ULL * 3600;
    input.bytes_per_s = 1.0;
    EXPECT_TRUE(contains(status_line_text(input), "    100:00:00 left"));
}

TEST(status_line, shows_number_of_last_index) {
    status_line_input input = writing();
    input.index = INT_MAX - 1;
    EXPECT_TRUE(contains(status_line_text(input), "Writing 2147483647.fff"));
}

TEST(status_line, speed_is_unknown_in_first_second) {
    speed_window window;
    EXPECT_FALSE(window.bytes_per_s().has_value());
    window.add(start, 0);
    EXPECT_FALSE(window.bytes_per_s().has_value());
    window.add(start + milliseconds{999}, 5000);
    EXPECT_FALSE(window.bytes_per_s().has_value());
    window.add(start + seconds{1}, 5000);
    EXPECT_DOUBLE_EQ(window.bytes_per_s().value(), 5000.0);
}

TEST(status_line, speed_covers_last_five_seconds) {
    speed_window window;
    for (int i = 0; i <= 100; ++i)
        window.add(start + i * milliseconds{100}, static_cast<std::uint64_t>(i) * 1000);
    EXPECT_DOUBLE_EQ(window.bytes_per_s().value(), 10000.0);
    // The card stalls: after five seconds the old samples are forgotten.
    for (int i = 101; i <= 150; ++i)
        window.add(start + i * milliseconds{100}, 100000);
    EXPECT_DOUBLE_EQ(window.bytes_per_s().value(), 0.0);
}

TEST(status_line, speed_covers_samples_far_apart) {
    speed_window window;
    window.add(start, 0);
    window.add(start + seconds{60}, 600);
    EXPECT_DOUBLE_EQ(window.bytes_per_s().value(), 10.0);
}

TEST(status_line, reset_forgets_speed) {
    speed_window window;
    window.add(start, 1000000);
    window.add(start + seconds{2}, 2000000);
    window.reset();
    window.add(start + seconds{3}, 0);
    EXPECT_FALSE(window.bytes_per_s().has_value());
    window.add(start + seconds{5}, 20);
    EXPECT_DOUBLE_EQ(window.bytes_per_s().value(), 10.0);
}
