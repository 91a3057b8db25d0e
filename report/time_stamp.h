// Time stamps: the local one that starts every line of a report, and the one
// without a time zone to guess that goes into documents for programs.
#ifndef TROVIK_REPORT_TIME_STAMP_H
#define TROVIK_REPORT_TIME_STAMP_H

#include <ctime>
#include <string>

// "2017.03.22 14:05:09" in the system's current time zone, 24-hour clock. A time
// whose year the system cannot compute is shown as "????.??.?? ??:??:??". Any
// thread.
std::string time_stamp_format(std::time_t time);

// The same for this moment.
std::string time_stamp_now();

// "2017-03-22T13:05:09Z" (ISO 8601, UTC); empty for such a year. Any thread.
std::string time_stamp_utc(std::time_t time);

#endif
