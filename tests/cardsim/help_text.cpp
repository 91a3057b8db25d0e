/* The help against the options there are. */
#include "tools/cardsim/help_text.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tools/cardsim/arguments.h"

TEST(help_text, every_option_is_explained) {
    const std::string help(cardsim::help_text());
    const auto names = cardsim::arguments_known();
    EXPECT_GE(names.size(), 24U);
    for (const std::string &name : names) {
        const size_t at = help.find("  " + name);
        const bool after_short_form = help.find("-h, " + name) != std::string::npos;
        EXPECT_TRUE(at != std::string::npos || after_short_form) << name;
    }
}

TEST(help_text, lines_fit_a_terminal) {
    std::istringstream lines{std::string(cardsim::help_text())};
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(line.size(), 80U) << line;
    }
}
