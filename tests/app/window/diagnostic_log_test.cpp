// SPDX-License-Identifier: GPL-3.0-or-later
// Each diagnostic line is one entry in the system's log and one line on standard error.
#include "app/platform.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <sstream>
#include <thread>
#include <vector>

namespace {

struct log_entry {
    int priority;
    std::string text;
};

std::mutex log_guard;
std::vector<log_entry> system_log;

}  // namespace

// Replaces the system's log, which tests must not fill.
// NOLINTNEXTLINE(cert-dcl50-cpp): the replaced function is variadic.
extern "C" void syslog(int priority, const char *format, ...) {
    char text[4096];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    const std::lock_guard<std::mutex> hold(log_guard);
    system_log.push_back({priority, text});
}

namespace {

class diagnostic_log_lines : public testing::Test {
 protected:
    diagnostic_log_lines() { system_log.clear(); }

    // These entries on standard error.
    static std::string shown(const std::vector<std::string> &entries) {
        testing::internal::CaptureStderr();
        for (const std::string &entry : entries)
            diagnostic_log(entry);
        return testing::internal::GetCapturedStderr();
    }
};

}  // namespace

TEST_F(diagnostic_log_lines, writes_each_entry_to_standard_error) {
    EXPECT_EQ(shown({"d: one", "ERR: two"}), "d: one\nERR: two\n");
}

TEST_F(diagnostic_log_lines, does_not_double_line_break) {
    EXPECT_EQ(shown({" - Name = x\n", "d: next"}), " - Name = x\nd: next\n");
    EXPECT_EQ(system_log.at(0).text, " - Name = x");
}

TEST_F(diagnostic_log_lines, writes_empty_line_for_empty_entry) {
    EXPECT_EQ(shown({"", "\n"}), "\n\n");
    EXPECT_EQ(system_log.size(), 2U);
}

TEST_F(diagnostic_log_lines, does_not_expand_percent_signs) {
    EXPECT_EQ(shown({"100% %s %n %d"}), "100% %s %n %d\n");
    EXPECT_EQ(system_log.at(0).text, "100% %s %n %d");
}

TEST_F(diagnostic_log_lines, escapes_control_characters) {
    EXPECT_EQ(shown({"d: x\nERR: forged\x1b[2J\n"}), "d: x\\x0AERR: forged\\x1B[2J\n");
    EXPECT_EQ(system_log.at(0).text, "d: x\\x0AERR: forged\\x1B[2J");
}

TEST_F(diagnostic_log_lines, writes_each_entry_to_system_log) {
    shown({"d: one", "d: two\n"});
    ASSERT_EQ(system_log.size(), 2U);
    EXPECT_EQ(system_log.at(0).text, "d: one");
    EXPECT_EQ(system_log.at(1).text, "d: two");
    EXPECT_EQ(system_log.at(0).priority, LOG_USER | LOG_NOTICE);
}

TEST_F(diagnostic_log_lines, does_not_mix_lines_of_threads) {
    constexpr int lines = 3000;
    const std::string first(100, 'a');
    const std::string second(100, 'b');
    testing::internal::CaptureStderr();
    std::thread job([&] {
        for (int i = 0; i < lines; ++i)
            diagnostic_log(first);
    });
    for (int i = 0; i < lines; ++i)
        diagnostic_log(second + "\n");
    job.join();
    std::istringstream stream(testing::internal::GetCapturedStderr());
    int found = 0;
    for (std::string line; std::getline(stream, line); ++found)
        ASSERT_TRUE(line == first || line == second) << line;
    EXPECT_EQ(found, 2 * lines);
    EXPECT_EQ(system_log.size(), 2U * lines);
}
