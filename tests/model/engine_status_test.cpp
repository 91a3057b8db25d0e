// SPDX-License-Identifier: GPL-3.0-or-later
/* Status values: their initial state, free space, unit scaling. The values that the phases
 * publish are tested with the phases. */
#include "model/engine_status.h"

#include <gtest/gtest.h>
#include <sys/statvfs.h>

#include <array>
#include <cmath>
#include <fstream>
#include <limits>
#include <string>

#include "model/engine_publish.h"
#include "model/engine_results.h"
#include "support.h"

using model_tests::private_folder;
using model_tests::private_volume;

namespace {

/* The initial values, taken before the first test. */
struct first_values {
    double write_speed, write_progress, read_speed;
    std::string write_unit, read_unit, texts;
    uint32_t intact;
    const char *path;
    uint64_t free_space;
    std::string log;
    enum engine_phase phase;
    size_t files, missing;
};

first_values taken_first;

class take_first : public testing::Environment {
 public:
    void SetUp() override {
        taken_first = {get_write_speed(),
                       get_write_progress(),
                       get_read_speed(),
                       get_write_speed_unit(),
                       get_read_speed_unit(),
                       std::string(get_data_ok_text()) + get_data_lost_text() +
                           get_data_corrupted_text() + get_data_changed_text() +
                           get_data_overwritten_text(),
                       get_volume_intact(),
                       get_engine_volume_path(),
                       engine_free_space(),
                       model_tests::drained_log(),
                       engine_results_phase(),
                       engine_results_file_count(),
                       engine_results_missing_count()};
    }
};

const testing::Environment *const registered = testing::AddGlobalTestEnvironment(new take_first);

struct scaled {
    double value;
    std::string unit;
};

scaled scale(double value) {
    const char *unit = scale_to_unit(&value);
    return {value, unit};
}

}  // namespace

TEST(engine_status, starts_with_zeros_and_empty_texts) {
    ASSERT_NE(registered, nullptr);
    EXPECT_EQ(taken_first.write_speed, 0.0);
    EXPECT_EQ(taken_first.write_progress, 0.0);
    EXPECT_EQ(taken_first.read_speed, 0.0);
    EXPECT_EQ(taken_first.write_unit, "");
    EXPECT_EQ(taken_first.read_unit, "");
    EXPECT_EQ(taken_first.texts, "");
    EXPECT_EQ(taken_first.intact, 0U);
    EXPECT_EQ(taken_first.path, nullptr);
    EXPECT_EQ(taken_first.log, "");
    EXPECT_EQ(taken_first.phase, ENGINE_PHASE_IDLE);
    EXPECT_EQ(taken_first.files, 0U);
    EXPECT_EQ(taken_first.missing, 0U);
}

TEST(engine_status, has_no_free_space_without_volume) {
    EXPECT_EQ(taken_first.free_space, 0U);
    set_engine_volume_path(nullptr);
    EXPECT_EQ(engine_free_space(), 0U);
}

TEST(engine_status, test_file_is_1_gib) {
    EXPECT_EQ(test_file_size, 1073741824U);
}

TEST(engine_status, keeps_pointer_to_volume_path) {
    static const char path[] = "/somewhere";
    set_engine_volume_path(path);
    EXPECT_EQ(get_engine_volume_path(), path);
    set_engine_volume_path(nullptr);
    EXPECT_EQ(get_engine_volume_path(), nullptr);
}

TEST(engine_status, has_no_free_space_when_volume_is_gone) {
    const private_folder folder;
    set_engine_volume_path(folder.c_path());
    EXPECT_GT(engine_free_space(), 0U);
    const std::string gone = folder.file("gone");
    set_engine_volume_path(gone.c_str());
    EXPECT_EQ(engine_free_space(), 0U);
    set_engine_volume_path(nullptr);
}

TEST(engine_status, free_space_shrinks_by_written_bytes) {
    const private_volume volume("size=1m");
    SKIP_WITHOUT(volume);
    set_engine_volume_path(volume.c_path());
    EXPECT_EQ(engine_free_space(), 1U << 20U);
    std::ofstream(volume.file("f")) << std::string(256U << 10U, 'x');
    EXPECT_EQ(engine_free_space(), 768U << 10U);
    set_engine_volume_path(nullptr);
}

/* ext4 reserves blocks: only there free and available blocks differ. */
TEST(engine_status, free_space_includes_blocks_reserved_for_super_user) {
    SKIP_IF_MISSING(test_support::missing_for_images({"mkfs.ext4"}));
    const test_support::image_volume volume(8 * test_support::mib, {"mkfs.ext4", "-q", "-m", "20"},
                                            {}, "ext4");
    SKIP_WITHOUT(volume);
    struct statvfs facts = {};
    ASSERT_EQ(statvfs(volume.c_path(), &facts), 0);
    ASSERT_GT(facts.f_bfree, facts.f_bavail);
    uint64_t bytes = 0;
    ASSERT_EQ(free_space_query(volume.c_path(), &bytes), 1);
    EXPECT_EQ(bytes, uint64_t{facts.f_bfree} * facts.f_frsize);
}

TEST(engine_status, failed_query_returns_0_and_0_bytes) {
    uint64_t bytes = 7;
    EXPECT_EQ(free_space_query("/does/not/exist", &bytes), 0);
    EXPECT_EQ(bytes, 0U);
}

