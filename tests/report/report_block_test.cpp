// SPDX-License-Identifier: GPL-3.0-or-later
#include "report/report_block.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "locale_guard.h"

static report_facts some_facts() {
    report_facts facts;
    facts.intact = true;
    facts.volume_path = "/Volumes/SD CARD";
    facts.capacity_bytes = 15931539456;
    facts.write_speed = 10.256;
    facts.write_speed_unit = "MB";
    facts.read_speed = 20.5;
    facts.read_speed_unit = "KB";
    facts.data_ok = "14.500000 GB";
    facts.data_lost = "3.000000 KB";
    facts.data_corrupted = "512.000000 Byte";
    facts.data_changed = "1.000000 KB";
    facts.data_overwritten = "1.500000 KB";
    facts.version = "1.0.0-1 (2024.06.07)";
    return facts;
}

// A clock that advances by a second per call.
static report_clock ticking_from(std::time_t start) {
    return [now = start]() mutable { return now++; };
}

class report_block : public testing::Test {
 protected:
    void SetUp() override { setenv("TZ", "UTC0", 1); }
    void TearDown() override { unsetenv("TZ"); }
};

TEST_F(report_block, has_fixed_text) {
    const std::vector<std::string> expected = {
        "2017.03.22 14:05:09 - **: Report Begin -----------------------------------------\n",
        "2017.03.22 14:05:09 -  1: Volume intact .............. : YES\n",
        "2017.03.22 14:05:09 -  2: Volume name................. : /Volumes/SD CARD\n",
        "2017.03.22 14:05:09 -  3: Capacity (GB)............... : 14.837 GB\n",
        "2017.03.22 14:05:09 -  4: Capacity (Bytes)............ : 15931539456 Bytes\n",
        "2017.03.22 14:05:09 -  5: Write speed average ........ : 10.26 MB/s\n",
        "2017.03.22 14:05:09 -  6: Read speed average ......... : 20.50 KB/s\n",
        "2017.03.22 14:05:09 -  7: DATA OK .................... : 14.500000 GB\n",
        "2017.03.22 14:05:09 -  8: DATA Lost .................. : 3.000000 KB\n",
        "2017.03.22 14:05:09 -  9: DATA Corrupted ............. : 512.000000 Byte\n",
        "2017.03.22 14:05:09 - 10: DATA Changed ............... : 1.000000 KB\n",
        "2017.03.22 14:05:09 - 11: DATA Overwritten ........... : 1.500000 KB\n",
        "2017.03.22 14:05:09 - 12: trovik version ............ : 1.0.0-1 (2024.06.07)\n",
        "2017.03.22 14:05:09 - **: Report End -----------------------------------------\n",
    };
    EXPECT_EQ(report_block_lines(some_facts(), [] { return std::time_t{1490191509}; }), expected);
}

TEST_F(report_block, escapes_line_breaks_in_volume_name) {
    report_facts facts = some_facts();
    facts.volume_path =
        "/Volumes/x\n2017.03.22 14:05:09 -  1: Volume intact .............. : YES\x1b[2J";
    const std::vector<std::string> lines = report_block_lines(facts, ticking_from(50));
    ASSERT_EQ(lines.size(), 14U);
    EXPECT_EQ(lines[2].find('\n'), lines[2].size() - 1);
    EXPECT_NE(lines[2].find("x\\x0A2017"), std::string::npos) << lines[2];
    EXPECT_EQ(lines[2].find('\x1b'), std::string::npos);
}

TEST_F(report_block, stamps_each_line_anew) {
    const std::vector<std::string> lines = report_block_lines(some_facts(), ticking_from(50));
    ASSERT_EQ(lines.size(), 14U);
    EXPECT_EQ(lines.front().substr(0, 22), "1970.01.01 00:00:50 - ");
    EXPECT_EQ(lines[9].substr(0, 22), "1970.01.01 00:00:59 - ");
    EXPECT_EQ(lines[10].substr(0, 22), "1970.01.01 00:01:00 - ");
    EXPECT_EQ(lines.back().substr(0, 22), "1970.01.01 00:01:03 - ");
}

TEST_F(report_block, says_no_when_not_intact) {
    report_facts facts = some_facts();
    facts.intact = false;
    EXPECT_EQ(report_block_lines(facts, ticking_from(0))[1],
              "1970.01.01 00:00:01 -  1: Volume intact .............. : NO\n");
}

