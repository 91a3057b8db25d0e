// SPDX-License-Identifier: GPL-3.0-or-later
// Time stamps: local time for the lines of a report, UTC for documents that programs read.
#ifndef TROVIK_REPORT_TIME_STAMP_H
#define TROVIK_REPORT_TIME_STAMP_H

#include <ctime>
#include <string>

// "2017.03.22 14:05:09" in the system's current time zone, 24-hour clock;
// "????.??.?? ??:??:??" when the system cannot compute the year. Any thread.
std::string time_stamp_format(std::time_t time);

// The same for the current time.
std::string time_stamp_now();

// "2017-03-22T13:05:09Z" (ISO 8601, UTC); empty when the year cannot be computed. Any thread.
std::string time_stamp_utc(std::time_t time);

#endif
