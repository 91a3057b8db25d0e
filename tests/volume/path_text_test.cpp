// Paths in messages stay on one line.
#include "volume/path_text.h"

#include <gtest/gtest.h>

TEST(path_text, control_characters_become_octal_escapes) {
    EXPECT_EQ(path_text_printable("/a\nb\tc\x7F"), "/a\\012b\\011c\\177");
}

TEST(path_text, a_backslash_is_escaped_so_that_an_escape_is_unambiguous) {
    EXPECT_EQ(path_text_printable("/a\\012"), "/a\\134012");
}

TEST(path_text, blanks_and_bytes_above_ascii_stay) {
    EXPECT_EQ(path_text_printable("/NO NAME/\xC3\xA9\xFF"), "/NO NAME/\xC3\xA9\xFF");
}

TEST(path_text, an_error_names_the_path_what_failed_and_the_reason) {
    EXPECT_EQ(path_text_error("/a\nb", "cannot be looked at", ENOENT),
              "/a\\012b: cannot be looked at: No such file or directory");
}

TEST(path_text, the_last_name_of_the_root_is_the_root) {
    EXPECT_EQ(path_text_last_name("/media/CARD"), "CARD");
    EXPECT_EQ(path_text_last_name("/CARD"), "CARD");
    EXPECT_EQ(path_text_last_name("/"), "/");
}
