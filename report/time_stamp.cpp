// localtime_r keeps no shared result, so stamps can be made on several threads.
// It need not notice that the time zone has changed; tzset does, and a window
// stays open for days.
#include "report/time_stamp.h"

#include <array>
#include <cstdio>

static std::string formatted(const char *format, const std::tm &parts) {
    std::array<char, 80> text{};
    std::snprintf(text.data(), text.size(), format, parts.tm_year + 1900L, parts.tm_mon + 1L,
                  static_cast<long>(parts.tm_mday), static_cast<long>(parts.tm_hour),
                  static_cast<long>(parts.tm_min), static_cast<long>(parts.tm_sec));
    return text.data();
}

std::string time_stamp_format(std::time_t time) {
    std::tm parts{};
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
    if (gmtime_r(&time, &parts) == nullptr)
        return {};
    return formatted("%04ld-%02ld-%02ldT%02ld:%02ld:%02ldZ", parts);
}
