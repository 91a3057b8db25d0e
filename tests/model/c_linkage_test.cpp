// SPDX-License-Identifier: GPL-3.0-or-later
/* Runs the checks of c_linkage.c. */
#include <gtest/gtest.h>

#include "support.h"

extern "C" {
int c_linkage_log_and_status(const char *folder);
int c_linkage_results(void);
int c_linkage_names(const char *folder);
int c_linkage_sectors(void);
int c_linkage_phases(const char *folder);
void c_linkage_end(int by_assertion);
}

using model_tests::private_folder;
using model_tests::run_in_child;

/* Each result is 0, or a line of c_linkage.c. */
TEST(c_linkage, calls_every_function_from_c) {
    const private_folder folder;
    EXPECT_EQ(c_linkage_log_and_status(folder.c_path()), 0);
    EXPECT_EQ(c_linkage_results(), 0);
    EXPECT_EQ(c_linkage_names(folder.c_path()), 0);
    EXPECT_EQ(c_linkage_sectors(), 0);
    EXPECT_EQ(c_linkage_phases(folder.c_path()), 0);
    model_tests::drained_log();
}

TEST(c_linkage, ends_c_program_by_failure_or_broken_invariant) {
    model_tests::expect_refusal(run_in_child([] { c_linkage_end(0); }), "ERR: Can't open file /c",
                                2);
    model_tests::expect_assertion(run_in_child([] { c_linkage_end(1); }), "!by_assertion",
                                  "c_linkage_end", "model/test");
}
