#include "report/error_text.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

TEST(error_text, is_the_systems_text) {
    for (const int error : {EIO, ENOENT, ENOSPC, EACCES, ENODEV})
        EXPECT_EQ(error_text(error), std::strerror(error));
}
