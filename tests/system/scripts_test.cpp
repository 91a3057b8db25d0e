// SPDX-License-Identifier: GPL-3.0-or-later
// The help texts of the two scripts that users start.
#include <gtest/gtest.h>

#include <regex>
#include <set>

#include "cli_run.h"

using namespace system_tests;

// All "--option" words of the help text, which must end with status 0.
static std::set<std::string> options_in_help(std::vector<std::string> words) {
    words.emplace_back("--help");
    const process_result help = run_program(words);
    EXPECT_TRUE(help.exited_with(0)) << help.err;
    static const std::regex option("--[a-z][a-z-]*");
    std::set<std::string> options;
    for (std::sregex_iterator at(help.out.begin(), help.out.end(), option), end; at != end; ++at)
        options.insert(at->str());
    return options;
}

TEST(scripts, run_help_names_all_options_of_test) {
    const std::set<std::string> in_run = options_in_help({TROVIK_SOURCE_FOLDER "/run"});
    std::set<std::string> passed_on = options_in_help({TROVIK_CLI_PROGRAM, "test"});
    passed_on.erase("--help");
    EXPECT_TRUE(passed_on.contains("--json"));
    for (const std::string &option : passed_on)
        EXPECT_TRUE(in_run.contains(option)) << option;
}

TEST(scripts, check_help_names_quick_and_long) {
    const std::set<std::string> options = options_in_help({TROVIK_SOURCE_FOLDER "/check"});
    EXPECT_TRUE(options.contains("--quick"));
    EXPECT_TRUE(options.contains("--long"));
}
