// SPDX-License-Identifier: GPL-3.0-or-later
// localtime_r may keep the time zone it found first. A window stays open for days, so each
// local stamp asks for the current zone with tzset.
#include "report/time_stamp.h"

#include <array>
#include <cstdio>
#include <mutex>

// Held while the C library takes over the time zone, which gmtime_r does on its first call.
// glibc locks its own copy of the zone, but the thread sanitizer cannot see that lock and would
// report each pair of calls as a race.
static std::mutex zone_mutex;

static std::string formatted(const char *format, const std::tm &parts) {
    std::array<char, 80> text{};
    std::snprintf(text.data(), text.size(), format, parts.tm_year + 1900L, parts.tm_mon + 1L,
                  static_cast<long>(parts.tm_mday), static_cast<long>(parts.tm_hour),
                  static_cast<long>(parts.tm_min), static_cast<long>(parts.tm_sec));
    return text.data();
}

std::string time_stamp_format(std::time_t time) {
    std::tm parts{};
    const std::lock_guard<std::mutex> lock(zone_mutex);
    tzset();
    if (localtime_r(&time, &parts) == nullptr)
        return "????.??.?? ??:??:??";
    return formatted("%04ld.%02ld.%02ld %02ld:%02ld:%02ld", parts);
}

std::string time_stamp_now() {
    return time_stamp_format(std::time(nullptr));
}

std::string time_stamp_utc(std::time_t time) {
    std::tm parts{};
    const std::lock_guard<std::mutex> lock(zone_mutex);
    if (gmtime_r(&time, &parts) == nullptr)
        return {};
    return formatted("%04ld-%02ld-%02ldT%02ld:%02ld:%02ldZ", parts);
}