TEST(engine_status, changes_units_at_powers_of_1024) {
    const std::array<const char *, 7> units = {"Byte", "KB", "MB", "GB", "TB", "PB", "EB"};
    double value = 1.0;
    for (const char *unit : units) {
        EXPECT_EQ(scale(value).value, 1.0) << unit;
        EXPECT_EQ(scale(value).unit, unit);
        EXPECT_EQ(scale(value * 1023).value, 1023.0);
        EXPECT_EQ(scale(value * 1023).unit, unit);
        value *= 1024.0;
    }
}

TEST(engine_status, scaling_keeps_fraction) {
    EXPECT_EQ(scale(1023.0).unit, "Byte");
    EXPECT_EQ(scale(1023.9).value, 1023.9);
    EXPECT_EQ(scale(1536.0).value, 1.5);
    EXPECT_EQ(scale(1048575.0).unit, "KB");
    EXPECT_EQ(scale(1048575.0).value, 1023.9990234375);
    EXPECT_EQ(scale(1073741824.0).unit, "GB");
    EXPECT_EQ(scale(1073741824.0).value, 1.0);
}

TEST(engine_status, largest_byte_count_is_16_eb) {
    const scaled largest = scale(static_cast<double>(std::numeric_limits<uint64_t>::max()));
    EXPECT_EQ(largest.unit, "EB");
    EXPECT_EQ(largest.value, 16.0);
}

TEST(engine_status, tells_one_sector_more_or_less_than_2_tb_apart) {
    constexpr double two_tb = 2199023255552.0;
    EXPECT_EQ(scale(two_tb).unit, "TB");
    EXPECT_EQ(scale(two_tb).value, 2.0);
    EXPECT_EQ(scale(two_tb - 512).value, 2.0 - 512 / 1099511627776.0);
    EXPECT_EQ(scale(two_tb / 2 - 512).unit, "GB");
    EXPECT_EQ(scale(two_tb + 512).value, 2.0 + 512 / 1099511627776.0);
}

TEST(engine_status, leaves_zero_negative_values_and_nan_in_bytes) {
    EXPECT_EQ(scale(0.0).unit, "Byte");
    EXPECT_EQ(scale(0.0).value, 0.0);
    EXPECT_EQ(scale(-5000.0).unit, "Byte");
    EXPECT_EQ(scale(-5000.0).value, -5000.0);
    EXPECT_EQ(scale(std::nan("")).unit, "Byte");
    EXPECT_TRUE(std::isnan(scale(std::nan("")).value));
}

TEST(engine_status, scales_huge_values_to_last_unit) {
    const scaled infinite = scale(std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isinf(infinite.value));
    EXPECT_FALSE(infinite.unit.empty());
    EXPECT_FALSE(scale(std::ldexp(1.0, 75)).unit.empty());
}

TEST(engine_status, returns_published_values) {
    publish_write_period(12.5, "MB", 33.25);
    EXPECT_EQ(get_write_speed(), 12.5);
    EXPECT_STREQ(get_write_speed_unit(), "MB");
    EXPECT_EQ(get_write_progress(), 33.25);
    publish_write_average(700.0);
    EXPECT_EQ(get_write_speed(), 700.0);
    EXPECT_STREQ(get_write_speed_unit(), "MB");
    publish_read_speed(2.0, "GB");
    EXPECT_EQ(get_read_speed(), 2.0);
    EXPECT_STREQ(get_read_speed_unit(), "GB");
    publish_volume_intact(1);
    EXPECT_EQ(get_volume_intact(), 1U);
    publish_volume_intact(0);
    EXPECT_EQ(get_volume_intact(), 0U);
}

TEST(engine_status, result_text_has_six_decimals_blank_and_unit) {
    publish_result_text(RESULT_DATA_OK, 1610612736);
    publish_result_text(RESULT_DATA_LOST, 0);
    publish_result_text(RESULT_DATA_CORRUPTED, 512);
    publish_result_text(RESULT_DATA_CHANGED, 1048064);
    publish_result_text(RESULT_DATA_OVERWRITTEN, UINT64_C(1) << 62U);
    EXPECT_STREQ(get_data_ok_text(), "1.500000 GB");
    EXPECT_STREQ(get_data_lost_text(), "0.000000 Byte");
    EXPECT_STREQ(get_data_corrupted_text(), "512.000000 Byte");
    EXPECT_STREQ(get_data_changed_text(), "1023.500000 KB");
    EXPECT_STREQ(get_data_overwritten_text(), "4.000000 EB");
}

TEST(engine_status, result_text_covers_2_tb_to_16_eb) {
    publish_result_text(RESULT_DATA_OK, UINT64_C(2) << 40U);
    EXPECT_STREQ(get_data_ok_text(), "2.000000 TB");
    publish_result_text(RESULT_DATA_OK, (UINT64_C(2) << 40U) - 512);
    EXPECT_STREQ(get_data_ok_text(), "2.000000 TB");
    publish_result_text(RESULT_DATA_OK, UINT64_MAX - 511);
    EXPECT_STREQ(get_data_ok_text(), "16.000000 EB");
    publish_result_text(RESULT_DATA_OK, UINT64_MAX);
    EXPECT_STREQ(get_data_ok_text(), "16.000000 EB");
}

TEST(engine_status, replaces_longer_result_text) {
    publish_result_text(RESULT_DATA_OK, 1048064);
    publish_result_text(RESULT_DATA_OK, 0);
    EXPECT_STREQ(get_data_ok_text(), "0.000000 Byte");
}
