// SPDX-License-Identifier: GPL-3.0-or-later
/* The message log returns each text once, whole and in order, and drops text that does not
 * fit. Running out of memory is in heap_test.cpp. */
#include "model/engine_log.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "model/engine_publish.h"
#include "support.h"

using model_tests::child_outcome;
using model_tests::drained_log;
using model_tests::run_in_child;

namespace {

class engine_log : public testing::Test {
 protected:
    void SetUp() override { drained_log(); }
};

std::string numbered_line(unsigned number) {
    const std::string digits = std::to_string(number);
    return "<" + digits + ":" + std::string(number % 37, '-') + ":" + digits + ">\n";
}

/* Checks that `text` consists of consecutive numbered_line()s from `next` on, and advances
 * `next`. Empty on success. */
std::string consecutive_lines(const std::string &text, unsigned &next) {
    for (size_t at = 0; at < text.size(); ++next) {
        const std::string line = numbered_line(next);
        if (text.compare(at, line.size(), line) != 0)
            return "expected " + line + ", got: " + text.substr(at, line.size());
        at += line.size();
    }
    return "";
}

/* The same for a log that overflows: numbers may be missing, and lines may be cut. The rest
 * of a cut line must never follow. */
std::string rising_lines(const std::string &text, unsigned &next) {
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find('<', at + 1), text.size());
        const std::string line = text.substr(at, end - at);
        at = end;
        const bool has_number = line.find(':') != std::string::npos;
        const auto number = static_cast<unsigned>(strtoul(line.c_str() + 1, nullptr, 10));
        if (line[0] != '<' || (has_number && numbered_line(number).rfind(line, 0) != 0))
            return "torn: " + line;
        if (!has_number)
            continue; /* cut before its number was complete */
        if (number < next)
            return "twice or out of order: " + line;
        next = number + 1;
    }
    return "";
}

}  // namespace

TEST_F(engine_log, drains_appended_text_once) {
    engine_log_append("Creating test file number 1 ...\n");
    EXPECT_STREQ(engine_log_take(), "Creating test file number 1 ...\n");
    EXPECT_STREQ(engine_log_take(), "");
}

TEST_F(engine_log, joins_texts_in_order) {
    engine_log_append("a");
    engine_log_append("");
    engine_log_append("bc");
    engine_log_append("d\n");
    EXPECT_EQ(drained_log(), "abcd\n");
}

TEST_F(engine_log, pads_short_drain_with_nuls) {
    engine_log_append(std::string(5000, 'x').c_str());
    engine_log_take();
    engine_log_append("yz");
    const char *text = engine_log_take();
    EXPECT_EQ(std::string(text, ENGINE_LOG_SIZE), "yz" + std::string(ENGINE_LOG_SIZE - 2, '\0'));
}

TEST_F(engine_log, terminates_text_one_byte_short_of_full) {
    engine_log_append(std::string(ENGINE_LOG_SIZE - 1, 'x').c_str());
    const char *text = engine_log_take();
    EXPECT_EQ(std::string(text, ENGINE_LOG_SIZE),
              std::string(ENGINE_LOG_SIZE - 1, 'x') + std::string(1, '\0'));
}

TEST_F(engine_log, keeps_exactly_full_text_without_terminator) {
    engine_log_append(std::string(ENGINE_LOG_SIZE, 'x').c_str());
    const engine_log_view view = engine_log_take_view();
    EXPECT_EQ(std::string(view.text, view.length), std::string(ENGINE_LOG_SIZE, 'x'));
    EXPECT_EQ(drained_log(), "");
}

TEST_F(engine_log, keeps_first_8192_bytes_on_overflow) {
    EXPECT_EQ(ENGINE_LOG_SIZE, 8192);
    const std::string first(8000, 'a');
    const std::string second = std::string(192, 'b') + std::string(300, 'c');
    engine_log_append(first.c_str());
    engine_log_append(second.c_str());
    const engine_log_view view = engine_log_take_view();
    EXPECT_EQ(std::string(view.text, view.length), first + std::string(192, 'b'));
    EXPECT_EQ(drained_log(), "");
}

TEST_F(engine_log, cuts_text_longer_than_log) {
    const std::string text = std::string(ENGINE_LOG_SIZE, 'a') + "b";
    engine_log_append(text.c_str());
    EXPECT_EQ(drained_log(), text.substr(0, ENGINE_LOG_SIZE));
}

TEST_F(engine_log, adds_nothing_to_full_log) {
    engine_log_append(std::string(ENGINE_LOG_SIZE, 'x').c_str());
    engine_log_append("y");
    engine_log_append("z\n");
    EXPECT_EQ(drained_log(), std::string(ENGINE_LOG_SIZE, 'x'));
}

