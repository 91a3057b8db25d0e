// SPDX-License-Identifier: GPL-3.0-or-later
#include "report/number_text.h"

#include <gtest/gtest.h>

#include <array>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <limits>
#include <random>

#include "locale_guard.h"

static std::string printed(double value, int decimals) {
    std::array<char, 512> text{};
    std::snprintf(text.data(), text.size(), "%.*f", decimals, value);
    return text.data();
}

TEST(number_text, matches_printf_in_c_locale) {
    std::mt19937_64 random(20240607);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same every time
    std::uniform_real_distribution<double> exponent(-6.0, 22.0);
    for (int i = 0; i < 20000; ++i) {
        const double value = (i % 2 == 0 ? 1.0 : -1.0) * std::pow(10.0, exponent(random));
        for (const int decimals : {0, 1, 2, 3, 6})
            ASSERT_EQ(number_text_fixed(value, decimals), printed(value, decimals));
    }
}

TEST(number_text, rounds_exact_ties_to_even) {
    EXPECT_EQ(number_text_fixed(0.25, 1), "0.2");
    EXPECT_EQ(number_text_fixed(0.75, 1), "0.8");
    EXPECT_EQ(number_text_fixed(0.05, 1), "0.1");
    EXPECT_EQ(number_text_fixed(2.5, 0), "2");
    EXPECT_EQ(number_text_fixed(2.125, 2), "2.12");
    EXPECT_EQ(number_text_fixed(2.375, 2), "2.38");
    EXPECT_EQ(number_text_fixed(56.25, 1), "56.2");
    EXPECT_EQ(number_text_fixed(-56.25, 1), "-56.2");
}

TEST(number_text, formats_extreme_values) {
    for (const double value : {DBL_MAX, -DBL_MAX, DBL_MIN, 0.0, -0.0})
        EXPECT_EQ(number_text_fixed(value, 17), printed(value, 17));
    EXPECT_EQ(number_text_fixed(INFINITY, 2), "inf");
    EXPECT_EQ(number_text_fixed(-INFINITY, 2), "-inf");
    EXPECT_EQ(number_text_fixed(std::fabs(NAN), 2), "nan");
}

TEST(number_text, ignores_locale_with_decimal_comma) {
    const comma_locale_guard locale;
    if (!locale.found())
        GTEST_SKIP() << "no locale with a decimal comma is installed";
    EXPECT_EQ(printed(14.5, 1), "14,5");
    EXPECT_EQ(number_text_fixed(14.5, 1), "14.5");
}

struct size_case {
    double bytes;
    const char *text;
};

TEST(number_text, size_has_one_decimal_and_unit) {
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

TEST(number_text, size_keeps_unit_when_rounding_reaches_1024) {
    EXPECT_EQ(size_text_from_value(1048575.0), "1024.0 KB");
    EXPECT_EQ(size_text_from_value(std::nextafter(1024.0, 0.0)), "1024.0 Byte");
    EXPECT_EQ(size_text_from_value(std::nextafter(1073741824.0, 0.0)), "1024.0 MB");
}

TEST(number_text, size_beyond_exabytes_has_no_unit) {
    EXPECT_EQ(size_text_from_value(std::ldexp(1.0, 70)), "1.0 ");
    EXPECT_EQ(size_text_from_value(std::ldexp(1023.0, 60)), "1023.0 EB");
    EXPECT_EQ(size_text_from_value(std::ldexp(1.0, 81)), "2048.0 ");
    EXPECT_EQ(size_text_from_value(INFINITY), "inf ");
}

TEST(number_text, size_negative_and_nan_stay_in_bytes) {
    EXPECT_EQ(size_text_from_value(-5000.0), "-5000.0 Byte");
    EXPECT_EQ(size_text_from_value(std::fabs(NAN)), "nan Byte");
    EXPECT_EQ(size_text_from_value(0.04), "0.0 Byte");
}

TEST(number_text, size_accepts_largest_count) {
    EXPECT_EQ(size_text_from_bytes(0), "0.0 Byte");
    EXPECT_EQ(size_text_from_bytes(15931539456), "14.8 GB");
    EXPECT_EQ(size_text_from_bytes(std::numeric_limits<std::uint64_t>::max()), "16.0 EB");
}
