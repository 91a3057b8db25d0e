// Paths in messages are the caller's to show.
#include "volume/path_text.h"

#include <gtest/gtest.h>

TEST(path_text, an_error_names_the_path_what_failed_and_the_reason) {
    EXPECT_EQ(path_text_error("/a\nb\\\x9B", "cannot be looked at", ENOENT),
              "/a\nb\\\x9B: cannot be looked at: No such file or directory");
}

TEST(path_text, the_last_name_of_the_root_is_the_root) {
    EXPECT_EQ(path_text_last_name("/media/CARD"), "CARD");
    EXPECT_EQ(path_text_last_name("/CARD"), "CARD");
    EXPECT_EQ(path_text_last_name("/"), "/");
}
