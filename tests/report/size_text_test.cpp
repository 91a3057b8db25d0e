#include "report/size_text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

struct size_case {
    double bytes;
    const char *text;
};

TEST(size_text, has_one_decimal_and_a_unit_of_1024) {
    for (const size_case &each : {
             size_case{0.0, "0.0 Byte"},
             {1.0, "1.0 Byte"},
             {512.0, "512.0 Byte"},
             {1023.0, "1023.0 Byte"},
             {1024.0, "1.0 KB"},
             {1536.0, "1.5 KB"},
             {1048576.0, "1.0 MB"},
             {1073741824.0, "1.0 GB"},
             {15931539456.0, "14.8 GB"},
             {1099511627776.0, "1.0 TB"},
             {1125899906842624.0, "1.0 PB"},
             {1152921504606846976.0, "1.0 EB"},
             {18446744073709551616.0, "16.0 EB"},
         })
        EXPECT_EQ(size_text_from_value(each.bytes), each.text);
}

TEST(size_text, the_unit_stays_when_only_rounding_reaches_1024) {
    EXPECT_EQ(size_text_from_value(1048575.0), "1024.0 KB");
    EXPECT_EQ(size_text_from_value(std::nextafter(1024.0, 0.0)), "1024.0 Byte");
    EXPECT_EQ(size_text_from_value(std::nextafter(1073741824.0, 0.0)), "1024.0 MB");
}

TEST(size_text, past_the_last_unit_there_is_a_number_without_one) {
    EXPECT_EQ(size_text_from_value(std::ldexp(1.0, 70)), "1.0 ");
    EXPECT_EQ(size_text_from_value(std::ldexp(1023.0, 60)), "1023.0 EB");
    EXPECT_EQ(size_text_from_value(std::ldexp(1.0, 81)), "2048.0 ");
    EXPECT_EQ(size_text_from_value(INFINITY), "inf ");
}

TEST(size_text, what_is_not_at_least_1024_stays_in_bytes) {
    EXPECT_EQ(size_text_from_value(-5000.0), "-5000.0 Byte");
    EXPECT_EQ(size_text_from_value(std::fabs(NAN)), "nan Byte");
    EXPECT_EQ(size_text_from_value(0.04), "0.0 Byte");
}

TEST(size_text, takes_every_64_bit_count) {
    EXPECT_EQ(size_text_from_bytes(0), "0.0 Byte");
    EXPECT_EQ(size_text_from_bytes(15931539456), "14.8 GB");
    EXPECT_EQ(size_text_from_bytes(std::numeric_limits<std::uint64_t>::max()), "16.0 EB");
}
