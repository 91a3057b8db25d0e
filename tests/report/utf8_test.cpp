#include "report/utf8.h"

#include <gtest/gtest.h>

using namespace std::string_literals;

TEST(utf8, decodes_characters_of_every_length) {
    struct {
        const char *text;
        char32_t code;
        std::size_t length;
    } const cases[] = {
        {"A", 'A', 1},
        {"\x7F", 0x7F, 1},
        {"\xC2\x80", 0x80, 2},
        {"\xDF\xBF", 0x7FF, 2},
        {"\xE0\xA0\x80", 0x800, 3},
        {"\xED\x9F\xBF", 0xD7FF, 3},
        {"\xEE\x80\x80", 0xE000, 3},
        {"\xEF\xBF\xBF", 0xFFFF, 3},
        {"\xF0\x90\x80\x80", 0x10000, 4},
        {"\xF4\x8F\xBF\xBF", 0x10FFFF, 4},
    };
    for (const auto &each : cases) {
        const utf8_character first = utf8_first_character(each.text + "x"s);
        EXPECT_EQ(first.code, each.code);
        EXPECT_EQ(first.length, each.length);
    }
    EXPECT_EQ(utf8_first_character("\0x"s).length, 1U);
}

TEST(utf8, refuses_what_is_not_utf8) {
    for (const char *text : {
             "\x80",              // continues nothing
             "\xBFx",             // likewise
             "\xC3",              // cut
             "\xE2\x82",          // cut
             "\xF0\x9F\x98",      // cut
             "\xC3(",             // not continued
             "\xE2\x82(",         // not continued
             "\xC0\x80",          // overlong NUL
             "\xC1\xBF",          // overlong
             "\xE0\x9F\xBF",      // overlong
             "\xF0\x8F\xBF\xBF",  // overlong
             "\xED\xA0\x80",      // surrogate
             "\xED\xBF\xBF",      // surrogate
             "\xF4\x90\x80\x80",  // above U+10FFFF
             "\xF7\xBF\xBF\xBF",  // above U+10FFFF
             "\xF8\x88\x80\x80\x80",
             "\xFE",
             "\xFF",
             "",
         })
        EXPECT_EQ(utf8_first_character(text).length, 0U) << utf8_percent_escape(text);
}

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
