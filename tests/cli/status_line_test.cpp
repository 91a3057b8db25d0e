// The status line's text and the speed it shows.
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

TEST(status_line, nothing_is_shown_when_nothing_runs) {
    EXPECT_EQ(status_line_text({}), "");
}

TEST(status_line, a_phase_without_measure_is_only_named) {
    status_line_input input = writing();
    input.bytes_per_s = 1000.0;
    input.phase = ENGINE_PHASE_REMOVING;
    EXPECT_EQ(status_line_text(input), "Removing test files");
    input.phase = ENGINE_PHASE_LISTING;
    EXPECT_EQ(status_line_text(input), "Listing test files");
}

TEST(status_line, phase_file_share_speed_and_time_left_are_shown) {
    status_line_input input = writing();
    input.bytes_done = 432ULL * 1024 * 1024;
    input.bytes_expected = 1000ULL * 1024 * 1024;
    input.bytes_per_s = 2.0 * 1024 * 1024;
    EXPECT_EQ(status_line_text(input), "Writing 3.fff     43.2 %       2.0 MB/s    0:04:44 left");
    input.phase = ENGINE_PHASE_READING;
    EXPECT_EQ(status_line_text(input), "Reading 3.fff     43.2 %       2.0 MB/s    0:04:44 left");
}

TEST(status_line, what_is_not_known_yet_is_left_out) {
    EXPECT_EQ(status_line_text(writing()), "Writing 3.fff     43.2 %");
    status_line_input input = writing();
    input.bytes_expected = 0;
    EXPECT_EQ(status_line_text(input), "Writing 3.fff");
}

TEST(status_line, the_share_keeps_its_width) {
    status_line_input input = writing();
    input.bytes_done = 0;
    const size_t width = status_line_text(input).size();
    input.bytes_done = 1000;
    EXPECT_EQ(status_line_text(input).size(), width);
}

TEST(status_line, a_volume_that_takes_more_than_it_promised_stays_at_a_hundred_percent) {
    status_line_input input = writing();
    input.bytes_done = 5000;
    input.bytes_per_s = 100.0;
    const std::string text = status_line_text(input);
    EXPECT_TRUE(contains(text, "100.0 %")) << text;
    EXPECT_TRUE(contains(text, "0:00:00 left")) << text;
}

TEST(status_line, a_volume_that_stands_still_has_no_time_left_to_show) {
    status_line_input input = writing();
    input.bytes_per_s = 0.0;
    EXPECT_FALSE(contains(status_line_text(input), "left"));
    input.bytes_expected = 1ULL << 50;
    input.bytes_per_s = 2.0;
    EXPECT_FALSE(contains(status_line_text(input), "left"));
}

TEST(status_line, hours_are_not_folded_into_days) {
    status_line_input input = writing();
    input.bytes_done = 0;
    input.bytes_expected = 100ULL * 3600;
    input.bytes_per_s = 1.0;
    EXPECT_TRUE(contains(status_line_text(input), "    100:00:00 left"));
}

TEST(status_line, the_last_index_has_a_number) {
    status_line_input input = writing();
    input.index = INT_MAX - 1;
    EXPECT_TRUE(contains(status_line_text(input), "Writing 2147483647.fff"));
}

TEST(speed_window, there_is_no_speed_before_a_second_has_passed) {
    speed_window window;
    EXPECT_FALSE(window.bytes_per_s().has_value());
    window.add(start, 0);
    EXPECT_FALSE(window.bytes_per_s().has_value());
    window.add(start + milliseconds{999}, 5000);
    EXPECT_FALSE(window.bytes_per_s().has_value());
    window.add(start + seconds{1}, 5000);
    EXPECT_DOUBLE_EQ(window.bytes_per_s().value(), 5000.0);
}

TEST(speed_window, the_speed_is_that_of_the_last_five_seconds) {
    speed_window window;
    for (int i = 0; i <= 100; ++i)
        window.add(start + i * milliseconds{100}, static_cast<std::uint64_t>(i) * 1000);
    EXPECT_DOUBLE_EQ(window.bytes_per_s().value(), 10000.0);
    // The card stands still: after five seconds nothing of the past is left.
    for (int i = 101; i <= 150; ++i)
        window.add(start + i * milliseconds{100}, 100000);
    EXPECT_DOUBLE_EQ(window.bytes_per_s().value(), 0.0);
}

TEST(speed_window, samples_far_apart_still_span_a_window) {
    speed_window window;
    window.add(start, 0);
    window.add(start + seconds{60}, 600);
    EXPECT_DOUBLE_EQ(window.bytes_per_s().value(), 10.0);
}

TEST(speed_window, another_phase_starts_anew) {
    speed_window window;
    window.add(start, 1000000);
    window.add(start + seconds{2}, 2000000);
    window.reset();
    window.add(start + seconds{3}, 0);
    EXPECT_FALSE(window.bytes_per_s().has_value());
    window.add(start + seconds{5}, 20);
    EXPECT_DOUBLE_EQ(window.bytes_per_s().value(), 10.0);
}
