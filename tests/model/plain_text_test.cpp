/* Paths that want to be more than text. */
#include "model/plain_text.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "model/fatal.h"
#include "model/program_name.h"
#include "support.h"

using model_tests::run_in_child;

static std::string printed(const std::string &text) {
    return run_in_child([&] { plain_text_print(stdout, text.c_str()); }).out;
}

TEST(plain_text, letters_of_all_kinds_stay_as_they_are) {
    for (const char *text : {"", "/mnt/card 1/1.fff", "Karte \xe2\x80\x93 \xc2\xa0\xc3\x9f"})
        EXPECT_EQ(printed(text), text);
}

TEST(plain_text, control_characters_do_not_reach_a_terminal) {
    EXPECT_EQ(printed("a\x1b[2J\x07\nb\x7f"), "a\\x1B[2J\\x07\\x0Ab\\x7F");
    EXPECT_EQ(printed("a\xc2\x9b"
                      "2Jb"),
              "a\\xC2\\x9B2Jb");
}

TEST(plain_text, bytes_that_only_some_terminals_obey_do_not_reach_them_either) {
    EXPECT_EQ(printed("a\x9b"
                      "2J\xff\xc2"),
              "a\\x9B2J\\xFF\\xC2");
    EXPECT_EQ(printed("\xe2\x80\xae"
                      "fff.1"),
              "\\xE2\\x80\\xAEfff.1");
}

TEST(plain_text, is_what_the_process_ends_with) {
    const auto outcome = run_in_child(
        [] { engine_fatal_exit(EROFS, "ERR: Can't create file", "/a\x1b[2J\n/1.fff"); });
    EXPECT_EQ(outcome.err,
              model_tests::refusal_line("ERR: Can't create file /a\\x1B[2J\\x0A/1.fff", EROFS));
}
