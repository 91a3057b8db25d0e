// SPDX-License-Identifier: GPL-3.0-or-later
#include "report/report_facts.h"

#include <gtest/gtest.h>

#include "model/engine_publish.h"

TEST(report_facts, copies_engine_status) {
    publish_write_period(11.0, "MB", 50.0);
    publish_write_average(10.25);
    publish_read_speed(20.5, "GB");
    publish_volume_intact(1);
    publish_result_text(RESULT_DATA_OK, 3221225472);
    publish_result_text(RESULT_DATA_LOST, 1536);
    publish_result_text(RESULT_DATA_CORRUPTED, 512);
    publish_result_text(RESULT_DATA_CHANGED, 1024);
    publish_result_text(RESULT_DATA_OVERWRITTEN, 0);
    const report_facts facts = report_facts_collect("/media/card", 15931539456, "1.0.0-1");
    EXPECT_TRUE(facts.intact);
    EXPECT_EQ(facts.volume_path, "/media/card");
    EXPECT_EQ(facts.capacity_bytes, 15931539456U);
    EXPECT_EQ(facts.write_speed, 10.25);
    EXPECT_EQ(facts.write_speed_unit, "MB");
    EXPECT_EQ(facts.read_speed, 20.5);
    EXPECT_EQ(facts.read_speed_unit, "GB");
    EXPECT_EQ(facts.data_ok, "3.000000 GB");
    EXPECT_EQ(facts.data_lost, "1.500000 KB");
    EXPECT_EQ(facts.data_corrupted, "512.000000 Byte");
    EXPECT_EQ(facts.data_changed, "1.000000 KB");
    EXPECT_EQ(facts.data_overwritten, "0.000000 Byte");
    EXPECT_EQ(facts.version, "1.0.0-1");
}

TEST(report_facts, nonzero_flag_is_intact) {
    publish_volume_intact(7);
    EXPECT_TRUE(report_facts_collect("", 0, "").intact);
    publish_volume_intact(0);
    EXPECT_FALSE(report_facts_collect("", 0, "").intact);
}

TEST(report_facts, keeps_values_when_engine_changes) {
    publish_result_text(RESULT_DATA_OK, 512);
    const report_facts facts = report_facts_collect("", 0, "");
    publish_result_text(RESULT_DATA_OK, 1024);
    publish_result_text(RESULT_DATA_OK, 2048);
    EXPECT_EQ(facts.data_ok, "512.000000 Byte");
}

TEST(report_facts, capacity_counts_units_of_2_to_the_30) {
    report_facts facts;
    facts.capacity_bytes = 1610612736;
    EXPECT_EQ(report_facts_capacity_gb(facts), 1.5);
    facts.capacity_bytes = 0;
    EXPECT_EQ(report_facts_capacity_gb(facts), 0.0);
    facts.capacity_bytes = UINT64_C(2) << 40U;
    EXPECT_EQ(report_facts_capacity_gb(facts), 2048.0);
    facts.capacity_bytes = UINT64_MAX;
    EXPECT_EQ(report_facts_capacity_gb(facts), 17179869184.0);
}