TEST_F(report_block, has_empty_values_before_any_test) {
    const std::vector<std::string> lines =
        report_block_lines(report_facts(), [] { return std::time_t{0}; });
    EXPECT_EQ(lines[2], "1970.01.01 00:00:00 -  2: Volume name................. : \n");
    EXPECT_EQ(lines[3], "1970.01.01 00:00:00 -  3: Capacity (GB)............... : 0.000 GB\n");
    EXPECT_EQ(lines[4], "1970.01.01 00:00:00 -  4: Capacity (Bytes)............ : 0 Bytes\n");
    EXPECT_EQ(lines[5], "1970.01.01 00:00:00 -  5: Write speed average ........ : 0.00 /s\n");
    EXPECT_EQ(lines[6], "1970.01.01 00:00:00 -  6: Read speed average ......... : 0.00 /s\n");
    EXPECT_EQ(lines[7], "1970.01.01 00:00:00 -  7: DATA OK .................... : \n");
}

TEST_F(report_block, shows_largest_capacity) {
    report_facts facts = some_facts();
    facts.capacity_bytes = UINT64_MAX;
    const std::vector<std::string> lines = report_block_lines(facts, ticking_from(0));
    EXPECT_NE(lines[3].find(" : 17179869184.000 GB\n"), std::string::npos);
    EXPECT_NE(lines[4].find(" : 18446744073709551615 Bytes\n"), std::string::npos);
}

TEST_F(report_block, keeps_percent_signs_in_volume_name) {
    report_facts facts = some_facts();
    facts.volume_path = "/Volumes/100%s %n";
    EXPECT_EQ(report_block_lines(facts, ticking_from(0))[2],
              "1970.01.01 00:00:02 -  2: Volume name................. : /Volumes/100%s %n\n");
}

TEST_F(report_block, ignores_locale_with_decimal_comma) {
    const report_clock clock = [] { return std::time_t{0}; };
    const std::vector<std::string> lines = report_block_lines(some_facts(), clock);
    const std::string summary = report_block_summary(some_facts());
    const comma_locale_guard locale;
    if (!locale.found())
        GTEST_SKIP() << "no locale with a decimal comma is installed";
    EXPECT_EQ(report_block_lines(some_facts(), clock), lines);
    EXPECT_EQ(report_block_summary(some_facts()), summary);
}

TEST_F(report_block, stamps_all_done) {
    EXPECT_EQ(report_block_all_done([] { return std::time_t{1490191509}; }),
              "2017.03.22 14:05:09 - all done.\n");
}

TEST_F(report_block, uses_system_clock_by_default) {
    const std::time_t before = std::time(nullptr);
    const std::time_t clock = report_clock_system();
    EXPECT_LE(before, clock);
    EXPECT_LE(clock, std::time(nullptr));
    EXPECT_EQ(report_block_all_done().substr(19), " - all done.\n");
}

TEST_F(report_block, summary_has_three_lines) {
    EXPECT_EQ(report_block_summary(some_facts()),
              "Volume capacity (GB) 14.837 GB\n"
              "Write speed average 10.26 MB/s\n"
              "Read speed average 20.50 KB/s\n");
}

TEST_F(report_block, summaries_concatenate) {
    report_facts second = some_facts();
    second.capacity_bytes = 1073741824;
    second.write_speed_unit = "";
    std::string kept = report_block_summary(some_facts());
    kept += report_block_summary(second);
    EXPECT_EQ(kept,
              "Volume capacity (GB) 14.837 GB\n"
              "Write speed average 10.26 MB/s\n"
              "Read speed average 20.50 KB/s\n"
              "Volume capacity (GB) 1.000 GB\n"
              "Write speed average 10.26 /s\n"
              "Read speed average 20.50 KB/s\n");
}

TEST_F(report_block, rows_equal_the_numbered_lines) {
    const auto rows = report_block_rows(some_facts());
    const std::vector<std::string> lines = report_block_lines(some_facts(), ticking_from(0));
    for (std::size_t i = 0; i < rows.size(); ++i)
        EXPECT_EQ(lines[i + 1].substr(22), rows[i].label + rows[i].value + "\n");
}
