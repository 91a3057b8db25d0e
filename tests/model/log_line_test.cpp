/* User lines: 80 characters fit, one more ends the process or is cut. */
#include "model/log_line.h"

#include <gtest/gtest.h>

#include <string>

#include "support.h"

using model_tests::child_outcome;
using model_tests::drained_log;
using model_tests::run_in_child;

TEST(log_line, a_line_of_80_characters_is_appended_whole) {
    drained_log();
    const std::string line = std::string(79, 'x') + "\n";
    EXPECT_EQ(log_line_whole("%s", line.c_str()), 80);
    EXPECT_EQ(drained_log(), line);
}

TEST(log_line, a_line_of_81_characters_ends_the_process) {
    const std::string line(81, 'x');
    EXPECT_TRUE(run_in_child([&] { log_line_whole("%s", line.c_str()); }).aborted());
}

TEST(log_line, a_cut_line_keeps_its_first_80_characters) {
    drained_log();
    const std::string line = std::string(80, 'x') + "yyy\n";
    log_line_cut("%s", line.c_str());
    EXPECT_EQ(drained_log(), std::string(80, 'x'));
    log_line_cut("%s\n", std::string(79, 'x').c_str());
    EXPECT_EQ(drained_log(), std::string(79, 'x') + "\n");
}
