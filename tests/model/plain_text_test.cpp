// SPDX-License-Identifier: GPL-3.0-or-later
/* Decoding UTF-8, and escaping text for a terminal. */
#include "model/plain_text.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <string>

#include "model/fatal.h"
#include "model/platform.h"
#include "support.h"

using model_tests::run_in_child;
using namespace std::string_literals;

namespace {

struct character {
    uint32_t code;
    size_t length;
};

}  // namespace

static character first_character(const std::string &text) {
    character first = {};
    first.length = plain_text_first_character(text.data(), text.size(), &first.code);
    return first;
}

static std::string printed(const std::string &text) {
    std::string shown(PLAIN_TEXT_ROOM(text.size()), '\0');
    shown.resize(plain_text_escape(text.data(), text.size(), shown.data()));
    return shown;
}

TEST(plain_text, decodes_characters_of_every_length) {
    struct {
        const char *text;
        uint32_t code;
        size_t length;
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
        const character first = first_character(each.text + "x"s);
        EXPECT_EQ(first.code, each.code);
        EXPECT_EQ(first.length, each.length);
    }
    EXPECT_EQ(first_character("\0x"s).length, 1U);
}

TEST(plain_text, rejects_invalid_utf8) {
    for (const char *text : {
             "\x80",             /* continuation byte alone */
             "\xBFx",            /* likewise */
             "\xC3",             /* cut */
             "\xE2\x82",         /* cut */
             "\xF0\x9F\x98",     /* cut */
             "\xC3(",            /* not continued */
             "\xE2\x82(",        /* not continued */
             "\xC0\x80",         /* overlong NUL */
             "\xC1\xBF",         /* overlong */
             "\xE0\x9F\xBF",     /* overlong */
             "\xF0\x8F\xBF\xBF", /* overlong */
             "\xED\xA0\x80",     /* surrogate */
             "\xED\xBF\xBF",     /* surrogate */
             "\xF4\x90\x80\x80", /* above U+10FFFF */
             "\xF7\xBF\xBF\xBF", /* above U+10FFFF */
             "\xF8\x88\x80\x80\x80",
             "\xFE",
             "\xFF",
             "",
         })
        EXPECT_EQ(first_character(text).length, 0U) << printed(text);
}

TEST(plain_text, keeps_letters_of_all_scripts) {
    for (const char *text : {"", "/mnt/card 1/1.fff", "Karte \xe2\x80\x93 \xc2\xa0\xc3\x9f"})
        EXPECT_EQ(printed(text), text);
}

TEST(plain_text, escapes_control_characters) {
    EXPECT_EQ(printed("a\x1b[2J\x07\nb\x7f"), "a\\x1B[2J\\x07\\x0Ab\\x7F");
    EXPECT_EQ(printed("a\xc2\x9b"
                      "2Jb"),
              "a\\xC2\\x9B2Jb");
}

TEST(plain_text, escapes_bytes_that_only_some_terminals_obey) {
    EXPECT_EQ(printed("a\x9b"
                      "2J\xff\xc2"),
              "a\\x9B2J\\xFF\\xC2");
    EXPECT_EQ(printed("\xe2\x80\xae"
                      "fff.1"),
              "\\xE2\\x80\\xAEfff.1");
}

TEST(plain_text, escapes_process_ending_line) {
    const auto outcome = run_in_child(
        [] { engine_fatal_exit(EROFS, "ERR: Can't create file", "/a\x1b[2J\n/1.fff"); });
    EXPECT_EQ(outcome.err,
              model_tests::refusal_line("ERR: Can't create file /a\\x1B[2J\\x0A/1.fff", EROFS));
}
