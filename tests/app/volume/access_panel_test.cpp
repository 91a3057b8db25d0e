// SPDX-License-Identifier: GPL-3.0-or-later
// The expansion of a text that is used as a format.
#include "app/access_panel.h"

#include <gtest/gtest.h>

TEST(access_panel, format_keeps_text_without_percent_sign) {
    EXPECT_EQ(format_expand_without_arguments("report 1.txt"), "report 1.txt");
    EXPECT_EQ(format_expand_without_arguments(""), "");
}

TEST(access_panel, format_turns_two_percent_signs_into_one) {
    EXPECT_EQ(format_expand_without_arguments("100%% wool"), "100% wool");
    EXPECT_EQ(format_expand_without_arguments("%%%%"), "%%");
}

TEST(access_panel, format_fills_conversion_with_nothing) {
    EXPECT_EQ(format_expand_without_arguments("a%db"), "a0b");
    EXPECT_EQ(format_expand_without_arguments("50% done"), "500one");
    EXPECT_EQ(format_expand_without_arguments("%s and %@"), "(null) and (null)");
    EXPECT_EQ(format_expand_without_arguments("%llu %04ld"), "0 0");
    EXPECT_EQ(format_expand_without_arguments("%.2f %f"), "0.00 0.000000");
}

TEST(access_panel, format_drops_percent_sign_without_conversion) {
    EXPECT_EQ(format_expand_without_arguments("%y"), "y");
    EXPECT_EQ(format_expand_without_arguments("to the end %"), "to the end ");
    EXPECT_EQ(format_expand_without_arguments("%\xC3\xBC"), "\xC3\xBC");
}