TEST_F(engine_log, takes_text_again_after_full_log_was_drained) {
    engine_log_append(std::string(size_t{2} * ENGINE_LOG_SIZE, 'x').c_str());
    engine_log_take();
    engine_log_append("next\n");
    EXPECT_EQ(drained_log(), "next\n");
}

TEST_F(engine_log, returns_all_text_over_many_rounds) {
    for (int round = 0; round < 200; ++round) {
        std::string expected;
        for (int line = 0; line <= round % 90; ++line) {
            const std::string text = numbered_line(static_cast<unsigned>(1000 * round + line));
            engine_log_append(text.c_str());
            expected += text;
        }
        ASSERT_EQ(drained_log(), expected.substr(0, ENGINE_LOG_SIZE)) << "round " << round;
    }
}

TEST_F(engine_log, view_ends_at_first_nul) {
    EXPECT_EQ(engine_log_take_view().length, 0U);
    engine_log_append("12345");
    EXPECT_EQ(engine_log_take_view().length, 5U);
}

TEST_F(engine_log, engine_print_writes_unchanged_text_to_standard_output_and_log) {
    const child_outcome outcome = run_in_child([] {
        engine_print("100%% %s %n done\n");
        fputs(drained_log().c_str(), stderr);
    });
    EXPECT_TRUE(outcome.exited_with(0));
    EXPECT_EQ(outcome.out, "100%% %s %n done\n");
    EXPECT_EQ(outcome.err, outcome.out);
}

TEST_F(engine_log, appending_writes_to_no_stream) {
    const child_outcome outcome = run_in_child([] { engine_log_append("quiet\n"); });
    EXPECT_EQ(outcome.out + outcome.err, "");
}

/* The appender waits while 100 lines or more (fewer than 8192 bytes) are undrained, so
 * nothing overflows and no line may be missing. */
TEST_F(engine_log, loses_nothing_between_two_threads_while_there_is_room) {
    constexpr unsigned lines = 25000;
    std::atomic<unsigned> drained = 0;
    std::atomic<bool> stopped = false;
    std::thread appender([&] {
        for (unsigned number = 0; number < lines && !stopped; ++number) {
            while (number - drained >= 100 && !stopped)
                std::this_thread::yield();
            engine_log_append(numbered_line(number).c_str());
        }
    });
    unsigned next = 0;
    std::string problem;
    const auto latest = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (next < lines && problem.empty() && std::chrono::steady_clock::now() < latest) {
        problem = consecutive_lines(drained_log(), next);
        drained = next;
    }
    stopped = true;
    appender.join();
    EXPECT_EQ(problem, "");
    EXPECT_EQ(next, lines);
    EXPECT_EQ(drained_log(), "");
}

TEST_F(engine_log, returns_no_text_twice_or_torn_between_two_threads_on_overflow) {
    constexpr unsigned lines = 25000;
    std::atomic<bool> done = false;
    std::thread appender([&] {
        for (unsigned number = 0; number < lines; ++number)
            engine_log_append(numbered_line(number).c_str());
        done = true;
    });
    unsigned next = 0;
    std::string problem;
    size_t drains = 0;
    bool last = false;
    while (!last) {
        last = done;
        if (++drains % 3 == 0)
            std::this_thread::yield();
        const std::string found = rising_lines(drained_log(), next);
        if (problem.empty())
            problem = found;
    }
    appender.join();
    EXPECT_EQ(problem, "");
    EXPECT_GT(next, 0U);
    EXPECT_LE(next, lines);
}

TEST_F(engine_log, appends_line_of_80_characters_whole) {
    const std::string line = std::string(79, 'x') + "\n";
    EXPECT_EQ(log_line_whole("%s", line.c_str()), 80);
    EXPECT_EQ(drained_log(), line);
}

TEST_F(engine_log, line_of_81_characters_ends_process) {
    const std::string line(81, 'x');
    EXPECT_TRUE(run_in_child([&] { log_line_whole("%s", line.c_str()); }).aborted());
}

TEST_F(engine_log, cut_line_keeps_first_80_characters) {
    const std::string line = std::string(80, 'x') + "yyy\n";
    log_line_cut("%s", line.c_str());
    EXPECT_EQ(drained_log(), std::string(80, 'x'));
    log_line_cut("%s\n", std::string(79, 'x').c_str());
    EXPECT_EQ(drained_log(), std::string(79, 'x') + "\n");
}
