#include "report/utf8.h"

#include <gtest/gtest.h>

using namespace std::string_literals;

TEST(utf8, replaces_only_the_bytes_that_are_not_utf8) {
    EXPECT_EQ(utf8_replace_invalid("caf\xC3\xA9"), "caf\xC3\xA9");
    EXPECT_EQ(utf8_replace_invalid("a\xFF"
                                   "b"),
              "a\xEF\xBF\xBD"
              "b");
    EXPECT_EQ(utf8_replace_invalid("\xE2\x82"), "\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(utf8_replace_invalid("a\0b"s), "a\0b"s);
    EXPECT_EQ(utf8_replace_invalid(""), "");
}

TEST(utf8, percent_escapes_keep_every_byte) {
    EXPECT_EQ(utf8_percent_escape("/media/SD-1_a.b~"), "/media/SD-1_a.b~");
    EXPECT_EQ(utf8_percent_escape("a b%\n\xFF\0"s), "a%20b%25%0A%FF%00");
    EXPECT_EQ(utf8_percent_escape("\xC3\xA9"), "%C3%A9");
}
