/* What is printed on a terminal of what was typed. */
#include "tools/cardsim/shown_text.h"

#include <gtest/gtest.h>

TEST(shown_text, printable_ascii_stays_and_nothing_else) {
    EXPECT_EQ(cardsim::shown_text("/mnt/~ a\\b"), "/mnt/~ a\\b");
    EXPECT_EQ(cardsim::shown_text("\x1b[2J\n\x7f"), "\\x1B[2J\\x0A\\x7F");
    EXPECT_EQ(cardsim::shown_text("\xc2\x9b\xff"), "\\xC2\\x9B\\xFF");
}
