// The time that this process spent in user space. Two programs of bench/ differ in nothing
// but the file behind this: user_time_accounted.cpp asks the system, which samples;
// user_time_between_calls.cpp takes reads and writes out of the time that passed.
#ifndef TROVIK_BENCH_USER_TIME_H
#define TROVIK_BENCH_USER_TIME_H

// Seconds since some moment before the first call.
double user_seconds();

#endif
