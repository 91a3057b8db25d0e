// SPDX-License-Identifier: GPL-3.0-or-later
#include "report/printable.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "model/plain_text.h"

using namespace std::string_literals;

TEST(printable, keeps_printable_text) {
    for (const char *text :
         {"", "/media/SD CARD", "~!@#$%^&*()\\\"'", "Zo\xC3\xAB", "\xE6\x97\xA5\xE6\x9C\xAC",
          "\xF0\x9F\x92\xBE", "\xC2\xA0", "\xD7\xA9\xD7\x9C"})
        EXPECT_EQ(printable_text(text), text);
}

TEST(printable, escapes_control_characters) {
    EXPECT_EQ(printable_text("\x1B[2J"), "\\x1B[2J");
    EXPECT_EQ(printable_text("a\nb\tc\rd"), "a\\x0Ab\\x09c\\x0Dd");
    EXPECT_EQ(printable_text("\x7F\x01\x1F"), "\\x7F\\x01\\x1F");
    EXPECT_EQ(printable_text("a\0b"s), "a\\x00b");
}

TEST(printable, escapes_c1_controls_in_utf8) {
    EXPECT_EQ(printable_text("\xC2\x9B"
                             "2J"),
              "\\xC2\\x9B2J");
    EXPECT_EQ(printable_text("\xC2\x80\xC2\x9F\xC2\xA0"), "\\xC2\\x80\\xC2\\x9F\xC2\xA0");
}

TEST(printable, escapes_bidi_marks_and_line_separators) {
    EXPECT_EQ(printable_text("\xE2\x80\xAEgpj"), "\\xE2\\x80\\xAEgpj");
    EXPECT_EQ(printable_text("\xE2\x80\xAA\xE2\x81\xA6\xE2\x81\xA9"),
              "\\xE2\\x80\\xAA\\xE2\\x81\\xA6\\xE2\\x81\\xA9");
    EXPECT_EQ(printable_text("\xD7\xA9\xE2\x80\x8F\xE2\x80\x8E\xD8\x9C"),
              "\xD7\xA9\\xE2\\x80\\x8F\\xE2\\x80\\x8E\\xD8\\x9C");
    EXPECT_EQ(printable_text("\xE2\x80\xA8\xE2\x80\xA9"), "\\xE2\\x80\\xA8\\xE2\\x80\\xA9");
}

TEST(printable, escapes_each_invalid_byte) {
    EXPECT_EQ(printable_text("a\xFFz"), "a\\xFFz");
    EXPECT_EQ(printable_text("\xE2\x82"), "\\xE2\\x82");
    EXPECT_EQ(printable_text("\xC0\x80"), "\\xC0\\x80");
    EXPECT_EQ(printable_text("\xC3\xC3\xA9"), "\\xC3\xC3\xA9");
}

TEST(printable, escapes_control_bytes_in_all_pairs_of_bytes) {
    for (int first = 0; first < 256; ++first) {
        for (int second = 0; second < 256; ++second) {
            const std::string text = {static_cast<char>(first), static_cast<char>(second)};
            const std::string shown = printable_text(text);
            for (const char c : shown)
                ASSERT_TRUE(static_cast<unsigned char>(c) >= 0x20 && c != 0x7F) << shown;
            ASSERT_EQ(printable_text(shown), shown);
        }
    }
}

TEST(printable, lines_keep_only_line_breaks) {
    EXPECT_EQ(printable_lines(""), "");
    EXPECT_EQ(printable_lines("\n"), "\n");
    EXPECT_EQ(printable_lines("one\ntwo\x1b[2J\r\n\nthree\t"),
              "one\ntwo\\x1B[2J\\x0D\n\nthree\\x09");
}

static std::string printed_by_engine(const std::string &text) {
    std::string shown(PLAIN_TEXT_ROOM(text.size()), '\0');
    shown.resize(plain_text_escape(text.data(), text.size(), shown.data()));
    return shown;
}

TEST(printable, escapes_as_the_engine_does) {
    static constexpr struct {
        const char *text;
        const char *shown;
    } table[] = {
        {"", ""},
        {"/mnt/Zo\u00EB \U0001F4BE \\x", "/mnt/Zo\u00EB \U0001F4BE \\x"},
        {"\x1F\x7F", "\\x1F\\x7F"},
        {"\x80\x9B\x9F", "\\x80\\x9B\\x9F"},
        {"\xC2\x9B\xC2\xA0", "\\xC2\\x9B\xC2\xA0"},
        {"\xE2\x80\xA7\xE2\x80\xA8\xE2\x80\xA9", "\xE2\x80\xA7\\xE2\\x80\\xA8\\xE2\\x80\\xA9"},
        {"\xE2\x80\xAA\xE2\x80\xAE\xE2\x80\xAF", "\\xE2\\x80\\xAA\\xE2\\x80\\xAE\xE2\x80\xAF"},
        {"\xE2\x81\xA5\xE2\x81\xA6\xE2\x81\xA9", "\xE2\x81\xA5\\xE2\\x81\\xA6\\xE2\\x81\\xA9"},
        {"\xE2\x80\x8D\xE2\x80\x8E\xE2\x80\x90", "\xE2\x80\x8D\\xE2\\x80\\x8E\xE2\x80\x90"},
        {"\xD8\x9B\xD8\x9C\xD8\x9D", "\xD8\x9B\\xD8\\x9C\xD8\x9D"},
        {"\xC1\xBF\xE0\x9F\xBF", "\\xC1\\xBF\\xE0\\x9F\\xBF"},
        {"\xED\xA0\x80\xF4\x90\x80\x80", "\\xED\\xA0\\x80\\xF4\\x90\\x80\\x80"},
        {"\xF0\x9F\x92", "\\xF0\\x9F\\x92"},
    };
    for (const auto &row : table) {
        EXPECT_EQ(printable_text(row.text), row.shown);
        EXPECT_EQ(printed_by_engine(row.text), row.shown);
    }
}

TEST(printable, utf8_replaces_only_invalid_bytes) {
    EXPECT_EQ(utf8_replace_invalid("caf\xC3\xA9"), "caf\xC3\xA9");
    EXPECT_EQ(utf8_replace_invalid("a\xFF"
                                   "b"),
              "a\xEF\xBF\xBD"
              "b");
    EXPECT_EQ(utf8_replace_invalid("\xE2\x82"), "\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(utf8_replace_invalid("a\0b"s), "a\0b"s);
    EXPECT_EQ(utf8_replace_invalid(""), "");
}

TEST(printable, utf8_percent_escape_loses_no_byte) {
    EXPECT_EQ(utf8_percent_escape("/media/SD-1_a.b~"), "/media/SD-1_a.b~");
    EXPECT_EQ(utf8_percent_escape("a b%\n\xFF\0"s), "a%20b%25%0A%FF%00");
    EXPECT_EQ(utf8_percent_escape("\xC3\xA9"), "%C3%A9");
}

TEST(printable, error_text_equals_strerror) {
    for (const int error : {EIO, ENOENT, ENOSPC, EACCES, ENODEV})
        EXPECT_EQ(error_text(error), std::strerror(error));
}
