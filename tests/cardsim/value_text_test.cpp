// SPDX-License-Identifier: GPL-3.0-or-later
/* Parsing option values. */
#include "tools/cardsim/value_text.h"

#include <gtest/gtest.h>

namespace {

uint64_t size_of(const char *text) {
    uint64_t bytes = 0;
    std::string error;
    EXPECT_TRUE(cardsim::value_parse_size(text, &bytes, &error)) << error;
    return bytes;
}

std::string size_error(const char *text) {
    uint64_t bytes = 0;
    std::string error;
    EXPECT_FALSE(cardsim::value_parse_size(text, &bytes, &error)) << text;
    return error;
}

}  // namespace

TEST(value_text, sizes_are_bytes_or_powers_of_1024) {
    EXPECT_EQ(size_of("0"), 0U);
    EXPECT_EQ(size_of("512"), 512U);
    EXPECT_EQ(size_of("64K"), 65536U);
    EXPECT_EQ(size_of("3M"), 3145728U);
    EXPECT_EQ(size_of("2G"), 2147483648U);
    EXPECT_EQ(size_of("1T"), 1099511627776U);
}

TEST(value_text, refuses_partly_valid_sizes_with_their_text) {
    for (const char *text : {"", "K", "12Q", "1.5G", "-1", "+1", " 1", "1 ", "0x10", "1KB"}) {
        EXPECT_NE(size_error(text).find("is not a size"), std::string::npos) << text;
        EXPECT_NE(size_error(text).find(text), std::string::npos) << text;
    }
}

TEST(value_text, refuses_sizes_beyond_those_of_files) {
    EXPECT_EQ(size_of("9223372036854775807"), 9223372036854775807U);
    EXPECT_NE(size_error("9223372036854775808").find("too large"), std::string::npos);
    EXPECT_NE(size_error("8388608T").find("too large"), std::string::npos);
    EXPECT_FALSE(size_error("99999999999999999999").empty());
}

TEST(value_text, fractions_stay_within_limits) {
    double value = 0;
    std::string error;
    EXPECT_TRUE(cardsim::value_parse_fraction("0.25", 0, 1, &value, &error));
    EXPECT_DOUBLE_EQ(value, 0.25);
    for (const char *text : {"1.1", "-0.1", "nan", "inf", "", "1e-3", "0.5x"}) {
        EXPECT_FALSE(cardsim::value_parse_fraction(text, 0, 1, &value, &error)) << text;
    }
    EXPECT_EQ(error, "'0.5x' is not a number from 0 to 1");
}

TEST(value_text, parses_ranges_of_sectors) {
    cardsim::sector_ranges ranges;
    std::string error;
    ASSERT_TRUE(cardsim::value_parse_ranges("5,10-20", &ranges, &error)) << error;
    EXPECT_TRUE(ranges.overlap(5, 1));
    EXPECT_FALSE(ranges.overlap(6, 4));
    EXPECT_TRUE(ranges.overlap(20, 1));
    for (const char *text : {"", "5,", "a", "1-", "-1", "1-2-3", "1:2"}) {
        EXPECT_FALSE(cardsim::value_parse_ranges(text, &ranges, &error)) << text;
    }
    EXPECT_FALSE(cardsim::value_parse_ranges("9-5", &ranges, &error));
    EXPECT_EQ(error, "'9-5' ends before it begins");
}

TEST(value_text, parses_flips) {
    std::set<std::pair<uint64_t, unsigned>> flips;
    std::string error;
    ASSERT_TRUE(cardsim::value_parse_flips("3:0,3:4095,70000000000:1", &flips, &error)) << error;
    EXPECT_EQ(flips.size(), 3U);
    EXPECT_TRUE(flips.contains({70000000000U, 1U}));
    for (const char *text : {"", "3", "3:", ":1", "3:x", "3:1,"}) {
        EXPECT_FALSE(cardsim::value_parse_flips(text, &flips, &error)) << text;
    }
    EXPECT_FALSE(cardsim::value_parse_flips("3:4096", &flips, &error));
    EXPECT_EQ(error, "'3:4096' names a bit outside 0 to 4095");
}

TEST(value_text, parses_misreads) {
    std::map<uint64_t, uint64_t> misreads;
    std::string error;
    ASSERT_TRUE(cardsim::value_parse_misreads("3:9,4:70000000000", &misreads, &error)) << error;
    EXPECT_EQ(misreads, (std::map<uint64_t, uint64_t>{{3, 9}, {4, 70000000000}}));
    for (const char *text : {"", "3", "3:", ":1", "3:x", "3:1,"}) {
        EXPECT_FALSE(cardsim::value_parse_misreads(text, &misreads, &error)) << text;
    }
    EXPECT_FALSE(cardsim::value_parse_misreads("1:18446744073709551615", &misreads, &error));
}

TEST(value_text, escapes_all_but_printable_ascii) {
    EXPECT_EQ(cardsim::shown_text("/mnt/~ a\\b"), "/mnt/~ a\\b");
    EXPECT_EQ(cardsim::shown_text("\x1b[2J\n\x7f"), "\\x1B[2J\\x0A\\x7F");
    EXPECT_EQ(cardsim::shown_text("\xc2\x9b\xff"), "\\xC2\\x9B\\xFF");
}
