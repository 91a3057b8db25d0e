// SPDX-License-Identifier: GPL-3.0-or-later
#include "report/time_stamp.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string>
#include <thread>
#include <vector>

static void set_zone(const char *zone) {
    if (zone != nullptr)
        setenv("TZ", zone, 1);
    else
        unsetenv("TZ");
}

// Sets TZ for the guard's lifetime; nullptr unsets it, so that the system's time zone holds.
class zone_guard {
 public:
    explicit zone_guard(const char *zone) {
        if (const char *before = std::getenv("TZ"))
            m_before = before;
        set_zone(zone);
    }
    ~zone_guard() {
        set_zone(m_before ? m_before->c_str() : nullptr);
        tzset();
    }
    zone_guard(const zone_guard &) = delete;
    zone_guard &operator=(const zone_guard &) = delete;

 private:
    std::optional<std::string> m_before;
};

// POSIX notation: such zones need no zone files.
static const char *const central_europe = "CET-1CEST,M3.5.0,M10.5.0/3";

TEST(time_stamp, has_fixed_format) {
    const zone_guard zone("UTC0");
    EXPECT_EQ(time_stamp_format(1490191509), "2017.03.22 14:05:09");
}

TEST(time_stamp, pads_each_field) {
    const zone_guard zone("UTC0");
    EXPECT_EQ(time_stamp_format(1488441909), "2017.03.02 08:05:09");
    EXPECT_EQ(time_stamp_format(0), "1970.01.01 00:00:00");
    EXPECT_EQ(time_stamp_format(-62135596800), "0001.01.01 00:00:00");
}

TEST(time_stamp, is_local_time) {
    {
        const zone_guard zone(central_europe);
        EXPECT_EQ(time_stamp_format(1490191509), "2017.03.22 15:05:09");
    }
    const zone_guard zone("XXX+5:30");
    EXPECT_EQ(time_stamp_format(1490191509), "2017.03.22 08:35:09");
}

TEST(time_stamp, follows_time_zone_change) {
    const zone_guard zone("UTC0");
    EXPECT_EQ(time_stamp_format(0), "1970.01.01 00:00:00");
    setenv("TZ", "XXX-9", 1);
    EXPECT_EQ(time_stamp_format(0), "1970.01.01 09:00:00");
}

TEST(time_stamp, uses_summer_time_and_24_hours) {
    const zone_guard zone(central_europe);
    EXPECT_EQ(time_stamp_format(1490489999), "2017.03.26 01:59:59");
    EXPECT_EQ(time_stamp_format(1490490000), "2017.03.26 03:00:00");
    EXPECT_EQ(time_stamp_format(1500501599), "2017.07.19 23:59:59");
}

TEST(time_stamp, formats_leap_day_and_year_10000) {
    const zone_guard zone("UTC0");
    EXPECT_EQ(time_stamp_format(951782400), "2000.02.29 00:00:00");
    EXPECT_EQ(time_stamp_format(253402300800), "10000.01.01 00:00:00");
}

TEST(time_stamp, unknown_year_is_question_marks) {
    const std::time_t far = std::numeric_limits<std::time_t>::max();
    EXPECT_EQ(time_stamp_format(far), "????.??.?? ??:??:??");
    EXPECT_EQ(time_stamp_utc(far), "");
}

TEST(time_stamp, now_is_the_current_time) {
    const zone_guard zone("UTC0");
    const std::string before = time_stamp_format(std::time(nullptr));
    const std::string now = time_stamp_now();
    const std::string after = time_stamp_format(std::time(nullptr));
    EXPECT_LE(before, now);
    EXPECT_LE(now, after);
}

TEST(time_stamp, utc_ignores_time_zone) {
    const zone_guard zone(central_europe);
    EXPECT_EQ(time_stamp_utc(1490191509), "2017-03-22T14:05:09Z");
}

// With TZ unset, each tzset replaces the C library's copy of the zone's name.
TEST(time_stamp, is_thread_safe) {
    for (const char *zone : {static_cast<const char *>(nullptr), "UTC0", central_europe}) {
        const zone_guard guard(zone);
        const std::array<std::time_t, 2> times = {0, 1490191509};
        std::array<int, 2> wrong = {0, 0};
        std::vector<std::thread> threads;
        for (std::size_t i = 0; i < times.size(); ++i)
            threads.emplace_back(
                [time = times.at(i), right = time_stamp_format(times.at(i)), &count = wrong.at(i)] {
                    for (int call = 0; call < 5000; ++call)
                        count += time_stamp_format(time) != right ? 1 : 0;
                });
        for (std::thread &thread : threads)
            thread.join();
        EXPECT_EQ(wrong, (std::array<int, 2>{0, 0}));
    }
}
