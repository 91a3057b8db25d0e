#include "report/number_text.h"

#include <gtest/gtest.h>

#include <array>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <random>

#include "locale_guard.h"

static std::string printed(double value, int decimals) {
    std::array<char, 512> text{};
    std::snprintf(text.data(), text.size(), "%.*f", decimals, value);
    return text.data();
}

TEST(number_text, equals_printf_in_the_c_locale) {
    std::mt19937_64 random(20240607);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same every time
    std::uniform_real_distribution<double> exponent(-6.0, 22.0);
    for (int i = 0; i < 20000; ++i) {
        const double value = (i % 2 == 0 ? 1.0 : -1.0) * std::pow(10.0, exponent(random));
        for (const int decimals : {0, 1, 2, 3, 6})
            ASSERT_EQ(number_text_fixed(value, decimals), printed(value, decimals));
    }
}

TEST(number_text, rounds_ties_as_printf_does) {
    EXPECT_EQ(number_text_fixed(0.25, 1), "0.2");
    EXPECT_EQ(number_text_fixed(0.75, 1), "0.8");
    EXPECT_EQ(number_text_fixed(0.05, 1), "0.1");
    EXPECT_EQ(number_text_fixed(2.5, 0), "2");
}

TEST(number_text, extremes_fit) {
    for (const double value : {DBL_MAX, -DBL_MAX, DBL_MIN, 0.0, -0.0})
        EXPECT_EQ(number_text_fixed(value, 17), printed(value, 17));
    EXPECT_EQ(number_text_fixed(INFINITY, 2), "inf");
    EXPECT_EQ(number_text_fixed(-INFINITY, 2), "-inf");
    EXPECT_EQ(number_text_fixed(std::fabs(NAN), 2), "nan");
}

TEST(number_text, a_locale_with_a_comma_keeps_the_point) {
    const comma_locale_guard locale;
    if (!locale.found())
        GTEST_SKIP() << "no locale with a decimal comma is installed";
    EXPECT_EQ(printed(14.5, 1), "14,5");
    EXPECT_EQ(number_text_fixed(14.5, 1), "14.5");
}
